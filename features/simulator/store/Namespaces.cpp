#include "features/simulator/store/Namespaces.h"

#include <algorithm>

#include "features/nvme/Bytes.h"

namespace features::simulator {

namespace {

uint64_t hashOf(const std::string& text) {  // FNV-1a
    uint64_t hash = 0xCBF29CE484222325;
    for (const char c : text) hash = (hash ^ static_cast<uint8_t>(c)) * 0x100000001B3;
    return hash;
}

void putBigEndian(uint8_t* at, uint64_t value, unsigned bytes) {
    for (unsigned i = 0; i < bytes; ++i) at[i] = static_cast<uint8_t>(value >> 8 * (bytes - 1 - i));
}

}  // namespace

// Of the drive, from its serial number, and of the count of namespaces that
// it made. They are big endian, other than all else.
void nameNamespace(const Description& description, const Model& model, DriveState& state, NamespaceState& part) {
    const uint64_t drive = hashOf(description.serialNumber);
    const uint64_t number = ++state.namespacesMade;
    putBigEndian(part.nguid.data(), drive, 8);
    putBigEndian(part.nguid.data() + 8, model.oui, 3);
    putBigEndian(part.nguid.data() + 11, number, 5);
    putBigEndian(part.eui64.data(), model.oui, 3);
    putBigEndian(part.eui64.data() + 3, drive, 3);
    putBigEndian(part.eui64.data() + 6, number, 2);
    part.uuid = part.nguid;
    part.uuid[6] = static_cast<uint8_t>((part.uuid[6] & 0x0F) | 0x80);  // version 8: of a maker's own kind
    part.uuid[8] = static_cast<uint8_t>((part.uuid[8] & 0x3F) | 0x80);
}

void makeFirstNamespace(const Description& description, const Model& model, DriveState& state) {
    NamespaceState part;
    part.size = part.capacity =
        description.sizeBytes / ALLOCATION_BYTES * ALLOCATION_BYTES >> model.formats[0].dataShift;
    part.isShared = description.hasTwoControllers;
    part.controllers = static_cast<uint8_t>((1U << description.controllerCount()) - 1);
    part.mediaGeneration = state.nextMediaGeneration++;
    nameNamespace(description, model, state, part);
    state.namespaces[1] = part;
}

uint64_t allocatedBytes(const Model& model, const NamespaceState& part) {
    const uint64_t bytes = part.capacity << model.formats[part.format].dataShift;
    return (bytes + ALLOCATION_BYTES - 1) / ALLOCATION_BYTES * ALLOCATION_BYTES;
}

uint64_t unallocatedBytes(const Description& description, const Model& model, const DriveState& state) {
    uint64_t allocated = 0;
    for (const auto& [nsid, part] : state.namespaces) allocated += allocatedBytes(model, part);
    return description.sizeBytes - std::min(allocated, description.sizeBytes);
}

}  // namespace features::simulator
