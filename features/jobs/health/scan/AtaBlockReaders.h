#pragma once

#include <memory>
#include <string>

#include "features/errors/Result.h"
#include "features/jobs/health/scan/BlockReader.h"
#include "ostrel/core/Device.h"

namespace features::jobs {

/// A reader of a SATA drive's sectors for the thread that has it: past every cache from the disk's block device, whose
/// driver names errors of the media alike on all kernels, or where `node` is none, as of a simulated drive, by READ DMA
/// EXT.
Result<std::unique_ptr<BlockReader>> makeAtaBlockReader(const ostrel::core::Device& device, const std::string& node,
                                                        uint32_t sectorBytes);

/// The most of one read that passes with all kernels.
inline constexpr uint32_t ATA_READ_BYTES = 128 * 1024;

}  // namespace features::jobs
