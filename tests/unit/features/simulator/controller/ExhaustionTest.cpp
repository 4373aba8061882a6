#include <fcntl.h>
#include <sys/file.h>

#include <functional>
#include <new>
#include <optional>

#include "ostrel/core/File.h"
#include "ostrel/core/FileDescriptor.h"
#include "tests/support/allocations/Allocations.h"
#include "tests/unit/features/simulator/SimulatedDrive.h"

using namespace features::simulator;

namespace {

/// A process that runs out of memory, or whose check of the drive fails, in the middle of a command.
class Exhaustion : public SimulatedDrive {
protected:
    /// The state without the head, which counts its files.
    std::string state() const { return readWholeFile(path() + "/state").substr(64); }

    void writeBlocks() {
        data.assign(512, 0x5A);
        ASSERT_EQ(status(io(0x01, 1)), 0);  // counted in memory for now
    }
    /// Format NVM of namespace 1 into blocks of 4,096 bytes.
    static SubmissionEntry format() { return admin(0x80, 1, 1); }
    bool runsOutOfMemory(const std::function<void()>& operation, size_t allocations) {
        bool isOut = false;
        test::failAllocationsAfter(allocations);
        try {
            operation();
        } catch (const std::bad_alloc&) {
            isOut = true;
        }
        test::failAllocations(false);
        return isOut;
    }
    bool isLocked() const {
        const ostrel::core::FileDescriptor file(::open((path() + "/lock").c_str(), O_RDWR));
        EXPECT_TRUE(file.isOpen());
        return ::flock(file.get(), LOCK_EX | LOCK_NB) != 0;
    }
};

TEST_F(Exhaustion, SavesNoHalfOfACommand) {
    describe(ModelId::VELKO);
    writeBlocks();
    const std::string uncounted = state();  // as after a loss of power
    controller.reset();
    const std::string before = state();
    describe(ModelId::VELKO);
    writeBlocks();
    ASSERT_EQ(status(format()), 0);
    controller.reset();
    const std::string after = state();
    ASSERT_NE(before, after);
    for (size_t allocations = 0;; allocations += 5) {
        describe(ModelId::VELKO);
        writeBlocks();
        const bool isOut = runsOutOfMemory([&] { (void)controller->execute(format(), data); }, allocations);
        controller.reset();  // saves the counters
        const std::string found = state();
        EXPECT_TRUE(found == before || found == uncounted || found == after)
            << "after " << allocations << " allocations";
        if (!isOut) break;
        ASSERT_LT(allocations, 100000U);
    }
}

TEST_F(Exhaustion, EndsInADestructorWithoutMemoryToo) {
    writeBlocks();
    test::failAllocations(true);
    controller.reset();
    test::failAllocations(false);
    reopen();
    EXPECT_EQ(number(log(0x02, 512), 80, 8), 0U) << "the count of the write is lost";
}

TEST_F(Exhaustion, TheDriveIsCheckedInTheTransactionOfTheCommand) {
    writeBlocks();
    const ostrel::core::Status another(1, 19, "another drive");
    const auto check = [&](const Description& found) {
        EXPECT_EQ(found.serialNumber, "SIM1");
        EXPECT_TRUE(isLocked());
        return another;
    };
    const std::string before = state();
    EXPECT_TRUE(statusOf(controller->execute(format(), data, check)).is(1, 19));
    EXPECT_FALSE(isLocked());
    EXPECT_TRUE(controller->reset(ResetKind::CONTROLLER, check).is(1, 19));
    EXPECT_FALSE(isLocked());
    EXPECT_EQ(state(), before);
    const auto exhausted = [](const Description&) -> ostrel::core::Status { throw std::bad_alloc(); };
    EXPECT_THROW((void)controller->execute(format(), data, exhausted), std::bad_alloc);
    EXPECT_FALSE(isLocked());
    EXPECT_EQ(status(format()), 0) << "not held up by its own lock";
}

TEST_F(Exhaustion, LeavesTheDriveUnlockedWhereverItEnds) {
    writeBlocks();
    const struct {
        const char* name;
        std::function<void()> run;
    } operations[] = {
        {"execute", [&] { (void)controller->execute(format(), data); }},
        {"reset", [&] { (void)controller->reset(ResetKind::CONTROLLER); }},
        {"takeEvent", [&] { (void)controller->takeEvent(); }},
        {"describe", [&] { (void)controller->describe(); }},
    };
    for (const auto& operation : operations) {
        size_t allocations = 0;
        for (bool isOut = true; isOut; ++allocations) {
            isOut = runsOutOfMemory(operation.run, allocations);
            ASSERT_FALSE(isLocked()) << operation.name << " after " << allocations << " allocations";
            ASSERT_LT(allocations, 100000U);
        }
        EXPECT_GT(allocations, 2U) << operation.name;
    }
    EXPECT_EQ(status(format()), 0) << "the drive is as it was";
}

}  // namespace
