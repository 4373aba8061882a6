#include "tests/unit/velkossd/FlowTest.h"

namespace cli::velkossd {
namespace {

class ScanFlow : public FlowTest {
protected:
    static std::string flag(const std::string& name, const std::string& displayName,
                            const std::string& value = "true") {
        return xmlProperty(name, displayName, "boolean", value);
    }
};

TEST_F(ScanFlow, SendsTheFlagOfTheScan) {
    const struct {
        const char* word;
        std::string argument;
    } cases[] = {
        {"DataIntegrity", flag("DataIntegrityScan", "Data Integrity Scan")},
        {"dataintegrity", flag("DataIntegrityScan", "Data Integrity Scan")},
        {"ReadScan", flag("ReadScan", "Read Scan")},
        {"READSCAN", flag("ReadScan", "Read Scan")},
        {"Logs", flag("StoreLogs", "Store Logs")},
        {"logs", flag("StoreLogs", "Store Logs")},
        {"", flag("StoreLogs", "Store Logs")},
    };
    for (const auto& c : cases)
        expectRequest(61, makeCommand("start", {{"-velkossd", "0"}, {"-scan", c.word}}),
                      xmlMethod("HealthScan", c.argument));
    expectRequest(61, makeCommand("start", {{"-velkossd", ""}, {"-scan", ""}}),
                  xmlRequest("HealthScan", "Method", SCAN + flag("StoreLogs", "Store Logs") + MODULES));
}

TEST_F(ScanFlow, AsksForTheLogFirstOfAll) {
    expectRefusal(61, makeCommand("start", {{"-scan", "ReadScan"}}), BAD_VALUE, "Error: -velkossd target not found.");
    EXPECT_EQ(services_.loggerQuestions, 1);
    expectRequest(61, makeCommand("start", {{"-velkossd", "0"}, {"-scan", "ReadScan"}}),
                  xmlMethod("HealthScan", flag("ReadScan", "Read Scan")));
    EXPECT_EQ(services_.loggerQuestions, 2);
    run(0, makeCommand("show", {{"-velkossd", "0"}}));
    EXPECT_EQ(services_.loggerQuestions, 2) << "other commands leave it alone";
}

TEST_F(ScanFlow, RefusesOtherScans) {
    for (const char* word : {"Read", "all", " "})
        expectRefusal(61, makeCommand("start", {{"-velkossd", "0"}, {"-scan", word}}, {{"FullScan", "bad"}}), BAD_VALUE,
                      "Error: " + std::string(word) + " is not a valid scan type");
}

TEST_F(ScanFlow, SendsEachPropertyAndAllOfThem) {
    const std::string logs = flag("StoreLogs", "Store Logs");
    expectFields(61, makeCommand("start", {{"-velkossd", "0"}, {"-scan", ""}}),
                 {
                     {"FullScan", "Full Scan", "boolean", "TRUE"},
                     {"IncludeOS", "Include OS", "boolean", "false"},
                     {"IncludeSystemInfo", "Include System Info", "boolean", "true"},
                     {"Path", "Path", "string", "/mnt"},
                     {"DirectoryPath", "DirectoryPath", "string", "/tmp/logs"},
                 },
                 [&logs](const std::string& fields) { return xmlMethod("HealthScan", logs + fields); });
}

TEST_F(ScanFlow, RefusesBadProperties) {
    for (const char* key : {"FullScan", "IncludeOS", "IncludeSystemInfo"})
        for (const char* value : {"", "1", "yes"})
            expectRefusal(61, makeCommand("start", {{"-velkossd", "0"}, {"-scan", ""}}, {{key, value}}), BAD_VALUE,
                          "Error: Must specify true|false for the given property: " + std::string(key));
    for (const char* key : {"Path", "DirectoryPath"})
        expectRefusal(61, makeCommand("start", {{"-velkossd", "0"}, {"-scan", ""}}, {{key, ""}}), BAD_VALUE,
                      "Error: Must specify a value for the given property: " + std::string(key));
}

TEST_F(ScanFlow, EndsWithTheOutcomeOfTheScan) {
    const auto command = makeCommand("start", {{"-velkossd", "0"}, {"-scan", ""}});
    services_.responses = {
        "<Object><Object category=\"Output\"><Property name=\"Drive\" value=\"good\"/>"
        "<Property name=\"HealthScanStatusCode\" value=\"2\"/></Object></Object>"};
    expectResult(61, command, 2, "\n- Scan Results -\n\nDrive : good\n");
    services_.responses = {"<Object/>"};
    expectResult(61, command, 0, "\n- Scan Results -\n\nNo results\n");
}

}  // namespace
}  // namespace cli::velkossd
