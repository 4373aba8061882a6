#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "CLI/velkossd/CommandCatalogue.h"
#include "CLI/velkossd/CommandTargets.h"
#include "ostrel/core/Attribute.h"
#include "ostrel/interfaces/cli/cliframework/CommandSpec.h"
#include "ostrel/interfaces/cli/cliframework/FeatureBase.h"
#include "ostrel/interfaces/cli/cliframework/Framework.h"
#include "ostrel/interfaces/cli/cliframework/ParsedCommand.h"
#include "ostrel/interfaces/cli/cliframework/ResultBase.h"
#include "ostrel/interfaces/cli/cliframework/SimpleResult.h"
#include "tests/support/TemporaryFolder.h"

namespace cli::velkossd {
namespace {

using framework::CommandPart;
using framework::CommandSpec;
using framework::Framework;

std::vector<CommandSpec> catalogue() {
    std::vector<CommandSpec> commands;
    appendCommandSpecs(commands);
    return commands;
}

constexpr struct {
    Flow* flow;
    const char* name;
} FLOWS[] = {
    {getFlow, "get flow"},
    {setFlow, "set flow"},
    {methodFlow, "method flow"},
    {selfTestFlow, "self-test flow"},
    {deleteFlow, "erase flow"},
    {formatFlow, "erase flow"},
    {sanitizeFlow, "erase flow"},
    {namespaceFlow, "namespace flow"},
    {identifyFlow, "identify flow"},
    {controllerListFlow, "identify flow of controllers"},
    {dumpFlow, "dump flow"},
    {telemetryDumpFlow, "dump flow of the telemetry log"},
    {parsePersistentEventLogFlow, "parse flow of the persistent event log"},
    {parseNlogFlow, "parse flow of the nlog"},
    {parseTelemetryLogFlow, "parse flow of the telemetry log"},
    {scanFlow, "scan flow"},
    {ledFlow, "LED flow"},
    {timestampFlow, "timestamp flow"},
};

const char* nameOf(Flow* flow) {
    for (const auto& row : FLOWS)
        if (row.flow == flow) return row.name;
    return "no flow";
}

/// The text in quotes, on one line.
std::string quoted(const std::string& text) {
    std::string out = "\"";
    for (const char c : text) out += c == '\n' ? "\\n" : c == '\t' ? "\\t" : std::string(1, c);
    return out + '"';
}

std::string partLines(const std::vector<CommandPart>& parts) {
    std::string text;
    for (const CommandPart& part : parts)
        text += "    " + part.name + ' ' + quoted(part.help) + (part.noValueAccepted ? ", takes no value" : "") + '\n';
    return text;
}

std::string dispatchLine(const CommandSpec& command) {
    const CommandRow* row = findCommand(command.id);
    if (row == nullptr) return "no row\n";
    std::string text = std::to_string(command.id) + ' ' + command.name + ": job " + std::string(row->action.job) +
                       ", " + nameOf(row->action.flow);
    if (row->action.attribute != nullptr)
        text += ", sets " + row->action.attribute().getName() + ' ' + quoted(row->action.attribute().getDisplayName());
    return text + '\n';
}

TEST(CommandCatalogue, EqualsTheListKeptApart) {
    std::string text;
    for (const CommandSpec& command : catalogue())
        text += dispatchLine(command) + "  " + command.asStr() + "\n  " + quoted(command.help) + '\n' +
                partLines(command.options) + partLines(command.targets) + partLines(command.properties);
    EXPECT_EQ(text, readWholeFile(NIMBREL_TEST_DATA "/catalogue.expected"));
}

TEST(CommandCatalogue, HoldsSixtySevenCommandsOfSixtySixIds) {
    std::set<int32_t> ids;
    std::set<std::string> names;
    for (const CommandSpec& command : catalogue()) {
        ids.insert(command.id);
        names.insert(command.name);
    }
    EXPECT_EQ(catalogue().size(), 67u);
    EXPECT_EQ(ids.size(), 66u);
    EXPECT_EQ(names.size(), 67u) << "help finds a command by its name";
}

TEST(CommandCatalogue, AppendsToWhatIsThere) {
    std::vector<CommandSpec> commands(1, CommandSpec(7, "Other", "show", "another feature's"));
    appendCommandSpecs(commands);
    ASSERT_EQ(commands.size(), 68u);
    EXPECT_EQ(commands[0].name, "Other");
    EXPECT_EQ(commands[1].name, "VelkoSSD");
}

TEST(CommandCatalogue, HasAnAttributeWhereACommandSetsItsOneProperty) {
    for (const CommandSpec& command : catalogue()) {
        const CommandRow* row = findCommand(command.id);
        ASSERT_NE(row, nullptr) << command.name;
        ASSERT_EQ(row->action.attribute != nullptr, row->action.flow == setFlow) << command.name;
        if (row->action.attribute == nullptr) continue;
        ASSERT_EQ(command.properties.size(), 1u) << command.name;
        EXPECT_EQ(command.properties[0].name, row->action.attribute().getName());
        EXPECT_TRUE(command.properties[0].required) << command.name;
    }
}

TEST(CommandCatalogue, KnowsIdsThatNoCommandLineReaches) {
    constexpr struct {
        int32_t id;
        const char* job;
        Flow* flow;
    } ROWS[] = {
        {42, "TelemetryLogParse", parseTelemetryLogFlow},
        {52, "EraseAssert", methodFlow},
        {53, "LowLevelFormat", methodFlow},
        {54, "CycleReport", methodFlow},
        {59, "ResetCRC", methodFlow},
        {92, "AssertRecovery", methodFlow},
        {93, "NVMeAdminCommand", methodFlow},
        {101, "NlogParse", parseNlogFlow},
    };
    for (const auto& expected : ROWS) {
        const CommandRow* row = findCommand(expected.id);
        ASSERT_NE(row, nullptr) << expected.id;
        EXPECT_EQ(row->action.job, expected.job);
        EXPECT_EQ(row->action.flow, expected.flow) << expected.id;
        EXPECT_FALSE(row->hasCommandLine()) << expected.id;
        for (const CommandSpec& command : catalogue()) EXPECT_NE(command.id, expected.id) << command.name;
    }
}

TEST(CommandCatalogue, HasNoRowForOtherIds) {
    std::set<int32_t> known = {42, 52, 53, 54, 59, 92, 93, 101};
    for (const CommandSpec& command : catalogue()) known.insert(command.id);
    for (int32_t id = -1; id <= 200; ++id) {
        const CommandRow* row = findCommand(id);
        EXPECT_EQ(row != nullptr, known.count(id) == 1) << id;
        EXPECT_EQ(row != nullptr ? row->id : id, id);
    }
}

TEST(CommandCatalogue, GivesBothCommandsOfTheSharedIdOneFlow) {
    const CommandRow* row = findCommand(72);
    ASSERT_NE(row, nullptr);
    EXPECT_EQ(row->name, "PerformanceBoosterStart");
    EXPECT_EQ(row->action.job, "ForceFlush");
    EXPECT_EQ(row->action.flow, methodFlow);
}

TEST(CommandTargets, KeepsThoseThatNoCommandTakes) {
    const PartRow unused[] = {targets::CYCLEREPORT, targets::INPUTVOLTAGE,   targets::CRCERROR,
                              targets::STANDBY,     targets::ERASEASSERT,    targets::ASSERTRECOVERY,
                              targets::OPTIMIZER,   targets::LOWLEVELFORMAT, targets::SECUREERASE};
    std::set<std::string_view> names;
    for (const PartRow& target : unused) names.insert(target.name);
    const std::set<std::string_view> expected = {"-cyclereport", "-inputvoltage",   "-crcerror",
                                                 "-standby",     "-eraseassert",    "-assertrecovery",
                                                 "-optimizer",   "-lowlevelformat", "-secureerase"};
    EXPECT_EQ(names, expected);
    for (const CommandSpec& command : catalogue())
        for (const CommandPart& target : command.targets) EXPECT_EQ(names.count(target.name), 0u) << command.name;
}

/// Replaces the storage feature: its commands are the catalogue's, and running one shows which it was.
class CatalogueFeature : public framework::FeatureBase {
public:
    CatalogueFeature() { Framework::getInstance().registerFeature("VelkoSSD", this); }
    ~CatalogueFeature() override { Framework::getInstance().removeFeature("VelkoSSD"); }

    std::unique_ptr<framework::ResultBase> run(const CommandSpec& command, const framework::ParsedCommand&) override {
        return std::make_unique<framework::SimpleResult>(command.name);
    }
    void getPaths(std::vector<CommandSpec>& commands) override { appendCommandSpecs(commands); }
};

std::string outcome(const std::string& line) {
    std::istringstream stream(line);
    std::vector<std::string> arguments;
    for (std::string word; stream >> word;) arguments.push_back(word);
    const auto result = Framework::getInstance().execute(arguments);
    return result == nullptr ? "null" : result->output();
}

struct LineCase {
    const char* command;
    const char* line;
};

// Every command with what it cannot do without, and with all that it takes.
// clang-format off
constexpr LineCase LINES[] = {
    {"VelkoSSD",                     "show -velkossd"},
    {"VelkoSSD",                     "show -display A -velkossd 0"},
    {"AggregationThreshold",         "set -velkossd 0 AggregationThreshold=1"},
    {"AggregationTime",              "set -velkossd 0 AggregationTime=1"},
    {"ShowEnduranceAnalyzer",        "show -velkossd 0 -enduranceanalyzer"},
    {"MaximumLBA",                   "set -velkossd 0 MaximumLBA=native"},
    {"PowerGovernorMode",            "set -velkossd 0 PowerGovernorMode=0"},
    {"TempThreshold",                "set -velkossd 0 TempThreshold=70"},
    {"FirmwareUpdate",               "load -velkossd 0"},
    {"FirmwareUpdate",               "load -force -source f -velkossd 0 FirmwareSlot=1 CommitAction=1"},
    {"FirmwareActivate",             "load -velkossd 0 -firmwareactivate FirmwareSlot=1 CommitAction=2"},
    {"SMART",                        "show -smart"},
    {"SMART",                        "show -display A -velkossd 0 -smart 5 IncludeNVMeSmartHealthLog=true"},
    {"Sensors",                      "show -sensor"},
    {"Sensors",                      "show -display A -velkossd 0 -sensor"},
    {"Performance",                  "show -performance"},
    {"Performance",                  "show -display A -velkossd 0 -performance"},
    {"DriveSelfTestStart",           "start -velkossd 0 -selftest"},
    {"DriveSelfTestStart",           "start -velkossd 0 -selftest short -mode captive"},
    {"DriveSelfTestShow",            "show -velkossd 0 -selftest"},
    {"Delete",                       "delete -velkossd 0"},
    {"Delete",                       "delete -force -velkossd 0"},
    {"SMBusAddress",                 "set -velkossd 0 SMBusAddress=1"},
    {"SMBusAddress",                 "set -velkossd 0 SMBusAddress=1 SMBusSelector=0"},
    {"LatencyTrackingEnabled",       "set -velkossd 0 LatencyTrackingEnabled=true"},
    {"CreateNamespace",              "create -velkossd 0 -namespace Size=1"},
    {"CreateNamespace",              "create -velkossd 0 -namespace Size=1 Capacity=1 LBAFormat=0 ProtectionInformation=0 MultiPathIoCapabilities=0"},
    {"DeleteNamespace",              "delete -velkossd 0 -namespace 1"},
    {"DeleteNamespace",              "delete -force -velkossd 0 -namespace 1"},
    {"AttachNamespace",              "attach -velkossd 0 -namespace 1"},
    {"AttachNamespace",              "attach -velkossd 0 -namespace 1 -nvmecontroller 2"},
    {"DetachNamespace",              "detach -velkossd 0 -namespace 1"},
    {"DetachNamespace",              "detach -velkossd 0 -namespace 1 -nvmecontroller 2"},
    {"IdentifyDevice",               "show -identify"},
    {"IdentifyDevice",               "show -velkossd 0 -identify -namespace 1 -nvmecontroller -uuidlist -descriptors"},
    {"NVMeFormat",                   "start -velkossd 0 -nvmeformat"},
    {"NVMeFormat",                   "start -force -velkossd 0 -nvmeformat -namespace 1 LBAFormat=0 SecureEraseSetting=0 ProtectionInformation=0 MetadataSettings=0"},
    {"Sanitize",                     "start -velkossd 0 -sanitize"},
    {"Sanitize",                     "start -force -velkossd 0 -sanitize block NoDeallocateAfterSanitize=true OverwriteInvertPattern=true OverwritePassCount=1 AllowUnrestrictedExit=true OverwritePattern=ff ReturnImmediately=true"},
    {"LatencyStatistics",            "show -latencystatistics reads"},
    {"LatencyStatistics",            "show -velkossd 0 -latencystatistics reads Type=0"},
    {"TelemetryLogDump",             "dump -telemetrylog"},
    {"TelemetryLogDump",             "dump -destination f -dataarea 1 -velkossd 0 -telemetrylog HostInitiated=true RetainAsynchronousEvent=true"},
    {"Nlog",                         "dump -nlog"},
    {"Nlog",                         "dump -destination f -velkossd 0 -nlog"},
    {"BridgeNlog",                   "dump -bridgenlog"},
    {"BridgeNlog",                   "dump -destination f -velkossd 0 -bridgenlog"},
    {"EventLog",                     "dump -eventlog"},
    {"EventLog",                     "dump -destination f -velkossd 0 -eventlog"},
    {"AssertLog",                    "dump -assertlog"},
    {"AssertLog",                    "dump -destination f -velkossd 0 -assertlog"},
    {"PersistentEventLog",           "dump -persistenteventlog read"},
    {"PersistentEventLog",           "dump -destination f -velkossd 0 -persistenteventlog read NewContext=true"},
    {"ParsePersistentEventLog",      "show -persistenteventlog"},
    {"ParsePersistentEventLog",      "show -source f -destination f -velkossd 0 -persistenteventlog"},
    {"ShowNVMeLog",                  "show -nvmelog"},
    {"ShowNVMeLog",                  "show -velkossd 0 -nvmelog list NamespaceSpecific=true LogSpecificField=1 RetainAsynchronousEvent=true LogPageOffset=1 NumDWORDs=1"},
    {"NVMeControllerList",           "show -nvmecontroller"},
    {"NVMeControllerList",           "show -velkossd 0 -namespace 1 -nvmecontroller"},
    {"Trim",                         "start -velkossd 0 -trim StartLBA=0 Count=1"},
    {"Trim",                         "start -force -velkossd 0 -trim StartLBA=0 Count=1"},
    {"PSIDRevert",                   "start -velkossd 0 -psidrevert P"},
    {"PSIDRevert",                   "start -force -velkossd 0 -psidrevert P"},
    {"Scan",                         "start -scan"},
    {"Scan",                         "start -scan Logs -velkossd 0 IncludeOS=true FullScan=true Path=C DirectoryPath=d IncludeSystemInfo=true"},
    {"ShowLED",                      "show -led"},
    {"ShowLED",                      "show -display A -velkossd 0 -led"},
    {"SetLED",                       "set -velkossd 0 -led"},
    {"SetLED",                       "set -velkossd 0 -led IdleState=on Milliseconds=25 FormatOnMultiplier=0 FormatOffMultiplier=0 IoOffMultiplier=0 IoOnMultiplier=0"},
    {"GetFeature",                   "show -velkossd 0 -getfeature 1"},
    {"GetFeature",                   "show -display A -velkossd 0 -getfeature 1 -namespace 1 Select=current"},
    {"SetFeature",                   "set -velkossd 0 -setfeature 1"},
    {"SetFeature",                   "set -velkossd 0 -setfeature 1 -namespace 1 Save=true DWORD11=1 DWORD12=1 DWORD13=1 InputFile=f"},
    {"HealthCriticalWarnings",       "set -velkossd 0 SMARTHealthCriticalWarningsConfiguration=1"},
    {"TelemetryLogNotices",          "set -velkossd 0 TelemetryLogNoticesConfiguration=true"},
    {"FirmwareActivationNotices",    "set -velkossd 0 FirmwareActivationNoticesConfiguration=true"},
    {"NamespaceAttributeNotices",    "set -velkossd 0 NamespaceAttributeNoticesConfiguration=true"},
    {"PerformanceBoosterStart",      "start -velkossd 0 -performancebooster"},
    {"PerformanceBoosterStop",       "stop -velkossd 0 -performancebooster"},
    {"PerformanceBoosterShow",       "show -velkossd 0 -performancebooster"},
    {"NVMeReset",                    "reset -velkossd 0 -nvmecontroller"},
    {"EnduranceAnalyzer",            "reset -velkossd 0 -enduranceanalyzer"},
    {"ShowTimestamp",                "show -velkossd 0 -timestamp"},
    {"SetTimestamp",                 "set -velkossd 0 -timestamp 1"},
    {"BackgroundProcessing",         "show -velkossd 0 -backgroundprocessing"},
    {"SetReadonlyWriteThroughMode",  "set -velkossd 0 -ReadOnlyWriteThrough Mode=1"},
    {"ShowReadonlyWriteThroughMode", "show -velkossd 0 -ReadOnlyWriteThrough"},
    {"ShowReadonlyWriteThroughMode", "show -velkossd 0 -ReadOnlyWriteThrough Select=saved"},
    {"ClearCounter",                 "set -velkossd 0 -PCIeCorrectable ClearCounter=true"},
    {"SetErrorInjection",            "set -velkossd 0 -ErrorInjection"},
    {"SetErrorInjection",            "set -velkossd 0 -ErrorInjection ErrorInjectionEntries=1 ErrorInjectionEntryFile=f"},
    {"ShowErrorInjection",           "show -velkossd 0 -ErrorInjection"},
    {"SetIEEESilo",                  "set -velkossd 0 -IEEESilo Enable=true"},
    {"ShowIEEESilo",                 "show -velkossd 0 -IEEESilo"},
    {"ShowIEEESilo",                 "show -velkossd 0 -IEEESilo Select=saved"},
    {"DumpSystemSnapshot",           "dump -velkossd 0 -SystemSnapshot"},
    {"DumpSystemSnapshot",           "dump -destination f -velkossd 0 -SystemSnapshot"},
    {"ShowPartitionInfo",            "show -partition -velkossd"},
    {"ShowPartitionInfo",            "show -partition C -velkossd 0"},
    {"ShowPLPCheck",                 "show -velkossd 0 -PLPCheck"},
    {"ShowPLPCheck",                 "show -velkossd 0 -PLPCheck Select=saved"},
    {"SetPLPCheck",                  "set -velkossd 0 -PLPCheck PLPCheckInterval=15"},
    {"ShowDSSDPowerState",           "show -velkossd 0 -DSSDPowerState"},
    {"ShowDSSDPowerState",           "show -velkossd 0 -DSSDPowerState Select=saved"},
    {"SetDSSDPowerState",            "set -velkossd 0 -DSSDPowerState DSSDPowerState=8"},
    {"DumpNVMeLog",                  "dump -nvmelog 2"},
    {"DumpNVMeLog",                  "dump -destination f -velkossd 0 -nvmelog 2 NamespaceSpecific=true LogSpecificField=1 RetainAsynchronousEvent=true LogPageOffset=1 NumDWORDs=1"},
};
// clang-format on

TEST(CommandCatalogue, LeavesExactlyOneCommandForEachLine) {
    CatalogueFeature feature;
    std::set<std::string> reached;
    for (const LineCase& c : LINES) {
        EXPECT_EQ(outcome(c.line), c.command) << c.line;
        reached.insert(c.command);
    }
    for (const CommandSpec& command : catalogue()) EXPECT_EQ(reached.count(command.name), 1u) << command.name;
}

TEST(CommandCatalogue, TakesEverySpellingOfAWord) {
    CatalogueFeature feature;
    EXPECT_EQ(outcome("SHOW -A -VelkoSSD"), "VelkoSSD");
    EXPECT_EQ(outcome("set -velkossd 0 -readonlywritethrough mode=1"), "SetReadonlyWriteThroughMode");
    EXPECT_EQ(outcome("Delete -F -VELKOSSD 0"), "Delete");
}

TEST(CommandCatalogue, RefusesIncompleteAndForeignWords) {
    CatalogueFeature feature;
    EXPECT_EQ(outcome("dump -velkossd 0 -nvmelog"), "Syntax Error: A value is required for the target '-nvmelog'.");
    EXPECT_EQ(outcome("set -output nvmxml -velkossd 0 Foo=1"),
              "<Error Type=\"201\">Syntax Error: Invalid command. Error at or around 'Foo'.</Error>\n");
    EXPECT_EQ(outcome("set -velkossd AggregationTime=1"),
              "Syntax Error: A value is required for the target '-velkossd'.");
    EXPECT_EQ(outcome("load -output nvmxml -velkossd 0 -firmwareactivate FirmwareSlot=1"),
              "<Error Type=\"201\">Syntax Error: Invalid command.</Error>\n");
    EXPECT_EQ(outcome("delete -force now -velkossd 0"),
              "Syntax Error: 'now' is not a valid setting for the option '-force'.");
    EXPECT_EQ(outcome("create -velkossd 0 -namespace"),
              "Syntax Error: Invalid command.\nDid you mean: \n"
              "create [-help|-h] [-output|-o (text|nvmxml|json)] -velkossd (Index|SerialNumber|PhysicalPath) "
              "-namespace Size = (blocks) [Capacity = (blocks)] [LBAFormat = (0-NumLBAFormats)] "
              "[ProtectionInformation = (0|1|2|3)] [MultiPathIoCapabilities = (0|1)]\n");
    for (const char* word : {"-wait", "-silent", "-examine"})
        EXPECT_EQ(outcome("show -output nvmxml -velkossd 0 " + std::string(word)),
                  "<Error Type=\"201\">Syntax Error: Invalid command. Error at or around '" + std::string(word) +
                      "'.</Error>\n");
}

}  // namespace
}  // namespace cli::velkossd
