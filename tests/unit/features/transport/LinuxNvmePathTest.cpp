#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "features/nvme/Bytes.h"
#include "features/nvme/Completion.h"
#include "features/nvme/IdentifyCns.h"
#include "features/nvme/Opcodes.h"
#include "features/transport/linux/LinuxNvmePath.h"
#include "ostrel/core/xml/XmlObject.h"
#include "tests/support/StatusText.h"
#include "tests/unit/features/transport/FakeMachine.h"

namespace features::transport {
namespace {

using nvme::NvmeCommand;
using nvme::Queue;
using ostrel::core::CommandResult;
using ostrel::core::Payload;
using ostrel::core::Status;
using std::chrono::milliseconds;
using Calls = std::vector<std::string>;

constexpr uint32_t PAGE = 4096;

/// "0/0" and the words of a success.
const std::string SUCCESS = statusText(Status());
constexpr const char* NO_MEMORY = " (errno 12: Cannot allocate memory).";

NvmeCommand reading(Queue queue, uint8_t opcode, uint32_t bytes) {
    NvmeCommand command(queue, opcode, "Test");
    command.nsid = 1;
    command.dataLength = bytes;
    return command;
}

class LinuxNvmePathTest : public testing::Test {
protected:
    LinuxNvmePathTest() {
        machine_.controller("nvme0", "nvme-subsys0");
        machine_.disk("pci/nvme0", "nvme0n1", "259:0", 1);
    }

    std::unique_ptr<LinuxNvmePath> makePath() const {
        auto path = std::make_unique<LinuxNvmePath>("nvme0", machine_.paths(),
                                                    std::make_shared<const NvmeTopology>(machine_.paths()));
        path->select({"S1", "M1", "nqn.1"});
        return path;
    }
    CommandResult send(const ostrel::core::Command& command, const Payload& payload = {}) {
        return path_->send(command, payload, {});
    }
    CommandResult identify() { return send(reading(Queue::ADMIN, nvme::OPC_IDENTIFY, PAGE)); }
    CommandResult ask(HostRequest request, uint32_t timeoutMs = 0) {
        HostCommand command(request);
        command.timeoutMs = timeoutMs;
        return send(command);
    }
    void setState(const std::string& state) { machine_.file("/sys/devices/pci/nvme0/state", state + "\n"); }
    void removeState() { std::filesystem::remove(machine_.path("/sys/devices/pci/nvme0/state")); }
    std::string node(const std::string& name) const { return machine_.path("/dev/" + name); }
    std::string goneText(const std::string& name) const {
        return "0/70 The device (object) was unavailable. The drive of " + node(name) +
               " is gone (errno 19: No such device).";
    }

    FakeMachine machine_;
    FakeKernel& kernel_ = *machine_.kernel;
    std::unique_ptr<LinuxNvmePath> path_ = makePath();
};

const nvme::Completion& completionOf(const CommandResult& result) {
    return dynamic_cast<const nvme::Completion&>(*result.protocolResult);
}

const std::vector<HostNamespace>& namespacesOf(const CommandResult& result) {
    return dynamic_cast<const HostResult&>(*result.protocolResult).namespaces;
}

TEST_F(LinuxNvmePathTest, EveryFieldOfACommandReachesTheDriver) {
    nvme_passthru_cmd seen{};
    kernel_.onCommand = [&](nvme_passthru_cmd& command) {
        seen = command;
        command.result = 0x12345678;
        return 0x6002;
    };
    NvmeCommand command(Queue::ADMIN, 0xC0, "Vendor");
    command.nsid = 1;
    command.cdw2 = 2;
    command.cdw3 = 3;
    command.cdw10 = 10;
    command.cdw11 = 11;
    command.cdw12 = 12;
    command.cdw13 = 13;
    command.cdw14 = 14;
    command.cdw15 = 15;
    const CommandResult result = send(command);
    EXPECT_EQ(statusText(result.status), SUCCESS);
    EXPECT_EQ(completionOf(result).statusField, 0x6002);
    EXPECT_EQ(completionOf(result).dword0, 0x12345678U);
    EXPECT_EQ(result.inputPayload.getSize(), 0U);
    EXPECT_EQ(kernel_.calls, (Calls{"open /dev/nvme0", "who /dev/nvme0", "admin C0h /dev/nvme0"}));
    EXPECT_EQ(seen.opcode, 0xC0);
    EXPECT_EQ(seen.flags, 0);
    EXPECT_EQ(seen.rsvd1, 0);
    EXPECT_EQ(seen.nsid, 1U);
    EXPECT_EQ(seen.cdw2, 2U);
    EXPECT_EQ(seen.cdw3, 3U);
    EXPECT_EQ(seen.cdw10, 10U);
    EXPECT_EQ(seen.cdw11, 11U);
    EXPECT_EQ(seen.cdw12, 12U);
    EXPECT_EQ(seen.cdw13, 13U);
    EXPECT_EQ(seen.cdw14, 14U);
    EXPECT_EQ(seen.cdw15, 15U);
    EXPECT_EQ(seen.addr, 0U) << "a command without data has no buffer";
    EXPECT_EQ(seen.data_len, 0U);
    EXPECT_EQ(seen.metadata, 0U);
    EXPECT_EQ(seen.metadata_len, 0U);
}

TEST_F(LinuxNvmePathTest, ACommandWithoutATimeOutHasThePaths) {
    std::vector<uint32_t> timeouts;
    kernel_.onCommand = [&](nvme_passthru_cmd& command) {
        timeouts.push_back(command.timeout_ms);
        return 0;
    };
    NvmeCommand command(Queue::ADMIN, nvme::OPC_ABORT, "Abort");
    send(command);
    path_->setTimeoutNanoseconds(1500000000);
    send(command);
    command.timeoutMs = 7;
    send(command);
    EXPECT_EQ(timeouts, (std::vector<uint32_t>{30000, 1500, 7}));
}

TEST_F(LinuxNvmePathTest, ABufferThatTheDriveFillsIsWholeClearedPages) {
    for (const uint32_t bytes : {1U, 512U, PAGE - 1, PAGE, PAGE + 1}) {
        const uint32_t pages = bytes <= PAGE ? PAGE : 2 * PAGE;
        kernel_.onCommand = [&](nvme_passthru_cmd& command) {
            auto* data = reinterpret_cast<uint8_t*>(command.addr);
            EXPECT_EQ(command.addr % PAGE, 0U) << bytes;
            EXPECT_EQ(command.data_len, bytes);
            EXPECT_TRUE(std::all_of(data, data + pages, [](uint8_t byte) { return byte == 0; })) << bytes;
            std::fill_n(data, pages, uint8_t{0xA5});  // a drive that writes more than it was asked for
            return 0;
        };
        const CommandResult result = send(reading(Queue::ADMIN, nvme::OPC_IDENTIFY, bytes));
        ASSERT_EQ(statusText(result.status), SUCCESS);
        ASSERT_EQ(result.inputPayload.getSize(), bytes);
        EXPECT_TRUE(std::all_of(result.inputPayload.getData(), result.inputPayload.getData() + bytes, [](uint8_t byte) {
            return byte == 0xA5;
        })) << bytes;
    }
}

TEST_F(LinuxNvmePathTest, AReadFillsTheBufferThatItsCallerBrought) {
    Payload buffer(PAGE);
    std::fill_n(buffer.getData(), PAGE, uint8_t{0x5A});
    const auto seen = [&](uint32_t bytes) {
        bool isTheirs = false;
        kernel_.onCommand = [&](nvme_passthru_cmd& command) {
            EXPECT_EQ(command.data_len, bytes);
            auto* data = reinterpret_cast<uint8_t*>(command.addr);
            isTheirs = data == buffer.getData();
            EXPECT_EQ(data[bytes - 1], isTheirs ? 0x5A : 0) << "theirs is not cleared";
            return 0;
        };
        const CommandResult result = send(reading(Queue::IO, nvme::OPC_READ, bytes), buffer);
        EXPECT_EQ(statusText(result.status), SUCCESS);
        EXPECT_EQ(result.inputPayload.getData() == buffer.getData(), isTheirs) << bytes;
        return isTheirs;
    };
    EXPECT_TRUE(seen(PAGE));
    EXPECT_TRUE(seen(512)) << "whole pages";
    EXPECT_FALSE(seen(PAGE + 512)) << "it is too small";
}

TEST_F(LinuxNvmePathTest, MetadataHasABufferOfItsOwn) {
    kernel_.onCommand = [](nvme_passthru_cmd& command) {
        EXPECT_EQ(command.metadata % PAGE, 0U);
        EXPECT_EQ(command.metadata_len, 8U);
        EXPECT_NE(command.metadata, command.addr);
        std::fill_n(reinterpret_cast<uint8_t*>(command.metadata), PAGE, uint8_t{0xFF});
        return 0;
    };
    NvmeCommand command = reading(Queue::IO, nvme::OPC_READ, 512);
    command.metadataLength = 8;
    const CommandResult result = send(command);
    EXPECT_EQ(statusText(result.status), SUCCESS);
    EXPECT_EQ(result.inputPayload.getSize(), 512U);
    EXPECT_EQ(result.inputPayload.at(0), 0);
}

TEST_F(LinuxNvmePathTest, ABufferThatCannotBeHadSendsNothing) {
    EXPECT_EQ(statusText(send(reading(Queue::ADMIN, nvme::OPC_IDENTIFY, 0xFFFFFFFF)).status),
              "0/87 Unable to malloc memory. NULL pointer was given. " + node("nvme0") + NO_MEMORY);
    NvmeCommand command = reading(Queue::IO, nvme::OPC_READ, 512);
    command.metadataLength = 0xFFFFFFFF;
    EXPECT_EQ(statusText(send(command).status),
              "0/87 Unable to malloc memory. NULL pointer was given. " + node("nvme0n1") + NO_MEMORY);
    EXPECT_EQ(kernel_.calls, (Calls{"open /dev/nvme0", "open /dev/nvme0n1"}));
}

TEST_F(LinuxNvmePathTest, DataForTheDriveIsPassedWithoutACopy) {
    const Payload payload("0123", 4);
    uint64_t address = 0;
    kernel_.onCommand = [&](nvme_passthru_cmd& command) {
        address = command.addr;
        return 0;
    };
    const CommandResult result = send(reading(Queue::ADMIN, nvme::OPC_SET_FEATURES, 4), payload);
    EXPECT_EQ(address, reinterpret_cast<uintptr_t>(payload.getData()));
    EXPECT_EQ(result.inputPayload.getSize(), 0U);
    EXPECT_EQ(result.outputPayload.getData(), payload.getData());
}

TEST_F(LinuxNvmePathTest, WhatTheSystemRefusesNamesTheNode) {
    const struct {
        int error;
        std::string status;
    } CASES[] = {
        {EACCES,
         "10/238 Requires admin privileges. No permission for NODE: it needs the root user or CAP_SYS_ADMIN (errno "
         "13: Permission denied)."},
        {EPERM,
         "10/238 Requires admin privileges. No permission for NODE: it needs the root user or CAP_SYS_ADMIN (errno "
         "1: Operation not permitted)."},
        {ENOENT, "0/70 The device (object) was unavailable. NODE does not exist (errno 2: No such file or directory)."},
        {ENODEV, "0/70 The device (object) was unavailable. The drive of NODE is gone (errno 19: No such device)."},
        {ENXIO,
         "0/70 The device (object) was unavailable. The drive of NODE is gone (errno 6: No such device or address)."},
        {EINTR,
         "0/69 The command was detected to have timed-out. The drive of NODE did not answer in time (errno 4: "
         "Interrupted system call)."},
        {ETIME,
         "0/69 The command was detected to have timed-out. The drive of NODE did not answer in time (errno 62: Timer "
         "expired)."},
        {EINVAL, "0/75 Invalid transfer size specified. NODE (errno 22: Invalid argument)."},
        {EIO,
         "0/86 No completion was available. Can't tell if command passed or failed. NODE (errno 5: Input/output "
         "error)."},
    };
    for (const auto& c : CASES) {
        std::string status = c.status;
        status.replace(status.find("NODE"), 4, node("nvme0"));
        path_ = makePath();
        kernel_.calls.clear();
        kernel_.onOpen = [](const std::string&) { return 0; };
        kernel_.onCommand = [&](nvme_passthru_cmd&) { return -c.error; };
        const CommandResult result = identify();
        EXPECT_EQ(statusText(result.status), status);
        EXPECT_EQ(result.protocolResult, nullptr) << status;
        EXPECT_EQ(result.inputPayload.getSize(), 0U) << status;
        // Not sent again, not even after EINTR: the drive may have run it.
        EXPECT_EQ(kernel_.calls, (Calls{"open /dev/nvme0", "admin 06h /dev/nvme0"})) << status;
        path_ = makePath();
        kernel_.calls.clear();
        kernel_.onOpen = [&](const std::string&) { return c.error; };
        // Nothing was sent: an error without a row of its own is that of the opening.
        const bool hasRow = c.error != EINVAL && c.error != EIO;
        EXPECT_EQ(statusText(identify().status).substr(0, 34),
                  hasRow ? status.substr(0, 34) : "0/64 There was no connection to op");
        EXPECT_EQ(kernel_.calls, Calls{"open /dev/nvme0"}) << status;
    }
    EXPECT_EQ(kernel_.slept, milliseconds(0));
}

/// Linux 6.12 keeps Number of Queues and Host Behavior Support to itself, also from the root user.
TEST_F(LinuxNvmePathTest, AFeatureThatTheSystemKeepsToItselfIsNotLeftToAPermission) {
    kernel_.onCommand = [&](nvme_passthru_cmd&) { return -EACCES; };
    EXPECT_EQ(
        statusText(send(reading(Queue::ADMIN, nvme::OPC_SET_FEATURES, 0)).status),
        "10/238 Requires admin privileges. No permission for " + node("nvme0") +
            ": it needs the root user or CAP_SYS_ADMIN (errno 13: Permission denied). Newer versions of Linux let "
            "no program set some features.");
}

TEST_F(LinuxNvmePathTest, WhateverFailsOnADriveThatLeavesSaysThatItIsGone) {
    const std::string gone = goneText("nvme0");
    for (const char* const state : {"deleting", "deleting (no IO)", "dead", ""}) {
        *state == '\0' ? removeState() : setState(state);
        kernel_.onCommand = [](nvme_passthru_cmd&) { return -EINTR; };
        EXPECT_EQ(statusText(identify().status), gone) << state;
        // A status of the driver itself, not of the drive: Host Pathing Error, and one that is never sent again.
        for (const int outcome : {0x0370, 0x0371, 0x4300}) {
            kernel_.onCommand = [&](nvme_passthru_cmd&) { return outcome; };
            EXPECT_EQ(statusText(identify().status), gone) << state << outcome;
        }
        kernel_.onCommand = [](nvme_passthru_cmd&) { return 0x0281; };
        const CommandResult refused = identify();
        EXPECT_EQ(statusText(refused.status), SUCCESS) << "the drive answered: " << state;
        EXPECT_EQ(completionOf(refused).statusField, 0x0281);
    }
    kernel_.onOpen = [](const std::string&) { return EBUSY; };
    path_ = makePath();
    EXPECT_EQ(statusText(identify().status), gone) << "nothing to wait for";
    EXPECT_EQ(kernel_.slept, milliseconds(0));
}

TEST_F(LinuxNvmePathTest, AReadThatMeetsAResetIsSentAgain) {
    for (const uint8_t opcode : {nvme::OPC_IDENTIFY, nvme::OPC_GET_LOG_PAGE, nvme::OPC_GET_FEATURES}) {
        int tries = 0;
        kernel_.slept = milliseconds(0);
        // The second time with Do Not Retry, which speaks of the queue that is gone.
        kernel_.onCommand = [&](nvme_passthru_cmd&) { return ++tries == 3 ? 0 : tries == 2 ? 0x4370 : 0x0370; };
        const CommandResult result = send(reading(Queue::ADMIN, opcode, 512));
        EXPECT_EQ(statusText(result.status), SUCCESS);
        EXPECT_EQ(completionOf(result).statusField, 0);
        EXPECT_EQ(tries, 3) << int{opcode};
        EXPECT_EQ(kernel_.slept, milliseconds(100));
    }
}

TEST_F(LinuxNvmePathTest, AResetThatDoesNotEndIsReportedAfterTenSeconds) {
    kernel_.onCommand = [](nvme_passthru_cmd&) { return 0x0370; };
    const CommandResult result = identify();
    EXPECT_EQ(statusText(result.status), SUCCESS);
    EXPECT_EQ(completionOf(result).statusField, 0x0370);
    EXPECT_EQ(kernel_.slept, milliseconds(10000));
    EXPECT_EQ(kernel_.calls.size(), 202U) << "an open, and a command each 50 ms";
}

TEST_F(LinuxNvmePathTest, WhatMayHaveChangedTheDriveIsSentOnce) {
    const NvmeCommand COMMANDS[] = {
        reading(Queue::ADMIN, nvme::OPC_SET_FEATURES, 0),
        reading(Queue::ADMIN, nvme::OPC_FORMAT_NVM, 0),
        reading(Queue::ADMIN, nvme::OPC_FIRMWARE_COMMIT, 0),
        reading(Queue::ADMIN, nvme::OPC_SANITIZE, 0),
        reading(Queue::ADMIN, 0xC2, 512),         // a vendor's, of which nothing is known
        reading(Queue::IO, nvme::OPC_READ, 512),  // the number of Get Log Page on the other queue
        reading(Queue::IO, nvme::OPC_WRITE, 0),
    };
    for (const NvmeCommand& command : COMMANDS) {
        int sent = 0;
        kernel_.onCommand = [&](nvme_passthru_cmd&) {
            ++sent;
            return 0x0370;
        };
        EXPECT_EQ(completionOf(send(command)).statusField, 0x0370);
        EXPECT_EQ(sent, 1) << int{command.opcode};
    }
    int sent = 0;
    kernel_.onCommand = [&](nvme_passthru_cmd&) {
        ++sent;
        return 0x0371;
    };
    EXPECT_EQ(completionOf(identify()).statusField, 0x0371);
    EXPECT_EQ(sent, 1) << "Command Aborted By Host is no reset";
    EXPECT_EQ(kernel_.slept, milliseconds(0));
}

TEST_F(LinuxNvmePathTest, ANodeThatAResetKeepsClosedIsTriedAgain) {
    int tries = 0;
    kernel_.onOpen = [&](const std::string&) { return ++tries == 1 ? EAGAIN : tries == 2 ? EBUSY : 0; };
    EXPECT_EQ(statusText(identify().status), SUCCESS);
    EXPECT_EQ(kernel_.slept, milliseconds(100));
    for (const int error : {EAGAIN, EBUSY}) {
        path_ = makePath();
        kernel_.slept = milliseconds(0);
        kernel_.onOpen = [&](const std::string&) { return error; };
        EXPECT_EQ(statusText(identify().status).substr(0, 5), "0/64 ");
        EXPECT_EQ(kernel_.slept, milliseconds(10050)) << "more than ten seconds";
    }
}

TEST_F(LinuxNvmePathTest, TheControllersNodeIsOpenedOnceForAllClones) {
    kernel_.onOpen = [](const std::string&) { return EACCES; };
    EXPECT_EQ(identify().status.getCode(), 238U);
    kernel_.onOpen = [](const std::string&) { return 0; };
    const auto clone = path_->clone();
    identify();
    EXPECT_EQ(statusText(clone->send(reading(Queue::ADMIN, nvme::OPC_IDENTIFY, PAGE), {}, {}).status), SUCCESS);
    EXPECT_EQ(kernel_.calls,
              (Calls{"open /dev/nvme0", "open /dev/nvme0", "admin 06h /dev/nvme0", "admin 06h /dev/nvme0"}));
}

TEST_F(LinuxNvmePathTest, ANamespaceIsOpenedOnceForReadsAndEachTimeForWrites) {
    machine_.disk("pci/nvme0", "nvme0n2", "259:1", 2);
    NvmeCommand second = reading(Queue::IO, nvme::OPC_READ, 512);
    second.nsid = 2;
    for (int i = 0; i < 2; ++i) {
        send(reading(Queue::IO, nvme::OPC_READ, 512));
        send(second);
        send(reading(Queue::IO, nvme::OPC_DATASET_MANAGEMENT, 0));
    }
    EXPECT_EQ(kernel_.calls,
              (Calls{"open /dev/nvme0n1", "io 02h /dev/nvme0n1", "open /dev/nvme0n2", "io 02h /dev/nvme0n2",
                     "open /dev/nvme0n1", "namespace /dev/nvme0n1", "who /dev/nvme0n1", "io 09h /dev/nvme0n1",
                     "io 02h /dev/nvme0n1", "io 02h /dev/nvme0n2", "open /dev/nvme0n1", "namespace /dev/nvme0n1",
                     "who /dev/nvme0n1", "io 09h /dev/nvme0n1"}));
}

TEST_F(LinuxNvmePathTest, ANamespaceThatIsNotAttachedOpensNothing) {
    machine_.hiddenPath("nvme0", "nvme7c0n3", 3);
    for (const uint32_t nsid : {2U, 3U, 0xFFFFFFFFU}) {  // missing; a path whose head is gone; all
        for (const uint8_t opcode : {nvme::OPC_READ, nvme::OPC_WRITE}) {
            NvmeCommand command = reading(Queue::IO, opcode, 0);
            command.nsid = nsid;
            EXPECT_EQ(statusText(send(command).status), "10/80 Invalid namespace ID given. Namespace " +
                                                            std::to_string(nsid) + " is not attached to nvme0.");
        }
    }
    EXPECT_EQ(kernel_.calls, Calls());
}

TEST_F(LinuxNvmePathTest, ANamespacesNodeThatDoesNotOpenIsNamed) {
    kernel_.onOpen = [](const std::string&) { return EACCES; };
    const std::string refused = "10/238 Requires admin privileges. No permission for " + node("nvme0n1") +
                                ": it needs the root user or CAP_SYS_ADMIN (errno 13: Permission denied).";
    EXPECT_EQ(statusText(send(reading(Queue::IO, nvme::OPC_READ, 512)).status), refused);
    EXPECT_EQ(statusText(send(reading(Queue::IO, nvme::OPC_WRITE, 0)).status), refused);
    EXPECT_EQ(kernel_.calls, (Calls{"open /dev/nvme0n1", "open /dev/nvme0n1"}));
}

TEST_F(LinuxNvmePathTest, AResetWaitsUntilTheControllerIsLive) {
    int sleeps = 0;
    kernel_.onRequest = [&](unsigned long) {
        setState("resetting");
        return 0;
    };
    kernel_.onSleep = [&] { setState(++sleeps < 3 ? "connecting" : "live"); };
    EXPECT_EQ(statusText(ask(HostRequest::RESET_CONTROLLER).status), SUCCESS);
    EXPECT_EQ(kernel_.slept, milliseconds(150));
    EXPECT_EQ(kernel_.calls, (Calls{"open /dev/nvme0", "who /dev/nvme0", "reset /dev/nvme0"}));
    sleeps = 0;
    EXPECT_EQ(statusText(ask(HostRequest::RESET_SUBSYSTEM).status), SUCCESS);
    EXPECT_EQ(sleeps, 3);
    EXPECT_EQ(kernel_.calls.back(), "subsystem reset /dev/nvme0");
}

TEST_F(LinuxNvmePathTest, AResetThatDoesNotComeBackEndsAtItsTimeOut) {
    const std::string late = "0/69 The command was detected to have timed-out. The drive of " + node("nvme0") +
                             " did not answer in time (errno 62: Timer expired).";
    setState("resetting");
    EXPECT_EQ(statusText(ask(HostRequest::RESET_CONTROLLER).status), late);
    EXPECT_EQ(kernel_.slept, milliseconds(60050)) << "a minute";
    kernel_.slept = milliseconds(0);
    EXPECT_EQ(statusText(ask(HostRequest::RESET_SUBSYSTEM, 500).status), late);
    EXPECT_EQ(kernel_.slept, milliseconds(550));
    kernel_.onSleep = [&] { removeState(); };
    EXPECT_EQ(statusText(ask(HostRequest::RESET_CONTROLLER).status), goneText("nvme0"));
}

TEST_F(LinuxNvmePathTest, AResetThatTheDriverDoesNotTakeIsReported) {
    kernel_.onRequest = [](unsigned long request) { return request == NVME_IOCTL_SUBSYS_RESET ? -ENOTTY : -EBUSY; };
    EXPECT_EQ(statusText(ask(HostRequest::RESET_SUBSYSTEM).status), "10/34 Feature is not supported.");
    EXPECT_EQ(statusText(ask(HostRequest::RESET_CONTROLLER).status),
              "0/86 No completion was available. Can't tell if command passed or failed. " + node("nvme0") +
                  " (errno 16: Device or resource busy).");
    kernel_.calls.clear();
    kernel_.onOpen = [](const std::string&) { return EACCES; };
    path_ = makePath();
    for (const HostRequest request :
         {HostRequest::RESET_CONTROLLER, HostRequest::RESET_SUBSYSTEM, HostRequest::RESCAN}) {
        EXPECT_EQ(ask(request).status.getCode(), 238U);
        EXPECT_EQ(kernel_.calls.back(), "open /dev/nvme0") << "no request follows an open that failed";
    }
}

TEST_F(LinuxNvmePathTest, ARescanReadsPartitionTablesOfUnusedDisks) {
    machine_.partition("pci/nvme0/nvme0n1", "nvme0n1p1", "259:5", 1);
    machine_.disk("pci/nvme0", "nvme0n2", "259:1", 2);
    machine_.disk("pci/nvme0", "nvme0n3", "259:2", 3);
    machine_.hiddenPath("nvme0", "nvme7c0n4", 4);
    machine_.mounts("36 35 259:1 / /mnt rw - ext4 /dev/nvme0n2 rw\n");
    kernel_.onOpen = [&](const std::string& node) {
        return node == "/dev/nvme0n3" && kernel_.calls.back() == "open /dev/nvme0n3 exclusive" ? EBUSY : 0;
    };
    // The kernel keeps the table that it knows when the new one cannot be read.
    kernel_.onRequest = [](unsigned long request) { return request == NVME_IOCTL_RESCAN ? 0 : -EIO; };
    EXPECT_EQ(statusText(ask(HostRequest::RESCAN).status), SUCCESS);
    const auto& calls = kernel_.calls;
    ASSERT_GE(calls.size(), 2U);
    EXPECT_EQ(calls[0], "open /dev/nvme0");
    EXPECT_EQ(calls[1], "rescan /dev/nvme0");
    const auto count = [&](const char* call) { return std::count(calls.begin(), calls.end(), call); };
    EXPECT_EQ(count("read partitions /dev/nvme0n1"), 1) << "partitions alone are no use";
    EXPECT_EQ(count("read partitions /dev/nvme0n2"), 0) << "mounted";
    EXPECT_EQ(count("open /dev/nvme0n2"), 0) << "mounted";
    EXPECT_EQ(count("read partitions /dev/nvme0n3"), 0) << "opened exclusively";
    EXPECT_EQ(count("open /dev/nvme0n3"), 0) << "opened exclusively";
}

TEST_F(LinuxNvmePathTest, ARescanReadsTheTableOfTheDiskAndNotOfANodeWithItsName) {
    kernel_.devices["/dev/nvme0n1"] = {S_IFBLK, makedev(8, 16)};
    EXPECT_EQ(statusText(ask(HostRequest::RESCAN).status), SUCCESS);
    EXPECT_EQ(std::count(kernel_.calls.begin(), kernel_.calls.end(), "open /dev/nvme0n1"), 0);
    const Calls last(kernel_.calls.end() - 4, kernel_.calls.end());
    EXPECT_EQ(last, (Calls{"mknod /dev/TEMPORARY", "open /dev/TEMPORARY", "unlink /dev/TEMPORARY",
                           "read partitions /dev/TEMPORARY"}));
}

TEST_F(LinuxNvmePathTest, ARescanThatFailsReadsNoPartitionTable) {
    kernel_.onRequest = [](unsigned long) { return -EPERM; };
    EXPECT_EQ(statusText(ask(HostRequest::RESCAN).status),
              "10/238 Requires admin privileges. No permission for " + node("nvme0") +
                  ": it needs the root user or CAP_SYS_ADMIN (errno 1: Operation not permitted).");
    EXPECT_EQ(kernel_.calls, (Calls{"open /dev/nvme0", "rescan /dev/nvme0"}));
}

TEST_F(LinuxNvmePathTest, ARescanThatCannotSeeUsesReadsNoPartitionTable) {
    std::filesystem::remove(machine_.path("/proc/self/mountinfo"));
    EXPECT_EQ(statusText(ask(HostRequest::RESCAN).status), SUCCESS);
    EXPECT_EQ(kernel_.calls, (Calls{"open /dev/nvme0", "rescan /dev/nvme0"}));
}

TEST_F(LinuxNvmePathTest, AttachedNamespacesComeWithoutACommand) {
    machine_.file("/sys/class/block/nvme0n1/queue/logical_block_size", "4096\n");
    machine_.hiddenPath("nvme0", "nvme7c0n3", 3);
    const CommandResult result = ask(HostRequest::SIZES);
    EXPECT_EQ(statusText(result.status), SUCCESS);
    const auto& found = namespacesOf(result);
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found[0].nsid, 1U);
    EXPECT_EQ(found[0].node, "/dev/nvme0n1");
    EXPECT_TRUE(found[0].attached);
    EXPECT_EQ(found[0].sizeBytes, 131072U * 512);
    EXPECT_EQ(found[0].blockBytes, 4096U);
    EXPECT_EQ(found[1].nsid, 3U);
    EXPECT_EQ(found[1].node, "") << "a path whose head is gone";
    EXPECT_EQ(kernel_.calls, Calls());
}

/// A drive that answers Identify alone: namespaces 1 and 7, of 1,000 blocks of 512 bytes and of 10 blocks of 4 KiB.
int answerIdentify(nvme_passthru_cmd& command) {
    auto* data = reinterpret_cast<uint8_t*>(command.addr);
    if (command.opcode != nvme::OPC_IDENTIFY) return 0x4001;
    if (command.cdw10 == nvme::CNS_ACTIVE_NAMESPACES) {
        data[0] = command.nsid == 0 ? 1 : 0;
        data[4] = command.nsid == 0 ? 7 : 0;
        return 0;
    }
    if (command.cdw10 != nvme::CNS_NAMESPACE) return 0x4002;
    data[0] = command.nsid == 1 ? 0xE8 : 10;
    data[1] = command.nsid == 1 ? 0x03 : 0;
    data[130] = command.nsid == 1 ? 9 : 12;  // LBA Format 0: the data size as a power of two
    return 0;
}

TEST_F(LinuxNvmePathTest, WithoutSysfsTheDriveIsAskedForItsNamespaces) {
    kernel_.mounted = {"/proc"};
    kernel_.onCommand = answerIdentify;
    const CommandResult result = ask(HostRequest::NAMESPACES);
    ASSERT_EQ(statusText(result.status), SUCCESS);
    const auto& found = namespacesOf(result);
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found[0].nsid, 1U);
    EXPECT_EQ(found[0].node, "") << "the number in a node's name is no identifier";
    EXPECT_EQ(found[0].sizeBytes, 512000U);
    EXPECT_EQ(found[0].blockBytes, 512U);
    EXPECT_EQ(found[1].nsid, 7U);
    EXPECT_EQ(found[1].sizeBytes, 40960U);
    EXPECT_EQ(found[1].blockBytes, 4096U);
    EXPECT_EQ(kernel_.calls,
              (Calls{"open /dev/nvme0", "admin 06h /dev/nvme0", "admin 06h /dev/nvme0", "admin 06h /dev/nvme0"}));
}

TEST_F(LinuxNvmePathTest, WithoutSysfsADriveThatDoesNotAnswerHasNoNamespaces) {
    kernel_.mounted = {"/proc"};
    kernel_.onCommand = [](nvme_passthru_cmd&) { return 0x4002; };
    EXPECT_EQ(statusText(ask(HostRequest::NAMESPACES).status),
              "10/33 Failed to retrieve data from selected device. Identify failed on " + node("nvme0") +
                  ": Invalid Field in Command.");
    kernel_.onCommand = [](nvme_passthru_cmd& command) {
        reinterpret_cast<uint8_t*>(command.addr)[0] = 1;
        reinterpret_cast<uint8_t*>(command.addr)[4] = command.cdw10 == nvme::CNS_ACTIVE_NAMESPACES ? 1 : 0;
        return 0;
    };
    EXPECT_EQ(statusText(ask(HostRequest::NAMESPACES).status), "10/33 Failed to retrieve data from selected device.")
        << "identifiers that do not increase";
}

TEST_F(LinuxNvmePathTest, WithoutSysfsANamespaceThatIsNotIdentifiedIsAnError) {
    kernel_.mounted = {"/proc"};
    kernel_.onCommand = [](nvme_passthru_cmd& command) {
        return command.cdw10 == nvme::CNS_NAMESPACE && command.nsid == 7 ? 0x4006 : answerIdentify(command);
    };
    const CommandResult result = ask(HostRequest::NAMESPACES);
    EXPECT_EQ(statusText(result.status), "10/33 Failed to retrieve data from selected device. Identify failed on " +
                                             node("nvme0") + ": Internal Error.");
    EXPECT_EQ(result.protocolResult, nullptr) << "not those before it";
}

TEST_F(LinuxNvmePathTest, WithoutSysfsAFullListOfNamespacesHasAnother) {
    kernel_.mounted = {"/proc"};
    std::vector<uint32_t> lists;
    kernel_.onCommand = [&](nvme_passthru_cmd& command) {
        if (command.cdw10 != nvme::CNS_ACTIVE_NAMESPACES) return answerIdentify(command);
        lists.push_back(command.nsid);
        auto* entries = reinterpret_cast<uint8_t*>(command.addr);
        for (uint32_t i = 0; i < 1024 && command.nsid + i < 1030; ++i)
            nvme::putLe32(entries + 4 * i, command.nsid + i + 1);
        return 0;
    };
    const CommandResult result = ask(HostRequest::NAMESPACES);
    ASSERT_EQ(statusText(result.status), SUCCESS);
    ASSERT_EQ(namespacesOf(result).size(), 1030U);
    EXPECT_EQ(namespacesOf(result).back().nsid, 1030U);
    EXPECT_EQ(lists, (std::vector<uint32_t>{0, 1024}));
}

TEST_F(LinuxNvmePathTest, WithoutSysfsADriveIsNotTakenForGone) {
    kernel_.mounted = {"/proc"};
    removeState();
    EXPECT_TRUE(path_->isSupported({}));
    kernel_.onCommand = [](nvme_passthru_cmd&) { return -EINVAL; };
    EXPECT_EQ(statusText(identify().status),
              "0/75 Invalid transfer size specified. " + node("nvme0") + " (errno 22: Invalid argument).");
    const std::string unseen = "0/39 System rescan failed. " + machine_.path("/sys") + ": sysfs is not mounted.";
    EXPECT_EQ(statusText(ask(HostRequest::RESET_CONTROLLER).status), unseen) << "sent, and its end cannot be seen";
}

TEST_F(LinuxNvmePathTest, ANamespaceThatCannotBeReadIsAnError) {
    const auto spoil = [this](const std::string& file) {
        const std::string path = machine_.path("/sys/devices/pci/nvme0/nvme0n1/" + file);
        std::filesystem::remove(path);
        std::filesystem::create_symlink(path, path);
        return "0/39 System rescan failed. " + machine_.path("/sys/class/block/nvme0n1/" + file) +
               ": Too many levels of symbolic links.";
    };
    const std::string unreadSize = spoil("size");
    EXPECT_EQ(statusText(ask(HostRequest::SIZES).status), unreadSize);
    EXPECT_EQ(statusText(ask(HostRequest::USES).status), unreadSize);
    EXPECT_EQ(statusText(ask(HostRequest::NAMESPACES).status), SUCCESS) << "it has no sizes";
    spoil("nsid");
    EXPECT_EQ(statusText(ask(HostRequest::NAMESPACES).status), "0/39 System rescan failed. " +
                                                                   machine_.path("/sys/class/nvme/nvme0/nvme0n1/nsid") +
                                                                   ": Too many levels of symbolic links.");
}

TEST_F(LinuxNvmePathTest, UsesAreThoseOfTheWholeSubsystem) {
    machine_.controller("nvme1", "nvme-subsys0");
    machine_.controller("nvme2", "nvme-subsys2");
    machine_.disk("pci/nvme1", "nvme0n2", "259:1", 2);
    machine_.disk("pci/nvme2", "nvme2n1", "259:2", 9);
    machine_.partition("pci/nvme1/nvme0n2", "nvme0n2p1", "259:3", 1);
    machine_.hiddenPath("nvme0", "nvme0c0n5", 5);
    machine_.hiddenPath("nvme1", "nvme0c1n5", 5);
    machine_.disk("virtual/nvme-subsys0", "nvme0n5", "259:4", 5);
    machine_.mounts("36 35 259:3 / /mnt rw - ext4 /dev/nvme0n2p1 rw\n");
    for (const char* const controller : {"nvme0", "nvme1"}) {
        const bool isFirst = std::string(controller) == "nvme0";
        LinuxNvmePath path(controller, machine_.paths(), std::make_shared<const NvmeTopology>(machine_.paths()));
        const CommandResult result = path.send(HostCommand(HostRequest::USES), {}, {});
        ASSERT_EQ(statusText(result.status), SUCCESS);
        const auto& found = namespacesOf(result);
        ASSERT_EQ(found.size(), 3U);
        EXPECT_EQ(found[0].node, "/dev/nvme0n1");
        EXPECT_EQ(found[0].attached, isFirst);
        EXPECT_EQ(found[0].uses.size(), 0U);
        EXPECT_EQ(found[1].node, "/dev/nvme0n2");
        EXPECT_EQ(found[1].attached, !isFirst);
        ASSERT_EQ(found[1].uses.size(), 1U);
        EXPECT_EQ(found[1].uses[0].node, "/dev/nvme0n2p1");
        EXPECT_EQ(found[1].uses[0].detail, "/mnt");
        ASSERT_EQ(found[1].partitions.size(), 1U);
        EXPECT_EQ(found[1].partitions[0].mountPoint, "/mnt");
        EXPECT_EQ(found[2].node, "/dev/nvme0n5");
        EXPECT_TRUE(found[2].attached) << "to both";
    }
}

TEST_F(LinuxNvmePathTest, ASharedNamespaceIsUsedThroughEachOfItsNodes) {
    machine_.controller("nvme1", "nvme-subsys0");
    machine_.disk("pci/nvme1", "nvme1n1", "259:8", 1);
    machine_.mounts("36 35 259:8 / /mnt rw - ext4 /dev/nvme1n1 rw\n");
    const CommandResult result = ask(HostRequest::USES);
    ASSERT_EQ(statusText(result.status), SUCCESS);
    const auto& found = namespacesOf(result);
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].node, "/dev/nvme0n1");
    ASSERT_EQ(found[0].uses.size(), 1U);
    EXPECT_EQ(found[0].uses[0].node, "/dev/nvme1n1");
    EXPECT_EQ(found[0].uses[0].detail, "/mnt");
}

TEST_F(LinuxNvmePathTest, BeforeADestructionANamespaceWithoutABlockDeviceMayBeInUse) {
    machine_.hiddenPath("nvme0", "nvme0c0n7", 7);
    HostCommand command(HostRequest::USES);
    for (const UseCheck check : {UseCheck::SHOW, UseCheck::DESTROY, UseCheck::CONTENT}) {
        command.useCheck = check;
        LinuxNvmePath path("nvme0", machine_.paths(), std::make_shared<const NvmeTopology>(machine_.paths()));
        const CommandResult result = path.send(command, {}, {});
        const auto& found = namespacesOf(result);
        ASSERT_EQ(found.size(), 2U);
        if (check == UseCheck::SHOW) {
            EXPECT_EQ(found[1].uses.size(), 0U);
            continue;
        }
        ASSERT_EQ(found[1].uses.size(), 1U);
        EXPECT_EQ(found[1].uses[0].kind, NamespaceUse::Kind::UNKNOWN);
        EXPECT_EQ(found[1].uses[0].node, "namespace 7");
    }
}

TEST_F(LinuxNvmePathTest, AnExportedControllerIsAUseOfAllItsNamespaces) {
    machine_.file("/sys/class/nvme/nvme0/dev", "247:0\n");
    machine_.kernel->devices["/dev/nvme0"] = {S_IFCHR, makedev(247, 0)};
    machine_.file("/sys/kernel/config/nvmet/subsystems/q/passthru/enable", "1\n");
    machine_.file("/sys/kernel/config/nvmet/subsystems/q/passthru/device_path", machine_.path("/dev/nvme0") + "\n");
    const CommandResult result = ask(HostRequest::USES);
    const auto& found = namespacesOf(result);
    ASSERT_EQ(found.size(), 1U);
    ASSERT_EQ(found[0].uses.size(), 1U);
    EXPECT_EQ(found[0].uses[0].node, "/dev/nvme0");
    EXPECT_EQ(found[0].uses[0].kind, NamespaceUse::Kind::HELD);
}

TEST_F(LinuxNvmePathTest, UsesAreAnErrorWithoutTheTableOfMounts) {
    std::filesystem::remove(machine_.path("/proc/self/mountinfo"));
    const CommandResult result = ask(HostRequest::USES);
    EXPECT_EQ(statusText(result.status),
              "0/39 System rescan failed. " + machine_.path("/proc/self/mountinfo") + ": No such file or directory.");
    EXPECT_EQ(result.protocolResult, nullptr);
}

TEST_F(LinuxNvmePathTest, OtherCommandSetsAreRefused) {
    class OtherCommand : public ostrel::core::Command {
    public:
        OtherCommand() : Command("ATA", "Identify Device") {}
        std::unique_ptr<Command> clone() const override { return std::make_unique<OtherCommand>(*this); }
        void toString(std::ostream&) const override {}
        std::unique_ptr<ostrel::core::xml::XmlObject> toXml() const override { return nullptr; }
    };
    EXPECT_EQ(statusText(send(OtherCommand()).status), "0/35 Device does not support this command set.");
    EXPECT_EQ(kernel_.calls, Calls());
}

TEST_F(LinuxNvmePathTest, AResultHasTheTimeOfItsCommand) {
    const CommandResult result = identify();
    EXPECT_FALSE(result.startTime.is_not_a_date_time());
    EXPECT_EQ(result.startTime + result.duration, result.endTime);
    EXPECT_EQ(result.command->getName(), "Test");
}

TEST_F(LinuxNvmePathTest, ANodeThatPassedToAnotherDriveGetsIdentifyAlone) {
    const auto gone = [this](const std::string& name, const std::string& found) {
        return "0/70 The device (object) was unavailable. The drive of " + node(name) +
               " is gone. Selected was serial number S1 (model M1, subsystem nqn.1); " + node(name) +
               " is now that of serial number " + found + ".";
    };
    const struct {
        FakeKernel::Identity identity;
        const char* text;
    } CASES[] = {
        {{"S2", "M1", "nqn.1"}, "S2 (model M1, subsystem nqn.1)"},
        {{"S1", "M2", "nqn.1"}, "S1 (model M2, subsystem nqn.1)"},
        {{"S1", "M1", "nqn.2"}, "S1 (model M1, subsystem nqn.2)"},
        {{"S1", "M1", ""}, "S1 (model M1)"},
        {{"S\x1B[2J", "M1", "nqn.1"}, "S?[2J (model M1, subsystem nqn.1)"},
    };
    for (const auto& c : CASES) {
        kernel_.identity = c.identity;
        for (const HostRequest request : {HostRequest::RESET_CONTROLLER, HostRequest::RESET_SUBSYSTEM}) {
            path_ = makePath();
            kernel_.calls.clear();
            EXPECT_EQ(statusText(ask(request).status), gone("nvme0", c.text));
            EXPECT_EQ(kernel_.calls, (Calls{"open /dev/nvme0", "who /dev/nvme0"}));
        }
        for (const uint8_t opcode : {nvme::OPC_FORMAT_NVM, nvme::OPC_SANITIZE, nvme::OPC_SET_FEATURES,
                                     nvme::OPC_DEVICE_SELF_TEST, nvme::OPC_FIRMWARE_COMMIT, uint8_t{0xC0}}) {
            path_ = makePath();
            kernel_.calls.clear();
            EXPECT_EQ(statusText(send(reading(Queue::ADMIN, opcode, 0)).status), gone("nvme0", c.text));
            EXPECT_EQ(kernel_.calls, (Calls{"open /dev/nvme0", "who /dev/nvme0"})) << int{opcode};
        }
        kernel_.calls.clear();
        EXPECT_EQ(statusText(send(reading(Queue::IO, nvme::OPC_DATASET_MANAGEMENT, 0)).status),
                  gone("nvme0n1", c.text));
        EXPECT_EQ(kernel_.calls, (Calls{"open /dev/nvme0n1", "namespace /dev/nvme0n1", "who /dev/nvme0n1"}));
    }
}

TEST_F(LinuxNvmePathTest, ACommandThatReadsIsSentToWhicheverDriveIsThere) {
    kernel_.identity.serialNumber = "S2";
    EXPECT_EQ(statusText(identify().status), SUCCESS);
    EXPECT_EQ(statusText(send(reading(Queue::IO, nvme::OPC_READ, 512)).status), SUCCESS);
    EXPECT_EQ(kernel_.calls,
              (Calls{"open /dev/nvme0", "admin 06h /dev/nvme0", "open /dev/nvme0n1", "io 02h /dev/nvme0n1"}));
    // The node that the reading opened, which is kept, is not trusted either.
    EXPECT_EQ(send(reading(Queue::ADMIN, nvme::OPC_FORMAT_NVM, 0)).status.getCode(), 70U);
    EXPECT_EQ(kernel_.calls.back(), "who /dev/nvme0");
}

TEST_F(LinuxNvmePathTest, AReadThatAChangeIsJudgedByIsOfTheSelectedDriveAlone) {
    NvmeCommand read = reading(Queue::IO, nvme::OPC_READ, 512);
    read.onlySelectedDrive = true;
    for (int i = 0; i < 2; ++i) EXPECT_EQ(statusText(send(read).status), SUCCESS);
    EXPECT_EQ(kernel_.calls, (Calls{"open /dev/nvme0n1", "namespace /dev/nvme0n1", "who /dev/nvme0n1",
                                    "io 02h /dev/nvme0n1", "io 02h /dev/nvme0n1"}));
    path_ = makePath();
    kernel_.calls.clear();
    kernel_.identity.serialNumber = "S2";
    for (int i = 0; i < 2; ++i) EXPECT_EQ(send(read).status.getCode(), 70U);
    EXPECT_EQ(kernel_.calls, (Calls{"open /dev/nvme0n1", "namespace /dev/nvme0n1", "who /dev/nvme0n1",
                                    "namespace /dev/nvme0n1", "who /dev/nvme0n1"}));
}

TEST_F(LinuxNvmePathTest, TheOpenControllerIsIdentifiedOnceAndAgainAfterAReset) {
    const NvmeCommand format = reading(Queue::ADMIN, nvme::OPC_FORMAT_NVM, 0);
    const auto clone = path_->clone();
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(statusText(send(format).status), SUCCESS);
        EXPECT_EQ(statusText(clone->send(format, {}, {}).status), SUCCESS);
    }
    EXPECT_EQ(statusText(ask(HostRequest::RESET_CONTROLLER).status), SUCCESS);
    EXPECT_EQ(kernel_.calls, (Calls{"open /dev/nvme0", "who /dev/nvme0", "admin 80h /dev/nvme0", "admin 80h /dev/nvme0",
                                    "admin 80h /dev/nvme0", "admin 80h /dev/nvme0", "reset /dev/nvme0"}));
    kernel_.calls.clear();
    kernel_.identity.serialNumber = "S2";
    EXPECT_EQ(send(format).status.getCode(), 70U);
    EXPECT_EQ(send(format).status.getCode(), 70U) << "what was refused once is not trusted later";
    EXPECT_EQ(kernel_.calls, (Calls{"who /dev/nvme0", "who /dev/nvme0"}));
}

/// The driver's own status while the controller is under a reset; a fabrics controller may connect to another drive.
TEST_F(LinuxNvmePathTest, AfterAResetThatACommandMetTheDriveIsIdentifiedAgain) {
    const NvmeCommand format = reading(Queue::ADMIN, nvme::OPC_FORMAT_NVM, 0);
    NvmeCommand judging = reading(Queue::ADMIN, nvme::OPC_GET_LOG_PAGE, 512);
    judging.onlySelectedDrive = true;
    NvmeCommand sample = reading(Queue::IO, nvme::OPC_READ, 512);
    sample.onlySelectedDrive = true;
    const NvmeCommand write = reading(Queue::IO, nvme::OPC_WRITE, 0);
    for (const NvmeCommand& meets : {judging, format, sample, write, reading(Queue::ADMIN, nvme::OPC_IDENTIFY, PAGE)}) {
        path_ = makePath();
        kernel_.identity.serialNumber = "S1";
        kernel_.onCommand = [](nvme_passthru_cmd&) { return 0; };
        for (const NvmeCommand& before : {judging, format, sample})
            ASSERT_EQ(statusText(send(before).status), SUCCESS) << int{before.opcode};
        int sent = 0;
        kernel_.onCommand = [&](nvme_passthru_cmd&) {
            if (++sent > 1) return 0;
            kernel_.identity.serialNumber = "S2";
            return 0x0370;
        };
        const Status met = send(meets).status;
        const bool isJudging = meets.queue == Queue::ADMIN && meets.onlySelectedDrive;
        EXPECT_EQ(met.getCode(), isJudging ? 70U : 0U) << int{meets.opcode};
        sent = 1;
        for (const NvmeCommand& after : {judging, format, sample})
            EXPECT_EQ(send(after).status.getCode(), 70U) << int{meets.opcode} << " " << int{after.opcode};
        EXPECT_EQ(sent, 1) << "nothing is sent to the other drive";
    }
}

TEST_F(LinuxNvmePathTest, AfterAResetANamespaceIsIdentifiedAgain) {
    NvmeCommand sample = reading(Queue::IO, nvme::OPC_READ, 512);
    sample.onlySelectedDrive = true;
    EXPECT_EQ(statusText(send(sample).status), SUCCESS);
    EXPECT_EQ(statusText(ask(HostRequest::RESET_CONTROLLER).status), SUCCESS);
    EXPECT_EQ(statusText(send(sample).status), SUCCESS);
    EXPECT_EQ(statusText(ask(HostRequest::RESET_CONTROLLER).status), SUCCESS);
    kernel_.identity.serialNumber = "S2";
    EXPECT_EQ(send(sample).status.getCode(), 70U);
}

TEST_F(LinuxNvmePathTest, ANodeOfAnotherNamespaceIsRefused) {
    kernel_.namespaces["/dev/nvme0n1"] = 2;
    const NvmeCommand trim = reading(Queue::IO, nvme::OPC_DATASET_MANAGEMENT, 0);
    EXPECT_EQ(statusText(send(trim).status), "0/70 The device (object) was unavailable. The drive of " +
                                                 node("nvme0n1") + " is gone. Selected was namespace 1; " +
                                                 node("nvme0n1") + " is now that of namespace 2.");
    EXPECT_EQ(kernel_.calls, (Calls{"open /dev/nvme0n1", "namespace /dev/nvme0n1"}));
}

TEST_F(LinuxNvmePathTest, ADriveThatCannotBeIdentifiedIsNotChanged) {
    const NvmeCommand format = reading(Queue::ADMIN, nvme::OPC_FORMAT_NVM, 0);
    const std::string unknown = "10/33 Failed to retrieve data from selected device. The drive of " + node("nvme0") +
                                " cannot be identified, so that it is not changed.";
    kernel_.onIdentify = [](const std::string&) { return 0x4006; };
    EXPECT_EQ(statusText(send(format).status), unknown) << "refused by the drive";
    kernel_.onIdentify = [](const std::string&) { return -EINTR; };
    EXPECT_EQ(statusText(send(format).status), "0/69 The command was detected to have timed-out. The drive of " +
                                                   node("nvme0") +
                                                   " did not answer in time (errno 4: Interrupted system call).");
    kernel_.onIdentify = [](const std::string&) { return 0; };
    path_ = std::make_unique<LinuxNvmePath>("nvme0", machine_.paths(),
                                            std::make_shared<const NvmeTopology>(machine_.paths()));
    EXPECT_EQ(statusText(send(format).status), unknown) << "no drive was selected";
    EXPECT_EQ(statusText(ask(HostRequest::LOCK_DRIVE).status), unknown);
    for (const std::string& call : kernel_.calls) EXPECT_NE(call, "admin 80h /dev/nvme0");
}

TEST_F(LinuxNvmePathTest, AllControllersOfADriveShareItsLock) {
    LinuxNvmePath second("nvme1", machine_.paths(), std::make_shared<const NvmeTopology>(machine_.paths()));
    second.select({"S1", "M1", "nqn.1"});
    const auto lock = [](LinuxNvmePath& path) {
        return path.send(HostCommand(HostRequest::LOCK_DRIVE), {}, {}).status;
    };
    EXPECT_EQ(statusText(lock(*path_)), SUCCESS);
    EXPECT_EQ(statusText(path_->clone()->send(HostCommand(HostRequest::LOCK_DRIVE), {}, {}).status), SUCCESS)
        << "nested";
    EXPECT_EQ(statusText(lock(second)),
              "11/9 Blocked by running job: process " + std::to_string(::getpid()) + " is changing the drive.");
    EXPECT_EQ(statusText(ask(HostRequest::UNLOCK_DRIVE).status), SUCCESS);
    EXPECT_TRUE(lock(second).is(11, 9));
    EXPECT_EQ(statusText(ask(HostRequest::UNLOCK_DRIVE).status), SUCCESS);
    EXPECT_EQ(statusText(lock(second)), SUCCESS);
    LinuxNvmePath other("nvme2", machine_.paths(), std::make_shared<const NvmeTopology>(machine_.paths()));
    other.select({"S2", "M1", ""});
    EXPECT_EQ(statusText(lock(other)), SUCCESS) << "another drive";
    EXPECT_TRUE(std::filesystem::exists(machine_.path("/run/nimbrel/" + DriveLock::fileName("nqn.1"))));
    EXPECT_TRUE(std::filesystem::exists(machine_.path("/run/nimbrel/" + DriveLock::fileName("M1 S2"))));
    EXPECT_EQ(kernel_.calls, Calls()) << "a lock asks no drive";
}

TEST_F(LinuxNvmePathTest, ANamespaceThatCannotBeNamedIsNotChanged) {
    kernel_.onRequest = [](unsigned long request) { return request == NVME_IOCTL_ID ? -EINTR : 0; };
    const NvmeCommand trim = reading(Queue::IO, nvme::OPC_DATASET_MANAGEMENT, 0);
    EXPECT_EQ(statusText(send(trim).status), "0/69 The command was detected to have timed-out. The drive of " +
                                                 node("nvme0n1") +
                                                 " did not answer in time (errno 4: Interrupted system call).");
    for (const std::string& call : kernel_.calls) EXPECT_NE(call, "io 09h /dev/nvme0n1");
}

TEST_F(LinuxNvmePathTest, NamespacesThatCannotBeListedAreNotChanged) {
    const std::string nsid = machine_.path("/sys/devices/pci/nvme0/nvme0n1/nsid");
    std::filesystem::remove(nsid);
    machine_.folder("/sys/devices/pci/nvme0/nvme0n1/nsid");
    const std::string unread =
        "0/39 System rescan failed. " + machine_.path("/sys/class/nvme/nvme0/nvme0n1/nsid") + ": Is a directory.";
    EXPECT_EQ(statusText(send(reading(Queue::IO, nvme::OPC_DATASET_MANAGEMENT, 0)).status), unread);
    EXPECT_EQ(statusText(send(reading(Queue::IO, nvme::OPC_READ, 512)).status), unread);
    EXPECT_EQ(kernel_.calls, Calls());
}

TEST_F(LinuxNvmePathTest, ThePlaceOfADriveIsItsSlotAndItsLinks) {
    machine_.file("/sys/devices/pci/nvme0/transport", "pcie\n");
    machine_.file("/sys/devices/pci/nvme0/address", "0000:01:00.0\n");
    machine_.link("/dev/disk/by-id/nvme-M1_S1", "/dev/nvme0n1");
    const CommandResult result = ask(HostRequest::LOCATION);
    EXPECT_EQ(statusText(result.status), SUCCESS);
    const HostLocation& location = dynamic_cast<const HostResult&>(*result.protocolResult).location;
    EXPECT_EQ(location.pciAddress, "0000:01:00.0");
    ASSERT_EQ(location.byId.size(), 1U);
    EXPECT_EQ(location.byId[0].name, "nvme-M1_S1");
    EXPECT_EQ(location.byId[0].node, "/dev/nvme0n1");
    EXPECT_EQ(kernel_.calls, Calls());
    std::filesystem::remove_all(machine_.path("/dev/disk/by-id"));
    machine_.file("/dev/disk/by-id", "");
    EXPECT_EQ(statusText(ask(HostRequest::LOCATION).status),
              "0/39 System rescan failed. " + machine_.path("/dev/disk/by-id") + ": Not a directory.");
}

TEST_F(LinuxNvmePathTest, AResetWhoseEndCannotBeReadIsAnError) {
    kernel_.onRequest = [this](unsigned long request) {
        if (request != NVME_IOCTL_RESET) return 0;
        removeState();
        machine_.folder("/sys/devices/pci/nvme0/state");
        return 0;
    };
    EXPECT_EQ(statusText(ask(HostRequest::RESET_CONTROLLER).status),
              "0/39 System rescan failed. " + machine_.path("/sys/class/nvme/nvme0/state") + ": Is a directory.");
    EXPECT_EQ(kernel_.calls.back(), "reset /dev/nvme0");
}

TEST_F(LinuxNvmePathTest, WithoutSysfsANodeThatFailsHasNoNamespaces) {
    kernel_.mounted = {"/proc"};
    kernel_.onCommand = [](nvme_passthru_cmd&) { return -EINVAL; };
    EXPECT_EQ(statusText(ask(HostRequest::NAMESPACES).status),
              "0/75 Invalid transfer size specified. " + node("nvme0") + " (errno 22: Invalid argument).");
    kernel_.onOpen = [](const std::string&) { return EACCES; };
    path_ = makePath();
    EXPECT_EQ(statusText(ask(HostRequest::NAMESPACES).status),
              "10/238 Requires admin privileges. No permission for " + node("nvme0") +
                  ": it needs the root user or CAP_SYS_ADMIN (errno 13: Permission denied).");
}

TEST_F(LinuxNvmePathTest, AReadOfTheSelectedDriveIsNotSentToAnotherOneAfterAReset) {
    NvmeCommand judging = reading(Queue::ADMIN, nvme::OPC_GET_LOG_PAGE, 512);
    judging.onlySelectedDrive = true;
    kernel_.onCommand = [this](nvme_passthru_cmd&) {
        kernel_.identity.serialNumber = "S2";
        return 0x370;  // host pathing error: the driver's own, while the controller is under a reset
    };
    EXPECT_EQ(statusText(send(judging).status).substr(0, 5), "0/70 ");
    EXPECT_EQ(kernel_.calls, (Calls{"open /dev/nvme0", "who /dev/nvme0", "admin 02h /dev/nvme0", "who /dev/nvme0"}));
}

TEST_F(LinuxNvmePathTest, ADriveIsSupportedAsLongAsTheKernelKnowsIt) {
    EXPECT_TRUE(path_->isSupported({}));
    removeState();
    EXPECT_FALSE(path_->isSupported({}));
    machine_.folder("/sys/devices/pci/nvme0/state");
    EXPECT_TRUE(path_->isSupported({})) << "what cannot be looked at is not taken for gone";
}

}  // namespace
}  // namespace features::transport
