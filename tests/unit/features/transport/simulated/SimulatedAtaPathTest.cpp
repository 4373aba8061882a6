#include <gtest/gtest.h>

#include <algorithm>

#include "features/ata/AtaResult.h"
#include "features/nvme/NvmeCommand.h"
#include "features/simulator/store/DriveStore.h"
#include "features/transport/simulated/SimulatedAtaPath.h"
#include "tests/support/StatusText.h"
#include "tests/support/TemporaryFolder.h"

using namespace ostrel::core;
using namespace features::transport;
using features::ata::Addressing;
using features::ata::AtaCommand;
using features::ata::AtaResult;
using features::ata::Protocol;
using features::ata::RegistersMissing;
using features::nvme::ControllerIdentity;
using features::simulator::Description;
using features::simulator::DriveStore;
using features::simulator::ManualClock;
using features::simulator::ModelId;

namespace {

class SimulatedAtaPathTest : public ::testing::Test {
protected:
    SimulatedAtaPathTest() {
        description.setModel(ModelId::SATA);
        description.serialNumber = "S1";
        description.sizeBytes = 1 << 20;
        EXPECT_TRUE(succeeded(store.create({{"one", description}}, clock)));
        path.select(ControllerIdentity("S1", "Simulated SATA SSD", ""));
    }
    void describe() { ASSERT_TRUE(succeeded(store.describe("one", description))); }
    CommandResult send(const AtaCommand& command, const Payload& payload = {}) {
        return path.send(command, payload, {});
    }
    static const AtaResult& resultOf(const CommandResult& result) {
        return dynamic_cast<const AtaResult&>(*result.protocolResult);
    }
    static AtaCommand identify() {
        AtaCommand command(0xEC, Protocol::PIO_IN, Addressing::BITS_28, "IDENTIFY DEVICE");
        command.dataLength = 512;
        return command;
    }
    static AtaCommand checkPowerMode() {
        return AtaCommand(0xE5, Protocol::NON_DATA, Addressing::BITS_28, "CHECK POWER MODE");
    }

    TemporaryFolder folder;
    const std::string root = folder / "drives";
    ManualClock clock{1795197600000};
    DriveStore store{root};
    Description description;
    uint64_t waitedMs = 0;
    /// The clock goes on while the host waits.
    SimulatedAtaPath path{root + "/one", clock,
                          [this](std::chrono::milliseconds time) {
                              waitedMs += static_cast<uint64_t>(time.count());
                              clock.advanceMs(static_cast<uint64_t>(time.count()));
                          },
                          folder / "locks"};
};

TEST_F(SimulatedAtaPathTest, CarriesDataToTheDriveAndBack) {
    const CommandResult identified = send(identify());
    EXPECT_TRUE(succeeded(identified.status));
    EXPECT_TRUE(resultOf(identified).succeeded);
    EXPECT_EQ(resultOf(identified).missing, RegistersMissing::NOT_ASKED);
    ASSERT_EQ(identified.inputPayload.getSize(), 512U);
    EXPECT_EQ(identified.inputPayload.getData()[21], 'S');

    Payload sector(512);
    sector.getData()[7] = 0x5A;
    AtaCommand write(0x35, Protocol::DMA_OUT, Addressing::BITS_48, "WRITE DMA EXT");
    write.lba = 9;
    write.count = 1;
    write.dataLength = 512;
    EXPECT_TRUE(resultOf(send(write, sector)).succeeded);
    AtaCommand read(0x25, Protocol::DMA_IN, Addressing::BITS_48, "READ DMA EXT");
    read.lba = 9;
    read.count = 1;
    read.dataLength = 512;
    EXPECT_EQ(path.clone()->send(read, {}, {}).inputPayload.getData()[7], 0x5A);
}

TEST_F(SimulatedAtaPathTest, RegistersComeWhenTheyAreAskedForOrTheCommandFails) {
    AtaCommand command = checkPowerMode();
    EXPECT_FALSE(resultOf(send(command)).registers);
    command.wantsRegisters = true;
    CommandResult result = send(command);
    ASSERT_TRUE(resultOf(result).registers);
    EXPECT_EQ(resultOf(result).missing, RegistersMissing::NOTHING);
    EXPECT_EQ(resultOf(result).registers->count, 0xFF);

    const AtaCommand unknown(0x5C, Protocol::NON_DATA, Addressing::BITS_28, "?");
    result = send(unknown);
    EXPECT_TRUE(succeeded(result.status));
    EXPECT_FALSE(resultOf(result).succeeded);
    ASSERT_TRUE(resultOf(result).registers);
    EXPECT_EQ(resultOf(result).registers->error, 0x04);
}

TEST_F(SimulatedAtaPathTest, LostRegistersAreMissing) {
    description.faults.losesRegisters = true;
    describe();
    AtaCommand command = checkPowerMode();
    command.wantsRegisters = true;
    const CommandResult result = send(command);
    EXPECT_TRUE(resultOf(result).succeeded);
    EXPECT_EQ(resultOf(result).missing, RegistersMissing::NO_DESCRIPTOR);
    EXPECT_FALSE(resultOf(result).registers);
}

TEST_F(SimulatedAtaPathTest, ACommandWaitsForTheOneBefore) {
    AtaCommand captive(0xB0, Protocol::NON_DATA, Addressing::BITS_28, "SMART EXECUTE OFF-LINE IMMEDIATE");
    captive.feature = 0xD4;
    captive.lba = 0xC24F81;
    captive.timeoutMs = 4000;
    EXPECT_EQ(statusText(send(captive).status), "0/69 The command was detected to have timed-out. The drive of " +
                                                    root +
                                                    "/one did not answer in time (errno 4: Interrupted system call).");
    EXPECT_EQ(waitedMs, 4000U);
    EXPECT_TRUE(resultOf(send(identify())).succeeded) << "when the test is done, 6 seconds later";
    EXPECT_EQ(waitedMs, 10000U);
    captive.timeoutMs = 20000;
    EXPECT_TRUE(resultOf(send(captive)).succeeded);
    EXPECT_EQ(waitedMs, 20000U);
}

TEST_F(SimulatedAtaPathTest, ReportsADriveThatIsGoneOrHangs) {
    description.faults.isGone = true;
    describe();
    EXPECT_EQ(statusText(send(identify()).status), "0/70 The device (object) was unavailable. The drive of " + root +
                                                       "/one is gone (errno 19: No such device).");
    description.faults.isGone = false;
    features::simulator::FaultyCommand hang;
    hang.isAta = hang.isAnyOpcode = true;
    description.faults.hang = {hang};
    describe();
    EXPECT_TRUE(send(identify()).status.is(0, 69));
    EXPECT_EQ(waitedMs, 30000U);
}

TEST_F(SimulatedAtaPathTest, AFolderThatPassedToAnotherDriveIsNotChanged) {
    ASSERT_TRUE(succeeded(store.remove("one")));
    description.serialNumber = "S2";
    ASSERT_TRUE(succeeded(store.create({{"one", description}}, clock)));
    const AtaCommand standby(0xE0, Protocol::NON_DATA, Addressing::BITS_28, "STANDBY IMMEDIATE");
    EXPECT_EQ(statusText(send(standby).status),
              "0/70 The device (object) was unavailable. The drive of " + root +
                  "/one is gone. Selected was serial number S1 (model Simulated SATA SSD); " + root +
                  "/one is now that of serial number S2 (model Simulated SATA SSD).");
    EXPECT_TRUE(resultOf(send(identify())).succeeded) << "reading changes nothing";
}

TEST_F(SimulatedAtaPathTest, TheWholeDriveIsOneNamespace) {
    for (const HostRequest request : {HostRequest::NAMESPACES, HostRequest::USES}) {
        const CommandResult result = path.send(HostCommand(request), {}, {});
        ASSERT_TRUE(succeeded(result.status));
        const auto& found = dynamic_cast<const HostResult&>(*result.protocolResult).namespaces;
        ASSERT_EQ(found.size(), 1U);
        EXPECT_EQ(found[0].nsid, 1U);
        EXPECT_EQ(found[0].node, root + "/one/dev/one");
        EXPECT_EQ(found[0].sizeBytes, 1U << 20);
        EXPECT_EQ(found[0].blockBytes, 512U);
        EXPECT_TRUE(found[0].uses.empty());
    }
    EXPECT_TRUE(succeeded(path.send(HostCommand(HostRequest::LOCATION), {}, {}).status));
    EXPECT_TRUE(succeeded(path.send(HostCommand(HostRequest::RESCAN), {}, {}).status));
    EXPECT_TRUE(path.send(HostCommand(HostRequest::RESET_CONTROLLER), {}, {}).status.is(10, 34));
    EXPECT_TRUE(succeeded(path.send(HostCommand(HostRequest::LOCK_DRIVE), {}, {}).status));
    EXPECT_TRUE(succeeded(path.send(HostCommand(HostRequest::UNLOCK_DRIVE), {}, {}).status));
}

TEST_F(SimulatedAtaPathTest, ADriveThatWasNotSelectedIsNotChanged) {
    SimulatedAtaPath other(root + "/one", clock, [](std::chrono::milliseconds) {}, folder / "locks");
    const std::string unknown = "10/33 Failed to retrieve data from selected device. The drive of " + root +
                                "/one cannot be identified, so that it is not changed.";
    const std::string before = readWholeFile(root + "/one/state");
    const AtaCommand standby(0xE0, Protocol::NON_DATA, Addressing::BITS_28, "STANDBY IMMEDIATE");
    EXPECT_EQ(statusText(other.send(standby, {}, {}).status), unknown);
    EXPECT_EQ(statusText(other.send(HostCommand(HostRequest::LOCK_DRIVE), {}, {}).status), unknown);
    EXPECT_EQ(readWholeFile(root + "/one/state"), before);
    EXPECT_TRUE(succeeded(other.send(identify(), {}, {}).status)) << "reading changes nothing";
}

TEST_F(SimulatedAtaPathTest, ADamagedDriveHasNoNamespace) {
    writeWholeFile(root + "/one/state", "short");
    const std::string damaged =
        "The device (object) was unavailable. The state of the simulated drive is damaged: " + root +
        "/one/state is too short (errno 74).";
    for (const HostRequest request : {HostRequest::NAMESPACES, HostRequest::USES}) {
        const CommandResult result = path.send(HostCommand(request), {}, {});
        EXPECT_EQ(result.status.getMessage(), damaged);
        EXPECT_EQ(result.protocolResult, nullptr);
    }
    EXPECT_EQ(send(identify()).status.getMessage(), damaged);
}

TEST_F(SimulatedAtaPathTest, ItTakesNoCommandThatTheKernelWouldNotCarry) {
    AtaCommand wide(0x25, Protocol::DMA_IN, Addressing::BITS_28, "READ DMA");
    wide.lba = uint64_t{1} << 28;
    wide.count = 1;
    wide.dataLength = 512;
    const CommandResult result = send(wide);
    EXPECT_TRUE(result.status.is(0, 86));
    const std::string reason = root + "/one (errno 22: Invalid argument).";
    const std::string message = result.status.getMessage();
    EXPECT_EQ(message.substr(message.size() - std::min(message.size(), reason.size())), reason);
    EXPECT_EQ(result.protocolResult, nullptr);
    EXPECT_TRUE(path.send(HostCommand(HostRequest::RESET_SUBSYSTEM), {}, {}).status.is(10, 34));
}

TEST_F(SimulatedAtaPathTest, ADriveIsSupportedAsLongAsItIsThere) {
    EXPECT_TRUE(path.isSupported({}));
    ASSERT_TRUE(succeeded(store.remove("one")));
    EXPECT_FALSE(path.isSupported({}));
    EXPECT_EQ(statusText(send(identify()).status).substr(0, 5), "0/70 ");
}

TEST_F(SimulatedAtaPathTest, ItTakesNoNvmeCommand) {
    const features::nvme::NvmeCommand nvme(features::nvme::Queue::ADMIN, 0x06, "Identify");
    const CommandResult result = path.send(nvme, {}, {});
    EXPECT_TRUE(failed(result.status));
    EXPECT_EQ(result.protocolResult, nullptr);
}

}  // namespace
