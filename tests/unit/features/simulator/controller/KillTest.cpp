#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <random>

#include "tests/unit/features/simulator/FirmwareImageBytes.h"
#include "tests/unit/features/simulator/SimulatedDrive.h"

using features::simulator::Controller;
using features::simulator::DriveStore;
using features::simulator::SubmissionEntry;

namespace {

/// Runs of commands that change a drive, killed at random instants. A second drive gets the same commands and is never
/// killed: after a kill the first one must be what the second one is after the commands that were confirmed, or after
/// the one that was under way as well.
class KilledDrive : public SimulatedDrive {
protected:
    static constexpr int ROUNDS = 500;
    static constexpr uint64_t SEED = 20261120;

    KilledDrive() {
        description.maxNamespaces = 4;
        EXPECT_TRUE(succeeded(DriveStore(folder / "drives").remove("one")));
        EXPECT_TRUE(
            succeeded(DriveStore(folder / "drives").create({{"one", description}, {"two", description}}, clock)));
    }

    struct Step {
        SubmissionEntry command;
        Bytes data;
    };
    /// The command number `index` of the endless sequence. Some of them are refused, which counts errors.
    Step step(unsigned index) const {
        Bytes block(4096, static_cast<uint8_t>(index));
        const uint32_t lba = 8 * (index / 16 % 16);
        switch (index % 16) {
            case 0:
            case 3:
            case 9:
                return {io(0x01, 1, lba, 0, 7), block};
            case 1:
                return {admin(0x09, 0, 0x80000002, index % 5), {}};
            case 2: {
                Bytes range(16);
                range[4] = 128;
                return {io(0x09, 1, 0, 4), range};
            }
            case 4:
                return {admin(0x80, 1, index / 16 % 3 == 0 ? 2 : 0), {}};
            case 5: {
                Bytes request(4096);
                request[1] = request[9] = 8;  // 2,048 blocks: 1 MiB
                return {admin(0x0D), request};
            }
            case 6: {
                Bytes list(4096);
                list[0] = list[2] = 1;
                return {admin(0x15, 2, index / 16 % 2), list};
            }
            case 7:
                return {io(0x08, 1, lba, 0, 15), {}};
            case 8:
                return {admin(0x11, 0, 1023, 0), firmware(index / 16)};
            case 10:
                return {admin(0x10, 0, 2), {}};
            case 11:
                return {admin(0x0D, 3, 1), {}};
            case 12:
                return {admin(0x14, 0, index / 16 % 2 == 0 ? 1 : 0xF), {}};
            case 13:
                return {admin(0x09, 0, 0x08, index & 0xFFFF), {}};
            case 14:  // telemetry is captured
                return {index / 16 % 4 == 0 ? admin(0x02, 0, 0x007F0107) : admin(0x7F), {}};
            default:
                return {admin(0x0D, 2, 1), {}};
        }
    }

    bool carryOut(Controller& drive, unsigned index) const {
        Step next = step(index);
        return drive.execute(next.command, next.data).has_value();
    }

    /// All that a host can see of the drive.
    static Bytes seen(Controller& drive) {
        Bytes all;
        const auto add = [&](const SubmissionEntry& command) {
            Bytes bytes;
            const auto executed = drive.execute(command, bytes);
            EXPECT_TRUE(executed) << executed.error().getMessage();
            const auto completion = executed.value_or(features::simulator::CompletionEntry());
            EXPECT_EQ(completion.statusField, 0);
            if (command.opcode == 0x06 && bytes.size() == 4096 && (command.cdw10 == 0x11)) {
                std::fill(bytes.begin() + 16, bytes.begin() + 24, uint8_t{0});  // NUSE: the file system's affair
            }
            all.insert(all.end(), bytes.begin(), bytes.end());
            for (unsigned i = 0; i < 4; ++i) all.push_back(static_cast<uint8_t>(completion.dword0 >> 8 * i));
        };
        add(admin(0x06, 0, 0x10));
        for (uint32_t nsid = 1; nsid <= 4; ++nsid) add(admin(0x06, nsid, 0x11));
        for (const uint32_t fid : {0x02U, 0x202U, 0x08U}) add(admin(0x0A, 0, fid));
        add(admin(0x02, 0, 0x00FF8004));  // changed namespaces, retained
        add(admin(0x02, 0, 0x008C0006));
        add(admin(0x02, 0, 0x007F0003));
        add(admin(0x02, 0, 0x03FF0001));
        add(io(0x02, 1, 0, 0, 127));
        add(admin(0x02, 0, 0x007F0007));  // the telemetry header
        add(admin(0x02, 0, 0xFFFF010D));  // the persistent event log, 256 KiB of it
        add(admin(0x02, 0, 0x007F020D));
        return all;
    }

    /// Carries out commands from `first` on until it is killed; returns how many were confirmed.
    unsigned killedRun(unsigned first, unsigned microseconds) const {
        int pipe[2];
        EXPECT_EQ(::pipe(pipe), 0);
        const pid_t child = ::fork();
        if (child == 0) {
            ::close(pipe[0]);
            Controller drive(path(), clock);
            for (unsigned index = first;; ++index) {
                if (!carryOut(drive, index) || ::write(pipe[1], "+", 1) != 1) ::_exit(1);
            }
        }
        ::close(pipe[1]);
        ::usleep(microseconds);
        EXPECT_EQ(::kill(child, SIGKILL), 0);
        int result = 0;
        EXPECT_EQ(::waitpid(child, &result, 0), child);
        EXPECT_TRUE(WIFSIGNALED(result)) << "a command failed: " << result;
        unsigned confirmed = 0;
        char byte = 0;
        while (::read(pipe[0], &byte, 1) == 1) ++confirmed;
        ::close(pipe[0]);
        return confirmed;
    }

    /// Each time another revision: a commit that changes nothing would leave open whether it was carried out.
    static Bytes firmware(unsigned number) { return firmwareImage(std::to_string(number), 1, 4096); }
};

TEST_F(KilledDrive, IsNeverHalfOfAnything) {
    std::mt19937_64 random(SEED);
    Controller reference(folder / "drives/two", clock);
    // The first event of the persistent event log brings a SMART snapshot, with counters that a killed process may
    // lose.
    ASSERT_TRUE(carryOut(reference, 1));
    reopen();
    ASSERT_TRUE(carryOut(*controller, 1));
    unsigned next = 0;
    unsigned unconfirmed = 0;
    // Follows the machine: beside other work a command takes many times as long.
    double longestMicroseconds = 25000;
    for (int round = 0; round < ROUNDS; ++round) {
        const auto microseconds =
            static_cast<unsigned>(random() % static_cast<unsigned>(std::max(longestMicroseconds, 1.0)));
        const unsigned confirmed = killedRun(next, microseconds);
        longestMicroseconds *= confirmed == 0 ? 1.1 : 1 / 1.1;
        for (unsigned i = 0; i < confirmed; ++i) ASSERT_TRUE(carryOut(reference, next++));
        reopen();
        const Bytes drive = seen(*controller);
        if (drive == seen(reference)) continue;
        ASSERT_TRUE(carryOut(reference, next++));
        ++unconfirmed;
        const Bytes expected = seen(reference);
        const auto where = std::mismatch(drive.begin(), drive.end(), expected.begin(), expected.end());
        ASSERT_TRUE(drive == expected) << "offset " << where.first - drive.begin() << ": " << int{*where.first}
                                       << " instead of " << int{*where.second}
                                       << ", "
                                          "round "
                                       << round << ", before command " << next;
    }
    // Otherwise the kills have missed what they are for.
    EXPECT_GT(next, static_cast<unsigned>(ROUNDS) / 4);
    EXPECT_GT(unconfirmed, 0U);
}

}  // namespace
