// The tool's side of Job: requests as they go over the wire.

#include "ostrel/interfaces/ostreli/interface/Job.h"

#include <utility>

#include "ostrel/core/Attribute.h"
#include "ostrel/core/ScopeTrace.h"
#include "ostrel/core/Strings.h"
#include "ostrel/core/System.h"
#include "ostrel/core/XmlConverter.h"
#include "ostrel/core/xml/XmlConstants.h"
#include "ostrel/core/xml/XmlList.h"
#include "ostrel/core/xml/XmlProperty.h"

namespace ostrel::interfaces::ostreli {

using core::Attribute;
using core::AttributeList;
using core::XmlConverter;
using core::xml::XmlList;
using core::xml::XmlObject;
using core::xml::XmlProperty;

namespace {

std::shared_ptr<XmlObject> createRequestWithoutDevice(const std::string& name, const std::string& type, bool scan) {
    OSTREL_TRACE();
    auto request = std::make_shared<XmlObject>();
    request->attributes[core::xml::KEY_NAME] = name;
    request->attributes[core::xml::KEY_TYPE] = type;
    if (scan) Job::addProperty(*request, Attribute("Scan", "Scan", core::typeBoolean()), "true");
    return request;
}

XmlObject* findProperties(const XmlObject& request) {
    OSTREL_TRACE();
    for (const auto& object : request.objects)
        if (object->getAttribute(core::xml::KEY_NAME) == core::xml::NAME_PROPERTIES) return object.get();
    return nullptr;
}

void addSelector(XmlObject& request, const std::string& device) {
    OSTREL_TRACE();
    if (core::isInteger(device)) return Job::addDevice(request, device, core::xml::NAME_INDEX);
    if (core::equals(device, "bootdrive", true)) return Job::addDevice(request, device, core::xml::NAME_BOOT_DRIVE);
    // A substring test on purpose: a serial number that holds "lsi" counts as a path.
    if (!core::System::isDevicePath(device)) return Job::addDevice(request, device, core::xml::NAME_SERIAL_NUMBER);
    // Other systems name their drives so, below a prefix of their own.
    constexpr std::string_view PHYSICAL_DRIVE = "PHYSICALDRIVE";
    const bool bare = core::equals(device.substr(0, PHYSICAL_DRIVE.size()), PHYSICAL_DRIVE, true);
    Job::addDevice(request, bare ? "\\\\.\\" + device : device, core::xml::NAME_PATH);
}

}  // namespace

std::shared_ptr<XmlObject> Job::createRequest(const std::string& name, const std::string& type, bool scan,
                                              const std::string& device) {
    OSTREL_TRACE();
    auto request = createRequestWithoutDevice(name, type, scan);
    addSelector(*request, device);
    return request;
}

std::shared_ptr<XmlObject> Job::createRequest(const std::string& name, const std::string& type, bool scan,
                                              const std::string& device, const std::string& key) {
    OSTREL_TRACE();
    auto request = createRequestWithoutDevice(name, type, scan);
    addDevice(*request, device, key);
    return request;
}

void Job::addDevice(XmlObject& request, const std::string& value, const std::string& key) {
    OSTREL_TRACE();
    if (value.empty()) return;
    // A selector has neither display name nor size, unlike every other property.
    auto selector = std::make_unique<XmlProperty>();
    selector->attributes[core::xml::KEY_CATEGORY] = core::xml::CATEGORY_ATTRIBUTE;
    selector->attributes[core::xml::KEY_NAME] = key;
    selector->attributes[core::xml::KEY_TYPE] = core::typeString();
    selector->attributes[core::xml::KEY_VALUE] = value;
    auto device = std::make_unique<XmlObject>();
    device->attributes[core::xml::KEY_NAME] = core::xml::NAME_DEVICE;
    device->properties.push_back(std::move(selector));
    auto devices = std::make_unique<XmlList>();
    devices->attributes[core::xml::KEY_NAME] = core::xml::NAME_DEVICES;
    devices->objects.push_back(std::move(device));
    request.lists.push_back(std::move(devices));
}

void Job::addProperty(XmlObject& request, const Attribute& attribute, const std::string& value) {
    OSTREL_TRACE();
    auto property = XmlConverter::attributeToXml(attribute);
    property->attributes[core::xml::KEY_VALUE] = value;
    request.properties.push_back(std::move(property));
}

void Job::addRequestedGetProperty(XmlObject& request, const Attribute& attribute) {
    OSTREL_TRACE();
    XmlObject* properties = findProperties(request);
    if (properties == nullptr) {
        properties = request.objects.emplace_back(std::make_unique<XmlObject>()).get();
        properties->attributes[core::xml::KEY_NAME] = core::xml::NAME_PROPERTIES;
    }
    properties->properties.push_back(XmlConverter::attributeToXml(attribute));
}

std::unique_ptr<AttributeList> Job::getRequestedGetProperties(XmlObject& request) {
    OSTREL_TRACE();
    XmlObject* properties = findProperties(request);
    return properties == nullptr ? nullptr : XmlConverter::xmlToAttributeList(*properties);
}

}  // namespace ostrel::interfaces::ostreli
