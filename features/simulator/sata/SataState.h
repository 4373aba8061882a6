#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace features::simulator::sata {

using Password = std::array<uint8_t, 32>;

inline constexpr uint8_t MAX_PASSWORD_ATTEMPTS = 5;
inline constexpr size_t MAX_SELF_TEST_ENTRIES = 19;  // a page of the extended log; the other one has 21
inline constexpr size_t MAX_ERRORS = 4;              // a page of the extended comprehensive log
inline constexpr size_t MAX_PENDING = 64;

// Self-test execution status, bits 7:4 of byte 363 of SMART data.
inline constexpr uint8_t TEST_PASSED = 0x0;
inline constexpr uint8_t TEST_ABORTED = 0x1;
inline constexpr uint8_t TEST_INTERRUPTED = 0x2;
inline constexpr uint8_t TEST_READ_FAILED = 0x7;
inline constexpr uint8_t TEST_RUNNING = 0xF;

/// The security feature set.
struct SecurityState {
    bool isEnabled = false;  ///< a user password is set
    bool isMaximum = false;  ///< the level; otherwise high
    Password user{};
    Password master{};
    uint16_t masterId = 0xFFFE;
    // Until the next power cycle.
    bool isLocked = false;
    bool isFrozen = false;
    uint8_t attemptsLeft = MAX_PASSWORD_ATTEMPTS;
    bool isErasePrepared = false;  ///< SECURITY ERASE PREPARE was the command before
    /// SECURITY ERASE UNIT runs since then; empty: it does not.
    std::optional<uint64_t> eraseStartedMs;

    template <class A>
    void fields(A& archive) {
        archive(isEnabled, isMaximum, user, master, masterId, isLocked, isFrozen, attemptsLeft, isErasePrepared,
                eraseStartedMs);
    }
};

/// The sanitize device feature set. A running operation goes on over a loss of power.
struct SanitizeState {
    std::optional<uint64_t> startedMs;  ///< empty: none runs
    bool isCompleted = false;           ///< the last one completed without error
    bool isAntifrozen = false;          ///< until the next power cycle, as the next one
    bool isFrozen = false;

    template <class A>
    void fields(A& archive) {
        archive(startedMs, isCompleted, isAntifrozen, isFrozen);
    }
};

/// An entry of the self-test logs.
struct SelfTestEntry {
    uint8_t test = 0;    ///< LBA 7:0 that it was started with
    uint8_t status = 0;  ///< as in byte 363: the code, and tenths that were left
    uint16_t hours = 0;  ///< of power-on time
    std::optional<uint64_t> failingLba;

    template <class A>
    void fields(A& archive) {
        archive(test, status, hours, failingLba);
    }
};

struct SelfTestState {
    uint8_t running = 0;  ///< LBA 7:0 that it was started with; 0: none
    uint64_t startedMs = 0;
    uint8_t status = 0;  ///< byte 363 while none runs
    /// Off-line data collection: when it ends; and byte 362 without bit 7.
    uint64_t offlineEndMs = 0;
    uint8_t offlineStatus = 0;
    std::vector<SelfTestEntry> entries;  ///< newest first

    template <class A>
    void fields(A& archive) {
        archive(running, startedMs, status, offlineEndMs, offlineStatus, entries);
    }
};

/// A command that failed, as the error logs have it.
struct ErrorEntry {
    uint8_t command = 0;
    uint16_t feature = 0;
    uint16_t count = 0;
    uint64_t lba = 0;
    uint8_t device = 0;
    uint8_t error = 0;
    uint8_t status = 0;
    uint64_t failingLba = 0;
    uint64_t powerOnMs = 0;

    template <class A>
    void fields(A& archive) {
        archive(command, feature, count, lba, device, error, status, failingLba, powerOnMs);
    }
};

/// Log 24h or 25h as it was captured: whole pages, the header first.
struct CapturedStatus {
    std::vector<uint8_t> pages;
    uint8_t generation = 0;

    template <class A>
    void fields(A& archive) {
        archive(pages, generation);
    }
};

/// What a SATA drive remembers beside what all drives do, an extension of the drive's state.
struct SataState {
    static constexpr const char* NAME = "sata";
    SecurityState security;
    SanitizeState sanitize;
    SelfTestState selfTest;
    bool isSmartEnabled = true;
    bool isAutoOffline = false;
    uint32_t errorCount = 0;
    std::vector<ErrorEntry> errors;  ///< newest first
    uint32_t uncorrectableErrors = 0;
    std::vector<uint64_t> pending;  ///< sectors that a read found to be unreadable, sorted
    uint32_t reallocated = 0;
    CapturedStatus current;       ///< log 24h
    CapturedStatus saved;         ///< log 25h
    std::string waitingFirmware;  ///< the revision that FEATURE 0Fh or a power cycle activates
    uint64_t maxLba = 0;          ///< 0: the native one. Over power cycles
    uint64_t volatileMaxLba = 0;  ///< of the host protected area: until the next power cycle; 0: none
    bool isMaxLbaSet = false;     ///< since the last power cycle
    bool isMaxLbaFrozen = false;
    uint8_t lastCommand = 0;  ///< SET MAX is taken directly after READ NATIVE MAX ADDRESS alone
    bool hasWriteCache = true;
    bool hasLookAhead = true;
    uint8_t apmLevel = 0;  ///< 0: disabled
    bool isStandby = false;
    std::optional<uint64_t> timeSetTo;  ///< ms since 1970
    uint64_t timeSetAtMs = 0;

    template <class A>
    void fields(A& archive) {
        archive(security, sanitize, selfTest, isSmartEnabled, isAutoOffline, errorCount, errors, uncorrectableErrors,
                pending, reallocated, current, saved, waitingFirmware, maxLba, volatileMaxLba, isMaxLbaSet,
                isMaxLbaFrozen, lastCommand, hasWriteCache, hasLookAhead, apmLevel, isStandby, timeSetTo, timeSetAtMs);
    }
};

}  // namespace features::simulator::sata
