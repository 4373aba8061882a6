#include <sys/socket.h>

#include "simdrive/iscsi/Connection.h"
#include "tests/unit/features/simulator/sata/SimulatedSataDrive.h"

namespace simdrive::iscsi {
namespace {

using Bytes = std::vector<uint8_t>;
using features::simulator::FaultyCommand;

constexpr const char* TARGET = "iqn.2026-01.com.velko.nimbrel:simulated:sim1";
constexpr uint8_t LOGIN = 0x43;

/// A unit of the target: its header, and its data without padding.
struct Answered {
    Bytes header;
    std::string data;

    uint32_t number(size_t at) const {
        return uint32_t{header[at]} << 24 | uint32_t{header[at + 1]} << 16 | uint32_t{header[at + 2]} << 8 |
               header[at + 3];
    }
};

/// A unit of a host.
class Unit {
public:
    Unit(uint8_t opcode, uint8_t flags) : bytes_(48) {
        bytes_[0] = opcode;
        bytes_[1] = flags;
    }
    Unit& number(size_t at, uint32_t value) {
        for (size_t i = 0; i < 4; ++i) bytes_[at + i] = static_cast<uint8_t>(value >> 8 * (3 - i));
        return *this;
    }
    Unit& byte(size_t at, uint8_t value) {
        bytes_[at] = value;
        return *this;
    }
    Unit& cdb(const Bytes& cdb) {
        std::copy(cdb.begin(), cdb.end(), bytes_.begin() + 32);
        return *this;
    }
    Unit& data(const std::string& text) {
        bytes_[6] = static_cast<uint8_t>(text.size() >> 8);
        bytes_[7] = static_cast<uint8_t>(text.size());
        bytes_.insert(bytes_.end(), text.begin(), text.end());
        bytes_.resize((bytes_.size() + 3) / 4 * 4);
        return *this;
    }
    const Bytes& bytes() const { return bytes_; }

private:
    Bytes bytes_;
};

/// "a=1;b=2": as the target takes it, with a zero byte after each.
std::string keys(std::string text) {
    std::replace(text.begin(), text.end(), ';', '\0');
    return text + '\0';
}

Unit login(uint8_t flags, const std::string& text) {
    return Unit(LOGIN, flags).number(16, 0x11).data(keys(text));
}

const std::string NAMES = std::string("InitiatorName=iqn.h;TargetName=") + TARGET;

class IscsiConnectionTest : public SimulatedSataDrive {
protected:
    IscsiConnectionTest() { connect(); }

    /// A connection of its own.
    void connect() {
        int ends[2] = {-1, -1};
        ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends), 0);
        host_ = ostrel::core::FileDescriptor(ends[1]);
        connection_ = std::make_unique<Connection>(ostrel::core::FileDescriptor(ends[0]), device_,
                                                   TargetIdentity{TARGET, "127.0.0.1:3260"}, 7);
        number_ = 1;
    }
    void send(const Bytes& bytes) {
        ASSERT_EQ(::send(host_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
        connection_->onReadable();
    }
    /// All that the target has for the host.
    std::vector<Answered> answers() {
        connection_->onWritable();
        Bytes all(1 << 18);
        const ssize_t count = ::recv(host_.get(), all.data(), all.size(), MSG_DONTWAIT);
        all.resize(count < 0 ? 0 : static_cast<size_t>(count));
        std::vector<Answered> units;
        for (size_t at = 0; at < all.size();) {
            Answered unit;
            unit.header.assign(all.begin() + static_cast<std::ptrdiff_t>(at),
                               all.begin() + static_cast<std::ptrdiff_t>(at) + 48);
            const size_t bytes = unit.number(4) & 0xFFFFFF;
            unit.data.assign(reinterpret_cast<const char*>(all.data()) + at + 48, bytes);
            units.push_back(unit);
            at += 48 + (bytes + 3) / 4 * 4;
        }
        return units;
    }
    /// The only answer to a unit.
    Answered ask(const Unit& unit) {
        send(unit.bytes());
        const auto units = answers();
        EXPECT_EQ(units.size(), 1U);
        return units.empty() ? Answered{Bytes(48), ""} : units[0];
    }
    /// The same of a unit with the next number of the session.
    Answered askNext(Unit unit) { return ask(unit.number(24, number_++)); }

    /// Logs in, with what else is agreed on.
    void logIn(const std::string& more = "SessionType=Normal") {
        connect();
        const Answered answer = ask(login(0x87, NAMES + ";" + more).number(24, number_));
        ASSERT_EQ(answer.header[0], 0x23);
        ASSERT_EQ((Bytes{answer.header[36], answer.header[37]}), (Bytes{0, 0}));
        ASSERT_TRUE(connection_->isLoggedIn());
    }
    static Unit command(uint32_t tag, uint8_t flags, uint32_t expected, const Bytes& cdb) {
        return Unit(0x01, flags).number(16, tag).number(20, expected).cdb(cdb);
    }
    /// A write of sectors from 9 on.
    static Unit write(uint32_t tag, uint8_t sectors) {
        return command(tag, 0xA0, sectors * 512U, {0x2A, 0, 0, 0, 0, 9, 0, 0, sectors});
    }
    static Unit dataOut(uint32_t tag, uint8_t flags, uint32_t transfer, uint32_t offset, size_t bytes) {
        return Unit(0x05, flags).number(16, tag).number(20, transfer).number(40, offset).data(std::string(bytes, 'x'));
    }
    /// The answer is a Reject for this reason, and the connection ends.
    void expectRejected(const Answered& answer, uint8_t reason, const std::string& why) {
        EXPECT_EQ(answer.header[0], 0x3F) << why;
        EXPECT_EQ(answer.header[2], reason) << why;
        EXPECT_EQ(answer.number(16), 0xFFFFFFFF) << why;
        EXPECT_EQ(answer.data.size(), 48U) << why << ": the header that was rejected";
        EXPECT_TRUE(connection_->isOver()) << why;
    }
    /// The drive never answers TEST UNIT READY.
    void hangOnTest() {
        FaultyCommand hang;
        hang.isAta = true;
        hang.opcode = 0xE5;
        description.faults.hang = {hang};
        describe();
    }

    scsi::SatDevice device_{*drive};
    ostrel::core::FileDescriptor host_;
    std::unique_ptr<Connection> connection_;
    uint32_t number_ = 1;
};

TEST_F(IscsiConnectionTest, ALoginThatCannotBeIsRefused) {
    const struct {
        Unit unit;
        Bytes status;
        const char* why;
    } CASES[] = {
        {login(0xC7, NAMES), {2, 0}, "more keys are to come"},
        {login(0x08, NAMES), {2, 0}, "a stage that there is not"},
        {login(0x0C, NAMES), {2, 0}, "the last stage"},
        {login(0x85, NAMES), {2, 0}, "a transit to the same stage"},
        {login(0x84, NAMES), {2, 0}, "a transit back"},
        {login(0x86, NAMES), {2, 0}, "a transit to a stage that there is not"},
        {login(0x87, "nonsense"), {2, 0}, "no keys"},
        {login(0x87, NAMES).byte(15, 1), {2, 10}, "a session that there is not"},
        {login(0x87, std::string("TargetName=") + TARGET), {2, 7}, "no name of the host"},
        {login(0x87, "InitiatorName=iqn.h"), {2, 7}, "no name of the target"},
        {login(0x87, "InitiatorName=iqn.h;TargetName=iqn.other"), {2, 3}, "another target"},
        {login(0x87, NAMES + ";HeaderDigest=CRC32C"), {2, 0}, "digests alone"},
    };
    for (const auto& c : CASES) {
        connect();
        const Answered answer = ask(c.unit);
        EXPECT_EQ(answer.header[0], 0x23) << c.why;
        EXPECT_EQ((Bytes{answer.header[36], answer.header[37]}), c.status) << c.why;
        EXPECT_EQ(answer.number(16), 0x11U) << c.why;
        EXPECT_EQ(answer.data, "") << c.why;
        EXPECT_FALSE(connection_->isLoggedIn()) << c.why;
        EXPECT_TRUE(connection_->isOver()) << c.why;
    }
}

TEST_F(IscsiConnectionTest, ALoginGoesThroughItsStages) {
    EXPECT_EQ(ask(login(0x00, NAMES)).data, keys("TargetPortalGroupTag=1"));
    EXPECT_EQ(ask(login(0x81, "AuthMethod=CHAP,None")).data, keys("AuthMethod=None"));
    EXPECT_EQ(ask(login(0x04, "MaxBurstLength=8192")).data, keys("MaxBurstLength=8192;MaxRecvDataSegmentLength=65536"));
    EXPECT_EQ(ask(login(0x04, "X=1")).data, keys("X=NotUnderstood"));
    EXPECT_FALSE(connection_->isLoggedIn());
    const Answered last = ask(login(0x87, "ErrorRecoveryLevel=2"));
    EXPECT_EQ(last.data, keys("ErrorRecoveryLevel=0"));
    EXPECT_EQ(last.header[1], 0x87);
    EXPECT_EQ((Bytes{last.header[14], last.header[15]}), (Bytes{0, 7})) << "the session's handle";
    EXPECT_TRUE(connection_->isLoggedIn());
    EXPECT_FALSE(connection_->isOver());
}

TEST_F(IscsiConnectionTest, NothingIsAnsweredBeforeTheLogin) {
    for (const uint8_t opcode : Bytes{0x00, 0x01, 0x02, 0x04, 0x05, 0x06}) {
        connect();
        send(Unit(opcode, 0x80).bytes());
        EXPECT_TRUE(connection_->isOver());
        EXPECT_EQ(answers().size(), 0U);
    }
    connect();
    Bytes endless(48);
    endless[5] = 2;  // 128 KiB of data, more than was agreed on
    send(endless);
    EXPECT_TRUE(connection_->isOver());
    EXPECT_EQ(answers().size(), 0U);
}

TEST_F(IscsiConnectionTest, AHostThatLooksForTargetsFindsThisOne) {
    const std::string found = keys(std::string("TargetName=") + TARGET + ";TargetAddress=127.0.0.1:3260,1");
    const struct {
        std::string text;
        std::string answer;
    } CASES[] = {
        {"SendTargets=All", found},    {"SendTargets=", found},          {std::string("SendTargets=") + TARGET, found},
        {"SendTargets=iqn.other", ""}, {"X=1", keys("X=NotUnderstood")},
    };
    ask(login(0x87, "InitiatorName=iqn.h;SessionType=Discovery").number(24, number_));
    for (const auto& c : CASES) {
        const Answered answer = askNext(Unit(0x04, 0x80).number(16, 5).data(keys(c.text)));
        EXPECT_EQ(answer.header[0], 0x24) << c.text;
        EXPECT_EQ(answer.data, c.answer) << c.text;
    }
    EXPECT_EQ(askNext(Unit(0x00, 0x80).number(16, 6)).header[0], 0x20) << "NOP";
    EXPECT_EQ(askNext(Unit(0x06, 0x80).number(16, 6)).header[0], 0x26) << "logout";
    EXPECT_TRUE(connection_->isOver());
}

TEST_F(IscsiConnectionTest, ASessionOfDiscoveryHasNoCommands) {
    for (const uint8_t opcode : Bytes{0x01, 0x02}) {
        connect();
        ask(login(0x87, "InitiatorName=iqn.h;SessionType=Discovery").number(24, number_));
        expectRejected(askNext(Unit(opcode, 0x80)), 0x04, "opcode " + std::to_string(opcode));
    }
}

TEST_F(IscsiConnectionTest, UnitsThatCannotBeAreRejected) {
    const struct {
        Unit unit;
        uint8_t reason;
        const char* why;
    } CASES[] = {
        {login(0x87, NAMES), 0x05, "a second login"},
        {Unit(0x10, 0x80), 0x05, "an opcode that there is not"},
        {Unit(0x04, 0x80).data("nonsense"), 0x04, "a text without keys"},
        {Unit(0x04, 0x00).data(keys("SendTargets=All")), 0x04, "a text in parts"},
        {command(0xFFFFFFFF, 0x80, 0, {0x00}), 0x04, "a command without a tag"},
        {command(1, 0xE0, 512, {0x00}), 0x04, "a command that reads and writes"},
        {command(1, 0xA0, 512, {0x2A, 0, 0, 0, 0, 9, 0, 0, 1}).data(std::string(512, 'x')), 0x04, "immediate data"},
    };
    for (const auto& c : CASES) {
        logIn();
        expectRejected(askNext(c.unit), c.reason, c.why);
    }
    EXPECT_EQ(read(9).status, 0x50);
    EXPECT_EQ(data, Bytes(512, 0)) << "nothing was written";
}

TEST_F(IscsiConnectionTest, ACommandOutOfTurnIsDropped) {
    logIn();
    send(command(1, 0x80, 0, {0x00}).number(24, number_ + 1).bytes());
    EXPECT_EQ(answers().size(), 0U);
    EXPECT_EQ(askNext(command(1, 0x80, 0, {0x00})).header[0], 0x21);
    EXPECT_EQ(ask(Unit(0x40, 0x80).number(16, 3).number(24, 99)).header[0], 0x20) << "an immediate one has no turn";
    send(Unit(0x40, 0x80).number(16, 0xFFFFFFFF).bytes());
    EXPECT_EQ(answers().size(), 0U) << "it wants no answer";
    EXPECT_FALSE(connection_->isOver());
}

TEST_F(IscsiConnectionTest, DataOfAWriteIsFetchedInBursts) {
    logIn("MaxBurstLength=512");
    const Answered first = askNext(write(5, 2));
    EXPECT_EQ(first.header[0], 0x31);
    EXPECT_EQ(first.number(16), 5U);
    EXPECT_EQ(first.number(36), 0U) << "R2TSN";
    EXPECT_EQ(first.number(40), 0U);
    EXPECT_EQ(first.number(44), 512U);
    send(dataOut(5, 0x00, first.number(20), 0, 256).bytes());
    EXPECT_EQ(answers().size(), 0U);
    const Answered second = ask(dataOut(5, 0x80, first.number(20), 256, 256));
    EXPECT_EQ(second.header[0], 0x31);
    EXPECT_EQ(second.number(36), 1U);
    EXPECT_EQ(second.number(40), 512U);
    EXPECT_NE(second.number(20), first.number(20));
    const Answered done = ask(dataOut(5, 0x80, second.number(20), 512, 512));
    EXPECT_EQ(done.header[0], 0x21);
    EXPECT_EQ(done.header[3], 0x00);
    read(10);
    EXPECT_EQ(data, Bytes(512, 'x'));
}

TEST_F(IscsiConnectionTest, DataThatWasNotAskedForIsNotWritten) {
    const struct {
        uint8_t flags;
        uint32_t transfer;  // beside the one that was asked for
        uint32_t offset;
        size_t bytes;
        const char* why;
    } CASES[] = {
        {0x80, 1, 0, 512, "of another transfer"},
        {0x80, 0, 512, 512, "at another offset"},
        {0x80, 0, 0, 0, "none"},
        {0x80, 0, 0, 516, "more than was asked for"},
        {0x80, 0, 0, 256, "less, and the last"},
        {0x00, 0, 0, 512, "all, and not the last"},
    };
    for (const auto& c : CASES) {
        logIn();
        const uint32_t transfer = askNext(write(5, 1)).number(20);
        expectRejected(ask(dataOut(5, c.flags, transfer + c.transfer, c.offset, c.bytes)), 0x04, c.why);
        read(9);
        EXPECT_EQ(data, Bytes(512, 0)) << c.why;
    }
    logIn();
    send(dataOut(6, 0x80, 1, 0, 512).bytes());
    EXPECT_EQ(answers().size(), 0U) << "of a task that was aborted";
    EXPECT_FALSE(connection_->isOver());
    hangOnTest();
    send(command(7, 0x80, 0, {0x00}).number(24, number_++).bytes());
    expectRejected(ask(dataOut(7, 0x80, 0, 0, 4)), 0x04, "of a task that wants none");
}

TEST_F(IscsiConnectionTest, AWriteOfTooMuchIsRefusedBeforeItsDataIsFetched) {
    logIn();
    const Answered answer = askNext(command(5, 0xA0, (1 << 20) + 1, {0x2A, 0, 0, 0, 0, 9, 0, 0, 1}));
    EXPECT_EQ(answer.header[0], 0x21);
    EXPECT_EQ(answer.header[3], 0x02);
    EXPECT_EQ(answer.data, std::string("\0\x08\x72\x05\x24\0\0\0\0\0", 10));
    const Answered nothing = askNext(command(5, 0xA0, 0, {0x2A, 0, 0, 0, 0, 9, 0, 0, 1}));
    EXPECT_EQ(nothing.header[3], 0x02) << "a write without data";
    EXPECT_EQ(nothing.data, std::string("\0\x08\x72\x05\x24\0\0\0\0\0", 10));
}

TEST_F(IscsiConnectionTest, CommandsThatTheDriveDoesNotAnswerAreAborted) {
    const auto manage = [](uint8_t function, uint32_t referenced) {
        return Unit(0x42, 0x80 | function).number(16, 0x99).number(20, referenced);
    };
    hangOnTest();
    logIn();
    for (uint32_t tag = 1; tag <= 32; ++tag) send(command(tag, 0x80, 0, {0x00}).number(24, number_++).bytes());
    EXPECT_EQ(answers().size(), 0U);
    const struct {
        Unit unit;
        uint8_t response;
        const char* why;
    } CASES[] = {
        {manage(0, 1), 5, "no function"},
        {manage(9, 1), 5, "a function that there is not"},
        {manage(8, 1), 4, "the task to another connection"},
        {manage(1, 1).byte(9, 1), 2, "of another logical unit"},
        {manage(1, 1), 0, "a task"},
        {manage(1, 1), 1, "a task that is gone"},
    };
    for (const auto& c : CASES) {
        const Answered answer = ask(c.unit);
        EXPECT_EQ(answer.header[0], 0x22) << c.why;
        EXPECT_EQ(answer.header[2], c.response) << c.why;
        EXPECT_EQ(answer.number(16), 0x99U) << c.why;
    }
    send(command(1, 0x80, 0, {0x00}).number(24, number_++).bytes());
    EXPECT_EQ(answers().size(), 0U) << "there is room for one again";
    expectRejected(askNext(command(40, 0x80, 0, {0x00})), 0x04, "more than the target said it takes");
    logIn();
    send(command(3, 0x80, 0, {0x00}).number(24, number_++).bytes());
    EXPECT_EQ(ask(manage(2, 0)).header[2], 0) << "all of them";
    EXPECT_EQ(ask(manage(1, 3)).header[2], 1);
    send(command(3, 0x80, 0, {0x00}).number(24, number_++).bytes());
    expectRejected(askNext(command(3, 0x80, 0, {0x00})), 0x04, "a tag that is in use");
}

TEST_F(IscsiConnectionTest, EndsWithItsHost) {
    logIn();
    connection_->onReadable();
    EXPECT_FALSE(connection_->isOver()) << "nothing has come";
    host_ = ostrel::core::FileDescriptor();
    connection_->onReadable();
    EXPECT_TRUE(connection_->isOver());
    logIn();
    send(command(1, 0x80, 0, {0x00}).number(24, number_++).bytes());
    host_ = ostrel::core::FileDescriptor();
    connection_->onWritable();
    EXPECT_TRUE(connection_->isOver()) << "the answer cannot be sent";
}

TEST_F(IscsiConnectionTest, AHostThatTakesNothingIsReadNoFurther) {
    logIn();
    for (int i = 0; i < 4; ++i) {
        Unit large = command(1, 0xC0, 1 << 20, {0x28, 0, 0, 0, 0, 9, 0, 0x08, 0});
        send(large.number(24, number_++).bytes());
        connection_->onWritable();
    }
    EXPECT_TRUE(connection_->isWaitingForHost());
    EXPECT_FALSE(connection_->wantsToRead());
    EXPECT_TRUE(connection_->wantsToWrite());
    EXPECT_FALSE(connection_->isOver());
    size_t bytes = 0;
    Bytes piece(1 << 18);
    for (ssize_t count = 1; count > 0;) {
        count = ::recv(host_.get(), piece.data(), piece.size(), MSG_DONTWAIT);
        if (count > 0) bytes += static_cast<size_t>(count);
        connection_->onWritable();
    }
    // Each answer has 128 units of 8 KiB and one with the status.
    EXPECT_EQ(bytes, 4U * ((1 << 20) + 129 * 48)) << "all are answered when it takes them";
    EXPECT_TRUE(connection_->wantsToRead());
}

}  // namespace
}  // namespace simdrive::iscsi
