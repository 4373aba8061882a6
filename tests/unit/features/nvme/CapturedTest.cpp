// The decoders over what QEMU's controller answered, against nvme-cli's reading of the same bytes
// (captured/capture.py). Every value that nvme-cli names is compared; the two ways of showing one are related in
// tables.

#define BOOST_BIND_GLOBAL_PLACEHOLDERS  // the JSON parser of Boost takes them from there
#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <sstream>
#include <string>

#include "features/nvme/Features.h"
#include "features/nvme/Identify.h"
#include "features/nvme/LogPages.h"
#include "features/nvme/SmartAttributes.h"

namespace features::nvme {
namespace {

using boost::property_tree::ptree;
using ostrel::core::Payload;

std::string fileText(const std::string& name) {
    const std::string path = std::string(NVME_TEST_DATA) + "/captured/" + name;
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << path;
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

Payload captured(const std::string& name) {
    const std::string bytes = fileText(name + ".bin");
    return {bytes.data(), bytes.size()};
}

ptree reading(const std::string& name) {
    std::istringstream text(fileText(name + ".json"));
    ptree tree;
    read_json(text, tree);
    return tree;
}

/// How our value follows from nvme-cli's.
enum class Relation {
    SAME,
    PLUS_1,
    POWER_OF_2,
    HEX8,
    HEX16,
    HEX24,
    HEX32,
    CELSIUS,
    TEXT,
    SAME_UNLESS_0,
    VERSION,
    UPPER
};

std::string related(Relation relation, const std::string& value) {
    if (relation == Relation::SAME) return value;
    if (relation == Relation::TEXT) return value.substr(0, value.find_last_not_of(' ') + 1);
    if (relation == Relation::UPPER) {
        std::string digits;
        for (const char c : value) {
            if (c != '-') digits += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        }
        return digits.find_first_not_of('0') == std::string::npos ? "not reported" : digits;
    }
    const uint64_t number = std::stoull(value);
    char text[32];
    switch (relation) {
        case Relation::PLUS_1:
            return std::to_string(number + 1);
        case Relation::POWER_OF_2:
            return std::to_string(1ULL << number);
        case Relation::CELSIUS:
            return number == 0 ? "not reported" : std::to_string(static_cast<int64_t>(number) - 273);
        case Relation::SAME_UNLESS_0:
            return number == 0 ? "not reported" : value;
        case Relation::VERSION:
            std::snprintf(text, sizeof text, "%u.%u.%u", unsigned(number >> 16), unsigned(number >> 8 & 255),
                          unsigned(number & 255));
            return text;
        default: {
            const int digits = relation == Relation::HEX8    ? 2
                               : relation == Relation::HEX16 ? 4
                               : relation == Relation::HEX24 ? 6
                                                             : 8;
            std::snprintf(text, sizeof text, "0x%0*llX", digits, static_cast<unsigned long long>(number));
            return text;
        }
    }
}

struct Pair {
    const char* theirs;
    const char* ours;
    Relation relation;
};

/// The value of a field without its unit, which nvme-cli does not show, or what is wrong with looking for it.
std::string valueOf(const FieldTree& tree, const std::string& name) {
    for (const Field& field : tree.fields) {
        if (field.name != name) continue;
        const size_t blank = field.value.find(' ');
        const bool isNumber = field.value.find_first_not_of("-.0123456789") == blank;
        return isNumber ? field.value.substr(0, blank) : field.value;
    }
    return "no field " + name;
}

/// Compares all plain values of `theirs`; those that are in no pair are reported.
template <size_t COUNT>
void expectSame(const FieldTree& ours, const ptree& theirs, const Pair (&pairs)[COUNT]) {
    size_t compared = 0;
    for (const auto& [key, value] : theirs) {
        if (!value.empty()) continue;  // a list of its own
        const auto* pair =
            std::find_if(std::begin(pairs), std::end(pairs), [&k = key](const Pair& p) { return k == p.theirs; });
        ASSERT_NE(pair, std::end(pairs)) << "not compared: " << key;
        EXPECT_EQ(valueOf(ours, pair->ours), related(pair->relation, value.data())) << key;
        ++compared;
    }
    EXPECT_EQ(compared, COUNT);
}

using R = Relation;
// clang-format off
constexpr Pair CONTROLLER[] = {
    {"vid", "VID", R::HEX16}, {"ssvid", "SSVID", R::HEX16}, {"sn", "SN", R::TEXT}, {"mn", "MN", R::TEXT},
    {"fr", "FR", R::TEXT}, {"rab", "RAB", R::POWER_OF_2}, {"ieee", "IEEE", R::HEX24}, {"cmic", "CMIC", R::HEX8},
    {"mdts", "MDTS", R::SAME}, {"cntlid", "CNTLID", R::HEX16}, {"ver", "VER", R::VERSION},
    {"rtd3r", "RTD3R", R::SAME_UNLESS_0}, {"rtd3e", "RTD3E", R::SAME_UNLESS_0}, {"oaes", "OAES", R::HEX32},
    {"ctratt", "CTRATT", R::HEX32}, {"rrls", "RRLS", R::HEX16}, {"fguid", "FGUID", R::UPPER},
    {"crdt1", "CRDT1", R::SAME}, {"crdt2", "CRDT2", R::SAME}, {"crdt3", "CRDT3", R::SAME},
    {"nvmsr", "NVMSR", R::HEX8}, {"vwci", "VWCI", R::HEX8}, {"mec", "MEC", R::HEX8}, {"oacs", "OACS", R::HEX16},
    {"acl", "ACL", R::PLUS_1}, {"aerl", "AERL", R::PLUS_1}, {"frmw", "FRMW", R::HEX8}, {"lpa", "LPA", R::HEX8},
    {"elpe", "ELPE", R::PLUS_1}, {"npss", "NPSS", R::PLUS_1}, {"avscc", "AVSCC", R::HEX8},
    {"apsta", "APSTA", R::HEX8}, {"wctemp", "WCTEMP", R::CELSIUS}, {"cctemp", "CCTEMP", R::CELSIUS},
    {"mtfa", "MTFA", R::SAME_UNLESS_0}, {"hmpre", "HMPRE", R::SAME}, {"hmmin", "HMMIN", R::SAME},
    {"tnvmcap", "TNVMCAP", R::SAME}, {"unvmcap", "UNVMCAP", R::SAME}, {"rpmbs", "RPMBS", R::HEX32},
    {"edstt", "EDSTT", R::SAME}, {"dsto", "DSTO", R::HEX8}, {"fwug", "FWUG", R::SAME_UNLESS_0},
    {"kas", "KAS", R::SAME}, {"hctma", "HCTMA", R::HEX16}, {"mntmt", "MNTMT", R::CELSIUS},
    {"mxtmt", "MXTMT", R::CELSIUS}, {"sanicap", "SANICAP", R::HEX32}, {"hmminds", "HMMINDS", R::SAME},
    {"hmmaxd", "HMMAXD", R::SAME}, {"nsetidmax", "NSETIDMAX", R::SAME}, {"endgidmax", "ENDGIDMAX", R::SAME},
    {"anatt", "ANATT", R::SAME}, {"anacap", "ANACAP", R::HEX8}, {"anagrpmax", "ANAGRPMAX", R::SAME},
    {"nanagrpid", "NANAGRPID", R::SAME}, {"pels", "PELS", R::SAME}, {"domainid", "DID", R::SAME},
    {"megcap", "MEGCAP", R::SAME}, {"sqes", "SQES", R::HEX8}, {"cqes", "CQES", R::HEX8}, {"maxcmd", "MAXCMD", R::SAME},
    {"nn", "NN", R::SAME}, {"oncs", "ONCS", R::HEX16}, {"fuses", "FUSES", R::HEX16}, {"fna", "FNA", R::HEX8},
    {"vwc", "VWC", R::HEX8}, {"awun", "AWUN", R::PLUS_1}, {"awupf", "AWUPF", R::PLUS_1},
    {"icsvscc", "NVSCC", R::HEX8}, {"nwpc", "NWPC", R::HEX8}, {"acwu", "ACWU", R::PLUS_1}, {"ocfs", "OCFS", R::HEX16},
    {"sgls", "SGLS", R::HEX32}, {"mnan", "MNAN", R::SAME}, {"maxdna", "MAXDNA", R::SAME},
    {"maxcna", "MAXCNA", R::SAME}, {"subnqn", "SUBNQN", R::TEXT}, {"ioccsz", "IOCCSZ", R::SAME},
    {"iorcsz", "IORCSZ", R::SAME}, {"icdoff", "ICDOFF", R::SAME}, {"fcatt", "FCATT", R::HEX8},
    {"msdbd", "MSDBD", R::SAME}, {"ofcs", "OFCS", R::HEX16},
};
// clang-format on

TEST(Captured, IdentifyControllerReadsAsNvmeCliReadsIt) {
    const FieldTree ours = decodeIdentifyController(captured("identify_controller"));
    ptree theirs = reading("identify_controller");
    EXPECT_EQ(theirs.get<std::string>("cntrltype"), "1");
    EXPECT_EQ(valueOf(ours, "CNTRLTYPE"), "I/O controller");
    theirs.erase("cntrltype");
    expectSame(ours, theirs, CONTROLLER);

    ASSERT_EQ(ours.parts.size(), theirs.get_child("psds").size());
    const FieldTree& state = ours.parts[0];
    const ptree& psd = theirs.get_child("psds").front().second;
    EXPECT_EQ(psd.get<std::string>("max_power"), "2500");
    EXPECT_EQ(psd.get<std::string>("flags"), "0") << "the scale is 0.01 W, and the state is operational";
    EXPECT_EQ(valueOf(state, "MP"), "25.00");
    EXPECT_EQ(valueOf(state, "NOPS"), "False");
    EXPECT_EQ(valueOf(state, "ENLAT"), psd.get<std::string>("entry_lat"));
    EXPECT_EQ(valueOf(state, "EXLAT"), psd.get<std::string>("exit_lat"));
    EXPECT_EQ(valueOf(state, "RRT"), psd.get<std::string>("read_tput"));
    EXPECT_EQ(valueOf(state, "RRL"), psd.get<std::string>("read_lat"));
    EXPECT_EQ(valueOf(state, "RWT"), psd.get<std::string>("write_tput"));
    EXPECT_EQ(valueOf(state, "RWL"), psd.get<std::string>("write_lat"));
    EXPECT_EQ(psd.get<std::string>("idle_scale") + psd.get<std::string>("active_scale"), "00");
    EXPECT_EQ(valueOf(state, "IDLP"), "not reported");
    EXPECT_EQ(valueOf(state, "ACTP"), "not reported");
    EXPECT_EQ(valueOf(state, "APW"), psd.get<std::string>("active_power_work"));
}

// QEMU defines the preferred sizes (NSFEAT bit 4) and not the atomic units (bit 1).
// clang-format off
constexpr Pair NAMESPACE[] = {
    {"nsze", "NSZE", R::SAME}, {"ncap", "NCAP", R::SAME}, {"nuse", "NUSE", R::SAME}, {"nsfeat", "NSFEAT", R::HEX8},
    {"nlbaf", "NLBAF", R::PLUS_1}, {"flbas", "FLBAS", R::HEX8}, {"mc", "MC", R::HEX8}, {"dpc", "DPC", R::HEX8},
    {"dps", "DPS", R::HEX8}, {"nmic", "NMIC", R::HEX8}, {"rescap", "RESCAP", R::HEX8}, {"fpi", "FPI", R::HEX8},
    {"dlfeat", "DLFEAT", R::HEX8}, {"nabo", "NABO", R::SAME}, {"noiob", "NOIOB", R::SAME_UNLESS_0},
    {"nvmcap", "NVMCAP", R::SAME}, {"nsattr", "NSATTR", R::HEX8}, {"nvmsetid", "NVMSETID", R::SAME},
    {"npwg", "NPWG", R::PLUS_1}, {"npwa", "NPWA", R::PLUS_1}, {"npdg", "NPDG", R::PLUS_1}, {"npda", "NPDA", R::PLUS_1},
    {"nows", "NOWS", R::PLUS_1}, {"mssrl", "MSSRL", R::SAME_UNLESS_0}, {"mcl", "MCL", R::SAME_UNLESS_0},
    {"msrc", "MSRC", R::PLUS_1}, {"anagrpid", "ANAGRPID", R::SAME}, {"endgid", "ENDGID", R::SAME},
    {"eui64", "EUI64", R::UPPER}, {"nguid", "NGUID", R::UPPER},
};
// clang-format on

void expectNamespace(uint32_t nsid) {
    const std::string name = "identify_namespace_" + std::to_string(nsid);
    SCOPED_TRACE(name);
    const FieldTree ours = decodeIdentifyNamespace(captured(name), nsid, 0x0104);
    ptree theirs = reading(name);
    for (const char* key : {"nawun", "nawupf", "nacwu", "nabsn", "nabspf", "nulbaf"}) {
        EXPECT_EQ(theirs.get<std::string>(key), "0") << key;
        theirs.erase(key);
    }
    EXPECT_EQ(valueOf(ours, "NAWUN") + valueOf(ours, "NAWUPF") + valueOf(ours, "NACWU"),
              "not reportednot reportednot reported");
    EXPECT_EQ(valueOf(ours, "NABSN") + valueOf(ours, "NABSPF"), "nonenone");
    expectSame(ours, theirs, NAMESPACE);

    const ptree& formats = theirs.get_child("lbafs");
    ASSERT_EQ(ours.parts.size(), formats.size());
    const unsigned inUse = theirs.get<unsigned>("flbas") & 15;
    unsigned i = 0;
    for (const auto& [unused, format] : formats) {
        EXPECT_EQ(valueOf(ours.parts[i], "MS"), format.get<std::string>("ms"));
        EXPECT_EQ(valueOf(ours.parts[i], "LBADS"), related(R::POWER_OF_2, format.get<std::string>("ds")));
        EXPECT_EQ(format.get<std::string>("rp"), "0");
        EXPECT_EQ(valueOf(ours.parts[i], "RP"), "best");
        EXPECT_EQ(valueOf(ours.parts[i], "In Use"), i == inUse ? "True" : "False") << i;
        ++i;
    }
}

TEST(Captured, IdentifyNamespaceReadsAsNvmeCliReadsIt) {
    for (const uint32_t nsid : {1U, 2U, 5U}) expectNamespace(nsid);
}

TEST(Captured, DescriptorsReadAsNvmeCliReadsThem) {
    const FieldTree ours = decodeNamespaceDescriptors(captured("descriptors_1"), 1);
    std::map<std::string, std::string> theirs;
    const ptree descriptors = reading("descriptors_1").get_child("ns-descs");
    for (const auto& [unused, descriptor] : descriptors) {
        const auto type = descriptor.get<std::string>("type");
        theirs[type] = descriptor.get<std::string>(type);
    }
    EXPECT_EQ(theirs.size(), 3U);
    EXPECT_EQ(ours.fields.size(), 3U);
    EXPECT_EQ(valueOf(ours, "UUID"), theirs["uuid"]);
    EXPECT_EQ(valueOf(ours, "EUI64"), related(R::UPPER, theirs["eui64"]));
    EXPECT_EQ(valueOf(ours, "CSI"), related(R::HEX8, theirs["csi"]));
}

TEST(Captured, ListsReadAsNvmeCliReadsThem) {
    for (const char* name : {"active_namespaces", "allocated_namespaces"}) {
        std::vector<uint32_t> theirs;
        const ptree list = reading(name).get_child("nsid_list");
        for (const auto& [unused, entry] : list) theirs.push_back(entry.get<uint32_t>("nsid"));
        EXPECT_EQ(decodeNamespaceList(captured(name)), theirs) << name;
    }
    std::vector<uint16_t> theirs;
    const ptree controllers = reading("controllers").get_child("ctrl_list");
    for (const auto& [unused, entry] : controllers) theirs.push_back(entry.get<uint16_t>("ctrl_id"));
    EXPECT_EQ(decodeControllerList(captured("controllers")), theirs);
}

// clang-format off
constexpr Pair SMART_LOG[] = {
    {"critical_warning", "CW", R::HEX8}, {"temperature", "CTEMP", R::CELSIUS}, {"avail_spare", "AVSP", R::SAME},
    {"spare_thresh", "AVSPT", R::SAME}, {"percent_used", "PUSED", R::SAME},
    {"endurance_grp_critical_warning_summary", "EGCWS", R::HEX8}, {"data_units_read", "DUR", R::SAME},
    {"data_units_written", "DUW", R::SAME}, {"host_read_commands", "HRC", R::SAME},
    {"host_write_commands", "HWC", R::SAME}, {"controller_busy_time", "CBT", R::SAME}, {"power_cycles", "PWRC", R::SAME},
    {"power_on_hours", "POH", R::SAME}, {"unsafe_shutdowns", "UPL", R::SAME}, {"media_errors", "MDIE", R::SAME},
    {"num_err_log_entries", "NEIL", R::SAME}, {"warning_temp_time", "WCTT", R::SAME},
    {"critical_comp_time", "CCTT", R::SAME}, {"thm_temp1_trans_count", "TMT1TC", R::SAME},
    {"thm_temp2_trans_count", "TMT2TC", R::SAME}, {"thm_temp1_total_time", "TTTMT1", R::SAME},
    {"thm_temp2_total_time", "TTTMT2", R::SAME},
};
// clang-format on

TEST(Captured, SmartReadsAsNvmeCliReadsIt) {
    const ptree theirs = reading("smart");
    expectSame(decodeSmartHealth(captured("smart")), theirs, SMART_LOG);
    const auto attributes = smartAttributes(captured("smart"));
    EXPECT_EQ(attributes.at("Temperature").getText(), related(R::CELSIUS, theirs.get<std::string>("temperature")));
    EXPECT_EQ(attributes.at("CriticalWarnings").getText(),
              related(R::HEX8, theirs.get<std::string>("critical_warning")));
    EXPECT_EQ(attributes.at("DataUnitsRead").getText(), theirs.get<std::string>("data_units_read"));
    EXPECT_EQ(attributes.at("HostWriteCommands").getText(), theirs.get<std::string>("host_write_commands"));
}

TEST(Captured, ErrorsReadAsNvmeCliReadsThem) {
    const ptree errors = reading("errors").get_child("errors");
    for (const auto& [unused, entry] : errors)
        EXPECT_EQ(entry.get<std::string>("error_count"), "0") << "no entry was ever used";
    const FieldTree ours = decodeErrorInformation(captured("errors"));
    EXPECT_EQ(valueOf(ours, "Entries"), "0");
    EXPECT_TRUE(ours.parts.empty());
}

TEST(Captured, FirmwareSlotsReadAsNvmeCliReadsThem) {
    const ptree theirs = reading("firmware").get_child("nvme0");
    const FieldTree ours = decodeFirmwareSlots(captured("firmware"));
    EXPECT_EQ(valueOf(ours, "AFI Active Slot"), theirs.get<std::string>("Active Firmware Slot (afi)"));
    // nvme-cli has the number and the characters, with dots for blanks: "2314885530819505713 (1.0.....)".
    EXPECT_EQ(theirs.get_child("Firmware Rev Slot 1").data(), "2314885530819505713 (1.0.....)");
    EXPECT_EQ(valueOf(ours, "FRS1"), "1.0");
    EXPECT_EQ(theirs.size(), 2U) << "the other slots are empty";
    for (const char* slot : {"FRS2", "FRS3", "FRS4", "FRS5", "FRS6", "FRS7"}) EXPECT_EQ(valueOf(ours, slot), "none");
}

/// "ACS21    [Namespace Attachment   ] 00000009  CSUPP+  LBCC-  NCC-  NIC+ ..." as our line of the same command.
std::string effectsLine(const std::string& queue, const std::string& theirs) {
    char line[200];
    std::snprintf(line, sizeof line, "%s 0x%02lX", queue.c_str(),
                  std::stoul(theirs.substr(theirs.find_first_of("0123456789"))));
    std::string name = theirs.substr(theirs.find('[') + 1);
    name.resize(name.find(']'));
    name.resize(name.find_last_not_of(' ') + 1);
    std::string text = std::string(line) + " - " + name + ": supported";
    if (theirs.find("LBCC+") != std::string::npos) text += "; changes user data";
    if (theirs.find("NCC+") != std::string::npos) text += "; changes capabilities of a namespace";
    if (theirs.find("NIC+") != std::string::npos) text += "; changes the inventory of namespaces";
    if (theirs.find("CCC+") != std::string::npos) text += "; changes capabilities of the controller";
    return text;
}

TEST(Captured, CommandEffectsReadAsNvmeCliReadsThem) {
    std::vector<std::string> theirs;
    std::istringstream text(fileText("effects.txt"));
    std::string queue;
    for (std::string line; std::getline(text, line);) {
        if (line == "Admin Commands") queue = "Admin";
        if (line == "I/O Commands") queue = "I/O";
        if (line.find("CSUPP+") == std::string::npos) continue;
        EXPECT_NE(line.find("No command restriction"), std::string::npos) << line;
        theirs.push_back(effectsLine(queue, line));
    }
    std::vector<std::string> ours;
    for (const Field& field : decodeCommandEffects(captured("effects")).fields)
        ours.push_back(field.name + " - " + field.description + ": " + field.value);
    EXPECT_EQ(ours, theirs);
    EXPECT_EQ(ours.size(), 22U);
}

/// Fields of features: nvme-cli's label, our name, and how its word reads with us; null: as it is.
constexpr struct {
    uint8_t fid;
    const char* label;
    const char* ours;
    const char* theirs;
    const char* value;
} FEATURE_FIELDS[] = {
    {0x01, "(HPW)", "HighPriorityWeightArbitration", "1", "1"},
    {0x01, "(MPW)", "MediumPriorityWeightArbitration", "1", "1"},
    {0x01, "(LPW)", "LowPriorityWeightArbitration", "1", "1"},
    {0x01, "(AB)", "ArbitrationBurst", "No limit", "no limit"},
    {0x02, "(WH)", "WH", "0 - No Workload", "0"},
    {0x02, "(PS)", "NVMePowerState", "0", "0"},
    {0x04, "(TMPTH)", "TempThreshold",
     "58\xC2\xB0"
     "C (331 Kelvin)",
     "58"},
    {0x06, "(WCE)", "VolatileWriteCacheEnabled", "Disabled", "False"},
    {0x07, "(NCQA)", "IOCompletionQueuesRequested", "64", "64"},
    {0x07, "(NSQA)", "IOSubmissionQueuesRequested", "64", "64"},
    {0x08, "(TIME)", "AggregationTime", "0 usec", "0"},
    {0x08, "(THR)", "AggregationThreshold", "1", "0"},
    {0x09, "(CD)", "CoalescingDisable", "True", "True"},
    {0x09, "(IV)", "InterruptVector", "0", "0"},
    {0x0A, "(DN)", "WriteAtomicityDisableNormal", "False", "False"},
    {0x0B, "Endurance Group Event Aggregate", "EGEALCN", "Do not send async event", "False"},
    {0x0B, "LBA Status", "LBASIN", "Do not send async event", "False"},
    {0x0B, "Predictable Latency", "PLEALCN", "Do not send async event", "False"},
    {0x0B, "Asymmetric", "ANACN", "Do not send async event", "False"},
    {0x0B, "Telemetry", "TelemetryLogNoticesConfiguration", "Do not send async event", "False"},
    {0x0B, "Firmware", "FirmwareActivationNoticesConfiguration", "Do not send async event", "False"},
    {0x0B, "Namespace Attribute", "NamespaceAttributeNoticesConfiguration", "Send async event", "True"},
    {0x0B, "SMART", "SMARTHealthCriticalWarningsConfiguration", "Send async event", "0x15"},
};

TEST(Captured, FeaturesReadAsNvmeCliReadsThem) {
    std::istringstream text(fileText("features.txt"));
    FieldTree ours;
    uint8_t fid = 0;
    std::set<std::string> compared;
    for (std::string line; std::getline(text, line);) {
        if (line.rfind("get-feature:", 0) == 0) {  // "get-feature:0x04 (Temperature Threshold), Current value:0x14b"
            fid = static_cast<uint8_t>(std::stoul(line.substr(12), nullptr, 16));
            const auto dword0 = static_cast<uint32_t>(std::stoul(line.substr(line.rfind(':') + 1), nullptr, 16));
            ours = decodeFeature(*findFeature(fid), dword0, Payload());
            continue;
        }
        for (const auto& field : FEATURE_FIELDS) {  // "\tTemperature Threshold         (TMPTH): 58 C (331 Kelvin)"
            const size_t colon = line.find(':');
            if (field.fid != fid || line.substr(0, colon).find(field.label) == std::string::npos) continue;
            EXPECT_EQ(line.substr(colon + 2), field.theirs) << line;
            EXPECT_EQ(valueOf(ours, field.ours), field.value) << line;
            compared.insert(field.ours);
        }
    }
    EXPECT_EQ(compared.size(), std::size(FEATURE_FIELDS));
}

}  // namespace
}  // namespace features::nvme
