#include "features/simulator/store/CaptureFolder.h"
#include "simdrive/scsi/SatDevice.h"
#include "tests/unit/features/simulator/sata/SimulatedSataDrive.h"

namespace simdrive::scsi {
namespace {

using features::simulator::CapturedAnswers;
using features::simulator::FaultyCommand;

class SatDeviceTest : public SimulatedSataDrive {
protected:
    Answer execute(const Bytes& bytes, const Bytes& dataOut = {}, uint64_t lun = 0, uint32_t expectedBytes = 512) {
        Bytes cdb = bytes;
        cdb.resize(CDB_BYTES);
        return SatDevice(*drive).execute(lun, cdb.data(), dataOut, expectedBytes);
    }
    /// "good", or sense key, additional sense code and its qualifier: "5/24/0".
    static std::string end(const Answer& answer) {
        EXPECT_EQ(answer.delivery, Answer::Delivery::COMPLETED);
        if (answer.status == 0x00) return "good";
        EXPECT_EQ(answer.status, 0x02);
        EXPECT_GE(answer.sense.size(), 8U);
        EXPECT_EQ(answer.sense[0], 0x72) << "of descriptors";
        char text[16];
        std::snprintf(text, sizeof text, "%x/%x/%x", answer.sense[1], answer.sense[2], answer.sense[3]);
        return text;
    }
    /// A sector in which all bytes are this one.
    static Bytes filled(uint8_t byte, size_t sectors = 1) { return Bytes(512 * sectors, byte); }
    /// The drive answers IDENTIFY DEVICE with this status, as one of a capture.
    void capture(uint16_t status) {
        CapturedAnswers answers;
        answers.isSata = true;
        answers.answers[{0xEC, {}}].status = status;
        ASSERT_TRUE(succeeded(writeCapture(answers, path())));
        reopen();
    }
};

TEST_F(SatDeviceTest, AnIdentifyThatSucceedsWithoutDataIsOneOfZeros) {
    FaultyCommand identify;
    identify.isAta = true;
    identify.opcode = 0xEC;
    description.faults.fail = {identify};
    describe();
    const Answer inquiry = execute({0x12, 0, 0, 0, 36});
    EXPECT_EQ(inquiry.status, 0x00);
    ASSERT_EQ(inquiry.data.size(), 36U);
    EXPECT_EQ(
        Bytes(inquiry.data.begin() + 8, inquiry.data.end()),
        (Bytes{'A', 'T', 'A', ' ', ' ', ' ', ' ', ' ', 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(execute({0x1A, 0, 0x08, 0, 24}).data[4 + 2], 0x00) << "no write cache";
}

TEST_F(SatDeviceTest, ADeviceFaultIsAFailure) {
    capture(0x7000);  // DF without ERR
    for (const Bytes& cdb : {Bytes{0x12, 0, 0, 0, 36}, Bytes{0x1A, 0, 0x08, 0, 24},
                             Bytes{0x85, 0x08, 0x0E, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0xEC}}) {
        const Answer answer = execute(cdb);
        EXPECT_EQ(answer.status, 0x02);
        ASSERT_GE(answer.sense.size(), 4U);
        EXPECT_EQ((Bytes{answer.sense[1], answer.sense[2], answer.sense[3]}), (Bytes{0x04, 0x44, 0x00}));
    }
}

TEST_F(SatDeviceTest, ReadsAndWritesOfEachLengthNameTheirSectors) {
    for (uint8_t sector = 8; sector < 16; ++sector) write(sector, sector);
    const struct {
        Bytes read;
        Bytes write;
        const char* why;
    } CASES[] = {
        {{0x08, 0xE0, 0, 9, 1}, {0x0A, 0xE0, 0, 9, 1}, "6 bytes, with the bits above the 21 of the LBA"},
        {{0x28, 0, 0, 0, 0, 9, 0, 0, 1}, {0x2A, 0, 0, 0, 0, 9, 0, 0, 1}, "10 bytes"},
        {{0xA8, 0, 0, 0, 0, 9, 0, 0, 0, 1}, {0xAA, 0, 0, 0, 0, 9, 0, 0, 0, 1}, "12 bytes"},
        {{0x88, 0, 0, 0, 0, 0, 0, 0, 0, 9, 0, 0, 0, 1}, {0x8A, 0, 0, 0, 0, 0, 0, 0, 0, 9, 0, 0, 0, 1}, "16 bytes"},
    };
    uint8_t written = 0xA0;
    Bytes before = filled(9);
    for (const auto& c : CASES) {
        EXPECT_EQ(execute(c.read).data, before) << c.why;
        before = filled(++written);
        EXPECT_EQ(end(execute(c.write, before)), "good") << c.why;
        EXPECT_EQ(execute(c.read).data, before) << c.why;
    }
    EXPECT_EQ(execute({0x08, 0, 0, 8, 0}).data.size(), 256U * 512) << "no length is 256 sectors in 6 bytes";
    EXPECT_EQ(execute({0x28, 0, 0, 0, 0, 10, 0, 0, 1}).data, filled(10)) << "the sectors beside it are as they were";
    EXPECT_EQ(execute({0x28, 0, 0, 0, 0, 8, 0, 0, 1}).data, filled(8));
}

TEST_F(SatDeviceTest, WhatCannotBeTransferredIsRefusedAndChangesNothing) {
    write(9, 0x09);
    const struct {
        Bytes cdb;
        size_t sectorsOut;
        const char* end;
        const char* why;
    } CASES[] = {
        {{0x88, 0, 0, 1, 0, 0, 0, 0, 0, 9, 0, 0, 0, 1}, 0, "5/21/0", "a read at 2 to the 48th"},
        {{0x8A, 0, 0, 1, 0, 0, 0, 0, 0, 9, 0, 0, 0, 1}, 1, "5/21/0", "a write there"},
        {{0x8F, 0, 0, 1, 0, 0, 0, 0, 0, 9, 0, 0, 0, 1}, 0, "5/21/0", "a verification there"},
        {{0x88, 0, 0, 0, 0, 0, 0, 0, 0, 9, 0, 0, 0x08, 1}, 0, "5/24/0", "a read of 2049 sectors"},
        {{0x8A, 0, 0, 0, 0, 0, 0, 0, 0, 9, 0, 0, 0x08, 1}, 1, "5/24/0", "a write of as many"},
        {{0x8F, 0, 0, 0, 0, 0, 0, 0, 0, 9, 0, 0, 0x08, 1}, 0, "5/24/0", "a verification of as many"},
        {{0x2A, 0, 0, 0, 0, 9, 0, 0, 2}, 1, "5/24/0", "a write with less data than it names"},
        {{0x2F, 0x02, 0, 0, 0, 9, 0, 0, 1}, 1, "5/24/0", "a comparison with data"},
        {{0x28, 0, 0, 0, 0, 9, 0, 0, 0}, 0, "good", "a read of nothing"},
        {{0x2A, 0, 0, 0, 0, 9, 0, 0, 0}, 0, "good", "a write of nothing"},
        {{0x2F, 0, 0, 0, 0, 9, 0, 0, 0}, 0, "good", "a verification of nothing"},
        {{0x2F, 0, 0, 0, 0, 9, 0, 0, 1}, 0, "good", "a verification of one sector"},
        {{0x28, 0, 0, 2, 0, 0, 0, 0, 1}, 0, "5/21/0", "a read past the last sector"},
        {{0x2A, 0, 0, 2, 0, 0, 0, 0, 1}, 1, "5/21/0", "a write past it"},
        {{0x2A, 0x08, 0, 2, 0, 0, 0, 0, 1}, 1, "5/21/0", "one that was to reach the media"},
    };
    for (const auto& c : CASES) {
        const Answer answer = execute(c.cdb, filled(0xFF, c.sectorsOut));
        EXPECT_EQ(end(answer), c.end) << c.why;
        EXPECT_EQ(answer.data, Bytes()) << c.why;
    }
    EXPECT_EQ(execute({0x28, 0, 0, 0, 0, 9, 0, 0, 1}).data, filled(0x09));
}

TEST_F(SatDeviceTest, AWriteToTheMediaEndsAsTheFlushAfterIt) {
    FaultyCommand flush;
    flush.isAta = true;
    flush.opcode = 0xEA;
    flush.statusField = 0x04;
    description.faults.fail = {flush};
    describe();
    const Bytes sector = filled(0x5A);
    EXPECT_EQ(end(execute({0x2A, 0, 0, 0, 0, 9, 0, 0, 1}, sector)), "good") << "without FUA";
    EXPECT_EQ(end(execute({0x0A, 0, 0, 9, 1}, sector)), "good") << "6 bytes have no FUA";
    EXPECT_EQ(end(execute({0x2A, 0x08, 0, 0, 0, 9, 0, 0, 1}, sector)), "b/0/0");
    EXPECT_EQ(end(execute({0x35})), "b/0/0");
}

/// The parameter list of UNMAP with these descriptors: an LBA and a number of sectors each.
std::vector<uint8_t> unmapList(const std::vector<std::pair<uint64_t, uint32_t>>& extents) {
    std::vector<uint8_t> list(8 + 16 * extents.size());
    putBigEndian(list.data(), list.size() - 2, 2);
    putBigEndian(list.data() + 2, list.size() - 8, 2);
    for (size_t i = 0; i < extents.size(); ++i) {
        putBigEndian(list.data() + 8 + 16 * i, extents[i].first, 8);
        putBigEndian(list.data() + 16 + 16 * i, extents[i].second, 4);
    }
    return list;
}

TEST_F(SatDeviceTest, UnmapTakesTheSectorsOfItsListOrNone) {
    const Bytes unmap = {0x42, 0, 0, 0, 0, 0, 0, 0, 24};
    const Bytes nine = {0x28, 0, 0, 0, 0, 9, 0, 0, 1};
    write(9, 0x09);
    const struct {
        Bytes cdb;
        Bytes list;
        const char* end;
        const char* why;
    } CASES[] = {
        {{0x42}, unmapList({{9, 1}}), "good", "no list is named"},
        {unmap, Bytes(7), "5/26/0", "less than its head"},
        {unmap, Bytes(8), "good", "no descriptor"},
        {unmap, unmapList({{9, 0}}), "good", "no sectors"},
        {unmap, Bytes{0, 22, 0, 16, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 9, 0, 0, 0}, "good", "half a descriptor"},
        {unmap, unmapList({{9, 1}, {uint64_t{1} << 48, 1}}), "5/21/0", "the second one past 2 to the 48th"},
        {unmap, unmapList({{9, 1}, {(uint64_t{1} << 48) - 1, 1}}), "5/21/0", "the second one ends there"},
        {unmap, unmapList({{9, 1}, {131072, 1}}), "b/0/0", "the second one past the last sector"},
        {unmap, unmapList({{9, 1}, {UINT64_MAX, 2}}), "5/21/0", "the second one past 2 to the 64th"},
        {unmap, unmapList({{9, 1}, {0, 0xFFFFFFFF}}), "5/26/0", "more than 512 entries of the drive's command"},
    };
    for (const auto& c : CASES) {
        EXPECT_EQ(end(execute(c.cdb, c.list)), c.end) << c.why;
        EXPECT_EQ(execute(nine).data, filled(0x09)) << c.why;
    }
    EXPECT_EQ(end(execute(unmap, unmapList({{9, 1}}))), "good");
    EXPECT_EQ(execute(nine).data, filled(0));
}

TEST_F(SatDeviceTest, ALogicalUnitThatIsNotThereAnswersForNoDrive) {
    EXPECT_EQ(end(execute({0x00}, {}, 1)), "5/25/0");
    EXPECT_EQ(end(execute({0x28, 0, 0, 0, 0, 9, 0, 0, 1}, {}, 1)), "5/25/0");
    EXPECT_EQ(execute({0x12, 0, 0, 0, 5}, {}, 1).data, (Bytes{0x7F, 0, 0x06, 0x02, 31}));
    const Bytes units = {0, 0, 0, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(execute({0xA0, 0, 0, 0, 0, 0, 0, 0, 0, 16}, {}, 1).data, units) << "the one unit that there is";
    EXPECT_EQ(end(execute({0xFF})), "5/20/0");
}

TEST_F(SatDeviceTest, SenseIsGivenInTheFormatThatIsAskedFor) {
    EXPECT_EQ(execute({0x03, 0, 0, 0, 252}).data, (Bytes{0x70, 0, 0, 0, 0, 0, 0, 10, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(execute({0x03, 1, 0, 0, 252}).data, (Bytes{0x72, 0, 0, 0, 0, 0, 0, 0}));
}

TEST_F(SatDeviceTest, ADamagedDriveIsAnInternalFailure) {
    writeWholeFile(path() + "/state", "short");
    reopen();
    for (const Bytes& cdb :
         {Bytes{0x00}, Bytes{0x12, 0, 0, 0, 36}, Bytes{0x1A, 0, 0x08, 0, 24}, Bytes{0x25},
          Bytes{0x9E, 0x10, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 32}, Bytes{0x28, 0, 0, 0, 0, 9, 0, 0, 1},
          Bytes{0x85, 0x06, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xE5}}) {
        const Answer answer = execute(cdb);
        EXPECT_EQ(end(answer), "4/44/0") << testing::PrintToString(cdb);
        EXPECT_EQ(answer.data, Bytes()) << testing::PrintToString(cdb);
    }
}

TEST_F(SatDeviceTest, ADriveThatDoesNotAnswerAnswersNothing) {
    FaultyCommand identify;
    identify.isAta = true;
    identify.opcode = 0xEC;
    description.faults.hang = {identify};
    describe();
    for (const Bytes& cdb : {Bytes{0x12, 0, 0, 0, 36}, Bytes{0x1A, 0, 0x08, 0, 24},
                             Bytes{0x85, 0x08, 0x0E, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0xEC}})
        EXPECT_EQ(execute(cdb).delivery, Answer::Delivery::NEVER) << testing::PrintToString(cdb);
    description.faults.hang.clear();
    description.faults.isGone = true;
    describe();
    EXPECT_EQ(end(execute({0x12, 0, 0, 0, 36})), "2/4/0");
}

TEST_F(SatDeviceTest, InquiryShowsTheFirstHalfOfAFirmwareRevisionWithoutASecond) {
    Bytes page(512);
    const std::string swapped = "BA C    ";  // "AB C" in four words
    CapturedAnswers answers;
    answers.isSata = true;
    std::copy(swapped.begin(), swapped.end(), page.begin() + 46);
    answers.answers[{0xEC, {}}].data = page;
    answers.answers[{0xEC, {}}].status = 0x5000;
    ASSERT_TRUE(succeeded(writeCapture(answers, path())));
    reopen();
    const Bytes data = execute({0x12, 0, 0, 0, 36}).data;
    EXPECT_EQ(std::string(data.begin() + 32, data.end()), "ABC ");
}

/// A device that keeps its mode pages between commands.
class ModePagesTest : public SatDeviceTest {
protected:
    Answer keep(Bytes cdb, const Bytes& dataOut = {}) {
        cdb.resize(CDB_BYTES);
        return device_.execute(0, cdb.data(), dataOut, 512);
    }
    static Bytes caching(uint8_t flags) {
        Bytes page(20);
        page[0] = 0x08;
        page[1] = 18;
        page[2] = flags;
        return page;
    }
    static Bytes control(uint8_t flags) { return {0x0A, 10, flags, 0, 0, 0, 0, 0, 0, 0, 0, 0}; }
    static Bytes joined(const std::vector<Bytes>& parts) {
        Bytes all;
        for (const Bytes& part : parts) all.insert(all.end(), part.begin(), part.end());
        return all;
    }

    SatDevice device_{*drive};
};

TEST_F(ModePagesTest, ModeSenseShowsCurrentAndChangeableValues) {
    EXPECT_EQ(keep({0x1A, 0, 0x08, 0, 252}).data, joined({{23, 0, 0, 0}, caching(0x04)}));
    EXPECT_EQ(keep({0x1A, 0, 0x0A, 0, 252}).data, joined({{15, 0, 0, 0}, control(0x04)}));
    EXPECT_EQ(keep({0x5A, 0, 0x3F, 0, 0, 0, 0, 0, 252}).data,
              joined({{0, 38, 0, 0, 0, 0, 0, 0}, caching(0x04), control(0x04)}));
    EXPECT_EQ(keep({0x5A, 0, 0x3F, 0, 0, 0, 0, 0, 9}).data, (Bytes{0, 38, 0, 0, 0, 0, 0, 0, 0x08}));
    EXPECT_EQ(end(keep({0x15, 0x10, 0, 0, 24}, joined({Bytes(4), caching(0)}))), "good");
    EXPECT_EQ(end(keep({0x15, 0x10, 0, 0, 16}, joined({Bytes(4), control(0)}))), "good");
    EXPECT_EQ(keep({0x1A, 0, 0x3F, 0, 252}).data, joined({{35, 0, 0, 0}, caching(0), control(0)}));
    EXPECT_EQ(keep({0x1A, 0, 0x7F, 0, 252}).data, joined({{35, 0, 0, 0}, caching(0x04), control(0x04)}))
        << "changeable, whatever they are now";
}

TEST_F(ModePagesTest, ModeSenseRefusesWhatItDoesNotHave) {
    EXPECT_EQ(end(keep({0x1A, 0, 0x1C, 0, 252})), "5/24/0") << "another page";
    EXPECT_EQ(end(keep({0x1A, 0, 0xC8, 0, 252})), "5/24/0") << "saved values";
    EXPECT_EQ(end(keep({0x1A, 0, 0x0A, 0x01, 252})), "5/24/0") << "a subpage";
}

TEST_F(ModePagesTest, ModeSelectTakesPagesInTheirOrder) {
    const Bytes head = {0, 0, 0, 8};  // with a block descriptor
    EXPECT_EQ(end(keep({0x15, 0x10, 0, 0, 44}, joined({head, Bytes(8), caching(0), control(0x04)}))), "good");
    EXPECT_EQ(word(85) & 0x20, 0) << "the drive's write cache is off";
    EXPECT_EQ(end(keep({0x55, 0x10, 0, 0, 0, 0, 0, 0, 28}, joined({Bytes(8), caching(0x04)}))), "good");
    EXPECT_EQ(word(85) & 0x20, 0x20);
    EXPECT_EQ(end(keep({0x55, 0x10, 0, 0, 0, 0, 0, 0, 36}, joined({{0, 0, 0, 0, 0, 0, 0, 8}, Bytes(8), caching(0)}))),
              "good");
    EXPECT_EQ(word(85) & 0x20, 0);
}

TEST_F(ModePagesTest, ModeSelectChoosesTheFormatOfSenseData) {
    EXPECT_EQ(keep({0xFF}).sense, (Bytes{0x72, 0x05, 0x20, 0, 0, 0, 0, 0}));
    EXPECT_EQ(end(keep({0x15, 0x10, 0, 0, 16}, joined({Bytes(4), control(0)}))), "good");
    EXPECT_EQ(keep({0xFF}).sense, (Bytes{0x70, 0, 0x05, 0, 0, 0, 0, 10, 0, 0, 0, 0, 0x20, 0, 0, 0, 0, 0}));
    EXPECT_EQ(end(keep({0x15, 0x10, 0, 0, 16}, joined({Bytes(4), control(0x04)}))), "good");
    EXPECT_EQ(keep({0xFF}).sense, (Bytes{0x72, 0x05, 0x20, 0, 0, 0, 0, 0}));
}

TEST_F(ModePagesTest, ModeSelectRefusesListsThatItCannotRead) {
    const struct {
        Bytes cdb;
        Bytes list;
        const char* end;
        const char* why;
    } CASES[] = {
        {{0x15, 0x10, 0, 0, 0}, joined({Bytes(4), caching(0)}), "good", "no list is named"},
        {{0x55, 0x10}, joined({Bytes(8), caching(0)}), "good", "none in 10 bytes"},
        {{0x15, 0x10, 0, 0, 4}, Bytes(4), "good", "a head without pages"},
        {{0x15, 0x10, 0, 0, 24}, joined({Bytes(4), Bytes(19)}), "5/26/0", "less than is named"},
        {{0x15, 0x10, 0, 0, 3}, Bytes(4), "5/26/0", "less than a head"},
        {{0x55, 0x10, 0, 0, 0, 0, 0, 0, 7}, Bytes(8), "5/26/0", "less than the longer head"},
        {{0x15, 0x10, 0, 0, 23}, joined({Bytes(4), caching(0)}), "5/26/0", "a page that is cut off"},
        {{0x15, 0x10, 0, 0, 6}, {0, 0, 0, 0, 0x08, 0}, "5/26/0", "a page of another length"},
        {{0x15, 0x10, 0, 0, 6}, {0, 0, 0, 0, 0x0A, 0}, "5/26/0", "the other page of another length"},
        {{0x15, 0x10, 0, 0, 16}, {0, 0, 0, 0, 0x1C, 10, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, "5/26/0", "another page"},
    };
    for (const auto& c : CASES) EXPECT_EQ(end(keep(c.cdb, c.list)), c.end) << c.why;
    EXPECT_EQ(word(85) & 0x20, 0x20) << "the write cache is as it was";
    Bytes list = joined({Bytes(4), {0x1C, 0}, caching(0)});
    EXPECT_EQ(end(keep({0x15, 0x10, 0, 0, 26}, list)), "5/26/0");
    EXPECT_EQ(word(85) & 0x20, 0x20) << "nothing is taken after what is refused";
}

TEST_F(SatDeviceTest, PassThroughRefusesWhatItCannotCarry) {
    write(9, 0x09);
    const Bytes sector = filled(0xFF);
    // READ and WRITE DMA EXT of sector 9; protocol and flags are changed below.
    const Bytes readNine = {0x85, 0x0D, 0x0E, 0, 0, 0, 1, 0, 9, 0, 0, 0, 0, 0x40, 0x25};
    const Bytes writeNine = {0x85, 0x0D, 0x06, 0, 0, 0, 1, 0, 9, 0, 0, 0, 0, 0x40, 0x35};
    ASSERT_EQ(execute(readNine).data, filled(0x09));
    const struct {
        size_t at;
        uint8_t value;
        const char* why;
    } CASES[] = {
        {1, 0x01, "the protocol of a reset"}, {1, 0x0F, "that of DMA queued"}, {1, 0x19, "that of FPDMA"},
        {1, 0x2D, "a multiple count"},        {2, 0x0C, "no length"},          {5, 0xFF, "a length over 1 MiB"},
    };
    for (const auto& c : CASES) {
        for (Bytes cdb : {readNine, writeNine}) {
            cdb[c.at] = c.value;
            if (c.at == 2 && cdb[14] == 0x35) cdb[2] = 0x04;
            EXPECT_EQ(end(execute(cdb, sector)), "5/24/0") << c.why;
        }
    }
    Bytes wrongWay = readNine;
    wrongWay[1] = 0x09;  // PIO in
    wrongWay[2] = 0x06;  // to the drive
    EXPECT_EQ(end(execute(wrongWay, sector)), "5/24/0");
    EXPECT_EQ(end(execute(writeNine, Bytes(511))), "5/24/0") << "less data than the command takes";
    EXPECT_EQ(execute(readNine).data, filled(0x09)) << "nothing was written";
}

TEST_F(SatDeviceTest, PassThroughFindsTheLengthWhereTheHostPutIt) {
    write(9, 0x09);
    const struct {
        Bytes cdb;
        uint32_t expectedBytes;
        const char* why;
    } CASES[] = {
        {{0x85, 0x0D, 0x0E, 0, 0, 0, 1, 0, 9, 0, 0, 0, 0, 0x40, 0x25}, 0, "COUNT, in blocks"},
        {{0x85, 0x0D, 0x0D, 0, 1, 0, 1, 0, 9, 0, 0, 0, 0, 0x40, 0x25}, 0, "FEATURE, in blocks"},
        {{0x85, 0x0D, 0x09, 2, 0, 0, 1, 0, 9, 0, 0, 0, 0, 0x40, 0x25}, 0, "FEATURE, in bytes"},
        {{0x85, 0x0D, 0x0B, 0, 0, 0, 1, 0, 9, 0, 0, 0, 0, 0x40, 0x25}, 512, "what the transport transfers"},
        {{0x85, 0x15, 0x0E, 0, 0, 0, 1, 0, 9, 0, 0, 0, 0, 0x40, 0x25}, 0, "with UDMA in"},
        {{0xA1, 0x0C, 0x0E, 0, 1, 9, 0, 0, 0x40, 0xC8}, 0, "12 bytes"},
    };
    for (const auto& c : CASES) {
        const Answer answer = execute(c.cdb, {}, 0, c.expectedBytes);
        EXPECT_EQ(end(answer), "good") << c.why;
        EXPECT_EQ(answer.data, filled(0x09)) << c.why;
    }
    const Bytes writeByUdma = {0x85, 0x17, 0x06, 0, 0, 0, 1, 0, 9, 0, 0, 0, 0, 0x40, 0x35};
    EXPECT_EQ(end(execute(writeByUdma, filled(0x77))), "good");
    EXPECT_EQ(execute(CASES[0].cdb).data, filled(0x77));
}

}  // namespace
}  // namespace simdrive::scsi
