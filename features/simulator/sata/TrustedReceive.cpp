#include "features/simulator/sata/Handlers.h"
#include "features/simulator/store/TcgDiscovery.h"

namespace features::simulator::sata {

/// TRUSTED RECEIVE (ACS-4): FEATURE has the security protocol, LBA 23:8 what is asked of it, and LBA 7:0 the upper
/// byte of the number of blocks.
ata::Registers trustedReceive(SataContext& context) {
    const TaskFile& command = context.command;
    if (!context.description.supportsSecurity) return aborted();
    const auto protocol = static_cast<uint8_t>(command.feature);
    const auto specific = static_cast<uint16_t>(command.lba >> 8);
    const size_t blocks = command.count | (command.lba & 0xFF) << 8;
    context.data = securityAnswer(protocol, specific, context.description.faults.tcg);
    if (context.data.empty() || blocks == 0) return aborted();
    context.data.resize(blocks * SECTOR_BYTES);
    return completed();
}

}  // namespace features::simulator::sata
