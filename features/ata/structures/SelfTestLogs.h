#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::ata {

/// A self-test in log 06h.
struct SelfTestEntry {
    uint8_t test;    ///< LBA 7:0 of the command that started it
    uint8_t status;  ///< 7:4 code, 3:0 tenths that remained
    nvme::Le16 hours;
    uint8_t checkpoint;
    nvme::Le32 failingLba;
    nvme::ByteArray<15> vendor9;
};
/// Log 06h, ACS-3 annex A.15; the entries are used in a circle.
struct SelfTestLog {
    nvme::Le16 version;
    SelfTestEntry entries[21];
    nvme::ByteArray<2> vendor506;
    uint8_t index;  ///< of the newest, from 1; 0: there is none
    nvme::ByteArray<2> reserved509;
    uint8_t checksum;
};
static_assert(sizeof(SelfTestEntry) == 24 && sizeof(SelfTestLog) == 512 && alignof(SelfTestLog) == 1);
static_assert(offsetof(SelfTestLog, index) == 508);

/// A self-test in log 07h.
struct ExtendedSelfTestEntry {
    uint8_t test;
    uint8_t status;
    nvme::Le16 hours;
    uint8_t checkpoint;
    nvme::Le48 failingLba;
    nvme::ByteArray<15> vendor11;
};
/// A page of log 07h, ACS-3 annex A.9. The index counts over all pages.
struct ExtendedSelfTestPage {
    uint8_t version;
    uint8_t reserved1;
    nvme::Le16 index;  ///< of the newest, from 1; of the first page alone
    ExtendedSelfTestEntry entries[19];
    nvme::ByteArray<13> reserved498;
    uint8_t checksum;
};
static_assert(sizeof(ExtendedSelfTestEntry) == 26 && sizeof(ExtendedSelfTestPage) == 512);
static_assert(offsetof(ExtendedSelfTestPage, reserved498) == 498 && alignof(ExtendedSelfTestPage) == 1);

/// A range of addresses in log 09h, both ends included; all 0: unused.
struct SelfTestSpan {
    nvme::Le64 firstLba;
    nvme::Le64 lastLba;
};
/// Log 09h, ACS-3 annex A.14.
struct SelectiveSelfTestLog {
    nvme::Le16 version;
    SelfTestSpan spans[5];
    nvme::ByteArray<256> reserved82;
    nvme::ByteArray<154> vendor338;
    nvme::Le64 currentLba;   ///< under test
    nvme::Le16 currentSpan;  ///< from 1; 0: no test runs
    nvme::Le16 flags;
    nvme::ByteArray<4> vendor504;
    nvme::Le16 pendingMinutes;  ///< from power-on until an off-line scan that was interrupted goes on
    uint8_t reserved510;
    uint8_t checksum;
};
static_assert(sizeof(SelectiveSelfTestLog) == 512 && offsetof(SelectiveSelfTestLog, currentLba) == 492);
static_assert(offsetof(SelectiveSelfTestLog, pendingMinutes) == 508 && alignof(SelectiveSelfTestLog) == 1);

}  // namespace features::ata
