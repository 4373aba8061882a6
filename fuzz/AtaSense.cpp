// ataResultOf() with any sense data: the first byte is the SCSI status, the second the host status, the rest the sense
// data. A success is never read out of registers that say otherwise, and registers that are whole have a STATUS.
#include "features/transport/linux/AtaSense.h"

#include <cstdint>
#include <vector>

#include "features/ata/Commands.h"
#include "fuzz/Require.h"

using namespace features;
using ata::RegistersMissing;

namespace {

void check(const ata::AtaResult& result, bool wantsRegisters) {
    REQUIRE((result.missing != RegistersMissing::NOTHING) || result.registers.has_value());
    if (result.missing == RegistersMissing::NOTHING) REQUIRE(result.registers->status != 0);
    if (result.missing == RegistersMissing::NOT_ASKED) REQUIRE(result.succeeded && !wantsRegisters);
    if (!result.succeeded || !result.registers) return;
    REQUIRE((result.registers->status & (ata::STATUS_ERROR | ata::STATUS_DEVICE_FAULT | 0x80)) == 0);
    REQUIRE(result.missing != RegistersMissing::UNTRUSTED);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2) return 0;
    const std::vector<uint8_t> sense(data + 2, data + size);  // of its exact size: a read past it is found
    const transport::ScsiEnd end{data[0], data[1], sense.data(), sense.size()};
    for (const ata::CommandRow& row : {ata::commands::identifyDevice, ata::commands::sanitizeStatusExt}) {
        for (const bool wantsRegisters : {false, true}) {
            ata::AtaCommand command(row);
            command.wantsRegisters = wantsRegisters;
            if (const auto result = transport::ataResultOf(command, end, "/dev/sda")) check(*result, wantsRegisters);
        }
    }
    (void)transport::isUnitAttention(end);
    (void)transport::isTimeout(end, true);
    return 0;
}
