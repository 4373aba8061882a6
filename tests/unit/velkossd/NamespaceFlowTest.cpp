#include "tests/unit/velkossd/FlowTest.h"

namespace cli::velkossd {
namespace {

class NamespaceFlow : public FlowTest {
protected:
    static std::string namespaceRequest(const std::string& action, const std::string& arguments,
                                        const std::string& multiPath = "0", const std::string& after = "") {
        return xmlMethod("NamespaceManagement",
                         xmlProperty("Action", "Action", "string", action) + arguments +
                             xmlProperty("MultiPathIoCapabilities", "Multi Path IO Capabilities", "uint8", multiPath) +
                             after);
    }
    static std::string namespaceId(const std::string& id) {
        return xmlProperty("NamespaceId", "NamespaceId", "uint32", id);
    }
    static std::string controllerId(const std::string& id) {
        return xmlProperty("NVMeControllerID", "NVMe Controller ID", "uint16", id);
    }
};

TEST_F(NamespaceFlow, CreatesWithTheFieldsAsTyped) {
    const std::string size = xmlProperty("Size", "Size", "uint64", "0x100000");
    const std::string capacity = xmlProperty("Capacity", "Capacity", "uint64", "all");
    const std::string lbaFormat = xmlProperty("LBAFormat", "LBA Format", "uint8", "1");
    const std::string protection = xmlProperty("ProtectionInformation", "Protection Information", "uint8", "");
    const std::string noId = namespaceId("");
    const struct {
        Parts properties;
        std::string request;
    } cases[] = {
        {{{"Size", "0x100000"}}, namespaceRequest("create", size, "0", noId)},
        {{{"Size", "0x100000"}, {"Capacity", "all"}}, namespaceRequest("create", size + capacity, "0", noId)},
        {{{"Size", "0x100000"}, {"LBAFormat", "1"}}, namespaceRequest("create", size + lbaFormat, "0", noId)},
        {{{"Size", "0x100000"}, {"ProtectionInformation", ""}},
         namespaceRequest("create", size + protection, "0", noId)},
        {{{"Size", "0x100000"}, {"MultiPathIoCapabilities", "1"}}, namespaceRequest("create", size, "1", noId)},
        {{{"Size", "0x100000"},
          {"Capacity", "all"},
          {"LBAFormat", "1"},
          {"ProtectionInformation", ""},
          {"MultiPathIoCapabilities", "yes"}},
         namespaceRequest("create", size + capacity + lbaFormat + protection, "yes", noId)},
    };
    const StandardStreams streams;
    for (const auto& c : cases)
        expectRequest(31, makeCommand("create", {{"-velkossd", "0"}, {"-namespace", ""}}, c.properties), c.request);
    EXPECT_EQ(streams.questions(), "");
    EXPECT_EQ(streams.output(), "");
}

TEST_F(NamespaceFlow, AttachesAndDetaches) {
    const struct {
        int id;
        const char* verb;
    } cases[] = {{33, "attach"}, {34, "detach"}};
    for (const auto& c : cases) {
        expectRequest(c.id, makeCommand(c.verb, {{"-velkossd", "0"}, {"-namespace", "1"}}),
                      namespaceRequest(c.verb, "", "0", namespaceId("1")));
        expectRequest(c.id, makeCommand(c.verb, {{"-velkossd", "0"}, {"-namespace", "any"}, {"-nvmecontroller", "2"}}),
                      namespaceRequest(c.verb, "", "0", namespaceId("any") + controllerId("2")));
        for (const char* controller : {"", "0x2", "first"})
            expectRefusal(
                c.id, makeCommand(c.verb, {{"-velkossd", "0"}, {"-namespace", "1"}, {"-nvmecontroller", controller}}),
                BAD_VALUE, "Error: Invalid value for -nvmecontroller target. The value must be an integer.");
    }
}

TEST_F(NamespaceFlow, DeletesWhatTheUserAgreesTo) {
    const std::string question =
        "WARNING! You have selected to delete the namespace!\nProceed with the delete? (Y|N): ";
    const std::string request = namespaceRequest("delete", "", "0", namespaceId("1"));
    {
        const StandardStreams streams;
        expectRequest(32, makeCommand("delete", {{"-velkossd", "0"}, {"-namespace", "1"}}, {}, {{"-force", ""}}),
                      request);
        EXPECT_EQ(streams.questions(), "");
    }
    {
        const StandardStreams streams("Y\n");
        expectRequest(32, makeCommand("delete", {{"-velkossd", "0"}, {"-namespace", "1"}}), request);
        EXPECT_EQ(streams.questions(), question);
        EXPECT_EQ(streams.output(), "");
    }
    const StandardStreams streams("n\n");
    expectRefusal(32, makeCommand("delete", {{"-velkossd", ""}, {"-namespace", "1"}}), 0, "Cancelled");
    EXPECT_EQ(streams.questions(), question) << "the question comes before the drive is looked at";
}

TEST_F(NamespaceFlow, WantsADrive) {
    const StandardStreams streams("Y\n");
    const struct {
        int id;
        const char* verb;
    } cases[] = {{31, "create"}, {32, "delete"}, {33, "attach"}, {34, "detach"}};
    for (const auto& c : cases) {
        expectRefusal(c.id, makeCommand(c.verb, {{"-velkossd", ""}}, {}, {{"-force", ""}}), BAD_VALUE,
                      "Error: Must specify an velko ssd index.");
        expectRefusal(c.id, makeCommand(c.verb, {}, {}, {{"-force", ""}}), BAD_VALUE,
                      "Error: -velkossd target not found.");
    }
    EXPECT_EQ(streams.questions(), "");
}

}  // namespace
}  // namespace cli::velkossd
