#pragma once

#include <cstdint>

#include "features/simulator/sata/SataContext.h"

namespace features::simulator::sata {

// LBA 7:0 of SMART EXECUTE OFF-LINE IMMEDIATE; with bit 7 captive.
inline constexpr uint8_t OFFLINE_COLLECTION = 0x00;
inline constexpr uint8_t TEST_SHORT = 0x01;
inline constexpr uint8_t TEST_EXTENDED = 0x02;
inline constexpr uint8_t TEST_CONVEYANCE = 0x03;
inline constexpr uint8_t ABORT_TEST = 0x7F;
inline constexpr uint8_t CAPTIVE = 0x80;

/// SMART EXECUTE OFF-LINE IMMEDIATE. A captive test holds the drive busy; its result is in the registers.
ata::Registers executeOffline(SataContext& context);
/// Enters the result of a test whose time is over; true: it failed. Called before each command.
bool finishSelfTest(SataContext& context);
/// Ends the running test, if there is one, with a status code.
void endSelfTest(SataContext& context, uint8_t code);
/// Byte 363 of SMART data: status and tenths that are left.
uint8_t selfTestStatus(const SataContext& context);
/// Byte 362 of SMART data.
uint8_t offlineStatus(const SataContext& context);
uint32_t selfTestSeconds(const Description& description, uint8_t test);
/// Whether a captive test holds the drive busy, and for how long.
uint64_t captiveEndMs(const SataContext& context);

}  // namespace features::simulator::sata
