#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>

#include "features/ata/AtaCommand.h"
#include "features/nvme/Completion.h"
#include "features/nvme/ControllerIdentity.h"
#include "features/nvme/NvmeCommand.h"
#include "features/simulator/store/DriveStore.h"
#include "features/transport/HostCommand.h"
#include "features/transport/simulated/SimulatedDriveSource.h"
#include "features/transport/simulated/SimulatedNvmePath.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/Device.h"
#include "tests/support/StatusText.h"
#include "tests/support/TemporaryFolder.h"

using namespace ostrel::core;
using namespace features::simulator;
using namespace features::transport;
using features::nvme::Completion;
using features::nvme::NvmeCommand;
using features::nvme::Queue;

namespace {

/// Drive "two".
const features::nvme::ControllerIdentity OF_TWO("A", "VELKO Simulated NVMe SSD",
                                                "nqn.2026-01.com.velko.nimbrel:simulated:A");

class SimulatedTransport : public ::testing::Test {
protected:
    SimulatedTransport() {
        Description description;
        description.serialNumber = "A";
        description.sizeBytes = 1 << 20;
        description.shortSelfTestSeconds = 1;
        EXPECT_TRUE(succeeded(store.create({{"two", description}}, clock)));
        description.serialNumber = "B";
        description.model = ModelId::OCP;
        EXPECT_TRUE(succeeded(store.create({{"one10", description}, {"one9", description}}, clock)));
        path.select(OF_TWO);
    }

    SimulatedDriveSource source() const { return SimulatedDriveSource(root, locks); }
    /// Attributes of what the scan finds, a line for each drive.
    std::string scanned() {
        std::vector<std::shared_ptr<Device>> devices;
        source().finder()->scan(devices);
        std::string text;
        for (const auto& device : devices) {
            text += device->getAttribute(attributes::device::devicePath()).getText().substr(root.size()) + "|" +
                    device->getAttribute(attributes::device::serialNumber()).getText() + "|" +
                    device->getAttribute(attributes::device::modelNumber()).getText() + "|" +
                    device->getAttribute(attributes::device::firmware()).getText() + "|" +
                    device->getAttribute(attributes::device::errorString()).getText() + "\n";
        }
        return text;
    }
    std::string located(const std::string& path) {
        LookErrors errors;
        const auto location = source().locate(path, errors);
        if (!location) return "nothing";
        return location->devicePath.substr(root.size()) + (location->nsid ? " " + std::to_string(*location->nsid) : "");
    }
    /// Puts other faults into the description of drive "two".
    void fault(const std::string& faults) {
        writeWholeFile(root + "/two/description.ini",
                       "[drive]\nmodel = velko\nserial-number = A\nsize = 1 MiB\n[faults]\n" + faults);
    }

    TemporaryFolder folder;
    std::string root = folder / "drives";
    const std::string locks = folder / "locks";
    ManualClock clock{1795197600000};
    DriveStore store{root};
    uint64_t waitedMs = 0;
    SimulatedNvmePath path{root + "/two", clock,
                           [this](std::chrono::milliseconds time) { waitedMs += static_cast<uint64_t>(time.count()); },
                           locks};
};

TEST_F(SimulatedTransport, FindsTheDrivesInOrder) {
    EXPECT_EQ(scanned(),
              "/one9/dev/one9|B|Simulated OCP Datacenter NVMe SSD|OSIM0100|\n"
              "/one10/dev/one10|B|Simulated OCP Datacenter NVMe SSD|OSIM0100|\n"
              "/two/dev/two|A|VELKO Simulated NVMe SSD|VSIM0100|\n");
}

TEST_F(SimulatedTransport, FindsADamagedDriveWithItsReason) {
    writeWholeFile(root + "/one9/description.ini", "[drive]\nmodel = tape\n");
    writeWholeFile(root + "/one10/state", "rubbish");
    EXPECT_EQ(
        scanned(),
        "/one9/dev/one9||||" + root +
            "/one9/description.ini: \"model\" takes \"velko\", \"ocp\", \"nvme-1.4\", \"nvme-2.1\", \"sata\" or "
            "\"ocp-2.6\".\n"
            "/one10/dev/one10|B|Simulated OCP Datacenter NVMe SSD||The state of the simulated drive is damaged: " +
            root +
            "/one10/state is too short.\n"
            "/two/dev/two|A|VELKO Simulated NVMe SSD|VSIM0100|\n");
}

TEST_F(SimulatedTransport, ASataDriveHasAtaCommandsAndOneNode) {
    Description description;
    description.setModel(ModelId::SATA);
    description.serialNumber = "C";
    description.sizeBytes = 1 << 20;
    ASSERT_TRUE(succeeded(store.create({{"three", description}}, clock)));
    std::vector<std::shared_ptr<Device>> devices;
    source().finder()->scan(devices);
    ASSERT_EQ(devices.size(), 4U);
    const Device& sata = *devices[2];
    EXPECT_EQ(sata.getAttribute(attributes::device::modelNumber()).getText(), "Simulated SATA SSD");
    EXPECT_EQ(sata.getAttribute(attributes::device::firmware()).getText(), "TSIM0100");
    EXPECT_TRUE(sata.supportsCommandSet("ATA"));
    EXPECT_TRUE(sata.supportsCommandSet("Host"));
    EXPECT_FALSE(sata.supportsCommandSet("NVMe"));
    EXPECT_FALSE(devices[0]->supportsCommandSet("ATA"));
    EXPECT_EQ(located(root + "/three"), "/three/dev/three");
    EXPECT_EQ(located(root + "/three/dev/three"), "/three/dev/three");
    EXPECT_EQ(located(root + "/three/dev/threen1"), "nothing");
}

TEST_F(SimulatedTransport, FindsNothingWhereThereIsNoFolder) {
    std::vector<std::shared_ptr<Device>> devices;
    SimulatedDriveSource(root + "/missing", locks).finder()->scan(devices);
    EXPECT_TRUE(devices.empty());
}

TEST_F(SimulatedTransport, FollowsPathsAndLinks) {
    ASSERT_EQ(::symlink((root + "/two").c_str(), (folder / "drive").c_str()), 0);
    ASSERT_EQ(::symlink("drives/two/dev/twon1", (folder / "namespace").c_str()), 0);
    ASSERT_EQ(::symlink("loop", (folder / "loop").c_str()), 0);
    EXPECT_EQ(located(root + "/two"), "/two/dev/two");
    EXPECT_EQ(located(root + "/two/dev/two"), "/two/dev/two");
    EXPECT_EQ(located(root + "/two/dev/twon1"), "/two/dev/two 1");
    EXPECT_EQ(located(root + "/two/dev/twon2"), "nothing");
    EXPECT_EQ(located(root + "/two/dev/three"), "nothing");
    EXPECT_EQ(located(root + "/two/dev"), "nothing");
    EXPECT_EQ(located(root + "/two/n1"), "nothing");
    EXPECT_EQ(located(root + "/two/state"), "nothing");
    EXPECT_EQ(located(root + "/three"), "nothing");
    EXPECT_EQ(located(root + "/three/dev/three"), "nothing");
    EXPECT_EQ(located(folder / "drive"), "/two/dev/two");
    EXPECT_EQ(located(folder / "drive/dev/twon1"), "/two/dev/two 1");
    EXPECT_EQ(located(folder / "namespace"), "/two/dev/two 1");
    EXPECT_EQ(located(folder / "loop"), "nothing");
    EXPECT_EQ(located("/"), "nothing");
    EXPECT_EQ(located(""), "nothing");
}

TEST_F(SimulatedTransport, CarriesNvmeCommands) {
    NvmeCommand identify(Queue::ADMIN, 0x06, "Identify");
    identify.cdw10 = 1;
    identify.dataLength = 4096;
    const CommandResult result = path.send(identify, {}, {});
    EXPECT_TRUE(succeeded(result.status));
    EXPECT_EQ(dynamic_cast<const Completion&>(*result.protocolResult).statusField, 0);
    ASSERT_EQ(result.inputPayload.getSize(), 4096U);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(result.inputPayload.getData()) + 24, 24),
              "VELKO Simulated NVMe SSD");

    identify.dataLength = 512;
    const CommandResult small = path.send(identify, {}, {});
    EXPECT_EQ(dynamic_cast<const Completion&>(*small.protocolResult).statusField, 0x4004) << "a buffer too small";
}

TEST_F(SimulatedTransport, ReportsTheNamespaces) {
    struct {
        HostRequest request;
        uint64_t bytes;
        uint32_t blockBytes;
    } constexpr ROWS[] = {{HostRequest::NAMESPACES, 0, 0},  // no sizes, and no command for them
                          {HostRequest::SIZES, 1U << 20, 512},
                          {HostRequest::USES, 1U << 20, 512}};
    for (const auto& row : ROWS) {
        const CommandResult result = path.send(HostCommand(row.request), {}, {});
        ASSERT_TRUE(succeeded(result.status));
        const auto& found = dynamic_cast<const HostResult&>(*result.protocolResult).namespaces;
        ASSERT_EQ(found.size(), 1U);
        EXPECT_EQ(found[0].nsid, 1U);
        EXPECT_EQ(found[0].node, root + "/two/dev/twon1");
        EXPECT_EQ(found[0].sizeBytes, row.bytes);
        EXPECT_EQ(found[0].blockBytes, row.blockBytes);
        EXPECT_EQ(found[0].metadataBytes, 0U);
    }
}

TEST_F(SimulatedTransport, WaitsForADriveThatDoesNotAnswer) {
    fault("hang = admin 0x06\n");
    NvmeCommand identify(Queue::ADMIN, 0x06, "Identify");
    identify.cdw10 = 1;
    identify.dataLength = 4096;
    CommandResult result = path.send(identify, {}, {});
    EXPECT_TRUE(result.status.is(0, 69));
    EXPECT_EQ(result.status.getMessage(), "The command was detected to have timed-out. The drive of " + root +
                                              "/two did not answer in time (errno 4: Interrupted system call).");
    EXPECT_EQ(waitedMs, 30000U);
    identify.timeoutMs = 500;
    result = path.send(identify, {}, {});
    EXPECT_EQ(waitedMs, 30500U);
    fault("");
    result = path.send(identify, {}, {});
    EXPECT_TRUE(succeeded(result.status));
}

TEST_F(SimulatedTransport, WaitsForADriveThatIsSlow) {
    fault("slow = admin 0x06 700\n");
    NvmeCommand identify(Queue::ADMIN, 0x06, "Identify");
    identify.cdw10 = 1;
    identify.dataLength = 4096;
    CommandResult result = path.send(identify, {}, {});
    EXPECT_TRUE(succeeded(result.status));
    EXPECT_EQ(waitedMs, 700U);
    identify.timeoutMs = 700;
    result = path.send(identify, {}, {});
    EXPECT_EQ(result.status.getMessage(), "The command was detected to have timed-out. The drive of " + root +
                                              "/two did not answer in time (errno 4: Interrupted system call).");
    EXPECT_EQ(waitedMs, 1400U) << "not longer than the host waits";
}

TEST_F(SimulatedTransport, ReportsADriveThatHasVanished) {
    fault("gone = yes\n");
    const CommandResult result = path.send(NvmeCommand(Queue::ADMIN, 0x06, "Identify"), {}, {});
    EXPECT_TRUE(result.status.is(0, 70));
    EXPECT_EQ(result.status.getMessage(),
              "The device (object) was unavailable. The drive of " + root + "/two is gone (errno 19: No such device).");
}

TEST_F(SimulatedTransport, CarriesDataToTheDriveAndBack) {
    Payload block(512);
    for (uint32_t i = 0; i < 512; ++i) block.getData()[i] = static_cast<uint8_t>(i);
    NvmeCommand write(Queue::IO, 0x01, "Write");
    write.nsid = 1;
    write.cdw10 = 5;
    write.dataLength = 512;
    CommandResult result = path.send(write, block, {});
    ASSERT_TRUE(succeeded(result.status));
    EXPECT_EQ(dynamic_cast<const Completion&>(*result.protocolResult).statusField, 0);
    NvmeCommand read(Queue::IO, 0x02, "Read");
    read.nsid = 1;
    read.cdw10 = 5;
    read.dataLength = 512;
    result = path.clone()->send(read, {}, {});
    ASSERT_EQ(result.inputPayload.getSize(), 512U);
    EXPECT_EQ(std::memcmp(result.inputPayload.getData(), block.getData(), 512), 0);
    read.nsid = 2;
    result = path.send(read, {}, {});
    EXPECT_EQ(dynamic_cast<const Completion&>(*result.protocolResult).statusField, 0x400B);
}

TEST_F(SimulatedTransport, Resets) {
    NvmeCommand setFeature(Queue::ADMIN, 0x09, "Set Features");
    setFeature.cdw10 = 0x02;
    setFeature.cdw11 = 1;
    NvmeCommand getFeature(Queue::ADMIN, 0x0A, "Get Features");
    getFeature.cdw10 = 0x02;
    for (const HostRequest request : {HostRequest::RESET_CONTROLLER, HostRequest::RESET_SUBSYSTEM}) {
        EXPECT_TRUE(succeeded(path.send(setFeature, {}, {}).status));
        EXPECT_TRUE(succeeded(path.send(HostCommand(HostRequest::RESCAN), {}, {}).status));
        CommandResult result = path.send(getFeature, {}, {});
        EXPECT_EQ(dynamic_cast<const Completion&>(*result.protocolResult).dword0, 1U);
        EXPECT_TRUE(succeeded(path.send(HostCommand(request), {}, {}).status));
        result = path.send(getFeature, {}, {});
        EXPECT_EQ(dynamic_cast<const Completion&>(*result.protocolResult).dword0, 0U);
    }
}

TEST_F(SimulatedTransport, AFolderThatPassedToAnotherDriveIsNotChanged) {
    NvmeCommand setFeature(Queue::ADMIN, 0x09, "Set Features");
    setFeature.cdw10 = 0x02;
    setFeature.cdw11 = 1;
    NvmeCommand getFeature(Queue::ADMIN, 0x0A, "Get Features");
    getFeature.cdw10 = 0x02;
    ASSERT_TRUE(succeeded(path.send(setFeature, {}, {}).status));
    ASSERT_TRUE(succeeded(store.remove("two")));
    Description description;
    description.serialNumber = "C";
    description.sizeBytes = 1 << 20;
    ASSERT_TRUE(succeeded(store.create({{"two", description}}, clock)));
    const std::string gone = "0/70 The device (object) was unavailable. The drive of " + root +
                             "/two is gone. Selected was serial number A (model VELKO Simulated NVMe SSD, subsystem "
                             "nqn.2026-01.com.velko.nimbrel:simulated:A); " +
                             root +
                             "/two is now that of serial number C (model VELKO Simulated NVMe SSD, subsystem "
                             "nqn.2026-01.com.velko.nimbrel:simulated:C).";
    EXPECT_EQ(statusText(path.send(setFeature, {}, {}).status), gone);
    for (const HostRequest request : {HostRequest::RESET_CONTROLLER, HostRequest::RESET_SUBSYSTEM})
        EXPECT_EQ(statusText(path.send(HostCommand(request), {}, {}).status), gone);
    const CommandResult result = path.send(getFeature, {}, {});
    ASSERT_TRUE(succeeded(result.status)) << "reading goes on";
    EXPECT_EQ(dynamic_cast<const Completion&>(*result.protocolResult).dword0, 0U) << "the other drive is as it was";
    SimulatedNvmePath unknown(root + "/two", clock, [](std::chrono::milliseconds) {}, locks);
    const std::string unidentified = "10/33 Failed to retrieve data from selected device. The drive of " + root +
                                     "/two cannot be identified, so that it is not changed.";
    EXPECT_EQ(statusText(unknown.send(setFeature, {}, {}).status), unidentified);
    EXPECT_EQ(statusText(unknown.send(HostCommand(HostRequest::LOCK_DRIVE), {}, {}).status), unidentified);
}

TEST_F(SimulatedTransport, TheLockIsThatOfTheSubsystem) {
    std::vector<std::shared_ptr<Device>> devices;
    const SimulatedDriveSource drives = source();
    drives.finder()->scan(devices);
    ASSERT_EQ(devices.size(), 3U);
    CommandResult result;
    devices[2]->sendCommand(HostCommand(HostRequest::LOCK_DRIVE), result);
    EXPECT_TRUE(succeeded(result.status));
    EXPECT_TRUE(path.send(HostCommand(HostRequest::LOCK_DRIVE), {}, {}).status.is(11, 9));
    devices[0]->sendCommand(HostCommand(HostRequest::LOCK_DRIVE), result);
    EXPECT_TRUE(succeeded(result.status)) << "another drive";
    devices[2]->sendCommand(HostCommand(HostRequest::UNLOCK_DRIVE), result);
    EXPECT_TRUE(succeeded(path.send(HostCommand(HostRequest::LOCK_DRIVE), {}, {}).status));
    EXPECT_TRUE(succeeded(path.send(HostCommand(HostRequest::UNLOCK_DRIVE), {}, {}).status));
}

TEST_F(SimulatedTransport, ANamespaceIsNotFoundWhereTheDriveRefusesToShowThem) {
    fault("fail = admin 0x06 0x006\n");
    const std::string refused = "Failed to retrieve data from selected device. Identify failed: Internal Error.";
    const CommandResult result = path.send(HostCommand(HostRequest::NAMESPACES), {}, {});
    EXPECT_EQ(statusText(result.status), "10/33 " + refused);
    EXPECT_EQ(result.protocolResult, nullptr);
    EXPECT_EQ(statusText(path.send(HostCommand(HostRequest::USES), {}, {}).status), "10/33 " + refused);
    LookErrors errors;
    EXPECT_FALSE(source().locate(root + "/two/dev/twon1", errors));
    EXPECT_EQ(errors.text(), root + "/two: " + refused);
    LookErrors none;
    EXPECT_TRUE(source().locate(root + "/two/dev/two", none)) << "the controller's node needs no answer";
    EXPECT_EQ(none.text(), "");
}

TEST_F(SimulatedTransport, ADamagedDriveIsNotTakenForOneWithoutNamespaces) {
    writeWholeFile(root + "/two/state", "short");
    const std::string damaged = "The state of the simulated drive is damaged: " + root + "/two/state is too short.";
    LookErrors errors;
    EXPECT_FALSE(source().locate(root + "/two/dev/twon1", errors));
    EXPECT_EQ(errors.text(), root + "/two: " + damaged);
    EXPECT_EQ(path.send(HostCommand(HostRequest::NAMESPACES), {}, {}).status.getMessage(),
              "The device (object) was unavailable. " + damaged.substr(0, damaged.size() - 1) + " (errno 74).");
    writeWholeFile(root + "/two/description.ini", "[drive]\n");
    LookErrors others;
    EXPECT_FALSE(source().locate(root + "/two/dev/twon1", others));
    EXPECT_EQ(others.text(), root + "/two: " + root + "/two/description.ini: \"model\" is missing in [drive].");
}

TEST_F(SimulatedTransport, TakesNoAtaCommand) {
    const features::ata::AtaCommand identify(0xEC, features::ata::Protocol::PIO_IN, features::ata::Addressing::BITS_28,
                                             "IDENTIFY DEVICE");
    const CommandResult result = path.send(identify, {}, {});
    EXPECT_EQ(statusText(result.status), "0/35 Device does not support this command set.");
    EXPECT_EQ(result.protocolResult, nullptr);
    EXPECT_TRUE(succeeded(path.send(HostCommand(HostRequest::LOCATION), {}, {}).status));
}

TEST_F(SimulatedTransport, ReportsARemovedDrive) {
    ASSERT_TRUE(succeeded(store.remove("two")));
    const CommandResult result = path.send(NvmeCommand(Queue::ADMIN, 0x06, "Identify"), {}, {});
    EXPECT_TRUE(result.status.is(0, 70));
    EXPECT_EQ(result.status.getMessage(),
              "The device (object) was unavailable. " + root + "/two: No such file or directory (errno 2).");
    EXPECT_FALSE(path.isSupported({}));
}

}  // namespace
