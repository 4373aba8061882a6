// Everything that is decoded of what a drive sends, with any bytes. The first byte of the input chooses the decoder,
// the next four are dword 0 of a feature, the rest is the structure.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <string>
#include <vector>

#include "features/nvme/Features.h"
#include "features/nvme/FieldTree.h"
#include "features/nvme/Identify.h"
#include "features/nvme/Level0Discovery.h"
#include "features/nvme/LogPages.h"
#include "features/nvme/NamespaceProperties.h"
#include "features/nvme/OcpLogPages.h"
#include "features/nvme/SmartAttributes.h"
#include "features/nvme/StatusCodes.h"
#include "features/nvme/VelkoFeatures.h"
#include "features/nvme/VelkoLogPages.h"
#include "fuzz/Require.h"
#include "fuzz/TreeCheck.h"
#include "ostrel/core/XmlConverter.h"

using namespace features::nvme;
using namespace ostrel::core;

namespace {

using Decoder = FieldTree (*)(const Payload& data, uint32_t dword0);

template <FieldTree (*DECODE)(const Payload&)>
FieldTree plain(const Payload& data, uint32_t) {
    return DECODE(data);
}
template <FieldTree (*DECODE)(const Payload&, uint32_t)>
FieldTree ofNamespace(const Payload& data, uint32_t nsid) {
    return DECODE(data, nsid);
}

template <FieldTree (*DECODE)(const Payload&, uint16_t)>
FieldTree ofVersion(const Payload& data, uint32_t version) {
    return DECODE(data, static_cast<uint16_t>(version));
}
template <FieldTree (*DECODE)(const Payload&, uint32_t, uint16_t)>
FieldTree ofNamespaceAndVersion(const Payload& data, uint32_t number) {
    return DECODE(data, number, static_cast<uint16_t>(number));
}

/// After these come the log pages, the features, the OCP features, and the maker's pages and features, in the order of
/// their tables.
constexpr Decoder DECODERS[] = {
    plain<decodeIdentifyController>,
    ofNamespaceAndVersion<decodeIdentifyNamespace>,
    ofNamespaceAndVersion<decodeNvmNamespace>,
    ofNamespace<decodeZonedNamespace>,
    ofVersion<decodeNvmController>,
    plain<decodeZonedController>,
    ofNamespaceAndVersion<decodeIndependentNamespace>,
    plain<decodeGranularities>,
    plain<decodeDomains>,
    plain<decodeCommandSetCombinations>,
    ofNamespace<decodeNamespaceDescriptors>,
    plain<decodeUuidList>,
    plain<decodeOcpSmart>,
    plain<decodeOcpErrorRecovery>,
    plain<decodeOcpFirmwareHistory>,
    plain<decodeOcpLatencyMonitor>,
    plain<decodeOcpCapabilities>,
    plain<decodeOcpUnsupportedRequirements>,
    plain<decodeOcpHardwareComponents>,
    plain<decodeOcpTcgConfiguration>,
    plain<decodeOcpTelemetryStrings>,
};

constexpr uint8_t FIRST_ATTRIBUTES = 0xF0;
constexpr AttributeList (*ATTRIBUTES[])(const Payload&) = {smartAttributes, healthMetrics, ocpHealthMetrics,
                                                           performanceMetrics};

/// By any version of the controller.
FieldTree decodeLog(const LogPageRow& row, const Payload& data, uint16_t nvmeVersion) {
    return row.decode.exists() ? row.decode(data, nvmeVersion) : FieldTree{row.name, {}, {}};
}

FieldTree decode(size_t choice, const Payload& data, uint32_t dword0) {
    const auto logs = static_cast<size_t>(logPagesEnd() - logPagesBegin());
    const auto features = static_cast<size_t>(featuresEnd() - featuresBegin());
    const auto ocpFeatures = static_cast<size_t>(ocpFeaturesEnd() - ocpFeaturesBegin());
    const auto velkoLogs = static_cast<size_t>(velkoLogPagesEnd() - velkoLogPagesBegin());
    const auto velkoFeatures = static_cast<size_t>(velkoFeaturesEnd() - velkoFeaturesBegin());
    choice %= std::size(DECODERS) + logs + features + ocpFeatures + velkoLogs + velkoFeatures;
    if (choice < std::size(DECODERS)) return DECODERS[choice](data, dword0);
    choice -= std::size(DECODERS);
    if (choice < logs) return decodeLog(logPagesBegin()[choice], data, static_cast<uint16_t>(dword0));
    choice -= logs;
    if (choice < features) return decodeFeature(featuresBegin()[choice], dword0, data, static_cast<uint16_t>(dword0));
    choice -= features;
    if (choice < ocpFeatures) return decodeFeature(ocpFeaturesBegin()[choice], dword0, data);
    choice -= ocpFeatures;
    if (choice < velkoLogs) return velkoLogPagesBegin()[choice].decode(data);
    return decodeFeature(velkoFeaturesBegin()[choice - velkoLogs], dword0, data);
}

void checkDecoder(size_t choice, const Payload& data, uint32_t dword0) {
    const FieldTree tree = decode(choice, data, dword0);
    const size_t shown = checkTree(tree);
    // Nothing is shown that the bytes do not hold: the smallest thing that has a line is a descriptor of 5 bytes.
    REQUIRE(shown <= 300 + data.getSize());
    const Payload half(data.getData(), data.getSize() / 2);
    REQUIRE(checkTree(decode(choice, half, dword0)) <= shown);
    std::string xml;
    tree.toXml("S1")->appendXml(xml);
    REQUIRE(xml.size() > tree.heading.size());
}

void checkAttributes(const AttributeList& attributes) {
    const auto received = XmlConverter::xmlToAttributeList(*XmlConverter::attributeListToXml(attributes));
    REQUIRE(received->size() == attributes.size());
    for (const auto& [name, attribute] : attributes) {
        REQUIRE(isShowable(attribute.getText()));
        REQUIRE(received->at(name).getText() == attribute.getText());
    }
}

void checkLists(const Payload& data) {
    REQUIRE(decodeNamespaceList(data).size() <= data.getSize() / 4);
    REQUIRE(decodeControllerList(data).size() <= data.getSize() / 2);
    (void)commandSetOf(data);
}

/// What is read without being shown; the structure is as long as Identify gives it.
void checkProperties(const Payload& data) {
    std::vector<uint8_t> identify(IDENTIFY_BYTES);
    std::memcpy(identify.data(), data.getData(), std::min<size_t>(data.getSize(), identify.size()));
    const NamespaceProperties properties(identify.data());
    REQUIRE(properties.numberOfFormats <= NamespaceProperties::MAX_FORMATS);
    REQUIRE(properties.formatIndex() < NamespaceProperties::MAX_FORMATS);
    (void)properties.format().dataBytes();
    const ControllerCapabilities controller(identify.data());
    for (const LogPageRow* row = logPagesBegin(); row != logPagesEnd(); ++row) {
        (void)row->isSupportedBy(controller);
        if (row->wholeLength == nullptr) continue;
        const uint64_t length = row->wholeLength(controller, identify.data());
        REQUIRE(length % 4 == 0 && length >= row->lengthBytes);
    }
    for (const OcpLogPageRow* row = ocpLogPagesBegin(); row != ocpLogPagesEnd(); ++row) {
        (void)row->isIn(data);
        if (row->page.wholeLength == nullptr) continue;
        const uint64_t length = row->page.wholeLength(controller, identify.data());
        REQUIRE(length % 4 == 0 && length >= row->page.lengthBytes);
    }
}

/// A feature has a descriptor of 4 bytes at least.
void checkSecurity(const Payload& data) {
    (void)isSecurityProtocolListed(data, SECURITY_PROTOCOL_TCG);
    const auto discovery = decodeLevel0Discovery(data);
    if (!discovery) return;
    REQUIRE(discovery->features.size() <= data.getSize() / 4);
    REQUIRE(isShowable(discovery->featureText()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 6 || size > 3 * IDENTIFY_BYTES) return 0;
    uint32_t dword0 = 0;
    std::memcpy(&dword0, data + 1, sizeof dword0);
    const Payload structure(data + 5, size - 5);
    if (data[0] < FIRST_ATTRIBUTES) {
        checkDecoder(data[0], structure, dword0);
    } else {
        checkAttributes(ATTRIBUTES[data[0] % std::size(ATTRIBUTES)](structure));
    }
    checkLists(structure);
    checkSecurity(structure);
    checkProperties(structure);
    REQUIRE(isShowable(statusCodeText({data[1], data[2]})));
    return 0;
}
