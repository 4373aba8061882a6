#pragma once

#include <cstdint>

#include "features/simulator/store/Description.h"
#include "features/simulator/store/DriveState.h"
#include "features/simulator/store/Model.h"

namespace features::simulator {

/// The unit in which the drive's capacity is given away.
inline constexpr uint64_t ALLOCATION_BYTES = 1 << 20;

/// Namespace 1 of a new drive: attached, in the first format, over the whole drive.
void makeFirstNamespace(const Description& description, const Model& model, DriveState& state);

/// Gives a namespace identifiers that no other has.
void nameNamespace(const Description& description, const Model& model, DriveState& state, NamespaceState& part);

/// Bytes that a namespace takes of the drive: capacity in whole units of allocation.
uint64_t allocatedBytes(const Model& model, const NamespaceState& part);
/// Bytes that no namespace takes.
uint64_t unallocatedBytes(const Description& description, const Model& model, const DriveState& state);

}  // namespace features::simulator
