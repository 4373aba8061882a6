#include "features/simulator/store/Description.h"

#include <boost/property_tree/ini_parser.hpp>
#include <boost/property_tree/ptree.hpp>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <limits>
#include <sstream>

#include "features/nvme/FieldTree.h"
#include "features/simulator/store/DescriptionText.h"
#include "features/simulator/store/FaultKinds.h"
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

bool parseBool(const std::string& text, bool& into) {
    if (text != "yes" && text != "no") return false;
    into = text == "yes";
    return true;
}

/// A description has the units as they are written, with blanks or none before them; a command line is less strict.
bool parseDriveSize(const std::string& text, uint64_t& bytes) {
    const size_t end = std::min(text.find_first_not_of("0123456789"), text.size());
    const std::string unit = trimmed(text.substr(end));
    const auto isUnit = [&unit](const Unit& known) { return unit == known.name; };
    return std::any_of(std::begin(UNITS), std::end(UNITS), isUnit) && parseSize(text.substr(0, end) + unit, bytes) &&
           bytes >= MIN_DRIVE_BYTES && bytes <= MAX_DRIVE_BYTES;
}

std::string sizeText(uint64_t bytes) {
    const Unit* best = UNITS;
    for (const Unit& unit : UNITS) {
        if (unit.bytes > best->bytes && bytes % unit.bytes == 0) best = &unit;
    }
    return std::to_string(bytes / best->bytes) + (best->bytes == 1 ? "" : " ") + best->name;
}

bool parseModel(const std::string& text, Description& description) {
    const Model* model = findModel(text);
    if (model == nullptr) return false;
    description.setModel(model->id);
    return true;
}

bool parseSerial(const std::string& text, std::string& serial) {
    constexpr size_t MOST = 20;
    if (text.empty() || text.size() > MOST) return false;
    for (const char c : text) {
        if (c <= ' ' || c > '~') return false;
    }
    serial = text;
    return true;
}

bool parsePrintable(const std::string& text, size_t max, std::string& into) {
    if (!text.empty() && !isPrintable(text, max)) return false;
    into = text;
    return true;
}

bool parseControllers(const std::string& text, bool& areTwo) {
    if (text != "1" && text != "2") return false;
    areTwo = text == "2";
    return true;
}

bool parseTransfer(const std::string& text, uint32_t& kib) {
    constexpr uint32_t MIN = 8;  // MDTS 1; of one page of 4 KiB it would be 0, which is no limit
    constexpr uint32_t MAX = 16384;
    uint32_t number = 0;
    if (!parseInto(text, number) || number > MAX) return false;
    if (number != 0 && (number < MIN || (number & (number - 1)) != 0)) return false;
    kib = number;
    return true;
}

bool parseTemperature(const std::string& text, std::optional<int32_t>& celsius) {
    constexpr int32_t LEAST = -100;
    constexpr int32_t MOST = 200;
    if (text.empty()) {
        celsius.reset();
        return true;
    }
    const bool isNegative = text[0] == '-';
    uint32_t number = 0;
    if (!parseInto(text.substr(isNegative ? 1 : 0), number) || number > static_cast<uint32_t>(MOST)) return false;
    const auto value = static_cast<int32_t>(number) * (isNegative ? -1 : 1);
    if (value < LEAST) return false;
    celsius = value;
    return true;
}

bool parseClock(const std::string& text, std::optional<uint64_t>& ms) {
    constexpr uint64_t MOST = (uint64_t{1} << 48) - 1;  // as much as a Timestamp holds
    uint64_t number = 0;
    if (!text.empty() && !parseNumber(text, MOST, number)) return false;
    ms = text.empty() ? std::nullopt : std::optional<uint64_t>(number);
    return true;
}

bool parseCount(const std::string& text, uint32_t& namespaces) {
    uint32_t number = 0;
    if (!parseInto(text, number) || number == 0 || number > MAX_NAMESPACES) return false;
    namespaces = number;
    return true;
}

/// "1:100-107, 1:500"
bool parseMediaErrors(const std::string& text, std::vector<BlockRange>& ranges) {
    std::vector<BlockRange> read;
    for (const std::string& part : listOf(text)) {
        const size_t colon = part.find(':');
        if (colon == std::string::npos) return false;
        const size_t dash = part.find('-', colon);
        BlockRange range;
        uint64_t last = 0;
        const std::string first = part.substr(colon + 1, dash == std::string::npos ? dash : dash - colon - 1);
        if (!parseInto(part.substr(0, colon), range.nsid) || !parseInto(first, range.first)) return false;
        if (!parseInto(dash == std::string::npos ? first : part.substr(dash + 1), last)) return false;
        if (last < range.first || last - range.first == std::numeric_limits<uint64_t>::max()) return false;
        range.count = last - range.first + 1;
        read.push_back(range);
    }
    ranges = std::move(read);
    return true;
}

/// "1:1000", or nothing.
bool parseBlock(const std::string& text, std::optional<BlockRange>& block) {
    std::vector<BlockRange> ranges;
    if (!parseMediaErrors(text, ranges) || ranges.size() > 1) return false;
    if (!ranges.empty() && ranges[0].count != 1) return false;
    block = ranges.empty() ? std::nullopt : std::optional<BlockRange>(ranges[0]);
    return true;
}

/// What follows the opcode of a faulty command.
enum class Argument { NONE, STATUS, MILLISECONDS };

/// A word that is missing is empty.
bool parseArgument(const std::string& text, Argument argument, FaultyCommand& command) {
    constexpr uint16_t MAX_STATUS = 0x7FF;
    constexpr uint32_t MAX_DELAY_MS = 3600000;
    switch (argument) {
        case Argument::NONE:
            return text.empty();
        case Argument::STATUS:
            return parseInto(text, command.statusField) && command.statusField <= MAX_STATUS;
        case Argument::MILLISECONDS:
            return parseInto(text, command.delayMs) && command.delayMs != 0 && command.delayMs <= MAX_DELAY_MS;
    }
    return false;
}

/// "admin 0x06, io all", and with an argument "admin 0x80 0x10A".
bool parseCommands(const std::string& text, Argument argument, std::vector<FaultyCommand>& commands) {
    std::vector<FaultyCommand> read;
    for (const std::string& part : listOf(text)) {
        std::istringstream in(part);
        std::string queue;
        std::string opcode;
        std::string value;
        std::string more;
        in >> queue >> opcode >> value;
        FaultyCommand command;
        command.isAdmin = queue == "admin";
        command.isAnyOpcode = opcode == "all";
        if ((!command.isAdmin && queue != "io") || in >> more) return false;
        if (!command.isAnyOpcode && !parseInto(opcode, command.opcode)) return false;
        if (!parseArgument(value, argument, command)) return false;
        read.push_back(command);
    }
    commands = std::move(read);
    return true;
}

std::string hex(uint64_t value, unsigned digits) {
    return nvme::hexText(value, digits);
}

std::string commandsText(const std::vector<FaultyCommand>& commands, Argument argument) {
    std::string text;
    for (const FaultyCommand& command : commands) {
        text += std::string(text.empty() ? "" : ", ") + (command.isAdmin ? "admin " : "io ");
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

std::string boolText(bool value) {
    return value ? "yes" : "no";
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
};

using D = Description;
using Text = const std::string&;
template <auto Member>
constexpr KeyRow numberRow(const char* key, const char* takes, const char* explanation) {
    return {"supports",
            key,
            false,
            takes,
            explanation,
            [](Text text, D& d) { return parseInto(text, d.*Member); },
            [](const D& d) { return std::to_string(d.*Member); }};
}
template <auto Member>
constexpr KeyRow switchRow(const char* key, const char* explanation) {
    return {"supports",
            key,
            false,
            "\"yes\" or \"no\"",
            explanation,
            [](Text text, D& d) { return parseBool(text, d.*Member); },
            [](const D& d) { return boolText(d.*Member); }};
}

// clang-format off
const KeyRow KEYS[] = {
    // The first is read first, and sets the defaults of the others.
    {"drive", "model", true, "\"velko\", \"ocp\" or \"nvme-1.4\"",
     "The kind of drive: velko (the maker's vendor features), ocp (OCP Datacenter NVMe SSD 2.0) "
     "or nvme-1.4 (nothing optional).",
     [](Text text, D& d) { return parseModel(text, d); },
     [](const D& d) { return std::string(modelOf(d.model).name); }},
    {"drive", "serial-number", true, "1 to 20 visible characters", "",
     [](Text text, D& d) { return parseSerial(text, d.serialNumber); },
     [](const D& d) { return d.serialNumber; }},
    {"drive", "model-number", false, "1 to 40 printable ASCII characters, without blanks at the ends, or nothing",
     "The model number that the drive shows; nothing: that of its model.",
     [](Text text, D& d) { return parsePrintable(text, MODEL_NUMBER_BYTES, d.modelNumber); },
     [](const D& d) { return d.modelNumber; }},
    {"drive", "controllers", false, "1 or 2",
     "Controllers of the NVM subsystem; two have a port each, and report Asymmetric Namespace Access.",
     [](Text text, D& d) { return parseControllers(text, d.hasTwoControllers); },
     [](const D& d) { return std::to_string(d.controllerCount()); }},
    {"drive", "size", true, "1 MiB to 8 TiB, for instance \"16 GiB\"",
     "What all namespaces together may take: bytes, or with KiB, MiB, GiB, TiB, KB, MB, GB, TB.",
     [](Text text, D& d) { return parseDriveSize(text, d.sizeBytes); },
     [](const D& d) { return sizeText(d.sizeBytes); }},
    {"drive", "clock", false, "milliseconds since 1970, or nothing",
     "The time of the drive's clock, in milliseconds since 1970 (UTC); "
     "nothing: it goes with the machine's.",
     [](Text text, D& d) { return parseClock(text, d.clockMs); },
     [](const D& d) { return d.clockMs ? std::to_string(*d.clockMs) : ""; }},
    switchRow<&D::supportsFormat>("format", "Optional commands and logs: yes or no."),
    switchRow<&D::supportsNamespaceManagement>("namespace-management", ""),
    switchRow<&D::supportsSanitize>("sanitize", ""),
    switchRow<&D::supportsSelfTest>("self-test", ""),
    switchRow<&D::supportsFirmwareUpdate>("firmware-update", ""),
    switchRow<&D::supportsTelemetry>("telemetry", ""),
    switchRow<&D::supportsPersistentEventLog>("persistent-event-log", ""),
    {"supports", "max-namespaces", false, "1 to 1024", "",
     [](Text text, D& d) { return parseCount(text, d.maxNamespaces); },
     [](const D& d) { return std::to_string(d.maxNamespaces); }},
    {"supports", "max-transfer-kib", false, "0 or a power of two from 8 to 16384",
     "The most data that one command carries; 0: no limit.",
     [](Text text, D& d) { return parseTransfer(text, d.maxTransferKib); },
     [](const D& d) { return std::to_string(d.maxTransferKib); }},
    numberRow<&D::shortSelfTestSeconds>("short-self-test-seconds", "a number of seconds", "How long things take."),
    numberRow<&D::extendedSelfTestSeconds>("extended-self-test-seconds", "a number of seconds", ""),
    numberRow<&D::sanitizeSeconds>("sanitize-seconds", "a number of seconds", ""),
    {"faults", "critical-warning", false, "0x00 to 0xFF",
     "Bits of the Critical Warning field of the SMART log that are set.",
     [](Text text, D& d) { return parseInto(text, d.faults.criticalWarning); },
     [](const D& d) { return hex(d.faults.criticalWarning, 2); },
     "0x01", "bits of the SMART log's field"},
    {"faults", "temperature", false, "-100 to 200, or nothing",
     "The composite temperature in degrees Celsius; nothing: the true one.",
     [](Text text, D& d) { return parseTemperature(text, d.faults.temperatureCelsius); },
     [](const D& d) { return d.faults.temperatureCelsius ? std::to_string(*d.faults.temperatureCelsius) : ""; },
     "90", "degrees Celsius"},
    {"faults", "smart", false, "fields like \"percentage-used 95, power-on-hours 43800\"",
     "Fields of the SMART log, by their names in the standard, and the values that they show.",
     [](Text text, D& d) { return parseSmartFaults(text, d.faults.smart); },
     [](const D& d) { return smartFaultsText(d.faults.smart); },
     "\"percentage-used 95, power-on-hours 43800\"", "any field of the SMART log"},
    {"faults", "media-errors", false, "blocks like \"1:100-107, 1:500\"",
     "Blocks that cannot be read: NAMESPACE:BLOCK or NAMESPACE:FIRST-LAST.",
     [](Text text, D& d) { return parseMediaErrors(text, d.faults.mediaErrors); },
     [](const D& d) { return mediaErrorsText(d.faults.mediaErrors); },
     "1:100-107", "blocks that cannot be read, NAMESPACE:BLOCKS"},
    {"faults", "self-test-failure", false, "a block like \"1:1000\", or nothing",
     "The block at which a self-test of its namespace fails: NAMESPACE:BLOCK.",
     [](Text text, D& d) { return parseBlock(text, d.faults.selfTestFailure); },
     [](const D& d) { return d.faults.selfTestFailure ? mediaErrorsText({*d.faults.selfTestFailure}) : ""; },
     "1:1000", "the block at which a self-test fails"},
    {"faults", "fail", false, "commands like \"admin 0x80 0x10A\"",
     "Commands that fail, undone: queue, opcode or \"all\", status (code in bits 7:0, type in 10:8).",
     [](Text text, D& d) { return parseCommands(text, Argument::STATUS, d.faults.fail); },
     [](const D& d) { return commandsText(d.faults.fail, Argument::STATUS); },
     "\"admin 0x80 0x10A\"", "a command, by opcode, and how it ends"},
    {"faults", "slow", false, "commands like \"admin 0x06 500\", at most 3600000",
     "Commands that are answered late: queue, opcode or \"all\", milliseconds.",
     [](Text text, D& d) { return parseCommands(text, Argument::MILLISECONDS, d.faults.slow); },
     [](const D& d) { return commandsText(d.faults.slow, Argument::MILLISECONDS); },
     "\"io all 200\"", "commands that take so many milliseconds"},
    {"faults", "hang", false, "commands like \"admin 0x06, io 0x02\"",
     "Commands that are never answered, and not carried out: queue, and opcode or \"all\".",
     [](Text text, D& d) { return parseCommands(text, Argument::NONE, d.faults.hang); },
     [](const D& d) { return commandsText(d.faults.hang, Argument::NONE); },
     "\"admin 0x06\"", "a command that is never answered"},
    {"faults", "power-loss", false, "commands like \"admin 0x80\"",
     "Commands in the middle of which the drive loses its power, undone: queue, and opcode or \"all\".",
     [](Text text, D& d) { return parseCommands(text, Argument::NONE, d.faults.powerLoss); },
     [](const D& d) { return commandsText(d.faults.powerLoss, Argument::NONE); },
     "\"io 0x01\"", "a command over which the power fails"},
    {"faults", "ana", false, "states like \"1:all inaccessible, 2:1 non-optimized\"",
     "States of ANA groups on a controller, CONTROLLER:GROUP or CONTROLLER:all: optimized, non-optimized, "
     "inaccessible, persistent-loss or change. The group of a namespace is its identifier.",
     [](Text text, D& d) { return parseAnaFaults(text, d.faults.ana); },
     [](const D& d) { return anaFaultsText(d.faults.ana); },
     "\"2:all inaccessible\"", "states of namespaces on a controller"},
    {"faults", "gone", false, "\"yes\" or \"no\"",
     "The drive has vanished: it is listed and does not answer.",
     [](Text text, D& d) { return parseBool(text, d.faults.isGone); },
     [](const D& d) { return boolText(d.faults.isGone); },
     "yes", "the drive has vanished"},
};
// clang-format on

Status wrong(const std::string& message) {
    return Status(CATEGORY_OS, EINVAL, message);
}

Status parseTree(const boost::property_tree::ptree& tree, Description& description) {
    size_t known = 0;
    for (const KeyRow& row : KEYS) {
        const auto section = tree.find(row.section);
        const auto end = tree.not_found();
        const auto key = section == end ? end : section->second.find(row.key);
        if (section == end || key == section->second.not_found()) {
            if (row.isRequired) return wrong(std::string("\"") + row.key + "\" is missing in [" + row.section + "].");
            continue;
        }
        ++known;
        if (!row.read(trimmed(key->second.data()), description)) {
            return wrong(std::string("\"") + row.key + "\" takes " + row.takes + ".");
        }
    }
    // A misspelt key would go unnoticed otherwise.
    for (const auto& [section, keys] : tree) {
        for (const auto& [name, value] : keys) {
            const bool isKnown =
                std::any_of(std::begin(KEYS), std::end(KEYS),
                            [&, n = name, s = section](const auto& row) { return s == row.section && n == row.key; });
            if (!isKnown)
                return wrong(
                    std::string("\"").append(name).append("\" is an unknown key of [").append(section).append("]."));
        }
        if (keys.empty() && !keys.data().empty()) return wrong("\"" + section + "\" is outside of any section.");
    }
    if (!description.faults.ana.empty() && !description.hasTwoControllers)
        return wrong("\"ana\" needs a drive with \"controllers\" 2 in [drive].");
    return Status();
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

Status Description::parse(const std::string& text, Description& description) {
    boost::property_tree::ptree tree;
    std::istringstream in(text);
    try {
        boost::property_tree::read_ini(in, tree);
    } catch (const boost::property_tree::ini_parser_error& error) {
        return wrong("Line " + std::to_string(error.line()) + ": " + error.message() + ".");
    }
    Description read;
    Status status = parseTree(tree, read);
    if (succeeded(status)) description = std::move(read);
    return status;
}

std::string Description::toText() const {
    std::string text = "; A simulated NVMe drive. Changes count from the next command on.\n";
    std::string section;
    for (const KeyRow& row : KEYS) {
        if (section != row.section) text += std::string("\n[") + row.section + "]\n";
        section = row.section;
        if (*row.explanation != 0) text += std::string("; ") + row.explanation + "\n";
        const std::string value = row.write(*this);
        text += std::string(row.key) + (value.empty() ? " =" : " = ") + value + "\n";
    }
    return text;
}

}  // namespace features::simulator
