#include <gtest/gtest.h>

#include <sstream>

#include "features/nvme/Completion.h"
#include "ostrel/core/xml/XmlObject.h"

namespace features::nvme {
namespace {

TEST(Completion, TakesTheStatusFieldApart) {
    const Completion failed(0x6281, 0x11223344, 0x55667788);
    EXPECT_FALSE(failed.isSuccess());
    EXPECT_EQ(failed.status().type, 2);
    EXPECT_EQ(failed.status().code, 0x81);
    EXPECT_TRUE(failed.is({2, 0x81}));
    EXPECT_FALSE(failed.is({1, 0x81}));
    EXPECT_FALSE(failed.is({2, 0x80}));
    EXPECT_TRUE(failed.doNotRetry());
    EXPECT_EQ(failed.meaning(), "Unrecovered Read Error");

    EXPECT_TRUE(Completion().isSuccess());
    EXPECT_TRUE(Completion(0x6000, 0).isSuccess()) << "More and Do Not Retry are no status";
    EXPECT_FALSE(Completion(0x0700, 0).isSuccess()) << "a maker's status with code 0";
    EXPECT_FALSE(Completion(0x0001, 0).doNotRetry());
}

TEST(Completion, WritesItselfForTheHistory) {
    std::ostringstream out;
    Completion(0x4109, 0x2A, 0x07).toString(out);
    EXPECT_EQ(out.str(),
              "Status Code Type: 0x1\nStatus Code: 0x09 (Invalid Log Page)\nDword 0: 0x0000002A\nDword 1: 0x00000007");
    std::string xml;
    Completion(0x4109, 0x2A, 0x07).toXml()->appendXml(xml);
    EXPECT_EQ(xml,
              "<Object category=\"protocolResult\"><Property name=\"Status Code Type\" value=\"0x1\"/>"
              "<Property name=\"Status Code\" value=\"0x09\"/><Property name=\"Meaning\" value=\"Invalid Log Page\"/>"
              "<Property name=\"Dword 0\" value=\"0x0000002A\"/><Property name=\"Dword 1\" value=\"0x00000007\"/>"
              "</Object>");
}

TEST(Completion, ClonesItself) {
    const auto copy = Completion(0x4109, 0x2A, 0x07).clone();
    const auto* completion = dynamic_cast<const Completion*>(copy.get());
    ASSERT_NE(completion, nullptr);
    EXPECT_EQ(completion->statusField, 0x4109);
    EXPECT_EQ(completion->dword0, 0x2AU);
    EXPECT_EQ(completion->dword1, 0x07U);
}

}  // namespace
}  // namespace features::nvme
