#include "features/jobs/settings/AnyFeature.h"

#include <algorithm>

#include "features/errors/PayloadCopy.h"
#include "features/errors/Result.h"
#include "features/jobs/drive/DriveFacts.h"
#include "features/jobs/drive/Offers.h"
#include "features/jobs/drive/SafetyGate.h"
#include "features/jobs/drive/VendorDialect.h"
#include "features/jobs/settings/FeatureAccess.h"
#include "features/jobs/settings/FeatureSetting.h"
#include "features/jobs/support/InputFile.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/FeatureIds.h"
#include "features/nvme/Features.h"
#include "features/nvme/NamespaceIds.h"
#include "features/nvme/NvmeVersions.h"
#include "features/nvme/VelkoFeatures.h"
#include "features/nvme/VelkoInterface.h"
#include "features/nvme/structures/IdentifyNamespace.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/Strings.h"

namespace features::jobs {

using namespace ostrel::core;
namespace key = ostrel::core::attributes::feature;
using nvme::FeatureRow;
using nvme::hexText;

namespace {

/// What Get Features and Set Features carry at most.
constexpr uint32_t MAX_DATA_BYTES = 4096;
constexpr size_t BYTES_PER_LINE = 16;

/// Features of the standard whose dword 0 shows what dword 11 set. `selector`: bits of it that choose one of several
/// values, in Get Features, too. Of the others, dword 11 asks for more than is given (Number of Queues, Keep Alive
/// Timer), names a set or group, or is not all of the value. Get Features of Power Management reports the power state
/// at the time: the drive leaves and enters non-operational states by itself. Of LBA Status Information Attributes the
/// drive sets one half, and bounds the other by it.
constexpr struct {
    uint8_t fid;
    uint32_t selector;
} READ_BACK[] = {
    {nvme::FID_ARBITRATION, 0},
    {nvme::FID_TEMPERATURE_THRESHOLD, 0x003F0000},
    {nvme::FID_ERROR_RECOVERY, 0},
    {nvme::FID_VOLATILE_WRITE_CACHE, 0},
    {nvme::FID_INTERRUPT_COALESCING, 0},
    {nvme::FID_INTERRUPT_VECTOR, 0x0000FFFF},
    {nvme::FID_WRITE_ATOMICITY, 0},
    {nvme::FID_ASYNCHRONOUS_EVENT, 0},
    {nvme::FID_AUTONOMOUS_POWER_STATE, 0},
    {nvme::FID_HOST_THERMAL_MANAGEMENT, 0},
    {nvme::FID_NON_OPERATIONAL_POWER_STATE, 0},
    {nvme::FID_SANITIZE_CONFIG, 0},
    {nvme::FID_SOFTWARE_PROGRESS, 0},
    {nvme::FID_RESERVATION_MASK, 0},
    {nvme::FID_RESERVATION_PERSISTENCE, 0},
    {nvme::FID_NAMESPACE_WRITE_PROTECTION, 0},
};
/// Temperature Threshold of all sensors at once, which cannot be read.
constexpr uint32_t ALL_SENSORS = 0x000F0000;

constexpr uint8_t DESTROYING_VELKO_FIDS[] = {nvme::FID_VELKO_MAXIMUM_LBA, nvme::FID_VELKO_QUICK_FORMAT};

const FeatureRow* rowOf(uint8_t fid, Dialect dialect) {
    if (dialect == Dialect::OCP) return nvme::findOcpFeature(fid);
    return dialect == Dialect::VELKO ? nvme::findVelkoFeature(fid) : nvme::findFeature(fid);
}

std::string nameOf(uint8_t fid, const FeatureRow* row) {
    const std::string name = "Feature " + hexText(fid, 2);
    return row == nullptr ? name : name + " (" + row->name + ")";
}

/// 0 for an argument that is not given.
Result<uint32_t> readDword(const Arguments& arguments, const Attribute& attribute) {
    TRY(const std::optional<uint64_t> number, arguments.number(attribute.getName(), UINT32_MAX, Digits::HEX));
    return static_cast<uint32_t>(number.value_or(0));
}

Result<uint8_t> readFeatureId(const Arguments& arguments) {
    const auto number = arguments.number(key::featureId().getName(), UINT8_MAX, Digits::DECIMAL_OR_HEX);
    if (!number) return withDetails(statuses::invalidFeatureId(), number.error().getMessage());
    if (!*number) return statuses::invalidFeatureId();
    return static_cast<uint8_t>(**number);
}

/// The features that are there once for each group: where Identify Namespace reports which is the namespace's.
constexpr struct {
    uint8_t fid;
    size_t offset;
} FEATURES_OF_GROUPS[] = {
    {nvme::FID_ENDURANCE_GROUP_EVENT, offsetof(nvme::IdentifyNamespace, endgid)},
    {nvme::FID_FDP, offsetof(nvme::IdentifyNamespace, endgid)},
};

/// As many as the data structure of the feature holds.
constexpr uint32_t MAX_FDP_EVENT_TYPES = 255;

std::optional<size_t> groupSelector(uint8_t fid) {
    for (const auto& feature : FEATURES_OF_GROUPS) {
        if (feature.fid == fid) return feature.offset;
    }
    return std::nullopt;
}

/// 0 on a drive without a namespace.
Result<uint32_t> groupOfNamespace(nvme::Drive& drive, size_t offset) {
    DriveFacts facts(drive);
    const uint8_t* const identify = facts.identifyNamespace();
    RETURN_IF_FAILED(facts.failure());
    return identify == nullptr ? uint32_t{0} : uint32_t{nvme::le16(identify + offset)};
}

/// The Host Identifier has two lengths, the events of data placement say how many are wanted, what is there once for
/// each group says of which: dword 11 has it. Other features have one request.
Result<nvme::FeatureRequest> completeGet(nvme::Drive& drive, nvme::FeatureRequest request) {
    if (request.fid == nvme::FID_FDP_EVENTS) request.cdw11 |= MAX_FDP_EVENT_TYPES << 16;
    const std::optional<size_t> selector = groupSelector(request.fid);
    if (selector && request.cdw11 == 0) {
        TRY(request.cdw11, groupOfNamespace(drive, *selector));
    }
    if (request.fid != nvme::FID_HOST_IDENTIFIER) return request;
    TRY(const uint8_t* const identify, drive.identifyController());
    const bool wide = nvme::ControllerCapabilities(identify).supportsWideHostIdentifier();
    request.cdw11 |= wide ? 1 : 0;
    request.dataLength = wide ? 16 : 8;
    return request;
}

/// Bytes that Set Features takes.
uint32_t lengthToWrite(const FeatureRow& row, uint32_t cdw11) {
    if (row.fid == nvme::FID_HOST_IDENTIFIER) return nvme::bit(cdw11, 0) ? 16 : 8;
    if (row.fid == nvme::FID_HOST_MEMORY_BUFFER) return 0;  // its addresses are in the dwords
    return row.dataLength;
}

Status checkLength(uint8_t fid, const FeatureRow* row, uint32_t cdw11, uint32_t given) {
    // What a maker's feature takes is not known here: that is left to the user.
    if (row == nullptr) return Status();
    const uint32_t wanted = lengthToWrite(*row, cdw11);
    if (given == wanted) return Status();
    const std::string takes = wanted == 0 ? "no data" : std::to_string(wanted) + " bytes of data";
    const std::string got = given == 0 ? "no " + key::inputFile().getName() + " was given"
                                       : key::inputFile().getName() + " has " + std::to_string(given) + " bytes";
    return withDetails(statuses::invalidTransferSize(), nameOf(fid, row) + " takes " + takes + ", but " + got + ".");
}

Status checkSave(nvme::Drive& drive) {
    TRY(const uint8_t* const identify, drive.identifyController());
    if (nvme::ControllerCapabilities(identify).supportsSave()) return Status();
    return withDetails(statuses::driveDoesNotSupportFeature(),
                       "Drive " + drive.name() + " cannot save features over a power cycle.");
}

/// The kernel alone knows which memory it may hand to a drive.
Status checkHostMemory(uint8_t fid, uint32_t cdw11) {
    if (fid != nvme::FID_HOST_MEMORY_BUFFER || !nvme::bit(cdw11, 0)) return Status();
    return withDetails(statuses::featureNotSupported(),
                       "The Host Memory Buffer is enabled by the kernel's driver, which owns the memory.");
}

bool isReadable(const nvme::FeatureRequest& request) {
    const bool isForAllSensors =
        request.fid == nvme::FID_TEMPERATURE_THRESHOLD && (request.cdw11 & ALL_SENSORS) == ALL_SENSORS;
    return request.nsid != nvme::NSID_ALL && !isForAllSensors;
}

/// The bits of dword 0 in which the feature has fields.
uint32_t definedBits(const FeatureRow& row) {
    uint32_t bits = 0;
    for (const nvme::FieldRow& field : row.dword0) bits = nvme::withField(field, bits, 0xFFFFFFFF);
    return bits;
}

/// 10/164 with both values when the drive reports another one than was written.
Status readBack(nvme::Drive& drive, const FeatureRow& row, const nvme::FeatureRequest& written) {
    const auto* readable = std::find_if(std::begin(READ_BACK), std::end(READ_BACK),
                                        [&row](const auto& candidate) { return candidate.fid == row.fid; });
    if (readable == std::end(READ_BACK) || !isReadable(written)) return Status();
    nvme::FeatureRequest request{row.fid, written.nsid, written.cdw11 & readable->selector, 0, 0, row.dataLength};
    TRY(const nvme::Answer answer, drive.getFeature(request, nvme::Select::CURRENT));
    const uint32_t differing = (answer.completion.dword0 ^ written.cdw11) & definedBits(row);
    if (differing == 0) return Status();
    return withDetails(statuses::configurationUpdateFailed(),
                       "Drive " + drive.name() + " accepted " + hexText(written.cdw11, 8) + " for " +
                           nameOf(row.fid, &row) + " and reports " + hexText(answer.completion.dword0, 8) + ".");
}

Status checkDestroying(nvme::Drive& drive, uint8_t fid, Dialect dialect) {
    const bool destroys = dialect == Dialect::VELKO &&
                          std::find(std::begin(DESTROYING_VELKO_FIDS), std::end(DESTROYING_VELKO_FIDS), fid) !=
                              std::end(DESTROYING_VELKO_FIDS);
    return destroys ? checkDestruction(drive.device(), {}) : Status();
}

/// The data in lines of 16 bytes, without the zero ones at the end.
void addData(nvme::FieldTree& tree, const Payload& data) {
    size_t length = data.getSize();
    while (length > 0 && data.getData()[length - 1] == 0) --length;
    if (length == 0) return;
    nvme::FieldTree& part = tree.addPart("Data");
    for (size_t at = 0; at < length; at += BYTES_PER_LINE) {
        const size_t count = std::min<size_t>(BYTES_PER_LINE, data.getSize() - at);
        part.add("Offset " + hexText(at, 3), hexDump(copyOf(data.getData() + at, count), 0));
    }
}

nvme::FieldTree treeOf(const FeatureRow* row, const nvme::FeatureRequest& request, nvme::Select select,
                       const nvme::Answer& answer, uint16_t nvmeVersion) {
    constexpr const char* SELECTED[] = {"current", "default", "saved", "capabilities"};
    const std::string plainName = "Feature " + hexText(request.fid, 2);
    const FeatureRow plain{request.fid, plainName.c_str(), 0, false, {}, nullptr};
    const nvme::FieldTree decoded = decodeAnswer(row == nullptr ? plain : *row, select, answer, nvmeVersion);
    nvme::FieldTree tree{decoded.heading, {}, decoded.parts};
    tree.add("FID", "Feature Identifier", hexText(request.fid, 2));
    tree.add("SEL", "Select", SELECTED[static_cast<size_t>(select)]);
    if (request.nsid != 0 && request.nsid != nvme::NSID_ALL)
        tree.add("NSID", "Namespace Identifier", std::to_string(request.nsid));
    tree.add("Dword 0", "", hexText(answer.completion.dword0, 8));
    tree.fields.insert(tree.fields.end(), decoded.fields.begin(), decoded.fields.end());
    addData(tree, answer.data);
    return tree;
}

/// The version of the controller, for a feature to whose fields it matters.
Result<uint16_t> versionFor(nvme::Drive& drive, const FeatureRow* row) {
    if (row == nullptr || !nvme::hasFieldsOfVersions(*row)) return uint16_t{0};
    TRY(const uint8_t* const identify, drive.identifyController());
    return nvme::majorAndMinor(nvme::ControllerCapabilities(identify).version);
}

}  // namespace

Result<AnyFeature> AnyFeature::read(const Arguments& arguments) {
    AnyFeature feature;
    TRY(feature.fid_, readFeatureId(arguments));
    TRY(const std::optional<uint64_t> nsid,
        arguments.number(key::nvmeFeatureNamespaceId().getName(), UINT32_MAX, Digits::DECIMAL_OR_HEX));
    if (nsid) feature.nsid_ = static_cast<uint32_t>(*nsid);
    TRY(feature.select_, readSelect(arguments));
    TRY(const std::optional<bool> save, arguments.boolean(key::save().getName()));
    feature.save_ = save.value_or(false);
    TRY(feature.cdw11_, readDword(arguments, key::dword11()));
    TRY(feature.cdw12_, readDword(arguments, key::dword12()));
    TRY(feature.cdw13_, readDword(arguments, key::dword13()));
    TRY(feature.data_, readInputData(arguments));
    return feature;
}

bool AnyFeature::isAnythingGiven(const Arguments& arguments) {
    const Attribute values[] = {key::dword11(), key::dword12(), key::dword13(), key::inputFile()};
    return std::any_of(std::begin(values), std::end(values),
                       [&](const Attribute& value) { return !arguments.text(value.getName()).empty(); });
}

Result<Payload> AnyFeature::readInputData(const Arguments& arguments) {
    const std::string path = arguments.text(key::inputFile().getName());
    if (path.empty()) return Payload();
    TRY(const std::string bytes, readInputFile(path, MAX_DATA_BYTES));
    if (bytes.empty() || bytes.size() % 4 != 0) {
        return withDetails(statuses::invalidTransferSize(), "'" + path + "' has " + std::to_string(bytes.size()) +
                                                                " bytes; data goes to a drive in dwords of 4 bytes.");
    }
    const Payload data = copyOf(bytes.data(), bytes.size());
    if (data.getSize() != bytes.size()) return statuses::mallocFailed();
    return data;
}

Result<uint32_t> AnyFeature::namespaceOf(nvme::Drive& drive) const {
    if (nsid_) return *nsid_;
    DriveFacts facts(drive);
    const auto* all = facts.hostNamespaces();
    RETURN_IF_FAILED(facts.failure());
    const bool named = drive.device().getAttribute(attributes::device::namespaceId()).getSize() != 0;
    const auto* chosen = facts.hostNamespace();
    if (chosen == nullptr || (!named && all->size() > 1)) {
        return withDetails(statuses::noNamespaceId(), "Each namespace of drive " + drive.name() +
                                                          " has this feature for itself; name one with -namespace.");
    }
    return chosen->nsid;
}

Result<nvme::FeatureRequest> AnyFeature::requestFor(nvme::Drive& drive, const FeatureAddress& address,
                                                    const FeatureRow* row) const {
    nvme::FeatureRequest request = address.request(fid_);
    request.cdw11 = cdw11_;
    request.cdw12 = cdw12_;
    request.cdw13 = cdw13_;
    if (nsid_ || (row != nullptr && row->namespaceSpecific)) {
        TRY(request.nsid, namespaceOf(drive));
    }
    return request;
}

Status AnyFeature::show(nvme::Drive& drive, DriveOutput& out) const {
    TRY(const FeatureAddress address, addressOfFeature(drive, fid_, OcpGrounds::OFFERED));
    const FeatureRow* row = rowOf(fid_, address.dialect);
    TRY(nvme::FeatureRequest request, requestFor(drive, address, row));
    // A feature that is not known may bring data, and a drive without a buffer for it would write elsewhere.
    request.dataLength = row == nullptr ? MAX_DATA_BYTES : row->dataLength;
    if (row != nullptr && address.dialect == Dialect::NONE)
        RETURN_IF_FAILED(requireFeatureOffered(drive, *row, statuses::driveDoesNotSupportFeature()));
    TRY(request, completeGet(drive, request));
    TRY(const nvme::Answer answer, readFeature(drive, request, select_, statuses::driveDoesNotSupportFeature()));
    TRY(const uint16_t nvmeVersion, versionFor(drive, row));
    out.addTree(treeOf(row, request, select_, answer, nvmeVersion));
    return Status();
}

Status AnyFeature::write(nvme::Drive& drive, const std::string& heading, DriveOutput& out) const {
    TRY(const FeatureAddress address, addressOfFeature(drive, fid_, OcpGrounds::NAMED));
    const FeatureRow* row = rowOf(fid_, address.dialect);
    RETURN_IF_FAILED(checkDestroying(drive, fid_, address.dialect));
    RETURN_IF_FAILED(checkLength(fid_, row, cdw11_, data_.getSize()));
    RETURN_IF_FAILED(checkHostMemory(fid_, cdw11_));
    if (save_) RETURN_IF_FAILED(checkSave(drive));
    TRY(const nvme::FeatureRequest request, requestFor(drive, address, row));
    RETURN_IF_FAILED(checkDestroying(drive, fid_, address.dialect));  // again: much may have happened meanwhile
    RETURN_IF_FAILED(drive.setFeature(request, save_, data_));
    if (row != nullptr && address.dialect == Dialect::NONE) RETURN_IF_FAILED(readBack(drive, *row, request));
    const std::string hold = row == nullptr ? std::string() : holdText(*row, save_);
    out.addStatus(heading, Status(0, 0,
                                  nameOf(fid_, row) + (save_ ? " is set and saved." : " is set.") +
                                      (hold.empty() ? hold : " " + hold)));
    return Status();
}

}  // namespace features::jobs
