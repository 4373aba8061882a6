#include "tests/unit/features/simulator/sata/SimulatedSataDrive.h"

namespace {

class SataSmart : public SimulatedSataDrive {
protected:
    /// The 12 bytes of an attribute.
    Bytes attribute(uint8_t id) {
        const Bytes page = smartPage(0xD0);
        for (size_t at = 2; at < 362; at += 12) {
            if (page[at] == id)
                return {page.begin() + static_cast<std::ptrdiff_t>(at),
                        page.begin() + static_cast<std::ptrdiff_t>(at) + 12};
        }
        ADD_FAILURE() << "no attribute " << unsigned{id};
        return Bytes(12);
    }
    uint64_t returned() { return registers(smart(0xDA)).lba; }
};

TEST_F(SataSmart, ShowsAttributesByTheirBytes) {
    clock.advanceMs(uint64_t{5} * 3600000);
    EXPECT_EQ(attribute(1), (Bytes{1, 0x23, 0, 100, 100, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(attribute(9), (Bytes{9, 0x32, 0, 100, 100, 5, 0, 0, 0, 0, 0, 0})) << "hours";
    EXPECT_EQ(attribute(12), (Bytes{12, 0x32, 0, 100, 100, 1, 0, 0, 0, 0, 0, 0})) << "power cycles";
    EXPECT_EQ(attribute(194), (Bytes{194, 0x22, 0, 62, 62, 38, 0, 20, 0, 40, 0, 0})) << "now, lowest, highest";
    EXPECT_EQ(sum(smartPage(0xD0)), 0U);
}

TEST_F(SataSmart, ShowsThresholdsInTheOrderOfTheAttributes) {
    const Bytes page = smartPage(0xD1);
    EXPECT_EQ(page[2], 1);
    EXPECT_EQ(page[3], 50);
    EXPECT_EQ(page[14], 5);
    EXPECT_EQ(page[15], 10);
    EXPECT_EQ(sum(page), 0U);
    const Bytes values = smartPage(0xD0);
    for (size_t at = 2; at < 362; at += 12) EXPECT_EQ(page[at], values[at]);
}

TEST_F(SataSmart, CountsWhatTheHostReadsAndWrites) {
    EXPECT_EQ(write(7, 0xAA).status, 0x50);
    EXPECT_EQ(read(7).status, 0x50);
    EXPECT_EQ(read(8).status, 0x50);
    EXPECT_EQ(number(attribute(241), 5, 6), 1U);
    EXPECT_EQ(number(attribute(242), 5, 6), 2U);
    reopen();
    EXPECT_EQ(number(attribute(242), 5, 6), 2U) << "kept";
}

TEST_F(SataSmart, AFaultShowsInTheStatus) {
    EXPECT_EQ(returned(), 0xC24F00U);
    description.faults.attributes = {{5, features::simulator::AttributeFault::Part::RAW, 300}};
    describe();
    EXPECT_EQ(attribute(5), (Bytes{5, 0x33, 0, 100, 100, 0x2C, 1, 0, 0, 0, 0, 0}));
    EXPECT_EQ(returned(), 0xC24F00U) << "a raw value has no threshold";
    description.faults.attributes = {{5, features::simulator::AttributeFault::Part::VALUE, 10}};
    describe();
    EXPECT_EQ(returned(), 0x2CF400U) << "at the threshold";
    description.faults.attributes = {{9, features::simulator::AttributeFault::Part::VALUE, 1}};
    describe();
    EXPECT_EQ(returned(), 0xC24F00U) << "not an attribute of a failure";
}

TEST_F(SataSmart, LifeLeftFollowsThePercentageUsed) {
    description.faults.smart = {{5, 130}};
    describe();
    EXPECT_EQ(attribute(231), (Bytes{231, 0x13, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(attribute(177), (Bytes{177, 0x13, 0, 0, 0, 130, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(log(0x04, 7)[8], 130) << "percentage used";
}

TEST_F(SataSmart, DisabledItTakesOneCommand) {
    EXPECT_EQ(registers(smart(0xD9)).status, 0x50);
    EXPECT_EQ(word(85) & 1, 0);
    EXPECT_EQ(registers(smart(0xDA)).error, 0x04);
    EXPECT_EQ(registers(readIn(0xB0, 0xD0, 1, 0xC24F00, 512)).error, 0x04);
    EXPECT_EQ(registers(smart(0xD8)).status, 0x50);
    EXPECT_EQ(word(85) & 1, 1);
    EXPECT_EQ(registers(smart(0xDA)).status, 0x50);
}

TEST_F(SataSmart, WithoutItsKeyItIsAborted) {
    EXPECT_EQ(registers(noData(0xB0, 0xDA, 0, 0)).error, 0x04);
    EXPECT_EQ(registers(smart(0xDF)).error, 0x04) << "an unknown subcommand";
    EXPECT_EQ(registers(readIn(0xB0, 0xDA, 1, 0xC24F00, 512)).error, 0x04) << "another protocol";
}

}  // namespace
