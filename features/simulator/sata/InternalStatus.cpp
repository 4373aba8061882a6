#include "features/simulator/sata/InternalStatus.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "features/nvme/Bytes.h"
#include "features/simulator/sata/ErrorLogs.h"
#include "features/simulator/sata/SmartData.h"
#include "features/simulator/store/Model.h"

namespace features::simulator::sata {

using nvme::putLe16;
using nvme::putLe32;
using Bytes = std::vector<uint8_t>;

namespace {

constexpr uint8_t CURRENT = 0x24;
constexpr uint8_t SAVED = 0x25;
constexpr size_t OFFSET_SAVED_AVAILABLE = 382;
constexpr size_t OFFSET_SAVED_GENERATION = 383;
constexpr size_t OFFSET_REASON = 384;
constexpr size_t REASON_BYTES = 128;

/// A fact a line.
Bytes facts(const SataContext& context) {
    const WorkCounters work = workOf(context);
    const std::string text = "serial number " + context.description.serialNumber + "\nfirmware " +
                             context.drive.firmware.running + "\npower-on ms " + std::to_string(context.powerOnMs()) +
                             "\nsectors " + std::to_string(context.sectors()) + "\nbytes read " +
                             std::to_string(work.bytesRead) + "\nbytes written " + std::to_string(work.bytesWritten) +
                             "\n";
    Bytes bytes(text.begin(), text.end());
    bytes.resize((bytes.size() + SECTOR_BYTES - 1) / SECTOR_BYTES * SECTOR_BYTES);
    return bytes;
}

/// Adds an area; the number of its last page goes into the header.
void append(Bytes& pages, size_t offsetOfLast, const Bytes& area) {
    pages.insert(pages.end(), area.begin(), area.end());
    putLe16(pages.data() + offsetOfLast, static_cast<uint16_t>(pages.size() / SECTOR_BYTES - 1));
}

Bytes capture(SataContext& context, uint8_t address, const char* reason) {
    Bytes pages(SECTOR_BYTES);
    pages[0] = address;
    putLe32(pages.data() + 4, modelOf(context.description.model).oui);
    append(pages, 8, facts(context));
    append(pages, 10, smartData(context));
    append(pages, 12, extendedErrors(context));
    std::memcpy(pages.data() + OFFSET_REASON, reason, std::min(std::strlen(reason), REASON_BYTES));
    return pages;
}

/// Whether there are saved data is in both logs, as of now.
Bytes shown(const SataContext& context, uint8_t address, Bytes pages) {
    if (pages.empty()) {
        pages.resize(SECTOR_BYTES);
        pages[0] = address;
        putLe32(pages.data() + 4, modelOf(context.description.model).oui);
    }
    const CapturedStatus& saved = context.state.saved;
    pages[OFFSET_SAVED_AVAILABLE] = saved.pages.empty() ? 0 : 1;
    pages[OFFSET_SAVED_GENERATION] = saved.generation;
    return pages;
}

}  // namespace

Bytes currentStatus(SataContext& context) {
    return shown(context, CURRENT, context.state.current.pages);
}

Bytes savedStatus(SataContext& context) {
    return shown(context, SAVED, context.state.saved.pages);
}

void captureCurrentStatus(SataContext& context) {
    context.state.current.pages = capture(context, CURRENT, "requested by the host");
    ++context.state.current.generation;
}

void captureSavedStatus(SataContext& context, const char* reason) {
    if (!context.description.supportsTelemetry) return;
    context.state.saved.pages = capture(context, SAVED, reason);
    ++context.state.saved.generation;
}

}  // namespace features::simulator::sata
