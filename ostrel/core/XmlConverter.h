#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ostrel/core/AttributeList.h"
#include "ostrel/core/xml/XmlElement.h"
#include "ostrel/core/xml/XmlList.h"
#include "ostrel/core/xml/XmlObject.h"
#include "ostrel/core/xml/XmlProperty.h"

namespace ostrel::core {

class CommandHistory;
class CommandPath;
class Device;
class Status;
struct CommandResult;

/// Turns text into a tree of XML elements, and the core's values into such trees and back. What a tree looks like as
/// text is the elements' own matter: XmlElement::toXmlString().
///
/// Threads: no state; one thread at a time per tree and value.
class XmlConverter {
public:
    /// The tree of a text, or null. Never throws, whatever the bytes: a text that is malformed, nested deeper than
    /// xml::MAX_NESTING, without any element, or too large for the memory gives two lines of the debug log at error
    /// level and null. A root that is none of the four elements gives null without a line.
    ///
    /// Only the first node of the document counts, be it a comment. What is no element of ours below it is dropped:
    /// unknown tags, messages within messages, anything but objects within a list, anything within a property, text.
    /// The reader takes everything up to the first zero byte, and of equal attributes the last.
    static std::unique_ptr<xml::XmlElement> toXml(const std::string& xmlText);
    /// The same, for large texts: the memory of the text is freed as soon as it has been read and before the tree is
    /// built, so that one of them is there and not both.
    static std::unique_ptr<xml::XmlElement> toXml(std::string&& xmlText);

    /// A property of category "attribute". The description is there only when it is not empty.
    static std::unique_ptr<xml::XmlProperty> attributeToXml(const Attribute& attribute);
    /// A property of category "payload", the bytes in upper-case hexadecimal.
    static std::unique_ptr<xml::XmlProperty> payloadToXml(const Payload& payload);
    /// An object of category "attributeList" with one attributeToXml() an entry, in the map's order.
    static std::unique_ptr<xml::XmlObject> attributeListToXml(const AttributeList& attributes);
    /// An object of category "status" with the properties "Category", "Code" and "Message".
    static std::unique_ptr<xml::XmlObject> statusToXml(const Status& status);

    // The device layer. Times and durations are the text of Boost's date_time.

    /// An object of category "commandResult": command, protocol result, status, payloads (unless the result is quiet),
    /// times, path; what is missing is left out.
    static std::unique_ptr<xml::XmlObject> commandToXml(const CommandResult& result);
    /// A list of category "commandHistory" with one commandToXml() an entry, oldest first.
    static std::unique_ptr<xml::XmlList> commandHistoryToXml(const CommandHistory& history);
    /// An object of category "commandPath" with "name" and "timeout", the latter in nanoseconds.
    static std::unique_ptr<xml::XmlObject> commandPathToXml(const CommandPath& path);
    /// A list of category "commandPathList" with one commandPathToXml() a path.
    static std::unique_ptr<xml::XmlList> commandPathListToXml(
        const std::map<std::string, std::unique_ptr<CommandPath>>& paths);
    /// A list of category "commandSetList" with one object of category "commandSet" a set.
    static std::unique_ptr<xml::XmlList> commandSetListToXml(const std::map<std::string, std::string>& sets);
    /// A list of category "partitionList" with one attributeListToXml() a partition, of category "partition".
    static std::unique_ptr<xml::XmlList> partitionListToXml(const std::vector<AttributeList>& partitions);
    /// An object of category "device": its attributes, command sets, command paths and partitions.
    static std::unique_ptr<xml::XmlObject> deviceToXml(const Device& device);
    /// A list of category "deviceList" with one deviceToXml() a device.
    static std::unique_ptr<xml::XmlList> deviceListToXml(const std::vector<std::shared_ptr<Device>>& devices);

    /// The attribute that attributeToXml() wrote, or null when the property is of another category or of a type that
    /// is not read: "sint8", "uint128", "ulong", "double", "vectorOfPayloads" and unknown ones. Numbers are cut to the
    /// type's width. The property gains those of its seven attributes that it lacked, with an empty value.
    static std::unique_ptr<Attribute> xmlToAttribute(xml::XmlProperty& xmlProperty);
    /// The properties of an object by xmlToAttribute(), without the null ones. Of equal names the last one counts.
    static std::unique_ptr<AttributeList> xmlToAttributeList(xml::XmlObject& xmlObject);
    /// One xmlToAttributeList() for each object of the list.
    static std::vector<std::unique_ptr<AttributeList>> xmlToAttributeLists(xml::XmlList& xmlList);

private:
    /// Not XmlObject::addProperty(), which sanitises: a status message crosses the boundary byte for byte.
    static void addVerbatimProperty(xml::XmlObject& object, const std::string& name, const std::string& value);
};

}  // namespace ostrel::core
