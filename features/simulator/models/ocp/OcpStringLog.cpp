#include "features/simulator/models/ocp/OcpStringLog.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string>

#include "features/nvme/OcpGuids.h"
#include "features/nvme/structures/OcpTelemetryStringLog.h"
#include "features/simulator/models/ocp/OcpDebugEvents.h"

namespace features::simulator {

using namespace nvme;

namespace {

constexpr size_t DWORD_BYTES = 4;

struct EventName {
    uint8_t eventClass;
    uint16_t id;
    const char* text;
};
// clang-format off
constexpr struct {
    uint16_t id;
    const char* text;
} STATISTICS[] = {
    {OCP_STATISTIC_REFUSED_COMMANDS, "Commands refused"},
};
constexpr EventName EVENTS[] = {
    {OCP_CLASS_VENDOR, OCP_EVENT_FIRMWARE_ACTIVATED, "Firmware activated"},
    {OCP_CLASS_VENDOR, OCP_EVENT_ERROR_INJECTED,     "Error injected"},
};
constexpr EventName VENDOR_PARTS[] = {
    {OCP_CLASS_ASSERT,       OCP_PART_INJECTED_PANIC, "Injected panic"},
    {OCP_CLASS_MEDIA,        OCP_PART_FAILED_BLOCK,   "Failed block"},
    {OCP_CLASS_VIRTUAL_FIFO, OCP_PART_DRIVE_EVENTS,   "Events in the drive"},
};
// clang-format on
constexpr const char* FIFO_NAMES[] = {"Host and resets", "Drive"};

/// The ASCII table.
class Texts {
public:
    /// Adds a text and has the entry refer to it.
    template <class Entry>
    void add(const char* text, Entry& entry) {
        entry.start = bytes_.size() / DWORD_BYTES;
        entry.length0Based = static_cast<uint8_t>(std::strlen(text) - 1);
        bytes_.append(text);
        bytes_.resize((bytes_.size() + DWORD_BYTES - 1) / DWORD_BYTES * DWORD_BYTES, ' ');
    }
    const std::string& bytes() const { return bytes_; }

private:
    std::string bytes_;
};

template <class Entry>
void append(std::vector<uint8_t>& page, const Entry& entry) {
    const std::vector<uint8_t> bytes = bytesOf(entry);
    page.insert(page.end(), bytes.begin(), bytes.end());
}

/// From `begin` to where the page ends.
OcpTelemetryPart partFrom(size_t begin, const std::vector<uint8_t>& page) {
    return {begin / DWORD_BYTES, (page.size() - begin) / DWORD_BYTES};
}

template <size_t COUNT>
OcpTelemetryPart addNames(std::vector<uint8_t>& page, const EventName (&names)[COUNT], Texts& texts) {
    const size_t begin = page.size();
    for (const EventName& name : names) {
        OcpEventString entry{};
        entry.eventClass = name.eventClass;
        entry.id = name.id;
        texts.add(name.text, entry);
        append(page, entry);
    }
    return partFrom(begin, page);
}

OcpTelemetryPart addStatistics(std::vector<uint8_t>& page, Texts& texts) {
    const size_t begin = page.size();
    for (const auto& name : STATISTICS) {
        OcpStatisticString entry{};
        entry.id = name.id;
        texts.add(name.text, entry);
        append(page, entry);
    }
    return partFrom(begin, page);
}

}  // namespace

std::vector<uint8_t> ocpStringPage() {
    OcpTelemetryStringHeader header{};
    std::vector<uint8_t> page = bytesOf(header);
    Texts texts;
    header.statistics = addStatistics(page, texts);
    header.events = addNames(page, EVENTS, texts);
    header.vendorEvents = addNames(page, VENDOR_PARTS, texts);
    const size_t begin = page.size();
    page.insert(page.end(), texts.bytes().begin(), texts.bytes().end());
    header.texts = partFrom(begin, page);
    header.size = page.size() / DWORD_BYTES;
    for (size_t i = 0; i < std::size(FIFO_NAMES); ++i)
        std::copy_n(FIFO_NAMES[i], std::strlen(FIFO_NAMES[i]), header.fifoNames[i].begin());
    header.logPageVersion = 1;
    header.guid = OCP_GUID_TELEMETRY_STRINGS;
    putStructure(page.data(), header);
    return page;
}

}  // namespace features::simulator
