#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "features/nvme/Opcodes.h"
#include "features/simulator/controller/Controller.h"
#include "simdrive/tcp/Target.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/allocations/Allocations.h"

namespace simdrive::tcp {
namespace {

using Bytes = std::vector<uint8_t>;
using features::nvme::putLe16;
using features::nvme::putLe32;
using ostrel::core::FileDescriptor;

constexpr size_t ENTRY_BYTES = 64;
constexpr size_t CONNECT_DATA_BYTES = 1024;
constexpr uint8_t OPCODE_IDENTIFY = 0x06;
constexpr uint32_t DELAY_MS = 20;
/// DriveController looks at its drive so often.
constexpr uint32_t LOOK_MS = 500;

std::string drive(const TemporaryFolder& folder) {
    features::simulator::Description description;
    description.serialNumber = "SIM1";
    description.sizeBytes = 4 << 20;
    features::simulator::FaultyCommand slow;
    slow.opcode = OPCODE_IDENTIFY;
    slow.delayMs = DELAY_MS;
    description.faults.slow.push_back(slow);
    writeWholeFile(folder / features::simulator::FILE_DESCRIPTION, description.toText());
    return folder / "";
}

void sleepMs(uint32_t milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

/// A host's end of a connection.
class HostEnd {
public:
    explicit HostEnd(FileDescriptor socket) : socket_(std::move(socket)) {}

    void initialize() {
        Bytes unit(128);
        unit[2] = 128;
        unit[4] = 128;
        send(unit);
    }
    void connectAdminQueue(const std::string& subsystem) {
        Bytes data(CONNECT_DATA_BYTES);
        putLe16(data.data() + 16, 0xFFFF);
        std::copy(subsystem.begin(), subsystem.end(), data.begin() + 256);
        const std::string host = "nqn.2014-08.org.nvmexpress:uuid:11111111-2222-3333-4444-555555555555";
        std::copy(host.begin(), host.end(), data.begin() + 512);
        Bytes entry = command(features::nvme::OPC_FABRICS, CONNECT_DATA_BYTES, 0x01);
        entry[4] = 0x01;  // Connect
        entry[44] = 31;   // entries of the queue, 0's based
        sendCommand(entry, data);
    }
    void enable() {
        Bytes entry = command(features::nvme::OPC_FABRICS, 0, 0x5A);
        entry[44] = 0x14;  // Controller Configuration
        putLe32(entry.data() + 48, 0x00460001);
        sendCommand(entry, {});
    }
    void identify() {
        Bytes entry = command(OPCODE_IDENTIFY, 4096, 0x5A);
        entry[40] = 0x01;  // the controller
        sendCommand(entry, {});
    }

    /// Throws away what has come; false: the target has closed the connection.
    bool isOpen() {
        uint8_t piece[8192];
        ssize_t count = 1;
        while (count > 0) count = ::recv(socket_.get(), piece, sizeof piece, MSG_DONTWAIT);
        return count < 0 && errno == EAGAIN;
    }

private:
    static Bytes command(uint8_t opcode, uint32_t length, uint8_t descriptor) {
        Bytes entry(ENTRY_BYTES);
        entry[0] = opcode;
        entry[1] = 0x40;  // an SGL
        putLe32(entry.data() + 32, length);
        entry[39] = descriptor;
        return entry;
    }
    void sendCommand(const Bytes& entry, const Bytes& data) {
        Bytes unit = {PDU_CAPSULE_CMD, 0, 72, static_cast<uint8_t>(data.empty() ? 0 : 72), 0, 0, 0, 0};
        putLe32(unit.data() + 4, static_cast<uint32_t>(72 + data.size()));
        unit.insert(unit.end(), entry.begin(), entry.end());
        unit.insert(unit.end(), data.begin(), data.end());
        send(unit);
    }
    void send(const Bytes& bytes) {
        ASSERT_EQ(::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
    }

    FileDescriptor socket_;
};

/// A target with a host of the drive and a connection that is no queue yet.
class TargetMemoryTest : public testing::Test {
protected:
    TargetMemoryTest() {
        int ends[2] = {-1, -1};
        EXPECT_EQ(::pipe(ends), 0);
        stop_ = FileDescriptor(ends[0]);
        stopper_ = FileDescriptor(ends[1]);
        EXPECT_TRUE(succeeded(target_.listen(drive_, "127.0.0.1", 0)));
        other_.initialize();
        host_.initialize();
        turn();
        host_.connectAdminQueue(target_.places()[0].subsystem);
        turn();
        host_.enable();
        turn();
    }

    HostEnd adopted() {
        int ends[2] = {-1, -1};
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends), 0);
        target_.adopt(FileDescriptor(ends[0]), "192.0.2.1");
        return HostEnd(FileDescriptor(ends[1]));
    }
    void turn() {
        const auto isStopped = target_.turn(stop_.get(), 0);
        EXPECT_TRUE(isStopped && !*isStopped);
    }
    void turnWithoutMemory() {
        test::failAllocations(true);
        bool isOut = false;
        try {
            (void)target_.turn(stop_.get(), 0);
        } catch (const std::bad_alloc&) {
            isOut = true;
        }
        test::failAllocations(false);
        EXPECT_FALSE(isOut) << "the target ends";
    }

    TemporaryFolder folder_;
    features::simulator::SystemClock clock_;
    features::simulator::Controller drive_{drive(folder_), clock_};
    Target target_{nullptr};
    FileDescriptor stop_;
    FileDescriptor stopper_;
    HostEnd host_ = adopted();
    HostEnd other_ = adopted();
};

TEST_F(TargetMemoryTest, ALateAnswerWithoutMemoryEndsItsConnectionAlone) {
    host_.identify();
    turn();
    sleepMs(DELAY_MS + 1);
    ASSERT_TRUE(host_.isOpen());
    turnWithoutMemory();
    EXPECT_FALSE(host_.isOpen());
    EXPECT_TRUE(other_.isOpen());
}

TEST_F(TargetMemoryTest, ALookAtTheDriveWithoutMemoryEndsItsHostsConnectionsAlone) {
    turn();
    sleepMs(LOOK_MS + 1);
    ASSERT_TRUE(host_.isOpen());
    turnWithoutMemory();
    EXPECT_FALSE(host_.isOpen());
    EXPECT_TRUE(other_.isOpen());
}

TEST_F(TargetMemoryTest, AConnectionForWhichThereIsNoMemoryIsClosedAndNoOther) {
    FileDescriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(target_.places()[0].port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    turnWithoutMemory();
    HostEnd refused(std::move(socket));
    EXPECT_FALSE(refused.isOpen());
    EXPECT_TRUE(host_.isOpen());
    EXPECT_TRUE(other_.isOpen());
}

}  // namespace
}  // namespace simdrive::tcp
