#include "features/jobs/erase/FormatNvm.h"

#include <algorithm>
#include <limits>

#include "features/jobs/base/SetRequest.h"
#include "features/jobs/drive/DriveLocking.h"
#include "features/jobs/drive/HostSide.h"
#include "features/jobs/drive/LogReading.h"
#include "features/jobs/drive/Namespaces.h"
#include "features/jobs/drive/Refusals.h"
#include "features/jobs/drive/SafetyGate.h"
#include "features/jobs/erase/ErasureReports.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/NamespaceIds.h"
#include "features/nvme/Opcodes.h"
#include "features/nvme/structures/IdentifyNamespace.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/SignalBlock.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::jobs {

using namespace ostrel::core;
using nvme::bit;
using nvme::ControllerCapabilities;
using nvme::NamespaceProperties;
using nvme::NSID_ALL;

namespace {

constexpr uint64_t HOUR_MS = uint64_t{60} * 60 * 1000;
constexpr uint64_t BYTES_PER_MS = 1000000;  // 1 GB/s
constexpr uint64_t POLL_MS = 1000;

constexpr uint8_t SES_NONE = 0;
constexpr uint8_t SES_CRYPTO = 2;
/// What became of a namespace, by Secure Erase Setting.
constexpr const char* DONE[] = {"was formatted", "was formatted and its user data erased",
                                "was formatted and its data erased cryptographically"};

/// Bits of FNA.
constexpr unsigned FNA_FORMATS_ALL = 0;
constexpr unsigned FNA_ERASES_ALL = 1;
constexpr unsigned FNA_CRYPTO_ERASE = 2;
constexpr unsigned FNA_NO_BROADCAST = 3;

/// Format Progress Indicator in Identify Namespace: whether it is there, and the per cent that are left.
constexpr size_t OFFSET_FPI = offsetof(nvme::IdentifyNamespace, fpi);
constexpr uint8_t FPI_LEFT = 0x7F;
constexpr uint8_t FPI_SUPPORTED = 0x80;
constexpr unsigned ALL_PERCENT = 100;

Status formatUnderWay() {
    return withDetails(statuses::formatFailed(),
                       "A format of the namespace is under way: try again when it has ended.");
}

constexpr RefusalRow REFUSALS[] = {
    {nvme::SC_INVALID_NAMESPACE, statuses::invalidNamespaceId},
    {nvme::SC_SANITIZE_IN_PROGRESS, statuses::sanitizeInProgress},
    {nvme::SC_NAMESPACE_WRITE_PROTECTED, statuses::namespaceWriteProtected},
    {nvme::SC_FORMAT_IN_PROGRESS, formatUnderWay},
    {nvme::SC_INVALID_FORMAT, statuses::invalidLbaFormat},
    {nvme::SC_ACCESS_DENIED, statuses::lbaRangeAccessDenied},
};

constexpr struct {
    SettableProperty property;
    std::optional<uint8_t> FormatRequest::* field;
} FIELDS[] = {
    {{attributes::feature::lbaFormat, 0, NamespaceProperties::MAX_FORMATS - 1, statuses::invalidLbaFormat},
     &FormatRequest::lbaFormat},
    {{attributes::feature::protectionInformation, 0, 3, statuses::invalidProtectionInformation},
     &FormatRequest::protectionType},
    {{attributes::feature::protectionInformationLocation, 0, 1, statuses::invalidProtectionInformationLocation},
     &FormatRequest::protectionFirst},
    {{attributes::feature::metadataSettings, 0, 1, statuses::invalidMetadataSettings},
     &FormatRequest::metadataExtended},
};
constexpr SettableProperty SECURE_ERASE{attributes::feature::secureEraseSetting, 0, SES_CRYPTO,
                                        statuses::invalidSecureEraseSetting};

/// An argument without a value counts as absent.
Result<std::optional<uint8_t>> readField(const Arguments& arguments, const SettableProperty& property) {
    if (arguments.text(property.attribute().getName()).empty()) return std::nullopt;
    TRY(const uint32_t value, readValue(arguments, property));
    return static_cast<uint8_t>(value);
}

bool hasProtectionType(const NamespaceProperties& space, uint8_t type) {
    return bit(space.dpc, type - 1U);
}
bool hasProtectionLocation(const NamespaceProperties& space, bool first) {
    return bit(space.dpc, first ? 3 : 4);
}
bool hasMetadataSetting(const NamespaceProperties& space, bool extended) {
    return bit(space.mc, extended ? 0 : 1);
}

/// The per cent that a format has left to do; 0 where the namespace does not report it.
unsigned progressLeft(const Payload& identify) {
    const uint8_t indicator = identify.getData()[OFFSET_FPI];
    return (indicator & FPI_SUPPORTED) == 0 ? 0 : indicator & FPI_LEFT;
}

/// Whether the drive refuses to describe a namespace while it formats it.
bool isBusy(const nvme::CommandError& error) {
    return isRefusal(error.status) &&
           (error.completion.is(nvme::SC_FORMAT_IN_PROGRESS) || error.completion.is(nvme::SC_NAMESPACE_NOT_READY));
}

/// Of a format that the drive may have and does not show: more than 16 are for hosts that know of them.
std::string extensionText(nvme::Drive& drive, uint32_t format, uint32_t shownFormats) {
    constexpr uint32_t PLAIN_FORMATS = 16;
    constexpr uint32_t EXTENDED_LBA_FORMATS = 1U << 15;  // of CTRATT
    if (shownFormats > PLAIN_FORMATS || format < PLAIN_FORMATS) return {};
    const auto identify = drive.identifyController();
    if (!identify || (nvme::ControllerCapabilities(*identify).ctratt & EXTENDED_LBA_FORMATS) == 0) return {};
    return " More are shown once LBA Format Extension Enable (LBAFEE) is set in Host Behavior Support (feature 0x16).";
}

}  // namespace

Result<FormatRequest> readFormatRequest(const Arguments& arguments) {
    FormatRequest request;
    TRY(const std::optional<uint8_t> secureErase, readField(arguments, SECURE_ERASE));
    request.secureErase = secureErase.value_or(0);
    for (const auto& row : FIELDS) {
        TRY(request.*row.field, readField(arguments, row.property));
    }
    TRY(const std::optional<uint64_t> nsid,
        arguments.number(attributes::feature::namespaceId().getName(), NSID_ALL, Digits::DECIMAL_OR_HEX));
    if (!nsid) return request;
    if (*nsid == 0) {
        return withDetails(statuses::invalidNamespaceId(),
                           "It must be a number from 1 to 0xFFFFFFFE, or 0xFFFFFFFF for all, not '0'.");
    }
    request.nsid = static_cast<uint32_t>(*nsid);
    return request;
}

bool FormatNvm::Target::isReachedIn(const NamespaceProperties& now) const {
    return lbaFormat == now.formatIndex() && protectionType == now.protectionType() &&
           (protectionType == 0 || protectionFirst == now.protectionFirst()) &&
           (format().metadataBytes == 0 || metadataExtended == now.metadataExtended());
}

/// Command dword 10 of Format NVM.
uint32_t FormatNvm::Target::commandDword(uint8_t secureErase) const {
    return (lbaFormat & 0xFU) | static_cast<uint32_t>(metadataExtended) << 4 | uint32_t{protectionType} << 5 |
           static_cast<uint32_t>(protectionFirst) << 8 | uint32_t{secureErase} << 9 |
           static_cast<uint32_t>(lbaFormat >> 4) << 12;
}

Result<std::string> FormatNvm::run(const FormatRequest& request) {
    request_ = request;
    nsid_ = request.nsid ? *request.nsid : namedNamespace(drive_.device()).value_or(NSID_ALL);
    RETURN_IF_FAILED(checkGate(nsid_));
    TRY(const uint8_t* const identify, drive_.identifyController());
    const ControllerCapabilities controller(identify);
    RETURN_IF_FAILED(checkController(controller));
    RETURN_IF_FAILED(findTargets(controller));
    TRY(const std::vector<Step> steps, plan(controller));
    if (request_.secureErase != SES_NONE) {
        RETURN_IF_FAILED(erasure_.begins(
            request_.secureErase == SES_CRYPTO ? EraseMethod::FORMAT_CRYPTO : EraseMethod::FORMAT_USER_DATA, nsid_));
    }
    std::string report;
    Status rescanned;
    for (const Step& step : steps) {
        const auto performed = perform(controller, step);
        if (!performed)
            return report.empty() ? performed.error() : withDetails(performed.error(), "Before that: " + report);
        if (failed(performed->status)) rescanned = performed->status;
        for (const size_t i : step.targets) report += (report.empty() ? "" : " ") + outcome(targets_[i]);
    }
    if (failed(rescanned)) return withDetails(rescanned, report);
    return report;
}

Status FormatNvm::checkGate(uint32_t nsid) const {
    DestructionScope scope;
    scope.nsid = nsid;
    scope.partitionsCount = request_.partitionsCount;
    return checkDestruction(drive_.device(), scope);
}

Status FormatNvm::checkController(const ControllerCapabilities& controller) const {
    if (!controller.supportsFormat()) {
        return withDetails(statuses::driveDoesNotSupportFeature(),
                           "Drive " + drive_.name() + " does not support Format NVM.");
    }
    if (request_.secureErase == SES_CRYPTO && !bit(controller.fna, FNA_CRYPTO_ERASE)) {
        return withDetails(statuses::invalidSecureEraseSetting(),
                           "Drive " + drive_.name() + " has no cryptographic erase as part of a format.");
    }
    return Status();
}

Status FormatNvm::findTargets(const ControllerCapabilities& controller) {
    std::vector<uint32_t> namespaces{nsid_};
    if (nsid_ == NSID_ALL) {
        TRY(namespaces, readAllNamespaces(drive_, controller));
    }
    for (const uint32_t nsid : namespaces) {
        TRY(const Payload data, identifyAnyNamespace(drive_, controller, nsid));
        TRY(const Target target, resolve(nsid, NamespaceProperties(data.getData())));
        targets_.push_back(target);
    }
    if (!targets_.empty()) return Status();
    return withDetails(statuses::invalidNamespaceId(), "Drive " + drive_.name() + " has no namespace.");
}

Result<FormatNvm::Target> FormatNvm::resolve(uint32_t nsid, const NamespaceProperties& before) const {
    Target target{nsid, before, 0, 0, false, false};
    target.lbaFormat = request_.lbaFormat.value_or(before.formatIndex());
    target.protectionType = request_.protectionType.value_or(before.protectionType());
    target.protectionFirst = request_.protectionFirst.value_or(before.protectionFirst()) != 0;
    target.metadataExtended = request_.metadataExtended.value_or(before.metadataExtended()) != 0;
    if (target.lbaFormat >= before.numberOfFormats) {
        return withDetails(statuses::invalidLbaFormat(),
                           name(target) + " has the formats 0 to " + std::to_string(before.numberOfFormats - 1) + "." +
                               extensionText(drive_, target.lbaFormat, before.numberOfFormats));
    }
    if (target.format().dataBytes() == 0) {
        return withDetails(statuses::invalidLbaFormat(), name(target) + " does not offer format " +
                                                             std::to_string(target.lbaFormat) + " at present.");
    }
    if (target.format().metadataBytes != 0 && !hasMetadataSetting(before, target.metadataExtended)) {
        return withDetails(statuses::invalidMetadataSettings(),
                           name(target) + " cannot transfer metadata " +
                               (target.metadataExtended ? "as part of the block." : "in a buffer of its own."));
    }
    if (target.protectionType != 0) RETURN_IF_FAILED(checkProtection(target));
    return target;
}

Status FormatNvm::checkProtection(const Target& target) const {
    const std::string type = std::to_string(target.protectionType);
    if (target.format().metadataBytes < NamespaceProperties::PROTECTION_BYTES) {
        return withDetails(statuses::invalidProtectionInformation(),
                           "Type " + type + " needs a format with 8 bytes of metadata; format " +
                               std::to_string(target.lbaFormat) + " of " + name(target) + " has " +
                               std::to_string(target.format().metadataBytes) + ".");
    }
    if (!hasProtectionType(target.before, target.protectionType))
        return withDetails(statuses::invalidProtectionInformation(),
                           name(target) + " does not support type " + type + ".");
    if (!hasProtectionLocation(target.before, target.protectionFirst)) {
        return withDetails(statuses::invalidProtectionInformationLocation(),
                           name(target) + " cannot have it in the " + (target.protectionFirst ? "first" : "last") +
                               " eight bytes of the metadata.");
    }
    return Status();
}

/// One command for each namespace, or one for all where the drive formats them together. Where it only erases them
/// together, those that keep their format are done with the first.
Result<std::vector<FormatNvm::Step>> FormatNvm::plan(const ControllerCapabilities& controller) const {
    std::vector<Step> steps;
    const bool formatsAll = bit(controller.fna, FNA_FORMATS_ALL);
    const bool erasesAll = request_.secureErase != 0 && bit(controller.fna, FNA_ERASES_ALL);
    const bool together = formatsAll || erasesAll;
    for (size_t i = 0; i < targets_.size(); ++i) {
        const bool done = i != 0 && (formatsAll || (erasesAll && targets_[i].isReachedIn(targets_[i].before)));
        if (done) {
            steps.front().targets.push_back(i);
        } else {
            steps.push_back({targets_[i].nsid, together ? NSID_ALL : nsid_, {i}});
        }
    }
    if (!together) return steps;
    if (formatsAll && nsid_ == NSID_ALL && !bit(controller.fna, FNA_NO_BROADCAST)) steps.front().nsid = NSID_ALL;
    RETURN_IF_FAILED(checkTogether(controller, formatsAll));
    return steps;
}

Status FormatNvm::checkTogether(const ControllerCapabilities& controller, bool formatsAll) const {
    if (nsid_ != NSID_ALL) {
        TRY(const std::vector<uint32_t> all, readAllNamespaces(drive_, controller));
        if (all.size() <= 1) return Status();
        return withDetails(statuses::moreThanOneNamespace(),
                           "Drive " + drive_.name() + " " + (formatsAll ? "formats" : "erases") +
                               " all its namespaces together: select them all with the namespace ID 0xFFFFFFFF.");
    }
    const uint32_t dword = targets_.front().commandDword(0);
    const bool alike =
        std::all_of(targets_.begin(), targets_.end(), [&](const Target& t) { return t.commandDword(0) == dword; });
    if (!formatsAll || alike) return Status();
    return withDetails(statuses::featureBlockedByConfiguration(),
                       "Drive " + drive_.name() + " formats all its namespaces alike, but they differ.");
}

Result<RescanStatus> FormatNvm::perform(const ControllerCapabilities& controller, const Step& step) {
    nvme::NvmeCommand command(nvme::Queue::ADMIN, nvme::OPC_FORMAT_NVM, "Format NVM");
    command.nsid = step.nsid;
    command.cdw10 = targets_[step.targets.front()].commandDword(request_.secureErase);
    command.timeoutMs = timeoutMs();
    const uint64_t deadline = clock_.nowMs() + command.timeoutMs;
    RETURN_IF_FAILED(checkGate(step.gate));
    std::optional<SignalBlock> untilTheHostHasLooked(std::in_place);
    ProgressLine line("Drive " + drive_.name() + ", format");
    const auto sent = drive_.send(command);
    drive_.forgetIdentify();
    const bool isErase = request_.secureErase != SES_NONE;
    if (isErase && (sent || mayHaveBegun(sent.error()))) erasure_.started();
    if (!sent) {
        const Status status =
            withLocking(drive_, sent.error(), mapNvmeStatus(REFUSALS, statuses::formatFailed, sent.error()));
        return targets_.size() == 1 ? status
                                    : withDetails(status, "It was for namespace " + std::to_string(step.nsid) + ".");
    }
    for (const size_t i : step.targets)
        RETURN_IF_FAILED(awaitEnd(controller, targets_[i], deadline, untilTheHostHasLooked, line));
    // The host still knows the size before, and partitions that are gone.
    return RescanStatus{rescan(drive_.device())};
}

Status FormatNvm::awaitEnd(const ControllerCapabilities& controller, const Target& target, uint64_t deadline,
                           std::optional<SignalBlock>& block, ProgressLine& line) {
    for (;;) {
        const auto data = identifyAnyNamespace(drive_, controller, target.nsid);
        if (!data && !isBusy(data.error())) return data.error();
        const unsigned left = data ? progressLeft(*data) : FPI_LEFT;
        if (data) line.update(ALL_PERCENT - left, ALL_PERCENT);
        if (left == 0) return checkReached(target, NamespaceProperties(data->getData()));
        if (clock_.nowMs() >= deadline)
            return withDetails(statuses::formatFailed(), "The format of " + name(target) + " did not end in time.");
        block.reset();  // the drive has more to do than a user waits for who wants the end
        clock_.sleepMs(POLL_MS);
    }
}

Status FormatNvm::checkReached(const Target& target, const NamespaceProperties& now) const {
    if (target.isReachedIn(now)) return Status();
    return withDetails(statuses::formatFailed(), name(target) + " has format " + std::to_string(now.formatIndex()) +
                                                     " and protection type " + std::to_string(now.protectionType()) +
                                                     ", which is not what was asked for.");
}

uint32_t FormatNvm::timeoutMs() const {
    uint64_t milliseconds = HOUR_MS;
    for (const Target& target : targets_)
        milliseconds += target.before.sizeBlocks / BYTES_PER_MS * target.before.format().dataBytes();
    return static_cast<uint32_t>(std::min<uint64_t>(milliseconds, std::numeric_limits<uint32_t>::max()));
}

/// "Namespace 1 of drive S1 (/dev/nvme0)"
std::string FormatNvm::name(const Target& target) const {
    return "Namespace " + std::to_string(target.nsid) + " of drive " + drive_.name();
}

/// "Namespace 1 was formatted: LBA format 1, blocks of 4096 bytes."
std::string FormatNvm::outcome(const Target& target) const {
    const auto& format = target.format();
    std::string text = "Namespace " + std::to_string(target.nsid) + " " + DONE[request_.secureErase] + ": LBA format " +
                       std::to_string(target.lbaFormat) + ", blocks of " + std::to_string(format.dataBytes()) +
                       " bytes";
    if (format.metadataBytes != 0) text += ", " + std::to_string(format.metadataBytes) + " bytes of metadata";
    if (target.protectionType != 0) text += ", protection type " + std::to_string(target.protectionType);
    return text + ".";
}

}  // namespace features::jobs
