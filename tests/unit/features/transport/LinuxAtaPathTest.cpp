#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "features/ata/AtaResult.h"
#include "features/ata/Commands.h"
#include "features/nvme/NvmeCommand.h"
#include "features/transport/linux/LinuxAtaPath.h"
#include "tests/support/LogCapture.h"
#include "tests/support/StatusText.h"
#include "tests/unit/features/transport/AtaIdentifyBytes.h"
#include "tests/unit/features/transport/FakeMachine.h"

namespace features::transport {
namespace {

using ata::AtaCommand;
using ata::AtaResult;
using ostrel::core::CommandResult;
using ostrel::core::Payload;
using ostrel::core::Status;
using std::chrono::milliseconds;
using Calls = std::vector<std::string>;
namespace commands = ata::commands;

const std::string SUCCESS = statusText(Status());

AtaCommand reading(uint16_t count) {
    AtaCommand command(commands::readLogExt);
    command.count = count;
    command.dataLength = count * 512U;
    return command;
}

AtaCommand asking() {
    AtaCommand command(commands::smartReturnStatus);
    command.wantsRegisters = true;
    return command;
}

AtaCommand trimming() {
    AtaCommand command(commands::dataSetManagement);
    command.count = 1;
    command.dataLength = 512;
    return command;
}

class LinuxAtaPathTest : public testing::Test {
protected:
    LinuxAtaPathTest() {
        machine_.scsiDisk("pci/ata1/host0", "0:0:0:0", "sda", "8:0", "sg0");
        machine_.ataInformation("sda", ataIdentifyBytes({}));
        kernel_.ataIdentity = ataIdentifyBytes({});
        path_ = makePath("sda");
    }

    std::unique_ptr<LinuxAtaPath> makePath(const std::string& block) const {
        LookErrors errors;
        const auto disk = SataTopology(machine_.paths()).disk(block, errors);
        auto path = std::make_unique<LinuxAtaPath>(*disk, machine_.paths(), std::make_shared<std::mutex>());
        path->select(ata::Identity(disk->identify.getData()));
        return path;
    }
    CommandResult send(const ostrel::core::Command& command, const Payload& payload = {}) {
        return path_->send(command, payload, {});
    }
    std::string sent(const ostrel::core::Command& command, const Payload& payload = {}) {
        return statusText(send(command, payload).status);
    }
    CommandResult ask(HostRequest request) { return send(HostCommand(request)); }
    HostNamespace uses(UseCheck check) {
        HostCommand look(HostRequest::USES);
        look.useCheck = check;
        const CommandResult result = send(look);
        EXPECT_EQ(statusText(result.status), SUCCESS);
        return dynamic_cast<const HostResult&>(*result.protocolResult).namespaces.at(0);
    }
    std::string node(const std::string& name = "sda") const { return machine_.path("/dev/" + name); }

    FakeMachine machine_;
    FakeKernel& kernel_ = *machine_.kernel;
    std::unique_ptr<LinuxAtaPath> path_;
    const Payload block_ = Payload(std::string(512, 'x').data(), 512);
};

const AtaResult& resultOf(const CommandResult& result) {
    return dynamic_cast<const AtaResult&>(*result.protocolResult);
}

TEST_F(LinuxAtaPathTest, EveryFieldOfARequestReachesTheDriver) {
    sg_io_hdr seen{};
    std::vector<uint8_t> block;
    kernel_.onAta = [&](sg_io_hdr& request) {
        seen = request;
        block.assign(request.cmdp, request.cmdp + request.cmd_len);
        std::memset(request.dxferp, 0xAB, request.dxfer_len);
        return 0;
    };
    AtaCommand command = reading(2);
    command.lba = 0x30;
    command.timeoutMs = 4321;
    const CommandResult result = send(command);
    EXPECT_EQ(statusText(result.status), SUCCESS);
    EXPECT_TRUE(resultOf(result).succeeded);
    EXPECT_EQ(resultOf(result).missing, ata::RegistersMissing::NOT_ASKED);
    EXPECT_EQ(seen.interface_id, 'S');
    EXPECT_EQ(seen.dxfer_direction, SG_DXFER_FROM_DEV);
    EXPECT_EQ(seen.dxfer_len, 1024U) << "exactly what COUNT has";
    EXPECT_EQ(seen.timeout, 4321U);
    EXPECT_EQ(seen.flags, 0U);
    EXPECT_EQ(seen.iovec_count, 0);
    EXPECT_EQ(seen.mx_sb_len, 96);
    EXPECT_EQ(block, (std::vector<uint8_t>{0x85, 0x09, 0x0E, 0, 0, 0, 2, 0, 0x30, 0, 0, 0, 0, 0, 0x2F, 0}));
    ASSERT_EQ(result.inputPayload.getSize(), 1024U);
    EXPECT_EQ(result.inputPayload.at(1023), 0xAB);
    EXPECT_EQ(kernel_.calls, (Calls{"open /dev/sda", "ata 2Fh /dev/sda"}));
}

TEST_F(LinuxAtaPathTest, ACommandWithoutATimeOutHasThePaths) {
    unsigned timeout = 0;
    kernel_.onAta = [&](sg_io_hdr& request) {
        timeout = request.timeout;
        return kernel_.answerAta(request);
    };
    AtaCommand command = asking();
    command.timeoutMs = 0;
    EXPECT_EQ(sent(command), SUCCESS);
    EXPECT_EQ(timeout, 15000U);
    path_->setTimeoutSeconds(7);
    EXPECT_EQ(sent(command), SUCCESS);
    EXPECT_EQ(timeout, 7000U);
}

TEST_F(LinuxAtaPathTest, DataForTheDriveIsOfTheCommandsLength) {
    std::string seen;
    kernel_.onAta = [&](sg_io_hdr& request) {
        if (request.cmdp[14] == 0x06) {
            EXPECT_EQ(request.dxfer_direction, SG_DXFER_TO_DEV);
            seen.assign(static_cast<const char*>(request.dxferp), request.dxfer_len);
        }
        return kernel_.answerAta(request);
    };
    EXPECT_EQ(sent(trimming(), block_), SUCCESS);
    EXPECT_EQ(seen, std::string(512, 'x'));
    kernel_.calls.clear();
    EXPECT_EQ(sent(trimming(), Payload(block_.getData(), 511)), "0/75 Invalid transfer size specified.");
    EXPECT_EQ(sent(trimming()), "0/75 Invalid transfer size specified.");
    EXPECT_EQ(kernel_.calls, Calls());
}

TEST_F(LinuxAtaPathTest, WhatTheDriveLeavesAloneIsZeroAndWhatDidNotComeIsCutOff) {
    kernel_.onAta = [](sg_io_hdr& request) {
        request.resid = 512;
        return 0;
    };
    const CommandResult half = send(reading(2));
    ASSERT_EQ(half.inputPayload.getSize(), 512U);
    for (std::size_t i = 0; i < 512; ++i) ASSERT_EQ(half.inputPayload.at(i), 0) << i;
    kernel_.onAta = [](sg_io_hdr& request) {
        request.resid = 99999;
        return 0;
    };
    EXPECT_EQ(send(reading(2)).inputPayload.getSize(), 0U);
    kernel_.onAta = [](sg_io_hdr& request) {
        request.resid = -1;
        return 0;
    };
    EXPECT_EQ(send(reading(2)).inputPayload.getSize(), 1024U);
}

TEST_F(LinuxAtaPathTest, TheDrivesRegistersAreTheResult) {
    const CommandResult good = send(asking());
    ASSERT_NE(resultOf(good).whole(), nullptr);
    EXPECT_EQ(resultOf(good).whole()->lba, 0xC24F00U);
    kernel_.onAta = [](sg_io_hdr& request) {
        FakeKernel::endWithSense(request, {0x70, 0, 0x0B, 0, 0, 0, 0, 10, 0x04, 0x51, 0, 1, 0, 0, 0, 0, 0, 0});
        return 0;
    };
    const CommandResult aborted = send(reading(1));
    EXPECT_EQ(statusText(aborted.status), SUCCESS) << "the transport did its part";
    EXPECT_FALSE(resultOf(aborted).succeeded);
    EXPECT_EQ(resultOf(aborted).missing, ata::RegistersMissing::UNTRUSTED);
    EXPECT_EQ(aborted.inputPayload.getSize(), 0U);
}

TEST_F(LinuxAtaPathTest, WhatTheSystemRefusesNamesTheNode) {
    const struct {
        int error;
        std::string status;
    } CASES[] = {
        {EPERM, "10/238 Requires admin privileges. No permission for ATA commands to " + node() +
                    ": it needs CAP_SYS_RAWIO (errno 1: Operation not permitted)."},
        {EINVAL, "0/75 Invalid transfer size specified. " + node() + " (errno 22: Invalid argument)."},
        {ENODEV,
         "0/70 The device (object) was unavailable. The drive of " + node() + " is gone (errno 19: No such device)."},
        {EIO, "0/86 No completion was available. Can't tell if command passed or failed. " + node() +
                  " (errno 5: Input/output error)."},
    };
    for (const auto& c : CASES) {
        kernel_.onAta = [&](sg_io_hdr&) { return -c.error; };
        EXPECT_EQ(sent(asking()), c.status);
    }
    path_ = makePath("sda");
    kernel_.onOpen = [](const std::string&) { return EACCES; };
    EXPECT_EQ(sent(asking()), "10/238 Requires admin privileges. No permission for " + node() +
                                  ": it needs the root user or CAP_SYS_ADMIN (errno 13: Permission denied).");
}

TEST_F(LinuxAtaPathTest, ARequestThatIsTooLargeForTheKernelIsOne) {
    const std::string tooMuch = "0/75 Invalid transfer size specified. " + node() + " (errno 5: Input/output error).";
    const std::string unknown = "0/86 No completion was available. Can't tell if command passed or failed. " + node() +
                                " (errno 5: Input/output error).";
    kernel_.onAta = [&](sg_io_hdr& request) { return request.cmdp[14] == 0xEC ? kernel_.answerAta(request) : -EIO; };
    EXPECT_EQ(sent(reading(2)), tooMuch);
    EXPECT_EQ(sent(reading(1)), unknown) << "not less than one block";
    AtaCommand twoBlocks = trimming();
    twoBlocks.count = 2;
    twoBlocks.dataLength = 1024;
    EXPECT_EQ(sent(twoBlocks, Payload(1024)), unknown) << "what changes the drive may have reached it";
}

TEST_F(LinuxAtaPathTest, ADriveOfTheKernelsListIsNotTrimmed) {
    unsigned commands = 0;
    kernel_.onAta = [&](sg_io_hdr&) {
        ++commands;
        return 0;
    };
    machine_.file("/sys/class/ata_device/dev1.0/trim", "forced_unsupported\n");
    EXPECT_EQ(sent(trimming(), block_),
              "10/96 Drive does not support Trim. The kernel has disabled it for the drive of " + node() +
                  " (forced_unsupported): such drives lose data by it, or hang.");
    EXPECT_EQ(commands, 0U);
}

TEST_F(LinuxAtaPathTest, ANodeThatIsAnotherDeviceIsNotOpened) {
    kernel_.devices["/dev/sda"] = {S_IFBLK, 0x0810};
    EXPECT_EQ(sent(asking()), "0/70 The device (object) was unavailable. " + node() +
                                  " does not exist (errno 2: No such file or directory).");
    EXPECT_EQ(kernel_.calls, Calls());
}

TEST_F(LinuxAtaPathTest, ADriveThatTimedOutIsSentNothingMore) {
    const std::string timedOut = "0/69 The command was detected to have timed-out. The drive of " + node() +
                                 " did not answer in time (errno 62: Timer expired).";
    const std::function<int(sg_io_hdr&)> CASES[] = {
        [](sg_io_hdr& request) {
            request.host_status = 3;
            return 0;
        },
        [&](sg_io_hdr& request) {
            kernel_.sleep(milliseconds(request.timeout));
            FakeKernel::endWithSense(request, {0x70, 0, 0x0B, 0, 0, 0, 0, 10, 0, 0x40, 0, 0, 0, 0, 0, 0, 0, 0});
            return 0;
        },
        [](sg_io_hdr&) { return -ETIMEDOUT; },
    };
    for (const auto& hang : CASES) {
        path_ = makePath("sda");
        kernel_.calls.clear();
        kernel_.onAta = hang;
        const LogCapture log;
        EXPECT_EQ(sent(asking()), timedOut);
        EXPECT_EQ(statusText(path_->clone()->send(reading(1), {}, {}).status), timedOut) << "of its clones, too";
        EXPECT_EQ(sent(trimming(), block_), timedOut);
        EXPECT_EQ(kernel_.calls, (Calls{"open /dev/sda", "ata B0h /dev/sda"}));
        const std::string lines = log.lines();
        EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 1) << lines;
        EXPECT_EQ(statusText(ask(HostRequest::NAMESPACES).status), SUCCESS) << "the host still answers";
    }
}

TEST_F(LinuxAtaPathTest, ASlowAnswerOfTheDriveIsNoTimeOut) {
    kernel_.onAta = [&](sg_io_hdr& request) {
        kernel_.sleep(milliseconds(request.timeout - 1));
        FakeKernel::endWithSense(request, {0x70, 0, 0x0B, 0, 0, 0, 0, 10, 4, 0x51, 0, 0, 0, 0, 0, 0, 0, 0});
        return 0;
    };
    EXPECT_EQ(sent(asking()), SUCCESS);
    EXPECT_EQ(sent(asking()), SUCCESS);
}

TEST_F(LinuxAtaPathTest, ACommandThatWasNotCarriedOutIsSentOnceMore) {
    int attentions = 1;
    kernel_.onAta = [&](sg_io_hdr& request) {
        if (attentions-- <= 0) return kernel_.answerAta(request);
        FakeKernel::endWithSense(request, {0x70, 0, 0x06, 0, 0, 0, 0, 10, 0, 0, 0, 0, 0x29, 0, 0, 0, 0, 0});
        return 0;
    };
    EXPECT_EQ(sent(asking()), SUCCESS);
    EXPECT_EQ(kernel_.calls, (Calls{"open /dev/sda", "ata B0h /dev/sda", "ata B0h /dev/sda"}));
    attentions = 2;
    EXPECT_EQ(sent(asking()),
              "0/70 The device (object) was unavailable. " + node() + ": unit attention, ASC/ASCQ 0x29/0x00.");
}

/// A unit attention is how a SCSI host hears of another drive of a node that stays open, as at an iSCSI target.
TEST_F(LinuxAtaPathTest, AfterAUnitAttentionTheOpenNodeIsIdentifiedAgain) {
    const char* const gone = "0/70 The device (object) was unavailable. The drive of ";
    int attentions = 0;
    kernel_.onAta = [&](sg_io_hdr& request) {
        if (attentions-- <= 0) return kernel_.answerAta(request);
        kernel_.ataIdentity = ataIdentifyBytes({"S2"});
        FakeKernel::endWithSense(request, {0x70, 0, 0x06, 0, 0, 0, 0, 10, 0, 0, 0, 0, 0x3F, 0x0E, 0, 0, 0, 0});
        return 0;
    };
    EXPECT_EQ(sent(trimming(), block_), SUCCESS);
    kernel_.calls.clear();
    attentions = 1;
    EXPECT_EQ(sent(trimming(), block_), gone + node() + " is gone. Selected was serial number S1 (model M1); " +
                                            node() + " is now that of serial number S2 (model M1).");
    EXPECT_EQ(kernel_.calls, (Calls{"ata 06h /dev/sda", "ata ECh /dev/sda"})) << "not sent to the other drive";

    kernel_.ataIdentity = ataIdentifyBytes({});
    EXPECT_EQ(sent(trimming(), block_), SUCCESS);
    kernel_.calls.clear();
    attentions = 1;
    EXPECT_EQ(sent(asking()), SUCCESS) << "what reads alone hears of it";
    EXPECT_EQ(sent(trimming(), block_).substr(0, 5), "0/70 ");
    EXPECT_EQ(kernel_.calls, (Calls{"ata B0h /dev/sda", "ata B0h /dev/sda", "ata ECh /dev/sda"}));
}

TEST_F(LinuxAtaPathTest, AfterASecondUnitAttentionTheOpenNodeIsIdentifiedAgain) {
    int trims = 0;
    kernel_.onAta = [&](sg_io_hdr& request) {
        if (request.cmdp[14] != 0x06 || ++trims > 2) return kernel_.answerAta(request);
        if (trims == 2) kernel_.ataIdentity = ataIdentifyBytes({"S2"});
        FakeKernel::endWithSense(request, {0x70, 0, 0x06, 0, 0, 0, 0, 10, 0, 0, 0, 0, 0x29, 0, 0, 0, 0, 0});
        return 0;
    };
    EXPECT_EQ(sent(trimming(), block_),
              "0/70 The device (object) was unavailable. " + node() + ": unit attention, ASC/ASCQ 0x29/0x00.");
    EXPECT_EQ(sent(trimming(), block_), "0/70 The device (object) was unavailable. The drive of " + node() +
                                            " is gone. Selected was serial number S1 (model M1); " + node() +
                                            " is now that of serial number S2 (model M1).");
    EXPECT_EQ(trims, 2) << "not sent to the other drive";
}

/// libata makes a unit attention of bit 5 of ERROR.
TEST_F(LinuxAtaPathTest, ACommandThatTheDriveFailedIsNotSentOnceMore) {
    kernel_.onAta = [&](sg_io_hdr& request) {
        if (request.cmdp[14] != 0x06) return kernel_.answerAta(request);
        FakeKernel::endWithSense(request, {0xF0, 0, 0x06, 0x24, 0x51, 0x40, 1, 10, 0, 0, 0, 0, 0x28, 0, 0, 0, 0, 0});
        return 0;
    };
    const CommandResult failed = send(trimming(), block_);
    EXPECT_EQ(statusText(failed.status), SUCCESS) << "the transport did its part";
    EXPECT_FALSE(resultOf(failed).succeeded);
    EXPECT_EQ(kernel_.calls, (Calls{"open /dev/sda", "ata ECh /dev/sda", "ata 06h /dev/sda"}));
}

TEST_F(LinuxAtaPathTest, ARefusalOfLibataSaysWhatItPassesOn) {
    kernel_.onAta = [](sg_io_hdr& request) {
        FakeKernel::endWithSense(request, {0x70, 0, 5, 0, 0, 0, 0, 10, 0, 0, 0, 0, 0x24, 0, 0, 0xC0, 0, 14});
        return 0;
    };
    const std::string refused = "illegal request, ASC/ASCQ 0x24/0x00. The command did not reach the drive.";
    const std::string driver = "0/11 SCSI command reported a problem. The driver of " + node();
    EXPECT_EQ(sent(asking()), driver + " or its controller refused SMART RETURN STATUS: " + refused);
    path_->select(ata::Identity(ataIdentifyBytes({}).data()));
    kernel_.onAta = [refuse = kernel_.onAta, this](sg_io_hdr& request) {
        return request.cmdp[14] == 0xEC ? kernel_.answerAta(request) : refuse(request);
    };
    AtaCommand trusted(0x5C, ata::Protocol::PIO_IN, ata::Addressing::BITS_28, "TRUSTED RECEIVE");
    trusted.count = 1;
    trusted.dataLength = 512;
    EXPECT_EQ(sent(trusted), driver + " or its controller refused TRUSTED RECEIVE: " + refused +
                                 " It was sent as SECURITY PROTOCOL IN, which libata passes on to a drive whose "
                                 "Identify Device data log (30h) reports trusted computing.");
    AtaCommand other(0x5D, ata::Protocol::DMA_IN, ata::Addressing::BITS_28, "TRUSTED RECEIVE DMA");
    other.count = 1;
    other.dataLength = 512;
    EXPECT_EQ(sent(other), driver + " or its controller refused TRUSTED RECEIVE DMA: " + refused +
                               " libata refuses it unless it is loaded with allow_tpm=1.");
    EXPECT_EQ(sent(trimming(), block_), driver + " or its controller refused DATA SET MANAGEMENT: " + refused);
}

TEST_F(LinuxAtaPathTest, ANodeThatPassedToAnotherDriveGetsIdentifyAlone) {
    kernel_.ataIdentity = ataIdentifyBytes({"S2"});
    AtaCommand sample = reading(1);
    sample.onlySelectedDrive = true;
    EXPECT_EQ(sent(sample).substr(0, 5), "0/70 ");
    EXPECT_EQ(sent(trimming(), block_), "0/70 The device (object) was unavailable. The drive of " + node() +
                                            " is gone. Selected was serial number S1 (model M1); " + node() +
                                            " is now that of serial number S2 (model M1).");
    EXPECT_EQ(kernel_.calls, (Calls{"open /dev/sda", "ata ECh /dev/sda", "ata ECh /dev/sda"}));
    EXPECT_EQ(sent(reading(1)), SUCCESS) << "what reads alone";
    kernel_.ataIdentity = ataIdentifyBytes({});
    EXPECT_EQ(sent(trimming(), block_), SUCCESS);
}

TEST_F(LinuxAtaPathTest, TheOpenNodeIsIdentifiedOnce) {
    EXPECT_EQ(sent(asking()), SUCCESS);
    EXPECT_EQ(sent(trimming(), block_), SUCCESS);
    EXPECT_EQ(statusText(path_->clone()->send(trimming(), block_, {}).status), SUCCESS);
    EXPECT_EQ(kernel_.calls,
              (Calls{"open /dev/sda", "ata B0h /dev/sda", "ata ECh /dev/sda", "ata 06h /dev/sda", "ata 06h /dev/sda"}));
}

TEST_F(LinuxAtaPathTest, ADriveThatCannotBeIdentifiedIsNotChanged) {
    const std::string unknown = "10/33 ";
    LookErrors errors;
    const auto disk = SataTopology(machine_.paths()).disk("sda", errors);
    path_ = std::make_unique<LinuxAtaPath>(*disk, machine_.paths(), std::make_shared<std::mutex>());
    EXPECT_EQ(sent(trimming(), block_).substr(0, 6), unknown) << "never selected";
    EXPECT_EQ(statusText(ask(HostRequest::LOCK_DRIVE).status).substr(0, 6), unknown);
    AtaIdentifyFields blank;
    blank.serialNumber = "";
    path_->select(ata::Identity(ataIdentifyBytes(blank).data()));
    EXPECT_EQ(sent(trimming(), block_).substr(0, 6), unknown) << "without a serial number and a World Wide Name";
    blank.worldWideName = 0x5000C50012345678;
    path_->select(ata::Identity(ataIdentifyBytes(blank).data()));
    kernel_.ataIdentity = ataIdentifyBytes(blank);
    EXPECT_EQ(sent(trimming(), block_), SUCCESS) << "by its World Wide Name";
    path_ = makePath("sda");
    kernel_.onAta = [](sg_io_hdr& request) {
        FakeKernel::endWithSense(request, {0x70, 0, 0x0B, 0, 0, 0, 0, 10, 4, 0x51, 0, 0, 0, 0, 0, 0, 0, 0});
        return 0;
    };
    kernel_.calls.clear();
    EXPECT_EQ(sent(trimming(), block_).substr(0, 6), unknown) << "IDENTIFY DEVICE fails";
    EXPECT_EQ(kernel_.calls, (Calls{"open /dev/sda", "ata ECh /dev/sda"}));
}

TEST_F(LinuxAtaPathTest, ADiskIsOneNamespace) {
    machine_.file("/sys/class/block/sda/queue/logical_block_size", "4096\n");
    const CommandResult result = ask(HostRequest::NAMESPACES);
    EXPECT_EQ(statusText(result.status), SUCCESS);
    const auto& found = dynamic_cast<const HostResult&>(*result.protocolResult).namespaces;
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].nsid, 1U);
    EXPECT_EQ(found[0].node, "/dev/sda");
    EXPECT_EQ(found[0].sizeBytes, 131072U * 512);
    EXPECT_EQ(found[0].blockBytes, 4096U);
    EXPECT_TRUE(found[0].attached);
    EXPECT_EQ(kernel_.calls, Calls());
    std::filesystem::remove_all(machine_.path("/sys/devices/pci/ata1"));
    EXPECT_EQ(
        statusText(ask(HostRequest::NAMESPACES).status),
        "0/70 The device (object) was unavailable. The drive of " + node() + " is gone (errno 19: No such device).");
    EXPECT_EQ(statusText(ask(HostRequest::USES).status).substr(0, 5), "0/70 ");
}

TEST_F(LinuxAtaPathTest, UsesAreThoseOfDiskAndPartitionsOnEachWayToTheDrive) {
    machine_.partition("pci/ata1/host0/target0:0:0/0:0:0:0/block/sda", "sda1", "8:1", 1);
    machine_.mounts("20 1 8:1 / /data rw - ext4 /dev/sda1 rw\n");
    const HostNamespace mounted = uses(UseCheck::DESTROY);
    ASSERT_EQ(mounted.uses.size(), 1U);
    EXPECT_EQ(mounted.uses[0].kind, NamespaceUse::Kind::MOUNTED);
    EXPECT_EQ(mounted.uses[0].node, "/dev/sda1");
    EXPECT_EQ(mounted.uses[0].detail, "/data");
    ASSERT_EQ(mounted.partitions.size(), 1U);
    EXPECT_EQ(mounted.partitions[0].node, "/dev/sda1");

    machine_.mounts("");
    machine_.scsiDisk("pci/host7", "7:0:0:0", "sdb", "8:16", "sg7");
    machine_.swaps("/dev/sdb                                partition\t1\t0\t-2\n");
    AtaIdentifyFields named;
    named.worldWideName = 0x5000C50012345678;
    for (const char* const block : {"sda", "sdb"}) machine_.ataInformation(block, ataIdentifyBytes(named));
    path_ = makePath("sda");
    const HostNamespace twice = uses(UseCheck::DESTROY);
    ASSERT_EQ(twice.uses.size(), 2U);
    EXPECT_EQ(twice.uses[0].kind, NamespaceUse::Kind::PARTITION);
    EXPECT_EQ(twice.uses[1].kind, NamespaceUse::Kind::SWAP);
    EXPECT_EQ(twice.uses[1].node, "/dev/sdb");
    EXPECT_TRUE(twice.uses[1].holdsSystem);
}

TEST_F(LinuxAtaPathTest, UsesAreAnErrorWithoutTheTableOfMounts) {
    std::filesystem::remove(machine_.path("/proc/self/mountinfo"));
    EXPECT_EQ(statusText(ask(HostRequest::USES).status).substr(0, 5), "0/39 ");
}

TEST_F(LinuxAtaPathTest, ThePlaceOfADriveIsItsLinks) {
    machine_.link("/dev/disk/by-id/ata-M1_S1", "/dev/sda");
    const CommandResult result = ask(HostRequest::LOCATION);
    EXPECT_EQ(statusText(result.status), SUCCESS);
    const HostLocation& location = dynamic_cast<const HostResult&>(*result.protocolResult).location;
    ASSERT_EQ(location.byId.size(), 1U);
    EXPECT_EQ(location.byId[0].name, "ata-M1_S1");
    EXPECT_EQ(location.byId[0].node, "/dev/sda");
    EXPECT_EQ(location.pciAddress, "") << "that of the controller is no drive's";
}

TEST_F(LinuxAtaPathTest, ARescanHasTheKernelReadTheDriveAgain) {
    EXPECT_EQ(statusText(ask(HostRequest::RESCAN).status), SUCCESS);
    EXPECT_EQ(readWholeFile(machine_.path("/sys/class/block/sda/device/rescan")), "1\n");
    EXPECT_EQ(kernel_.calls.back(), "read partitions /dev/sda");
    EXPECT_EQ(statusText(ask(HostRequest::RESET_CONTROLLER).status), "10/34 Feature is not supported.");
    EXPECT_EQ(statusText(ask(HostRequest::RESET_SUBSYSTEM).status), "10/34 Feature is not supported.");
}

TEST_F(LinuxAtaPathTest, ADriveIsLockedByItsIdentity) {
    EXPECT_EQ(statusText(ask(HostRequest::LOCK_DRIVE).status), SUCCESS);
    const auto other = makePath("sda");
    EXPECT_EQ(statusText(other->send(HostCommand(HostRequest::LOCK_DRIVE), {}, {}).status).substr(0, 5), "11/9 ");
    EXPECT_EQ(statusText(path_->clone()->send(HostCommand(HostRequest::UNLOCK_DRIVE), {}, {}).status), SUCCESS);
    EXPECT_EQ(statusText(other->send(HostCommand(HostRequest::LOCK_DRIVE), {}, {}).status), SUCCESS);
}

TEST_F(LinuxAtaPathTest, ADriveWhoseTrimCannotBeLookedUpIsNotTrimmed) {
    for (const char* const attribute : {"dev1.0.0/trim", "dev1.0/trim"}) {
        const std::string place = std::string("/sys/class/ata_device/") + attribute;
        machine_.folder(place);
        EXPECT_EQ(sent(trimming(), block_), "0/39 System rescan failed. " + machine_.path(place) + ": Is a directory.");
        std::filesystem::remove(machine_.path(place));
    }
    EXPECT_EQ(kernel_.calls, Calls());
    machine_.file("/sys/class/ata_device/dev1.0/trim", "unqueued\n");
    EXPECT_EQ(sent(trimming(), block_), SUCCESS);
}

TEST_F(LinuxAtaPathTest, ANodeThatDoesNotOpenSendsNothingThatChangesTheDrive) {
    kernel_.onOpen = [](const std::string&) { return EBUSY; };
    EXPECT_EQ(sent(trimming(), block_),
              "0/64 There was no connection to open. " + node() + " (errno 16: Device or resource busy).");
    EXPECT_EQ(kernel_.calls, Calls{"open /dev/sda"});
}

TEST_F(LinuxAtaPathTest, AnIdentifyThatComesInPartIdentifiesNoDrive) {
    kernel_.onAta = [this](sg_io_hdr& request) {
        request.resid = request.cmdp[14] == 0xEC ? 1 : 0;
        const int resid = request.resid;
        const int outcome = kernel_.answerAta(request);
        request.resid = resid;
        return outcome;
    };
    EXPECT_EQ(sent(trimming(), block_), "10/33 Failed to retrieve data from selected device. The drive of " + node() +
                                            " cannot be identified, so that it is not changed.");
    EXPECT_EQ(kernel_.calls, (Calls{"open /dev/sda", "ata ECh /dev/sda"}));
}

TEST_F(LinuxAtaPathTest, ADriveThatVanishesAfterAUnitAttentionIsReported) {
    int left = 1;
    kernel_.onAta = [&](sg_io_hdr& request) {
        if (left-- <= 0) return -ENODEV;
        FakeKernel::endWithSense(request, {0x70, 0, 0x06, 0, 0, 0, 0, 10, 0, 0, 0, 0, 0x29, 0, 0, 0, 0, 0});
        return 0;
    };
    EXPECT_EQ(sent(asking()), "0/70 The device (object) was unavailable. The drive of " + node() +
                                  " is gone (errno 19: No such device).");
    EXPECT_EQ(kernel_.calls, (Calls{"open /dev/sda", "ata B0h /dev/sda", "ata B0h /dev/sda"}));
}

TEST_F(LinuxAtaPathTest, ADiskWhoseSizeCannotBeReadIsAnError) {
    const std::string size = machine_.path("/sys/class/block/sda/size");
    std::filesystem::remove(size);
    machine_.folder("/sys/class/block/sda/size");
    const std::string unread = "0/39 System rescan failed. " + size + ": Is a directory.";
    EXPECT_EQ(statusText(ask(HostRequest::NAMESPACES).status), unread);
    EXPECT_EQ(statusText(ask(HostRequest::USES).status), unread);
}

TEST_F(LinuxAtaPathTest, LinksThatCannotBeListedAreAnError) {
    machine_.file("/dev/disk/by-id", "");
    EXPECT_EQ(statusText(ask(HostRequest::LOCATION).status),
              "0/39 System rescan failed. " + machine_.path("/dev/disk/by-id") + ": Not a directory.");
}

TEST_F(LinuxAtaPathTest, ARescanThatTheKernelDoesNotTakeReadsNoPartitionTable) {
    const std::string rescan = machine_.path("/sys/class/block/sda/device/rescan");
    std::filesystem::remove(rescan);
    std::filesystem::create_symlink("/dev/full", rescan);
    EXPECT_EQ(statusText(ask(HostRequest::RESCAN).status),
              "0/86 No completion was available. Can't tell if command passed or failed. " + rescan +
                  " (errno 28: No space left on device).");
    std::filesystem::remove(rescan);
    EXPECT_EQ(statusText(ask(HostRequest::RESCAN).status), "0/70 The device (object) was unavailable. " + rescan +
                                                               " does not exist (errno 2: No such file or "
                                                               "directory).");
    for (const std::string& call : kernel_.calls) EXPECT_EQ(call.substr(0, 9), "open /sys");
}

TEST_F(LinuxAtaPathTest, UsesAreThoseOfTheDrivesOwnNodesAlone) {
    machine_.scsiDisk("pci/host7", "7:0:0:0", "sdb", "8:16", "sg7");  // does not say which drive it is
    machine_.scsiDisk("pci/host8", "8:0:0:0", "sdc", "8:32", "sg8");
    machine_.ataInformation("sdc", ataIdentifyBytes({"S2"}));
    machine_.swaps("/dev/sdb partition 1 0 -2\n/dev/sdc partition 1 0 -2\n");
    EXPECT_EQ(uses(UseCheck::DESTROY).uses.size(), 0U);
    machine_.swaps("/dev/sda partition 1 0 -2\n/dev/sdc partition 1 0 -2\n");
    path_ = makePath("sda");
    EXPECT_EQ(uses(UseCheck::DESTROY).uses.size(), 1U);
    LookErrors errors;
    const auto disk = SataTopology(machine_.paths()).disk("sda", errors);
    path_ = std::make_unique<LinuxAtaPath>(*disk, machine_.paths(), std::make_shared<std::mutex>());
    EXPECT_EQ(uses(UseCheck::DESTROY).uses.size(), 1U) << "before a drive was selected";
}

TEST_F(LinuxAtaPathTest, ADriveIsSupportedAsLongAsTheKernelKnowsIt) {
    EXPECT_TRUE(path_->isSupported({}));
    const std::string type = machine_.path("/sys/class/block/sda/device/type");
    std::filesystem::remove(type);
    EXPECT_FALSE(path_->isSupported({}));
    machine_.folder("/sys/class/block/sda/device/type");
    EXPECT_TRUE(path_->isSupported({})) << "what cannot be looked at is not taken for gone";
}

TEST_F(LinuxAtaPathTest, OtherCommandSetsAreRefused) {
    EXPECT_EQ(sent(nvme::NvmeCommand(nvme::Queue::ADMIN, 0x06, "Identify")),
              "0/35 Device does not support this command set.");
    AtaCommand odd = reading(1);
    odd.dataLength = 100;
    EXPECT_EQ(sent(odd), "0/27 Unable to convert ATA command into an ATA-SCSI command.");
    EXPECT_EQ(kernel_.calls, Calls{"open /dev/sda"});
}

}  // namespace
}  // namespace features::transport
