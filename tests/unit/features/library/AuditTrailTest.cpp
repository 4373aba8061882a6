#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <map>

#include "features/library/AuditTrail.h"
#include "ostrel/core/FileDescriptor.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/XmlConverter.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/fakedrive/FakeDrive.h"

namespace features::library {
namespace {

using namespace ostrel::core;

/// A journal's socket, read by the test.
class Listener {
public:
    explicit Listener(const std::string& path) : socket_(::socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        if (::bind(socket_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
            throw std::runtime_error("bind " + path);
    }
    /// The next datagram; empty: there is none.
    std::string next() const {
        char bytes[65536];
        const ssize_t length = ::recv(socket_.get(), bytes, sizeof bytes, 0);
        return length < 0 ? "" : std::string(bytes, static_cast<size_t>(length));
    }
    std::map<std::string, std::string> nextFields() const {
        std::map<std::string, std::string> fields;
        const std::string datagram = next();
        for (size_t at = 0; at < datagram.size();) {
            const size_t end = datagram.find('\n', at), equals = datagram.find('=', at);
            fields[datagram.substr(at, equals - at)] = datagram.substr(equals + 1, end - equals - 1);
            at = end + 1;
        }
        return fields;
    }

private:
    FileDescriptor socket_;
};

const Requester ALICE{"0", "1000", "1000", "/dev/pts/3", "77 bash"};

std::unique_ptr<xml::XmlElement> parsed(const std::string& text) {
    return XmlConverter::toXml(R"(<?xml version="1.0" encoding="utf-8"?>)" + text);
}
const xml::XmlObject& object(const std::unique_ptr<xml::XmlElement>& element) {
    return dynamic_cast<const xml::XmlObject&>(*element);
}

const char* const DELETE =
    R"(<Object name="Format" type="Method"><Property name="Scan" value="true"/><Property name="Type" value="Delete"/>)"
    R"(<Property name="Force" value="True"/></Object>)";

TEST(AuditTrail, HasAnEntryBeforeAndAfterForEachDrive) {
    const TemporaryFolder folder;
    const Listener listener(folder / "journal");
    const Journal journal(folder / "journal", "");
    const auto request = parsed(DELETE);
    const fakedrive::FakeDrive drive("S1", "/dev/nvme0");
    const AuditTrail trail(journal, object(request), {drive.device()}, ALICE);
    auto begin = listener.nextFields();
    EXPECT_EQ(begin["MESSAGE"],
              "Format (Type=Delete Force=True) on drive S1 (/dev/nvme0) begins; uid 0, sudo by uid 1000, /dev/pts/3");
    const std::string id = begin["NIMBREL_ID"];
    EXPECT_NE(id, "");
    begin.erase("MESSAGE");
    begin.erase("NIMBREL_ID");
    EXPECT_EQ(begin, (std::map<std::string, std::string>{{"PRIORITY", "5"},
                                                         {"SYSLOG_IDENTIFIER", "nimbrel"},
                                                         {"SYSLOG_PID", std::to_string(getpid())},
                                                         {"MESSAGE_ID", "6f1c9a7f0d0f4a4c9d4b6b0b7a3e52c1"},
                                                         {"NIMBREL_JOB", "Format"},
                                                         {"NIMBREL_TYPE", "Method"},
                                                         {"NIMBREL_ARGUMENTS", "Type=Delete Force=True"},
                                                         {"NIMBREL_UID", "0"},
                                                         {"NIMBREL_SUDO_UID", "1000"},
                                                         {"NIMBREL_LOGIN_UID", "1000"},
                                                         {"NIMBREL_TERMINAL", "/dev/pts/3"},
                                                         {"NIMBREL_PARENT", "77 bash"},
                                                         {"NIMBREL_DRIVE_SERIAL", "S1"},
                                                         {"NIMBREL_DRIVE_MODEL", "FAKE DRIVE"},
                                                         {"NIMBREL_DRIVE_PATH", "/dev/nvme0"},
                                                         {"NIMBREL_PHASE", "begin"}}));
    EXPECT_EQ(listener.next(), "");
    trail.end(Status(), object(parsed("<Object/>")));
    auto end = listener.nextFields();
    EXPECT_EQ(end["NIMBREL_ID"], id);
    EXPECT_EQ(end["NIMBREL_PHASE"], "end");
    EXPECT_EQ(end["NIMBREL_OUTCOME"], "success");
    EXPECT_EQ(end["NIMBREL_STATUS"], "0/0");
    EXPECT_NE(end["NIMBREL_DURATION_USEC"], "");
    EXPECT_EQ(end["MESSAGE"],
              "Format (Type=Delete Force=True) on drive S1 (/dev/nvme0) ended with 0/0 (Completed successfully.); uid "
              "0, sudo by uid 1000, /dev/pts/3");
}

TEST(AuditTrail, TheDrivesOwnStatusIsTheOutcome) {
    const TemporaryFolder folder;
    const Listener listener(folder / "journal");
    const Journal journal(folder / "journal", "");
    const auto request = parsed(DELETE);
    const fakedrive::FakeDrive first("S1", "/dev/nvme0"), second("S2", "/dev/nvme1");
    const AuditTrail trail(journal, object(request), {first.device(), second.device()}, ALICE);
    (void)listener.next();
    (void)listener.next();
    const auto output =
        parsed(R"(<Object><Object category="Output"><Object category="status"><Property name="Category" value="10"/>)"
               R"(<Property name="Code" value="241"/><Property name="Message" value="It is mounted."/>)"
               R"(<Property name="DevicePath" value="/dev/nvme1"/></Object></Object></Object>)");
    trail.end(Status(), object(output));
    EXPECT_EQ(listener.nextFields()["NIMBREL_STATUS"], "0/0");
    auto refused = listener.nextFields();
    EXPECT_EQ(refused["NIMBREL_DRIVE_SERIAL"], "S2");
    EXPECT_EQ(refused["NIMBREL_STATUS"], "10/241");
    EXPECT_EQ(refused["NIMBREL_STATUS_TEXT"], "It is mounted.");
    EXPECT_EQ(refused["NIMBREL_OUTCOME"], "failure");
}

TEST(AuditTrail, ARefusedRequestIsAFailureOfItsDrives) {
    const TemporaryFolder folder;
    const Listener listener(folder / "journal");
    const Journal journal(folder / "journal", "");
    const fakedrive::FakeDrive drive;
    const AuditTrail trail(journal, object(parsed(DELETE)), {drive.device()}, ALICE);
    (void)listener.next();
    trail.end(statuses::jobBlocked(), object(parsed("<Object/>")));
    EXPECT_EQ(listener.nextFields()["NIMBREL_STATUS"], "11/9");
}

TEST(AuditTrail, SecretsStayOutAndLinesStayWhole) {
    const TemporaryFolder folder;
    const Listener listener(folder / "journal");
    const Journal journal(folder / "journal", "");
    const fakedrive::FakeDrive drive;
    const auto request = parsed(R"(<Object name="PSIDRevert" type="Method"><Property name="psid" value="ABCDEF"/>)"
                                R"(<Property name="Name" value="a&#10;NIMBREL_UID=7"/></Object>)");
    const AuditTrail trail(journal, object(request), {drive.device()}, ALICE);
    auto fields = listener.nextFields();
    EXPECT_EQ(fields["NIMBREL_ARGUMENTS"], "psid=(secret) Name=a NIMBREL_UID=7");
    EXPECT_EQ(fields["NIMBREL_UID"], "0");
}

TEST(AuditTrail, WithoutAJournalSyslogTakesTheMessage) {
    const TemporaryFolder folder;
    const Listener listener(folder / "log");
    const Journal journal(folder / "journal", folder / "log");
    const fakedrive::FakeDrive drive("S1", "/dev/nvme0");
    const AuditTrail trail(journal, object(parsed(DELETE)), {drive.device()}, ALICE);
    EXPECT_EQ(listener.next(), "<85>nimbrel[" + std::to_string(getpid()) +
                                   "]: Format (Type=Delete Force=True) on drive S1 (/dev/nvme0) begins; uid 0, sudo by "
                                   "uid 1000, /dev/pts/3");
}

TEST(AuditTrail, AHostWithoutEitherIsNamedInTheDebugLog) {
    LogCapture log;
    const Journal journal = Journal::none();
    const fakedrive::FakeDrive drive("S1", "/dev/nvme0");
    const AuditTrail trail(journal, object(parsed(DELETE)), {drive.device()}, ALICE);
    EXPECT_NE(log.lines().find("[info] No journal takes the audit entry: Format (Type=Delete Force=True) on drive S1"),
              std::string::npos)
        << log.lines();
}

TEST(Journal, AJournalThatDoesNotReadHoldsACommandUpForASecondAtMost) {
    const TemporaryFolder folder;
    const Listener listener(folder / "journal");
    const Journal journal(folder / "journal", "");
    bool isFull = false;
    for (int entry = 0; entry < 100000 && !isFull; ++entry) isFull = !journal.write(std::string(4096, 'x'), {});
    EXPECT_TRUE(isFull);
}

TEST(Requester, ReportsWhoRunsTheProcess) {
    const TemporaryFolder folder;
    std::filesystem::create_directories(folder / "self");
    std::filesystem::create_directories(folder / std::to_string(getppid()));
    std::ofstream(folder / "self/loginuid") << "1000\n";
    std::ofstream(folder / (std::to_string(getppid()) + "/comm")) << "ansible\n";
    setenv("SUDO_UID", "1001", 1);
    Requester requester = requesterOfThisProcess(folder / "");
    EXPECT_EQ(requester.uid, std::to_string(getuid()));
    EXPECT_EQ(requester.sudoUid, "1001");
    EXPECT_EQ(requester.loginUid, "1000");
    EXPECT_EQ(requester.parent, std::to_string(getppid()) + " ansible");
    setenv("SUDO_UID", "1; reboot", 1);
    std::ofstream(folder / "self/loginuid") << "4294967295\n";
    requester = requesterOfThisProcess(folder / "");
    unsetenv("SUDO_UID");
    EXPECT_EQ(requester.sudoUid, "");
    EXPECT_EQ(requester.loginUid, "");
}

}  // namespace
}  // namespace features::library
