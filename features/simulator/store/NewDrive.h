#pragma once

#include <cstdint>
#include <string>

#include "features/simulator/store/Description.h"
#include "features/simulator/store/DriveState.h"

namespace features::simulator {

/// The state of a drive that was never used: one namespace over the whole drive, attached, in the first format.
/// `firmware`: the revision that it runs; empty: that of its model.
DriveState newState(const Description& description, uint64_t nowMs, const std::string& firmware = {});

}  // namespace features::simulator
