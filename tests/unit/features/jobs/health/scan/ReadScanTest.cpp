#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "features/jobs/health/scan/ReadScan.h"
#include "ostrel/core/StatusCatalogue.h"
#include "tests/support/fakedrive/FakeDrive.h"
#include "tests/support/fakedrive/MediaDrive.h"
#include "tests/unit/features/jobs/Commands.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::core;

constexpr uint16_t UNRECOVERED_READ_ERROR = 0x4281;

/// "blocks, read, unreadable, ranges, failure"
std::string textOf(const ReadScanResult& result) {
    std::string text = std::to_string(result.blocks) + " blocks, " + std::to_string(result.blocksRead) + " read, " +
                       std::to_string(result.unreadable) + " unreadable:";
    for (const LbaRange& range : result.ranges)
        text += " " + std::to_string(range.first) + "-" + std::to_string(range.last);
    if (failed(result.failure)) text += " failed: " + result.failure.getMessage();
    return text;
}

ReadScanRequest request(uint64_t maxBytes = UINT64_MAX, unsigned commandsAtOnce = 1) {
    ReadScanRequest request;
    request.nsid = 1;
    request.maxBytes = maxBytes;
    request.commandsAtOnce = commandsAtOnce;
    return request;
}

Expected read(uint64_t first, uint32_t blocks, uint32_t blockBytes = 512) {
    return Expected::io(0x02)
        .nsid(1)
        .dword(10, static_cast<uint32_t>(first))
        .dword(11, static_cast<uint32_t>(first >> 32))
        .dword(12, blocks - 1)
        .reads(blocks * blockBytes);
}

/// A namespace and a drive that takes 8 KiB at a time.
FakeDrive& opened(FakeDrive& drive, const DriveBytes& space) {
    return drive.expect(identify(0x01).answers(identifyController().le32(80, 0x00010300).byte(77, 1)))
        .expect(identify(0x00, 1).answers(space));
}

std::string scan(FakeDrive& fake, const ReadScanRequest& wanted) {
    nvme::Drive drive(*fake.device());
    return textOf(readScan(drive, wanted));
}

TEST(ReadScan, ReadsEveryBlockOnce) {
    FakeDrive drive;
    opened(drive, identifyNamespace(40)).expect(read(0, 16)).expect(read(16, 16)).expect(read(32, 8));
    EXPECT_EQ(scan(drive, request()), "40 blocks, 40 read, 0 unreadable:");
}

TEST(ReadScan, ANamespaceWithoutBlocksIsRefusedBeforeARead) {
    FakeDrive drive;
    drive.expect(identify(0x01).answers(identifyController().le32(80, 0x00020000)))
        .expect(identify(0x03, 1).answers(descriptorsOf(1)));
    EXPECT_EQ(
        scan(drive, request()),
        "0 blocks, 0 read, 0 unreadable: failed: The selected drive does not support this feature. Namespace 1 of "
        "drive S1 (/dev/nvme0) is of the Key Value command set, which has no logical blocks.");
}

TEST(ReadScan, SplitsAReadOverAZoneBoundary) {
    constexpr uint16_t ZONE_BOUNDARY_ERROR = 0x41B8;
    FakeDrive drive;
    drive.expect(identify(0x01).answers(identifyController().le32(80, 0x00020000).byte(77, 1)))
        .expect(identify(0x03, 1).answers(descriptorsOf(2)))
        .expect(identify(0x00, 1).answers(identifyNamespace(16)))
        .expect(read(0, 16).refuses(ZONE_BOUNDARY_ERROR))
        .expect(read(0, 8))
        .expect(read(8, 8));
    EXPECT_EQ(scan(drive, request()), "16 blocks, 16 read, 0 unreadable:");
}

TEST(ReadScan, LocatesTheUnreadableBlocksBySplitting) {
    FakeDrive drive;
    opened(drive, identifyNamespace(16))
        .expect(read(0, 16).refuses(UNRECOVERED_READ_ERROR))
        .expect(read(0, 8))
        .expect(read(8, 8).refuses(UNRECOVERED_READ_ERROR))
        .expect(read(8, 4).refuses(UNRECOVERED_READ_ERROR))
        .expect(read(8, 2))
        .expect(read(10, 2).refuses(UNRECOVERED_READ_ERROR))
        .expect(read(10, 1))
        .expect(read(11, 1).refuses(UNRECOVERED_READ_ERROR))
        .expect(read(12, 4).refuses(0x0282))  // a guard check error counts too
        .expect(read(12, 2).refuses(0x0282))
        .expect(read(12, 1).refuses(0x0282))
        .expect(read(13, 1))
        .expect(read(14, 2));
    EXPECT_EQ(scan(drive, request()), "16 blocks, 14 read, 2 unreadable: 11-12");
}

TEST(ReadScan, EndsAtAnErrorThatIsNotOfTheMedia) {
    FakeDrive drive;
    opened(drive, identifyNamespace(40)).expect(read(0, 16)).expect(read(16, 16).refuses(0x4006));
    EXPECT_EQ(scan(drive, request()),
              "40 blocks, 16 read, 0 unreadable: failed: Read failed on drive S1 (/dev/nvme0): Internal Error (status "
              "code type 0x0, status code 0x06, opcode 0x02).");
    drive.expectDone();
    opened(drive, identifyNamespace(40)).expect(read(0, 16).breaks(gone()));
    EXPECT_EQ(scan(drive, request()), "40 blocks, 0 read, 0 unreadable: failed: The drive /dev/nvme0 is gone.");
    drive.expectDone();
    drive.expect(identify(0x01).breaks(gone()));
    EXPECT_EQ(scan(drive, request()), "0 blocks, 0 read, 0 unreadable: failed: The drive /dev/nvme0 is gone.");
}

TEST(ReadScan, SendsLessWhereTheSystemTakesLess) {
    FakeDrive drive;
    opened(drive, identifyNamespace(32))
        .expect(read(0, 16).breaks(statuses::invalidTransferSize()))
        .expect(read(0, 8))
        .expect(read(8, 8))
        .expect(read(16, 8))  // the next piece is split at once
        .expect(read(24, 8));
    EXPECT_EQ(scan(drive, request()), "32 blocks, 32 read, 0 unreadable:");
}

TEST(ReadScan, ABlockThatCannotBeSplitEndsTheScan) {
    FakeDrive tooMuch, boundary;
    opened(tooMuch, identifyNamespace(1)).expect(read(0, 1).breaks(statuses::invalidTransferSize()));
    EXPECT_EQ(scan(tooMuch, request()), "1 blocks, 0 read, 0 unreadable: failed: Invalid transfer size specified.");
    opened(boundary, identifyNamespace(1)).expect(read(0, 1).refuses(0x41B8));
    EXPECT_EQ(scan(boundary, request()),
              "1 blocks, 0 read, 0 unreadable: failed: Read failed on drive S1 (/dev/nvme0): Zone Boundary Error "
              "(status code type 0x1, status code 0xB8, opcode 0x02).");
}

TEST(ReadScan, APartIsSpreadFromTheFirstBlockToTheLast) {
    FakeDrive drive;
    opened(drive, identifyNamespace(0x100000010))
        .expect(read(0, 16))
        .expect(read(0x80000000, 16))
        .expect(read(0x100000000, 16));
    EXPECT_EQ(scan(drive, request(3 * 8192)), "4294967312 blocks, 48 read, 0 unreadable:");
    drive.expectDone();
    opened(drive, identifyNamespace(48)).expect(read(0, 16)).expect(read(32, 16));
    EXPECT_EQ(scan(drive, request(1)), "48 blocks, 32 read, 0 unreadable:") << "both ends at least";
    drive.expectDone();
    opened(drive, identifyNamespace(48)).expect(read(0, 16)).expect(read(16, 16)).expect(read(32, 16));
    EXPECT_EQ(scan(drive, request(48 * 512)), "48 blocks, 48 read, 0 unreadable:") << "all of it fits";
}

TEST(ReadScan, MetadataComesWithTheBlocksOrBesideThem) {
    FakeDrive drive;
    // 4,096 bytes and 8 of metadata as one.
    opened(drive, identifyNamespace(2, 12).byte(26, 0x10).le16(128, 8))
        .expect(read(0, 1, 4104))
        .expect(read(1, 1, 4104));
    EXPECT_EQ(scan(drive, request()), "2 blocks, 2 read, 0 unreadable:");
    drive.expectDone();
    opened(drive, identifyNamespace(3, 12).le16(128, 64))
        .expect(read(0, 2, 4096).metadata(128))
        .expect(read(2, 1, 4096).metadata(64));
    EXPECT_EQ(scan(drive, request()), "3 blocks, 3 read, 0 unreadable:");
    drive.expectDone();
    opened(drive, identifyNamespace(3, 0));
    EXPECT_EQ(scan(drive, request()),
              "0 blocks, 0 read, 0 unreadable: failed: Failed to retrieve data from selected device. Namespace 1 has "
              "no block size of the standard.");
}

TEST(ReadScan, ANamespaceWithoutBlocksIsDone) {
    FakeDrive drive;
    opened(drive, identifyNamespace(0));
    EXPECT_EQ(scan(drive, request()), "0 blocks, 0 read, 0 unreadable:");
}

TEST(ReadScan, ManyCommandsAreInFlightAndEachBlockIsReadOnce) {
    MediaDrive media(100003);
    media.gathers = 8;
    nvme::Drive drive(*media.device());
    EXPECT_EQ(textOf(readScan(drive, request(UINT64_MAX, 8))), "100003 blocks, 100003 read, 0 unreadable:");
    EXPECT_EQ(media.blocksRead(), std::vector<unsigned>(100003, 1));
    EXPECT_EQ(media.maxInFlight(), 8U);
}

TEST(ReadScan, ParallelForItFindsEveryUnreadableBlock) {
    MediaDrive media(100003);
    media.unreadable = {0, 127, 128, 129, 5000, 99999, 100001, 100002};
    media.maxBlocks = 100;  // the system's limit, which each thread may run into
    nvme::Drive drive(*media.device());
    EXPECT_EQ(textOf(readScan(drive, request(UINT64_MAX, 8))),
              "100003 blocks, 99995 read, 8 unreadable: 0-0 127-129 5000-5000 99999-99999 100001-100002");
    std::vector<unsigned> expected(100003, 1);
    for (const uint64_t lba : media.unreadable) expected[static_cast<size_t>(lba)] = 0;
    EXPECT_EQ(media.blocksRead(), expected);
}

TEST(ReadScan, ParallelForAllEndAtAFailure) {
    MediaDrive media(100003);
    media.breaksAt = 50000;
    nvme::Drive drive(*media.device());
    const ReadScanResult result = readScan(drive, request(UINT64_MAX, 8));
    EXPECT_EQ(result.failure.getMessage(), "The drive /dev/nvme0 is gone.");
    EXPECT_LT(result.blocksRead, 100003U);
}

TEST(ReadScan, GivesUpWhereTooMuchIsUnreadable) {
    MediaDrive media(100000);
    for (uint64_t lba = 0; lba < 100000; ++lba) media.unreadable.insert(lba);
    nvme::Drive drive(*media.device());
    const ReadScanResult result = readScan(drive, request(UINT64_MAX, 1));
    EXPECT_EQ(textOf(result), "100000 blocks, 0 read, 1024 unreadable: 0-1023");
    EXPECT_EQ(readScan(drive, request(UINT64_MAX, 8)).unreadable, 1024U);
}

}  // namespace
}  // namespace features::jobs
