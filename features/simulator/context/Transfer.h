#pragma once

#include "features/nvme/StatusCodes.h"
#include "features/simulator/context/CommandContext.h"

namespace features::simulator {

/// Whether a command may carry so many bytes (MDTS).
inline bool fitsTransfer(const CommandContext& context, uint64_t bytes) {
    return context.description.maxTransferKib == 0 || bytes <= uint64_t{context.description.maxTransferKib} * 1024;
}

/// What a command needs of the host's data, checked before anything else is done with them.
inline bool hasData(const CommandContext& context, uint64_t bytes) {
    return context.data.size() >= bytes;
}

/// The host's buffer is shorter than the command says.
inline CompletionEntry dataTransferError() {
    return refusal(nvme::SC_DATA_TRANSFER_ERROR);
}

}  // namespace features::simulator
