#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::ata {

/// A command in an entry of log 03h.
struct ErrorLogCommand {
    uint8_t deviceControl;
    nvme::Le16 feature;
    nvme::Le16 count;
    uint8_t lba0;  ///< LBA in the order of the registers: 7:0, 31:24, 15:8, 39:32, 23:16, 47:40
    uint8_t lba24;
    uint8_t lba8;
    uint8_t lba32;
    uint8_t lba16;
    uint8_t lba40;
    uint8_t device;
    uint8_t command;
    uint8_t reserved13;
    nvme::Le32 timestampMs;  ///< since power-on
};
/// The registers with which the last command of an entry failed.
struct ErrorLogRegisters {
    uint8_t transport;
    uint8_t error;
    nvme::Le16 count;
    uint8_t lba0;  ///< in the order of ErrorLogCommand
    uint8_t lba24;
    uint8_t lba8;
    uint8_t lba32;
    uint8_t lba16;
    uint8_t lba40;
    uint8_t device;
    uint8_t status;
    nvme::ByteArray<19> vendor12;
    uint8_t state;
    nvme::Le16 hours;  ///< power-on hours
};
struct ErrorLogEntry {
    ErrorLogCommand commands[5];  ///< the last one failed
    ErrorLogRegisters registers;
};
/// A page of log 03h, ACS-3 annex A.7; the entries of all pages are used in a circle.
struct ExtendedErrorPage {
    uint8_t version;
    uint8_t reserved1;
    nvme::Le16 index;  ///< of the newest, from 1; 0: there is none; of the first page alone
    ErrorLogEntry entries[4];
    nvme::Le16 errorCount;
    nvme::ByteArray<9> reserved502;
    uint8_t checksum;
};
static_assert(sizeof(ErrorLogCommand) == 18 && sizeof(ErrorLogRegisters) == 34 && sizeof(ErrorLogEntry) == 124);
static_assert(sizeof(ExtendedErrorPage) == 512 && offsetof(ExtendedErrorPage, errorCount) == 500);

/// A command in an entry of logs 01h and 02h.
struct SmartErrorCommand {
    uint8_t deviceControl;
    uint8_t feature;
    uint8_t count;
    uint8_t lba0;
    uint8_t lba8;
    uint8_t lba16;
    uint8_t device;  ///< LBA 27:24 in 3:0
    uint8_t command;
    nvme::Le32 timestampMs;  ///< since power-on
};
/// The registers with which the last command of an entry failed.
struct SmartErrorRegisters {
    uint8_t reserved0;
    uint8_t error;
    uint8_t count;
    uint8_t lba0;
    uint8_t lba8;
    uint8_t lba16;
    uint8_t device;
    uint8_t status;
    nvme::ByteArray<19> vendor8;
    uint8_t state;
    nvme::Le16 hours;  ///< power-on hours
};
struct SmartErrorEntry {
    SmartErrorCommand commands[5];  ///< the last one failed
    SmartErrorRegisters registers;
};
/// Log 01h, and a page of log 02h (ACS-3 annexes A.17 and A.4). The entries of all pages are used in a circle.
struct SmartErrorPage {
    uint8_t version;
    uint8_t index;  ///< of the newest, from 1; 0: there is none; of the first page alone
    SmartErrorEntry entries[5];
    nvme::Le16 errorCount;
    nvme::ByteArray<57> reserved454;
    uint8_t checksum;
};
static_assert(sizeof(SmartErrorCommand) == 12 && sizeof(SmartErrorRegisters) == 30 && sizeof(SmartErrorEntry) == 90);
static_assert(sizeof(SmartErrorPage) == 512 && offsetof(SmartErrorPage, errorCount) == 452);

}  // namespace features::ata
