#include "features/nvme/HexTree.h"

#include <algorithm>

#include "ostrel/core/Strings.h"

namespace features::nvme {

FieldTree hexTree(const std::string& heading, uint64_t offset, const ostrel::core::Payload& data) {
    constexpr size_t BYTES_PER_LINE = 16;
    FieldTree tree{heading, {}, {}};
    for (size_t at = 0; at < data.getSize(); at += BYTES_PER_LINE) {
        const size_t bytes = std::min(BYTES_PER_LINE, data.getSize() - at);
        tree.add("Offset " + hexText(offset + at, 8), ostrel::core::bytesToHex(data.getData() + at, bytes));
    }
    return tree;
}

}  // namespace features::nvme
