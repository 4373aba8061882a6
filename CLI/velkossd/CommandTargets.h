#pragma once

#include "CLI/velkossd/PartRow.h"

/// The targets of the storage commands. One that several commands take is one constant, so a help text is written once;
/// a word that means different things to different commands is a constant for each meaning.
namespace cli::velkossd::targets {

// clang-format off

// The drive: required or optional as a target, and so is its value.
inline constexpr PartRow VELKOSSD                {"-velkossd", PART_REQUIRED, "Index|SerialNumber|PhysicalPath",
        "Device index or serial number or physical path is required."};
inline constexpr PartRow VELKOSSD_OR_ALL         {"-velkossd", PART_REQUIRED, optionalValue("Index|SerialNumber|PhysicalPath"),
        "Device index or serial number or physical path can be used to select a single Velko SSD."};
inline constexpr PartRow OPTIONAL_VELKOSSD       {"-velkossd", PART_OPTIONAL, "Index|SerialNumber|PhysicalPath",
        "Device index or serial number or physical path can be used to select a single Velko SSD."};
inline constexpr PartRow OPTIONAL_VELKOSSD_OR_ALL{"-velkossd", PART_OPTIONAL, optionalValue("Index|SerialNumber|PhysicalPath"),
        "Device index or serial number or physical path"};

// What a command works on, a word without a value.
inline constexpr PartRow ASSERTLOG           {"-assertlog",            PART_REQUIRED, NO_VALUE, "assertlog target is required."};
inline constexpr PartRow BACKGROUNDPROCESSING{"-backgroundprocessing", PART_REQUIRED, NO_VALUE, "Check background processing status."};
inline constexpr PartRow BRIDGENLOG          {"-bridgenlog",           PART_REQUIRED, NO_VALUE, "bridge nlog target is required."};
inline constexpr PartRow DSSDPOWERSTATE      {"-DSSDPowerState",       PART_REQUIRED, NO_VALUE, "The DSSD Power state in watts."};
inline constexpr PartRow ENDURANCEANALYZER   {"-enduranceanalyzer",    PART_REQUIRED, NO_VALUE, "Endurance Analyzer target is required."};
inline constexpr PartRow ERRORINJECTION      {"-ErrorInjection",       PART_REQUIRED, NO_VALUE, "Get Error Injection info."};
inline constexpr PartRow EVENTLOG            {"-eventlog",             PART_REQUIRED, NO_VALUE, "eventlog target is required."};
inline constexpr PartRow FIRMWAREACTIVATE    {"-firmwareactivate",     PART_REQUIRED, NO_VALUE,
        "Firmware slot location and option is required"};
inline constexpr PartRow IDENTIFY            {"-identify",             PART_REQUIRED, NO_VALUE, "Identify target is required."};
inline constexpr PartRow IEEESILO            {"-IEEESilo",             PART_REQUIRED, NO_VALUE, "Get IEEE1667 Silo properties."};
inline constexpr PartRow LED                 {"-led",                  PART_REQUIRED, NO_VALUE, "LED target is required."};
inline constexpr PartRow NAMESPACE           {"-namespace",            PART_REQUIRED, NO_VALUE, "Namespace target is required."};
inline constexpr PartRow NLOG                {"-nlog",                 PART_REQUIRED, NO_VALUE, "nlog target is required."};
inline constexpr PartRow NVMECONTROLLER      {"-nvmecontroller",       PART_REQUIRED, NO_VALUE, "NVMeController target."};
inline constexpr PartRow NVMEFORMAT          {"-nvmeformat",           PART_REQUIRED, NO_VALUE, "Target for issuing NVMe format."};
inline constexpr PartRow PARTITION           {"-partition",            PART_REQUIRED, NO_VALUE,
        "Desired partition letter on which to run the feature (if specified)."};
inline constexpr PartRow PCIECORRECTABLE     {"-PCIeCorrectable",      PART_REQUIRED, NO_VALUE, "Get PCIeCorrectable info."};
inline constexpr PartRow PERFORMANCE         {"-performance",          PART_REQUIRED, NO_VALUE, "Performance target is required."};
inline constexpr PartRow PERFORMANCEBOOSTER  {"-performancebooster",   PART_REQUIRED, NO_VALUE, "PerformanceBooster target is required."};
inline constexpr PartRow PERSISTENTEVENTLOG  {"-persistenteventlog",   PART_REQUIRED, NO_VALUE, ""};
inline constexpr PartRow PLPCHECK            {"-PLPCheck",             PART_REQUIRED, NO_VALUE, "Get The PLP Health Check Interval."};
inline constexpr PartRow READONLYWRITETHROUGH{"-ReadOnlyWriteThrough", PART_REQUIRED, NO_VALUE, "Get Read Only Write Through Mode."};
inline constexpr PartRow SELFTEST            {"-selftest",             PART_REQUIRED, NO_VALUE, "selftest target is required."};
inline constexpr PartRow SENSOR              {"-sensor",               PART_REQUIRED, NO_VALUE, "Sensor target is required."};
inline constexpr PartRow SMART               {"-smart",                PART_REQUIRED, NO_VALUE, "Smart target is required."};
inline constexpr PartRow SYSTEMSNAPSHOT      {"-SystemSnapshot",       PART_REQUIRED, NO_VALUE, "Read System Snapshot from drive."};
inline constexpr PartRow TELEMETRYLOG        {"-telemetrylog",         PART_REQUIRED, NO_VALUE, "telemetrylog target is required."};
inline constexpr PartRow TIMESTAMP           {"-timestamp",            PART_REQUIRED, NO_VALUE, "Timestamp target is required."};
inline constexpr PartRow TRIM                {"-trim",                 PART_REQUIRED, NO_VALUE, "Trim the device."};

// With a value.
inline constexpr PartRow GETFEATURE               {"-getfeature",         PART_REQUIRED, "feature id",
        "Get Feature target is required.\n\n"
        "\t\tFeature ID - Feature Name\n"
        "\t\t0x1 - Arbitration\n"
        "\t\t0x2 - Power Management\n"
        "\t\t0x3 - LBA Range Type\n"
        "\t\t0x4 - Temp Threshold\n"
        "\t\t0x5 - Error Recovery\n"
        "\t\t0x6 - Volatile Write Cache\n"
        "\t\t0x7 - Number Of Queues\n"
        "\t\t0x8 - Interrupt Coalescing\n"
        "\t\t0x9 - Interrupt Vector Config\n"
        "\t\t0xA - Write Atomicity\n"
        "\t\t0xB - Event Config\n"
        "\t\t0xC1 - Max LBA\n"
        "\t\t0xC2 - Native Max LBA\n"
        "\t\t0xC6 - Power Governor\n"
        "\t\t0xC8 - SMBus Address\n"
        "\t\t0xC9 - Led Activity\n"
        "\t\t0xCB - DYNAMIC_MMIO\n"
        "\t\t0xD5 - Reset CRC\n"
        "\t\t0xD9 - Thermal Throttle Disable\n"
        "\t\t0xE2 - Latency Tracking\n"
        "\t\t0xE3 - Quick Format\n"};
inline constexpr PartRow LATENCYSTATISTICS        {"-latencystatistics",  PART_REQUIRED, "'reads'|'writes'",
        "Latency statistics logs for read and write commands."};
inline constexpr PartRow NAMESPACE_ID             {"-namespace",          PART_REQUIRED, "namespace id",
        "Namespace target and namespace ID is required."};
inline constexpr PartRow NVMELOG                  {"-nvmelog",            PART_REQUIRED, "log name, log ID, or 'list'",
        "Dumps the given NVMe log. Use 'list' to list all logs supported by the device."};
inline constexpr PartRow NVMELOG_OR_ALL           {"-nvmelog",            PART_REQUIRED, optionalValue("log name, log ID, or 'list'"),
        "Read and parse the given NVMe log. Use 'list' to list all logs supported by the device."};
inline constexpr PartRow PERSISTENTEVENTLOG_ACTION{"-persistenteventlog", PART_REQUIRED, "'read'|'release'",
        "Pull the persistent event log. Read log from previously established context ('read') or release the "
        "currently established context ('release')."};
inline constexpr PartRow PSIDREVERT               {"-psidrevert",         PART_REQUIRED, "psid",
        "Issue an Opal PSID Revert to the device."};
inline constexpr PartRow SANITIZE                 {"-sanitize",           PART_REQUIRED, optionalValue("block|crypto|overwrite|exit_failure"),
        "Target for issuing sanitize command. ('overwrite' and 'exit_failure' options for NVMe only)"};
inline constexpr PartRow SCAN                     {"-scan",               PART_REQUIRED, optionalValue("DataIntegrity|ReadScan|Logs"),
        "Scan can be used to select a specific item related to drive health. Default behavior is saving drive logs. "
        "A user can also specify a specific health feature including data integrity scan (DataIntegrity), read scan "
        "(ReadScan), or saving of drive logs (Logs)."};
inline constexpr PartRow SELFTEST_TYPE            {"-selftest",           PART_REQUIRED, optionalValue("'short'|'extended'|'conveyance'"),
        "Run a drive self test on the selected device(s). Unless test type is explicitly specified, a short self "
        "test is run."};
inline constexpr PartRow SETFEATURE               {"-setfeature",         PART_REQUIRED, "feature id",
        "Set Feature target is required.\n\n"
        "\t\tFeature ID - Feature Name\n"
        "\t\t0x1 - Arbitration\n"
        "\t\t0x2 - Power Management\n"
        "\t\t0x4 - Temp Threshold\n"
        "\t\t0x5 - Error Recovery\n"
        "\t\t0x6 - Volatile Write Cache\n"
        "\t\t0x7 - Number of Queues\n"
        "\t\t0x8 - Interrupt Coalescing\n"
        "\t\t0x9 - Interrupt Vector Configuration\n"
        "\t\t0xA - Write Atomicity\n"
        "\t\t0xB - Event Config\n"
        "\t\t0xF - Keep Alive Timer\n"
        "\t\t0x10 - Host Controlled Thermal Management\n"
        "\t\t0x11 - Non-Operational Power State Config\n"};
inline constexpr PartRow TIMESTAMP_VALUE          {"-timestamp",          PART_REQUIRED, "value",
        "Timestamp target is required."};

// Additions that a user may leave out.
inline constexpr PartRow DATAAREA                  {"-dataarea",       PART_OPTIONAL, "1-3",
        "data area number is required."};
inline constexpr PartRow DESCRIPTORS               {"-descriptors",    PART_OPTIONAL, NO_VALUE,
        "retrieve namespace descriptors"};
inline constexpr PartRow MODE                      {"-mode",           PART_OPTIONAL, "captive|offline",
        "ATA only, 'captive' may busy out the drive, the default is 'offline', that will run while the drive process "
        "other requests."};
inline constexpr PartRow OPTIONAL_NAMESPACE_OR_LIST{"-namespace",      PART_OPTIONAL, "integer | 'attached' | 'allocated'",
        "Namespace target is required."};
inline constexpr PartRow OPTIONAL_NAMESPACE_ID     {"-namespace",      PART_OPTIONAL, "namespace id",
        "Namespace target is optional. Must specify namespace ID if being used."};
inline constexpr PartRow OPTIONAL_NVMECONTROLLER_ID{"-nvmecontroller", PART_OPTIONAL, "controller ID integer",
        "NVMe Controller target is option. Must specify controller ID if being used."};
inline constexpr PartRow OPTIONAL_NVMECONTROLLER   {"-nvmecontroller", PART_OPTIONAL, NO_VALUE,
        "NVMeController target."};
inline constexpr PartRow UUIDLIST                  {"-uuidlist",       PART_OPTIONAL, NO_VALUE,
        " Universally Unique Identifier(UUID) target."};

// Taken by no command yet: value and help come with the first one.
inline constexpr PartRow CYCLEREPORT   {"-cyclereport",    PART_REQUIRED, NO_VALUE, ""};
inline constexpr PartRow INPUTVOLTAGE  {"-inputvoltage",   PART_REQUIRED, NO_VALUE, ""};
inline constexpr PartRow CRCERROR      {"-crcerror",       PART_REQUIRED, NO_VALUE, ""};
inline constexpr PartRow STANDBY       {"-standby",        PART_REQUIRED, NO_VALUE, ""};
inline constexpr PartRow ERASEASSERT   {"-eraseassert",    PART_REQUIRED, NO_VALUE, ""};
inline constexpr PartRow ASSERTRECOVERY{"-assertrecovery", PART_REQUIRED, NO_VALUE, ""};
inline constexpr PartRow LOWLEVELFORMAT{"-lowlevelformat", PART_REQUIRED, NO_VALUE, ""};
inline constexpr PartRow OPTIMIZER     {"-optimizer",      PART_REQUIRED, NO_VALUE, ""};
inline constexpr PartRow SECUREERASE   {"-secureerase",    PART_REQUIRED, NO_VALUE, ""};

// clang-format on

}  // namespace cli::velkossd::targets
