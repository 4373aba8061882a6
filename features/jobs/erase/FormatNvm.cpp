#include "features/jobs/erase/FormatNvm.h"

#include <algorithm>
#include <limits>

#include "features/jobs/base/SetRequest.h"
#include "features/jobs/drive/LogReading.h"
#include "features/jobs/drive/Namespaces.h"
#include "features/jobs/drive/Refusals.h"
#include "features/jobs/drive/SafetyGate.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/Bytes.h"
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

constexpr uint8_t SES_CRYPTO = 2;
/// What became of a namespace, by Secure Erase Setting.
constexpr const char* DONE[] = {"was formatted", "was formatted and its user data erased",
                                "was formatted and its data erased cryptographically"};

/// Bits of FNA.
constexpr unsigned FNA_FORMATS_ALL = 0;
constexpr unsigned FNA_ERASES_ALL = 1;
constexpr unsigned FNA_CRYPTO_ERASE = 2;
constexpr unsigned FNA_NO_BROADCAST = 3;

constexpr uint16_t PROTECTION_BYTES = 8;

/// Format Progress Indicator in Identify Namespace: whether it is there, and the per cent that are left.
constexpr size_t OFFSET_FPI = 32;
constexpr uint8_t FPI_LEFT = 0x7F;
constexpr uint8_t FPI_SUPPORTED = 0x80;
constexpr unsigned ALL_PERCENT = 100;

Status formatUnderWay() {
    return withDetails(statuses::formatFailed(),
                       "A format of the namespace is under way: try again when it has ended.");
}

constexpr uint8_t SC_NAMESPACE_NOT_READY = 0x82;
constexpr uint8_t SC_FORMAT_IN_PROGRESS = 0x84;
constexpr RefusalRow REFUSALS[] = {
    {0x0, 0x0B, statuses::invalidNamespaceId},      {0x0, 0x1D, statuses::sanitizeInProgress},
    {0x0, 0x20, statuses::namespaceWriteProtected}, {0x0, SC_FORMAT_IN_PROGRESS, formatUnderWay},
    {0x1, 0x0A, statuses::invalidLbaFormat},        {0x2, 0x86, statuses::lbaRangeAccessDenied},
};

constexpr struct {
    SettableProperty property;
    std::optional<uint8_t> FormatRequest::*field;
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
Status readField(const Arguments& arguments, const SettableProperty& property, std::optional<uint8_t>& field) {
    if (arguments.text(property.attribute().getName()).empty()) return Status();
    uint32_t value = 0;
    Status status = readValue(arguments, property, value);
    if (succeeded(status)) field = static_cast<uint8_t>(value);
    return status;
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

}  // namespace

Status readFormatRequest(const Arguments& arguments, FormatRequest& request) {
    std::optional<uint8_t> secureErase;
    Status status = readField(arguments, SECURE_ERASE, secureErase);
    request.secureErase = secureErase.value_or(0);
    for (const auto& row : FIELDS) {
        if (succeeded(status)) status = readField(arguments, row.property, request.*row.field);
    }
    std::optional<uint64_t> nsid;
    if (succeeded(status))
        status = arguments.number(attributes::feature::namespaceId().getName(), NSID_ALL, nsid, Digits::DECIMAL_OR_HEX);
    if (failed(status) || !nsid) return status;
    if (*nsid == 0) {
        return withDetails(statuses::invalidNamespaceId(),
                           "It must be a number from 1 to 0xFFFFFFFE, or 0xFFFFFFFF for all, not '0'.");
    }
    request.nsid = static_cast<uint32_t>(*nsid);
    return status;
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

Status FormatNvm::run(const FormatRequest& request, std::string& report) {
    request_ = request;
    nsid_ = request.nsid ? *request.nsid : namedNamespace(drive_).value_or(NSID_ALL);
    Status status = checkGate(nsid_);
    if (failed(status)) return status;
    const uint8_t* identify = nullptr;
    status = drive_.identifyController(identify);
    if (failed(status)) return status;
    const ControllerCapabilities controller(identify);
    std::vector<Step> steps;
    status = checkController(controller);
    if (succeeded(status)) status = findTargets(controller);
    if (succeeded(status)) status = plan(controller, steps);
    if (failed(status)) return status;
    Status look;
    for (const Step& step : steps) {
        status = perform(controller, step, look);
        if (failed(status)) break;
        for (const size_t i : step.targets) report += (report.empty() ? "" : " ") + outcome(targets_[i]);
    }
    if (report.empty()) return status;
    if (failed(status)) return withDetails(status, "Before that: " + report);
    return succeeded(look) ? look : withDetails(look, report);
}

Status FormatNvm::checkGate(uint32_t nsid) const {
    DestructionScope scope;
    scope.nsid = nsid;
    scope.partitionsCount = request_.partitionsCount;
    return checkDestruction(drive_, scope);
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
        Status status = moveTo(namespaces, readAllNamespaces(drive_, controller));
        if (failed(status)) return status;
    }
    for (const uint32_t nsid : namespaces) {
        Payload data;
        Status status = moveTo(data, identifyAnyNamespace(drive_, controller, nsid));
        if (failed(status)) return status;
        Target target{nsid, NamespaceProperties(data.getData()), 0, 0, false, false};
        status = resolve(target);
        if (failed(status)) return status;
        targets_.push_back(target);
    }
    if (!targets_.empty()) return Status();
    return withDetails(statuses::invalidNamespaceId(), "Drive " + drive_.name() + " has no namespace.");
}

Status FormatNvm::resolve(Target& target) const {
    const NamespaceProperties& before = target.before;
    target.lbaFormat = request_.lbaFormat.value_or(before.formatIndex());
    target.protectionType = request_.protectionType.value_or(before.protectionType());
    target.protectionFirst = request_.protectionFirst.value_or(before.protectionFirst()) != 0;
    target.metadataExtended = request_.metadataExtended.value_or(before.metadataExtended()) != 0;
    if (target.lbaFormat >= before.numberOfFormats) {
        return withDetails(statuses::invalidLbaFormat(),
                           name(target) + " has the formats 0 to " + std::to_string(before.numberOfFormats - 1) + ".");
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
    return target.protectionType == 0 ? Status() : checkProtection(target);
}

Status FormatNvm::checkProtection(const Target& target) const {
    const std::string type = std::to_string(target.protectionType);
    if (target.format().metadataBytes < PROTECTION_BYTES) {
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
Status FormatNvm::plan(const ControllerCapabilities& controller, std::vector<Step>& steps) const {
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
    if (!together) return Status();
    if (formatsAll && nsid_ == NSID_ALL && !bit(controller.fna, FNA_NO_BROADCAST)) steps.front().nsid = NSID_ALL;
    return checkTogether(controller, formatsAll);
}

Status FormatNvm::checkTogether(const ControllerCapabilities& controller, bool formatsAll) const {
    if (nsid_ != NSID_ALL) {
        std::vector<uint32_t> all;
        Status status = moveTo(all, readAllNamespaces(drive_, controller));
        if (failed(status)) return status;
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

Status FormatNvm::perform(const ControllerCapabilities& controller, const Step& step, Status& look) {
    nvme::NvmeCommand command(nvme::Queue::ADMIN, nvme::OPC_FORMAT_NVM, "Format NVM");
    command.nsid = step.nsid;
    command.cdw10 = targets_[step.targets.front()].commandDword(request_.secureErase);
    command.timeoutMs = timeoutMs();
    const uint64_t deadline = clock_.nowMs() + command.timeoutMs;
    Status status = checkGate(step.gate);
    if (failed(status)) return status;
    std::optional<SignalBlock> untilTheHostHasLooked(std::in_place);
    nvme::Answer answer;
    ProgressLine line("Drive " + drive_.name() + ", format");
    status = drive_.send(command, answer);
    drive_.forgetIdentify();
    if (failed(status)) {
        status = mapNvmeStatus(REFUSALS, statuses::formatFailed, status, drive_);
        return targets_.size() == 1 ? status
                                    : withDetails(status, "It was for namespace " + std::to_string(step.nsid) + ".");
    }
    for (const size_t i : step.targets) {
        status = awaitEnd(controller, targets_[i], deadline, untilTheHostHasLooked, line);
        if (failed(status)) return status;
    }
    // The host still knows the size before, and partitions that are gone.
    const Status seen = rescan(drive_);
    if (failed(seen)) look = seen;
    return status;
}

Status FormatNvm::awaitEnd(const ControllerCapabilities& controller, const Target& target, uint64_t deadline,
                           std::optional<SignalBlock>& block, ProgressLine& line) {
    for (;;) {
        Payload data;
        Status status = moveTo(data, identifyAnyNamespace(drive_, controller, target.nsid));
        const nvme::Completion& completion = drive_.lastCompletion();
        const bool isBusy =
            isRefusal(status) && (completion.is(0, SC_FORMAT_IN_PROGRESS) || completion.is(0, SC_NAMESPACE_NOT_READY));
        if (failed(status) && !isBusy) return status;
        const unsigned left = isBusy ? FPI_LEFT : progressLeft(data);
        if (!isBusy) line.update(ALL_PERCENT - left, ALL_PERCENT);
        if (left == 0) return checkReached(target, NamespaceProperties(data.getData()));
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
