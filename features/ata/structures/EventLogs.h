#pragma once

#include <cstddef>
#include <cstdint>

#include "features/nvme/structures/Fields.h"

namespace features::ata {

/// An entry of log 0Ch (ACS-4 clause 9). The first one is the header: it holds their number.
struct PendingDefect {
    nvme::Le32 hours;  ///< power-on hours; of the header, the number of entries
    nvme::ByteArray<4> reserved4;
    nvme::Le64 lba;
};
static_assert(sizeof(PendingDefect) == 16 && offsetof(PendingDefect, lba) == 8);

/// Log 10h (Serial ATA revision 3.x, NCQ Command Error log).
struct QueuedErrorLog {
    uint8_t tag;  ///< 4:0; bit 7: the command that failed was not queued
    uint8_t reserved1;
    uint8_t status;
    uint8_t error;
    uint8_t lba0;  ///< LBA 7:0, 15:8, 23:16
    uint8_t lba8;
    uint8_t lba16;
    uint8_t device;
    uint8_t lba24;
    uint8_t lba32;
    uint8_t lba40;
    uint8_t reserved11;
    nvme::Le16 count;
    nvme::ByteArray<497> other14;
    uint8_t checksum;
};
static_assert(sizeof(QueuedErrorLog) == 512 && offsetof(QueuedErrorLog, count) == 12);

}  // namespace features::ata
