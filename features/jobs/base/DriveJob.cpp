#include "features/jobs/base/DriveJob.h"

#include <algorithm>
#include <map>

#include "features/errors/DriveName.h"
#include "features/errors/Result.h"
#include "features/jobs/support/HeapRoom.h"
#include "features/jobs/support/ParallelFor.h"
#include "features/jobs/support/StatusDetails.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/XmlConverter.h"
#include "ostrel/core/xml/XmlConstants.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

/// Enough to keep a shelf of drives busy, and few enough to leave the machine to its work.
constexpr std::size_t DRIVES_AT_ONCE = 8;
constexpr std::size_t KIB = 1024;

std::unique_ptr<xml::XmlObject> outputObject() {
    auto object = std::make_unique<xml::XmlObject>();
    object->attributes[xml::KEY_CATEGORY] = xml::CATEGORY_OUTPUT;
    return object;
}

void append(xml::XmlObject& output, DriveOutput& drive) {
    for (auto& object : drive.take()) output.objects.push_back(std::move(object));
}

}  // namespace

AttributeList DriveJob::getSupportedProperties() const {
    return {};
}

Status DriveJob::getProperties(const std::shared_ptr<xml::XmlObject>& output) {
    const auto requested = getRequestedGetProperties(*getInput());
    // The status of a get is dropped by the interpreter: a bad argument has to be reported inside the output.
    const Status request = checkRequest(arguments());
    if (failed(request)) {
        auto refusal = XmlConverter::statusToXml(request);
        refusal->attributes[xml::KEY_NAME] = title_;
        output->objects.push_back(outputObject());
        output->objects.back()->objects.push_back(std::move(refusal));
        return request;
    }
    runOnDrives(*output, requested.get(), DRIVES_AT_ONCE, {&DriveJob::showDrive, &DriveJob::showAtaDrive});
    return Status();
}

Status DriveJob::runMethod(const std::shared_ptr<xml::XmlObject>& output) {
    RETURN_IF_FAILED(checkRequest(arguments()));
    runOnDrives(*output, nullptr, 1, {&DriveJob::actOnDrive, &DriveJob::actOnAtaDrive});
    return Status();
}

Status DriveJob::setProperty(const AttributeList& requested) {
    Device& device = *getDevices().front();
    const Attribute& attribute = requested.begin()->second;
    nvme::Drive nvmeDrive(device);
    ata::Drive ataDrive(device);
    Status status = isAta(device) ? setOnAtaDrive(ataDrive, attribute) : setOnDrive(nvmeDrive, attribute);
    // The tool reports the success in its own words.
    if (succeeded(status) && status.getMessage() == Status().getMessage()) status.setMessage("");
    return status;
}

std::optional<Arguments> DriveJob::sentProperties() const {
    const auto& objects = getInput()->objects;
    const auto found = std::find_if(objects.begin(), objects.end(), [](const auto& object) {
        return object->getAttribute(xml::KEY_NAME) == xml::NAME_PROPERTIES;
    });
    return found == objects.end() ? std::optional<Arguments>() : Arguments(**found);
}

Arguments DriveJob::propertyToSet() const {
    return *sentProperties();  // without one there would be nothing to be set
}

Status DriveJob::runOnDrive(const Operation& operation, Device& device, DriveOutput& out) {
    if (isAta(device)) {
        ata::Drive drive(device);
        return (this->*operation.onAta)(drive, arguments(), out);
    }
    nvme::Drive drive(device);
    return (this->*operation.onNvme)(drive, arguments(), out);
}

void DriveJob::runOnDrives(xml::XmlObject& output, const AttributeList* requested, std::size_t atOnce,
                           const Operation& operation) {
    const auto& devices = getDevices();
    const std::vector<std::string> names = driveNames();
    std::vector<std::unique_ptr<DriveOutput>> outputs(devices.size());
    parallelFor(devices.size(), atOnce, [&](std::size_t i) {
        makeHeapRoom(bytesOfDrive());
        outputs[i] = std::make_unique<DriveOutput>(names[i], requested, devices[i].get());
        const Status status = runOnDrive(operation, *devices[i], *outputs[i]);
        if (failed(status)) outputs[i]->addStatus(title_, status);
    });
    auto object = outputObject();
    for (const auto& drive : outputs) append(*object, *drive);
    output.objects.push_back(std::move(object));
}

void DriveJob::addOutput(xml::XmlObject& output, DriveOutput& drive) {
    output.objects.push_back(outputObject());
    append(*output.objects.back(), drive);
}

std::size_t DriveJob::bytesOfDrive() const {
    return 96 * KIB;  // each of a few dozen values has a page
}

std::vector<std::string> DriveJob::driveNames() const {
    const auto& devices = getDevices();
    // How the headings name the drives: by the serial number. Where several have the same one, as controllers of one
    // subsystem do, the node follows: "S1 nvme0". Without a mark between them, since headings become XML names. The
    // node alone names a drive that could not report its serial number.
    std::vector<std::string> names;
    std::map<std::string, unsigned> drivesOfName;
    for (const auto& device : devices) {
        names.push_back(device->getAttribute(attributes::device::serialNumber()).getText());
        ++drivesOfName[names.back()];
    }
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (!names[i].empty() && drivesOfName[names[i]] == 1) continue;
        const std::string path = devices[i]->getAttribute(attributes::device::devicePath()).getText();
        names[i] += (names[i].empty() ? "" : " ") + path.substr(path.rfind('/') + 1);
    }
    return names;
}

bool DriveJob::isAta(const Device& device) {
    return device.supportsCommandSet(ata::COMMAND_SET_ATA);
}

bool DriveJob::isOneDriveNamed() const {
    const auto& lists = getInput()->lists;
    return getDevices().size() == 1 && std::any_of(lists.begin(), lists.end(), [](const auto& list) {
               return list->getAttribute(xml::KEY_NAME) == xml::NAME_DEVICES && !list->objects.empty();
           });
}

Status DriveJob::checkRequest(const Arguments&) {
    return Status();
}
Status DriveJob::showDrive(nvme::Drive&, const Arguments&, DriveOutput&) {
    return statuses::featureNotSupported();
}
Status DriveJob::actOnDrive(nvme::Drive&, const Arguments&, DriveOutput&) {
    return statuses::featureNotSupported();
}
Status DriveJob::setOnDrive(nvme::Drive&, const Attribute&) {
    return statuses::featureNotSupported();
}
Status DriveJob::showAtaDrive(ata::Drive& drive, const Arguments&, DriveOutput&) {
    return refuseAta(drive.device(), ataRefusal());
}
Status DriveJob::actOnAtaDrive(ata::Drive& drive, const Arguments&, DriveOutput&) {
    return refuseAta(drive.device(), ataRefusal());
}
Status DriveJob::setOnAtaDrive(ata::Drive& drive, const Attribute&) {
    return refuseAta(drive.device(), ataRefusal());
}
Status DriveJob::ataRefusal() const {
    return statuses::featureNotSupported();
}
Status DriveJob::refuseAta(const Device& device, const Status& refusal) {
    return withDetails(refusal, driveName(device) + " is a SATA drive.");
}

}  // namespace features::jobs
