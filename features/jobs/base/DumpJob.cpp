#include "features/jobs/base/DumpJob.h"

#include "features/errors/DriveName.h"
#include "features/errors/Result.h"
#include "features/jobs/base/LogLimits.h"
#include "features/jobs/support/StatusDetails.h"
#include "ostrel/core/AddressableSize.h"
#include "ostrel/core/Attribute.h"
#include "ostrel/core/Strings.h"
#include "ostrel/core/XmlConverter.h"
#include "ostrel/core/xml/XmlConstants.h"
#include "ostrel/core/xml/XmlProperty.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

/// Makes the digits of the payload as the bytes come: a log of hundreds of megabytes is there once. Refused before they
/// come: a log without data, and one that is longer than the memory lets an answer be.
class HexSink : public LogSink {
public:
    HexSink(NamedLog log, uint64_t earlierBytes, const EmptyLog& empty)
        : log_(std::move(log)), earlierBytes_(earlierBytes), empty_(empty) {}

    Status begin(uint64_t bytes) override {
        hasBegun_ = true;
        bytes_ = 0;
        digits_.clear();
        RETURN_IF_FAILED(empty_.check(log_.driveName, bytes));
        RETURN_IF_FAILED(checkPayload(log_, bytes, earlierBytes_));
        digits_.reserve(addressableSize(bytes * 2));
        return Status();
    }
    Status add(const uint8_t* data, size_t bytes) override {
        digits_ += bytesToHex(data, bytes);
        bytes_ += bytes;
        return Status();
    }

    bool hasBegun() const { return hasBegun_; }
    uint64_t bytes() const { return bytes_; }
    std::unique_ptr<xml::XmlProperty> takePayload() {
        auto property = XmlConverter::payloadToXml(Payload());
        property->attributes[xml::KEY_VALUE] = std::move(digits_);
        property->attributes[xml::KEY_SIZE] = numberToText(bytes_);
        return property;
    }

private:
    const NamedLog log_;
    const uint64_t earlierBytes_;  ///< of the other drives, in the same answer
    const EmptyLog& empty_;
    std::string digits_;
    uint64_t bytes_ = 0;
    bool hasBegun_ = false;
};

/// The message of a failure among those of other drives.
Status namingDrive(const Status& status, const Device& device) {
    const std::string name = driveName(device);
    return status.getMessage().find(name) != std::string::npos ? status : withDetails(status, "Drive " + name + ".");
}

}  // namespace

Status DumpJob::dumpAtaDrive(ata::Drive& drive, const Arguments&, LogSink&) {
    return refuseAta(drive.device(), ataRefusal());
}

Status DumpJob::dump(Device& device, LogSink& log) {
    if (isAta(device)) {
        ata::Drive drive(device);
        return dumpAtaDrive(drive, arguments(), log);
    }
    nvme::Drive drive(device);
    return dumpDrive(drive, arguments(), log);
}

Status DumpJob::runMethod(const std::shared_ptr<xml::XmlObject>& output) {
    RETURN_IF_FAILED(checkRequest(arguments()));
    const auto& devices = getDevices();
    const std::vector<std::string> names = driveNames();
    uint64_t bytes = 0;
    for (std::size_t i = 0; i < devices.size(); ++i) {
        Device& device = *devices[i];
        HexSink log(NamedLog(device, logId(arguments())), bytes, empty_);
        const Status status = dump(device, log);
        if (failed(status) && isOneDriveNamed()) return status;
        if (succeeded(status) && !log.hasBegun()) continue;
        auto object = std::make_unique<xml::XmlObject>();
        object->attributes[xml::KEY_CATEGORY] = xml::CATEGORY_OUTPUT;
        object->attributes[xml::KEY_NAME] = title();
        object->attributes[xml::KEY_KEY] = names[i];
        if (succeeded(status)) {
            bytes += log.bytes();
            object->properties.push_back(log.takePayload());
        } else {
            object->objects.push_back(XmlConverter::statusToXml(namingDrive(status, device)));
        }
        output->objects.push_back(std::move(object));
    }
    return Status();
}

}  // namespace features::jobs
