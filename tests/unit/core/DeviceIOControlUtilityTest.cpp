#include <gtest/gtest.h>

#include <regex>

#include "ostrel/core/DeviceIOControlUtility.h"
#include "ostrel/core/Logging.h"

using namespace ostrel::core;

TEST(DeviceIOControlUtility, RefusesAndSaysWhy) {
    clearMemoryStream();
    attachMemoryStream();
    enableLogging();
    setLogLevel(LOGSEVERITY_INFO);
    EXPECT_FALSE(DeviceIOControlUtility().sendIoctl(nullptr, 0, nullptr, 0, nullptr, 0, nullptr));
    setLogLevel(LOGSEVERITY_TRACE);
    disableLogging();
    detachMemoryStream();
    EXPECT_EQ(std::regex_replace(getMemoryStream()->str(), std::regex("..:..:..:...... \\["), "["),
              "[fatal] Attempted to call DeviceIoControl (WINAPI) wrapper method on non-Windows system (probably "
              "Linux)\n"
              "[fatal] Trying to invoke Windows only functionality! Why did you call this method?\n");
}
