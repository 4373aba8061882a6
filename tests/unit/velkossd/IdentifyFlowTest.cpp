#include "tests/unit/velkossd/FlowTest.h"

namespace cli::velkossd {
namespace {

class IdentifyFlow : public FlowTest {
protected:
    static std::string structure(const std::string& cns) {
        return xmlProperty("ControllerNamespaceStructure", "Controller Namespace Structure", "uint8", cns);
    }
    static std::string identifyRequest(const std::string& cns, const std::string& namespaceId,
                                       const std::string& after = "") {
        return xmlMethod("Identify",
                         structure(cns) + xmlProperty("NamespaceId", "NamespaceId", "uint32", namespaceId) + after);
    }
    static framework::ParsedCommand identify(Parts targets) {
        targets["-velkossd"] = "0";
        targets["-identify"] = "";
        return makeCommand("show", targets);
    }
    static framework::ParsedCommand listControllers(Parts targets) {
        targets["-velkossd"] = "0";
        targets["-nvmecontroller"] = "";
        return makeCommand("show", targets);
    }
};

constexpr char BAD_NAMESPACE[] = "Error: Invalid value for -namespace target. The value must be a valid namespace ID.";

TEST_F(IdentifyFlow, AsksForTheStructureOfEachCase) {
    const struct {
        Parts targets;
        const char* cns;
        const char* namespaceId;
        const char* why;
    } cases[] = {
        {{}, "1", "0", "the controller"},
        {{{"-descriptors", ""}}, "1", "0", "descriptors of nothing"},
        {{{"-namespace", "5"}}, "0", "5", "a namespace"},
        {{{"-namespace", "0x5"}}, "0", "0x5", "as typed"},
        {{{"-namespace", ""}}, "0", "", "an empty one passes as hexadecimal"},
        {{{"-namespace", "attached"}}, "2", "0", "a list"},
        {{{"-namespace", "ATTACHED"}}, "2", "0", "in any case"},
        {{{"-namespace", "allocated"}}, "16", "0", "the other list"},
        {{{"-namespace", "Allocated"}}, "16", "0", "in any case"},
        {{{"-nvmecontroller", ""}}, "19", "0", "all controllers"},
        {{{"-nvmecontroller", "7"}}, "19", "0", "its value is not looked at"},
        {{{"-uuidlist", ""}}, "23", "0", "the UUID list"},
        {{{"-uuidlist", ""}, {"-nvmecontroller", ""}, {"-namespace", "bad"}, {"-descriptors", ""}},
         "23",
         "0",
         "which goes before everything"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        expectRequest(35, identify(c.targets), identifyRequest(c.cns, c.namespaceId));
    }
}

TEST_F(IdentifyFlow, AsksForAllDrives) {
    expectRequest(
        35, makeCommand("show", {{"-identify", ""}}),
        xmlRequest("Identify", "Method",
                   SCAN + structure("1") + xmlProperty("NamespaceId", "NamespaceId", "uint32", "0") + MODULES));
}

TEST_F(IdentifyFlow, SendsASecondStructureForDescriptors) {
    expectRequest(35, identify({{"-namespace", "1"}, {"-descriptors", ""}}), identifyRequest("0", "1", structure("3")));
}

TEST_F(IdentifyFlow, RefusesWhatDoesNotFit) {
    const struct {
        Parts targets;
        const char* text;
    } cases[] = {
        {{{"-namespace", "all"}}, BAD_NAMESPACE},
        {{{"-namespace", "-1"}, {"-descriptors", ""}}, BAD_NAMESPACE},
        {{{"-namespace", "attached"}, {"-descriptors", ""}},
         "Error: Must specify a single namespace to retrieve descriptors from."},
        {{{"-namespace", "ALLOCATED"}, {"-descriptors", ""}},
         "Error: Must specify a single namespace to retrieve descriptors from."},
        {{{"-nvmecontroller", ""}, {"-descriptors", ""}},
         "Error: -descriptors option incompatible with -nvmecontroller"},
        {{{"-nvmecontroller", ""}, {"-descriptors", ""}, {"-namespace", "1"}},
         "Error: -descriptors option incompatible with -nvmecontroller"},
        {{{"-nvmecontroller", ""}, {"-namespace", "1"}},
         "Error: Conflicting targets provided. Please specify -nvmecontroller or -namespace, not both."},
    };
    for (const auto& c : cases) expectRefusal(35, identify(c.targets), BAD_VALUE, c.text);
}

TEST_F(IdentifyFlow, ListsControllers) {
    expectRequest(51, listControllers({}), identifyRequest("19", "0"));
    expectRequest(51, listControllers({{"-namespace", "3"}}), identifyRequest("18", "3"));
    for (const char* id : {"0x3", "", "attached", "all"})
        expectRefusal(51, listControllers({{"-namespace", id}}), BAD_VALUE, BAD_NAMESPACE);
}

}  // namespace
}  // namespace cli::velkossd
