#include "features/jobs/erase/ErasureReports.h"

#include <algorithm>
#include <iterator>

#include "features/jobs/drive/LogReading.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/FieldTree.h"
#include "features/nvme/LogPageIds.h"
#include "features/nvme/LogPages.h"
#include "features/nvme/StatusCodes.h"
#include "features/nvme/structures/IdentifyController.h"
#include "features/nvme/structures/SanitizeStatusLog.h"

namespace features::jobs {

namespace {

using Facts = std::vector<ErasureRecord::Fact>;

/// Generic statuses of a command that was begun, or may have been.
constexpr nvme::StatusCode BROKEN_OFF[] = {nvme::SC_ABORTED_POWER_LOSS, nvme::SC_INTERNAL_ERROR,
                                           nvme::SC_ABORT_REQUESTED, nvme::SC_ABORTED_SQ_DELETION};

constexpr unsigned WORD_SECURITY_STATUS = 128;
constexpr unsigned WORD_DIGITS = 4;
constexpr unsigned DWORD_DIGITS = 8;

Facts unreadable(const ostrel::core::Status& why) {
    return {{"error", "Could not be read", why.getMessage()}};
}
const char* yesOrNo(bool value) {
    return value ? "yes" : "no";
}

Facts securityFacts(ata::Drive& drive) {
    const auto identity = drive.identifyAgain();
    if (!identity) return unreadable(identity.error());
    return {
        {"word128", "IDENTIFY DEVICE, word 128", nvme::hexText((*identity)->word(WORD_SECURITY_STATUS), WORD_DIGITS)},
        {"securityEnabled", "Security enabled", yesOrNo((*identity)->has(ata::identify::SECURITY_ENABLED))},
        {"securityLocked", "Security locked", yesOrNo((*identity)->has(ata::identify::SECURITY_LOCKED))}};
}

Facts sanitizeFacts(ata::Drive& drive) {
    const auto state = drive.sanitizeState();
    if (!state) return unreadable(state.error());
    return {{"completed", "SANITIZE STATUS EXT, completed without error", yesOrNo(state->hasCompleted)},
            {"running", "SANITIZE STATUS EXT, in progress", yesOrNo(state->isRunning)},
            {"frozen", "SANITIZE STATUS EXT, frozen", yesOrNo(state->isFrozen)}};
}

}  // namespace

bool mayHaveBegun(const nvme::CommandError& error) {
    if (!isRefusal(error.status)) return true;
    const nvme::StatusCode code = error.completion.status();
    if (code.type == nvme::SCT_MEDIA || code.type == nvme::SCT_PATH) return true;
    return std::find(std::begin(BROKEN_OFF), std::end(BROKEN_OFF), code) != std::end(BROKEN_OFF);
}

ErasedDrive describe(nvme::Drive& drive) {
    const auto identify = drive.identifyController();
    if (!identify) return {};
    const auto controller = nvme::structureAt<nvme::IdentifyController>(*identify);
    const std::string capacity = nvme::decimal128(controller.tnvmcap);
    // A controller that does not report its total reports 0.
    return {nvme::shownText(*identify + offsetof(nvme::IdentifyController, fr), sizeof controller.fr),
            capacity == "0" ? "" : capacity};
}

ErasedDrive describe(ata::Drive& drive) {
    const auto identity = drive.identify();
    if (!identity) return {};
    return {(*identity)->firmware(), std::to_string((*identity)->sectors() * (*identity)->logicalSectorBytes())};
}

Facts reported(nvme::Drive& drive, EraseMethod method) {
    if (method == EraseMethod::FORMAT_USER_DATA || method == EraseMethod::FORMAT_CRYPTO) return {};
    const auto page = readLog(drive, nvme::LID_SANITIZE_STATUS, sizeof(nvme::SanitizeStatusLog));
    if (!page) return unreadable(page.error());
    const auto log = nvme::structureAt<nvme::SanitizeStatusLog>(page->getData());
    return {{"sstat", "Sanitize Status (SSTAT)", nvme::hexText(log.sstat, WORD_DIGITS)},
            {"sstatText", "Meaning", nvme::sanitizeStatusText(log.sstat & 7U)},
            {"sprog", "Sanitize Progress (SPROG)", nvme::hexText(log.sprog, WORD_DIGITS)},
            {"scdw10", "Command dword 10 (SCDW10)", nvme::hexText(log.scdw10, DWORD_DIGITS)}};
}

Facts reported(ata::Drive& drive, EraseMethod method) {
    const bool isSanitize = method == EraseMethod::ATA_BLOCK_ERASE || method == EraseMethod::ATA_CRYPTO_SCRAMBLE;
    return isSanitize ? sanitizeFacts(drive) : securityFacts(drive);
}

}  // namespace features::jobs
