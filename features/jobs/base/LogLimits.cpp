#include "features/jobs/base/LogLimits.h"

#include <algorithm>

#include "features/ata/AtaCommand.h"
#include "features/errors/DriveName.h"
#include "features/jobs/support/AvailableMemory.h"
#include "features/nvme/LogPageIds.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

std::string alternative(const NamedLog& log) {
    return " '" + log.copyCommand + "' writes it to a file piece by piece.";
}

std::string lengthText(const std::string& driveName, uint64_t bytes) {
    return "The log of drive " + driveName + " has " + std::to_string(bytes) + " bytes";
}

Status tooLong(const std::string& text) {
    Status status = statuses::bufferTooSmall();
    status.setMessage(text);
    return status;
}

std::string copyCommandOf(const Device& device, uint8_t lid) {
    const std::string path = device.getAttribute(attributes::device::devicePath()).getText();
    if (device.supportsCommandSet(ata::COMMAND_SET_ATA)) return "start -velkossd " + path + " -scan Logs";
    const std::string command = "dump -destination FILE -velkossd " + path + " -nvmelog " + std::to_string(lid);
    // Without a reporting context there is no page to be read; this field establishes one.
    return lid == nvme::LID_PERSISTENT_EVENT ? command + " LogSpecificField=1" : command;
}

}  // namespace

uint64_t decodableBytes() {
    return std::min(availableMemoryBytes() / DECODED_COST, MAX_DECODED_BYTES);
}

NamedLog::NamedLog(const Device& device, uint8_t logId)
    : driveName(features::driveName(device)), copyCommand(copyCommandOf(device, logId)) {}

Status checkDecoding(const NamedLog& log, uint64_t bytes) {
    const uint64_t fits = decodableBytes();
    if (bytes <= fits) return Status();
    if (bytes > MAX_DECODED_BYTES) {
        return tooLong(lengthText(log.driveName, bytes) + ", and at most " + std::to_string(MAX_DECODED_BYTES) +
                       " are decoded." + alternative(log));
    }
    return tooLong(lengthText(log.driveName, bytes) + ", and this host has the memory to decode " +
                   std::to_string(fits) + "." + alternative(log));
}

Status checkPayload(const NamedLog& log, uint64_t bytes, uint64_t earlierBytes) {
    const uint64_t fits = availableMemoryBytes() / PAYLOAD_COST;
    const uint64_t left = fits - std::min(fits, earlierBytes);
    if (bytes <= left) return Status();
    return tooLong(lengthText(log.driveName, bytes) + ", and this host has the memory to hand over " +
                   std::to_string(left) + "." + alternative(log));
}

bool isTooLong(const Status& status) {
    const Status tooSmall = statuses::bufferTooSmall();
    return status.is(tooSmall.getCategory(), tooSmall.getCode());
}

Status checkLogLength(const std::string& driveName, uint64_t bytes) {
    if (bytes <= MAX_LOG_BYTES) return Status();
    return tooLong("The log of drive " + driveName + " says that it has " + std::to_string(bytes) +
                   " bytes, and no log has more than " + std::to_string(MAX_LOG_BYTES) + ".");
}

}  // namespace features::jobs
