#include "tests/unit/features/simulator/SimulatedDrive.h"

namespace {

constexpr uint64_t HOUR_MS = 3600000;

class StoppedClock : public SimulatedDrive {
protected:
    /// Power On Hours of the SMART / Health log.
    uint64_t hours() { return number(log(0x02, 512), 128, 8); }
};

TEST_F(StoppedClock, MovesWithTheDescriptionAlone) {
    description.clockMs = 1767225600000;  // 2026-01-01 00:00:00
    describe(features::simulator::ModelId::VELKO);
    EXPECT_EQ(hours(), 0U);
    clock.advanceMs(2 * HOUR_MS);
    EXPECT_EQ(hours(), 0U);
    description.clockMs = 1767225600000 + 3 * HOUR_MS;
    describe();
    EXPECT_EQ(hours(), 3U);
}

TEST_F(StoppedClock, IsReadAndWrittenInTheDescription) {
    using features::simulator::Description;
    const std::string drive = "[drive]\nmodel = ocp\nserial-number = S\nsize = 1 MiB\n";
    for (const auto& [value, ms] : std::map<std::string, std::optional<uint64_t>>{
             {"", std::nullopt}, {"0", 0}, {"1767225600000", 1767225600000}, {"0xFFFFFFFFFFFF", 281474976710655}}) {
        const auto read = Description::parse(drive + "clock = " + value + "\n");
        ASSERT_TRUE(read) << value;
        EXPECT_EQ(read->clockMs, ms) << value;
        const auto again = Description::parse(read->toText());
        ASSERT_TRUE(again) << value;
        EXPECT_EQ(again->clockMs, ms) << value;
    }
    for (const char* value : {"now", "-1", "281474976710656", "2026-01-01"}) {
        EXPECT_EQ(statusOf(Description::parse(drive + "clock = " + value + "\n")).getMessage(),
                  "\"clock\" takes milliseconds since 1970, or nothing.");
    }
}

}  // namespace
