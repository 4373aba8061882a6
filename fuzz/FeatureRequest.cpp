// A whole request, as the tool sends it, to a drive that answers anything. The input is the text of the request up to
// the first zero byte; the rest is what the drive answers, command by command. No drive of the machine is touched, and
// nothing is written: requests that could are left out.
#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "features/library/Library.h"
#include "features/nvme/Completion.h"
#include "features/nvme/IdentifyCns.h"
#include "features/nvme/LogPageIds.h"
#include "features/nvme/NvmeCommand.h"
#include "features/nvme/Opcodes.h"
#include "features/transport/DriveSource.h"
#include "features/transport/HostCommand.h"
#include "fuzz/Require.h"
#include "ostrel/core/AddressableSize.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/CommandPath.h"
#include "ostrel/core/CommandResult.h"
#include "ostrel/core/Device.h"
#include "ostrel/core/XmlConverter.h"
#include "ostrel/core/xml/XmlConstants.h"
#include "ostrel/interfaces/ostreli/interface/FeatureLibrary.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"
#include "tests/support/fakedrive/DriveBytes.h"

using namespace ostrel::core;
using namespace ostrel::interfaces::ostreli;
using namespace features;

namespace {

/// Jobs that neither write files nor wait for a drive that never ends. Names that are no job's pass too.
// clang-format off
constexpr std::string_view HARMLESS_JOBS[] = {
    JOB_ASSERT_LOG,            JOB_BACKGROUND_PROCESSING,      JOB_BRIDGE_NLOG,       JOB_EVENT_LOG,
    JOB_HEALTH_METRICS,        JOB_IDENTIFY,                   JOB_LATENCY_TRACKING,  JOB_LED_ACTIVITY,
    JOB_MAX_ADDRESS,           JOB_NLOG,                       JOB_NVME_FEATURES,     JOB_NVME_LOG,
    JOB_OCP_DSSD_POWER_STATE,  JOB_OCP_ERROR_INJECTION,        JOB_OCP_IEEE_SILO,     JOB_OCP_PLP_CHECK,
    JOB_OCP_READ_ONLY_WRITE_MODE, JOB_PARTITION_INFORMATION,   JOB_PERFORMANCE,       JOB_PERSISTENT_EVENT_LOG,
    JOB_PERSISTENT_EVENT_LOG_PARSE, JOB_POWER_GOVERNOR,        JOB_SMART,             JOB_SMBUS_ADDRESS,
    JOB_SYSTEM_SNAPSHOT,       JOB_TELEMETRY_LOG,              JOB_TIMESTAMP,         JOB_TRIM,
    JOB_VELKOSSD,
};
// clang-format on

/// What the drive answers; every input begins from the start.
struct Answers {
    const uint8_t* next = nullptr;
    const uint8_t* end = nullptr;

    uint8_t byte() { return next == end ? uint8_t{0} : *next++; }
    void fill(uint8_t* data, size_t size) {
        const size_t given = std::min(size, static_cast<size_t>(end - next));
        std::memcpy(data, next, given);
        next += given;
    }
};
Answers answers;

/// Logs give their own length. What is beyond a hundred times the length of an input is all zeros and teaches nothing
/// more: 200 pieces of a megabyte cost a second, for the digits of a telemetry log alone.
constexpr uint32_t MAX_BYTES = 1 << 20;
constexpr unsigned MAX_COMMANDS = 200;
unsigned commands = 0;
uint32_t bytes = 0;

/// Whether the drive is still there for the command.
bool isAnswered(const nvme::NvmeCommand& command) {
    if (++commands > MAX_COMMANDS || command.dataLength > MAX_BYTES - bytes) return false;
    bytes += command.dataLength;
    return true;
}

/// What a persistent event log claims to be long is reserved before it is read, up to a share of the machine's memory:
/// under the address sanitizer 8 GiB take seconds. Claims are below 16 MiB here, or beyond any memory.
void boundClaim(const nvme::NvmeCommand& command, Payload& data) {
    constexpr size_t TOTAL_LOG_LENGTH = 8;  // of eight bytes
    const bool isEventLog =
        command.opcode == nvme::OPC_GET_LOG_PAGE && (command.cdw10 & 0xFF) == nvme::LID_PERSISTENT_EVENT;
    if (!isEventLog || data.getSize() < TOTAL_LOG_LENGTH + 8) return;
    uint8_t* const length = data.getData() + TOTAL_LOG_LENGTH;
    if (length[7] == 0) std::fill_n(length + 3, 4, uint8_t{0});
}

void answerNvme(const nvme::NvmeCommand& command, CommandResult& result) {
    const uint8_t kind = answers.byte();
    if (kind == 0xFF || !isAnswered(command)) {
        result.status = Status(CATEGORY_OS, kind == 0xFF && answers.byte() % 2 != 0 ? EINVAL : ENODEV, "gone");
        return;
    }
    uint16_t statusField = 0;
    if (kind == 0xFE) {
        statusField = static_cast<uint16_t>(answers.byte() << 8);
        statusField = static_cast<uint16_t>(statusField | answers.byte());
    }
    result.protocolResult = std::make_unique<nvme::Completion>(statusField, answers.byte());
    if (command.transfer() != nvme::Transfer::FROM_CONTROLLER || command.dataLength == 0) return;
    Payload data(command.dataLength);
    std::memset(data.getData(), 0, data.getSize());
    // A drive that looks like one leads further than noise; what it cannot do, and what of it is odd, the input says.
    if (command.opcode == nvme::OPC_IDENTIFY && kind < 0x80) {
        auto identify = (command.cdw10 & 0xFF) == nvme::CNS_CONTROLLER ? fakedrive::identifyController()
                                                                       : fakedrive::identifyNamespace(1000);
        identify.byte(261, answers.byte()).byte(256, answers.byte()).byte(520, answers.byte());
        std::memcpy(data.getData(), identify.bytes().data(), std::min<size_t>(identify.size(), data.getSize()));
    } else {
        answers.fill(data.getData(), kind < 0x40 ? std::min<uint32_t>(data.getSize(), 64) : data.getSize());
    }
    boundClaim(command, data);
    result.inputPayload = data;
}

void answerHost(CommandResult& result) {
    const uint8_t kind = answers.byte();
    if (kind == 0xFF) {
        result.status = Status(CATEGORY_OS, EACCES, "refused");
        return;
    }
    std::vector<transport::HostNamespace> namespaces(kind % 3);
    for (auto& space : namespaces) {
        space.nsid = answers.byte();
        space.node = "/dev/nvme0n1";
        space.sizeBytes = uint64_t{answers.byte()} << answers.byte() % 56;
        space.blockBytes = uint32_t{1} << answers.byte() % 32;
        if (kind < 0x40) continue;
        space.uses.push_back(
            {static_cast<transport::NamespaceUse::Kind>(kind % 8), "/dev/nvme0n1", "/data", kind > 0x80});
        space.partitions.emplace_back();
        answers.fill(reinterpret_cast<uint8_t*>(&space.partitions.back().sizeBytes), 8);
    }
    result.protocolResult = std::make_unique<transport::HostResult>(std::move(namespaces));
}

class AnyPath : public CommandPath {
public:
    AnyPath() : CommandPath("Any", NANOSECONDS_PER_SECOND) {}
    std::unique_ptr<CommandPath> clone() const override { return std::make_unique<AnyPath>(*this); }
    bool isSupported(const AttributeList&) const override { return true; }
    CommandResult send(const Command& command, const Payload&, const AttributeList&) override {
        CommandResult result;
        if (const auto* nvme = dynamic_cast<const nvme::NvmeCommand*>(&command)) {
            answerNvme(*nvme, result);
        } else {
            answerHost(result);
        }
        return result;
    }
};

class AnyFinder : public DeviceFinder {
public:
    AnyFinder() : DeviceFinder("Any") {}
    std::unique_ptr<DeviceFinder> clone() const override { return std::make_unique<AnyFinder>(*this); }
    void scan(std::vector<std::shared_ptr<Device>>& devices) override {
        const std::pair<Attribute, const char*> attributes[] = {
            {attributes::device::devicePath(), "/dev/nvme0"},
            {attributes::device::serialNumber(), "S1"},
            {attributes::device::modelNumber(), "VELKO"},
            {attributes::device::firmware(), "FW1"},
        };
        auto device = std::make_shared<Device>();
        for (auto [attribute, value] : attributes) {
            attribute.setValue(value);
            device->setAttribute(attribute);
        }
        device->addCommandPath(AnyPath());
        device->addCommandSet(nvme::COMMAND_SET_NVME, "Any");
        device->addCommandSet(transport::COMMAND_SET_HOST, "Any");
        devices.push_back(device);
    }
};

class AnySource : public transport::DriveSource {
public:
    std::unique_ptr<DeviceFinder> finder() const override { return std::make_unique<AnyFinder>(); }
    std::optional<transport::DriveLocation> locate(const std::string& path, transport::LookErrors&) const override {
        if (path.empty()) return std::nullopt;
        return transport::DriveLocation{"/dev/nvme0", path.back() == '1' ? std::optional<uint32_t>(1) : std::nullopt};
    }
    std::optional<transport::DriveLocation> bootDrive(const std::string&, transport::LookErrors&) const override {
        return std::nullopt;
    }
    const transport::LookErrors& scanErrors() const override { return errors_; }

private:
    transport::LookErrors errors_;
};

bool isHarmlessJob(const std::string& name) {
    return std::find(std::begin(HARMLESS_JOBS), std::end(HARMLESS_JOBS), name) != std::end(HARMLESS_JOBS);
}

/// Whether a request could be one that writes, by its text alone. A reference may spell any word.
bool isSuspicious(const std::string& request) {
    const auto holds = [&](std::string_view word) { return request.find(word) != std::string::npos; };
    return holds("&") || holds(attributes::feature::file().getName()) ||
           std::any_of(std::begin(JOB_NAMES), std::end(JOB_NAMES),
                       [&](const char* name) { return !isHarmlessJob(name) && holds(name); });
}

/// A request names what it writes to in "file" alone, and what it reads of in the others. To read one takes a tenth of
/// the time that it takes in all, so that only suspicious ones are read twice.
bool isHarmless(const std::string& request) {
    if (!isSuspicious(request)) return true;
    const auto element = XmlConverter::toXml(request);
    const auto* object = dynamic_cast<const xml::XmlObject*>(element.get());
    if (object == nullptr) return true;
    const std::string name = object->getAttribute(xml::KEY_NAME);
    const bool isJob = std::find(std::begin(JOB_NAMES), std::end(JOB_NAMES), name) != std::end(JOB_NAMES);
    if (isJob && !isHarmlessJob(name)) return false;
    return std::none_of(object->properties.begin(), object->properties.end(), [](const auto& property) {
        return property->getAttribute(xml::KEY_NAME) == attributes::feature::file().getName();
    });
}

std::string answerTo(const std::string& request) {
    void* handle = nullptr;
    SendXMLMessage(request.data(), request.size(), &handle);
    REQUIRE(handle != nullptr);
    uint64_t size = 0;
    REQUIRE(ReceiveXMLMessage(handle, nullptr, &size) == FEATURE_LIBRARY_INVALID_BUFFER_SIZE);
    std::string text(addressableSize(size), '?');
    REQUIRE(ReceiveXMLMessage(handle, text.data(), &size) == FEATURE_LIBRARY_SUCCESS);
    return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const uint8_t* zero = std::find(data, data + size, uint8_t{0});
    const std::string request(data, zero);
    if (!isHarmless(request)) return 0;
    answers = {zero == data + size ? zero : zero + 1, data + size};
    commands = 0;
    bytes = 0;
    std::vector<std::unique_ptr<transport::DriveSource>> sources;
    sources.push_back(std::make_unique<AnySource>());
    library::Library::instance().useSources(std::move(sources));
    const auto element = XmlConverter::toXml(answerTo(request));
    const auto* answer = dynamic_cast<const xml::XmlObject*>(element.get());
    REQUIRE(answer != nullptr);
    REQUIRE(!answer->objects.empty());
    REQUIRE(answer->objects.front()->getAttribute(xml::KEY_CATEGORY) == xml::CATEGORY_STATUS);
    return 0;
}
