#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "features/nvme/FieldTree.h"
#include "ostrel/core/Payload.h"

namespace features::ata {

/// A self-test that a drive remembers.
struct SelfTestResult {
    uint8_t test;    ///< LBA 7:0 of the command that started it
    uint8_t status;  ///< 7:4 code, 3:0 tenths that remained
    uint16_t hours;  ///< power-on hours at its end
    std::optional<uint64_t> failingLba;

    uint8_t code() const { return status >> 4; }
};

inline constexpr uint8_t SELF_TEST_RUNNING = 0xF;
inline constexpr uint8_t SELF_TEST_READ_FAILURE = 7;

/// The self-tests of log 06h (512 bytes), the newest first.
std::vector<SelfTestResult> selfTestsOf(const ostrel::core::Payload& log);
/// The same of log 07h, all its pages: the newest 1,024.
std::vector<SelfTestResult> extendedSelfTestsOf(const ostrel::core::Payload& log);
/// A part for each self-test.
nvme::FieldTree decodeSelfTests(const std::vector<SelfTestResult>& tests);
/// Log 09h: the ranges that a selective self-test was given, and what of them is under test.
nvme::FieldTree decodeSelectiveSelfTest(const ostrel::core::Payload& log);

}  // namespace features::ata
