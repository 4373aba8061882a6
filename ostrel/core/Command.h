#pragma once

#include <iosfwd>
#include <memory>
#include <string>

namespace ostrel::core {

namespace xml {
class XmlObject;
}

/// One command to a device, in the words of one command set (NVMe, ATA, ...). The command set's name decides which
/// path of a device it takes; what else a command holds is known to its class and to the paths that serve it.
///
/// Deriving: the order of the virtual operations is binary interface, new ones go last. clone() must return an object
///           of the very class of this one, since paths cast what they are given.
/// Threads:  a plain value; one thread at a time.
class Command {
public:
    virtual ~Command();
    /// A deep copy; payloads may be shared.
    virtual std::unique_ptr<Command> clone() const = 0;
    /// Writes the command as the history log shows it, without a line end after the last line.
    virtual void toString(std::ostream& out) const = 0;
    /// The command's own XML, as it is inside the XML of a CommandResult. Not null.
    virtual std::unique_ptr<xml::XmlObject> toXml() const = 0;
    /// Copies the two names.
    virtual Command& operator=(const Command& other);

    const std::string& getName() const { return name_; }
    const std::string& getCommandSet() const { return commandSet_; }

protected:
    Command(std::string commandSet, std::string name);
    Command(const Command&) = default;

private:
    std::string name_;
    std::string commandSet_;
};

}  // namespace ostrel::core
