#include <gtest/gtest.h>
#include <sys/socket.h>

#include "features/nvme/Bytes.h"
#include "simdrive/tcp/Connection.h"

namespace simdrive::tcp {
namespace {

using Bytes = std::vector<uint8_t>;
using features::nvme::putLe16;
using features::nvme::putLe32;

/// Carries out every command, and remembers what came with it.
class Recorder : public CommandHandler {
public:
    Reply handle(Connection&, const Capsule& capsule, Bytes& data) override {
        commands.push_back(capsule.opcode());
        received = data;
        return reply;
    }

    Reply reply;
    std::vector<uint8_t> commands;
    Bytes received;
};

class TcpConnectionTest : public testing::Test {
protected:
    TcpConnectionTest() { connect(); }

    void connect() {
        int ends[2] = {-1, -1};
        ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends), 0);
        host_ = ostrel::core::FileDescriptor(ends[1]);
        connection_ = std::make_unique<Connection>(ostrel::core::FileDescriptor(ends[0]), handler_);
    }
    /// What the target says to these bytes.
    Bytes ask(const Bytes& bytes) {
        EXPECT_EQ(::send(host_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
        connection_->onReadable();
        connection_->onWritable();
        Bytes answer(1 << 16);
        const ssize_t count = ::recv(host_.get(), answer.data(), answer.size(), MSG_DONTWAIT);
        answer.resize(count < 0 ? 0 : static_cast<size_t>(count));
        return answer;
    }
    /// A connection that is ready for commands; data have digests with 2.
    void initialize(uint8_t digests = 0) {
        connect();
        EXPECT_EQ(ask(initialization(0, 0, digests)).size(), 128U);
    }
    static Bytes initialization(uint16_t version, uint8_t alignment, uint8_t digests) {
        Bytes unit(128);
        unit[2] = unit[4] = 128;
        putLe16(unit.data() + 8, version);
        unit[10] = alignment;
        unit[11] = digests;
        return unit;
    }
    /// A command with an SGL, and with data in the capsule.
    static Bytes capsule(uint8_t opcode, uint32_t length, uint8_t sglType, const Bytes& data = {},
                         uint16_t commandId = 5) {
        Bytes unit(72);
        unit[0] = 0x04;
        unit[2] = 72;
        unit[3] = data.empty() ? 0 : 72;
        putLe32(unit.data() + 4, static_cast<uint32_t>(72 + data.size()));
        unit[8] = opcode;
        unit[9] = 0x40;  // an SGL
        putLe16(unit.data() + 10, commandId);
        putLe32(unit.data() + 8 + 32, length);
        unit[8 + 39] = sglType;
        unit.insert(unit.end(), data.begin(), data.end());
        return unit;
    }
    /// Data to the controller for command 5; with a digest, which is a wrong one.
    Bytes dataUnit(uint8_t flags, uint32_t offset, uint32_t length, bool hasDigest = false) const {
        Bytes unit(24 + length + (hasDigest ? 4 : 0), 'x');
        std::fill_n(unit.begin(), 24, uint8_t{0});
        unit[0] = 0x06;
        unit[1] = static_cast<uint8_t>(flags | (hasDigest ? 0x02 : 0));
        unit[2] = unit[3] = 24;
        putLe32(unit.data() + 4, static_cast<uint32_t>(unit.size()));
        unit[8] = 5;
        unit[10] = tag_;
        putLe32(unit.data() + 12, offset);
        putLe32(unit.data() + 16, length);
        return unit;
    }
    /// Asks for a write whose data the target fetches.
    void beginWrite(uint32_t bytes) {
        const Bytes ready = ask(capsule(0x01, bytes, 0x5A));
        ASSERT_EQ(ready.size(), 24U);
        ASSERT_EQ(ready[0], 0x09) << "R2T";
        tag_ = ready[10];
    }
    /// The status field of the completion of command 5.
    static void expectCompleted(const Bytes& unit, uint16_t statusField, const std::string& why) {
        ASSERT_EQ(unit.size(), 24U) << why;
        EXPECT_EQ(unit[0], 0x05) << why;
        EXPECT_EQ(unit[8 + 12], 5) << why;
        EXPECT_EQ((unit[8 + 14] | unit[8 + 15] << 8) >> 1, statusField) << why;
    }
    /// The connection ends for this fatal error, with where in the header it is.
    void expectTerminated(const Bytes& unit, uint16_t error, uint32_t at, const std::string& why) {
        ASSERT_GE(unit.size(), 24U) << why;
        EXPECT_EQ(unit[0], 0x03) << why;
        EXPECT_EQ(unit[8] | unit[9] << 8, error) << why;
        EXPECT_EQ(features::nvme::le32(unit.data() + 10), at) << why;
        EXPECT_TRUE(connection_->isOver()) << why;
    }

    Recorder handler_;
    ostrel::core::FileDescriptor host_;
    std::unique_ptr<Connection> connection_;
    uint8_t tag_ = 0;  ///< of the last R2T
};

TEST_F(TcpConnectionTest, AnInitializationThatItDoesNotKnowEndsIt) {
    expectTerminated(ask(initialization(1, 0, 0)), 6, 8, "another version");
    connect();
    expectTerminated(ask(initialization(0, 32, 0)), 1, 10, "an alignment of more than 128 bytes");
    connect();
    expectTerminated(ask(capsule(0x00, 0, 0)), 2, 0, "a command before it");
    initialize();
    expectTerminated(ask(initialization(0, 0, 0)), 2, 0, "a second one");
    EXPECT_EQ(handler_.commands, Bytes());
}

TEST_F(TcpConnectionTest, CommandsWhoseDataCannotBeFoundAreNotCarriedOut) {
    const struct {
        Bytes unit;
        uint16_t status;
        const char* why;
    } CASES[] = {
        {capsule(0x03, 512, 0x5A), 0x4001, "an opcode of both directions"},
        {capsule(0x01, 4, 0x01, {1, 2, 3}), 0x400F, "more than is in the capsule"},
        {capsule(0x01, (1 << 20) + 1, 0x5A), 0x400F, "more than can be transferred"},
        {capsule(0x02, 512, 0x01), 0x4011, "a read into the capsule"},
        {capsule(0x01, 512, 0x00), 0x4011, "another kind of SGL"},
    };
    for (const auto& c : CASES) {
        initialize();
        expectCompleted(ask(c.unit), c.status, c.why);
        EXPECT_FALSE(connection_->isOver()) << c.why;
    }
    initialize();
    Bytes pages = capsule(0x01, 512, 0x5A);
    pages[9] = 0x00;
    expectCompleted(ask(pages), 0x4002, "PRPs");
    Bytes fused = capsule(0x01, 512, 0x5A);
    fused[9] = 0x41;
    expectCompleted(ask(fused), 0x4002, "a fused command");
    Bytes offset = capsule(0x01, 1, 0x01, {1, 2, 3});
    putLe32(offset.data() + 8 + 24, 4);
    expectCompleted(ask(offset), 0x4016, "an offset past the capsule");
    EXPECT_EQ(handler_.commands, Bytes());
    expectCompleted(ask(capsule(0x01, 3, 0x01, {1, 2, 3})), 0, "data in the capsule");
    EXPECT_EQ(handler_.received, (Bytes{1, 2, 3}));
    expectCompleted(ask(capsule(0x02, 0, 0x5A)), 0, "a read of nothing");
    EXPECT_EQ(handler_.commands, (Bytes{0x01, 0x02}));
}

TEST_F(TcpConnectionTest, DamagedDataIsNotWritten) {
    initialize(2);
    beginWrite(512);
    EXPECT_EQ(ask(dataUnit(0x00, 0, 256, true)), Bytes());
    expectCompleted(ask(dataUnit(0x04, 256, 256, true)), 0x0022, "both pieces");
    EXPECT_EQ(handler_.commands, Bytes());
    EXPECT_FALSE(connection_->isOver()) << "the host may send the command again";
}

TEST_F(TcpConnectionTest, DataThatWasNotAskedForEndsIt) {
    Bytes otherCommand = dataUnit(0x04, 0, 512);
    otherCommand[8] = 6;
    const struct {
        Bytes unit;
        uint16_t error;
        uint32_t at;
        const char* why;
    } CASES[] = {
        {dataUnit(0x04, 256, 512), 4, 12, "at another offset"},
        {dataUnit(0x04, 0, 0), 4, 16, "none"},
        {dataUnit(0x04, 0, 516), 4, 16, "more than was asked for"},
        {dataUnit(0x04, 0, 256), 1, 1, "less, and the last"},
        {dataUnit(0x00, 0, 512), 1, 1, "all, and not the last"},
        {otherCommand, 1, 8, "of another command"},
    };
    for (const auto& c : CASES) {
        initialize();
        beginWrite(512);
        Bytes unit = c.unit;
        unit[10] = tag_;
        expectTerminated(ask(unit), c.error, c.at, c.why);
    }
    initialize();
    beginWrite(512);
    Bytes otherTag = dataUnit(0x04, 0, 512);
    ++otherTag[10];
    expectTerminated(ask(otherTag), 1, 10, "of another transfer");
    initialize();
    expectTerminated(ask(dataUnit(0x04, 0, 512)), 2, 0, "without a command");
    EXPECT_EQ(handler_.commands, Bytes());
    initialize();
    beginWrite(512);
    expectCompleted(ask(dataUnit(0x04, 0, 512)), 0, "as it was asked for");
    EXPECT_EQ(handler_.received, Bytes(512, 'x'));
}

TEST_F(TcpConnectionTest, ACommandIdentifierIsUsedOnce) {
    initialize();
    handler_.reply = Reply::held();
    EXPECT_EQ(ask(capsule(0x00, 0, 0)), Bytes());
    expectCompleted(ask(capsule(0x00, 0, 0)), 0x4003, "while the first one is held");
    EXPECT_EQ(handler_.commands, Bytes{0x00});
    EXPECT_TRUE(connection_->completeHeld(5, {}));
    EXPECT_FALSE(connection_->completeHeld(5, {})) << "once";
    EXPECT_EQ(ask(capsule(0x00, 0, 0)).size(), 24U) << "the completion of the first, and the second is held";
    connection_->queue.entries = 1;
    expectTerminated(ask(capsule(0x00, 0, 0, {}, 6)), 2, 0, "more commands than the queue has entries");
}

TEST_F(TcpConnectionTest, EndsWithItsHost) {
    initialize();
    connection_->onReadable();
    EXPECT_FALSE(connection_->isOver()) << "nothing has come";
    Bytes term(24);
    term[0] = 0x02;
    term[2] = term[4] = 24;
    EXPECT_EQ(ask(term), Bytes()) << "H2CTermReq wants no answer";
    EXPECT_TRUE(connection_->isOver());
    initialize();
    host_ = ostrel::core::FileDescriptor();
    connection_->onReadable();
    EXPECT_TRUE(connection_->isOver());
    initialize();
    handler_.reply = Reply::held();
    EXPECT_EQ(ask(capsule(0x00, 0, 0)), Bytes());
    EXPECT_TRUE(connection_->completeHeld(5, {}));
    host_ = ostrel::core::FileDescriptor();
    connection_->onWritable();
    EXPECT_TRUE(connection_->isOver()) << "the answer cannot be sent";
}

}  // namespace
}  // namespace simdrive::tcp
