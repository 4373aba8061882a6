#include "features/library/RequestHandler.h"

#include <algorithm>
#include <chrono>
#include <set>
#include <utility>

#include "features/jobs/base/DriveOutput.h"
#include "features/jobs/health/scan/DriveHealthScan.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/library/AuditTrail.h"
#include "features/library/JobTable.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/Device.h"
#include "ostrel/core/Logging.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/Strings.h"
#include "ostrel/core/XmlConverter.h"
#include "ostrel/core/xml/XmlConstants.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace features::library {

using namespace ostrel::core;
using jobs::withDetails;
using transport::LookErrors;

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

std::string notSeen(const LookErrors& errors) {
    return "Not everything could be looked at: " + errors.text();
}

/// The outcome of a health scan is an exit status of its own, which the code of a status beside it would replace: a
/// scan that found nothing could not look at everything, and what it did find weighs more.
Status outcomeOfHealthScan(const xml::XmlObject& output, const Status& otherwise) {
    const auto text = [](jobs::HealthOutcome outcome) { return std::to_string(static_cast<unsigned>(outcome)); };
    for (const auto& property : output.properties) {
        if (property->getAttribute(xml::KEY_NAME) != "HealthScanStatusCode") continue;
        std::string& outcome = property->attributes[xml::KEY_VALUE];
        if (outcome == text(jobs::HealthOutcome::NOTHING_FOUND)) outcome = text(jobs::HealthOutcome::NOT_COMPLETED);
        return Status(otherwise.getCategory(), 0, otherwise.getMessage());
    }
    return otherwise;
}

/// A show renders the first output alone, so that the status belongs there, and its code becomes the exit status. An
/// output that is dumped has a name, and a status in it would replace its payload: the scan's has its own output.
Status reportScanErrors(const Status& status, xml::XmlObject& output, const LookErrors& errors) {
    const Status incomplete = withDetails(statuses::systemRescanFailed(), notSeen(errors));
    if (output.objects.empty()) return succeeded(status) ? incomplete : withDetails(status, notSeen(errors));
    xml::XmlObject* first = output.objects.front().get();
    if (!first->getAttribute(xml::KEY_NAME).empty()) {
        output.objects.push_back(std::make_unique<xml::XmlObject>());
        first = output.objects.back().get();
        first->attributes[xml::KEY_CATEGORY] = xml::CATEGORY_OUTPUT;
    }
    auto child = XmlConverter::statusToXml(outcomeOfHealthScan(*first, incomplete));
    child->attributes[xml::KEY_NAME] = "Drive Scan";
    child->attributes[xml::KEY_KEY] = "Incomplete";
    first->objects.push_back(std::move(child));
    return status;
}

std::string pathOf(const std::shared_ptr<Device>& device) {
    return device->getAttribute(attributes::device::devicePath()).getText();
}

/// The list of all drives with all that it shows. One of named attributes is for programs that go on with its drives.
bool isPlainList(const xml::XmlObject& request) {
    const auto& parts = request.objects;
    return request.getAttribute(xml::KEY_NAME) == ostrel::interfaces::ostreli::JOB_VELKOSSD &&
           std::none_of(parts.begin(), parts.end(),
                        [](const auto& part) { return part->getAttribute(xml::KEY_NAME) == xml::NAME_PROPERTIES; });
}

std::string reasonOf(const Device& drive) {
    return drive.getAttribute(attributes::device::errorString()).getText();
}

/// The code of a status is the exit status, and that a machine has such drives is no failure.
void listUnsupported(const std::vector<std::shared_ptr<Device>>& drives, xml::XmlObject& output) {
    for (const auto& drive : drives) {
        std::string name = drive->getAttribute(attributes::device::serialNumber()).getText();
        if (name.empty()) name = pathOf(drive).substr(pathOf(drive).rfind('/') + 1);
        jobs::DriveOutput out(name, nullptr, drive.get());
        out.addStatus("Unsupported Drive", Status(0, 0, reasonOf(*drive)));
        for (auto& object : out.take()) output.objects.push_back(std::move(object));
    }
}

/// By the very path: those of two simulated drives may be equal but for case.
std::shared_ptr<Device> deviceByPath(const std::vector<std::shared_ptr<Device>>& devices, const std::string& path) {
    const auto found = std::find_if(devices.begin(), devices.end(), [&](const auto& d) { return pathOf(d) == path; });
    return found == devices.end() ? nullptr : *found;
}

/// The manager sorts by path: where a source has another order, its devices change places among each other.
void orderDevices(std::vector<std::shared_ptr<Device>>& devices, const std::vector<std::string>& paths) {
    const auto rank = [&](const auto& device) { return std::find(paths.begin(), paths.end(), pathOf(device)); };
    std::vector<std::size_t> places;
    std::vector<std::shared_ptr<Device>> moved;
    for (std::size_t i = 0; i < devices.size(); ++i) {
        if (rank(devices[i]) == paths.end()) continue;
        places.push_back(i);
        moved.push_back(devices[i]);
    }
    std::stable_sort(moved.begin(), moved.end(), [&](const auto& a, const auto& b) { return rank(a) < rank(b); });
    for (std::size_t i = 0; i < places.size(); ++i) {
        devices[places[i]] = moved[i];
        Attribute index = attributes::device::index();
        index.setValue(static_cast<std::int32_t>(places[i]));
        moved[i]->setAttribute(index);
    }
}

bool hasSerialNumber(const Device& device, const std::string& text) {
    const Attribute serial = attributes::device::serialNumber();
    return device.hasAttribute(serial.getName()) && equals(device.getAttribute(serial).getText(), text, true);
}

Status severalDrives(const std::string& name, const std::vector<std::shared_ptr<Device>>& devices) {
    std::string paths;
    for (const auto& device : devices) paths += (paths.empty() ? "" : ", ") + pathOf(device);
    return withDetails(statuses::multipleDevicesSelected(),
                       "'" + name + "' fits several drives: name one by its path (" + paths + ").");
}

void logJob(const xml::XmlObject& request, const Status& status, std::chrono::steady_clock::duration duration) {
    if (!isLoggingEnabled()) return;
    logMessage(LOGSEVERITY_INFO, "Job ", request.getAttribute(xml::KEY_NAME), " (", request.getAttribute(xml::KEY_TYPE),
               "): ", status.getCategory(), "/", status.getCode(), " ", status.getMessage(), ", ",
               std::chrono::duration_cast<std::chrono::microseconds>(duration).count(), " us");
}

bool wantsScan(const xml::XmlObject& request) {
    for (const auto& property : request.properties) {
        if (property->getAttribute(xml::KEY_NAME) == "Scan") return toBoolean(property->getAttribute(xml::KEY_VALUE));
    }
    return false;
}

}  // namespace

RequestHandler::RequestHandler(std::vector<std::unique_ptr<transport::DriveSource>> sources, Journal journal)
    : sources_(std::move(sources)), journal_(std::move(journal)) {
    for (const auto& source : sources_) manager_.addDeviceFinder(*source->finder());
}

std::shared_ptr<xml::XmlObject> RequestHandler::answer(const std::string& text) {
    auto root = std::make_shared<xml::XmlObject>();
    const auto output = std::make_shared<xml::XmlObject>();
    const auto element = XmlConverter::toXml(text);
    auto* request = dynamic_cast<xml::XmlObject*>(element.get());
    Status status = statuses::jobNoInputXml();
    if (request != nullptr) {
        root->attributes[xml::KEY_NAME] = request->getAttribute(xml::KEY_NAME);
        const auto start = std::chrono::steady_clock::now();
        status = run(*request, output);
        logJob(*request, status, std::chrono::steady_clock::now() - start);
    }
    root->objects.push_back(XmlConverter::statusToXml(status));
    for (auto& object : output->objects) root->objects.push_back(std::move(object));
    return root;
}

Status RequestHandler::run(xml::XmlObject& request, const std::shared_ptr<xml::XmlObject>& output) {
    TRY(const auto job, createJob(request.getAttribute(xml::KEY_NAME)));
    // The look for drives costs time and is only made for jobs that want it; a parse of a file does not.
    Devices devices;
    Selection selection;
    selection.changes = changesDrive(request);
    if (wantsScan(request)) {
        manager_.scan();
        for (const auto& source : sources_) orderDevices(manager_.getDevices(), source->scanOrder());
        for (const auto& source : sources_) selection.scanErrors.add(source->scanErrors());
        TRY(devices, selectDevices(request, selection));
        RETURN_IF_FAILED(checkSelection(selection));
    }
    job->setInput(request);
    job->setDevices(devices);
    const Status status = selection.changes ? runAudited(*job, request, devices, output) : job->run(output);
    if (!selection.changes && !selection.isNamed && !output->objects.empty() && isPlainList(request))
        listUnsupported(unsupportedDrives(), *output->objects.front());
    if (selection.scanErrors.isEmpty() || !selection.dependsOnScan()) return status;
    return reportScanErrors(status, *output, selection.scanErrors);
}

/// A drive that another process changes is refused, which belongs to the trail, too.
Status RequestHandler::runAudited(ostrel::interfaces::ostreli::Job& job, const xml::XmlObject& request,
                                  const Devices& devices, const std::shared_ptr<xml::XmlObject>& output) const {
    const AuditTrail trail(journal_, request, devices);
    LockedDrives locks;
    Status status = lockDrives(devices, locks);
    if (succeeded(status)) status = job.run(output);
    trail.end(status, *output);
    return status;
}

/// Which drive an index selects, and which drives are all, is a guess when some may not have been found.
Status RequestHandler::checkSelection(const Selection& selection) {
    if (selection.scanErrors.isEmpty() || !selection.dependsOnScan() || !selection.changes) return Status();
    return withDetails(statuses::systemRescanFailed(),
                       selection.scanErrors.text() + " Name the drive by its serial number or path.");
}

Result<RequestHandler::Devices> RequestHandler::selectDevices(const xml::XmlObject& request, Selection& selection) {
    Devices devices;
    for (const auto& list : request.lists) {
        if (list->getAttribute(xml::KEY_NAME) != xml::NAME_DEVICES) continue;
        for (const auto& named : list->objects) {
            for (const auto& selector : named->properties) {
                selection.isNamed = true;
                const std::string key = selector->getAttribute(xml::KEY_NAME);
                if (key == xml::NAME_INDEX) selection.hasIndex = true;
                TRY(const auto device, selectDevice(key, selector->getAttribute(xml::KEY_VALUE), selection));
                // Two names for one drive are one drive: a command must not run on it twice.
                if (std::find(devices.begin(), devices.end(), device) == devices.end()) devices.push_back(device);
            }
        }
    }
    return selection.isNamed ? devices : manager_.getDevices();
}

Result<std::shared_ptr<Device>> RequestHandler::findDevice(const std::string& key, const std::string& value,
                                                           bool changes, LookErrors& errors) {
    if (key == xml::NAME_PATH) return deviceAt(value, &transport::DriveSource::locate, errors);
    if (key == xml::NAME_BOOT_DRIVE) return deviceAt(value, &transport::DriveSource::bootDrive, errors);
    return deviceNamed(key, value, changes);
}

Result<std::shared_ptr<Device>> RequestHandler::selectDevice(const std::string& key, const std::string& value,
                                                             const Selection& selection) {
    LookErrors errors = selection.scanErrors;
    TRY(const auto device, findDevice(key, value, selection.changes, errors));
    if (device != nullptr) return device;
    const std::string reason = whyNotSupported(key, value);
    if (!reason.empty()) return withDetails(unknownDrive(key), reason);
    // A drive that is not known, and one that could not be seen, differ.
    return errors.isEmpty() ? unknownDrive(key) : withDetails(unknownDrive(key), notSeen(errors));
}

Result<std::shared_ptr<Device>> RequestHandler::deviceNamed(const std::string& key, const std::string& value,
                                                            bool changes) {
    auto device = manager_.GetDevice(Attribute(key, key, typeString(), value));
    // Digits are the serial number of a drive where no drive has that index.
    if (device == nullptr && key == xml::NAME_INDEX && !value.empty())
        return deviceNamed(xml::NAME_SERIAL_NUMBER, value, changes);
    if (device == nullptr || (key != xml::NAME_INDEX && key != xml::NAME_SERIAL_NUMBER)) return device;
    // An index is a serial number, too, if there is a drive that has it.
    Devices fitting{device};
    for (const auto& other : manager_.getDevices()) {
        if (other != device && hasSerialNumber(*other, value)) fitting.push_back(other);
    }
    if (fitting.size() == 1) return device;
    const std::vector<std::string> controllers = controllersOfDrive(pathOf(device));
    const auto place = [&](const auto& d) { return std::find(controllers.begin(), controllers.end(), pathOf(d)); };
    const bool isOneDrive =
        std::all_of(fitting.begin(), fitting.end(), [&](const auto& d) { return place(d) != controllers.end(); });
    if (!isOneDrive && changes) return severalDrives(value, fitting);
    if (!isOneDrive || key != xml::NAME_SERIAL_NUMBER) return device;
    return *std::min_element(fitting.begin(), fitting.end(),
                             [&](const auto& left, const auto& right) { return place(left) < place(right); });
}

RequestHandler::Devices RequestHandler::unsupportedDrives() const {
    Devices drives;
    for (const auto& source : sources_) {
        for (const auto& drive : source->unsupportedDrives()) drives.push_back(drive);
    }
    return drives;
}

std::string RequestHandler::whyNotSupported(const std::string& key, const std::string& value) const {
    if (value.empty()) return {};
    for (const auto& source : sources_) {
        LookErrors ignored;  // noted by the look for the drive
        const auto location = key == xml::NAME_PATH ? source->locate(value, ignored) : std::nullopt;
        for (const auto& drive : source->unsupportedDrives()) {
            const bool isMeant = location ? location->devicePath == pathOf(drive) : hasSerialNumber(*drive, value);
            if (isMeant) return reasonOf(*drive);
        }
    }
    return {};
}

std::vector<std::string> RequestHandler::controllersOfDrive(const std::string& devicePath) const {
    for (const auto& source : sources_) {
        LookErrors errors;  // controllers that cannot be seen to belong together count as drives of their own
        std::vector<std::string> controllers = source->controllersOfDrive(devicePath, errors);
        if (controllers.size() > 1) return controllers;
    }
    return {devicePath};
}

/// One lock for all controllers of a drive.
Status RequestHandler::lockDrives(const Devices& devices, LockedDrives& locks) const {
    std::set<std::string> locked;
    for (const auto& device : devices) {
        if (locked.count(pathOf(device)) != 0) continue;
        RETURN_IF_FAILED(locks.add(device));
        if (devices.size() == 1) break;
        for (const std::string& controller : controllersOfDrive(pathOf(device))) locked.insert(controller);
    }
    return Status();
}

Result<std::shared_ptr<Device>> RequestHandler::deviceAt(const std::string& path, Locate locate, LookErrors& errors) {
    for (const auto& source : sources_) {
        const auto location = (source.get()->*locate)(path, errors);
        if (!location) continue;
        auto device = deviceByPath(manager_.getDevices(), location->devicePath);
        if (device == nullptr) device = source->namedDevice(location->devicePath);
        if (device == nullptr || !location->nsid) return device;
        // Jobs on one namespace take the one that the path named.
        Attribute nsid = attributes::device::namespaceId();
        nsid.setValue(*location->nsid);
        if (device->hasAttribute(nsid.getName()) && device->getAttribute(nsid).getText() != nsid.getText())
            return severalNamespaces(location->devicePath, device->getAttribute(nsid).getText(), nsid.getText());
        device->setAttribute(nsid);
        return device;
    }
    return nullptr;
}

}  // namespace features::library
