#pragma once

#include <memory>
#include <string>
#include <vector>

#include "features/nvme/FieldTree.h"
#include "ostrel/core/AttributeList.h"
#include "ostrel/core/Status.h"
#include "ostrel/core/xml/XmlObject.h"

namespace ostrel::core {
class Device;
}

namespace features::jobs {

/// What a job has to say of one drive: the children of an output object. Every heading names the drive, by its serial
/// number, so that several drives can be distinguished. Attributes, trees and statuses of a drive also carry
/// SerialNumber and DevicePath, whatever they show: a program need not take a heading apart. Both are what the list of
/// drives knows, so that a drive that does not answer has them, too. A request for some properties narrows the
/// attributes alone.
///
/// Ownership: the device must outlive it.
/// Threads:   one at a time per object; each drive has its own.
class DriveOutput {
public:
    /// `device` is null where what is shown comes from a file.
    DriveOutput(std::string serialNumber, const ostrel::core::AttributeList* requested,
                const ostrel::core::Device* device)
        : serialNumber_(std::move(serialNumber)), requested_(requested), device_(device) {}

    /// A list of attributes, shown in the order of their names, under `heading` and the serial number. When the request
    /// names properties, these alone go out, and one that is not in the list reads "Property not found".
    void addAttributes(const std::string& heading, ostrel::core::AttributeList attributes);
    /// A decoded structure, in the order of the standard.
    void addTree(const nvme::FieldTree& tree);
    /// The outcome of an operation under `heading` and the serial number: the message is shown as "Status", and a code
    /// that is not 0 becomes the exit status. The drive's identity precedes it as attributes, which the tool shows.
    void addStatus(const std::string& heading, const ostrel::core::Status& status);
    void add(std::unique_ptr<ostrel::core::xml::XmlObject> object) { objects_.push_back(std::move(object)); }

    /// The properties that the request names; null when it names none.
    const ostrel::core::AttributeList* requested() const { return requested_; }
    /// Whether the request names properties, and `attributes` with the drive's identity has them all.
    bool hasAllRequested(const ostrel::core::AttributeList& attributes) const;
    bool isEmpty() const { return objects_.empty(); }
    const std::string& serialNumber() const { return serialNumber_; }
    std::vector<std::unique_ptr<ostrel::core::xml::XmlObject>> take() { return std::move(objects_); }

private:
    /// SerialNumber and DevicePath, as far as they are known.
    std::vector<ostrel::core::Attribute> identity() const;
    ostrel::core::AttributeList withIdentity(ostrel::core::AttributeList attributes) const;
    void prependIdentity(ostrel::core::xml::XmlObject& object) const;

    std::string serialNumber_;
    const ostrel::core::AttributeList* requested_;  // null: all
    const ostrel::core::Device* device_;
    std::vector<std::unique_ptr<ostrel::core::xml::XmlObject>> objects_;
};

}  // namespace features::jobs
