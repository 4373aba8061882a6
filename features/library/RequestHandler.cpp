#include "features/library/RequestHandler.h"

#include <algorithm>
#include <utility>

#include "features/library/JobTable.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/Device.h"
#include "ostrel/core/ScopeTrace.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/Strings.h"
#include "ostrel/core/XmlConverter.h"
#include "ostrel/core/xml/XmlConstants.h"

namespace features::library {

using namespace ostrel::core;

namespace {

/// What is said of a drive that is not there, by the kind of name it was given.
struct SelectorRow {
    const char* key;
    Status (*unknown)();
};
constexpr SelectorRow SELECTORS[] = {
    {xml::NAME_INDEX, statuses::deviceIndexNotFound},
    {xml::NAME_SERIAL_NUMBER, statuses::deviceSerialNotFound},
    {xml::NAME_PATH, statuses::devicePathNotFound},
    {xml::NAME_BOOT_DRIVE, statuses::deviceIdNotFound},
};

Status unknownDrive(const std::string& key) {
    for (const SelectorRow& row : SELECTORS) {
        if (key == row.key) return row.unknown();
    }
    return statuses::jobInvalidDriveIdentifier();
}

Status severalNamespaces(const std::string& drive, const std::string& first, const std::string& second) {
    Status status = statuses::multipleDevicesSelected();
    status.setMessage(status.getMessage() + " Namespaces " + first + " and " + second + " of " + drive +
                      " were named: name one of them.");
    return status;
}

bool wantsScan(const xml::XmlObject& request) {
    for (const auto& property : request.properties) {
        if (property->getAttribute(xml::KEY_NAME) == "Scan") return toBoolean(property->getAttribute(xml::KEY_VALUE));
    }
    return false;
}

}  // namespace

RequestHandler::RequestHandler(std::vector<std::unique_ptr<transport::DriveSource>> sources)
    : sources_(std::move(sources)) {
    for (const auto& source : sources_) manager_.addDeviceFinder(*source->finder());
}

std::string RequestHandler::answer(const std::string& text) {
    OSTREL_TRACE();
    auto root = std::make_shared<xml::XmlObject>();
    const auto output = std::make_shared<xml::XmlObject>();
    const auto element = XmlConverter::toXml(text);
    auto* request = dynamic_cast<xml::XmlObject*>(element.get());
    Status status = statuses::jobNoInputXml();
    if (request != nullptr) {
        root->attributes[xml::KEY_NAME] = request->getAttribute(xml::KEY_NAME);
        status = run(*request, output);
    }
    root->objects.push_back(XmlConverter::statusToXml(status));
    for (auto& object : output->objects) root->objects.push_back(std::move(object));
    return root->toXmlString();
}

Status RequestHandler::run(xml::XmlObject& request, const std::shared_ptr<xml::XmlObject>& output) {
    OSTREL_TRACE();
    Status status;
    const auto job = createJob(request.getAttribute(xml::KEY_NAME), status);
    if (job == nullptr) return status;
    // The look for drives costs time and is only made for jobs that want it; a parse of a file does not.
    Devices devices;
    if (wantsScan(request)) {
        manager_.scan();
        status = selectDevices(request, devices);
        if (!status.is(0, 0)) return status;
    }
    job->setInput(request);
    job->setDevices(devices);
    return job->run(output);
}

Status RequestHandler::selectDevices(const xml::XmlObject& request, Devices& devices) {
    OSTREL_TRACE();
    bool named = false;
    for (const auto& list : request.lists) {
        if (list->getAttribute(xml::KEY_NAME) != xml::NAME_DEVICES) continue;
        for (const auto& device : list->objects) {
            for (const auto& selector : device->properties) {
                named = true;
                const Status status = selectDevice(selector->getAttribute(xml::KEY_NAME),
                                                   selector->getAttribute(xml::KEY_VALUE), devices);
                if (!status.is(0, 0)) return status;
            }
        }
    }
    if (!named) devices = manager_.getDevices();
    return Status();
}

Status RequestHandler::selectDevice(const std::string& key, const std::string& value, Devices& devices) {
    OSTREL_TRACE();
    std::shared_ptr<Device> device;
    Status status;
    if (key == xml::NAME_PATH) {
        status = deviceAt(value, &transport::DriveSource::locate, device);
    } else if (key == xml::NAME_BOOT_DRIVE) {
        status = deviceAt(value, &transport::DriveSource::bootDrive, device);
    } else {
        device = manager_.GetDevice(Attribute(key, key, typeString(), value));
    }
    if (!status.is(0, 0)) return status;
    if (device == nullptr) return unknownDrive(key);
    // Two names for one drive are one drive: a command must not run on it twice.
    if (std::find(devices.begin(), devices.end(), device) == devices.end()) devices.push_back(device);
    return Status();
}

Status RequestHandler::deviceAt(const std::string& path, Locate locate, std::shared_ptr<Device>& device) {
    OSTREL_TRACE();
    for (const auto& source : sources_) {
        const auto location = (source.get()->*locate)(path);
        if (!location) continue;
        device = manager_.getDeviceByPath(location->devicePath);
        if (device == nullptr || !location->nsid) return Status();
        // Jobs on one namespace take the one that the path named.
        Attribute nsid = attributes::device::namespaceId();
        nsid.setValue(*location->nsid);
        if (device->hasAttribute(nsid.getName()) && device->getAttribute(nsid).getText() != nsid.getText())
            return severalNamespaces(location->devicePath, device->getAttribute(nsid).getText(), nsid.getText());
        device->setAttribute(nsid);
        return Status();
    }
    return Status();
}

}  // namespace features::library
