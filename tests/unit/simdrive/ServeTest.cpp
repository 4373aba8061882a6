#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <ctime>
#include <filesystem>
#include <regex>

#include "simdrive/Commands.h"
#include "simdrive/StoreFolder.h"
#include "simdrive/net/Sockets.h"
#include "tests/support/StatusText.h"
#include "tests/support/TemporaryFolder.h"

namespace simdrive {
namespace {

using features::simulator::ModelId;

/// SIGTERM waits for the command, which ends as soon as it listens.
class EndsAtOnce {
public:
    EndsAtOnce() {
        sigemptyset(&signals_);
        sigaddset(&signals_, SIGTERM);
        sigaddset(&signals_, SIGINT);
        EXPECT_EQ(pthread_sigmask(SIG_BLOCK, &signals_, &before_), 0);
        EXPECT_EQ(::raise(SIGTERM), 0);
    }
    ~EndsAtOnce() {
        const timespec now{};
        while (sigtimedwait(&signals_, nullptr, &now) > 0) continue;
        EXPECT_EQ(pthread_sigmask(SIG_SETMASK, &before_, nullptr), 0);
    }
    EndsAtOnce(const EndsAtOnce&) = delete;
    EndsAtOnce& operator=(const EndsAtOnce&) = delete;

private:
    sigset_t signals_{};
    sigset_t before_{};
};

/// A store with the drives "a" (NVMe), "two" (NVMe, two controllers) and "s" (SATA).
class Serve : public testing::Test {
protected:
    Serve() {
        make("a", ModelId::VELKO, false);
        make("two", ModelId::VELKO, true);
        make("s", ModelId::SATA, false);
    }
    void make(const std::string& name, ModelId model, bool hasTwoControllers) {
        CreateOptions options;
        options.drive.description.setModel(model);
        options.drive.description.hasTwoControllers = hasTwoControllers;
        options.drive.description.sizeBytes = 4 << 20;
        options.serial = "SIM-" + name;
        ASSERT_EQ(create(store_, {name}, options).error, "");
    }
    static ServeOptions on(const std::string& address) {
        ServeOptions options;
        options.address = address;
        options.port = 0;
        return options;
    }
    /// "1 error" with what was written to the streams, and "PORT" for each port.
    struct End {
        std::string outcome;
        std::string out;
        std::string error;
    };
    End served(const std::string& name, const ServeOptions& options) const {
        const EndsAtOnce ends;
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        const Outcome outcome = serve(store_, name, options);
        const std::string out = testing::internal::GetCapturedStdout();
        const std::string error = testing::internal::GetCapturedStderr();
        const std::regex port("(1|0)\\:[0-9]+");
        return {std::to_string(outcome.status) + " " + outcome.out + outcome.error,
                std::regex_replace(out, port, "$1:PORT"), error};
    }

    TemporaryFolder folder_;
    DriveStore store_{folder_ / "drives"};
};

TEST_F(Serve, SaysWhereItListensAndThatAnyoneCanEraseTheDrive) {
    const End nvme = served("a", on("127.0.0.1"));
    EXPECT_EQ(nvme.outcome, "0 ");
    EXPECT_EQ(nvme.out,
              "a listens on 127.0.0.1:PORT\n"
              "subsystem nqn.2026-01.com.velko.nimbrel:simulated:SIM-a\n"
              "no authentication: anyone who reaches 127.0.0.1:PORT can read and erase the drive\n");
    EXPECT_EQ(nvme.error, "");
    const End two = served("two", on("127.0.0.1"));
    EXPECT_EQ(two.outcome, "0 ");
    EXPECT_EQ(two.out,
              "two listens on 127.0.0.1:PORT\n"
              "controller 2 listens on 127.0.0.1:PORT\n"
              "subsystem nqn.2026-01.com.velko.nimbrel:simulated:SIM-two\n"
              "no authentication: anyone who reaches 127.0.0.1:PORT or 127.0.0.1:PORT can read and erase the drive\n");
    const End sata = served("s", on("127.0.0.1"));
    EXPECT_EQ(sata.outcome, "0 ");
    EXPECT_EQ(sata.out,
              "s listens on 127.0.0.1:PORT\n"
              "target iqn.2026-01.com.velko.nimbrel:simulated:sim-s\n"
              "no authentication: anyone who reaches 127.0.0.1:PORT can read and erase the drive\n");
    EXPECT_EQ(sata.error, "");
}

TEST_F(Serve, WarnsWhereOtherMachinesReachTheDrive) {
    const std::string warning =
        "nimbrel-simdrive: 0.0.0.0 is no loopback address: other machines can read and erase the drive.";
    EXPECT_EQ(served("a", on("0.0.0.0")).error, warning + " --dhchap-secret-file requires authentication.\n");
    EXPECT_EQ(served("s", on("0.0.0.0")).error, warning + "\n");
    ServeOptions secret = on("0.0.0.0");
    secret.secretFile = folder_ / "secret";
    writeWholeFile(*secret.secretFile, "DHHC-1:00:AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh+KfiaR:\n");
    ASSERT_EQ(::chmod(secret.secretFile->c_str(), 0600), 0);
    const End authenticated = served("a", secret);
    EXPECT_EQ(authenticated.error, "");
    EXPECT_EQ(authenticated.out,
              "a listens on 0.0.0.0:PORT\n"
              "subsystem nqn.2026-01.com.velko.nimbrel:simulated:SIM-a\n"
              "authentication required: DH-HMAC-CHAP\n");
}

TEST_F(Serve, RefusesOptionsThatTheDriveDoesNotHave) {
    ServeOptions second = on("127.0.0.1");
    second.secondPort = 0;
    EXPECT_EQ(served("a", second).outcome, "1 --second-port is for a drive with two controllers.");
    EXPECT_EQ(served("two", second).outcome, "0 ");
    const std::string ofNvme = "2 --second-port and the secrets of DH-HMAC-CHAP are for NVMe drives.";
    EXPECT_EQ(served("s", second).outcome, ofNvme);
    ServeOptions secret = on("127.0.0.1");
    secret.secretFile = folder_ / "secret";
    EXPECT_EQ(served("s", secret).outcome, "1 " + *secret.secretFile + ": No such file or directory.");
    writeWholeFile(*secret.secretFile, "DHHC-1:00:AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh+KfiaR:\n");
    ASSERT_EQ(::chmod(secret.secretFile->c_str(), 0600), 0);
    EXPECT_EQ(served("s", secret).outcome, ofNvme);
    secret.controllerSecretFile = folder_ / "other";
    EXPECT_EQ(served("a", secret).outcome, "1 " + *secret.controllerSecretFile + ": No such file or directory.");
    secret.secretFile.reset();
    EXPECT_EQ(served("a", secret).outcome, "2 --dhchap-ctrl-secret-file goes with --dhchap-secret-file.");
}

TEST_F(Serve, ADriveOrAnAddressThatCannotBeUsedIsNotAnnounced) {
    const auto refused = [&](const std::string& name, const std::string& address) {
        const End end = served(name, on(address));
        EXPECT_EQ(end.out, "");
        return end.outcome;
    };
    for (const char* name : {"a", "s"})
        EXPECT_EQ(refused(name, "host.example"), "1 \"host.example\" is no address: Name or service not known.");
    const auto taken = net::listenOn("127.0.0.1", 0);
    ASSERT_TRUE(taken);
    ServeOptions same = on("127.0.0.1");
    same.port = taken->port;
    for (const char* name : {"a", "s"})
        EXPECT_EQ(served(name, same).outcome,
                  "1 Unable to listen on 127.0.0.1 port " + std::to_string(taken->port) + ": Address already in use.");
    writeWholeFile(store_.pathOf("a") + "/state", "short");
    EXPECT_EQ(refused("a", "127.0.0.1"),
              "1 The state of the simulated drive is damaged: " + store_.pathOf("a") + "/state is too short.");
    writeWholeFile(store_.pathOf("s") + "/state", "short");
    EXPECT_EQ(refused("s", "127.0.0.1"),
              "1 The state of the simulated drive is damaged: " + store_.pathOf("s") + "/state is too short.");
    writeWholeFile(store_.pathOf("two") + "/description.ini", "[drive]\n");
    EXPECT_EQ(refused("two", "127.0.0.1"),
              "1 " + store_.pathOf("two") + "/description.ini: \"model\" is missing in [drive].");
    std::filesystem::remove(store_.pathOf("two") + "/served");
    ASSERT_EQ(::mkdir((store_.pathOf("two") + "/served").c_str(), 0700), 0);
    EXPECT_EQ(refused("two", "127.0.0.1"), "1 System error. " + store_.pathOf("two") + "/served: Is a directory.");
}

// The folder of drives.

TEST(StoreFolder, IsEmptyMissingOrOneOfDrives) {
    const TemporaryFolder folder;
    const auto chosen = [&](const std::string& path, bool mayMake) {
        const auto store = chooseStore(path, mayMake);
        return store ? store->folder() : statusText(store);
    };
    EXPECT_EQ(chosen(folder / "", false) + "/", folder / "");
    EXPECT_EQ(chosen(folder / "new", true), folder / "new");
    EXPECT_EQ(chosen(folder / "new", false), "1/2 System error. " + (folder / "new") + ": No such file or directory.");
    EXPECT_EQ(chosen("", true).substr(0, 2), "1/") << "no path at all";
    std::filesystem::create_directory(folder / "other");
    EXPECT_EQ(chosen(folder / "other///", true), folder / "other");
    writeWholeFile(folder / "other/notes.txt", "mine");
    EXPECT_EQ(chosen(folder / "other", true),
              "1/39 " + (folder / "other") + " holds something else: simulated drives take a folder of their own.");
    EXPECT_EQ(chosen(folder / "other/notes.txt", true),
              "1/20 System error. " + (folder / "other/notes.txt") + ": Not a directory.");
    writeWholeFile(folder / "other/.nimbrel-simdrive.lock", "");
    EXPECT_EQ(chosen(folder / "other", true), folder / "other");
    ASSERT_EQ(::chmod((folder / "other").c_str(), 0722), 0);
    EXPECT_EQ(chosen(folder / "other", true),
              "1/1 System error. " + (folder / "other") + " can be changed by other users.");
}

}  // namespace
}  // namespace simdrive
