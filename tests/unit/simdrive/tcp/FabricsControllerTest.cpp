#include <gtest/gtest.h>
#include <sys/socket.h>

#include "features/nvme/Bytes.h"
#include "features/simulator/controller/Controller.h"
#include "features/simulator/store/Clock.h"
#include "features/simulator/store/DriveFolder.h"
#include "simdrive/tcp/DiscoveryController.h"
#include "simdrive/tcp/DriveController.h"
#include "tests/support/StatusText.h"
#include "tests/support/TemporaryFolder.h"

namespace simdrive::tcp {
namespace {

using Bytes = std::vector<uint8_t>;
using features::nvme::putLe32;
using features::simulator::FaultyCommand;

/// A command with dwords 10 to 15.
Capsule command(uint8_t opcode, const std::vector<uint32_t>& dwords = {}) {
    Bytes entry(64);
    entry[0] = opcode;
    for (size_t i = 0; i < dwords.size(); ++i) putLe32(entry.data() + 40 + 4 * i, dwords[i]);
    return Capsule(entry.data());
}

/// A Fabrics command: of a property with its size, offset and value.
Capsule fabrics(uint8_t type, uint8_t size = 0, uint32_t offset = 0, uint32_t value = 0) {
    Bytes entry(64);
    entry[0] = 0x7F;
    entry[4] = type;
    entry[40] = size;
    putLe32(entry.data() + 44, offset);
    putLe32(entry.data() + 48, value);
    return Capsule(entry.data());
}

/// Nothing comes over its connections.
class NoHandler : public CommandHandler {
    Reply handle(Connection&, const Capsule&, Bytes&) override { return {}; }
};

class FabricsControllerTest : public testing::Test {
protected:
    /// A queue of the controller.
    std::unique_ptr<Connection> queue(FabricsController& controller, uint16_t id) {
        int ends[2] = {-1, -1};
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends), 0);
        hosts_.emplace_back(ends[1]);
        auto connection = std::make_unique<Connection>(ostrel::core::FileDescriptor(ends[0]), handler_);
        connection->queue.id = id;
        controller.add(*connection);
        return connection;
    }
    /// "4002" or "0 12345678": the status field, and the result of a success.
    static std::string end(const Reply& reply) {
        char text[40];
        if (reply.isHeld) return "held";
        if (reply.statusField != 0) {
            std::snprintf(text, sizeof text, "%04x", reply.statusField);
        } else {
            std::snprintf(text, sizeof text, "0 %llx", static_cast<unsigned long long>(reply.result));
        }
        return text;
    }
    std::string ask(FabricsController& controller, Connection& connection, const Capsule& capsule) {
        data_.clear();
        return end(controller.handle(connection, capsule, data_, 1000));
    }
    void enable(FabricsController& controller, Connection& admin) {
        EXPECT_EQ(ask(controller, admin, fabrics(0x00, 0, 0x14, 0x00460001)), "0 0");
    }

    NoHandler handler_;
    std::vector<ostrel::core::FileDescriptor> hosts_;
    Bytes data_;
};

class DiscoveryControllerTest : public FabricsControllerTest {
protected:
    DiscoveryController controller_{
        0xFFE0, {{"nqn.a", "127.0.0.1", 4420, false}, {"nqn.a", "::1", 4421, true}}, {}, 120000, 0};
    std::unique_ptr<Connection> admin_ = queue(controller_, 0);
};

TEST_F(DiscoveryControllerTest, PropertiesAreThoseOfAController) {
    const auto get = [&](uint8_t size, uint32_t offset) {
        return ask(controller_, *admin_, fabrics(0x04, size, offset));
    };
    EXPECT_EQ(get(0, 0x08), "0 10400");
    EXPECT_EQ(get(0, 0x14), "0 0");
    EXPECT_EQ(get(0, 0x1C), "0 0");
    EXPECT_EQ(get(0, 0x20), "0 0") << "NSSR";
    EXPECT_EQ(get(0, 0x00), "4002") << "CAP has 8 bytes";
    EXPECT_EQ(get(0, 0x0C), "4002") << "there is no such property";
    enable(controller_, *admin_);
    EXPECT_EQ(get(0, 0x14), "0 460001");
    EXPECT_EQ(get(0, 0x1C), "0 1");
    EXPECT_EQ(ask(controller_, *admin_, fabrics(0x00, 1, 0x14, 0)), "4002") << "CC has 4 bytes";
    EXPECT_EQ(ask(controller_, *admin_, fabrics(0x00, 0, 0x1C, 0)), "4002") << "CSTS is not written";
    EXPECT_EQ(ask(controller_, *admin_, fabrics(0x00, 0, 0x20, 0x4E564D65)), "0 0");
    EXPECT_EQ(get(0, 0x14), "0 460001") << "there is no subsystem to reset";
    EXPECT_EQ(ask(controller_, *admin_, fabrics(0x00, 0, 0x14, 0x00464001)), "0 0");
    EXPECT_EQ(get(0, 0x1C), "0 9") << "shut down";
    EXPECT_EQ(ask(controller_, *admin_, fabrics(0x00, 0, 0x14, 0x00460000)), "0 0");
    EXPECT_EQ(get(0, 0x1C), "0 0");
}

TEST_F(DiscoveryControllerTest, FabricsCommandsAreOfTheirQueue) {
    EXPECT_EQ(ask(controller_, *admin_, fabrics(0x01)), "400c") << "it is connected";
    EXPECT_EQ(ask(controller_, *admin_, fabrics(0x08)), "4185") << "the admin queue is not disconnected";
    EXPECT_EQ(ask(controller_, *admin_, fabrics(0x44)), "4001") << "there is no such command";
    EXPECT_EQ(ask(controller_, *admin_, command(0x06, {0x01})), "400c") << "it is not enabled";
    const auto io = queue(controller_, 1);
    EXPECT_EQ(ask(controller_, *io, fabrics(0x04, 0, 0x08)), "4185");
    EXPECT_EQ(ask(controller_, *io, fabrics(0x00, 0, 0x14, 1)), "4185");
    EXPECT_FALSE(controller_.isEnabled());
    EXPECT_FALSE(io->isClosing());
    EXPECT_EQ(ask(controller_, *io, fabrics(0x08)), "0 0");
    EXPECT_TRUE(io->isClosing());
}

TEST_F(DiscoveryControllerTest, ReportsThePlacesOfTheDrive) {
    enable(controller_, *admin_);
    const auto getLog = [&](uint8_t page, uint32_t dwords, uint32_t offset) {
        return ask(controller_, *admin_, command(0x02, {page | (dwords - 1) << 16, 0, offset, 0}));
    };
    EXPECT_EQ(getLog(0x70, 768, 0), "0 0");
    ASSERT_EQ(data_.size(), 3072U);
    EXPECT_EQ(data_[8], 2) << "records";
    EXPECT_EQ((Bytes{data_[1024], data_[1025], data_[1026]}), (Bytes{3, 1, 2})) << "TCP, IPv4, NVM subsystem";
    EXPECT_EQ(std::string(data_.begin() + 1024 + 32, data_.begin() + 1024 + 37), "4420 ");
    EXPECT_EQ((Bytes{data_[2048], data_[2049], data_[2050]}), (Bytes{3, 2, 2})) << "IPv6";
    EXPECT_EQ(std::string(data_.begin() + 2048 + 512, data_.begin() + 2048 + 516), "::1 ");
    EXPECT_EQ(getLog(0x70, 2, 3068), "0 0");
    EXPECT_EQ(data_.size(), 8U) << "filled up with zeros";
    EXPECT_EQ(getLog(0x70, 1, 2), "4002") << "an offset within a dword";
    EXPECT_EQ(getLog(0x70, 1, 3072), "4002") << "past the end";
    EXPECT_EQ(ask(controller_, *admin_, command(0x02, {0xFFFF0070, 4})), "4002") << "more than can be transferred";
    EXPECT_EQ(getLog(0x02, 128, 0), "4109") << "another page";
    EXPECT_EQ(data_, Bytes());
}

TEST_F(DiscoveryControllerTest, HasTheCommandsOfADiscoveryControllerAlone) {
    enable(controller_, *admin_);
    EXPECT_EQ(ask(controller_, *admin_, command(0x06, {0x01})), "0 0");
    ASSERT_EQ(data_.size(), 4096U);
    EXPECT_EQ(data_[111], 2) << "CNTRLTYPE";
    EXPECT_EQ(data_[77], 8) << "MDTS";
    EXPECT_EQ(ask(controller_, *admin_, command(0x06, {0x02})), "4002") << "there are no namespaces";
    EXPECT_EQ(ask(controller_, *admin_, command(0x09, {0x0B, 0x80000000})), "0 0");
    EXPECT_EQ(ask(controller_, *admin_, command(0x0A, {0x0B})), "0 80000000");
    EXPECT_EQ(ask(controller_, *admin_, command(0x09, {0x07, 1})), "4002") << "there are no queues";
    EXPECT_EQ(ask(controller_, *admin_, command(0x0A, {0x07})), "4002");
    EXPECT_EQ(ask(controller_, *admin_, command(0x80)), "4001") << "Format NVM";
    const auto io = queue(controller_, 1);
    EXPECT_EQ(ask(controller_, *io, command(0x01)), "4001") << "there is nothing to write to";
}

TEST_F(DiscoveryControllerTest, KeepsTheTimerOfTheAssociation) {
    enable(controller_, *admin_);
    EXPECT_EQ(ask(controller_, *admin_, command(0x18)), "0 0") << "Keep Alive";
    EXPECT_EQ(ask(controller_, *admin_, command(0x0A, {0x00F})), "0 1d4c0");
    EXPECT_EQ(ask(controller_, *admin_, command(0x0A, {0x10F})), "0 0") << "the default";
    EXPECT_EQ(ask(controller_, *admin_, command(0x0A, {0x30F})), "0 4") << "it can be changed";
    EXPECT_EQ(ask(controller_, *admin_, command(0x0A, {0x40F})), "4002") << "there is no such selection";
    EXPECT_EQ(ask(controller_, *admin_, command(0x09, {0x8000000F, 5000})), "410d") << "it is not saved";
    EXPECT_EQ(ask(controller_, *admin_, command(0x09, {0x0F, 0xFFFFFFFF})), "401a") << "too long";
    EXPECT_EQ(ask(controller_, *admin_, command(0x0A, {0x0F})), "0 1d4c0");
    EXPECT_EQ(ask(controller_, *admin_, command(0x09, {0x0F, 5000})), "0 0");
    EXPECT_FALSE(controller_.isExpired(6000));
    EXPECT_TRUE(controller_.isExpired(20000));
    EXPECT_EQ(ask(controller_, *admin_, command(0x09, {0x0F, 0})), "0 0");
    EXPECT_FALSE(controller_.isExpired(UINT64_MAX)) << "without a timer";
}

TEST_F(DiscoveryControllerTest, HoldsFourEventRequests) {
    enable(controller_, *admin_);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(ask(controller_, *admin_, command(0x0C)), "held");
    EXPECT_EQ(ask(controller_, *admin_, command(0x0C)), "4105");
    EXPECT_EQ(ask(controller_, *admin_, command(0x08, {0x00070009})), "0 1") << "a queue that there is not";
    EXPECT_EQ(ask(controller_, *admin_, command(0x08, {0x00070000})), "0 1") << "a command that there is not";
    enable(controller_, *admin_);
}

class DriveOfFabricsTest : public FabricsControllerTest {
protected:
    DriveOfFabricsTest() {
        description_.serialNumber = "SIM1";
        description_.sizeBytes = 4 << 20;
        describe();
    }
    void describe() { writeWholeFile(folder_ / features::simulator::FILE_DESCRIPTION, description_.toText()); }
    /// The drive can no longer be read.
    void damage() { writeWholeFile(folder_ / features::simulator::FILE_STATE, "short"); }

    TemporaryFolder folder_;
    features::simulator::Description description_;
    features::simulator::SystemClock clock_;
    features::simulator::Controller drive_{folder_ / "", clock_};
};

TEST_F(DriveOfFabricsTest, CommandsToADriveThatCannotBeReadFail) {
    const std::string damaged =
        "nimbrel-simdrive: The state of the simulated drive is damaged: " + (folder_ / "") + "/state is too short.\n";
    DriveController controller(drive_, {}, 0, 0);
    const auto admin = queue(controller, 0);
    const auto io = queue(controller, 1);
    enable(controller, *admin);
    EXPECT_EQ(ask(controller, *admin, command(0x06, {0x01})), "0 0");
    damage();
    testing::internal::CaptureStderr();
    EXPECT_EQ(ask(controller, *admin, command(0x06, {0x01})), "4006");
    EXPECT_EQ(data_, Bytes());
    EXPECT_EQ(ask(controller, *io, command(0x00)), "4006");
    EXPECT_EQ(ask(controller, *admin, command(0x0C)), "4006") << "an event request";
    EXPECT_EQ(ask(controller, *admin, fabrics(0x00, 0, 0x20, 0x4E564D65)), "0 0") << "a reset of the subsystem";
    EXPECT_FALSE(controller.isEnabled());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), damaged + damaged + damaged + damaged);
    enable(controller, *admin);
    testing::internal::CaptureStderr();
    EXPECT_EQ(ask(controller, *admin, fabrics(0x00, 0, 0x14, 0)), "0 0") << "a reset of the controller";
    EXPECT_EQ(testing::internal::GetCapturedStderr(), damaged);
}

TEST_F(DriveOfFabricsTest, AnotherValueThanTheNameOfNvmeResetsNothing) {
    DriveController controller(drive_, {}, 0, 0);
    const auto admin = queue(controller, 0);
    const auto io = queue(controller, 1);
    enable(controller, *admin);
    EXPECT_EQ(ask(controller, *admin, fabrics(0x00, 0, 0x20, 0x4E564D64)), "0 0");
    EXPECT_TRUE(controller.isEnabled());
    EXPECT_EQ(ask(controller, *admin, fabrics(0x00, 0, 0x20, 0x4E564D65)), "0 0");
    EXPECT_FALSE(controller.isEnabled());
    EXPECT_TRUE(io->isOver()) << "I/O queues end";
    EXPECT_FALSE(admin->isOver());
}

TEST_F(DriveOfFabricsTest, HasTheNumberOfQueuesOfTheTarget) {
    DriveController controller(drive_, {}, 0, 0);
    const auto admin = queue(controller, 0);
    enable(controller, *admin);
    EXPECT_EQ(ask(controller, *admin, command(0x09, {0x07, 0x00FF00FF})), "0 3f003f");
    EXPECT_EQ(ask(controller, *admin, command(0x0A, {0x07})), "0 3f003f");
    EXPECT_EQ(ask(controller, *admin, command(0x0A, {0x307})), "0 4") << "capabilities are no numbers";
}

TEST_F(DriveOfFabricsTest, ADriveThatVanishesEndsItsAssociations) {
    DriveController controller(drive_, {}, 0, 0);
    const auto admin = queue(controller, 0);
    enable(controller, *admin);
    EXPECT_EQ(ask(controller, *admin, command(0x0C)), "held");
    controller.lookAfterDrive(1000);
    EXPECT_FALSE(controller.isOver());
    description_.faults.isGone = true;
    describe();
    controller.lookAfterDrive(1400);
    EXPECT_FALSE(controller.isOver()) << "it looks twice a second";
    testing::internal::CaptureStderr();
    controller.lookAfterDrive(1500);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "nimbrel-simdrive: System error. " + (folder_ / "") + ": the drive is gone.\n");
    EXPECT_TRUE(controller.isOver());
    EXPECT_TRUE(admin->isOver());
}

TEST_F(DriveOfFabricsTest, ADriveWithoutItsFilesEndsItsAssociations) {
    DriveController controller(drive_, {}, 0, 0);
    const auto admin = queue(controller, 0);
    enable(controller, *admin);
    writeWholeFile(folder_ / features::simulator::FILE_DESCRIPTION, "[drive]\n");
    testing::internal::CaptureStderr();
    controller.lookAfterDrive(1000);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("\"model\" is missing in [drive]."), std::string::npos);
    EXPECT_TRUE(controller.isOver());
}

TEST_F(DriveOfFabricsTest, ADriveThatDoesNotIdentifyItselfIsNotOffered) {
    const auto identified = [this] { return statusText(identifyDrive(drive_)); };
    EXPECT_EQ(identified(), statusText(ostrel::core::Status()));
    FaultyCommand identify;
    identify.opcode = 0x06;
    description_.faults.hang = {identify};
    describe();
    EXPECT_EQ(identified(), "1/5 The drive does not answer Identify.");
    description_.faults.hang.clear();
    identify.statusField = 0x006;
    description_.faults.fail = {identify};
    describe();
    EXPECT_EQ(identified(), "1/5 The drive does not answer Identify.");
    damage();
    EXPECT_EQ(identified(),
              "1/74 The state of the simulated drive is damaged: " + (folder_ / "") + "/state is too short.");
}

}  // namespace
}  // namespace simdrive::tcp
