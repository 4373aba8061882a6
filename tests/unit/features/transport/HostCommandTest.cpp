#include <gtest/gtest.h>

#include <sstream>

#include "features/transport/HostCommand.h"
#include "ostrel/core/xml/XmlObject.h"

namespace features::transport {
namespace {

template <class Shown>
std::string textOf(const Shown& shown) {
    std::ostringstream text;
    shown.toString(text);
    return text.str();
}

constexpr struct {
    HostRequest request;
    const char* name;
} REQUESTS[] = {
    {HostRequest::NAMESPACES, "Namespaces"},
    {HostRequest::SIZES, "Sizes of Namespaces"},
    {HostRequest::USES, "Uses of Namespaces"},
    {HostRequest::LOCATION, "Location"},
    {HostRequest::RESET_CONTROLLER, "Controller Reset"},
    {HostRequest::RESET_SUBSYSTEM, "NVM Subsystem Reset"},
    {HostRequest::RESCAN, "Rescan"},
    {HostRequest::LOCK_DRIVE, "Lock Drive"},
    {HostRequest::UNLOCK_DRIVE, "Unlock Drive"},
};

TEST(HostCommand, EachRequestHasAName) {
    for (const auto& row : REQUESTS) {
        const HostCommand command(row.request);
        EXPECT_EQ(command.getName(), row.name);
        EXPECT_EQ(command.getCommandSet(), "Host");
        EXPECT_EQ(textOf(command), std::string("Host request: ") + row.name);
    }
}

TEST(HostCommand, ACopyAsksForTheSame) {
    HostCommand command(HostRequest::USES);
    command.useCheck = UseCheck::CONTENT;
    command.timeoutMs = 1500;
    const auto copy = command.clone();
    const auto* same = dynamic_cast<const HostCommand*>(copy.get());
    ASSERT_NE(same, nullptr);
    EXPECT_EQ(same->getName(), "Uses of Namespaces");
    EXPECT_EQ(same->request, HostRequest::USES);
    EXPECT_EQ(same->useCheck, UseCheck::CONTENT);
    EXPECT_EQ(same->timeoutMs, 1500U);
}

TEST(HostCommand, IsShownAsACommand) {
    EXPECT_EQ(HostCommand(HostRequest::RESCAN).toXml()->toXmlString(),
              R"(<?xml version="1.0" encoding="utf-8"?><Object category="command" name="Rescan"></Object>)");
}

HostResult twoNamespaces() {
    HostNamespace first;
    first.nsid = 1;
    first.node = "/dev/nvme0n1";
    HostNamespace second;
    second.nsid = 7;
    return HostResult({first, second});
}

TEST(HostResult, ACopyHoldsTheSameNamespaces) {
    const auto copy = twoNamespaces().clone();
    const auto* same = dynamic_cast<const HostResult*>(copy.get());
    ASSERT_NE(same, nullptr);
    ASSERT_EQ(same->namespaces.size(), 2U);
    EXPECT_EQ(same->namespaces[0].node, "/dev/nvme0n1");
    EXPECT_EQ(same->namespaces[1].nsid, 7U);
}

TEST(HostResult, ShowsTheNodeOfEachNamespace) {
    EXPECT_EQ(textOf(HostResult()), "Namespaces: 0");
    EXPECT_EQ(textOf(twoNamespaces()), "Namespaces: 2\n1: /dev/nvme0n1\n7: ");
    EXPECT_EQ(twoNamespaces().toXml()->toXmlString(),
              R"(<?xml version="1.0" encoding="utf-8"?><Object category="protocolResult">)"
              R"(<Property name="1" value="/dev/nvme0n1"/><Property name="7" value=""/></Object>)");
}

}  // namespace
}  // namespace features::transport
