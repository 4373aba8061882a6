// Everything that is decoded of what a SATA drive sends, with any bytes. The first byte of the input chooses the
// decoder, the rest is the structure.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <string>
#include <vector>

#include "features/ata/DeviceStatistics.h"
#include "features/ata/ErrorLog.h"
#include "features/ata/EventLogs.h"
#include "features/ata/IdentifyLog.h"
#include "features/ata/Identity.h"
#include "features/ata/PageList.h"
#include "features/ata/SelfTests.h"
#include "features/ata/SmartAttributes.h"
#include "fuzz/Require.h"
#include "fuzz/TreeCheck.h"

using namespace features::ata;
using features::nvme::FieldTree;
using ostrel::core::Payload;

namespace {

constexpr size_t MAX_BYTES = 8 * 512;

FieldTree decodeShortSelfTests(const Payload& data) {
    return decodeSelfTests(selfTestsOf(data));
}
FieldTree decodeExtendedSelfTests(const Payload& data) {
    return decodeSelfTests(extendedSelfTestsOf(data));
}
template <uint8_t PAGE>
FieldTree decodePage(const Payload& data) {
    return decodeIdentifyPage(PAGE, data);
}

/// By attributes, with the second half of the bytes as thresholds.
FieldTree decodeAttributes(const Payload& data) {
    FieldTree tree{"SMART Attributes", {}, {}};
    const uint32_t half = data.getSize() / 2;
    for (const SmartAttribute& attribute : smartAttributesOf(data, Payload(data.getData() + half, half))) {
        REQUIRE(attribute.state() == AttributeState::GOOD || attribute.threshold);
        tree.add(attribute.name(), attribute.rawText());
    }
    return tree;
}

constexpr FieldTree (*DECODERS[])(const Payload&) = {
    decodeIdentifyDevice,    decodeSmartData,      decodeAttributes,
    decodeStatistics,        decodeShortSelfTests, decodeExtendedSelfTests,
    decodeExtendedErrors,    decodeSummaryErrors,  decodePage<0>,
    decodePage<2>,           decodePage<3>,        decodePage<5>,
    decodePage<9>,           decodePendingDefects, decodeQueuedError,
    decodePhyEvents,         decodeSctStatus,      decodeComprehensiveErrors,
    decodeSelectiveSelfTest,
};

/// What is read without being shown.
void checkIdentity(const Payload& data) {
    std::vector<uint8_t> bytes(sizeof(IdentifyDevice));
    std::memcpy(bytes.data(), data.getData(), std::min<size_t>(data.getSize(), bytes.size()));
    const Identity identity(bytes.data());
    REQUIRE(!(identity.isSolidState() && identity.isRotating()));
    REQUIRE(identity.logicalSectorBytes() >= 512 && identity.physicalSectorBytes() >= identity.logicalSectorBytes());
    REQUIRE(identity.maxTrimBlocks() != 0);
    for (const std::string& text : {identity.serialNumber(), identity.model(), identity.firmware()})
        REQUIRE(text.empty() || isShowable(text));
    for (const auto& time : {identity.eraseTime(), identity.enhancedEraseTime()})
        REQUIRE(!time || (time->minutes >= 2 && time->minutes <= 65532));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2 || size > MAX_BYTES) return 0;
    const Payload structure(data + 1, size - 1);
    const FieldTree tree = DECODERS[data[0] % std::size(DECODERS)](structure);
    // Nothing is shown that the bytes do not hold: a self-test, of 24 bytes, has six lines.
    REQUIRE(checkTree(tree) <= 300 + structure.getSize());
    checkIdentity(structure);
    (void)downloadSupport(structure);
    (void)isPageListed(structure, data[0]);
    return 0;
}
