#pragma once

#include <cstdint>
#include <optional>

#include "features/simulator/store/CapturedAnswers.h"

namespace features::simulator {

/// Of a captured answer's result; COUNT is above them.
inline constexpr unsigned CAPTURED_LBA_BITS = 48;

/// The same of an ATA command that reads; READ LOG DMA EXT counts as READ LOG EXT. Empty: another command.
std::optional<CapturedCommand> capturedCommand(uint8_t opcode, uint16_t feature, uint64_t lba);
/// Where the data of the command are in the answer: those of a log begin at its first page.
uint64_t capturedOffset(uint8_t opcode, uint64_t lba);

}  // namespace features::simulator
