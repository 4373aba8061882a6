#include "features/jobs/DriveOutput.h"

#include <algorithm>

#include "ostrel/core/ScopeTrace.h"
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

void DriveOutput::addAttributes(const std::string& heading, const AttributeList& attributes) {
    OSTREL_TRACE();
    auto object =
        XmlConverter::attributeListToXml(requested_ == nullptr ? attributes : selected(attributes, *requested_));
    // The reader of an attribute list shows its key alone as the heading.
    object->attributes[xml::KEY_KEY] = heading + " " + serialNumber_;
    add(std::move(object));
}

bool DriveOutput::hasAllRequested(const AttributeList& attributes) const {
    OSTREL_TRACE();
    return requested_ != nullptr && std::all_of(requested_->begin(), requested_->end(), [&](const auto& request) {
               return findIgnoringCase(attributes, request.first) != attributes.end();
           });
}

void DriveOutput::addTree(const nvme::FieldTree& tree) {
    add(tree.toXml(serialNumber_));
}

void DriveOutput::addStatus(const std::string& heading, const Status& status) {
    OSTREL_TRACE();
    auto object = XmlConverter::statusToXml(status);
    object->attributes[xml::KEY_NAME] = heading;
    object->attributes[xml::KEY_KEY] = serialNumber_;
    add(std::move(object));
}

}  // namespace features::jobs
