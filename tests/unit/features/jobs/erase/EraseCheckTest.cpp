#include <gtest/gtest.h>

#include <functional>
#include <map>

#include "features/jobs/erase/EraseCheck.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::jobs {
namespace {

using namespace ostrel::core;
using Piece = SampledDrive::Piece;
using Outcome = Result<Piece>;

Piece filled(uint8_t value) {
    return Piece(SampledDrive::PIECE_BYTES, value);
}
/// Bytes that repeat nothing within a piece's first kilobyte.
Piece text(uint8_t seed) {
    Piece piece = filled(seed);
    piece[7] = static_cast<uint8_t>(seed + 1);
    return piece;
}
Outcome unreadable() {
    return Status(CATEGORY_CORE, 25, "Unrecovered Read Error.");
}

/// What each place holds is the test's own.
class PlannedDrive : public SampledDrive {
public:
    Status checkSelected() override { return Status(); }
    Result<std::vector<SampledSpace>> spaces() override {
        if (failed(failure)) return failure;
        return list;
    }
    Result<Piece> read(uint32_t nsid, uint64_t offset) override {
        reads.emplace_back(nsid, offset);
        return answer(offset);
    }
    std::vector<SampledSpace> list{{1, 4096, std::nullopt}};
    Status failure;  ///< of the question for the spaces
    std::function<Outcome(uint64_t offset)> answer = [](uint64_t) -> Outcome { return text(1); };
    std::vector<std::pair<uint32_t, uint64_t>> reads;
};

constexpr const char* FAILED_AT_0 = "Failed to format drive. The check of the erase failed: namespace 1, byte 0 is ";

TEST(EraseCheck, EachVerdict) {
    const struct {
        std::optional<uint8_t> deallocated;
        Outcome before;
        Outcome after;
        const char* verdict;
        bool isFailure;
        const char* why;
    } CASES[] = {
        {0, text(1), filled(0), "deallocated", false, "zeros, as the drive reports of deallocated blocks"},
        {0xFF, text(1), filled(0xFF), "deallocated", false, "the same with ones"},
        {0, filled(0), filled(0), "deallocated", false, "it was empty before, and is what was promised"},
        {0, unreadable(), filled(0), "deallocated", false, "what is promised needs no sample before"},
        {0, text(1), text(2), "changed", false, "a drive should deallocate, and need not"},
        {std::nullopt, text(1), filled(0), "changed", false, "nothing is promised"},
        {std::nullopt, filled(0xAA), filled(0xAA), "not judged", false, "the erase may leave the same"},
        {std::nullopt, unreadable(), text(1), "not judged", false, "what it was before is not known"},
        {0, unreadable(), unreadable(), "not judged", false, "the place is broken"},
        {0, text(1), text(1), "unchanged", true, "the old data"},
        {std::nullopt, text(1), text(1), "unchanged", true, "the old data"},
        {0, text(1), unreadable(), "unreadable", true, "what cannot be read was not seen to be erased"},
    };
    for (const auto& c : CASES) {
        PlannedDrive drive;
        drive.list[0].deallocated = c.deallocated;
        EraseCheck check;
        drive.answer = [&](uint64_t) { return c.before; };
        check.before(drive, 1);
        drive.answer = [&](uint64_t) { return c.after; };
        const Status status = check.after(drive, statuses::formatFailed());
        EXPECT_EQ(status.getMessage(), c.isFailure ? FAILED_AT_0 + std::string(c.verdict) + "; 1 of 1 places failed."
                                                   : "Completed successfully.")
            << c.why;
        EXPECT_EQ(check.section().list.back().label, "namespace 1, byte 0") << c.why;
        EXPECT_EQ(check.section().list.back().value, c.verdict) << c.why;
    }
}

TEST(EraseCheck, AnOverwriteLeavesItsPattern) {
    const auto withPattern = [](std::initializer_list<uint8_t> bytes) {
        Piece piece;
        while (piece.size() < SampledDrive::PIECE_BYTES) piece.insert(piece.end(), bytes);
        return piece;
    };
    const struct {
        Piece before;
        Piece after;
        const char* verdict;
    } CASES[] = {
        {text(1), withPattern({0x44, 0x33, 0x22, 0x11}), "overwritten"},
        {text(1), withPattern({0xBB, 0xCC, 0xDD, 0xEE}), "overwritten"},
        {withPattern({0x44, 0x33, 0x22, 0x11}), withPattern({0x44, 0x33, 0x22, 0x11}), "overwritten"},
        {text(1), withPattern({0x11, 0x22, 0x33, 0x44}), "changed"},
        {text(1), text(1), "unchanged"},
    };
    for (const auto& c : CASES) {
        PlannedDrive drive;
        EraseCheck check;
        check.expect({0x11223344, 0xEEDDCCBB});
        drive.answer = [&](uint64_t) -> Outcome { return c.before; };
        check.before(drive, 1);
        drive.answer = [&](uint64_t) -> Outcome { return c.after; };
        (void)check.after(drive, statuses::sanitizeFailedUnknownReason());
        EXPECT_EQ(check.section().list.back().value, c.verdict);
    }
}

TEST(EraseCheck, SamplesBeginAndEndOfEachNamespaceAndPlacesBetween) {
    PlannedDrive drive;
    drive.list = {{1, 1048576, std::nullopt}, {2, 8192, std::nullopt}, {3, 4095, std::nullopt}};
    EraseCheck check;
    check.before(drive, 0xFFFFFFFF);
    ASSERT_EQ(drive.reads.size(), 66U);  // 64 and 2: a namespace that is smaller than a sample has none
    EXPECT_EQ(drive.reads[0], std::make_pair(1U, uint64_t{0}));
    EXPECT_EQ(drive.reads[1], std::make_pair(1U, uint64_t{16384}));
    EXPECT_EQ(drive.reads[63], std::make_pair(1U, uint64_t{1044480}));
    EXPECT_EQ(drive.reads[64], std::make_pair(2U, uint64_t{0}));
    EXPECT_EQ(drive.reads[65], std::make_pair(2U, uint64_t{4096}));
}

TEST(EraseCheck, SamplesTheNamespaceThatIsErasedAlone) {
    PlannedDrive drive;
    drive.list = {{1, 4096, std::nullopt}, {2, 4096, std::nullopt}};
    EraseCheck check;
    check.before(drive, 2);
    EXPECT_EQ(drive.reads, (std::vector<std::pair<uint32_t, uint64_t>>{{2, 0}}));
}

TEST(EraseCheck, AFewOldBlocksFailTheWholeErase) {
    PlannedDrive drive;
    drive.list[0].bytes = 1048576;
    EraseCheck check;
    check.before(drive, 1);
    drive.answer = [](uint64_t offset) -> Outcome { return offset < 40000 ? filled(0) : text(1); };
    const Status status = check.after(drive, statuses::sanitizeFailedUnknownReason());
    EXPECT_TRUE(status.is(10, 26));
    EXPECT_EQ(status.getMessage(),
              "Sanitize failed for an unknown reason. The check of the erase failed: namespace 1, byte 49152 is "
              "unchanged; 61 of 64 places failed.");
}

TEST(EraseCheck, APlaceBeyondTheNewEndIsNotJudged) {
    PlannedDrive drive;
    drive.list[0].bytes = 8192;
    EraseCheck check;
    check.before(drive, 1);
    drive.list[0].bytes = 4096;
    drive.answer = [](uint64_t) -> Outcome { return text(2); };
    EXPECT_TRUE(succeeded(check.after(drive, statuses::formatFailed())));
    EXPECT_EQ(check.section().list.back().value, "not judged");
}

TEST(EraseCheck, ADyingDriveIsReadAFewTimesAndThenErased) {
    PlannedDrive drive;
    drive.list[0].bytes = 1048576;
    drive.answer = [](uint64_t) { return unreadable(); };
    EraseCheck check;
    check.before(drive, 1);
    EXPECT_EQ(drive.reads.size(), 4U);
    drive.reads.clear();
    EXPECT_TRUE(succeeded(check.after(drive, statuses::formatFailed())));
    EXPECT_EQ(drive.reads.size(), 4U);
    EXPECT_EQ(check.section().list.back().value, "not judged");
}

TEST(EraseCheck, ADriveThatDiesOfItsEraseHasFailed) {
    PlannedDrive drive;
    drive.list[0].bytes = 1048576;
    EraseCheck check;
    check.before(drive, 1);
    drive.reads.clear();
    drive.answer = [](uint64_t) { return unreadable(); };
    EXPECT_EQ(check.after(drive, statuses::formatFailed()).getMessage(),
              FAILED_AT_0 + std::string("unreadable; 4 of 64 places failed."));
    EXPECT_EQ(drive.reads.size(), 4U);
}

TEST(EraseCheck, ADriveWhoseNamespacesCannotBeAskedForAfterTheEraseHasFailed) {
    PlannedDrive drive;
    EraseCheck check;
    check.before(drive, 1);
    drive.failure = Status(CATEGORY_CORE, 70, "The drive is gone.");
    drive.reads.clear();
    const Status status = check.after(drive, statuses::formatFailed());
    EXPECT_TRUE(status.is(10, 171));
    EXPECT_EQ(status.getMessage(), "Failed to format drive. What was erased could not be checked: The drive is gone.");
    EXPECT_EQ(drive.reads.size(), 0U);
}

TEST(EraseCheck, ANamespaceThatIsGoneAfterTheEraseIsNotJudged) {
    PlannedDrive drive;
    EraseCheck check;
    check.before(drive, 1);
    drive.list.clear();
    drive.reads.clear();
    EXPECT_TRUE(succeeded(check.after(drive, statuses::formatFailed())));
    EXPECT_EQ(drive.reads.size(), 0U);
    EXPECT_EQ(check.section().list.back().value, "not judged");
}

}  // namespace
}  // namespace features::jobs
