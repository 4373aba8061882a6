"""What tests of the storage commands share: the XML of the requests, built of the pieces that every request is made of,
and the words that the tool shows."""

HEADER = '<?xml version="1.0" encoding="utf-8"?>'
EMPTY_ANSWER = HEADER + "<Object></Object>"

MODULE_DIRECTORY = "/opt/velko/nimbrel/FirmwareModules"

# What the tool prints where a response holds nothing, its line end included.
NO_RESULTS = "\nNo results\n\n"

LONG_OPERATION = " (This can take several minutes to complete)\n"

DELETE_QUESTION = ("WARNING! You have selected to delete all the data on the drive! \n"
                   "Proceed with the delete? (Y|N): ")
FORMAT_QUESTION = ("WARNING! You have selected to format the drive! \n"
                   "Proceed with the format? (Y|N): ")
SANITIZE_QUESTION = ("WARNING! You have selected to sanitize the drive! \n"
                     "Proceed with the sanitize? (Y|N): ")
DELETE_NAMESPACE_QUESTION = ("WARNING! You have selected to delete the namespace!\n"
                             "Proceed with the delete? (Y|N): ")
TRIM_QUESTION = ("WARNING! You have selected to Trim. This will make the user data on the drive inaccessible.\n"
                 "Proceed with the Trim command? (Y|N): ")
UPDATE_QUESTION = ("WARNING! You have selected to update the drives firmware! \n"
                   "Proceed with the update? (Y|N): ")
CHECKING = "Checking for firmware update...\n"

# Display name and type of each argument, by the name that travels with it.
ARGUMENTS = {
    "Action": ("Action", "string"),
    "AllowUnrestrictedExit": ("Allow Unrestricted Exit", "boolean"),
    "Capacity": ("Capacity", "uint64"),
    "CommitAction": ("Commit Action", "uint8"),
    "ControllerNamespaceStructure": ("Controller Namespace Structure", "uint8"),
    "Count": ("Count", "uint64"),
    "DWORD11": ("DWORD11", "uint32"),
    "DWORD12": ("DWORD12", "uint32"),
    "DWORD13": ("DWORD13", "uint32"),
    "DataArea": ("Data Area Number", "uint16"),
    "DataIntegrityScan": ("Data Integrity Scan", "boolean"),
    "DirectoryPath": ("DirectoryPath", "string"),
    "ErrorInjectionEntries": ("Error Injection Data Structure Entries", "string"),
    "ErrorInjectionEntryFile": ("Error Injection Entry File", "string"),
    "FeatureId": ("Feature Id", "uint8"),
    "FirmwareFile": ("Firmware File", "string"),
    "FirmwareSlot": ("Firmware Slot", "uint8"),
    "Force": ("Force", "boolean"),
    "FullScan": ("Full Scan", "boolean"),
    "HostInitiated": ("Host Initiated", "boolean"),
    "ID": ("ID", "string"),
    "IncludeNVMeSmartHealthLog": ("Include NVMe Smart Health Log", "boolean"),
    "IncludeOS": ("Include OS", "boolean"),
    "IncludeSystemInfo": ("Include System Info", "boolean"),
    "InputFile": ("Input File", "string"),
    "LBAFormat": ("LBA Format", "uint8"),
    "LatencyStatisticsForReadCommands": ("Latency Statistics For Read Commands", "boolean"),
    "List": ("List", "boolean"),
    "LogId": ("Log Id", "uint32"),
    "LogName": ("Log Name", "string"),
    "LogPageOffset": ("Log Page Offset", "uint64"),
    "LogSpecificField": ("Log Specific Field", "uint8"),
    "MetadataSettings": ("Metadata Settings", "uint8"),
    "Mode": ("Mode", "string"),  # of a self-test
    "MultiPathIoCapabilities": ("Multi Path IO Capabilities", "uint8"),
    "NVMeControllerID": ("NVMe Controller ID", "uint16"),
    "NamespaceId": ("NamespaceId", "uint32"),
    "NamespaceSpecific": ("Namespace Specific", "boolean"),
    "NoDeallocateAfterSanitize": ("No Deallocate After Sanitize", "boolean"),
    "NumDWORDs": ("NumDWORDs", "uint16"),
    "OverwriteInvertPattern": ("Overwrite Invert Pattern", "boolean"),
    "OverwritePassCount": ("Overwrite Pass Count", "uint8"),
    "OverwritePattern": ("Overwrite Pattern", "uint32"),
    "PELFilePath": ("PELFilePath", "string"),
    "Path": ("Path", "string"),
    "ProtectionInformation": ("Protection Information", "uint8"),
    "ReadScan": ("Read Scan", "boolean"),
    "RetainAsynchronousEvent": ("Retain Asynchronous Event", "boolean"),
    "ReturnImmediately": ("Return Immediately", "boolean"),
    "SMBusAddress": ("SM Bus Address", "uint32"),
    "SMBusSelector": ("SM Bus Address Selector", "uint8"),
    "SanitizeAction": ("Sanitize Action", "uint8"),
    "Save": ("Save", "boolean"),
    "Scan": ("Scan", "boolean"),
    "SecureEraseSetting": ("Secure Erase Setting", "uint8"),
    "Select": ("Select", "uint8"),
    "SetGetType": ("SetGetType", "string"),
    "ShowAll": ("Show All", "boolean"),
    "Size": ("Size", "uint64"),
    "SkipMembers": ("Skip member Components", "boolean"),
    "StartForceFlush": ("Start Force Flush", "boolean"),
    "StartLBA": ("Starting LBA", "uint64"),
    "StoreLogs": ("Store Logs", "boolean"),
    "TestType": ("Test Type", "string"),
    "Type": ("Type", "string"),  # of a format
    "file": ("file", "string"),
}


def attribute(name, display_name, kind, value, size=0):
    return (f'<Property category="attribute" displayName="{display_name}" name="{name}" size="{size}" type="{kind}" '
            f'value="{value}"/>')


def argument(name, value):
    return attribute(name, *ARGUMENTS[name], value)


def shown(name):
    """A property that the user asked to see."""
    return attribute(name, "", "string", "")


def device(key, value):
    return (f'<List name="Devices"><Object name="Device"><Property category="attribute" name="{key}" type="string" '
            f'value="{value}"/></Object></List>')


DRIVE_0 = device("Index", "0")


def request(job, kind, arguments=(), devices="", properties="", scan=True, directories=MODULE_DIRECTORY):
    """A whole request. arguments: pairs of name and value, in the order of the wire."""
    scan_flag = argument("Scan", "true") if scan else ""
    directory_list = attribute("AdditionalModuleDirs", "Additional Module Directories", "vectorOfStrings", directories)
    requested = f'<Object name="Properties">{properties}</Object>' if properties else ""
    return (f'{HEADER}<Object name="{job}" type="{kind}">{scan_flag}'
            + "".join(argument(name, value) for name, value in arguments)
            + f"{directory_list}{devices}{requested}</Object>")


def get(job, *arguments, devices="", show=()):
    return request(job, "GetProperties", arguments, devices, "".join(shown(name) for name in show))


def method(job, *arguments, devices="", properties="", scan=True):
    return request(job, "Method", arguments, devices, properties, scan)


def set_one(job, *one):
    """Sets one property of drive 0; `one` is the property as attribute() takes it."""
    return request(job, "SetProperty", devices=DRIVE_0, properties=attribute(*one))
