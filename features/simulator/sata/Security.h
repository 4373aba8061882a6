#pragma once

#include <cstdint>

#include "features/simulator/sata/SataContext.h"

namespace features::simulator::sata {

/// When a SECURITY ERASE UNIT that runs is done; 0: none runs.
uint64_t eraseEndMs(const SataContext& context);
/// Drops the password and the data when its time is over. Called before each command.
void finishErase(SataContext& context);
/// At a loss of power: a drive with a password is locked, an erase that ran has not happened.
void restartSecurity(SecurityState& security);

}  // namespace features::simulator::sata
