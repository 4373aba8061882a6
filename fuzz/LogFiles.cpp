// The parsers of logs, which may come out of any file: the persistent event log and telemetry.
#include <cstdint>
#include <string>

#include "features/nvme/LogPages.h"
#include "features/parsers/PersistentEventLog.h"
#include "features/parsers/TelemetryHeader.h"
#include "features/parsers/TelemetryLog.h"
#include "fuzz/Require.h"
#include "fuzz/TreeCheck.h"
#include "ostrel/core/Payload.h"

using namespace features::parsers;

namespace {

/// Of exactly this length, so that the sanitizer sees a read beyond its end.
ostrel::core::Payload copied(const uint8_t* data, size_t size) {
    return {data, size};
}

std::string textOf(const features::nvme::FieldTree& tree) {
    std::string text;
    tree.toXml("")->appendXml(text);
    return text;
}

void checkEventLog(const uint8_t* data, size_t size) {
    const auto bytes = copied(data, size);
    const PersistentEventLog log = parsePersistentEventLog(bytes.getData(), bytes.getSize());
    REQUIRE(log.isOne == (size >= 20 && data[0] == 0x0D));
    if (!log.isOne) return;
    // Nothing is shown that the bytes do not hold: an event has 24 bytes and 12 lines at least, a reset 36 and 8.
    REQUIRE(checkTree(log.tree) <= 40 + size);
    REQUIRE(log.validBytes <= size);
    const std::string damage = log.damageText();
    REQUIRE(damage.empty() || (isShowable(damage) && damage.back() == '.'));
    // What comes before a cut is shown as without the cut.
    const auto half = copied(data, size / 2);
    const PersistentEventLog cut = parsePersistentEventLog(half.getData(), half.getSize());
    REQUIRE(cut.tree.parts.size() <= log.tree.parts.size());
    for (size_t i = 0; i < cut.tree.parts.size(); ++i) REQUIRE(textOf(cut.tree.parts[i]) == textOf(log.tree.parts[i]));
}

void checkTelemetry(const uint8_t* data, size_t size) {
    if (size < TelemetryHeader::BYTES) return;
    const auto bytes = copied(data, TelemetryHeader::BYTES);
    const TelemetryHeader header(bytes.getData());
    uint64_t last = TelemetryHeader::BLOCK_BYTES;
    for (unsigned area = 0; area <= TelemetryHeader::MAX_AREAS; ++area) {
        const uint64_t length = header.lengthBytes(area);
        REQUIRE(length >= last && length % TelemetryHeader::BLOCK_BYTES == 0);
        // The last block of area 4 is a number of 32 bits, that of the others of 16.
        REQUIRE(length <= (area < 4 ? uint64_t{1} << 16 : uint64_t{1} << 32) * TelemetryHeader::BLOCK_BYTES);
        last = length;
    }
    (void)checkTree(features::nvme::decodeTelemetryHeader(bytes));
}

/// The bytes are the log, and once more the string log that names what it holds.
void checkTelemetryLog(const uint8_t* data, size_t size) {
    const auto bytes = copied(data, size);
    const TelemetryLog log = parseTelemetryLog(bytes.getData(), bytes.getSize(), bytes);
    REQUIRE(log.isOne == (size >= TelemetryHeader::BYTES && (data[0] == 0x07 || data[0] == 0x08)));
    if (!log.isOne) return;
    // A statistic has 8 bytes and 6 lines at most, an event 4 and 6; no byte is shown twice.
    REQUIRE(checkTree(log.tree) <= 300 + 2 * size);
    const std::string damage = log.damageText();
    REQUIRE(damage.empty() || (isShowable(damage) && damage.back() == '.'));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    checkEventLog(data, size);
    checkTelemetry(data, size);
    checkTelemetryLog(data, size);
    return 0;
}
