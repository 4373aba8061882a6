#include "CLI/velkossd/CommandCatalogue.h"

#include <algorithm>
#include <iterator>
#include <string>

#include "CLI/velkossd/CommandTargets.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/interfaces/cli/cliframework/CommandSpec.h"
#include "ostrel/interfaces/cli/cliframework/CommonParts.h"
#include "ostrel/interfaces/ostreli/interface/JobNames.h"

namespace cli::velkossd {
namespace {

using framework::CommandPart;
using framework::CommandSpec;
using namespace ostrel::interfaces::ostreli;
using namespace targets;  // NOLINT(google-build-using-namespace): the rows read better with the bare words
namespace feature = ostrel::core::attributes::feature;

constexpr const CommandPart* ALL = &framework::OPTION_ALL;
constexpr const CommandPart* DISPLAY = &framework::OPTION_DISPLAY;
constexpr const CommandPart* FORCE = &framework::OPTION_FORCE;
constexpr const CommandPart* SOURCE = &framework::OPTION_SOURCE;
constexpr const CommandPart* DESTINATION = &framework::OPTION_DESTINATION;

// What shows the outcome of several commands.
constexpr char ALLOCATED_NAMESPACES[] = "-identify -namespace allocated";
constexpr OutcomeTarget FIRMWARE_STATE{"-nvmelog 3", ""};     // of a SATA drive, the revision that it runs
constexpr char FORMAT_PROGRESS[] = "-identify -namespace 1";  // the Format Progress Indicator is there
constexpr OutcomeTarget DELETE_PROGRESS{FORMAT_PROGRESS, "-backgroundprocessing"};

// clang-format off

// Properties that several commands take.
constexpr PartRow SELECT{"Select", PART_OPTIONAL, "'current'|'default'|'saved'|'capabilities'",
    "Specify where to get the feature value from, 'current' for current value, 'default' for factory default value, "
    "'saved' for last saved value (by set feature command) and 'capabilites' to see the supported capabilites for "
    "this feature. Uses 'current' if not specified."};
constexpr PartRow NAMESPACE_SPECIFIC{"NamespaceSpecific", PART_OPTIONAL, "(true|false)",
    "Specify whether log is namespace specific or not."};
constexpr PartRow LOG_SPECIFIC_FIELD{"LogSpecificField", PART_OPTIONAL, "(int)",
    "Specifies the log specific field (LSP) of the log."};
constexpr PartRow RETAIN_ASYNCHRONOUS_EVENT{"RetainAsynchronousEvent", PART_OPTIONAL, "(true|false)",
    "Specifies if the retain asynchronous event (RAE) bit should be set."};
constexpr PartRow LOG_PAGE_OFFSET{"LogPageOffset", PART_OPTIONAL, "(int)",
    "Specifies the desired offset (DWORD12, DWORD13) of the log."};
constexpr PartRow NUM_DWORDS{"NumDWORDs", PART_OPTIONAL, "(int)", "Specifies the number of requested dwords."};

// The whole vocabulary: adding a command is adding a row. Rows are in the order of their ids, in which the framework
// considers them. The texts are shown as they are, misspellings included: scripts and documents know them so.
constexpr CommandRow COMMANDS[] = {
    // id  name                           verb      {flow, job, what else it sends, attribute that it sets, what shows its outcome}
    //  options, targets
    //  help
    //  properties
    {  0, "VelkoSSD",                     "show",   {getFlow,            JOB_VELKOSSD, addShowAll},
     {DISPLAY, ALL}, {&VELKOSSD_OR_ALL},
     "Get a list of Velko SSDs attached to a system. The default behavior is to list a few key properties for each "
     "device; the options can be used to expand/restrict the output. If more than one device is installed output "
     "can be restricted to a single device by supplying its index.", {}},
    {  1, "AggregationThreshold",         "set",    {setFlow,            JOB_NVME_FEATURES, nullptr, feature::aggregationThreshold},
     {}, {&VELKOSSD},
     "Set the Aggregation Threshold.",
     {{"AggregationThreshold", PART_REQUIRED, "value", "Max value = 255."}}},
    {  2, "AggregationTime",              "set",    {setFlow,            JOB_NVME_FEATURES, nullptr, feature::aggregationTime},
     {}, {&VELKOSSD},
     "Set the Aggregation Time.",
     {{"AggregationTime", PART_REQUIRED, "value", "value is specified in 100 microseconds increments. Max value = 255."}}},
    {  3, "ShowEnduranceAnalyzer",        "show",   {getFlow,            JOB_ENDURANCE_ANALYZER},
     {}, {&VELKOSSD, &ENDURANCEANALYZER},
     "Show the Endurance Analyzer status.", {}},
    {  4, "MaximumLBA",                   "set",    {setFlow,            JOB_MAX_ADDRESS, nullptr, feature::maximumLBA},
     {}, {&VELKOSSD},
     "Set the device's maximum logical block address (LBA). Set this property if you wish to over provision your "
     "device. Value cannot exceed the device's native maximum LBA. Supports SATA and NVMe devices.",
     {{"MaximumLBA", PART_REQUIRED, "numGB|1-100%|LBA|'native'",
          "The maximum LBA value can be set based on: number of gigabytes, percentage of capacity, and decimal LBA "
          "value. You can also set it back to the device's native max value."}}},
    {  8, "PowerGovernorMode",            "set",    {setFlow,            JOB_POWER_GOVERNOR, nullptr, feature::powerGovernorMode},
     {}, {&VELKOSSD},
     "Set the device's Power Governor Mode. Supports SATA and NVMe devices.",
     {{"PowerGovernorMode", PART_REQUIRED, "0|1|2",
          "0 = SATA: Unconstrained, NVMe: High. 1 = SATA: Typical(7W), NVMe: Medium. 2 = SATA: Low(5W), NVMe: Low."}}},
    { 13, "TempThreshold",                "set",    {setFlow,            JOB_NVME_FEATURES, nullptr, feature::tempThreshold},
     {}, {&VELKOSSD},
     "Set the NVMe device's temperature threshold.",
     {{"TempThreshold", PART_REQUIRED, "value", "value is specified in Celsius. Max value = 80."}}},
    { 19, "FirmwareUpdate",               "load",   {methodFlow,         JOB_FIRMWARE_UPDATE, addFirmwareUpdate, nullptr, FIRMWARE_STATE},
     {FORCE, SOURCE}, {&VELKOSSD},
     "Update the device's firmware. See the device's FirmwareUpdateAvailable property for any eligible updates. To "
     "by-pass the prompt specify the -force option.",
     {{"FirmwareSlot", PART_OPTIONAL, "'1|2|3|4|5|6|7'", "Specify the firmware slot (NVMe only)"},
      {"CommitAction", PART_OPTIONAL, "0|1|2|3",         "Specify the commit action (NVMe only)"}}},
    { 20, "FirmwareActivate",             "load",   {methodFlow,         JOB_FIRMWARE_ACTIVATE, addFirmwareActivation, nullptr, FIRMWARE_STATE},
     {}, {&VELKOSSD, &FIRMWAREACTIVATE},
     "Update the device's firmware. See the device's FirmwareUpdateAvailable property for any eligible updates. To "
     "by-pass the prompt specify the -force option.",
     {{"FirmwareSlot", PART_REQUIRED, "'1|2|3|4|5|6|7'", "Specify the firmware slot (NVMe only)"},
      {"CommitAction", PART_REQUIRED, "2|3",             "Specify the commit action (NVMe only)"}}},
    { 21, "SMART",                        "show",   {getFlow,            JOB_SMART, addSmart},
     {DISPLAY, ALL}, {&OPTIONAL_VELKOSSD_OR_ALL, &SMART},
     "Show device's SMART attributes. Each attribute could have the following properties: ID, Description, "
     "Normalized, Threshold, Worst, Status, and Action. Specific properties can be selected using the -display "
     "option and providing a comma-separated list of Properties. Results can be filtered by specifying an ID.",
     {{"IncludeNVMeSmartHealthLog", PART_OPTIONAL, "true|false",
          "Determines whether SMART health info is included as part of SMART pull (NVMe only)"}}},
    { 22, "Sensors",                      "show",   {getFlow,            JOB_HEALTH_METRICS},
     {DISPLAY, ALL}, {&OPTIONAL_VELKOSSD_OR_ALL, &SENSOR},
     "Show properties related to device health sensors.", {}},
    { 23, "Performance",                  "show",   {getFlow,            JOB_PERFORMANCE},
     {DISPLAY, ALL}, {&OPTIONAL_VELKOSSD_OR_ALL, &PERFORMANCE},
     "Show properties related to device performance metrics.", {}},
    { 25, "DriveSelfTestStart",           "start",  {selfTestFlow,       JOB_DRIVE_SELF_TEST, addSelfTest, nullptr, "-selftest"},
     {}, {&VELKOSSD, &SELFTEST_TYPE, &MODE},
     "Run a device self-test on the selected device. If no test is specified a short test is executed.", {}},
    { 26, "DriveSelfTestShow",            "show",   {getFlow,            JOB_DRIVE_SELF_TEST},
     {}, {&VELKOSSD, &SELFTEST},
     "Display the status of the last run self-test.", {}},
    { 28, "Delete",                       "delete", {deleteFlow,         "Delete", nullptr, nullptr, DELETE_PROGRESS},
     {FORCE}, {&VELKOSSD},
     "Delete all the data on the selected device. To by-pass the prompt, specify the -force option.", {}},
    { 29, "SMBusAddress",                 "set",    {methodFlow,         JOB_SMBUS_ADDRESS, addSMBusAddress},
     {}, {&VELKOSSD},
     "Set the NVMe device's SM Bus Address.",
     {{"SMBusAddress",  PART_REQUIRED, "address",
          "The address value can be between 1 and 255. A value of 255 disables the SM Bus ASIC access."},
      {"SMBusSelector", PART_OPTIONAL, "selector",
          "Selector for which addres to set. 0 = NVMe-MI Basic, 1 = NVMe VPD EEPROM, 2 = NVMe-Mi MCTP."}}},
    { 30, "LatencyTrackingEnabled",       "set",    {setFlow,            JOB_LATENCY_TRACKING, nullptr, feature::latencyTrackingEnabled},
     {}, {&VELKOSSD},
     "Enable or disable the device's latency tracking feature. Latency tracking is used to monitor quality of "
     "service (QOS) by tracking the latency of I/Os \t\t\tbetween various threshold values. Please note that "
     "enabling the feature will incur a minimal performance penalty.",
     {{"LatencyTrackingEnabled", PART_REQUIRED, "'true'|'false'", "Set to true to enable latency tracking log. Otherwise, set to false."}}},
    { 31, "CreateNamespace",              "create", {namespaceFlow,      JOB_NAMESPACE_MANAGEMENT, nullptr, nullptr, ALLOCATED_NAMESPACES},
     {}, {&VELKOSSD, &NAMESPACE},
     "Create a namespace. Supported on NVMe 1.2+ devices.",
     {{"Size",                    PART_REQUIRED, "blocks",          "The size in blocks of the new Namespace."},
      {"Capacity",                PART_OPTIONAL, "blocks",
          "The max number of blocks of the new namespace that can be allocated at once (if unspecified, will be set "
          "equal to the size of the namespace)."},
      {"LBAFormat",               PART_OPTIONAL, "0-NumLBAFormats",
          "Supported LBA formats are defined in Namespace Identify. See NumLBAFormats property."},
      {"ProtectionInformation",   PART_OPTIONAL, "0|1|2|3",
          "0 = Protection Information not enabled. 1 = Type 1 enabled. 2 = Type 2 enabled. 3 = Type 3 enabled."},
      {"MultiPathIoCapabilities", PART_OPTIONAL, "0|1",             "0 = Private namespace {default}. 1 = Shared namespace."}}},
    { 32, "DeleteNamespace",              "delete", {namespaceFlow,      JOB_NAMESPACE_MANAGEMENT, nullptr, nullptr, ALLOCATED_NAMESPACES},
     {FORCE}, {&VELKOSSD, &NAMESPACE_ID},
     "Delete a namespace. Supported on NVMe 1.2+ devices.", {}},
    { 33, "AttachNamespace",              "attach", {namespaceFlow,      JOB_NAMESPACE_MANAGEMENT, nullptr, nullptr, ALLOCATED_NAMESPACES},
     {}, {&VELKOSSD, &NAMESPACE_ID, &OPTIONAL_NVMECONTROLLER_ID},
     "Attach a namespace. May specify an NVMe controller ID using the -nvmecontrollerid target. Supported on NVMe "
     "1.2+ devices.", {}},
    { 34, "DetachNamespace",              "detach", {namespaceFlow,      JOB_NAMESPACE_MANAGEMENT, nullptr, nullptr, ALLOCATED_NAMESPACES},
     {}, {&VELKOSSD, &NAMESPACE_ID, &OPTIONAL_NVMECONTROLLER_ID},
     "Detach a namespace. Supported on NVMe 1.2+ devices.", {}},
    { 35, "IdentifyDevice",               "show",   {identifyFlow,       JOB_IDENTIFY},
     {}, {&OPTIONAL_VELKOSSD_OR_ALL, &IDENTIFY, &OPTIONAL_NAMESPACE_OR_LIST, &OPTIONAL_NVMECONTROLLER, &UUIDLIST, &DESCRIPTORS},
     "Show the device identify structures. Use the -nvmecontroller and -namespace targets to select specific "
     "identify structures for NVMe devices.", {}},
    { 36, "NVMeFormat",                   "start",  {formatFlow,         "NVMeFormat", nullptr, nullptr, FORMAT_PROGRESS},
     {FORCE}, {&VELKOSSD, &NVMEFORMAT, &OPTIONAL_NAMESPACE_ID},
     "Issue an NVMe format to the selected drive. To by-pass the prompt, specify the -force option.",
     {{"LBAFormat",             PART_OPTIONAL, "0-NumLBAFormats",
          "Value corresponds to one of the supported LBA Formats described in Identify Namespace."},
      {"SecureEraseSetting",    PART_OPTIONAL, "0|1|2",           "0 = No Secure erase. 1 = User data erase. 2 = Crypto Erase"},
      {"ProtectionInformation", PART_OPTIONAL, "0|1|2|3",
          "0 = Protection Information not enabled. 1 = Type 1 enabled. 2 = Type 2 enabled. 3 = Type 3 enabled."},
      {"MetadataSettings",      PART_OPTIONAL, "0|1",
          "0 = Metadata is transferred as part of a separate contiguous buffer. 1 = Metadata is transferred as part "
          "of an extended data LBA."}}},
    { 37, "Sanitize",                     "start",  {sanitizeFlow,       "Sanitize", nullptr, nullptr, "-backgroundprocessing"},
     {FORCE}, {&VELKOSSD, &SANITIZE},
     "Issue an NVMe Sanitize on the selected drive.",
     {{"NoDeallocateAfterSanitize", PART_OPTIONAL, "true|false",
          "If true, will not deallocate logical blocks after sanitization. (NVMe only)"},
      {"OverwriteInvertPattern",    PART_OPTIONAL, "true|false",
          "If true, overwrite pattern will be inverted between passes. (NVMe only)"},
      {"OverwritePassCount",        PART_OPTIONAL, "integer",
          "Number of times to overwrite the media using the overwrite pattern. (NVMe only)"},
      {"AllowUnrestrictedExit",     PART_OPTIONAL, "true|false",
          "If true, sanitize operation is performed in unrestricted completion mode. (NVMe only)"},
      {"OverwritePattern",          PART_OPTIONAL, "32-bit hex pattern", "32-bit pattern used for the overwrite operation. (NVMe only)"},
      {"ReturnImmediately",         PART_OPTIONAL, "true|false",
          "If true, do not wait for sanitize operation to complete (return the command line to the user while the "
          "sanitize operation continues)."}}},
    { 40, "LatencyStatistics",            "show",   {methodFlow,         JOB_LATENCY_TRACKING, addLatencyTracking},
     {}, {&OPTIONAL_VELKOSSD_OR_ALL, &LATENCYSTATISTICS},
     "Parse the latency tracking data for reads or writes. Latency tracking data counts I/Os (for reads and writes "
     "respectively) \t\t\tbased on latency threshold intervals. The data is reported as a breakdown based on the "
     "threshold intervals. Please note that LatencyTrackingEnabled must be True for this command to work.",
     {{"Type", PART_OPTIONAL, "0-3", "Determine the type of latency statistics to report (LSP field). Default to zero. NVMe Only."}}},
    { 41, "TelemetryLogDump",             "dump",   {telemetryDumpFlow,  JOB_TELEMETRY_LOG},
     {DESTINATION}, {&DATAAREA, &OPTIONAL_VELKOSSD_OR_ALL, &TELEMETRYLOG},
     "Read the telemetry binary data from the device and save it to binary file. Use -destination to specify a "
     "filename. Otherwise 'TelemetryLog_SERIALNUMBER.bin' will be used.",
     {{"HostInitiated", PART_OPTIONAL, "true|false", "Determines host vs. controller initiated"},
      RETAIN_ASYNCHRONOUS_EVENT}},
    { 42, "",                             "",       {parseTelemetryLogFlow, JOB_TELEMETRY_LOG_PARSE}, {}, {}, "", {}},
    { 43, "Nlog",                         "dump",   {dumpFlow,           JOB_NLOG},
     {DESTINATION}, {&OPTIONAL_VELKOSSD_OR_ALL, &NLOG},
     "Read the nlog binary data from the device and save it to binary file. Use -destination to specify a filename. "
     "Otherwise 'nlog_SERIALNUMBER.bin' will be used.", {}},
    { 44, "BridgeNlog",                   "dump",   {dumpFlow,           JOB_BRIDGE_NLOG},
     {DESTINATION}, {&OPTIONAL_VELKOSSD_OR_ALL, &BRIDGENLOG},
     "Read the bridge nlog binary data from the device and save it to binary file. Only supported on dual port "
     "drives. Use -destination to specify a filename. Otherwise 'bridgenlog_SERIALNUMBER.bin' will be used.", {}},
    { 45, "EventLog",                     "dump",   {dumpFlow,           JOB_EVENT_LOG},
     {DESTINATION}, {&OPTIONAL_VELKOSSD_OR_ALL, &EVENTLOG},
     "Read the event log binary data from the device and save it to binary file. Use -destination to specify a "
     "filename. Otherwise 'eventlog_SERIALNUMBER.bin' will be used.", {}},
    { 46, "AssertLog",                    "dump",   {dumpFlow,           JOB_ASSERT_LOG},
     {DESTINATION}, {&OPTIONAL_VELKOSSD_OR_ALL, &ASSERTLOG},
     "Read the Assert log binary data from the device and save it to binary file. Use -destination to specify a "
     "filename. Otherwise 'assert_SERIALNUMBER.bin' will be used.", {}},
    { 48, "PersistentEventLog",           "dump",   {dumpFlow,           JOB_PERSISTENT_EVENT_LOG, addPersistentEventLogAction},
     {DESTINATION}, {&OPTIONAL_VELKOSSD_OR_ALL, &PERSISTENTEVENTLOG_ACTION},
     "Read the Persistent Event log binary data from the device and save it to a binary file. Use -destination to "
     "specify a filename. Otherwise 'persistenteventlog_SERIALNUMBER.bin' will be used.",
     {{"NewContext", PART_OPTIONAL, optionalValue("'true'|'false'"),
          "Default = true. Establish a new context on the drive before reading the log. If a context already "
          "exists, it will be released and a new one will be established."}}},
    { 49, "ParsePersistentEventLog",      "show",   {parsePersistentEventLogFlow, JOB_PERSISTENT_EVENT_LOG_PARSE},
     {SOURCE, DESTINATION}, {&OPTIONAL_VELKOSSD_OR_ALL, &PERSISTENTEVENTLOG},
     "Parse a persistent event log binary file.", {}},
    { 50, "ShowNVMeLog",                  "show",   {methodFlow,         JOB_NVME_LOG, addNvmeLog},
     {}, {&OPTIONAL_VELKOSSD_OR_ALL, &NVMELOG_OR_ALL},
     "Show the NVMe log page. If a log is not specified all logs are parsed.",
     {NAMESPACE_SPECIFIC, LOG_SPECIFIC_FIELD, RETAIN_ASYNCHRONOUS_EVENT, LOG_PAGE_OFFSET, NUM_DWORDS}},
    { 51, "NVMeControllerList",           "show",   {controllerListFlow, JOB_IDENTIFY},
     {}, {&OPTIONAL_VELKOSSD_OR_ALL, &OPTIONAL_NAMESPACE_ID, &NVMECONTROLLER},
     "Show the devices list of controllers. Use the -namespace target to list controllers attached to that given "
     "namespace ID.", {}},
    { 52, "",                             "",       {methodFlow,         JOB_ERASE_ASSERT}, {}, {}, "", {}},
    { 53, "",                             "",       {methodFlow,         JOB_LOW_LEVEL_FORMAT}, {}, {}, "", {}},
    { 54, "",                             "",       {methodFlow,         JOB_CYCLE_REPORT}, {}, {}, "", {}},
    { 57, "Trim",                         "start",  {methodFlow,         JOB_TRIM, addTrim},
     {FORCE}, {&VELKOSSD, &TRIM},
     "Trim the device. Specify what to trim by specifying the StartLBA and Count properties. WARNING: This command "
     "will make your data inaccessible!",
     {{"StartLBA", PART_REQUIRED, "integer",
          "The LBA to start the trim at. Must be a valid LBA value and not exceed the devices maximum LBA. Use "
          "'show -d "},
      {"Count",    PART_REQUIRED, "integer",
          "The number of sectors to trim. The StartLBA + Count must not exceed the devices total number of sectors."}}},
    { 58, "PSIDRevert",                   "start",  {methodFlow,         JOB_PSID_REVERT, addPsidRevert},
     {FORCE}, {&VELKOSSD, &PSIDREVERT},
     "Issue a PSID revert to an Opal activated device. If successful, the device is reverted back to its Opal Ready "
     "state. WARNING: This command will make your data inaccessible!", {}},
    { 59, "",                             "",       {methodFlow,         JOB_RESET_CRC}, {}, {}, "", {}},
    { 61, "Scan",                         "start",  {scanFlow,           JOB_HEALTH_SCAN},
     {}, {&SCAN, &OPTIONAL_VELKOSSD_OR_ALL},
     "Runs a health scan. Default behavior is to run scans that analyze drive logs, SMART data, and identify data "
     "in addition to saving drive logs.",
     {{"IncludeOS",         PART_OPTIONAL, "true|false",
          "Determines whether OS drive is allowed to be included in scan. Default is false."},
      {"FullScan",          PART_OPTIONAL, "true|false",     "Determines whether full scan or fast scan. Default is fast scan (false)."},
      {"Path",              PART_OPTIONAL, "(drive letter)", "Specify a drive letter to run the data integrity scan on."},
      {"DirectoryPath",     PART_OPTIONAL, "(file path)",    "Specify a base file directory in which to store the drive logs."},
      {"IncludeSystemInfo", PART_OPTIONAL, "true|false",
          "Determines whether system information should be saved as part of store drive logs process. Default is "
          "true."}}},
    { 62, "ShowLED",                      "show",   {getFlow,            JOB_LED_ACTIVITY},
     {DISPLAY, ALL}, {&OPTIONAL_VELKOSSD_OR_ALL, &LED},
     "Show device's LED activity properties.", {}},
    { 63, "SetLED",                       "set",    {ledFlow,            JOB_LED_ACTIVITY},
     {}, {&VELKOSSD, &LED},
     "Set an LED blink property. This includes the idle state, duration base, format on/off multiplier, and IO "
     "on/off multiplier.",
     {{"IdleState",           PART_OPTIONAL, "on|off", "Sets the default behavior of LED at idle. Either LED will be on or off."},
      {"Milliseconds",        PART_OPTIONAL, "25|50",
          "Set the base frequency of LED blinking. Valid options are 25 or 50 milliseconds. Frequency for each "
          "state (e.g. I/O on|off, format on|off) is determined by the duration base value times the multiplier."},
      {"FormatOnMultiplier",  PART_OPTIONAL, "0-15",
          "Set the on duration multiplier during format activity. Zero mimics the off duration multiplier for "
          "format. If off multiplier is also zero, then LED remains off during format."},
      {"FormatOffMultiplier", PART_OPTIONAL, "0-15",
          "Set the off duration multiplier during format activity. Zero will leave the LED on during format "
          "activity (unless on multiplier is also zero)."},
      {"IoOffMultiplier",     PART_OPTIONAL, "0-15",
          "Set the on duration multiplier during I/O activity. Zero mimics the off duration multiplier for I/O. If "
          "off multiplier is also zero, then LED remains off during I/O."},
      {"IoOnMultiplier",      PART_OPTIONAL, "0-15",
          "Set the off duration multiplier during I/O activity. Zero will leave the LED on during I/O activity "
          "(unless on multiplier is also zero)."}}},
    { 66, "GetFeature",                   "show",   {methodFlow,         JOB_NVME_FEATURES, addNvmeFeature},
     {DISPLAY, ALL}, {&VELKOSSD, &GETFEATURE, &OPTIONAL_NAMESPACE_ID},
     "Show the atrributes of the Feature specified.",
     {SELECT}},
    { 67, "SetFeature",                   "set",    {methodFlow,         JOB_NVME_FEATURES, addNvmeFeature},
     {}, {&VELKOSSD, &SETFEATURE, &OPTIONAL_NAMESPACE_ID},
     "Set the attribute of the Feature specified",
     {{"Save",      PART_OPTIONAL, "(true|false)", "Enables the save (SV) bit. Default is false"},
      {"DWORD11",   PART_OPTIONAL, "32 bit hex",
          "32 bit command dword 11 structure value that is used to set the chosen feature value. See Set Features "
          "Command specification in NVMe 1.4 spec (section 5.21) for details."},
      {"DWORD12",   PART_OPTIONAL, "32 bit hex",   "32 bit command dword 12 structure value."},
      {"DWORD13",   PART_OPTIONAL, "32 bit hex",   "32 bit command dword 13 structure value."},
      {"InputFile", PART_OPTIONAL, "filename",     "filename to file representing input buffer."}}},
    { 68, "HealthCriticalWarnings",       "set",    {setFlow,            JOB_NVME_FEATURES, nullptr, feature::smartHealthCriticalWarningsConfiguration},
     {}, {&VELKOSSD},
     "Enable Health Critical Warnings.",
     {{"SMARTHealthCriticalWarningsConfiguration", PART_REQUIRED, "value",
          "value must be a integer literal. Supported values are 0-255."}}},
    { 69, "TelemetryLogNotices",          "set",    {setFlow,            JOB_NVME_FEATURES, nullptr, feature::telemetryLogNoticesConfiguration},
     {}, {&VELKOSSD},
     "Telemetry Log Notices.",
     {{"TelemetryLogNoticesConfiguration", PART_REQUIRED, "'true'|'false'",
          "true = enable Telemetry Log Notices. false = disable Telemetry Log Notices."}}},
    { 70, "FirmwareActivationNotices",    "set",    {setFlow,            JOB_NVME_FEATURES, nullptr, feature::firmwareActivationNoticesConfiguration},
     {}, {&VELKOSSD},
     "Firmware Activation Notices.",
     {{"FirmwareActivationNoticesConfiguration", PART_REQUIRED, "'true'|'false'",
          "true = enable Firmware Activation Notices. false = disableFirmware Activation Notices."}}},
    { 71, "NamespaceAttributeNotices",    "set",    {setFlow,            JOB_NVME_FEATURES, nullptr, feature::namespaceAttributeNoticesConfiguration},
     {}, {&VELKOSSD},
     "Namespace Attribute Notices.",
     {{"NamespaceAttributeNoticesConfiguration", PART_REQUIRED, "'true'|'false'",
          "true = enableNamespace Attribute Notices. false = disable Namespace Attribute Notices."}}},
    { 72, "PerformanceBoosterStart",      "start",  {methodFlow,         JOB_FORCE_FLUSH, addForceFlush, nullptr, "-performancebooster"},
     {}, {&VELKOSSD, &PERFORMANCEBOOSTER},
     "Request drive to start performance booster. Check progress with 'show -velkossd x -performacebooster'", {}},
    { 72, "PerformanceBoosterStop",       "stop",   {methodFlow,         JOB_FORCE_FLUSH, addForceFlush, nullptr, "-performancebooster"},
     {}, {&VELKOSSD, &PERFORMANCEBOOSTER},
     "Request drive to start performance booster. Check progress with 'show -velkossd x -performancebooster'", {}},
    { 73, "PerformanceBoosterShow",       "show",   {getFlow,            JOB_FORCE_FLUSH, addForceFlush},
     {}, {&VELKOSSD, &PERFORMANCEBOOSTER},
     "Get the performance booster progress.", {}},
    { 77, "NVMeReset",                    "reset",  {methodFlow,         JOB_NVME_RESET},
     {}, {&VELKOSSD, &NVMECONTROLLER},
     "Send a NVMe Reset command to the device.", {}},
    { 78, "EnduranceAnalyzer",            "reset",  {methodFlow,         JOB_ENDURANCE_ANALYZER, nullptr, nullptr, "-enduranceanalyzer"},
     {}, {&VELKOSSD, &ENDURANCEANALYZER},
     "Reset the device's timed workload indicators used to calculate the EnduranceAnalyzer property. Supports SATA "
     "and NVMe devices.", {}},
    { 79, "ShowTimestamp",                "show",   {getFlow,            JOB_TIMESTAMP},
     {}, {&VELKOSSD, &TIMESTAMP},
     "Show the current timestamp of the device.", {}},
    { 80, "SetTimestamp",                 "set",    {timestampFlow,      JOB_TIMESTAMP, nullptr, nullptr, "-timestamp"},
     {}, {&VELKOSSD, &TIMESTAMP_VALUE},
     "Set the current timestamp of the device.", {}},
    { 81, "BackgroundProcessing",         "show",   {methodFlow,         JOB_BACKGROUND_PROCESSING},
     {}, {&VELKOSSD, &BACKGROUNDPROCESSING},
     "Check background processing status.", {}},
    { 84, "SetReadonlyWriteThroughMode",  "set",    {setFlow,            JOB_OCP_READ_ONLY_WRITE_MODE, nullptr, feature::mode},
     {}, {&VELKOSSD, &READONLYWRITETHROUGH},
     "Set the device transition at end of life to read only mode or to write through mode.",
     {{"Mode", PART_REQUIRED, "1|2", "1 to transition to read only mode, 2 to transition to write through mode."}}},
    { 85, "ShowReadonlyWriteThroughMode", "show",   {getFlow,            JOB_OCP_READ_ONLY_WRITE_MODE, addSelect},
     {}, {&VELKOSSD, &READONLYWRITETHROUGH},
     "Show the read only/write through mode end of life behavior.",
     {SELECT}},
    { 86, "ClearCounter",                 "set",    {setFlow,            JOB_NVME_FEATURES, nullptr, feature::clearCounter},
     {}, {&VELKOSSD, &PCIECORRECTABLE},
     "Clears the PCIe Correctable Counter.",
     {{"ClearCounter", PART_REQUIRED, "(true)", "Value should be set to 'true'."}}},
    { 87, "SetErrorInjection",            "set",    {methodFlow,         JOB_OCP_ERROR_INJECTION, addErrorInjection, nullptr, "-ErrorInjection"},
     {}, {&VELKOSSD, &ERRORINJECTION},
     "Send the Error Injection Set Feature command using a list of error injection entries. Must specify either a "
     "list of entries with -ErrorInjectionEntries OR an input file with -ErrorInjectionEntryFile, but not both.",
     {{"ErrorInjectionEntries",   PART_OPTIONAL, "(tilde separated entry list)",
          "Tilda separated list of error injection entries, see user guide for injection entry format (list size "
          "should equal num errors value)"},
      {"ErrorInjectionEntryFile", PART_OPTIONAL, "path to input file",
          "Specify an xml file to be used as input for a list of error injections."}}},
    { 88, "ShowErrorInjection",           "show",   {getFlow,            JOB_OCP_ERROR_INJECTION},
     {}, {&VELKOSSD, &ERRORINJECTION},
     "Shows the current error injection information.", {}},
    { 89, "SetIEEESilo",                  "set",    {setFlow,            JOB_OCP_IEEE_SILO, nullptr, feature::enable},
     {}, {&VELKOSSD, &IEEESILO},
     "Set IEEE 1667 Silo feature",
     {{"Enable", PART_REQUIRED, "'true'|'false'", "Enable or disable IEEE1667 Silo feature."}}},
    { 90, "ShowIEEESilo",                 "show",   {getFlow,            JOB_OCP_IEEE_SILO, addSelect},
     {}, {&VELKOSSD, &IEEESILO},
     "Show IEEE 1667 Silo feature",
     {SELECT}},
    { 91, "DumpSystemSnapshot",           "dump",   {dumpFlow,           JOB_SYSTEM_SNAPSHOT},
     {DESTINATION}, {&VELKOSSD, &SYSTEMSNAPSHOT},
     "Read the System Snapshot from the device.", {}},
    { 92, "",                             "",       {methodFlow,         JOB_ASSERT_RECOVERY, addAssertRecovery}, {}, {}, "", {}},
    { 93, "",                             "",       {methodFlow,         JOB_NVME_ADMIN_COMMAND, addAdminCommand}, {}, {}, "", {}},
    { 94, "ShowPartitionInfo",            "show",   {getFlow,            JOB_PARTITION_INFORMATION, addPartition},
     {}, {&PARTITION, &VELKOSSD_OR_ALL},
     "Show the partition information (Windows only).", {}},
    { 95, "ShowPLPCheck",                 "show",   {getFlow,            JOB_OCP_PLP_CHECK, addSelect},
     {}, {&VELKOSSD, &PLPCHECK},
     "Get The PLP Health Check Interval.",
     {SELECT}},
    { 96, "SetPLPCheck",                  "set",    {setFlow,            JOB_OCP_PLP_CHECK, nullptr, feature::plpCheckInterval},
     {}, {&VELKOSSD, &PLPCHECK},
     "Set the PLP Health Check frequency interval.",
     {{"PLPCheckInterval", PART_REQUIRED, "interval value", "Number of minutes between each PLP Health check."}}},
    { 97, "ShowDSSDPowerState",           "show",   {getFlow,            JOB_OCP_DSSD_POWER_STATE, addSelect},
     {}, {&VELKOSSD, &DSSDPOWERSTATE},
     "Get The DSSD Power state in watts",
     {SELECT}},
    { 98, "SetDSSDPowerState",            "set",    {setFlow,            JOB_OCP_DSSD_POWER_STATE, nullptr, feature::dssdPowerState},
     {}, {&VELKOSSD, &DSSDPOWERSTATE},
     "Set The DSSD Power state in watts.",
     {{"DSSDPowerState", PART_REQUIRED, "Watts", "Minimum valid DSSD Power State."}}},
    { 99, "DumpNVMeLog",                  "dump",   {methodFlow,         JOB_NVME_LOG, addNvmeLog},
     {DESTINATION}, {&OPTIONAL_VELKOSSD_OR_ALL, &NVMELOG},
     "Dump the NVMe log page. Must specify a log. Use -destination to specify a filename.",
     {NAMESPACE_SPECIFIC, LOG_SPECIFIC_FIELD, RETAIN_ASYNCHRONOUS_EVENT, LOG_PAGE_OFFSET, NUM_DWORDS}},
    {101, "",                             "",       {parseNlogFlow,      JOB_NLOG_PARSE}, {}, {}, "", {}},
};

// clang-format on

constexpr bool idsAscend() {
    int32_t lastId = 0;
    for (const CommandRow& row : COMMANDS) {
        if (row.id < lastId) return false;
        lastId = row.id;
    }
    return true;
}
static_assert(idsAscend(), "findCommand() searches by halves");

CommandPart toCommandPart(const PartRow& row) {
    return {std::string(row.name), row.presence == PART_REQUIRED, std::string(row.value.text), row.value.required,
            std::string(row.help)};
}

CommandSpec toCommandSpec(const CommandRow& row) {
    CommandSpec spec(row.id, std::string(row.name), std::string(row.verb), std::string(row.help));
    spec.options.reserve(2 + std::size(row.options));  // those of all commands, "-help" and "-output", too
    spec.targets.reserve(std::size(row.targets));
    spec.properties.reserve(std::size(row.properties));
    spec.addOption(framework::OPTION_HELP);
    for (const CommandPart* option : row.options)
        if (option != nullptr) spec.addOption(*option);
    for (const PartRow* target : row.targets)
        if (target != nullptr) spec.addTarget(toCommandPart(*target));
    for (const PartRow& property : row.properties)
        if (!property.name.empty()) spec.addProperty(toCommandPart(property));
    return spec;
}

}  // namespace

const CommandRow* findCommand(int32_t id) {
    const auto row =
        std::lower_bound(std::begin(COMMANDS), std::end(COMMANDS), id,
                         [](const CommandRow& candidate, int32_t wanted) { return candidate.id < wanted; });
    return row != std::end(COMMANDS) && row->id == id ? row : nullptr;
}

void appendCommandSpecs(std::vector<CommandSpec>& commands) {
    commands.reserve(commands.size() + std::size(COMMANDS));
    for (const CommandRow& row : COMMANDS)
        if (row.hasCommandLine()) commands.push_back(toCommandSpec(row));
}

}  // namespace cli::velkossd
