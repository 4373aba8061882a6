#include <gtest/gtest.h>

#include <cerrno>

#include "ostrel/core/PathStatus.h"
#include "ostrel/core/SystemError.h"

namespace ostrel::core {
namespace {

TEST(SystemError, HasTheTextOfTheSystem) {
    EXPECT_EQ(systemErrorText(EACCES), "Permission denied");
    EXPECT_EQ(systemErrorText(123456), "Unknown error 123456");
}

TEST(PathStatus, NamesActionAndPath) {
    const Status status = pathStatus("open", "/a/b", ENOENT);
    EXPECT_TRUE(status.is(CATEGORY_OS, ENOENT));
    EXPECT_EQ(status.getMessage(), "Unable to open /a/b: No such file or directory");
}

}  // namespace
}  // namespace ostrel::core
