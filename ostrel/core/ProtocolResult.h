#pragma once

#include <iosfwd>
#include <memory>

namespace ostrel::core {

namespace xml {
class XmlObject;
}

/// What the protocol itself returned for a command, beside the data: the completion entry of an NVMe command, for
/// example. Written by the author of the paths.
///
/// Deriving: the order of the virtual operations is binary interface, new ones go last. clone() must return an object
///           of the very class of this one.
class ProtocolResult {
public:
    virtual ~ProtocolResult() = default;
    virtual std::unique_ptr<ProtocolResult> clone() const = 0;
    /// Writes the result as the history log shows it, without a line end after the last line.
    virtual void toString(std::ostream& out) const = 0;
    /// The result's own XML, as it is inside the XML of a CommandResult. Not null.
    virtual std::unique_ptr<xml::XmlObject> toXml() const = 0;

protected:
    ProtocolResult() = default;
    ProtocolResult(const ProtocolResult&) = default;
    ProtocolResult& operator=(const ProtocolResult&) = default;
};

}  // namespace ostrel::core
