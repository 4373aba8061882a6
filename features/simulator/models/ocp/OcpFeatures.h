#pragma once

#include <cstdint>
#include <optional>

#include "features/simulator/context/DriveTables.h"

namespace features::simulator {

/// Features of the OCP Datacenter NVMe SSD specification 2.0, C0h to C7h, in the order of their identifiers. Set
/// Features has their values at other places of dword 11 than Get Features shows them.
Rows<FeatureRow> ocpFeatures();
/// Those of version 2.6, C0h and C2h to CAh.
Rows<FeatureRow> ocp26Features();

/// Telemetry profiles (C8h) beside profile 0.
inline constexpr uint8_t OCP_TELEMETRY_PROFILES = 2;

/// The NVMe power state that DSSD power state `watts` is; empty where the drive has none. Only the operational ones
/// are.
std::optional<uint8_t> powerStateOfWatts(const Model& model, uint32_t watts);

}  // namespace features::simulator
