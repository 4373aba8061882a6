#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "features/simulator/store/LatencyCounters.h"

namespace features::simulator {

/// The controllers that a drive can have: identifiers 1 and 2.
inline constexpr uint16_t MAX_CONTROLLERS = 2;

/// One part of the media: blocks of a namespace, or whole namespaces' files.
struct BlockRange {
    uint32_t nsid = 0;
    uint64_t first = 0;
    uint64_t count = 0;

    template <class A>
    void fields(A& archive) {
        archive(nsid, first, count);
    }
};

/// An allocated namespace. Sizes in blocks of its format.
struct NamespaceState {
    uint64_t size = 0;
    uint64_t capacity = 0;
    uint8_t format = 0;             ///< index into the model's LBA formats
    bool extendedMetadata = false;  ///< FLBAS bit 4
    uint8_t protection = 0;         ///< DPS
    bool isShared = false;          ///< NMIC bit 0
    uint8_t controllers = 0;        ///< that it is attached to: bit 0 is controller 1
    uint32_t mediaGeneration = 0;   ///< names the media file; a format takes a new one
    uint8_t writeProtection = 0;    ///< feature 84h
    std::array<uint8_t, 16> nguid{};
    std::array<uint8_t, 8> eui64{};
    std::array<uint8_t, 16> uuid{};

    template <class A>
    void fields(A& archive) {
        archive(size, capacity, format, extendedMetadata, protection, isShared, controllers, mediaGeneration,
                writeProtection, nguid, eui64, uuid);
    }
    bool isAttachedTo(uint16_t controllerId) const { return (controllers >> (controllerId - 1) & 1) != 0; }
};

/// Which value of a feature: some have one for each namespace, some one for each selector (Temperature Threshold).
struct FeatureKey {
    uint8_t fid = 0;
    uint32_t nsid = 0;      ///< 0: of the controller
    uint32_t selector = 0;  ///< a part of dword 11 that chooses among several values

    bool operator<(const FeatureKey& other) const {
        return std::tie(fid, nsid, selector) < std::tie(other.fid, other.nsid, other.selector);
    }
    template <class A>
    void fields(A& archive) {
        archive(fid, nsid, selector);
    }
};

/// What a feature is set to: dword 0 of Get Features, and the data structure of those that have one.
struct FeatureValue {
    uint32_t dword = 0;
    std::vector<uint8_t> data;

    bool operator==(const FeatureValue& other) const { return dword == other.dword && data == other.data; }
    template <class A>
    void fields(A& archive) {
        archive(dword, data);
    }
};

/// What is not there has its default.
struct FeatureState {
    std::map<FeatureKey, FeatureValue> current;
    std::map<FeatureKey, FeatureValue> saved;

    template <class A>
    void fields(A& archive) {
        archive(current, saved);
    }
};

/// The counters that every read and write moves. They reach the state file a little later than the data does, as they
/// reach the flash of a real drive.
struct WorkCounters {
    uint64_t bytesRead = 0;
    uint64_t bytesWritten = 0;
    uint64_t readCommands = 0;
    uint64_t writeCommands = 0;
    uint64_t busyMicroseconds = 0;
    LatencyCounters latency;
    uint64_t unalignedCommands = 0;  ///< reads and writes that do not begin and end at a multiple of 4 KiB

    bool isZero() const { return (bytesRead | bytesWritten | readCommands | writeCommands | busyMicroseconds) == 0; }
    WorkCounters& operator+=(const WorkCounters& other) {
        bytesRead += other.bytesRead;
        bytesWritten += other.bytesWritten;
        readCommands += other.readCommands;
        writeCommands += other.writeCommands;
        busyMicroseconds += other.busyMicroseconds;
        latency += other.latency;
        unalignedCommands += other.unalignedCommands;
        return *this;
    }
    template <class A>
    void fields(A& archive) {
        archive(bytesRead, bytesWritten, readCommands, writeCommands, busyMicroseconds, latency, unalignedCommands);
    }
};

/// The drive's life, and what the SMART / Health log counts.
struct HealthState {
    WorkCounters work;
    uint64_t powerCycles = 1;
    uint64_t unsafeShutdowns = 0;
    uint64_t mediaErrors = 0;
    uint64_t createdMs = 0;    ///< power-on time counts from here
    uint64_t lastResetMs = 0;  ///< the last controller level reset

    template <class A>
    void fields(A& archive) {
        archive(work, powerCycles, unsafeShutdowns, mediaErrors, createdMs, lastResetMs);
    }
};

/// An entry of the Error Information log.
struct ErrorEntry {
    uint64_t count = 0;
    uint16_t statusField = 0;  ///< as in CompletionEntry
    uint8_t opcode = 0;
    bool isAdmin = true;
    uint16_t parameterByte = 0xFFFF;  ///< Parameter Error Location; FFFFh: not reported
    uint64_t lba = 0;
    uint32_t nsid = 0;

    template <class A>
    void fields(A& archive) {
        archive(count, statusField, opcode, isAdmin, parameterByte, lba, nsid);
    }
};

struct FirmwareState {
    std::string running;             ///< the revision that is active
    std::vector<std::string> slots;  ///< revisions of slots 1 on; empty: nothing in it
    std::vector<uint8_t> resets;     ///< of each slot: the reset that its image needs, a FirmwareReset
    uint8_t activeSlot = 1;
    uint8_t pendingSlot = 0;  ///< active from the next reset on that suffices; 0: none

    template <class A>
    void fields(A& archive) {
        archive(running, slots, resets, activeSlot, pendingSlot);
    }
};

/// A result of the Device Self-test log.
struct SelfTestResult {
    uint8_t status = 0x0F;  ///< code in bits 7:4, result in 3:0
    uint8_t segment = 0;
    uint64_t powerOnHours = 0;
    uint32_t nsid = 0;
    std::optional<uint64_t> failingLba;
    uint16_t statusCode = 0;  ///< type and code

    template <class A>
    void fields(A& archive) {
        archive(status, segment, powerOnHours, nsid, failingLba, statusCode);
    }
};

struct SelfTestState {
    uint8_t code = 0;  ///< the running self-test: 1 short, 2 extended; 0: none
    uint32_t nsid = 0;
    uint64_t startedMs = 0;
    std::vector<SelfTestResult> results;  ///< newest first, 20 at most

    template <class A>
    void fields(A& archive) {
        archive(code, nsid, startedMs, results);
    }
};

struct SanitizeState {
    uint8_t status = 0;  ///< SSTAT bits 2:0
    bool isRunning = false;
    uint32_t command = 0;  ///< CDW10 of the last sanitize
    uint32_t pattern = 0;
    uint64_t startedMs = 0;
    bool globalDataErased = true;  ///< nothing was written since the drive was made or sanitized

    template <class A>
    void fields(A& archive) {
        archive(status, isRunning, command, pattern, startedMs, globalDataErased);
    }
};

/// The Timestamp feature: what the host set, and when.
struct TimestampState {
    std::optional<uint64_t> setTo;
    uint64_t setAtMs = 0;

    template <class A>
    void fields(A& archive) {
        archive(setTo, setAtMs);
    }
};

/// Asynchronous events, a bit for each (see AsyncEvents.h).
struct EventState {
    uint32_t pending = 0;                     ///< not reported yet
    uint32_t masked = 0;                      ///< reported, and the log page with details was not read since
    uint8_t warnings = 0;                     ///< the Critical Warning bits that events were raised for
    std::vector<uint32_t> changedNamespaces;  ///< log page 04h, sorted

    template <class A>
    void fields(A& archive) {
        archive(pending, masked, warnings, changedNamespaces);
    }
};

/// What each controller remembers for itself.
struct ControllerState {
    static constexpr const char* NAME = "controller-2";
    FeatureState features;
    uint64_t errorCount = 0;
    std::vector<ErrorEntry> errors;
    TimestampState timestamp;
    EventState events;
    uint64_t lastResetMs = 0;

    template <class A>
    void fields(A& archive) {
        archive(features, errorCount, errors, timestamp, events, lastResetMs);
    }
};

/// All that a drive remembers. It is written as a whole, so a command's changes are there whole or not at all.
///
/// Adding something: a member here and in fields(), and STATE_VERSION raised.
struct DriveState {
    uint8_t model = 0;  ///< the ModelId that the drive was made as
    std::map<uint32_t, NamespaceState> namespaces;
    uint32_t nextMediaGeneration = 1;
    uint64_t namespacesMade = 0;  ///< every identifier is used once
    FeatureState features;
    HealthState health;
    uint64_t errorCount = 0;
    std::vector<ErrorEntry> errors;  ///< newest first
    FirmwareState firmware;
    SelfTestState selfTest;
    SanitizeState sanitize;
    TimestampState timestamp;
    EventState events;
    std::vector<BlockRange> deallocating;  ///< being punched: done again when a process died over it
    /// What features and logs beyond this list remember, by a name of theirs: "telemetry", "persistent-events", ...
    std::map<std::string, std::vector<uint8_t>> extensions;

    // Of a drive with two controllers; the file has what belongs to controller 1 in the members above, and the second
    // one's as an extension.
    uint16_t controllerId = 1;             ///< whose features, errors, timestamp, events and last reset those are
    std::optional<ControllerState> other;  ///< of the other controller; none: the second one was never used

    /// Exchanges them for those of a controller, 1 or 2.
    void turnTo(uint16_t id) {
        if (id == controllerId) return;
        if (!other) other.emplace().lastResetMs = health.createdMs;
        std::swap(features, other->features);
        std::swap(errorCount, other->errorCount);
        std::swap(errors, other->errors);
        std::swap(timestamp, other->timestamp);
        std::swap(events, other->events);
        std::swap(health.lastResetMs, other->lastResetMs);
        controllerId = id;
    }

    template <class A>
    void fields(A& archive) {
        archive(model, namespaces, nextMediaGeneration, namespacesMade, features, health, errorCount, errors, firmware,
                selfTest, sanitize, timestamp, events, deallocating, extensions);
    }
};

inline constexpr uint32_t STATE_VERSION = 1;

}  // namespace features::simulator
