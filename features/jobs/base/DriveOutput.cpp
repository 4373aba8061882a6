#include "features/jobs/base/DriveOutput.h"

#include <algorithm>
#include <iterator>

#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/Device.h"
#include "ostrel/core/Strings.h"
#include "ostrel/core/XmlConverter.h"
#include "ostrel/core/xml/XmlConstants.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

/// The attributes that were asked for, each with what the drive has or with the words that it has none. The user may
/// write a name in any case.
AttributeList selected(const AttributeList& attributes, const AttributeList& requested) {
    AttributeList list;
    for (const auto& [word, request] : requested) {
        const auto found = findIgnoringCase(attributes, word);
        if (found != attributes.end()) {
            list.insert(*found);
        } else {
            list[word] = Attribute(word, request.getDisplayName(), typeString(), "Property not found");
        }
    }
    return list;
}

}  // namespace

void DriveOutput::addAttributes(const std::string& heading, AttributeList attributes) {
    const AttributeList all = withIdentity(std::move(attributes));
    auto object = XmlConverter::attributeListToXml(requested_ == nullptr ? all : selected(all, *requested_));
    // The reader of an attribute list shows its key alone as the heading.
    object->attributes[xml::KEY_KEY] = heading + " " + serialNumber_;
    add(std::move(object));
}

bool DriveOutput::hasAllRequested(const AttributeList& attributes) const {
    if (requested_ == nullptr) return false;
    const AttributeList all = withIdentity(attributes);
    return std::all_of(requested_->begin(), requested_->end(),
                       [&](const auto& request) { return findIgnoringCase(all, request.first) != all.end(); });
}

void DriveOutput::addTree(const nvme::FieldTree& tree) {
    auto object = tree.toXml(serialNumber_);
    prependIdentity(*object);
    add(std::move(object));
}

AttributeList DriveOutput::withIdentity(AttributeList attributes) const {
    for (const Attribute& attribute : identity()) attributes.emplace(attribute.getName(), attribute);
    return attributes;
}

std::vector<Attribute> DriveOutput::identity() const {
    std::vector<Attribute> known;
    if (device_ == nullptr) return known;
    for (const Attribute& attribute : {attributes::device::serialNumber(), attributes::device::devicePath()}) {
        known.push_back(device_->getAttribute(attribute));
        if (known.back().getText().empty()) known.pop_back();
    }
    return known;
}

void DriveOutput::prependIdentity(xml::XmlObject& object) const {
    auto properties = std::move(object.properties);
    object.properties.clear();
    for (const Attribute& attribute : identity()) object.properties.push_back(XmlConverter::attributeToXml(attribute));
    std::move(properties.begin(), properties.end(), std::back_inserter(object.properties));
}

void DriveOutput::addStatus(const std::string& heading, const Status& status) {
    auto object = XmlConverter::statusToXml(status);
    object->attributes[xml::KEY_NAME] = heading;
    object->attributes[xml::KEY_KEY] = serialNumber_;
    prependIdentity(*object);
    add(std::move(object));
}

}  // namespace features::jobs
