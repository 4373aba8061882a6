#pragma once

#include <algorithm>
#include <filesystem>
#include <set>
#include <string>

#include "features/simulator/store/DriveFolder.h"
#include "features/simulator/store/Model.h"
#include "features/simulator/store/Namespaces.h"
#include "fuzz/Require.h"

/// What holds of a simulated drive between any two commands, whatever the commands were.

/// The state by itself.
inline void checkState(const features::simulator::DriveFolder& drive) {
    using namespace features::simulator;
    constexpr size_t MAX_SELF_TEST_RESULTS = 20;
    const DriveState& state = drive.state;
    const Model& model = modelOf(drive.description().model);
    REQUIRE(state.errors.size() <= model.errorEntries && state.errors.size() <= state.errorCount);
    REQUIRE(state.selfTest.results.size() <= MAX_SELF_TEST_RESULTS);
    REQUIRE(state.firmware.slots.size() == model.firmwareSlots);
    REQUIRE(state.firmware.activeSlot >= 1 && state.firmware.activeSlot <= model.firmwareSlots);
    REQUIRE(state.firmware.pendingSlot <= model.firmwareSlots);
    for (const auto& [nsid, ns] : state.namespaces) {
        REQUIRE(nsid != 0 && ns.format < model.formatCount);
        REQUIRE(ns.size != 0 && ns.capacity == ns.size);
    }
}

/// The state and the description together: no command gives away more than the drive has.
inline void checkLimits(const features::simulator::DriveFolder& drive) {
    using namespace features::simulator;
    const Description& description = drive.description();
    const Model& model = modelOf(description.model);
    uint64_t allocated = 0;
    std::set<uint32_t> generations;
    for (const auto& [nsid, ns] : drive.state.namespaces) {
        REQUIRE(nsid <= description.maxNamespaces);
        REQUIRE(ns.mediaGeneration < drive.state.nextMediaGeneration && generations.insert(ns.mediaGeneration).second);
        REQUIRE(ns.size <= description.sizeBytes >> model.formats[ns.format].dataShift);
        allocated += allocatedBytes(model, ns);
    }
    REQUIRE(allocated <= description.sizeBytes);
}

/// Nothing lies in the folder but the files of a drive, and of the media those that the state names.
inline void checkFiles(const features::simulator::DriveFolder& drive) {
    using namespace features::simulator;
    std::set<std::string> known = {FILE_DESCRIPTION, FILE_STATE, FILE_LOCK, FILE_DOWNLOAD};
    for (const auto& [nsid, ns] : drive.state.namespaces)
        known.insert(DriveFolder::mediaName(nsid, ns.mediaGeneration));
    for (const auto& entry : std::filesystem::directory_iterator(drive.path())) {
        const std::string name = entry.path().filename();
        REQUIRE(known.count(name) != 0 || name.compare(0, std::string(LOG_PREFIX).size(), LOG_PREFIX) == 0);
    }
}
