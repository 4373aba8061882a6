#include "simdrive/tcp/DriveController.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <new>
#include <optional>
#include <string>

#include "features/nvme/Bytes.h"
#include "features/nvme/FeatureIds.h"
#include "features/nvme/Identify.h"
#include "features/nvme/IdentifyCns.h"
#include "features/nvme/Opcodes.h"
#include "features/nvme/structures/IdentifyController.h"
#include "features/simulator/context/ControllerIdentity.h"

namespace simdrive::tcp {

using namespace features::nvme;
using features::simulator::CompletionEntry;
using features::simulator::Delivery;
using features::simulator::ResetKind;
using features::simulator::SubmissionEntry;
using ostrel::core::Status;

namespace {

bool isIdentifyController(const Capsule& capsule) {
    return capsule.opcode() == OPC_IDENTIFY && (capsule.cdw(10) & 0xFF) == CNS_CONTROLLER;
}

bool isNumberOfQueues(const Capsule& capsule) {
    constexpr uint8_t SELECT_CAPABILITIES = 3;
    const bool isSet = capsule.opcode() == OPC_SET_FEATURES;
    const bool isGet = capsule.opcode() == OPC_GET_FEATURES;
    const bool isOfCapabilities = isGet && (capsule.cdw(10) >> 8 & 7) == SELECT_CAPABILITIES;
    return (isSet || isGet) && !isOfCapabilities && (capsule.cdw(10) & 0xFF) == FID_NUMBER_OF_QUEUES;
}

/// Both numbers of the feature, 0's based, not above what the target takes.
uint32_t boundedQueues(uint32_t numbers, uint32_t most) {
    return std::min(numbers & 0xFFFF, most - 1) | std::min(numbers >> 16, most - 1) << 16;
}

void complain(const Status& status) {
    std::fprintf(stderr, "nimbrel-simdrive: %s\n", status.getMessage().c_str());
}

}  // namespace

DriveController::DriveController(features::simulator::Controller& drive, Host host, uint32_t keepAliveMs,
                                 uint64_t nowMs)
    : FabricsController(drive.id(), std::move(host), keepAliveMs, nowMs), drive_(drive) {}

Reply DriveController::runAdmin(const Capsule& capsule, std::vector<uint8_t>& data) {
    nextLookMs_ = 0;  // it may be an event's cause
    Reply reply = execute(capsule, true, data);
    if (!reply.isSuccess() || reply.isHeld) return reply;
    if (isIdentifyController(capsule)) {
        data.resize(IDENTIFY_BYTES);  // of a success that did nothing there are fewer
        putFabricsIdentity(data);
        // A drive of a capture has the identifier of another drive's controller there, which hosts refuse.
        putLe16(data.data() + offsetof(IdentifyController, cntlid), drive_.id());
    }
    if (isNumberOfQueues(capsule)) reply.result = boundedQueues(static_cast<uint32_t>(reply.result), MAX_IO_QUEUES);
    return reply;
}

Reply DriveController::runIo(const Capsule& capsule, std::vector<uint8_t>& data) {
    return execute(capsule, false, data);
}

Reply DriveController::execute(const Capsule& capsule, bool isAdmin, std::vector<uint8_t>& data) {
    const SubmissionEntry command{isAdmin,         capsule.opcode(), capsule.cdw(1),  capsule.cdw(2),
                                  capsule.cdw(3),  capsule.cdw(10),  capsule.cdw(11), capsule.cdw(12),
                                  capsule.cdw(13), capsule.cdw(14),  capsule.cdw(15)};
    const auto completion = drive_.execute(command, data);
    if (!completion) {
        complain(completion.error());
        return Reply::refusal(SC_INTERNAL_ERROR);
    }
    if (completion->delivery == Delivery::GONE) end();  // as if the cable had been pulled
    if (completion->delivery != Delivery::COMPLETED) return Reply::held();
    return Reply{completion->statusField, completion->dword0 | uint64_t{completion->dword1} << 32, false,
                 completion->delayMs};
}

void DriveController::resetController() {
    // The end of an association, which may be one without memory, must not be that of the target.
    try {
        const Status status = drive_.reset(ResetKind::CONTROLLER);
        if (failed(status)) complain(status);
    } catch (const std::bad_alloc&) {
        (void)std::fputs("nimbrel-simdrive: Out of memory: the drive was not reset.\n", stderr);
    }
}

bool DriveController::resetSubsystem() {
    const Status status = drive_.reset(ResetKind::SUBSYSTEM);
    if (failed(status)) complain(status);
    return true;
}

Reply DriveController::requestEvent(const Capsule& capsule) {
    std::vector<uint8_t> none;
    return execute(capsule, true, none);
}

void DriveController::lookAfterDrive(uint64_t nowMs) {
    constexpr uint64_t INTERVAL_MS = 500;
    if (nowMs < nextLookMs_) return;
    nextLookMs_ = nowMs + INTERVAL_MS;
    if (!isThere(drive_)) {
        end();
    } else if (hasEventRequest()) {
        reportEvents();
    }
}

void DriveController::reportEvents() {
    while (hasEventRequest()) {
        const auto event = drive_.takeEvent();
        if (!event) return complain(event.error());
        if (!*event) return;
        completeEventRequest((*event)->dword0);
    }
}

bool isThere(features::simulator::Controller& drive) {
    const auto description = drive.describe();
    if (!description) complain(description.error());
    return description && !description->faults.isGone;
}

features::Result<std::vector<uint8_t>> identifyDrive(features::simulator::Controller& drive) {
    SubmissionEntry command;
    command.opcode = OPC_IDENTIFY;
    command.cdw10 = CNS_CONTROLLER;
    std::vector<uint8_t> identify;
    TRY(const CompletionEntry completion, drive.execute(command, identify));
    if (!completion.isSuccess() || completion.delivery != Delivery::COMPLETED)
        return Status(ostrel::core::CATEGORY_OS, EIO, "The drive does not answer Identify.");
    identify.resize(IDENTIFY_BYTES);
    putFabricsIdentity(identify);
    // Drives before NVMe 1.2.1 have none, and a host connects by it.
    if (identify[offsetof(IdentifyController, subnqn)] == 0) {
        TRY(const auto description, drive.describe());
        const std::string name = subsystemName(description);
        std::copy(name.begin(), name.end(), identify.begin() + offsetof(IdentifyController, subnqn));
    }
    return identify;
}

}  // namespace simdrive::tcp
