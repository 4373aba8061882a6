#include "features/simulator/models/ocp/OcpTelemetryAreas.h"

#include <algorithm>
#include <cstddef>
#include <string>

#include "features/nvme/Bytes.h"
#include "features/nvme/FeatureIds.h"
#include "features/nvme/structures/OcpTelemetry.h"
#include "features/simulator/context/FeatureValues.h"
#include "features/simulator/context/Timestamp.h"
#include "features/simulator/logs/HealthLog.h"
#include "features/simulator/models/ocp/Ocp26Logs.h"
#include "features/simulator/models/ocp/Ocp26State.h"
#include "features/simulator/models/ocp/OcpDebugEvents.h"
#include "features/simulator/models/ocp/OcpFeatures.h"
#include "features/simulator/models/ocp/OcpStringLog.h"
#include "features/simulator/store/Extension.h"
#include "features/simulator/store/PaddedText.h"

namespace features::simulator {

using namespace nvme;

namespace {

using Bytes = std::vector<uint8_t>;

constexpr size_t DWORD_BYTES = 4;
constexpr uint16_t STATISTIC_PANICS = 0x45;

/// A statistic that a log page has, too.
struct FieldOfPage {
    uint16_t id;
    uint16_t offset;
    uint8_t width;
};
// clang-format off
constexpr FieldOfPage OF_OCP_SMART[] = {
    {0x1E, 0,   16}, {0x1F, 16,  16}, {0x23, 56,  8}, {0x2B, 104, 8}, {0x2C, 112, 4}, {0x32, 136, 8}, {0x35, 160, 16},
    {0x37, 192, 8},  {0x38, 200, 8},  {0x3B, 220, 2}, {0x3E, 232, 4},
};
constexpr FieldOfPage OF_SMART[] = {
    {0x47, 0,   1},  {0x48, 1,   2},  {0x49, 3,   1},  {0x4A, 4,   1},  {0x4B, 5,   1},  {0x4D, 32,  16}, {0x4E, 48, 16},
    {0x4F, 64,  16}, {0x50, 80,  16}, {0x52, 112, 16}, {0x53, 128, 16}, {0x54, 144, 16}, {0x55, 160, 16},
    {0x56, 176, 16},
};
// clang-format on

void append(Bytes& bytes, const Bytes& more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
}

Bytes numberBytes(uint64_t number, size_t width) {
    Bytes bytes;
    for (size_t i = 0; i < width; ++i) bytes.push_back(static_cast<uint8_t>(number >> 8 * i));
    return bytes;
}

template <class Descriptor>
Bytes withData(const Descriptor& descriptor, const Bytes& data) {
    Bytes bytes(sizeof descriptor + data.size());
    putStructure(bytes.data(), descriptor);
    std::copy(data.begin(), data.end(), bytes.begin() + sizeof descriptor);
    return bytes;
}

/// Descriptor and data, which is filled up to whole dwords.
Bytes statistic(uint16_t id, Bytes value) {
    value.resize((value.size() + DWORD_BYTES - 1) / DWORD_BYTES * DWORD_BYTES);
    OcpStatisticDescriptor descriptor{};
    descriptor.id = id;
    descriptor.dataDwords = static_cast<uint16_t>(value.size() / DWORD_BYTES);
    return withData(descriptor, value);
}

template <size_t COUNT>
void appendFields(Bytes& bytes, const FieldOfPage (&fields)[COUNT], const Bytes& page) {
    for (const FieldOfPage& field : fields) {
        const auto first = page.begin() + field.offset;
        append(bytes, statistic(field.id, {first, first + field.width}));
    }
}

Bytes event(uint8_t eventClass, uint16_t id, const Bytes& data) {
    OcpEventDescriptor descriptor{};
    descriptor.eventClass = eventClass;
    descriptor.id = id;
    descriptor.dataDwords = static_cast<uint8_t>(data.size() / DWORD_BYTES);
    return withData(descriptor, data);
}

Bytes eventsOf(const std::vector<OcpDebugEvent>& events) {
    Bytes bytes;
    for (const OcpDebugEvent& each : events) append(bytes, event(each.eventClass, each.id, each.data));
    return bytes;
}

/// Statistics that are not in a log page, then those of C0h.
Bytes statisticsOfArea1(const CommandContext& context, const Ocp26State& state, const Bytes& ocpSmart) {
    const auto attached = std::count_if(context.state.namespaces.begin(), context.state.namespaces.end(),
                                        [](const auto& each) { return each.second.controllers != 0; });
    Bytes bytes = statistic(0x04, numberBytes(static_cast<uint64_t>(attached), 4));
    append(bytes, statistic(0x0B, numberBytes(currentFeature(context, FID_POWER_MANAGEMENT).dword & 0x1F, 4)));
    append(bytes, statistic(0x0C, numberBytes(currentFeature(context, FID_OCP_DSSD_POWER_STATE).dword, 4)));
    appendFields(bytes, OF_OCP_SMART, ocpSmart);
    append(bytes, statistic(STATISTIC_PANICS, numberBytes(state.panics, 4)));
    append(bytes, statistic(OCP_STATISTIC_REFUSED_COMMANDS, numberBytes(state.refusedCommands, 4)));
    return bytes;
}

/// The events in the drive as a virtual FIFO, with its wear and the number of panics at the end.
Bytes fifoOfArea2(const CommandContext& context, const Ocp26State& state) {
    constexpr uint16_t START = 0;
    constexpr uint16_t END = 2;
    constexpr uint8_t CLASS_WEAR = 9;
    constexpr uint8_t CLASS_SNAPSHOT = 0x0A;
    constexpr uint64_t TERABYTE = 1000000000000;
    const Bytes frame = numberBytes(OCP_PART_DRIVE_EVENTS, 4);
    // What the host writes is written and erased once.
    const auto terabytes = static_cast<uint32_t>(context.state.health.work.bytesWritten / TERABYTE);
    Bytes wear(3 * DWORD_BYTES);
    for (size_t i = 0; i < wear.size(); i += DWORD_BYTES) putLe32(wear.data() + i, terabytes);
    Bytes bytes = event(OCP_CLASS_VIRTUAL_FIFO, START, frame);
    append(bytes, eventsOf(state.driveEvents));
    append(bytes, event(CLASS_WEAR, 0, wear));
    append(bytes, {CLASS_SNAPSHOT, 0, 0, 0});
    append(bytes, statistic(STATISTIC_PANICS, numberBytes(state.panics, 4)));
    append(bytes, event(OCP_CLASS_VIRTUAL_FIFO, END, frame));
    return bytes;
}

/// Appends a part to a data area and notes where it is.
OcpTelemetryPart addPart(Bytes& area, const Bytes& part) {
    const size_t begin = area.size();
    append(area, part);
    return {begin / DWORD_BYTES, part.size() / DWORD_BYTES};
}

OcpTelemetryArea1 headOf(const CommandContext& context) {
    constexpr uint16_t VERSION_MAJOR = 2;
    constexpr uint16_t VERSION_MINOR = 6;
    OcpTelemetryArea1 head{};
    head.majorVersion = VERSION_MAJOR;
    head.minorVersion = VERSION_MINOR;
    head.timestamp = le64(timestampData(context).data());
    head.profilesSupported = OCP_TELEMETRY_PROFILES;
    head.profileSelected = static_cast<uint8_t>(currentFeature(context, FID_OCP_TELEMETRY_PROFILE).dword);
    head.stringLogSize = ocpStringPage().size() / DWORD_BYTES;
    putText(head.firmwareRevision, context.state.firmware.running);
    return head;
}

}  // namespace

TelemetryAreas ocpTelemetryAreas(CommandContext& context) {
    const auto state = readExtension<Ocp26State>(context.state);
    Bytes smart;
    (void)buildHealthLog(context, {}, smart);  // it cannot fail
    const Bytes ocpSmart = ocp26SmartPage(context);
    OcpTelemetryArea1 head = headOf(context);
    std::copy(smart.begin(), smart.end(), head.smart.begin());
    std::copy(ocpSmart.begin(), ocpSmart.end(), head.ocpSmart.begin());
    TelemetryAreas areas;
    Bytes statisticsOfArea2;
    appendFields(statisticsOfArea2, OF_SMART, smart);
    areas[0] = bytesOf(head);
    head.statistics[0] = addPart(areas[0], statisticsOfArea1(context, state, ocpSmart));
    head.fifos[0] = addPart(areas[0], eventsOf(state.hostEvents));
    head.statistics[1] = addPart(areas[1], statisticsOfArea2);
    head.fifos[1] = addPart(areas[1], fifoOfArea2(context, state));
    head.fifoAreas[0] = 1;
    head.fifoAreas[1] = 2;
    putStructure(areas[0].data(), head);
    return areas;
}

}  // namespace features::simulator
