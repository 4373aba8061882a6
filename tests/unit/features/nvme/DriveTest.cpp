#include <gtest/gtest.h>

#include <cerrno>

#include "features/nvme/Drive.h"
#include "ostrel/core/StatusCatalogue.h"
#include "tests/support/StatusText.h"
#include "tests/support/fakedrive/FakeDrive.h"

namespace features::nvme {
namespace {

using fakedrive::DriveBytes;
using fakedrive::Expected;
using fakedrive::FakeDrive;
using ostrel::core::CATEGORY_OS;
using ostrel::core::Payload;
using ostrel::core::Status;
namespace statuses = ostrel::core::statuses;

constexpr const char* SUCCESS = "0/0 Completed successfully.";

/// `size` bytes, each with the low byte of its place in the whole from `first` on.
DriveBytes counted(size_t size, size_t first = 0) {
    DriveBytes bytes(size);
    for (size_t i = 0; i < size; ++i) bytes.byte(i, static_cast<uint8_t>((first + i) % 251));
    return bytes;
}

bool isCounted(const Payload& data, size_t size) {
    if (data.getSize() != size) return false;
    for (size_t i = 0; i < size; ++i) {
        if (data.getData()[i] != static_cast<uint8_t>(i % 251)) return false;
    }
    return true;
}

TEST(Drive, IsNamedBySerialNumberAndNode) {
    FakeDrive fake("SN7", "/dev/nvme3");
    const Drive drive(*fake.device());
    EXPECT_EQ(drive.serialNumber(), "SN7");
    EXPECT_EQ(drive.name(), "SN7 (/dev/nvme3)");
}

TEST(Drive, SendsACommandWhole) {
    FakeDrive fake;
    fake.expect(Expected::io(0x09)
                    .nsid(7)
                    .dword(2, 0x22222222)
                    .dword(3, 0x33333333)
                    .dword(10, 0x10101010)
                    .dword(11, 0x11111111)
                    .dword(12, 0x12121212)
                    .dword(13, 0x13131313)
                    .dword(14, 0x14141414)
                    .dword(15, 0x15151515)
                    .writes({1, 2, 3, 4})
                    .timeoutMs(5000)
                    .completes(0xABCD));
    Drive drive(*fake.device());
    NvmeCommand command(Queue::IO, 0x09, "Dataset Management");
    command.nsid = 7;
    command.cdw2 = 0x22222222;
    command.cdw3 = 0x33333333;
    command.cdw10 = 0x10101010;
    command.cdw11 = 0x11111111;
    command.cdw12 = 0x12121212;
    command.cdw13 = 0x13131313;
    command.cdw14 = 0x14141414;
    command.cdw15 = 0x15151515;
    command.dataLength = 4;
    command.timeoutMs = 5000;
    const uint8_t bytes[] = {1, 2, 3, 4};
    const auto answer = drive.send(command, Payload(bytes, 4));
    ASSERT_EQ(statusText(answer), SUCCESS);
    EXPECT_EQ(answer->completion.dword0, 0xABCDU);
    EXPECT_EQ(answer->data.getSize(), 0U);
}

TEST(Drive, ReportsARefusalWithAllThatIsKnownOfIt) {
    FakeDrive fake;
    fake.expect(Expected::admin(0x80).refuses(0x410A, 0x77));
    Drive drive(*fake.device());
    const auto answer = drive.send(NvmeCommand(Queue::ADMIN, 0x80, "Format NVM"));
    ASSERT_EQ(
        statusText(answer),
        "0/25 Format NVM failed on drive S1 (/dev/nvme0): Invalid Format (status code type 0x1, status code 0x0A, "
        "opcode 0x80).");
    EXPECT_TRUE(answer.error().completion.is({1, 0x0A}));
    EXPECT_TRUE(answer.error().completion.doNotRetry());
    EXPECT_EQ(answer.error().completion.dword0, 0x77U);
}

TEST(Drive, PassesATransportErrorOn) {
    FakeDrive fake;
    fake.expect(fakedrive::identify(0x01).breaks(Status(CATEGORY_OS, ENODEV, "System error. It is gone.")));
    Drive drive(*fake.device());
    const auto data = drive.identifyController();
    ASSERT_EQ(statusText(data), "1/19 System error. It is gone.");
    EXPECT_TRUE(data.error().completion.isSuccess()) << "no drive has answered";
}

TEST(Drive, RefusesLessDataThanItAskedFor) {
    FakeDrive fake;
    fake.expect(fakedrive::identify(0x00, 1).answers(DriveBytes(4095)));
    Drive drive(*fake.device());
    EXPECT_EQ(statusText(drive.identify(0x00, 1)),
              "10/33 Failed to retrieve data from drive S1 (/dev/nvme0): Identify returned less than was asked for.");
}

TEST(Drive, IdentifyHasItsFields) {
    FakeDrive fake;
    fake.expect(Expected::admin(0x06).nsid(5).dword(10, 0x01020012).reads(4096).answers(counted(4096)));
    Drive drive(*fake.device());
    const auto data = drive.identify(0x12, 5, 0x0102);
    ASSERT_EQ(statusText(data), SUCCESS);
    EXPECT_TRUE(isCounted(*data, 4096));
}

TEST(Drive, IdentifyControllerIsAskedOnceUntilItIsForgotten) {
    FakeDrive fake;
    fake.expect(Expected::admin(0x06).dword(10, 1).reads(4096).answers(fakedrive::identifyController()));
    Drive drive(*fake.device());
    const auto data = drive.identifyController();
    ASSERT_EQ(statusText(data), SUCCESS);
    EXPECT_EQ((*data)[4], 'S');
    const auto again = drive.identifyController();
    ASSERT_EQ(statusText(again), SUCCESS);
    EXPECT_EQ(*again, *data);
    fake.expectDone();

    drive.forgetIdentify();
    fake.expect(fakedrive::identify(0x01).answers(fakedrive::identifyController().byte(4, 'T')));
    const auto forgotten = drive.identifyController();
    ASSERT_EQ(statusText(forgotten), SUCCESS);
    EXPECT_EQ((*forgotten)[4], 'T');
}

TEST(Drive, ARefusedIdentifyControllerIsAskedAgain) {
    FakeDrive fake;
    fake.expect(fakedrive::identify(0x01).refuses(0x4006));
    fake.expect(fakedrive::identify(0x01).answers(fakedrive::identifyController()));
    Drive drive(*fake.device());
    const auto refused = drive.identifyController();
    ASSERT_FALSE(refused);
    EXPECT_TRUE(refused.error().completion.is({0, 0x06}));
    EXPECT_EQ(statusText(drive.identifyController()), SUCCESS);
}

constexpr struct {
    uint8_t mdts;
    uint32_t bytes;
    const char* why;
} TRANSFERS[] = {
    {0, 256 * 1024, "no limit: what the kernel takes"},
    {1, 8192, "2 pages"},
    {5, 128 * 1024, "32 pages"},
    {7, 512 * 1024, "128 pages"},
    {8, 1024 * 1024, "256 pages"},
    {9, 1024 * 1024, "never more than 1 MiB"},
    {31, 1024 * 1024, "nor with a number that no dword holds"},
    {32, 1024 * 1024, "nor with one that no shift takes"},
    {255, 1024 * 1024, "nor with the greatest"},
};
/// Log page 00h, with Retain Asynchronous Event.
Expected supportedLogs() {
    return fakedrive::logPage(0x00, 1024).dword(10, 0x00FF8000);
}

TEST(Drive, TheListOfLogPagesIsAskedOnceUntilIdentifyIsForgotten) {
    FakeDrive fake;
    const DriveBytes withList = fakedrive::identifyController().byte(261, 0x20);
    fake.expect(fakedrive::identify(0x01).answers(withList))
        .expect(supportedLogs().answers(DriveBytes(1024).put(8, {1, 0, 0, 0, 2}).byte(1020, 1)))
        .expect(fakedrive::identify(0x01).answers(fakedrive::identifyController()));
    Drive drive(*fake.device());
    constexpr struct {
        uint8_t lid;
        bool isListed;
    } CASES[] = {{0x01, false}, {0x02, true}, {0x03, false}, {0xFF, true}};
    for (const auto& c : CASES) {
        const auto isListed = drive.isLogListed(c.lid);
        ASSERT_EQ(statusText(isListed), SUCCESS);
        EXPECT_EQ(*isListed, std::optional<bool>(c.isListed))
            << "log page " << static_cast<int>(c.lid) << ": bit 0 of its dword";
    }
    drive.forgetIdentify();
    const auto isListed = drive.isLogListed(0x02);
    ASSERT_EQ(statusText(isListed), SUCCESS);
    EXPECT_EQ(*isListed, std::nullopt) << "the controller does not offer log page 00h";
}

TEST(Drive, AListOfLogPagesThatIsRefusedIsNoListAndNotAskedAgain) {
    FakeDrive fake;
    fake.expect(fakedrive::identify(0x01).answers(fakedrive::identifyController().byte(261, 0x20)))
        .expect(supportedLogs().refuses(0x4109));
    Drive drive(*fake.device());
    for (int i = 0; i < 2; ++i) {
        const auto list = drive.supportedLogs();
        ASSERT_EQ(statusText(list), SUCCESS);
        EXPECT_EQ(*list, nullptr);
    }
}

TEST(Drive, AListOfLogPagesWhoseTransportFailsIsAnError) {
    FakeDrive fake;
    fake.expect(fakedrive::identify(0x01).answers(fakedrive::identifyController().byte(261, 0x20)))
        .expect(supportedLogs().breaks(Status(CATEGORY_OS, ENODEV, "gone")));
    Drive drive(*fake.device());
    EXPECT_EQ(statusText(drive.isLogListed(0x02)), "1/19 gone");
}

/// CTRATT bit 9: a controller with a UUID List.
DriveBytes withUuids() {
    return fakedrive::identifyController().byte(97, 0x02);
}
/// The maker's UUID, and OCP's after it.
DriveBytes uuidList() {
    return DriveBytes(4096).byte(32, 1).byte(48, 0xFE).put(
        80, {0xC1, 0x94, 0xD5, 0x5B, 0xE0, 0x94, 0x47, 0x94, 0xA2, 0x1D, 0x29, 0x99, 0x8F, 0x56, 0xBE, 0x6F});
}
Expected vendorPage(uint8_t lid, uint32_t uuidIndex) {
    return Expected::admin(0x02).nsid(0xFFFFFFFF).dword(10, lid).dword(14, uuidIndex).reads(4).answers(counted(4));
}
std::string readVendorPage(Drive& drive, uint8_t lid) {
    LogPageRequest request;
    request.lid = lid;
    return statusText(drive.readLogPage(request, 4));
}

TEST(Drive, VendorSpecificLogPagesAreAskedForByTheirUuid) {
    FakeDrive fake;
    fake.expect(fakedrive::identify(0x01).answers(withUuids()))
        .expect(fakedrive::identify(0x17).answers(uuidList()))
        .expect(vendorPage(0xC0, 2))
        .expect(vendorPage(0xC9, 2))
        .expect(vendorPage(0xCB, 1))
        .expect(vendorPage(0xFF, 1))
        .expect(vendorPage(0x81, 0));
    Drive drive(*fake.device());
    for (const unsigned lid : {0xC0U, 0xC9U, 0xCBU, 0xFFU, 0x81U})
        EXPECT_EQ(readVendorPage(drive, static_cast<uint8_t>(lid)), SUCCESS);
}

TEST(Drive, WithoutAUuidListTheIndexIs0) {
    FakeDrive fake;
    fake.expect(fakedrive::identify(0x01).answers(fakedrive::identifyController())).expect(vendorPage(0xC0, 0));
    Drive drive(*fake.device());
    EXPECT_EQ(readVendorPage(drive, 0xC0), SUCCESS);
    FakeDrive refusing;
    refusing.expect(fakedrive::identify(0x01).answers(withUuids()))
        .expect(fakedrive::identify(0x17).refuses(0x4002))
        .expect(vendorPage(0xC0, 0))
        .expect(vendorPage(0xD0, 0));
    Drive other(*refusing.device());
    EXPECT_EQ(readVendorPage(other, 0xC0), SUCCESS);
    EXPECT_EQ(readVendorPage(other, 0xD0), SUCCESS) << "and the list is not asked for again";
}

TEST(Drive, AUuidListWhoseTransportFailsIsAnError) {
    FakeDrive fake;
    fake.expect(fakedrive::identify(0x01).answers(withUuids()))
        .expect(fakedrive::identify(0x17).breaks(Status(CATEGORY_OS, ENODEV, "gone")));
    Drive drive(*fake.device());
    EXPECT_EQ(readVendorPage(drive, 0xC0), "1/19 gone");
}

TEST(Drive, WithoutItsIdentityAnswersNothing) {
    FakeDrive fake;
    for (int i = 0; i < 7; ++i) fake.expect(fakedrive::identify(0x01).breaks(Status(CATEGORY_OS, ENODEV, "gone")));
    nvme::Drive drive(*fake.device());
    LogPageRequest offset, vendor;
    offset.lid = 0x02;
    offset.offset = 4096;
    vendor.lid = 0xC5;
    EXPECT_EQ(statusText(drive.supportedLogs()), "1/19 gone");
    EXPECT_EQ(statusText(drive.isLogListed(0x06)), "1/19 gone");
    EXPECT_EQ(statusText(drive.uuidIndexes()), "1/19 gone");
    EXPECT_EQ(statusText(drive.maxTransferBytes()), "1/19 gone");
    EXPECT_EQ(statusText(drive.readLogPage(offset, 512)), "1/19 gone");
    EXPECT_EQ(statusText(drive.readLogPage(vendor, 512)), "1/19 gone");
    EXPECT_EQ(statusText(drive.identifyController()), "1/19 gone") << "nothing of it was kept";
}

TEST(Drive, MdtsLimitsTransfers) {
    for (const auto& c : TRANSFERS) {
        FakeDrive fake;
        fake.expect(fakedrive::identify(0x01).answers(fakedrive::identifyController().byte(77, c.mdts)));
        Drive drive(*fake.device());
        const auto bytes = drive.maxTransferBytes();
        ASSERT_EQ(statusText(bytes), SUCCESS);
        EXPECT_EQ(*bytes, c.bytes) << c.why;
    }
}

TEST(Drive, AShortLogPageIsOneCommand) {
    FakeDrive fake;
    fake.expect(Expected::admin(0x02).nsid(0xFFFFFFFF).dword(10, 0x007F0002).reads(512).answers(counted(512)));
    Drive drive(*fake.device());
    LogPageRequest request;
    request.lid = 0x02;
    const auto data = drive.readLogPage(request, 512);
    ASSERT_EQ(statusText(data), SUCCESS);
    EXPECT_TRUE(isCounted(*data, 512));
}

TEST(Drive, ALogPageHasEveryFieldOfTheRequest) {
    FakeDrive fake;
    fake.expect(Expected::admin(0x02).nsid(3).dword(10, 0x0000FF0D).dword(11, 0x01020000).reads(4).answers(counted(4)));
    Drive drive(*fake.device());
    LogPageRequest request;
    request.lid = 0x0D;
    request.nsid = 3;
    request.lsp = 0x7F;
    request.lsi = 0x0102;
    request.retainEvent = true;
    EXPECT_EQ(statusText(drive.readLogPage(request, 4)), SUCCESS);
}

// 8 KiB at a time out of 20,484 bytes, from an offset above 4 GiB on.
TEST(Drive, ALongLogPageComesInPieces) {
    FakeDrive fake;
    fake.expect(fakedrive::identify(0x01).answers(fakedrive::identifyController().byte(77, 1)))
        .expect(Expected::admin(0x02)
                    .nsid(0xFFFFFFFF)
                    .dword(10, 0x07FF8107)
                    .dword(12, 0xFFFFF000)
                    .dword(13, 0x00000001)
                    .reads(8192)
                    .answers(counted(8192)))
        .expect(Expected::admin(0x02)
                    .nsid(0xFFFFFFFF)
                    .dword(10, 0x07FF8207)
                    .dword(12, 0x00001000)
                    .dword(13, 0x00000002)
                    .reads(8192)
                    .answers(counted(8192, 8192)))
        .expect(Expected::admin(0x02)
                    .nsid(0xFFFFFFFF)
                    .dword(10, 0x04008207)
                    .dword(12, 0x00003000)
                    .dword(13, 0x00000002)
                    .reads(4100)
                    .answers(counted(4100, 16384)));
    Drive drive(*fake.device());
    LogPageRequest request;
    request.lid = 0x07;
    request.lsp = 1;
    request.lspOfFurtherPieces = 2;
    request.retainEvent = true;
    request.offset = 0x1FFFFF000;
    const auto data = drive.readLogPage(request, 20484);
    ASSERT_EQ(statusText(data), SUCCESS);
    EXPECT_TRUE(isCounted(*data, 20484));
}

TEST(Drive, TheNumberOfDwordsReachesIntoDword11) {
    FakeDrive fake;
    fake.expect(fakedrive::identify(0x01).answers(fakedrive::identifyController().byte(77, 8)))
        .expect(Expected::admin(0x02)
                    .nsid(0xFFFFFFFF)
                    .dword(10, 0xFFFF0008)
                    .dword(11, 0x00000003)
                    .reads(1024 * 1024)
                    .answers(counted(1024 * 1024)));
    Drive drive(*fake.device());
    LogPageRequest request;
    request.lid = 0x08;
    const auto data = drive.readLogPage(request, 1024 * 1024);
    ASSERT_EQ(statusText(data), SUCCESS);
    EXPECT_TRUE(isCounted(*data, 1024 * 1024));
}

// The system takes 128 KiB: 512 KiB and 256 KiB are refused, and nothing was sent. The next log begins with 128.
TEST(Drive, PiecesAreHalvedUntilTheSystemTakesThem) {
    const Status tooMuch = statuses::invalidTransferSize();
    FakeDrive fake;
    fake.expect(fakedrive::identify(0x01).answers(fakedrive::identifyController()))
        .expect(fakedrive::logPage(0x07, 512 * 1024).breaks(tooMuch))
        .expect(fakedrive::logPage(0x07, 256 * 1024).breaks(tooMuch))
        .expect(fakedrive::logPage(0x07, 128 * 1024).answers(counted(128 * 1024)))
        .expect(fakedrive::logPage(0x07, 128 * 1024, 128 * 1024).answers(counted(128 * 1024, 128 * 1024)))
        .expect(fakedrive::logPage(0x07, 128 * 1024, 256 * 1024).answers(counted(128 * 1024, 256 * 1024)))
        .expect(fakedrive::logPage(0x07, 128 * 1024, 384 * 1024).answers(counted(128 * 1024, 384 * 1024)));
    Drive drive(*fake.device());
    LogPageRequest request;
    request.lid = 0x07;
    const auto data = drive.readLogPage(request, 512 * 1024);
    ASSERT_EQ(statusText(data), SUCCESS);
    EXPECT_TRUE(isCounted(*data, 512 * 1024));
    fake.expectDone();
    const auto bytes = drive.maxTransferBytes();
    ASSERT_EQ(statusText(bytes), SUCCESS);
    EXPECT_EQ(*bytes, 128U * 1024);
}

TEST(Drive, HalvingEndsAtAPage) {
    const Status tooMuch = statuses::invalidTransferSize();
    FakeDrive fake;
    fake.expect(fakedrive::identify(0x01).answers(fakedrive::identifyController().byte(77, 1)))
        .expect(fakedrive::logPage(0x07, 8192).breaks(tooMuch))
        .expect(fakedrive::logPage(0x07, 4096).breaks(tooMuch));
    Drive drive(*fake.device());
    LogPageRequest request;
    request.lid = 0x07;
    EXPECT_EQ(statusText(drive.readLogPage(request, 8192)), "0/75 Invalid transfer size specified.");
}

TEST(Drive, HalvedPiecesAreWholePages) {
    FakeDrive fake;
    Drive drive(*fake.device());
    uint32_t piece = 5 * 4096;
    std::vector<uint32_t> tried;
    const auto sent = drive.sendHalvingPieces(piece, [&](uint32_t most) -> Result<uint32_t, CommandError> {
        tried.push_back(most);
        if (most > 4096) return statuses::invalidTransferSize();
        return most;
    });
    ASSERT_EQ(statusText(sent), SUCCESS);
    EXPECT_EQ(*sent, 4096U);
    EXPECT_EQ(tried, (std::vector<uint32_t>{20480, 8192, 4096}));
    EXPECT_EQ(piece, 4096U);
}

TEST(Drive, APieceThatFailsEndsTheLog) {
    FakeDrive fake;
    fake.expect(fakedrive::identify(0x01).answers(fakedrive::identifyController().byte(77, 1)))
        .expect(fakedrive::logPage(0x07, 8192).answers(counted(8192)))
        .expect(fakedrive::logPage(0x07, 8192, 8192).refuses(0x0004));
    Drive drive(*fake.device());
    LogPageRequest request;
    request.lid = 0x07;
    EXPECT_EQ(
        statusText(drive.readLogPage(request, 24576)),
        "0/25 Get Log Page failed on drive S1 (/dev/nvme0): Data Transfer Error (status code type 0x0, status code "
        "0x04, opcode 0x02).");
}

constexpr const char* NO_EXTENDED_DATA = "10/34 Drive S1 (/dev/nvme0) does not support log page offsets.";

// Without extended data there is no offset, and 12 bits hold the number of dwords: 16 KiB and no more.
TEST(Drive, AControllerWithoutExtendedDataIsAskedForOnePiece) {
    const DriveBytes plain = fakedrive::identifyController().byte(261, 0);
    LogPageRequest request;
    request.lid = 0x01;
    {
        FakeDrive fake;
        fake.expect(fakedrive::identify(0x01).answers(plain))
            .expect(Expected::admin(0x02).nsid(0xFFFFFFFF).dword(10, 0x0FFF0001).reads(16384).answers(counted(16384)));
        Drive drive(*fake.device());
        const auto data = drive.readLogPage(request, 16384);
        ASSERT_EQ(statusText(data), SUCCESS);
        EXPECT_TRUE(isCounted(*data, 16384));
        EXPECT_EQ(statusText(drive.readLogPage(request, 16388)), NO_EXTENDED_DATA);
    }
    {
        FakeDrive fake;
        fake.expect(fakedrive::identify(0x01).answers(plain));
        Drive drive(*fake.device());
        request.offset = 4;
        EXPECT_EQ(statusText(drive.readLogPage(request, 4)), NO_EXTENDED_DATA)
            << "the offset would be passed over, and the wrong bytes would come";
    }
    {
        FakeDrive fake;
        fake.expect(fakedrive::identify(0x01).answers(plain))
            .expect(fakedrive::logPage(0x01, 16384).breaks(statuses::invalidTransferSize()));
        Drive drive(*fake.device());
        request.offset = 0;
        EXPECT_EQ(statusText(drive.readLogPage(request, 16384)), NO_EXTENDED_DATA) << "half of it is not the log";
    }
}

constexpr struct {
    uint64_t length;
    uint64_t offset;
    uint8_t lsp;
    uint8_t lspOfFurtherPieces;
} OUT_OF_BOUNDS[] = {
    {0, 0, 0, 0}, {3, 0, 0, 0}, {513, 0, 0, 0}, {512, 2, 0, 0}, {512, 0, 0x80, 0}, {512, 0, 0, 0x80},
};
TEST(Drive, SendsNothingForNumbersThatDoNotFit) {
    for (const auto& c : OUT_OF_BOUNDS) {
        FakeDrive fake;
        Drive drive(*fake.device());
        LogPageRequest request;
        request.lsp = c.lsp;
        request.lspOfFurtherPieces = c.lspOfFurtherPieces;
        request.offset = c.offset;
        EXPECT_EQ(statusText(drive.readLogPage(request, c.length)), "0/14 Request is out of bounds.");
    }
}

TEST(Drive, GetFeaturesHasItsFields) {
    FakeDrive fake;
    fake.expect(Expected::admin(0x0A)
                    .nsid(1)
                    .dword(10, 0x0000020E)
                    .dword(11, 0x11)
                    .dword(12, 0x12)
                    .dword(13, 0x13)
                    .dword(14, 0x7F)
                    .reads(8)
                    .answers(counted(8), 0x55))
        .expect(Expected::admin(0x0A)
                    .nsid(1)
                    .dword(10, 0x0000030E)
                    .dword(11, 0x11)
                    .dword(12, 0x12)
                    .dword(13, 0x13)
                    .dword(14, 0x7F)
                    .completes(5));
    Drive drive(*fake.device());
    FeatureRequest request;
    request.fid = 0x0E;
    request.nsid = 1;
    request.cdw11 = 0x11;
    request.cdw12 = 0x12;
    request.cdw13 = 0x13;
    request.dataLength = 8;
    request.uuidIndex = 0x7F;
    const auto saved = drive.getFeature(request, Select::SAVED);
    ASSERT_EQ(statusText(saved), SUCCESS);
    EXPECT_TRUE(isCounted(saved->data, 8));
    EXPECT_EQ(saved->completion.dword0, 0x55U);
    const auto capabilities = drive.getFeature(request, Select::CAPABILITIES);
    ASSERT_EQ(statusText(capabilities), SUCCESS) << "capabilities come without data";
    EXPECT_EQ(capabilities->completion.dword0, 5U);
    EXPECT_EQ(capabilities->data.getSize(), 0U);
}

TEST(Drive, SetFeaturesHasItsFields) {
    FakeDrive fake;
    fake.expect(Expected::admin(0x09).nsid(1).dword(10, 0x800000C6).dword(11, 0x157).dword(14, 2).completes())
        .expect(Expected::admin(0x09).dword(10, 0x0000000E).writes({1, 2, 3, 4, 5, 6, 7, 8}).completes(9));
    Drive drive(*fake.device());
    FeatureRequest threshold;
    threshold.fid = 0xC6;
    threshold.uuidIndex = 2;
    threshold.nsid = 1;
    threshold.cdw11 = 0x157;
    EXPECT_EQ(statusText(drive.setFeature(threshold, true)), SUCCESS);
    FeatureRequest timestamp;
    timestamp.fid = 0x0E;
    const uint8_t bytes[] = {1, 2, 3, 4, 5, 6, 7, 8};
    const auto set = drive.setFeature(timestamp, false, Payload(bytes, 8));
    ASSERT_EQ(statusText(set), SUCCESS);
    EXPECT_EQ(set->completion.dword0, 9U);
}

TEST(Drive, HandsALogPageOnInPieces) {
    FakeDrive fake;
    fake.expect(fakedrive::identify(0x01).answers(fakedrive::identifyController().byte(77, 1)))  // 8 KiB
        .expect(fakedrive::logPage(0x07, 8192).answers(counted(8192)))
        .expect(fakedrive::logPage(0x07, 8192, 8192).answers(counted(8192, 8192)))
        .expect(fakedrive::logPage(0x07, 4, 16384).answers(counted(4, 16384)));
    Drive drive(*fake.device());
    LogPageRequest request;
    request.lid = 0x07;
    DriveBytes whole(16388);
    size_t done = 0;
    EXPECT_EQ(statusText(drive.readLogPieces(request, 16388,
                                             [&](const Payload& piece, uint32_t bytes) {
                                                 EXPECT_EQ(bytes, done < 16384 ? 8192U : 4U);
                                                 for (uint32_t i = 0; i < bytes; ++i) whole.byte(done++, piece.at(i));
                                                 return Status();
                                             })),
              SUCCESS);
    EXPECT_TRUE(isCounted(whole.payload(), 16388));
}

TEST(Drive, ReadsNoFurtherPieceThanIsTaken) {
    FakeDrive fake;
    fake.expect(fakedrive::identify(0x01).answers(fakedrive::identifyController().byte(77, 1)))
        .expect(fakedrive::logPage(0x07, 8192).answers(counted(8192)));
    Drive drive(*fake.device());
    LogPageRequest request;
    request.lid = 0x07;
    EXPECT_EQ(statusText(drive.readLogPieces(
                  request, 16384, [](const Payload&, uint32_t) { return Status(CATEGORY_OS, ENOSPC, "Full."); })),
              "1/28 Full.");
}

}  // namespace
}  // namespace features::nvme
