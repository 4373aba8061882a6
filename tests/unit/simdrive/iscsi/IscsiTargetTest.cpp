#include <sys/socket.h>
#include <unistd.h>

#include "simdrive/iscsi/Target.h"
#include "tests/unit/features/simulator/sata/SimulatedSataDrive.h"

namespace simdrive::iscsi {
namespace {

using ostrel::core::FileDescriptor;

TEST(IscsiTarget, ItsNameHasTheSerialNumberAsNamesAllowIt) {
    const std::string prefix = "iqn.2026-01.com.velko.nimbrel:simulated:";
    EXPECT_EQ(Target::nameOf("SIM-1"), prefix + "sim-1");
    EXPECT_EQ(Target::nameOf("a.B:c_D/9"), prefix + "a.b:c-d-9");
}

/// A target on a free port, to which hosts come without the network.
class IscsiTargetTest : public SimulatedSataDrive {
protected:
    IscsiTargetTest() {
        int ends[2] = {-1, -1};
        EXPECT_EQ(::pipe(ends), 0);
        stop_ = FileDescriptor(ends[0]);
        stopper_ = FileDescriptor(ends[1]);
        const auto status = target_.listen("127.0.0.1", 0);
        EXPECT_TRUE(succeeded(status)) << status.getMessage();
    }
    FileDescriptor host() {
        int ends[2] = {-1, -1};
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends), 0);
        target_.adopt(FileDescriptor(ends[0]), "192.0.2.1");
        return FileDescriptor(ends[1]);
    }
    void turn() {
        const auto isStopped = target_.turn(stop_.get(), 0);
        EXPECT_TRUE(isStopped && !*isStopped);
    }
    /// Sends a unit with data, and returns what the target has sent.
    Bytes ask(const FileDescriptor& host, Bytes unit, const std::string& text = "") {
        unit.resize(48);
        unit[7] = static_cast<uint8_t>(text.size());
        unit.insert(unit.end(), text.begin(), text.end());
        unit.resize((unit.size() + 3) / 4 * 4);
        EXPECT_EQ(::send(host.get(), unit.data(), unit.size(), MSG_NOSIGNAL), static_cast<ssize_t>(unit.size()));
        turn();
        return taken(host);
    }
    static Bytes taken(const FileDescriptor& host) {
        Bytes bytes(65536);
        const ssize_t count = ::recv(host.get(), bytes.data(), bytes.size(), MSG_DONTWAIT);
        bytes.resize(count < 0 ? 0 : static_cast<size_t>(count));
        return bytes;
    }
    static bool isOpen(const FileDescriptor& host) {
        uint8_t byte = 0;
        return ::recv(host.get(), &byte, 1, MSG_DONTWAIT) < 0 && errno == EAGAIN;
    }
    /// Logs in as a host, with the last byte of the ISID.
    void logIn(const FileDescriptor& host, const std::string& name, uint8_t isid) {
        Bytes login(48);
        login[0] = 0x43;
        login[1] = 0x87;
        login[13] = isid;
        const std::string target = Target::nameOf("SIM1");
        const Bytes answer = ask(host, login, "InitiatorName=" + name + '\0' + "TargetName=" + target + '\0');
        ASSERT_GE(answer.size(), 48U);
        EXPECT_EQ((Bytes{answer[36], answer[37]}), (Bytes{0, 0}));
    }

    Target target_{*drive, Target::nameOf("SIM1")};
    FileDescriptor stop_;
    FileDescriptor stopper_;
};

TEST_F(IscsiTargetTest, AHostThatLogsInAgainTakesThePlaceOfItsSession) {
    const FileDescriptor first = host(), other = host(), otherPort = host(), stranger = host();
    logIn(first, "iqn.h", 1);
    logIn(other, "iqn.other", 1);
    logIn(otherPort, "iqn.h", 2);
    EXPECT_TRUE(isOpen(first));
    const FileDescriptor again = host();
    logIn(again, "iqn.h", 1);
    EXPECT_FALSE(isOpen(first));
    for (const FileDescriptor* each : {&other, &otherPort, &stranger, &again}) EXPECT_TRUE(isOpen(*each));
}

TEST_F(IscsiTargetTest, AHostIsShownTheAddressWhereItReachedTheTarget) {
    const FileDescriptor finder = host();
    const std::string name("InitiatorName=iqn.h\0SessionType=Discovery\0", 42);
    (void)ask(finder, {0x43, 0x87}, name);
    const Bytes answer = ask(finder, {0x44, 0x80}, std::string("SendTargets=All\0", 16));
    const std::string text(answer.begin(), answer.end());
    EXPECT_NE(text.find("TargetAddress=" + target_.address() + ",1"), std::string::npos);
}

TEST_F(IscsiTargetTest, AHostThatGoesWhileOutputWaitsIsForgotten) {
    FileDescriptor reader = host();
    logIn(reader, "iqn.h", 1);
    Bytes read(48);
    read[0] = 0x41;  // immediate
    read[1] = 0xC0;
    read[21] = 0x10;  // 1 MiB
    const Bytes cdb = {0x28, 0, 0, 0, 0, 9, 0, 0x08, 0};
    std::copy(cdb.begin(), cdb.end(), read.begin() + 32);
    EXPECT_EQ(::send(reader.get(), read.data(), read.size(), MSG_NOSIGNAL), 48);
    turn();
    const FileDescriptor other = host();
    logIn(other, "iqn.other", 1);
    reader = FileDescriptor();
    turn();
    turn();
    EXPECT_TRUE(isOpen(other));
    const FileDescriptor same = host();
    logIn(same, "iqn.h", 1);
    EXPECT_TRUE(isOpen(same));
}

TEST_F(IscsiTargetTest, EndsWhenItIsAskedTo) {
    const FileDescriptor other = host();
    logIn(other, "iqn.other", 1);
    EXPECT_EQ(::write(stopper_.get(), "x", 1), 1);
    EXPECT_TRUE(succeeded(target_.run(stop_.get())));
    EXPECT_FALSE(isOpen(other));
}

}  // namespace
}  // namespace simdrive::iscsi
