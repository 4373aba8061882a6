#include "tests/unit/features/simulator/SimulatedDrive.h"

using features::simulator::ModelId;

namespace {

class LogPagesOfASimulatedDrive : public SimulatedDrive {
protected:
    /// The entries of a page of four bytes each that are not zero.
    static std::vector<std::pair<size_t, uint32_t>> entries(const Bytes& page) {
        std::vector<std::pair<size_t, uint32_t>> found;
        for (size_t i = 0; i < page.size() / 4; ++i) {
            const auto entry = static_cast<uint32_t>(number(page, 4 * i, 4));
            if (entry != 0) found.emplace_back(i, entry);
        }
        return found;
    }
    using Entries = std::vector<std::pair<size_t, uint32_t>>;
};

TEST_F(LogPagesOfASimulatedDrive, AreListed) {
    description.supportsTelemetry = false;
    description.supportsPersistentEventLog = false;
    description.supportsSelfTest = false;
    describe();
    Entries standard;
    for (const auto& entry : entries(log(0x00, 1024))) {
        if (entry.first < 0xC0) standard.push_back(entry);
    }
    EXPECT_EQ(standard, (Entries{{0, 1}, {1, 1}, {2, 1}, {3, 1}, {4, 1}, {5, 1}, {0x81, 1}}));
    EXPECT_EQ(identify(0x01)[261], 0x26);
    EXPECT_EQ(number(identify(0x01), 352, 4), 0U);
}

TEST_F(LogPagesOfASimulatedDrive, ReportTheEffectsOfCommands) {
    description.supportsFirmwareUpdate = false;
    description.supportsSanitize = false;
    describe();
    Entries standard;
    for (const auto& entry : entries(log(0x05, 4096))) {
        if (entry.first < 0xC0 || entry.first >= 256) standard.push_back(entry);
    }
    EXPECT_EQ(standard, (Entries{{0x02, 0x1},
                                 {0x06, 0x1},
                                 {0x08, 0x1},
                                 {0x09, 0x15},
                                 {0x0A, 0x1},
                                 {0x0C, 0x1},
                                 {0x0D, 0xF},
                                 {0x14, 0x1},
                                 {0x15, 0x9},
                                 {0x18, 0x1},
                                 {0x80, 0x20007},
                                 {256 + 0x00, 0x1},
                                 {256 + 0x01, 0x3},
                                 {256 + 0x02, 0x1},
                                 {256 + 0x05, 0x1},
                                 {256 + 0x08, 0x3},
                                 {256 + 0x09, 0x3}}));
}

TEST_F(LogPagesOfASimulatedDrive, AreReadInPieces) {
    const Bytes whole = log(0x05, 4096);
    EXPECT_EQ(status(admin(0x02, 0, 0x00030005, 0, 0x20)), 0);
    EXPECT_EQ(data, part(whole, 0x20, 16));
    EXPECT_EQ(status(admin(0x02, 0, 0x00070005, 0, 4080)), 0) << "past the end";
    Bytes expected = part(whole, 4080, 16);
    expected.resize(32);
    EXPECT_EQ(data, expected);
    EXPECT_EQ(status(admin(0x02, 0, 0x00000005, 0, 4096)), 0x4002) << "at the end";
    EXPECT_EQ(status(admin(0x02, 0, 0x00000005, 0, 0, 1)), 0x4002) << "4 GiB after it";
    EXPECT_EQ(status(admin(0x02, 0, 0x00000005, 0, 2)), 0x4002) << "not a dword";
}

TEST_F(LogPagesOfASimulatedDrive, AreRefusedWithTheRightStatus) {
    const struct {
        features::simulator::SubmissionEntry command;
        uint16_t status;
        const char* why;
    } CASES[] = {
        {admin(0x02, 0, 0x007F000A), 0x4109, "no predictable latency"},
        {admin(0x02, 1, 0x007F0002), 0x4002, "SMART is not per namespace"},
        {admin(0x02, 0, 0x007F0102), 0x4002, "no log specific field"},
        {admin(0x02, 0, 0x007F0002, 0x10000), 0x4002, "no log specific identifier"},
        {admin(0x02, 0, 0x007F0002, 0, 0, 0, 1), 0x4002, "no UUID index"},
        {admin(0x02, 0, 0x00000002, 2), 0x4002, "512 KiB and 4 bytes"},
        {admin(0x02, 0, 0x007F0002, 0, 0, 0, 0x80), 0x4002, "a reserved bit"},
        {admin(0x02, 0, 0x007F0002, 0, 0, 0, 0, 1), 0x4002, "a reserved dword"},
    };
    for (const auto& c : CASES) EXPECT_EQ(status(c.command), c.status) << c.why;
}

TEST_F(LogPagesOfASimulatedDrive, KeepAsManyErrorsAsTheModelHasRoomFor) {
    for (int i = 0; i < 65; ++i) EXPECT_EQ(status(admin(0x7F)), 0x4001);
    const Bytes errors = log(0x01, 64 * 64);
    EXPECT_EQ(number(errors, 0, 8), 65U);
    EXPECT_EQ(number(errors, 63 * 64, 8), 2U);
    EXPECT_EQ(identify(0x01)[262], 63);
    EXPECT_EQ(status(admin(0x02, 0, 0x000F0001, 0, 64 * 64)), 0x4002);
}

TEST_F(LogPagesOfASimulatedDrive, CountTheDrivesLife) {
    clock.advanceMs(uint64_t{25} * 3600000 + 3599999);
    Bytes smart = log(0x02, 512);
    EXPECT_EQ(part(smart, 0, 8), (Bytes{0, 0x37, 0x01, 100, 10, 0, 0, 0})) << "311 K";
    EXPECT_EQ(number(smart, 112, 8), 1U) << "power cycles";
    EXPECT_EQ(number(smart, 128, 8), 25U) << "power-on hours";
    EXPECT_EQ(number(smart, 144, 8), 0U) << "unsafe shutdowns";
    EXPECT_EQ(number(smart, 200, 2), 311U);
    EXPECT_TRUE(succeeded(controller->reset(features::simulator::ResetKind::SUBSYSTEM)));
    smart = log(0x02, 512);
    EXPECT_EQ(number(smart, 112, 8), 2U);
    EXPECT_EQ(number(smart, 128, 8), 25U);
}

TEST_F(LogPagesOfASimulatedDrive, ReportHowMuchOfItsLifeAWornDriveHasUsed) {
    describe(ModelId::VELKO, 1 << 20);
    data.assign(512 * 1024, 1);
    for (int i = 0; i < 20; ++i) {  // ten times the drive's size: 1 % of the thousand that it takes
        EXPECT_EQ(status(io(0x01, 1, 0, 0, 1023)), 0);
    }
    const Bytes smart = log(0x02, 512);
    EXPECT_EQ(smart[5], 1);
    EXPECT_EQ(number(smart, 48, 8), 21U) << "10,485,760 bytes in units of 512,000";
    EXPECT_EQ(number(smart, 80, 8), 20U);
}

}  // namespace
