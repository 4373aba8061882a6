#include <gtest/gtest.h>

#include <map>
#include <string>

#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/Strings.h"
#include "tests/support/TemporaryFolder.h"

namespace ostrel::core {
namespace {

const Status ALL[] = {
#define STATUS(name, category, code, text) statuses::name(),
#include "ostrel/core/StatusCatalogue.def"
};

/// One line a status: category, code and message, a tab written as "\t".
std::string catalogueText() {
    std::string text;
    for (const Status& status : ALL) {
        std::string message = status.getMessage();
        replaceAll(message, "\t", "\\t");
        text += std::to_string(status.getCategory()) + ' ' + std::to_string(status.getCode()) + ' ' + message + '\n';
    }
    return text;
}

TEST(StatusCatalogue, EqualsTheListKeptApart) {
    EXPECT_EQ(catalogueText(), readWholeFile(NIMBREL_TEST_DATA "/StatusCatalogue.expected"));
}

TEST(StatusCatalogue, HasItsRowsInEachCategory) {
    std::map<uint32_t, int> rows;
    for (const Status& status : ALL) ++rows[status.getCategory()];
    EXPECT_EQ(rows, (std::map<uint32_t, int>{{0, 95}, {1, 1}, {10, 280}, {11, 10}}));
}

TEST(StatusCatalogue, KeepsTwoConditionsUnderOneNumber) {
    EXPECT_TRUE(statuses::dsmCommandProblem().is(0, 76));
    EXPECT_TRUE(statuses::noRoomForVdmPacketHeader().is(0, 76));
    EXPECT_EQ(statuses::dsmCommandProblem().getMessage(), "DSM command reported a problem.");
    EXPECT_EQ(statuses::noRoomForVdmPacketHeader().getMessage(),
              "The data did not have enough room for the VDM packet header.");
}

TEST(StatusCatalogue, KeepsTheTabsInTwoMessages) {
    EXPECT_EQ(statuses::multiCommandProtocolViolation().getMessage(),
              "The command was aborted due to a protocol violation in a\tmulti - command sequence.");
    EXPECT_EQ(statuses::namespaceIsWriteProtected().getMessage(),
              "The command is prohibited while the namespace is\twrite protected.");
}

TEST(StatusCatalogue, GivesAFreshStatusAtEachCall) {
    Status first = statuses::noDeviceSelected();
    first.set(1, 2, "changed");
    EXPECT_EQ(statuses::noDeviceSelected().toString(), "Category: 10\nCode: 5\nMessage: No device selected.");
}

TEST(StatusCatalogue, SuccessIsTheDefaultStatus) {
    EXPECT_EQ(statuses::success().toString(), Status().toString());
}

}  // namespace
}  // namespace ostrel::core
