#include "features/jobs/erase/Sanitize.h"

#include <algorithm>
#include <iterator>

#include "features/jobs/drive/DriveLocking.h"
#include "features/jobs/drive/HostSide.h"
#include "features/jobs/drive/LogReading.h"
#include "features/jobs/drive/Refusals.h"
#include "features/jobs/drive/SafetyGate.h"
#include "features/jobs/erase/ErasureReports.h"
#include "features/jobs/support/ProgressLine.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/FeatureIds.h"
#include "features/nvme/FieldTree.h"
#include "features/nvme/LogPageIds.h"
#include "features/nvme/LogPages.h"
#include "features/nvme/Opcodes.h"
#include "features/nvme/Units.h"
#include "features/nvme/structures/SanitizeStatusLog.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::jobs {

using namespace ostrel::core;
using nvme::bit;
using nvme::ControllerCapabilities;

namespace {

/// The command itself only starts the operation.
constexpr uint32_t COMMAND_TIMEOUT_MS = 120 * 1000;

constexpr uint64_t MINUTE_MS = uint64_t{60} * 1000;
constexpr uint64_t GRACE_MS = 10 * MINUTE_MS;
constexpr uint64_t LIMIT_WITHOUT_ESTIMATE_MS = MINUTE_MS * 60 * 24;
/// The end of a short operation is seen soon, a long one does not keep the drive busy with questions.
constexpr uint64_t FAST_POLL_MS = 1000;
constexpr uint64_t SLOW_POLL_MS = 10000;

/// The Sanitize Status log.
constexpr size_t OFFSET_STATE = offsetof(nvme::SanitizeStatusLog, sstat);
constexpr uint32_t NOT_REPORTED = 0xFFFFFFFF;
enum State : unsigned { SUCCEEDED = 1, IN_PROGRESS = 2, FAILED = 3, SUCCEEDED_DEALLOCATED = 4 };

/// Bits of SANICAP.
constexpr unsigned NO_DEALLOCATE_INHIBITED = 29;
constexpr unsigned MEDIA_IS_MODIFIED = 2;  // No-Deallocate Modifies Media, bits 31:30

constexpr uint8_t MAX_PASSES = 16;

struct ActionRow {
    SanitizeAction action;
    EraseMethod method;
    unsigned capability;  ///< bit of SANICAP
    Status (*refusal)();
    size_t estimate;              ///< offset in the log
    size_t estimateNoDeallocate;  ///< the same for a drive that modifies its media when it is not to deallocate
};
constexpr ActionRow ACTIONS[] = {
    {SanitizeAction::CRYPTO_ERASE, EraseMethod::SANITIZE_CRYPTO, 0, statuses::sanitizeCryptoScrambleNotSupported, 16,
     28},
    {SanitizeAction::BLOCK_ERASE, EraseMethod::SANITIZE_BLOCK, 1, statuses::sanitizeBlockEraseNotSupported, 12, 24},
    {SanitizeAction::OVERWRITE, EraseMethod::SANITIZE_OVERWRITE, 2, statuses::sanitizeOverwriteNotSupported, 8, 20},
};

const ActionRow* rowOf(SanitizeAction action) {
    const auto* const row =
        std::find_if(std::begin(ACTIONS), std::end(ACTIONS), [&](const ActionRow& r) { return r.action == action; });
    return row == std::end(ACTIONS) ? nullptr : row;
}

constexpr RefusalRow REFUSALS[] = {
    {nvme::SC_INVALID_OPCODE, statuses::sanitizeNotSupported},
    {nvme::SC_INVALID_FIELD, statuses::unsupportedSanitizeValue},
    {nvme::SC_SANITIZE_IN_PROGRESS, statuses::sanitizeInProgress},
    {nvme::SC_NAMESPACE_WRITE_PROTECTED, statuses::namespaceWriteProtected},
    {nvme::SC_FIRMWARE_NEEDS_CONVENTIONAL_RESET, statuses::sanitizeBlockedByActivation},
    {nvme::SC_FIRMWARE_NEEDS_SUBSYSTEM_RESET, statuses::sanitizeBlockedByActivation},
    {nvme::SC_FIRMWARE_NEEDS_CONTROLLER_RESET, statuses::sanitizeBlockedByActivation},
    {nvme::SC_FIRMWARE_NEEDS_MAXIMUM_TIME, statuses::sanitizeBlockedByActivation},
    {nvme::SC_SANITIZE_PROHIBITED_BY_PMR, statuses::sanitizeBlockedByMemoryRegion},
    {nvme::SC_ACCESS_DENIED, statuses::lbaRangeAccessDenied},
};

/// Which arguments an action has.
struct ArgumentRow {
    Attribute (*attribute)();
    bool ofOverwriteAlone;
};
constexpr ArgumentRow ARGUMENTS[] = {
    {attributes::feature::allowUnrestrictedExit, false}, {attributes::feature::noDeallocateAfterSanitize, false},
    {attributes::feature::overwriteInvertPattern, true}, {attributes::feature::overwritePassCount, true},
    {attributes::feature::overwritePattern, true},
};

Status checkArguments(const Arguments& arguments, SanitizeAction action) {
    for (const ArgumentRow& row : ARGUMENTS) {
        const std::string name = row.attribute().getName();
        const bool belongs = action != SanitizeAction::EXIT_FAILURE_MODE &&
                             (!row.ofOverwriteAlone || action == SanitizeAction::OVERWRITE);
        if (arguments.text(name).empty() || belongs) continue;
        return withDetails(statuses::unsupportedSanitizeValue(), name + " does not belong to this action.");
    }
    return Status();
}

Result<SanitizeAction> readAction(const Arguments& arguments) {
    const std::string name = attributes::feature::sanitizeAction().getName();
    const std::optional<uint64_t> number = arguments.number(name, 4).value_or(std::nullopt);
    if (number.value_or(0) == 0) {
        return withDetails(statuses::unsupportedSanitizeValue(),
                           name +
                               " must be 1 (exit failure mode), 2 (block erase), 3 (overwrite) or 4 (crypto erase), "
                               "not '" +
                               arguments.text(name) + "'.");
    }
    return static_cast<SanitizeAction>(*number);
}

Result<uint8_t> readPasses(const Arguments& arguments) {
    const std::string name = attributes::feature::overwritePassCount().getName();
    const auto number = arguments.number(name, MAX_PASSES);
    if (!number || *number == 0U) {
        return withDetails(statuses::unsupportedSanitizeValue(),
                           name + " must be a number from 1 to 16, not '" + arguments.text(name) + "'.");
    }
    return static_cast<uint8_t>(number->value_or(1));
}

Result<uint32_t> readPattern(const Arguments& arguments) {
    TRY(const std::optional<uint64_t> number,
        arguments.number(attributes::feature::overwritePattern().getName(), UINT32_MAX, Digits::HEX));
    return static_cast<uint32_t>(number.value_or(0));
}

Status readFlags(const Arguments& arguments, SanitizeRequest& request) {
    const struct {
        Attribute (*attribute)();
        bool SanitizeRequest::* field;
    } FLAGS[] = {
        {attributes::feature::allowUnrestrictedExit, &SanitizeRequest::unrestrictedExit},
        {attributes::feature::noDeallocateAfterSanitize, &SanitizeRequest::noDeallocate},
        {attributes::feature::overwriteInvertPattern, &SanitizeRequest::invertPattern},
        {attributes::feature::returnImmediately, &SanitizeRequest::returnImmediately},
    };
    for (const auto& row : FLAGS) {
        TRY(const std::optional<bool> value, arguments.boolean(row.attribute().getName()));
        request.*row.field = value.value_or(false);
    }
    return Status();
}

std::string percentText(uint16_t progress) {
    return nvme::decimalFraction(uint64_t{progress} * 10000 / nvme::SANITIZE_PROGRESS_OF_ALL, 2) + " percent";
}

}  // namespace

Result<SanitizeRequest> readSanitizeRequest(const Arguments& arguments) {
    SanitizeRequest request;
    TRY(request.action, readAction(arguments));
    RETURN_IF_FAILED(checkArguments(arguments, request.action));
    RETURN_IF_FAILED(readFlags(arguments, request));
    TRY(request.passes, readPasses(arguments));
    TRY(request.pattern, readPattern(arguments));
    return request;
}

Result<std::string> Sanitize::run(const SanitizeRequest& request) {
    request_ = request;
    RETURN_IF_FAILED(checkGate());
    TRY(const uint8_t* const identify, drive_.identifyController());
    const ControllerCapabilities controller(identify);
    RETURN_IF_FAILED(checkController(controller));
    TRY(const Payload log, readState());
    // Which of the two the last pass writes is the drive's affair.
    if (request_.action == SanitizeAction::OVERWRITE) {
        const uint32_t pattern = request_.pattern;
        erasure_.overwritesWith({pattern, request_.invertPattern ? ~pattern : pattern});
    }
    if (const ActionRow* const row = rowOf(request_.action)) RETURN_IF_FAILED(erasure_.begins(row->method));
    RETURN_IF_FAILED(checkGate());
    RETURN_IF_FAILED(start());
    if (request_.action == SanitizeAction::EXIT_FAILURE_MODE)
        return "The drive has left the failure mode of its last sanitize operation.";
    if (request_.returnImmediately) erasure_.goesOn();
    if (request_.returnImmediately) return "The sanitize operation was started and goes on in the drive.";
    TRY(const std::string report, follow(estimateMs(controller, log.getData())));
    // The host still knows the partitions that are gone.
    const Status rescanned = rescan(drive_.device());
    if (failed(rescanned)) return withDetails(rescanned, report);
    return report;
}

Status Sanitize::checkGate() const {
    DestructionScope scope;
    scope.partitionsCount = request_.partitionsCount;
    return checkDestruction(drive_.device(), scope);
}

Status Sanitize::checkController(const ControllerCapabilities& controller) {
    if (!controller.supportsSanitize()) return statuses::sanitizeNotSupported();
    const ActionRow* const row = rowOf(request_.action);
    if (row != nullptr && !bit(controller.sanicap, row->capability)) return row->refusal();
    if (request_.noDeallocate && bit(controller.sanicap, NO_DEALLOCATE_INHIBITED)) return checkDeallocation();
    return Status();
}

/// A drive that inhibits No-Deallocate either refuses the command, or goes on and still deallocates: the
/// Sanitize Config feature decides which.
Status Sanitize::checkDeallocation() {
    nvme::FeatureRequest request;
    request.fid = nvme::FID_SANITIZE_CONFIG;
    const auto answer = drive_.getFeature(request, nvme::Select::CURRENT);
    // A drive without this feature says itself what it does not take.
    if (!answer) return isRefusal(answer.error()) ? Status() : answer.error().status;
    if (bit(answer->completion.dword0, 0)) return Status();
    return withDetails(statuses::unsupportedSanitizeValue(),
                       "Drive " + drive_.name() + " always deallocates its blocks after a sanitize operation.");
}

Result<Payload> Sanitize::readState() {
    TRY(const Payload log, readLog(drive_, nvme::LID_SANITIZE_STATUS, sizeof(nvme::SanitizeStatusLog)));
    if (nvme::isMediaVerification(log.getData())) return mediaVerification();
    if ((log.getData()[OFFSET_STATE] & 7U) != IN_PROGRESS) return log;
    return withDetails(statuses::sanitizeInProgress(),
                       "It was begun before, " + percentText(nvme::le16(log.getData())) + " are done.");
}

Status Sanitize::mediaVerification() const {
    return withDetails(statuses::sanitizeInProgress(),
                       "Drive " + drive_.name() + " says: " + nvme::MEDIA_VERIFICATION_TEXT + ".");
}

Status Sanitize::start() {
    nvme::NvmeCommand command(nvme::Queue::ADMIN, nvme::OPC_SANITIZE, "Sanitize");
    command.cdw10 = static_cast<uint32_t>(request_.action) | static_cast<uint32_t>(request_.unrestrictedExit) << 3 |
                    static_cast<uint32_t>(request_.noDeallocate) << 9;
    if (request_.action == SanitizeAction::OVERWRITE) {
        // 16 passes are written as 0.
        command.cdw10 |= (request_.passes & 0xFU) << 4 | static_cast<uint32_t>(request_.invertPattern) << 8;
        command.cdw11 = request_.pattern;
    }
    command.timeoutMs = COMMAND_TIMEOUT_MS;
    const auto sent = drive_.send(command);
    const bool isErase = request_.action != SanitizeAction::EXIT_FAILURE_MODE;
    if (isErase && (sent || mayHaveBegun(sent.error()))) erasure_.started();
    if (sent) return Status();
    return withLocking(drive_, sent.error(), mapNvmeStatus(REFUSALS, statuses::sanitizeCommandFailed, sent.error()));
}

/// 0 where the drive has none: all of it, or zero in drives before NVMe 1.4, where the field was reserved.
uint64_t Sanitize::estimateMs(const ControllerCapabilities& controller, const uint8_t* log) const {
    const ActionRow* const row = rowOf(request_.action);
    const bool modifies = request_.noDeallocate && controller.sanicap >> 30 == MEDIA_IS_MODIFIED;
    const uint32_t seconds = nvme::le32(log + (modifies ? row->estimateNoDeallocate : row->estimate));
    return seconds == NOT_REPORTED ? 0 : uint64_t{seconds} * 1000;
}

Result<std::string> Sanitize::follow(uint64_t estimateMs) {
    const uint64_t limitMs = estimateMs == 0 ? LIMIT_WITHOUT_ESTIMATE_MS : estimateMs * 2 + GRACE_MS;
    const uint64_t begin = clock_.nowMs();
    ProgressLine line("Drive " + drive_.name() + ", sanitize", estimateMs);
    uint64_t lastMove = begin;
    uint16_t furthest = 0;
    for (;;) {
        const auto log = readLog(drive_, nvme::LID_SANITIZE_STATUS, sizeof(nvme::SanitizeStatusLog));
        if (!log)
            return withDetails(log.error(), "The sanitize operation was started; whether it has ended is not known.");
        // Of another host's operation: it ends when that host ends it, be it never.
        if (nvme::isMediaVerification(log->getData())) return mediaVerification();
        const unsigned state = log->getData()[OFFSET_STATE] & 7U;
        if (state != IN_PROGRESS) return outcome(state);
        const uint64_t now = clock_.nowMs();
        const uint16_t progress = nvme::le16(log->getData());
        line.update(progress, nvme::SANITIZE_PROGRESS_OF_ALL);
        if (progress > furthest) {
            furthest = progress;
            lastMove = now;
        }
        if (now - lastMove >= limitMs) {
            return withDetails(statuses::sanitizeInProgress(), "It has stayed at " + percentText(furthest) + " for " +
                                                                   std::to_string(limitMs / 1000) + " seconds.");
        }
        clock_.sleepMs(now - begin < MINUTE_MS ? FAST_POLL_MS : SLOW_POLL_MS);
    }
}

Result<std::string> Sanitize::outcome(unsigned state) const {
    const std::string words = "Drive " + drive_.name() + " says: " + nvme::sanitizeStatusText(state) + ".";
    switch (state) {
        case SUCCEEDED:
            return "The drive was sanitized.";
        case SUCCEEDED_DEALLOCATED:
            return "The drive was sanitized. " + words;
        case FAILED:
            return withDetails(statuses::sanitizeCommandFailed(), words);
        default:
            return withDetails(statuses::sanitizeFailedUnknownReason(), words);
    }
}

}  // namespace features::jobs
