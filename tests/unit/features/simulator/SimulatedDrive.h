#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "features/simulator/context/Entries.h"
#include "features/simulator/controller/Controller.h"
#include "features/simulator/store/Clock.h"
#include "features/simulator/store/DriveStore.h"
#include "tests/support/TemporaryFolder.h"

/// A simulated drive in a temporary folder, of 64 MiB, with a clock stopped at 2026-11-20 18:00:00 UTC. Opcodes and
/// dwords are written out in the tests, as are the bytes that are returned.
class SimulatedDrive : public ::testing::Test {
public:
    using Bytes = std::vector<uint8_t>;
    static constexpr uint64_t START_MS = 1795197600000;

protected:
    SimulatedDrive() { describe(features::simulator::ModelId::VELKO); }

    /// Makes the drive; to be called before its first command.
    void describe(features::simulator::ModelId model, uint64_t sizeBytes = 64 << 20) {
        description.setModel(model);
        description.serialNumber = "SIM1";
        description.sizeBytes = sizeBytes;
        controller.reset();
        describe();
    }
    /// Puts the description in force.
    void describe() {
        const features::simulator::DriveStore store(folder / "drives");
        const auto status = controller ? store.describe("one", description) : remake(store);
        ASSERT_TRUE(succeeded(status)) << status.getMessage();
    }
    /// What another process, or this one after its restart, sees.
    void reopen() { controller = std::make_unique<features::simulator::Controller>(path(), clock); }
    std::string path() const { return folder / "drives/one"; }

    features::simulator::CompletionEntry run(const features::simulator::SubmissionEntry& command) {
        if (!controller) reopen();
        const auto completion = controller->execute(command, data);
        EXPECT_TRUE(completion) << completion.error().getMessage();
        return completion.value_or(features::simulator::CompletionEntry());
    }
    /// The status field of a command.
    uint16_t status(const features::simulator::SubmissionEntry& command) { return run(command).statusField; }

    static features::simulator::SubmissionEntry admin(uint8_t opcode, uint32_t nsid = 0, uint32_t cdw10 = 0,
                                                      uint32_t cdw11 = 0, uint32_t cdw12 = 0, uint32_t cdw13 = 0,
                                                      uint32_t cdw14 = 0, uint32_t cdw15 = 0) {
        return {true, opcode, nsid, 0, 0, cdw10, cdw11, cdw12, cdw13, cdw14, cdw15};
    }
    static features::simulator::SubmissionEntry io(uint8_t opcode, uint32_t nsid, uint32_t cdw10 = 0,
                                                   uint32_t cdw11 = 0, uint32_t cdw12 = 0, uint32_t cdw13 = 0) {
        return {false, opcode, nsid, 0, 0, cdw10, cdw11, cdw12, cdw13, 0, 0};
    }
    /// A log page that must be there.
    Bytes log(uint8_t lid, uint32_t bytes, uint8_t lsp = 0) {
        const uint32_t dword10 = lid | static_cast<uint32_t>(lsp) << 8 | (bytes / 4 - 1) << 16;
        EXPECT_EQ(run(admin(0x02, 0xFFFFFFFF, dword10)).statusField, 0);
        return data;
    }
    /// An Identify structure that must be there.
    Bytes identify(uint32_t cns, uint32_t nsid = 0) {
        EXPECT_EQ(run(admin(0x06, nsid, cns)).statusField, 0);
        return data;
    }
    static uint64_t number(const Bytes& bytes, size_t offset, size_t width) {
        uint64_t value = 0;
        for (size_t i = width; i-- > 0;) value = value << 8 | bytes.at(offset + i);
        return value;
    }
    /// A part of some bytes.
    static Bytes part(const Bytes& bytes, size_t offset, size_t size) {
        const auto first = bytes.begin() + static_cast<std::ptrdiff_t>(offset);
        return {first, first + static_cast<std::ptrdiff_t>(size)};
    }
    static std::string text(const Bytes& bytes, size_t offset, size_t size) {
        const Bytes piece = part(bytes, offset, size);
        return {piece.begin(), piece.end()};
    }

    TemporaryFolder folder;
    features::simulator::Description description;
    features::simulator::ManualClock clock{START_MS};
    std::unique_ptr<features::simulator::Controller> controller;
    Bytes data;

private:
    ostrel::core::Status remake(const features::simulator::DriveStore& store) {
        if (!store.names().empty()) {
            const auto status = store.remove("one");
            if (failed(status)) return status;
        }
        return store.create({{"one", description}}, clock);
    }
};
