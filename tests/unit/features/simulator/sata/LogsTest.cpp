#include "tests/unit/features/simulator/sata/SimulatedSataDrive.h"

namespace {

class SataLogs : public SimulatedSataDrive {};

TEST_F(SataLogs, TheDirectoryHasThePagesOfEachLog) {
    const Bytes directory = log(0x00);
    EXPECT_EQ(number(directory, 0, 2), 1U);
    const struct {
        uint8_t address;
        uint16_t pages;
    } LOGS[] = {{0x01, 0}, {0x03, 1}, {0x04, 8}, {0x06, 0}, {0x07, 1}, {0x0C, 3}, {0x10, 1},
                {0x11, 1}, {0x24, 1}, {0x25, 1}, {0x30, 9}, {0xE0, 1}, {0xE1, 0}};
    for (const auto& each : LOGS) {
        EXPECT_EQ(number(directory, 2 * size_t{each.address}, 2), each.pages) << unsigned{each.address};
        const TaskFile command{0x2F, Protocol::PIO_IN, true, 0, 1, each.address, 0, 512};
        EXPECT_EQ(registers(command).status, each.pages != 0 ? 0x50 : 0x51) << unsigned{each.address};
    }
    ASSERT_EQ(registers(readIn(0xB0, 0xD5, 1, 0xC24F00, 512)).status, 0x50);
    EXPECT_EQ(number(data, 2 * 0x01, 2), 1U) << "of SMART READ LOG";
    EXPECT_EQ(number(data, 2 * 0x06, 2), 1U);
    EXPECT_EQ(number(data, 2 * 0x07, 2), 0U);
}

TEST_F(SataLogs, PagesBeyondTheEndAreAborted) {
    const auto status = [&](uint16_t page, uint16_t count) {
        return registers({0x2F, Protocol::PIO_IN, true, 0, count, 0x04 | uint64_t{page} << 8, 0, count * 512U}).status;
    };
    EXPECT_EQ(status(0, 8), 0x50);
    EXPECT_EQ(status(7, 1), 0x50);
    EXPECT_EQ(status(8, 1), 0x51);
    EXPECT_EQ(status(1, 8), 0x51);
    EXPECT_EQ(status(0, 0), 0x51);
    EXPECT_EQ(registers({0x47, Protocol::DMA_IN, true, 0, 8, 0x04, 0, 4096}).status, 0x50) << "READ LOG DMA EXT";
}

TEST_F(SataLogs, DeviceStatisticsHaveTheirFlags) {
    clock.advanceMs(uint64_t{7} * 3600000);
    EXPECT_EQ(write(1, 0x55).status, 0x50);
    const Bytes list = log(0x04, 0);
    EXPECT_EQ(number(list, 0, 8), 0x0001U);
    EXPECT_EQ(Bytes(list.begin() + 8, list.begin() + 15), (Bytes{6, 0, 1, 4, 5, 6, 7}));
    const Bytes general = log(0x04, 1);
    EXPECT_EQ(number(general, 0, 8), 0x010001U);
    EXPECT_EQ(number(general, 0x08, 8), 0xC000000000000001U) << "power-on resets";
    EXPECT_EQ(number(general, 0x10, 8), 0xC000000000000007U) << "hours";
    EXPECT_EQ(number(general, 0x18, 8), 0xC000000000000001U) << "sectors written";
    EXPECT_EQ(number(general, 0x20, 8), 0xC000000000000001U) << "write commands";
    EXPECT_EQ(number(general, 0x48, 8), 0U) << "not supported";
    const Bytes temperature = log(0x04, 5);
    EXPECT_EQ(number(temperature, 0x08, 8), 0xC000000000000026U) << "38 degrees Celsius";
    EXPECT_EQ(number(temperature, 0x10, 8), 0x8000000000000000U) << "supported, not valid";
    EXPECT_EQ(number(log(0x04, 7), 0x08, 8), 0xE000000000000000U) << "percentage used, normalized";
    description.faults.temperatureCelsius = -5;
    describe();
    EXPECT_EQ(number(log(0x04, 5), 0x08, 8), 0xC0000000000000FBU) << "signed";
}

TEST_F(SataLogs, SctStatusHasStateAndTemperatures) {
    const auto state = [&] { return log(0xE0)[10]; };
    const Bytes status = log(0xE0);
    EXPECT_EQ(number(status, 0, 2), 3U) << "format";
    EXPECT_EQ(Bytes(status.begin() + 200, status.begin() + 206), (Bytes{38, 38, 38, 20, 40, 0}));
    EXPECT_EQ(state(), 0) << "active";
    EXPECT_EQ(registers(readIn(0xB0, 0xD5, 1, 0xC24FE0, 512)).status, 0x50);
    EXPECT_EQ(data, status) << "by SMART READ LOG, too";
    EXPECT_EQ(registers(noData(0xE0, 0)).status, 0x50);
    EXPECT_EQ(state(), 1) << "standby";
    EXPECT_EQ(registers({0xB0, Protocol::NON_DATA, false, 0xD4, 0, 0xC24F01, 0, 0}).status, 0x50);
    EXPECT_EQ(state(), 3) << "a self-test";
    description.faults.temperatureCelsius = -5;
    describe();
    const Bytes cold = log(0xE0);
    EXPECT_EQ(Bytes(cold.begin() + 200, cold.begin() + 205), (Bytes{0xFB, 0xFB, 0xFB, 0xFB, 40}));
}

TEST_F(SataLogs, AFailedCommandIsInBothErrorLogs) {
    clock.advanceMs(3600000);
    EXPECT_EQ(read(0x20001).error, 0x10) << "beyond the end";
    const Bytes page = log(0x03);
    EXPECT_EQ(page[0], 1);
    EXPECT_EQ(number(page, 2, 2), 1U);
    EXPECT_EQ(number(page, 500, 2), 1U);
    const size_t command = 4 + 4 * 18;
    EXPECT_EQ(page[command + 12], 0x25);
    EXPECT_EQ(Bytes(page.begin() + command + 5, page.begin() + command + 11), (Bytes{0x01, 0, 0, 0, 0x02, 0}));
    const size_t error = 4 + 5 * 18;
    EXPECT_EQ(page[error + 1], 0x10);
    EXPECT_EQ(page[error + 11], 0x51);
    EXPECT_EQ(page[error + 31], 0x03);
    EXPECT_EQ(number(page, error + 32, 2), 1U) << "hours";
    ASSERT_EQ(registers(readIn(0xB0, 0xD5, 1, 0xC24F01, 512)).status, 0x50);
    EXPECT_EQ(data[1], 1);
    EXPECT_EQ(data[2 + 60 + 1], 0x10);
    EXPECT_EQ(number(data, 452, 2), 1U);
    EXPECT_EQ(sum(data), 0U);
}

TEST_F(SataLogs, TheIdentifyLogHasACopyAndTheCapacity) {
    const Bytes identified = identify();
    EXPECT_EQ(log(0x30, 1), identified);
    const Bytes list = log(0x30, 0);
    EXPECT_EQ(number(list, 0, 8), 0x8000000000000001U);
    EXPECT_EQ(Bytes(list.begin() + 8, list.begin() + 14), (Bytes{5, 0, 1, 2, 3, 6}));
    EXPECT_EQ(number(log(0x30, 2), 8, 8), 0x8000000000020000U) << "131,072 sectors";
    EXPECT_EQ(number(log(0x30, 3), 16, 8), 0x8000001F01000001U) << "microcode: 1 to 256 sectors, modes";
    EXPECT_EQ(number(log(0x30, 6), 16, 8), 0x8000000000000021U) << "word 128";
}

TEST_F(SataLogs, TheCurrentStatusIsCapturedOnRequestAlone) {
    Bytes header = log(0x24);
    EXPECT_EQ(header[0], 0x24);
    EXPECT_EQ(number(header, 4, 4), 0x02564CU);
    EXPECT_EQ(number(header, 8, 2), 0U) << "no area";
    header = log(0x24, 0, 1);
    EXPECT_EQ(number(header, 8, 2), 1U) << "the last page of area 1";
    EXPECT_EQ(number(header, 10, 2), 2U);
    EXPECT_EQ(number(header, 12, 2), 3U);
    EXPECT_EQ(header[382], 0) << "nothing is saved";
    EXPECT_EQ(std::string(header.begin() + 384, header.begin() + 404), "requested by the hos");
    EXPECT_EQ(number(log(0x00), 2 * 0x24, 2), 4U);
    const Bytes facts = log(0x24, 1);
    EXPECT_EQ(std::string(facts.begin(), facts.begin() + 20), "serial number SIM1\nf");
    EXPECT_EQ(log(0x24, 2)[2], 1) << "SMART data, attribute 1";
}

TEST_F(SataLogs, AnUncorrectableErrorSavesTheStatus) {
    EXPECT_EQ(log(0x25)[382], 0);
    description.faults.mediaErrors = {{1, 10, 1}};
    describe();
    EXPECT_EQ(read(10).error, 0x40);
    const Bytes header = log(0x25);
    EXPECT_EQ(header[0], 0x25);
    EXPECT_EQ(header[382], 1);
    EXPECT_EQ(header[383], 1);
    EXPECT_EQ(number(header, 12, 2), 3U);
    EXPECT_EQ(log(0x24)[383], 1) << "in both logs";
}

}  // namespace
