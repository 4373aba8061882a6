#include "tests/unit/velkossd/FlowTest.h"

namespace cli::velkossd {
namespace {

// Log pages.

class NvmeLog : public FlowTest {
protected:
    static std::string logRequest(const std::string& arguments) { return xmlMethod("NVMeLog", arguments); }
    static std::string logId(const std::string& id) { return xmlProperty("LogId", "Log Id", "uint32", id); }
};

TEST_F(NvmeLog, TakesAListANumberOrAName) {
    const struct {
        const char* word;
        std::string argument;
        const char* why;
    } cases[] = {
        {"list", xmlProperty("List", "List", "boolean", "True"), "the list of logs"},
        {"LIST", xmlProperty("List", "List", "boolean", "True"), "in any case"},
        {"2", logId("2"), "a decimal number"},
        {"007", logId("007"), "as typed"},
        {"0x2", logId("2"), "a hexadecimal number"},
        {"0XC0", logId("192"), "with a capital X"},
        {"face", logId("64206"), "a word of hexadecimal digits"},
        {"", logId("0"), "no value passes as a hexadecimal number"},
        {"0xZ1", logId("0"), "the character after the prefix is not looked at"},
        {"SMART", xmlProperty("LogName", "Log Name", "string", "SMART"), "a name"},
        {"0x1Z", xmlProperty("LogName", "Log Name", "string", "0x1Z"), "no number, so a name"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        expectRequest(50, makeCommand("show", {{"-velkossd", "0"}, {"-nvmelog", c.word}}), logRequest(c.argument));
    }
}

TEST_F(NvmeLog, DumpsToADestinationThatTheLibraryWrites) {
    const std::string file = xmlProperty("file", "file", "string", "/tmp/log.bin");
    for (const char* word : {"2", "SMART", "0x2"})
        expectRefusal(99, makeCommand("dump", {{"-velkossd", "0"}, {"-nvmelog", word}}, {{"NumDWORDs", "bad"}}),
                      BAD_VALUE, "Error: Must specify -destination with dump command");
    expectRequest(99,
                  makeCommand("dump", {{"-velkossd", "0"}, {"-nvmelog", "2"}}, {}, {{"-destination", "/tmp/log.bin"}}),
                  logRequest(logId("2") + file));
    expectRequest(99, makeCommand("dump", {{"-velkossd", "0"}, {"-nvmelog", "List"}}),
                  logRequest(xmlProperty("List", "List", "boolean", "True")));
    expectRequest(
        99, makeCommand("dump", {{"-velkossd", "0"}, {"-nvmelog", "list"}}, {}, {{"-destination", "/tmp/log.bin"}}),
        logRequest(xmlProperty("List", "List", "boolean", "True") + file));
}

TEST_F(NvmeLog, SendsEachFieldAndAllOfThem) {
    const std::vector<Field> fields = {
        {"NamespaceSpecific", "Namespace Specific", "boolean", "TRUE"},
        {"LogSpecificField", "Log Specific Field", "uint8", "3"},
        {"RetainAsynchronousEvent", "Retain Asynchronous Event", "boolean", "0"},
        {"NumDWORDs", "NumDWORDs", "uint16", "1024"},
        {"LogPageOffset", "Log Page Offset", "uint64", "4096"},
    };
    const std::string file = xmlProperty("file", "file", "string", "/tmp/log.bin");
    expectFields(50, makeCommand("show", {{"-velkossd", "0"}, {"-nvmelog", "2"}}), fields,
                 [](const std::string& arguments) { return logRequest(logId("2") + arguments); });
    expectFields(99,
                 makeCommand("dump", {{"-velkossd", "0"}, {"-nvmelog", "2"}}, {}, {{"-destination", "/tmp/log.bin"}}),
                 fields, [&file](const std::string& arguments) { return logRequest(logId("2") + arguments + file); });
}

TEST_F(NvmeLog, RefusesBadFields) {
    const struct {
        const char* key;
        const char* text;
    } fields[] = {
        {"NamespaceSpecific", "Error: Must specify true or false for the given property: NamespaceSpecific"},
        {"LogSpecificField", "Error: Must specify an integer for the given property: LogSpecificField"},
        {"RetainAsynchronousEvent", "Error: Must specify a boolean for the given property: RetainAsynchronousEvent"},
        {"NumDWORDs", "Error: Must specify an integer for the given property: NumDWORDs"},
        {"LogPageOffset", "Error: Must specify an integer for the given property: LogPageOffset"},
    };
    for (const auto& f : fields)
        for (const char* value : {"", "yes", "-1", "0x1"})
            expectRefusal(50, makeCommand("show", {{"-nvmelog", "2"}}, {{f.key, value}}), BAD_VALUE, f.text);
}

// Features.

class NvmeFeature : public FlowTest {
protected:
    static std::string getRequest(const std::string& before, const std::string& select, const std::string& id) {
        return xmlMethod("NVMeFeatures", before + xmlProperty("SetGetType", "SetGetType", "string", "get") +
                                             xmlProperty("Select", "Select", "uint8", select) + featureId(id));
    }
    static std::string setRequest(const std::string& before, const std::string& id, const std::string& after) {
        return xmlMethod("NVMeFeatures",
                         before + xmlProperty("SetGetType", "SetGetType", "string", "set") + featureId(id) + after);
    }
    static std::string featureId(const std::string& id) { return xmlProperty("FeatureId", "Feature Id", "uint8", id); }
    static std::string namespaceId(const std::string& id) {
        return xmlProperty("NamespaceId", "NamespaceId", "uint32", id);
    }
};

constexpr char BAD_NAMESPACE[] =
    "Error: Invalid value for -namespace target. The value must be a valid namespace ID or 0xFFFFFFFF.";
constexpr char BAD_SELECT[] = "Error: select value must be 'current', 'default', 'saved' or 'capabilites'.";
constexpr char BAD_FEATURE_ID[] = "Error: Feature id must be a valid decimal or hex value.";

TEST_F(NvmeFeature, IsRead) {
    for (const char* id : {"2", "0x2", "C0"})
        expectRequest(66, makeCommand("show", {{"-velkossd", "0"}, {"-getfeature", id}}), getRequest("", "0", id));
    expectRequest(66, makeCommand("show", {{"-velkossd", "0"}, {"-getfeature", "2"}}, {{"Select", "Saved"}}),
                  getRequest("", "2", "2"));
    for (const char* id : {"1", "0xFFFFFFFF"})
        expectRequest(66, makeCommand("show", {{"-velkossd", "0"}, {"-getfeature", "2"}, {"-namespace", id}}),
                      getRequest(namespaceId(id), "0", "2"));
    expectRequest(66,
                  makeCommand("show", {{"-velkossd", "0"}, {"-getfeature", "2"}, {"-namespace", "1"}},
                              {{"Select", "capabilities"}}, {{"-all", ""}}),
                  getRequest(namespaceId("1"), "3", "2"));
}

TEST_F(NvmeFeature, IsRefusedInTheOrderOfTheSteps) {
    const Parts badSelect = {{"Select", "foo"}};
    expectRefusal(66, makeCommand("show", {{"-namespace", "all"}, {"-getfeature", "none"}}, badSelect), BAD_VALUE,
                  BAD_NAMESPACE);
    expectRefusal(66, makeCommand("show", {{"-namespace", "1"}, {"-getfeature", "none"}}, badSelect), BAD_VALUE,
                  BAD_SELECT);
    expectRefusal(66, makeCommand("show", {{"-getfeature", "none"}}), BAD_VALUE, BAD_FEATURE_ID);
    expectRefusal(67, makeCommand("set", {{"-namespace", "-1"}, {"-setfeature", "none"}}), BAD_VALUE, BAD_NAMESPACE);
    expectRefusal(67, makeCommand("set", {{"-setfeature", "none"}}, {{"DWORD11", "none"}}), BAD_VALUE, BAD_FEATURE_ID);
    expectRefusal(66, makeCommand("show", {{"-velkossd", "0"}}), BAD_VALUE, BAD_FEATURE_ID);
    expectRefusal(67, makeCommand("set", {{"-velkossd", "0"}, {"-getfeature", "2"}}), BAD_VALUE, BAD_FEATURE_ID);
}

TEST_F(NvmeFeature, IsWrittenWithItsDwords) {
    expectRequest(67, makeCommand("set", {{"-velkossd", "0"}, {"-setfeature", "0x4"}}), setRequest("", "0x4", ""));
    expectFields(67, makeCommand("set", {{"-velkossd", "0"}, {"-setfeature", "4"}, {"-namespace", "2"}}),
                 {
                     {"DWORD11", "DWORD11", "uint32", "0x1F"},
                     {"DWORD12", "DWORD12", "uint32", "ff"},
                     {"DWORD13", "DWORD13", "uint32", "12"},
                     {"Save", "Save", "boolean", "1"},
                     {"InputFile", "Input File", "string", "/tmp/data.bin"},
                 },
                 [](const std::string& fields) { return setRequest(namespaceId("2"), "4", fields); });
}

TEST_F(NvmeFeature, IsNotWrittenWithBadDwords) {
    const struct {
        const char* key;
        const char* text;
    } fields[] = {
        {"DWORD11", "Error: DWORD11 must be a hexadecimal value."},
        {"DWORD12", "Error: DWORD12 must be a hexidecimal value."},
        {"DWORD13", "Error: DWORD13 must be a hexidecimal value."},
        {"Save", "Error: Save must be true or false.."},
    };
    for (const auto& f : fields)
        for (const char* value : {"-1", "0x1Z", "seven"})
            expectRefusal(67, makeCommand("set", {{"-setfeature", "4"}}, {{f.key, value}}), BAD_VALUE, f.text);
}

// Error injection.

class ErrorInjection : public FlowTest {
protected:
    static std::string setRequest(const std::string& argument) {
        return xmlMethod("OCPErrorInjection", xmlProperty("FeatureId", "Feature Id", "uint8", "192") +
                                                  xmlProperty("SetGetType", "SetGetType", "string", "set") + argument);
    }
};

TEST_F(ErrorInjection, SendsTheEntriesOrTheirFile) {
    expectRequest(
        87, makeCommand("set", {{"-velkossd", "0"}, {"-ErrorInjection", ""}}, {{"ErrorInjectionEntries", "1~2"}}),
        setRequest(xmlProperty("ErrorInjectionEntries", "Error Injection Data Structure Entries", "string", "1~2")));
    expectRequest(
        87, makeCommand("set", {{"-velkossd", "0"}, {"-ErrorInjection", ""}}, {{"ErrorInjectionEntryFile", "/f"}}),
        setRequest(xmlProperty("ErrorInjectionEntryFile", "Error Injection Entry File", "string", "/f")));
}

TEST_F(ErrorInjection, WantsExactlyOneOfThem) {
    const std::string text = "Error: specify either -ErrorInjectionEntries or -ErrorInjectionEntryFile, not both.";
    expectRefusal(87, makeCommand("set", {{"-velkossd", "0"}}), BAD_VALUE, text);
    expectRefusal(
        87, makeCommand("set", {{"-velkossd", "0"}}, {{"ErrorInjectionEntries", ""}, {"ErrorInjectionEntryFile", ""}}),
        BAD_VALUE, text);
    expectRefusal(87, makeCommand("set", {{"-velkossd", "0"}}, {{"ErrorInjectionEntries", ""}}), BAD_VALUE,
                  "Error: -ErrorInjectionEnties cannot be given an empty string.");
    expectRefusal(87, makeCommand("set", {{"-velkossd", "0"}}, {{"ErrorInjectionEntryFile", ""}}), BAD_VALUE,
                  "Error: -ErrorInjectionEntryFile cannot be given an empty string.");
}

TEST_F(ErrorInjection, IsReadWithTheVerbShow) {
    expectRequest(87, makeCommand("show", {{"-velkossd", "0"}}),
                  xmlMethod("OCPErrorInjection", xmlProperty("FeatureId", "Feature Id", "uint8", "192") +
                                                     xmlProperty("SetGetType", "SetGetType", "string", "get")));
}

// Vendor commands.

class AdminCommand : public FlowTest {
protected:
    static std::string opcode(const std::string& value) { return xmlProperty("Opcode", "Opcode", "uint8", value); }
};

TEST_F(AdminCommand, TakesVendorOpcodesOnly) {
    for (const char* value : {"C0", "c0", "0xC0", "FF", "0XfF", "0xD5"})
        expectRequest(93, makeCommand("start", {{"-velkossd", "0"}}, {{"Opcode", value}}),
                      xmlMethod("NVMeAdminCommand", opcode(value)));
    expectRefusal(93, makeCommand("start", {{"-velkossd", "0"}}), BAD_PROPERTY, "Error: No Opcode specified.");
    for (const char* value : {"-1", "0xC0Z", "two"})
        expectRefusal(93, makeCommand("start", {{"-velkossd", "0"}}, {{"Opcode", value}}), BAD_PROPERTY,
                      "Error: Opcode must be a hexidecimal value.");
    for (const char* value : {"0xBF", "BF", "0", "", "0x100", "192", "200", "FFFFFFFFFFFFFFFFFF"})
        expectRefusal(93, makeCommand("start", {{"-velkossd", "0"}}, {{"Opcode", value}}), BAD_PROPERTY,
                      "Error: Opcode must be a VU (vendor unique) opcode value, from 0xC0 to 0xFF inclusive.");
}

TEST_F(AdminCommand, SendsEachFieldAndAllOfThem) {
    const std::string before = xmlProperty("NamespaceId", "NamespaceId", "uint32", "all") + opcode("C0") +
                               xmlProperty("DataOut", "Data Out", "boolean", "true");
    const std::string after = xmlProperty("InputDataFile", "Input Data File", "string", "/tmp/in.bin");
    expectFields(93,
                 makeCommand("start", {{"-velkossd", "0"}, {"-namespace", "all"}},
                             {{"Opcode", "C0"}, {"DataDirection", "OUT"}, {"InputDataFile", "/tmp/in.bin"}}),
                 {
                     {"DWORD10", "DWORD10", "uint32", "1"},
                     {"DWORD11", "DWORD11", "uint32", "0x2"},
                     {"DWORD12", "DWORD12", "uint32", "x"},
                     {"DWORD13", "DWORD13", "uint32", "4"},
                     {"DWORD14", "DWORD14", "uint32", "5"},
                     {"DWORD15", "DWORD15", "uint32", ""},
                     {"Timeout", "Timeout", "uint32", "10"},
                     {"TransferBytes", "Transfer Bytes", "uint32", "4096"},
                 },
                 [&](const std::string& fields) { return xmlMethod("NVMeAdminCommand", before + fields + after); });
}

TEST_F(AdminCommand, SendsTheDirectionOfTheData) {
    const auto command = [](const char* direction) {
        return makeCommand("start", {{"-velkossd", "0"}}, {{"Opcode", "C0"}, {"DataDirection", direction}});
    };
    expectRequest(93, command("In"),
                  xmlMethod("NVMeAdminCommand", opcode("C0") + xmlProperty("DataIn", "Data In", "boolean", "true")));
    expectRequest(93, command("out"),
                  xmlMethod("NVMeAdminCommand", opcode("C0") + xmlProperty("DataOut", "Data Out", "boolean", "true")));
    expectRequest(93, command("both"), xmlMethod("NVMeAdminCommand", opcode("C0")));
}

TEST_F(AdminCommand, SendsAnInputFileOutwardsOnly) {
    for (const Parts& direction : {Parts{}, Parts{{"DataDirection", "in"}}, Parts{{"DataDirection", ""}}}) {
        Parts properties = direction;
        properties["Opcode"] = "C0";
        properties["InputDataFile"] = "/tmp/in.bin";
        expectRefusal(93, makeCommand("start", {{"-velkossd", "0"}}, properties), BAD_PROPERTY,
                      "Error: DataDirection must be set to 'out' to use an input file.");
    }
}

}  // namespace
}  // namespace cli::velkossd
