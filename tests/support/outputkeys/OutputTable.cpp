#include "tests/support/outputkeys/OutputTable.h"

#include <iterator>

namespace outputkeys {

namespace {

struct Row {
    const char* object;
    const char* key;
    const char* kind;
    const char* unit;
    const char* words;
    const char* meaning;
    const char* absent;
};

constexpr const char* NEVER = "";
constexpr const char* NONE = "";

// clang-format off
constexpr Row ROWS[] = {
    // Of every drive.
    {"*", "SerialNumber", "text", NONE, NONE, "serial number of the drive", "the drive does not report it, or the object is not of a drive"},
    {"*", "DevicePath", "text", NONE, NONE, "node of the controller", "the object is not of a drive, as what comes from a file"},
    {"*", "Status", "text", NONE, NONE, "outcome of an operation, or why nothing else is shown", "there is nothing to say"},
    {"*", "Not read", "text", NONE, NONE, "why one log page of all is not shown", "the page was read"},

    {"Velko SSD", "Capacity", "bytes", NONE, "Property not found", "sum of the attached namespaces; without any, the drive's total", NEVER},

    {"Namespace *", "NamespaceId", "number", NONE, NONE, "namespace identifier (NSID)", NEVER},
    {"Namespace *", "Node", "text", NONE, NONE, "block device, or none", NEVER},
    {"Namespace *", "Size", "number", "bytes", NONE, "size as the host sees it", NEVER},
    {"Namespace *", "Use", "text", NONE, NONE, "what uses it: \"mounted at /data; /dev/nvme0n1p2 swap\", or none", NEVER},
    {"Namespace *", "CommandSet", "text", NONE, NONE, "I/O command set", "it is that of NVM"},
    {"Namespace *", "LBAFormat", "number", NONE, NONE, "index of the LBA format in use", "the drive refuses Identify Namespace"},
    {"Namespace *", "SectorSize", "number", "bytes", NONE, "data of a logical block", "the same"},
    {"Namespace *", "MetadataSize", "number", "bytes", NONE, "metadata of a logical block", "the same"},
    {"Namespace *", "Used", "number", "bytes", NONE, "allocated blocks (NUSE)", "the same"},
    {"Namespace *", "EUI64", "text", NONE, NONE, "IEEE Extended Unique Identifier, or not reported", "the same"},
    {"Namespace *", "NGUID", "text", NONE, NONE, "Namespace Globally Unique Identifier, or not reported", "the same"},
    {"Namespace *", "By-Id Names", "part", NONE, NONE, "list: names in /dev/disk/by-id", NEVER},
    {"Namespace * > By-Id Names", "Entry *", "text", NONE, NONE, "a name", NEVER},

    {"Health Sensors", "DeviceStatus", "text", NONE, NONE, "Healthy, or the critical warnings in words", NEVER},

    {"Drive Self-Test", "SelfTestStatus", "text", NONE, NONE, "the test that runs, or how the newest one ended", NEVER},
    {"Drive Self-Test", "SelfTestStatusCode", "number", NONE, NONE, "result code of the newest test (log page 06h)", "a test runs, or none ever did"},
    {"Drive Self-Test", "SelfTestProgress", "number", "%", NONE, "progress of the test that runs", "no test runs"},
    {"Drive Self-Test", "ShortSelfTestEstimatedTime", "number", "minutes", NONE, "nominal time of a short test", NEVER},
    {"Drive Self-Test", "ExtendedSelfTestEstimatedTime", "number", "minutes", NONE, "nominal time of an extended test (EDSTT)", "the drive does not report it"},
    {"Drive Self-Test Result *", "Segment Number - First segment that failed", "number", NONE, NONE, "first segment that failed", "no segment is known to have failed"},
    {"Device Self-test", "Result *", "part", NONE, NONE, "a result, the newest first", "never used"},
    {"Device Self-test > Result *", "Segment Number - First segment that failed", "number", NONE, NONE, "first segment that failed", "no segment is known to have failed"},

    {"Endurance Analyzer", "EnduranceAnalyzer", "number", "years", NONE, "expected life at the wear since the reset", NEVER},
    {"Endurance Analyzer", "PercentageUsed", "number", "%", NONE, "wear of the drive", NEVER},
    {"Endurance Analyzer", "WearSinceReset", "number", "%", NONE, "wear since the reset", NEVER},
    {"Endurance Analyzer", "TimeSinceReset", "number", "minutes", NONE, "time since the reset", NEVER},
    {"Endurance Analyzer", "DataUnitsWrittenSinceReset", "number", "units of 512000 bytes", "not reported", "data written since the reset", NEVER},

    {"Background Processing", "BackgroundProcessing", "text", NONE, NONE, "whether anything runs", NEVER},
    {"Background Processing", "Sanitize", "text", NONE, NONE, "state of sanitize operations", NEVER},
    {"Background Processing", "Device Self-test", "text", NONE, NONE, "state of self-tests", NEVER},
    {"Background Processing", "Firmware", "text", NONE, NONE, "firmware that waits for its activation", NEVER},
    {"Background Processing", "Force Flush", "text", NONE, NONE, "state of a flush", "not a VELKO drive"},
    {"Background Processing", "Maintenance", "text", NONE, NONE, "the drive's own work", "not a VELKO drive"},

    {"Firmware State", "PreviousFirmware", "text", NONE, NONE, "revision that ran before", NEVER},
    {"Firmware State", "RunningFirmware", "text", NONE, NONE, "revision that runs now", NEVER},
    {"Firmware State", "NextFirmware", "text", NONE, NONE, "revision that the reset activates, none, or not reported", NEVER},
    {"Firmware State", "FirmwareSlot", "number", NONE, "not reported", "slot of the new firmware", NEVER},
    {"Firmware State", "RequiredReset", "word", NONE, "none|controller level reset|NVM subsystem reset|conventional reset", "reset that is left to be made", NEVER},

    {"LED Activity", "DurationBase", "number", "milliseconds", NONE, "time that the multipliers count in", "-getfeature shows its fields"},
    {"LED Activity", "FormatOffMultiplier", "number", NONE, NONE, "LED off while formatting, in times of DurationBase", "the same"},
    {"LED Activity", "FormatOnMultiplier", "number", NONE, NONE, "LED on while formatting", "the same"},
    {"LED Activity", "IdleState", "text", NONE, NONE, "on or off", "the same"},
    {"LED Activity", "IoOffMultiplier", "number", NONE, NONE, "LED off during I/O", "the same"},
    {"LED Activity", "IoOnMultiplier", "number", NONE, NONE, "LED on during I/O", "the same"},

    {"Partition *", "Offset", "number", "bytes", NONE, "where the partition begins", NEVER},
    {"Partition *", "Size", "number", "bytes", NONE, "size of the partition", NEVER},
    {"Partition *", "FileSystemType", "text", NONE, NONE, "file system, or not reported", NEVER},
    {"Partition *", "MountPoint", "text", NONE, NONE, "where it is mounted, or not mounted", NEVER},
    {"Partition *", "MountPoint *", "text", NONE, NONE, "MountPoint 2, MountPoint 3...: further places where it is mounted", "mounted once at most"},
    {"Partition *", "Use", "text", NONE, NONE, "other uses, or none", NEVER},
    {"Partition *", "Label", "text", NONE, NONE, "label of the file system", "there is none"},
    {"Partition *", "UUID", "text", NONE, NONE, "UUID of the file system", "there is none"},
    {"Partition *", "FreeSpace", "number", "bytes", NONE, "free space of the file system", "not mounted"},
    {"Partition *", "UsedSpace", "number", "bytes", NONE, "used space of the file system", "not mounted"},
    {"Partition *", "FreeSpacePercentage", "number", "%", NONE, "free space in percent of the size", "not mounted"},
    {"Namespace *", "MountPoint", "text", NONE, NONE, "where a namespace without partitions is mounted (show -partition)", "show -a"},
    {"Namespace *", "MountPoint *", "text", NONE, NONE, "MountPoint 2, MountPoint 3...: further places", "mounted once at most"},

    {"Attached Namespaces", "Namespaces", "part", NONE, NONE, "list: namespace identifiers", NEVER},
    {"Attached Namespaces > Namespaces", "Entry *", "number", NONE, NONE, "a namespace identifier", NEVER},
    {"Allocated Namespaces", "Namespaces", "part", NONE, NONE, "list: namespace identifiers", NEVER},
    {"Allocated Namespaces > Namespaces", "Entry *", "number", NONE, NONE, "a namespace identifier", NEVER},
    {"Controllers", "Controllers", "part", NONE, NONE, "list: controller identifiers of the subsystem", NEVER},
    {"Controllers > Controllers", "Entry *", "number", NONE, NONE, "a controller identifier", NEVER},
    {"Controllers of Namespace *", "Controllers", "part", NONE, NONE, "list: controller identifiers", NEVER},
    {"Controllers of Namespace * > Controllers", "Entry *", "number", NONE, NONE, "a controller identifier", NEVER},

    {"Identify Controller", "Power State *", "part", NONE, NONE, "a power state", NEVER},
    {"Identify Controller > Power State *", "MP - Maximum Power", "number", "watts", "not reported", "maximum power", NEVER},
    {"Identify Controller > Power State *", "IDLP - Idle Power", "number", "watts", "not reported", "idle power", NEVER},
    {"Identify Controller > Power State *", "ACTP - Active Power", "number", "watts", "not reported", "active power", NEVER},
    {"Identify Controller > Power State *", "APW - Active Power Workload", "number", NONE, NONE, "workload of the active power", NEVER},
    {"Identify Namespace *", "LBA Format *", "part", NONE, NONE, "an LBA format", NEVER},
    {"Identify Namespace * > LBA Format *", "In Use", "flag", NONE, NONE, "whether the namespace has this format", NEVER},
    {"NVM Command Set Namespace *", "LBA Format *", "part", NONE, NONE, "what the command set adds to an LBA format", "it adds nothing"},
    {"Zoned Namespace *", "LBA Format *", "part", NONE, NONE, "the zones of an LBA format", "it has none"},
    {"Namespace * of command set *", "Offset 0x*", "text", NONE, NONE, "16 bytes of a structure without a decoder, in hexadecimal", NEVER},
    {"NVM Command Set Controller", "Zoned Namespace Command Set Controller", "part", NONE, NONE, "the same of the Zoned Namespace command set", "no zoned namespace is attached"},
    {"Namespace Granularity List", "Descriptor *", "part", NONE, NONE, "granularities of an LBA format, or of all", NEVER},
    {"Domain List", "Domain *", "part", NONE, NONE, "a domain", NEVER},
    {"I/O Command Set Combinations", "Combination *", "text", NONE, NONE, "names of I/O command sets that the controller takes together", "there is no such combination"},
    {"UUID List", "UUID *", "part", NONE, NONE, "an entry of the list", NEVER},
    {"Namespace Identification Descriptors of Namespace *", "NIDT 0x* - Unknown identifier type", "text", NONE, NONE, "the bytes of a descriptor", "the type is known"},
    {"Namespace Identification Descriptors of Namespace *", "NIDT 0x* - Damaged", "text", NONE, NONE, "what is wrong with a descriptor", "it is intact"},

    {"Supported Log Pages", "LID 0x*", "text", NONE, NONE, "name of a log page that the drive supports", "not supported"},
    {"Supported Log Pages", "Details", "part", NONE, NONE, "what is said of log pages beside that they are supported", "nothing is"},
    {"Supported Log Pages > Details", "LID 0x*", "text", NONE, NONE, "index offset, and the bits that are specific to the page", "the log page has neither"},
    {"Feature Identifiers Supported and Effects", "FID 0x*", "text", NONE, NONE, "effects and scope of a feature, named after its identifier", "not supported"},
    {"NVMe-MI Commands Supported and Effects", "MI 0x*", "text", NONE, NONE, "effects and scope of a command of the Management Interface, named after its opcode", "not supported"},
    {"Command and Feature Lockdown", "Identifiers", "part", NONE, NONE, "list: opcodes or feature identifiers", NEVER},
    {"Command and Feature Lockdown > Identifiers", "Entry *", "text", NONE, NONE, "an opcode or feature identifier, with its name", NEVER},
    {"Media Unit Status", "Media Unit *", "part", NONE, NONE, "a media unit", NEVER},
    {"Media Unit Status > Media Unit *", "MUID - Media Unit Identifier", "number", NONE, NONE, "media unit identifier", NEVER},
    {"Media Unit Status > Media Unit *", "Channels", "part", NONE, NONE, "list: channel identifiers", NEVER},
    {"Media Unit Status > Media Unit * > Channels", "Entry *", "number", NONE, NONE, "a channel identifier", NEVER},
    {"FDP Configurations", "Configuration *", "part", NONE, NONE, "a configuration, by its index", NEVER},
    {"FDP Configurations > Configuration *", "Reclaim Unit Handles", "part", NONE, NONE, "list: types of the Reclaim Unit Handles", NEVER},
    {"FDP Configurations > Configuration * > Reclaim Unit Handles", "Entry *", "text", NONE, NONE, "initially isolated, or persistently isolated", NEVER},
    {"FDP Reclaim Unit Handle Usage", "Reclaim Unit Handles", "part", NONE, NONE, "list: uses of the Reclaim Unit Handles", NEVER},
    {"FDP Reclaim Unit Handle Usage > Reclaim Unit Handles", "Entry *", "text", NONE, NONE, "unused, host specified or controller specified", NEVER},
    {"FDP Events", "Event *", "part", NONE, NONE, "an event, the oldest first", NEVER},
    {"Changed Zone List", "More - More than 511 zones changed", "flag", NONE, NONE, "whether the list is too short for all, and so is empty", NEVER},
    {"Changed Zone List", "Zones", "part", NONE, NONE, "list: first blocks of zones", NEVER},
    {"Changed Zone List > Zones", "Entry *", "number", NONE, NONE, "first block of a zone", NEVER},
    {"Error Information", "Entries", "number", NONE, NONE, "entries that are shown", NEVER},
    {"Error Information", "Error *", "part", NONE, NONE, "an error, by its count", "never used"},
    {"Changed Namespace List", "More - More than 1024 namespaces changed", "flag", NONE, NONE, "whether the list is too short for all, and so is empty", NEVER},
    {"Changed Namespace List", "Namespaces", "part", NONE, NONE, "list: namespace identifiers", NEVER},
    {"Changed Namespace List > Namespaces", "Entry *", "number", NONE, NONE, "a namespace identifier", NEVER},
    {"Commands Supported and Effects", "Admin 0x*", "text", NONE, NONE, "effects of an admin command, named after its opcode", "not supported"},
    {"Commands Supported and Effects", "I/O 0x*", "text", NONE, NONE, "effects of an I/O command, named after its opcode", "not supported"},
    {"Commands Supported and Effects", "* Command Set", "part", NONE, NONE, "the commands of another I/O command set", "no attached namespace has one"},
    {"Commands Supported and Effects > * Command Set", "Admin 0x*", "text", NONE, NONE, "effects of an admin command, named after its opcode", "not supported"},
    {"Commands Supported and Effects > * Command Set", "I/O 0x*", "text", NONE, NONE, "effects of an I/O command, named after its opcode", "not supported"},
    {"Predictable Latency Event Aggregate", "Entries", "number", NONE, NONE, "number of entries", NEVER},
    {"Predictable Latency Event Aggregate", "NVM Sets", "part", NONE, NONE, "list: NVM Set identifiers", NEVER},
    {"Predictable Latency Event Aggregate > NVM Sets", "Entry *", "number", NONE, NONE, "an NVM Set identifier", NEVER},
    {"Endurance Group Event Aggregate", "Entries", "number", NONE, NONE, "number of entries", NEVER},
    {"Endurance Group Event Aggregate", "Endurance Groups", "part", NONE, NONE, "list: Endurance Group identifiers", NEVER},
    {"Endurance Group Event Aggregate > Endurance Groups", "Entry *", "number", NONE, NONE, "an Endurance Group identifier", NEVER},
    {"Asymmetric Namespace Access", "ANA Group *", "part", NONE, NONE, "an ANA Group", NEVER},
    {"Asymmetric Namespace Access > ANA Group *", "Namespaces", "part", NONE, NONE, "list: namespace identifiers", NEVER},
    {"Asymmetric Namespace Access > ANA Group * > Namespaces", "Entry *", "number", NONE, NONE, "a namespace identifier", NEVER},
    {"LBA Status Information", "Namespace *", "part", NONE, NONE, "a namespace with unrecoverable blocks", NEVER},
    {"LBA Status Information > Namespace *", "Range *", "part", NONE, NONE, "a range of blocks", "no range is known"},
    {"OCP Error Recovery", "Panic - What happened and what ends it", "text", NONE, NONE, "the firmware's panic, and the resets that end it", "it has not panicked"},
    {"OCP Firmware Activation History", "Entry *", "part", NONE, NONE, "a firmware activation", NEVER},
    {"OCP Latency Monitor", "Active Bucket *", "part", NONE, NONE, "an active bucket, from 0 to 3", NEVER},
    {"OCP Latency Monitor", "Static Bucket *", "part", NONE, NONE, "a static bucket, from 0 to 3", NEVER},
    {"OCP Device Capabilities", "DSSD Power States", "part", NONE, NONE, "the DSSD power states that the drive takes", NEVER},
    {"OCP Device Capabilities > DSSD Power States", "State * - NVMe power state", "number", NONE, NONE, "the NVMe power state that a DSSD power state is, which the key gives in watts", "not supported"},
    {"OCP Unsupported Requirements", "Requirements", "part", NONE, NONE, "list: identifiers of requirements", NEVER},
    {"OCP Unsupported Requirements > Requirements", "Entry *", "text", NONE, NONE, "identifier of a requirement that the drive does not meet", NEVER},
    {"OCP Hardware Component", "Component *", "part", NONE, NONE, "a component", NEVER},
    {"OCP Hardware Component > Component *", "DLC - Date or Lot Code", "text", NONE, NONE, "date or lot code", "the component has none"},
    {"OCP Hardware Component > Component *", "ACI - Additional Component Information", "text", NONE, NONE, "hexadecimal digits", "the component has none"},
    {"OCP Hardware Component > Component *", "Damaged - The lengths of its texts do not fit the page", "flag", NONE, NONE, "the rest of the page is not shown", "it is intact"},
    {"OCP Telemetry String Log", "FIFO * - Name of the event FIFO", "text", NONE, NONE, "name of an event FIFO", "it has no name"},
    {"OCP Telemetry String Log", "Statistics", "part", NONE, NONE, "names of statistics, by their identifiers", NEVER},
    {"OCP Telemetry String Log > Statistics", "Statistic 0x*", "text", NONE, NONE, "name of a statistic", "not listed"},
    {"OCP Telemetry String Log", "Events", "part", NONE, NONE, "names of events, by class and identifier", NEVER},
    {"OCP Telemetry String Log > Events", "Event 0x*", "text", NONE, NONE, "name of an event", "not listed"},
    {"OCP Telemetry String Log", "Vendor Unique Events", "part", NONE, NONE, "the same of the maker's own events", NEVER},
    {"OCP Telemetry String Log > Vendor Unique Events", "Event 0x*", "text", NONE, NONE, "name of an event", "not listed"},

    {"VELKO Read Latency Statistics", "Bucket *", "number", NONE, NONE, "commands of a range of latencies, which the key says in microseconds", NEVER},
    {"VELKO Write Latency Statistics", "Bucket *", "number", NONE, NONE, "commands of a range of latencies, which the key says in microseconds", NEVER},
    {"VELKO Background Activity", "At Work", "text", NONE, NONE, "what the drive does", NEVER},
    {"VELKO Background Activity", "Waiting - Waiting for idle time", "text", NONE, NONE, "what it will do", NEVER},
    {"Log Page 0x*", "Offset 0x*", "text", NONE, NONE, "16 bytes of a page without a decoder, in hexadecimal", NEVER},

    {"Persistent Event Log", "SEB Events - Events that the drive records", "text", NONE, NONE, "names of the events, with commas", NEVER},
    {"Persistent Event Log", "Event *", "part", NONE, NONE, "an event, by its number and name", NEVER},
    {"Persistent Event Log > Event *", "Reset *", "part", NONE, NONE, "a controller of a reset", "not a reset"},
    {"Persistent Event Log > Event *", "Descriptor *", "part", NONE, NONE, "a vendor specific descriptor", "not vendor specific"},
    {"Persistent Event Log > Event *", "SMART / Health Information", "part", NONE, NONE, "as log page 02h", "not a snapshot"},
    {"Persistent Event Log > Event *", "Telemetry *", "part", NONE, NONE, "as the header of log page 07h or 08h", "not a telemetry event"},
    {"Persistent Event Log > Event *", "Data - Bytes as they are", "text", NONE, NONE, "data of an event that is not decoded", "decoded"},
    {"Persistent Event Log > Event *", "VSI - Vendor Specific Information", "text", NONE, NONE, "bytes", "there are none"},
    {"Persistent Event Log > Event *", "Damaged", "text", NONE, NONE, "what is wrong with the event", "it is intact"},
    {"Persistent Event Log > Event *", "CDW* - Command Dword", "hexadecimal", NONE, NONE, "a dword of Set Features", "not Set Feature"},
    {"Persistent Event Log > Event *", "FID - Feature Identifier", "text", NONE, NONE, "the feature that was set", "not Set Feature"},
    {"Persistent Event Log > Event *", "CCDW0 - Command Completion Dword 0", "hexadecimal", NONE, NONE, "dword 0 of the completion", "not Set Feature, or not recorded"},
    {"Persistent Event Log > Event * > Descriptor *", "TCG Activity", "part", NONE, NONE, "what OCP has of a TCG command", "no TCG activity"},
    {"Persistent Event Log > Event * > Descriptor *", "VSED - Vendor Specific Event Data", "text", NONE, NONE, "bytes, or text", "there are none"},

    // Of every feature that -getfeature shows.
    {"(feature)", "FID - Feature Identifier", "hexadecimal", NONE, NONE, "feature identifier", "not -getfeature"},
    {"(feature)", "SEL - Select", "word", NONE, "current|default|saved|capabilities", "which value is shown", "not -getfeature"},
    {"(feature)", "NSID - Namespace Identifier", "number", NONE, NONE, "namespace of the value", "not -getfeature, or not of a namespace"},
    {"(feature)", "Dword 0", "hexadecimal", NONE, NONE, "dword 0 of the completion", "not -getfeature"},
    {"(feature)", "Data", "part", NONE, NONE, "the data structure, without the zero bytes at its end", "not -getfeature, or no data"},
    {"(feature) > Data", "Offset 0x*", "text", NONE, NONE, "16 bytes in hexadecimal", NEVER},
    {"LBA Range Type", "LBA Range *", "part", NONE, NONE, "an LBA range", NEVER},
    {"Flexible Data Placement Events", "Event *", "part", NONE, NONE, "a type of events", NEVER},
    {"Autonomous Power State Transition", "Power State *", "part", NONE, NONE, "a state that is left after idle time", "it is not left"},
    {"Error Injection", "Error Injection *", "part", NONE, NONE, "an error that is injected", "there is none"},

    // Of start -scan.
    {"Health Scan", "Result", "text", NONE, NONE, "outcome of the scan in words", NEVER},
    {"Health Scan", "Result Code", "number", NONE, NONE, "outcome of the scan, as in the exit status of one drive", NEVER},
    {"Health Scan", "* - Not read", "text", NONE, NONE, "why a structure could not be looked at", "it was read"},
    {"Health Scan", "Left out", "text", NONE, NONE, "why a scan was not made", "it was made"},
    {"Health Scan", "Not completed", "text", NONE, NONE, "why a scan ended early", "it was completed"},
    {"Health Scan", "Findings", "part", NONE, NONE, "what is wrong with the drive, by condition (health-scan.md)", "nothing was found"},
    {"Health Scan > Findings", "*", "text", NONE, NONE, "what was found, in words", "the condition does not hold"},
    {"Health Scan > Logs", "Folder", "text", NONE, NONE, "where the files are", NEVER},
    {"Health Scan > Logs", "Files", "number", NONE, NONE, "how many files were written", NEVER},
    {"Health Scan > Logs", "* - Not read", "text", NONE, NONE, "why a log is not among the files", "it is"},
    {"Health Scan > Logs", "Not completed", "text", NONE, NONE, "why logs are missing", "none is"},
    {"Health Scan > Read Scan - Namespace *", "Blocks", "number", NONE, NONE, "blocks of the namespace", NEVER},
    {"Health Scan > Read Scan - Namespace *", "Blocks Read", "number", NONE, NONE, "blocks that were read", NEVER},
    {"Health Scan > Read Scan - Namespace *", "Unreadable Blocks", "number", NONE, NONE, "blocks that could not be read", NEVER},
    {"Health Scan > Read Scan - Namespace *", "More Unreadable Ranges", "number", NONE, NONE, "ranges that the list leaves out", "it has all"},
    {"Health Scan > Read Scan - Namespace *", "Unreadable LBAs", "part", NONE, NONE, "list: the first 16 addresses and ranges of addresses", "there are none"},
    {"Health Scan > Read Scan - Namespace * > Unreadable LBAs", "Entry *", "text", NONE, NONE, "an address, or the first and the last one: 100-107", NEVER},
    {"Health Scan > Read Scan - Namespace *", "Ended", "text", NONE, NONE, "why the rest was not tried", "all was tried"},
    {"Health Scan > Read Scan - Namespace *", "Not completed", "text", NONE, NONE, "why the scan ended early", "it was completed"},
    {"Health Scan > Data Integrity Scan", "Path", "text", NONE, NONE, "file system that was checked", NEVER},
    {"Health Scan > Data Integrity Scan", "Written and Read", "number", "bytes", NONE, "data that was checked", NEVER},
    {"Health Scan > Data Integrity Scan", "Mismatches", "number", "units of 4096 bytes", NONE, "data miscompares", NEVER},
    {"Health Scan > Data Integrity Scan", "First Mismatch - Offset in the file", "number", "bytes", NONE, "where the first one is", "there is none"},
    {"Health Scan > Data Integrity Scan", "Not completed", "text", NONE, NONE, "why the scan ended early", "it was completed"},
    {"System Information", "OperatingSystem", "text", NONE, NONE, "name of the operating system, or not reported", NEVER},
    {"System Information", "OperatingSystemVersion", "text", NONE, NONE, "name and release of the kernel", NEVER},
    {"System Information", "ComputerCPU", "text", NONE, NONE, "model of the processor, or not reported", NEVER},
    {"System Information", "ComputerManufacturer", "text", NONE, NONE, "maker of the computer, or not reported", NEVER},
    {"System Information", "ComputerModel", "text", NONE, NONE, "model of the computer, or not reported", NEVER},
    {"Health Scan", "Device Status", "text", NONE, NONE, "Healthy, or the critical warnings in words", "the SMART / Health log was not read"},
    {"Health Scan", "Available Spare", "number", "%", NONE, "available spare", "the same"},
    {"Health Scan", "Percentage Used", "number", "%", NONE, "wear", "the same"},
    {"Health Scan", "Media and Data Integrity Errors", "number", NONE, NONE, "count of the SMART / Health log", "the same"},
    {"Health Scan", "Logs", "part", NONE, NONE, "the files that were written", "another scan"},
    {"Health Scan", "Read Scan - Namespace *", "part", NONE, NONE, "outcome of reading a namespace", "another scan"},
    {"Health Scan", "Data Integrity Scan", "part", NONE, NONE, "outcome of writing and reading a file", "another scan"},
};
// clang-format on

}  // namespace

std::vector<OutputKey> table() {
    std::vector<OutputKey> keys;
    for (const Row& row : ROWS)
        keys.push_back({row.object, row.key, row.kind, row.unit, row.words, row.meaning, row.absent});
    return keys;
}

}  // namespace outputkeys
