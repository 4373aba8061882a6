#include "features/simulator/store/Description.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <limits>

#include "features/nvme/FieldTree.h"
#include "features/simulator/store/DescriptionText.h"
#include "features/simulator/store/FaultKinds.h"
#include "features/simulator/store/IniText.h"
#include "features/simulator/store/Model.h"
#include "features/simulator/store/SizeText.h"
#include "ostrel/core/Strings.h"

namespace features::simulator {

using namespace ostrel::core;

namespace {

constexpr uint64_t KIB = 1024;
constexpr uint64_t MIN_DRIVE_BYTES = 1 << 20;
constexpr size_t MODEL_NUMBER_BYTES = 40;

struct Unit {
    const char* name;
    uint64_t bytes;
};
constexpr Unit UNITS[] = {
    {"", 1},      {"KiB", KIB},    {"MiB", KIB* KIB},  {"GiB", KIB* KIB* KIB}, {"TiB", KIB* KIB* KIB* KIB},
    {"KB", 1000}, {"MB", 1000000}, {"GB", 1000000000}, {"TB", 1000000000000},
};

std::optional<bool> parseBool(const std::string& text) {
    return text == "yes" || text == "no" ? std::optional(text == "yes") : std::nullopt;
}

/// A description has the units as they are written, with blanks or none before them; a command line is less strict.
std::optional<uint64_t> parseDriveSize(const std::string& text) {
    const size_t end = std::min(text.find_first_not_of("0123456789"), text.size());
    const std::string unit = trimmed(text.substr(end));
    const auto isUnit = [&unit](const Unit& known) { return unit == known.name; };
    if (std::none_of(std::begin(UNITS), std::end(UNITS), isUnit)) return std::nullopt;
    const std::optional<uint64_t> bytes = parseSize(text.substr(0, end) + unit);
    return bytes && *bytes >= MIN_DRIVE_BYTES && *bytes <= MAX_DRIVE_BYTES ? bytes : std::nullopt;
}

/// In the largest of the units above that leaves no fraction, as a description has it: "16 GiB", "16 GB".
std::string describedSize(uint64_t bytes) {
    const Unit* best = UNITS;
    for (const Unit& unit : UNITS) {
        if (unit.bytes > best->bytes && bytes % unit.bytes == 0) best = &unit;
    }
    return std::to_string(bytes / best->bytes) + (best->bytes == 1 ? "" : " ") + best->name;
}

std::optional<std::string> parseSerial(const std::string& text) {
    constexpr size_t MAX_LENGTH = 20;
    const bool isVisible = std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c <= '~'; });
    return isVisible && !text.empty() && text.size() <= MAX_LENGTH ? std::optional(text) : std::nullopt;
}

std::optional<std::string> parseModelNumber(const std::string& text) {
    return text.empty() || isPrintable(text, MODEL_NUMBER_BYTES) ? std::optional(text) : std::nullopt;
}

/// Whether there are two.
std::optional<bool> parseControllers(const std::string& text) {
    return text == "1" || text == "2" ? std::optional(text == "2") : std::nullopt;
}

/// In KiB; 0: no limit.
std::optional<uint32_t> parseTransfer(const std::string& text) {
    constexpr uint32_t MIN = 8;  // MDTS 1; of one page of 4 KiB it would be 0, which is no limit
    constexpr uint32_t MAX = 16384;
    const auto kib = parseNumber<uint32_t>(text, MAX);
    if (!kib || *kib == 0) return kib;
    return *kib < MIN || (*kib & (*kib - 1)) != 0 ? std::nullopt : kib;
}

std::optional<int32_t> parseTemperature(const std::string& text) {
    constexpr int32_t MIN_CELSIUS = -100;
    constexpr int32_t MAX_CELSIUS = 200;
    const bool isNegative = text[0] == '-';
    const auto number = parseNumber<int32_t>(text.substr(isNegative ? 1 : 0), isNegative ? -MIN_CELSIUS : MAX_CELSIUS);
    return number && isNegative ? std::optional(-*number) : number;
}

/// In milliseconds.
std::optional<uint64_t> parseClock(const std::string& text) {
    constexpr uint64_t MAX_MS = (uint64_t{1} << 48) - 1;  // as much as a Timestamp holds
    return parseUint64(text, MAX_MS);
}

std::optional<uint32_t> parseNamespaceCount(const std::string& text) {
    const auto count = parseNumber<uint32_t>(text, MAX_NAMESPACES);
    return count == 0U ? std::nullopt : count;
}

/// "1:100-107", "1:500"
std::optional<BlockRange> parseBlocks(const std::string& text) {
    const size_t colon = text.find(':');
    if (colon == std::string::npos) return std::nullopt;
    const size_t dash = text.find('-', colon);
    const bool isOne = dash == std::string::npos;
    const std::string firstText = text.substr(colon + 1, isOne ? dash : dash - colon - 1);
    const auto nsid = parseNumber<uint32_t>(text.substr(0, colon));
    const auto first = parseNumber<uint64_t>(firstText);
    const auto last = parseNumber<uint64_t>(isOne ? firstText : text.substr(dash + 1));
    if (!nsid || !first || !last || *last < *first) return std::nullopt;
    if (*last - *first == std::numeric_limits<uint64_t>::max()) return std::nullopt;
    return BlockRange{*nsid, *first, *last - *first + 1};
}

/// "1:100-107, 1:500"
std::optional<std::vector<BlockRange>> parseMediaErrors(const std::string& text) {
    std::vector<BlockRange> ranges;
    for (const std::string& part : listOf(text)) {
        const std::optional<BlockRange> range = parseBlocks(part);
        if (!range) return std::nullopt;
        ranges.push_back(*range);
    }
    return ranges;
}

/// "1:1000"
std::optional<BlockRange> parseBlock(const std::string& text) {
    const std::optional<BlockRange> range = parseBlocks(text);
    return range && range->count == 1 ? range : std::nullopt;
}

constexpr uint32_t MAX_ERROR_REGISTER = 0xFF;

/// What follows the opcode of a faulty command.
enum class Argument { NONE, STATUS, MILLISECONDS };

/// A word that is missing is empty.
std::optional<uint32_t> parseArgument(const std::string& text, Argument argument) {
    constexpr uint32_t MAX_STATUS = 0x7FF;
    constexpr uint32_t MAX_DELAY_MS = 3600000;
    switch (argument) {
        case Argument::NONE:
            return text.empty() ? std::optional<uint32_t>(0) : std::nullopt;
        case Argument::STATUS:
            return parseNumber<uint32_t>(text, MAX_STATUS);
        case Argument::MILLISECONDS: {
            const auto ms = parseNumber<uint32_t>(text, MAX_DELAY_MS);
            return ms == 0U ? std::nullopt : ms;
        }
    }
    return std::nullopt;
}

/// "admin 0x06", "io all", "ata 0xEC", and with an argument "admin 0x80 0x10A".
std::optional<FaultyCommand> parseCommand(const std::string& text, Argument argument) {
    std::vector<std::string> words = splitWords(text);
    if (words.size() < 2 || words.size() > 3) return std::nullopt;
    words.resize(3);
    const std::string& queue = words[0];
    const std::string& opcodeText = words[1];
    const std::string& value = words[2];
    if (queue != "admin" && queue != "io" && queue != "ata") return std::nullopt;
    const bool isAny = opcodeText == "all";
    const auto opcode = isAny ? std::optional<uint8_t>(0) : parseNumber<uint8_t>(opcodeText);
    const std::optional<uint32_t> number = parseArgument(value, argument);
    if (!opcode || !number) return std::nullopt;
    FaultyCommand command;
    command.isAdmin = queue == "admin";
    command.isAta = queue == "ata";
    if (command.isAta && argument == Argument::STATUS && *number > MAX_ERROR_REGISTER) return std::nullopt;
    command.opcode = *opcode;
    command.isAnyOpcode = isAny;
    if (argument == Argument::STATUS) command.statusField = static_cast<uint16_t>(*number);
    if (argument == Argument::MILLISECONDS) command.delayMs = *number;
    return command;
}

/// Several with commas between them.
std::optional<std::vector<FaultyCommand>> parseCommands(const std::string& text, Argument argument) {
    std::vector<FaultyCommand> commands;
    for (const std::string& part : listOf(text)) {
        const std::optional<FaultyCommand> command = parseCommand(part, argument);
        if (!command) return std::nullopt;
        commands.push_back(*command);
    }
    return commands;
}

std::string hex(uint64_t value, unsigned digits) {
    return nvme::hexText(value, digits);
}

std::string queueText(const FaultyCommand& command) {
    if (command.isAta) return "ata ";
    return command.isAdmin ? "admin " : "io ";
}

std::string commandsText(const std::vector<FaultyCommand>& commands, Argument argument) {
    std::string text;
    for (const FaultyCommand& command : commands) {
        text += std::string(text.empty() ? "" : ", ") + queueText(command);
        text += command.isAnyOpcode ? "all" : hex(command.opcode, 2);
        if (argument == Argument::STATUS) text += " " + hex(command.statusField, 3);
        if (argument == Argument::MILLISECONDS) text += " " + std::to_string(command.delayMs);
    }
    return text;
}

std::string mediaErrorsText(const std::vector<BlockRange>& ranges) {
    std::string text;
    for (const BlockRange& range : ranges) {
        text += (text.empty() ? "" : ", ") + std::to_string(range.nsid) + ":" + std::to_string(range.first);
        if (range.count > 1) text += "-" + std::to_string(range.first + range.count - 1);
    }
    return text;
}

struct TcgName {
    const char* name;
    TcgState state;
};
constexpr TcgName TCG_STATES[] = {
    {"inactive", TcgState::INACTIVE},
    {"unlocked", TcgState::UNLOCKED},
    {"locked", TcgState::LOCKED},
    {"shadowed", TcgState::SHADOWED},
};

std::optional<TcgState> parseTcgState(const std::string& text) {
    const auto* row =
        std::find_if(std::begin(TCG_STATES), std::end(TCG_STATES), [&](const TcgName& r) { return text == r.name; });
    return row == std::end(TCG_STATES) ? std::nullopt : std::optional(row->state);
}

std::string tcgStateText(TcgState state) {
    return TCG_STATES[static_cast<size_t>(state)].name;
}

std::string boolText(bool value) {
    return value ? "yes" : "no";
}

/// Takes the value that a text has over into the description; false: it has none.
template <class Value>
bool take(const std::optional<Value>& value, Value& into) {
    if (value) into = *value;
    return value.has_value();
}

/// The same for a value that a description may lack: the text is empty then.
template <class Value>
bool takeOptional(const std::string& text, std::optional<Value> (*parse)(const std::string&),
                  std::optional<Value>& into) {
    into = text.empty() ? std::nullopt : parse(text);
    return text.empty() || into.has_value();
}

/// The model, with what it has by default.
bool takeModel(const std::string& text, Description& description) {
    const Model* model = findModel(text);
    if (model != nullptr) description.setModel(model->id);
    return model != nullptr;
}

/// Which drives have a key.
enum class Kind : uint8_t { ANY, NVME, NVME_2_1, SATA };

bool isOfKind(ModelId model, Kind kind) {
    switch (kind) {
        case Kind::ANY:
            return true;
        case Kind::NVME:
            return !isSata(model);
        case Kind::NVME_2_1:
            return isOfNvme21(model);
        case Kind::SATA:
            return isSata(model);
    }
    return false;
}

/// One key of the description: what it is for, how it is read and written, what it takes.
struct KeyRow {
    const char* section;
    const char* key;
    bool isRequired;
    const char* takes;
    const char* explanation;
    bool (*read)(const std::string& text, Description& description);
    std::string (*write)(const Description& description);
    // Of a fault, for the help of nimbrel-simdrive.
    const char* example = nullptr;
    const char* help = nullptr;
    Kind kind = Kind::ANY;

    bool isOf(ModelId model) const { return isOfKind(model, kind); }
};

constexpr KeyRow ofNvme(KeyRow row) {
    row.kind = Kind::NVME;
    return row;
}
constexpr KeyRow ofNvme21(KeyRow row) {
    row.kind = Kind::NVME_2_1;
    return row;
}
constexpr KeyRow ofSata(KeyRow row) {
    row.kind = Kind::SATA;
    return row;
}

using D = Description;
using Text = const std::string&;
template <auto Member>
constexpr KeyRow numberRow(const char* key, const char* takes, const char* explanation) {
    return {"supports",
            key,
            false,
            takes,
            explanation,
            [](Text text, D& d) { return take(parseNumber<uint32_t>(text), d.*Member); },
            [](const D& d) { return std::to_string(d.*Member); }};
}
template <auto Member>
constexpr KeyRow switchRow(const char* key, const char* explanation) {
    return {"supports",
            key,
            false,
            "\"yes\" or \"no\"",
            explanation,
            [](Text text, D& d) { return take(parseBool(text), d.*Member); },
            [](const D& d) { return boolText(d.*Member); }};
}

// clang-format off
const KeyRow KEYS[] = {
    // The first is read first, and sets the defaults of the others.
    {"drive", "model", true, "\"velko\", \"ocp\", \"nvme-1.4\", \"nvme-2.1\", \"sata\" or \"ocp-2.6\"",
     "The kind of drive: velko (the maker's vendor features), ocp (OCP Datacenter NVMe SSD 2.0), "
     "nvme-1.4 (nothing optional), nvme-2.1 (much of what NVMe 2.0 and 2.1 added), sata (a SATA SSD) "
     "or ocp-2.6 (OCP Datacenter NVMe SSD 2.6).",
     [](Text text, D& d) { return takeModel(text, d); },
     [](const D& d) { return std::string(modelOf(d.model).name); }},
    {"drive", "serial-number", true, "1 to 20 visible characters", "",
     [](Text text, D& d) { return take(parseSerial(text), d.serialNumber); },
     [](const D& d) { return d.serialNumber; }},
    {"drive", "model-number", false, "1 to 40 printable ASCII characters, without blanks at the ends, or nothing",
     "The model number that the drive shows; nothing: that of its model.",
     [](Text text, D& d) { return take(parseModelNumber(text), d.modelNumber); },
     [](const D& d) { return d.modelNumber; }},
    ofNvme({"drive", "controllers", false, "1 or 2",
     "Controllers of the NVM subsystem; two have a port each, and report Asymmetric Namespace Access.",
     [](Text text, D& d) { return take(parseControllers(text), d.hasTwoControllers); },
     [](const D& d) { return std::to_string(d.controllerCount()); }}),
    {"drive", "size", true, "1 MiB to 8 TiB, for instance \"16 GiB\"",
     "What all namespaces together may take: bytes, or with KiB, MiB, GiB, TiB, KB, MB, GB, TB.",
     [](Text text, D& d) { return take(parseDriveSize(text), d.sizeBytes); },
     [](const D& d) { return describedSize(d.sizeBytes); }},
    {"drive", "clock", false, "milliseconds since 1970, or nothing",
     "The time of the drive's clock, in milliseconds since 1970 (UTC); "
     "nothing: it goes with the machine's.",
     [](Text text, D& d) { return takeOptional(text, parseClock, d.clockMs); },
     [](const D& d) { return d.clockMs ? std::to_string(*d.clockMs) : ""; }},
    ofNvme(switchRow<&D::supportsFormat>("format", "Optional commands and logs: yes or no.")),
    ofNvme(switchRow<&D::supportsNamespaceManagement>("namespace-management", "")),
    switchRow<&D::supportsSanitize>("sanitize", ""),
    switchRow<&D::supportsSelfTest>("self-test", ""),
    switchRow<&D::supportsFirmwareUpdate>("firmware-update", ""),
    switchRow<&D::supportsTelemetry>("telemetry", ""),
    ofNvme21({"supports", "telemetry-mib", false, "0 to 1024",
     "Telemetry data area 4 of the next capture is so many MiB larger.",
     [](Text text, D& d) { return take(parseNumber<uint32_t>(text, MAX_TELEMETRY_MIB), d.telemetryMib); },
     [](const D& d) { return std::to_string(d.telemetryMib); }}),
    ofNvme(switchRow<&D::supportsPersistentEventLog>("persistent-event-log", "")),
    ofNvme({"supports", "max-namespaces", false, "1 to 1024", "",
     [](Text text, D& d) { return take(parseNamespaceCount(text), d.maxNamespaces); },
     [](const D& d) { return std::to_string(d.maxNamespaces); }}),
    ofNvme({"supports", "max-transfer-kib", false, "0 or a power of two from 8 to 16384",
     "The most data that one command carries; 0: no limit.",
     [](Text text, D& d) { return take(parseTransfer(text), d.maxTransferKib); },
     [](const D& d) { return std::to_string(d.maxTransferKib); }}),
    switchRow<&D::supportsSecurity>("security", "Self-encrypting, with TCG's Level 0 Discovery."),
    ofSata(switchRow<&D::supportsAccessibleMaxAddress>("accessible-max-address",
     "The maximum LBA is set by ACCESSIBLE MAX ADDRESS; no: by the Host Protected Area feature set.")),
    ofSata(switchRow<&D::supportsFirmwarePieces>("firmware-pieces",
     "DOWNLOAD MICROCODE takes an image in pieces; no: in one command alone.")),
    numberRow<&D::shortSelfTestSeconds>("short-self-test-seconds", "a number of seconds", "How long things take."),
    numberRow<&D::extendedSelfTestSeconds>("extended-self-test-seconds", "a number of seconds", ""),
    numberRow<&D::sanitizeSeconds>("sanitize-seconds", "a number of seconds", ""),
    ofNvme({"faults", "critical-warning", false, "0x00 to 0xFF",
     "Bits of the Critical Warning field of the SMART log that are set.",
     [](Text text, D& d) { return take(parseNumber<uint8_t>(text), d.faults.criticalWarning); },
     [](const D& d) { return hex(d.faults.criticalWarning, 2); },
     "0x01", "bits of the SMART log's field"}),
    {"faults", "temperature", false, "-100 to 200, or nothing",
     "The composite temperature in degrees Celsius; nothing: the true one.",
     [](Text text, D& d) { return takeOptional(text, parseTemperature, d.faults.temperatureCelsius); },
     [](const D& d) { return d.faults.temperatureCelsius ? std::to_string(*d.faults.temperatureCelsius) : ""; },
     "90", "degrees Celsius"},
    {"faults", "smart", false, "fields like \"percentage-used 95, power-on-hours 43800\"",
     "Fields of the SMART log, by their names in the standard, and the values that they show.",
     [](Text text, D& d) { return take(parseSmartFaults(text), d.faults.smart); },
     [](const D& d) { return smartFaultsText(d.faults.smart); },
     "\"percentage-used 95, power-on-hours 43800\"", "any field of the SMART log"},
    {"faults", "media-errors", false, "blocks like \"1:100-107, 1:500\"",
     "Blocks that cannot be read: NAMESPACE:BLOCK or NAMESPACE:FIRST-LAST.",
     [](Text text, D& d) { return take(parseMediaErrors(text), d.faults.mediaErrors); },
     [](const D& d) { return mediaErrorsText(d.faults.mediaErrors); },
     "1:100-107", "blocks that cannot be read, NAMESPACE:BLOCKS"},
    {"faults", "self-test-failure", false, "a block like \"1:1000\", or nothing",
     "The block at which a self-test of its namespace fails: NAMESPACE:BLOCK.",
     [](Text text, D& d) { return takeOptional(text, parseBlock, d.faults.selfTestFailure); },
     [](const D& d) { return d.faults.selfTestFailure ? mediaErrorsText({*d.faults.selfTestFailure}) : ""; },
     "1:1000", "the block at which a self-test fails"},
    {"faults", "fail", false, "commands like \"admin 0x80 0x10A\"",
     "Commands that fail, undone: queue (admin, io; ata of a SATA drive), opcode or \"all\", "
     "status (code in bits 7:0, type in 10:8; ata: the register ERROR).",
     [](Text text, D& d) { return take(parseCommands(text, Argument::STATUS), d.faults.fail); },
     [](const D& d) { return commandsText(d.faults.fail, Argument::STATUS); },
     "\"admin 0x80 0x10A\"", "a command, by opcode, and how it ends"},
    {"faults", "slow", false, "commands like \"admin 0x06 500\", at most 3600000",
     "Commands that are answered late: queue, opcode or \"all\", milliseconds.",
     [](Text text, D& d) { return take(parseCommands(text, Argument::MILLISECONDS), d.faults.slow); },
     [](const D& d) { return commandsText(d.faults.slow, Argument::MILLISECONDS); },
     "\"io all 200\"", "commands that take so many milliseconds"},
    {"faults", "hang", false, "commands like \"admin 0x06, io 0x02\"",
     "Commands that are never answered, and not carried out: queue, and opcode or \"all\".",
     [](Text text, D& d) { return take(parseCommands(text, Argument::NONE), d.faults.hang); },
     [](const D& d) { return commandsText(d.faults.hang, Argument::NONE); },
     "\"admin 0x06\"", "a command that is never answered"},
    {"faults", "power-loss", false, "commands like \"admin 0x80\"",
     "Commands in the middle of which the drive loses its power, undone: queue, and opcode or \"all\".",
     [](Text text, D& d) { return take(parseCommands(text, Argument::NONE), d.faults.powerLoss); },
     [](const D& d) { return commandsText(d.faults.powerLoss, Argument::NONE); },
     "\"io 0x01\"", "a command over which the power fails"},
    ofNvme({"faults", "ana", false, "states like \"1:all inaccessible, 2:1 non-optimized\"",
     "States of ANA groups on a controller, CONTROLLER:GROUP or CONTROLLER:all: optimized, non-optimized, "
     "inaccessible, persistent-loss or change. The group of a namespace is its identifier.",
     [](Text text, D& d) { return take(parseAnaFaults(text), d.faults.ana); },
     [](const D& d) { return anaFaultsText(d.faults.ana); },
     "\"2:all inaccessible\"", "states of namespaces on a controller"}),
    {"faults", "tcg", false, "\"inactive\", \"unlocked\", \"locked\" or \"shadowed\"",
     "How the owner of a self-encrypting drive left it (TCG); shadowed: locked, with a shadow MBR.",
     [](Text text, D& d) { return take(parseTcgState(text), d.faults.tcg); },
     [](const D& d) { return tcgStateText(d.faults.tcg); },
     "locked", "locked by its owner (TCG)"},
    ofSata({"faults", "attributes", false, "attributes like \"5 raw 100, 177 value 3\"",
     "SMART attributes by number, and what their value, worst or raw value shows.",
     [](Text text, D& d) { return take(parseAttributeFaults(text), d.faults.attributes); },
     [](const D& d) { return attributeFaultsText(d.faults.attributes); },
     "\"5 raw 100, 177 value 3\"", "SMART attributes of a SATA drive"}),
    ofSata({"faults", "frozen", false, "\"yes\" or \"no\"",
     "The firmware of the host froze the security feature set at boot.",
     [](Text text, D& d) { return take(parseBool(text), d.faults.isFrozen); },
     [](const D& d) { return boolText(d.faults.isFrozen); },
     "yes", "the security feature set is frozen"}),
    ofSata({"faults", "locked", false, "\"yes\" or \"no\"",
     "The drive is locked by a password that is not known.",
     [](Text text, D& d) { return take(parseBool(text), d.faults.isLocked); },
     [](const D& d) { return boolText(d.faults.isLocked); },
     "yes", "locked by an unknown password"}),
    ofSata({"faults", "lost-registers", false, "\"yes\" or \"no\"",
     "The drive's registers do not reach the host, as through some USB bridges.",
     [](Text text, D& d) { return take(parseBool(text), d.faults.losesRegisters); },
     [](const D& d) { return boolText(d.faults.losesRegisters); },
     "yes", "its registers do not come back"}),
    {"faults", "gone", false, "\"yes\" or \"no\"",
     "The drive has vanished: it is listed and does not answer.",
     [](Text text, D& d) { return take(parseBool(text), d.faults.isGone); },
     [](const D& d) { return boolText(d.faults.isGone); },
     "yes", "the drive has vanished"},
};
// clang-format on

Status wrong(const std::string& message) {
    return Status(CATEGORY_OS, EINVAL, message);
}

/// A value that drives of the model do not have, where it is not the default.
Status checkKind(const Description& description) {
    Description defaults;
    defaults.setModel(description.model);
    for (const KeyRow& row : KEYS) {
        if (!row.isOf(description.model) && row.write(description) != row.write(defaults))
            return wrong(std::string("\"") + row.key + "\" is not for drives of the model \"" +
                         modelOf(description.model).name + "\".");
    }
    const Faults& faults = description.faults;
    for (const auto* commands : {&faults.fail, &faults.slow, &faults.hang, &faults.powerLoss}) {
        for (const FaultyCommand& command : *commands) {
            if (command.isAta != isSata(description.model))
                return wrong("Faulty commands of a SATA drive begin with \"ata\", of others with \"admin\" or \"io\".");
        }
    }
    return Status();
}

/// The first key that no row has.
Status unknownKey(const std::vector<IniEntry>& entries) {
    for (const auto& [section, text, keys] : entries) {
        for (const auto& [name, value] : keys) {
            const bool isKnown =
                std::any_of(std::begin(KEYS), std::end(KEYS),
                            [&, n = name, s = section](const auto& row) { return s == row.section && n == row.key; });
            if (!isKnown)
                return wrong(
                    std::string("\"").append(name).append("\" is an unknown key of [").append(section).append("]."));
        }
    }
    return Status();
}

/// A misspelt key would go unnoticed otherwise. No key is there twice, so that their numbers show whether one is
/// unknown.
Status checkKeys(const std::vector<IniEntry>& entries, size_t known) {
    size_t all = 0;
    for (const IniEntry& entry : entries) {
        if (!entry.value.empty()) return wrong("\"" + entry.name + "\" is outside of any section.");
        all += entry.keys.size();
    }
    return all == known ? Status() : unknownKey(entries);
}

/// Finds the values of keys. Descriptions have them in the order of the rows, so that each is looked for after the last
/// one first.
class Values {
public:
    explicit Values(const std::vector<IniEntry>& entries) : entries_(entries), section_(entries.end()) {}

    /// Null without one.
    const std::string* find(const KeyRow& row) {
        if (section_ == entries_.end() || section_->name != row.section) enter(row.section);
        if (section_ == entries_.end()) return nullptr;
        const auto isKey = [&row](const auto& each) { return each.first == row.key; };
        const auto& keys = section_->keys;
        const auto after = keys.begin() + next_;
        const auto key = after != keys.end() && isKey(*after) ? after : std::find_if(keys.begin(), keys.end(), isKey);
        if (key == keys.end()) return nullptr;
        next_ = key - keys.begin() + 1;
        return &key->second;
    }

private:
    void enter(const char* section) {
        next_ = 0;
        section_ = std::find_if(entries_.begin(), entries_.end(),
                                [section](const IniEntry& entry) { return entry.name == section; });
    }

    const std::vector<IniEntry>& entries_;
    std::vector<IniEntry>::const_iterator section_;
    std::ptrdiff_t next_ = 0;
};

Result<Description> parseEntries(const std::vector<IniEntry>& entries) {
    Description description;
    Values values(entries);
    size_t keysRead = 0;
    for (const KeyRow& row : KEYS) {
        const std::string* const value = values.find(row);
        if (value == nullptr) {
            if (row.isRequired) return wrong(std::string("\"") + row.key + "\" is missing in [" + row.section + "].");
            continue;
        }
        if (!row.read(trimmed(*value), description)) {
            return wrong(std::string("\"") + row.key + "\" takes " + row.takes + ".");
        }
        ++keysRead;
    }
    RETURN_IF_FAILED(checkKeys(entries, keysRead));
    RETURN_IF_FAILED(checkKind(description));
    if (!description.faults.ana.empty() && !description.hasTwoControllers)
        return wrong("\"ana\" needs a drive with \"controllers\" 2 in [drive].");
    if (description.faults.tcg != TcgState::INACTIVE && !description.supportsSecurity)
        return wrong("\"tcg\" needs a drive with \"security\" yes in [supports].");
    return description;
}

}  // namespace

std::vector<FaultKind> faultKinds() {
    std::vector<FaultKind> kinds;
    for (const KeyRow& row : KEYS) {
        if (row.help != nullptr) kinds.push_back({row.key, row.example, row.help, row.write});
    }
    return kinds;
}

std::string Description::shownModelNumber() const {
    return modelNumber.empty() ? modelOf(model).modelNumber : modelNumber;
}

void Description::setModel(ModelId id) {
    const bool hasOptions = modelOf(id).hasOptions;
    model = id;
    supportsFormat = supportsNamespaceManagement = supportsSanitize = supportsSelfTest = hasOptions;
    supportsFirmwareUpdate = supportsTelemetry = supportsPersistentEventLog = hasOptions;
}

Result<Description> Description::parse(const std::string& text) {
    TRY(const std::vector<IniEntry> entries, readIni(text));
    return parseEntries(entries);
}

std::string Description::toText() const {
    std::string text = isSata(model) ? "; A simulated SATA drive." : "; A simulated NVMe drive.";
    text += " Changes count from the next command on.\n";
    std::string section;
    for (const KeyRow& row : KEYS) {
        if (!row.isOf(model)) continue;
        if (section != row.section) text += std::string("\n[") + row.section + "]\n";
        section = row.section;
        if (*row.explanation != 0) text += std::string("; ") + row.explanation + "\n";
        const std::string value = row.write(*this);
        text += std::string(row.key) + (value.empty() ? " =" : " = ") + value + "\n";
    }
    return text;
}

}  // namespace features::simulator
