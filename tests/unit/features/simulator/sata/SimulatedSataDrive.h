#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "features/simulator/sata/SataDrive.h"
#include "features/simulator/store/Clock.h"
#include "features/simulator/store/DriveStore.h"
#include "tests/support/TemporaryFolder.h"

/// A simulated SATA drive of 64 MiB in a temporary folder, with a clock stopped at 2026-11-20 18:00:00 UTC. Opcodes,
/// registers and offsets are written out in the tests, as are the bytes that are returned.
class SimulatedSataDrive : public ::testing::Test {
public:
    using Bytes = std::vector<uint8_t>;
    using Completion = features::simulator::sata::Completion;
    using Registers = features::ata::Registers;
    using Delivery = features::simulator::sata::Delivery;
    using TaskFile = features::simulator::sata::TaskFile;
    using Protocol = features::ata::Protocol;
    static constexpr uint64_t START_MS = 1795197600000;

protected:
    SimulatedSataDrive() {
        description.setModel(features::simulator::ModelId::SATA);
        description.serialNumber = "SIM1";
        description.sizeBytes = 64 << 20;
        EXPECT_TRUE(succeeded(store().create({{"one", description}}, clock)));
        reopen();
    }

    features::simulator::DriveStore store() const { return features::simulator::DriveStore(folder / "drives"); }
    std::string path() const { return folder / "drives/one"; }
    /// Puts the description in force.
    void describe() {
        const auto status = store().describe("one", description);
        ASSERT_TRUE(succeeded(status)) << status.getMessage();
    }
    /// What another process sees.
    void reopen() { drive = std::make_unique<features::simulator::sata::SataDrive>(path(), clock); }
    void powerCycle() {
        const auto status = drive->powerCycle();
        ASSERT_TRUE(succeeded(status)) << status.getMessage();
    }

    Completion run(const TaskFile& command) {
        const auto completion = drive->execute(command, data);
        EXPECT_TRUE(completion) << completion.error().getMessage();
        return completion.value_or(Completion());
    }
    Registers registers(const TaskFile& command) {
        const Completion completion = run(command);
        EXPECT_EQ(completion.delivery, Delivery::COMPLETED);
        return completion.registers;
    }

    static TaskFile noData(uint8_t opcode, uint16_t feature = 0, uint16_t count = 0, uint64_t lba = 0) {
        return {opcode, Protocol::NON_DATA, false, feature, count, lba, 0, 0};
    }
    static TaskFile noDataExt(uint8_t opcode, uint16_t feature = 0, uint16_t count = 0, uint64_t lba = 0) {
        return {opcode, Protocol::NON_DATA, true, feature, count, lba, 0, 0};
    }
    static TaskFile smart(uint16_t feature, uint8_t low = 0, uint16_t count = 0) {
        return noData(0xB0, feature, count, 0xC24F00 | low);
    }
    static TaskFile readIn(uint8_t opcode, uint16_t feature, uint16_t count, uint64_t lba, uint32_t bytes) {
        return {opcode, Protocol::PIO_IN, false, feature, count, lba, 0, bytes};
    }
    /// IDENTIFY DEVICE.
    Bytes identify() {
        EXPECT_EQ(registers(readIn(0xEC, 0, 0, 0, 512)).status, 0x50);
        return data;
    }
    uint16_t word(size_t number) {
        const Bytes page = identify();
        return static_cast<uint16_t>(page.at(2 * number) | page.at(2 * number + 1) << 8);
    }
    /// SMART READ DATA or READ THRESHOLDS.
    Bytes smartPage(uint16_t feature) {
        EXPECT_EQ(registers(readIn(0xB0, feature, 1, 0xC24F00, 512)).status, 0x50);
        return data;
    }
    /// A page of a log by READ LOG EXT.
    Bytes log(uint8_t address, uint16_t page = 0, uint16_t feature = 0) {
        const uint64_t lba = address | (page & 0xFFULL) << 8 | (page & 0xFF00ULL) << 24;
        EXPECT_EQ(registers({0x2F, Protocol::PIO_IN, true, feature, 1, lba, 0, 512}).status, 0x50)
            << "log " << unsigned{address} << " page " << page;
        return data;
    }
    /// A command of the security feature set with its sector: word 0 and the password.
    Registers security(uint8_t opcode, uint16_t word0, const std::string& password) {
        data.assign(512, 0);
        data[0] = static_cast<uint8_t>(word0);
        data[1] = static_cast<uint8_t>(word0 >> 8);
        std::copy(password.begin(), password.end(), data.begin() + 2);
        return registers({opcode, Protocol::PIO_OUT, false, 0, 0, 0, 0, 512});
    }
    Registers write(uint64_t lba, uint8_t byte) {
        data.assign(512, byte);
        return registers({0x35, Protocol::DMA_OUT, true, 0, 1, lba, 0, 512});
    }
    Registers read(uint64_t lba) { return registers({0x25, Protocol::DMA_IN, true, 0, 1, lba, 0, 512}); }
    static uint64_t number(const Bytes& bytes, size_t offset, size_t width) {
        uint64_t value = 0;
        for (size_t i = width; i-- > 0;) value = value << 8 | bytes.at(offset + i);
        return value;
    }
    static unsigned sum(const Bytes& bytes) {
        unsigned sum = 0;
        for (const uint8_t byte : bytes) sum += byte;
        return sum & 0xFF;
    }

    TemporaryFolder folder;
    features::simulator::Description description;
    features::simulator::ManualClock clock{START_MS};
    std::unique_ptr<features::simulator::sata::SataDrive> drive;
    Bytes data;
};

namespace features::ata {

inline bool operator==(const Registers& a, const Registers& b) {
    return a.error == b.error && a.status == b.status && a.device == b.device && a.count == b.count && a.lba == b.lba;
}

}  // namespace features::ata
