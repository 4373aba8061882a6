#include "tests/unit/velkossd/FlowTest.h"

namespace cli::velkossd {
namespace {

class EraseFlow : public FlowTest {
protected:
    static std::string eraseRequest(const std::string& type, const std::string& arguments, const std::string& force,
                                    const std::string& after = "") {
        return xmlMethod("Format", xmlProperty("Type", "Type", "string", type) + arguments +
                                       xmlProperty("Force", "Force", "boolean", force) + after);
    }
};

struct Erasure {
    int id;
    const char* verb;
    const char* target;
    const char* type;
    const char* arguments;
    const char* question;
    const char* notice;
};

constexpr char SANITIZE_BLOCK[] =
    "<Property category=\"attribute\" displayName=\"Sanitize Action\" name=\"SanitizeAction\" size=\"0\" "
    "type=\"uint8\" "
    "value=\"2\"/>";

constexpr Erasure ERASURES[] = {
    {28, "delete", "-unused", "Delete", "",
     "WARNING! You have selected to delete all the data on the drive! \nProceed with the delete? (Y|N): ",
     "Deleting... (This can take several minutes to complete)\n"},
    {36, "start", "-nvmeformat", "NVMeFormat", "",
     "WARNING! You have selected to format the drive! \nProceed with the format? (Y|N): ",
     "Formatting... (This can take several minutes to complete)\n"},
    {37, "start", "-sanitize", "Sanitize", SANITIZE_BLOCK,
     "WARNING! You have selected to sanitize the drive! \nProceed with the sanitize? (Y|N): ",
     "Sanitizing... (This can take several minutes to complete)\n"},
};

TEST_F(EraseFlow, AsksNothingWithForce) {
    for (const Erasure& e : ERASURES) {
        SCOPED_TRACE(e.type);
        const StandardStreams streams;
        expectRequest(e.id, makeCommand(e.verb, {{"-velkossd", "0"}, {e.target, ""}}, {}, {{"-force", ""}}),
                      eraseRequest(e.type, e.arguments, "true"));
        EXPECT_EQ(streams.questions(), "");
        EXPECT_EQ(streams.output(), e.notice);
    }
}

TEST_F(EraseFlow, GoesOnWhenTheUserAgrees) {
    for (const Erasure& e : ERASURES) {
        for (const char* answer : {"Y\n", "y\n", "yes\n", "Y"}) {
            SCOPED_TRACE(std::string(e.type) + answer);
            const StandardStreams streams(answer);
            expectRequest(e.id, makeCommand(e.verb, {{"-velkossd", "0"}, {e.target, ""}}),
                          eraseRequest(e.type, e.arguments, "false"));
            EXPECT_EQ(streams.questions(), e.question);
            EXPECT_EQ(streams.output(), e.notice);
        }
    }
}

TEST_F(EraseFlow, StopsWhenTheUserDoesNotAgree) {
    for (const Erasure& e : ERASURES) {
        for (const char* answer : {"n\n", "no thanks\n", " Y\n", "", "\xD9\n"}) {
            SCOPED_TRACE(std::string(e.type) + answer);
            const StandardStreams streams(answer);
            expectRefusal(e.id, makeCommand(e.verb, {{"-velkossd", "0"}, {e.target, ""}}), 0, "Cancelled");
            EXPECT_EQ(streams.questions(), e.question);
            EXPECT_EQ(streams.output(), "");
        }
        const std::string question = e.question;
        const StandardStreams enterAndEnd("\n");
        expectRefusal(e.id, makeCommand(e.verb, {{"-velkossd", "0"}, {e.target, ""}}), 0, "Cancelled");
        EXPECT_EQ(enterAndEnd.questions(), question + question);
    }
}

TEST_F(EraseFlow, WantsADriveBeforeItAsks) {
    for (const Erasure& e : ERASURES) {
        SCOPED_TRACE(e.type);
        const StandardStreams streams("Y\n");
        expectRefusal(e.id, makeCommand(e.verb, {{"-velkossd", ""}, {e.target, ""}}), BAD_VALUE,
                      "Error: Must specify an velko ssd index.");
        expectRefusal(e.id, makeCommand(e.verb, {{e.target, ""}}, {}, {{"-force", ""}}), BAD_VALUE,
                      "Error: -velkossd target not found.");
        EXPECT_EQ(streams.questions(), "");
        EXPECT_EQ(streams.output(), "");
    }
}

TEST_F(EraseFlow, SendsTheFieldsOfAFormatAsTyped) {
    const StandardStreams streams;
    const Parts force = {{"-force", ""}};
    expectFields(36, makeCommand("start", {{"-velkossd", "0"}, {"-nvmeformat", ""}}, {}, force),
                 {
                     {"SecureEraseSetting", "Secure Erase Setting", "uint8", "1"},
                     {"LBAFormat", "LBA Format", "uint8", "02"},
                     {"ProtectionInformation", "Protection Information", "uint8", "any"},
                     {"MetadataSettings", "Metadata Settings", "uint8", ""},
                 },
                 [](const std::string& fields) { return eraseRequest("NVMeFormat", fields, "true"); });
    const std::string lbaFormat = xmlProperty("LBAFormat", "LBA Format", "uint8", "02");
    const std::string namespaceId = xmlProperty("NamespaceId", "NamespaceId", "uint32", "0xFFFFFFFF");
    expectRequest(36,
                  makeCommand("start", {{"-velkossd", "0"}, {"-nvmeformat", ""}, {"-namespace", "0xFFFFFFFF"}},
                              {{"LBAFormat", "02"}}, force),
                  eraseRequest("NVMeFormat", lbaFormat, "true", namespaceId));
}

TEST_F(EraseFlow, FindsABadNamespaceOnlyAfterTheQuestion) {
    for (const char* id : {"all", "-1", "0x1Z"}) {
        const StandardStreams streams("Y\n");
        expectRefusal(
            36, makeCommand("start", {{"-velkossd", "0"}, {"-nvmeformat", ""}, {"-namespace", id}}), BAD_VALUE,
            "Error: Invalid value for -namespace target. The value must be a valid namespace ID or 0xFFFFFFFF.");
        EXPECT_EQ(streams.questions(),
                  "WARNING! You have selected to format the drive! \nProceed with the format? (Y|N): ");
        EXPECT_EQ(streams.output(), "");
    }
    const StandardStreams streams;
    expectRequest(28, makeCommand("delete", {{"-velkossd", "0"}, {"-namespace", "bad"}}, {}, {{"-force", ""}}),
                  eraseRequest("Delete", "", "true"));
}

TEST_F(EraseFlow, ComparesTheWordsOfASanitizeExactly) {
    const StandardStreams streams;
    const Parts force = {{"-force", ""}};
    const struct {
        const char* word;
        const char* action;
    } words[] = {{"", "2"}, {"block", "2"}, {"crypto", "4"}, {"overwrite", "3"}, {"exit_failure", "1"}};
    for (const auto& w : words)
        expectRequest(
            37, makeCommand("start", {{"-velkossd", "0"}, {"-sanitize", w.word}}, {}, force),
            eraseRequest("Sanitize", xmlProperty("SanitizeAction", "Sanitize Action", "uint8", w.action), "true"));
    for (const char* word : {"CRYPTO", "Block", "2", " ", "exit"})
        expectRefusal(37, makeCommand("start", {{"-velkossd", "0"}, {"-sanitize", word}}, {}, force), BAD_VALUE,
                      "Error: Invalid value for sanitize operation type.");
}

TEST_F(EraseFlow, SendsTheFieldsOfASanitizeAsTyped) {
    const StandardStreams streams;
    expectFields(37, makeCommand("start", {{"-velkossd", "0"}, {"-sanitize", "block"}}, {}, {{"-force", ""}}),
                 {
                     {"NoDeallocateAfterSanitize", "No Deallocate After Sanitize", "boolean", "true"},
                     {"OverwriteInvertPattern", "Overwrite Invert Pattern", "boolean", "maybe"},
                     {"OverwritePassCount", "Overwrite Pass Count", "uint8", "16"},
                     {"AllowUnrestrictedExit", "Allow Unrestricted Exit", "boolean", "FALSE"},
                     {"OverwritePattern", "Overwrite Pattern", "uint32", "0xDEADBEEF"},
                     {"ReturnImmediately", "Return Immediately", "boolean", ""},
                 },
                 [](const std::string& fields) { return eraseRequest("Sanitize", SANITIZE_BLOCK + fields, "true"); });
}

}  // namespace
}  // namespace cli::velkossd
