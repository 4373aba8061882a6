#include <gtest/gtest.h>

#include "ostrel/core/DeviceIOControlUtility.h"
#include "tests/support/LogCapture.h"
#include "tests/support/VirtualSlots.h"

using ostrel::core::DeviceIOControlUtility;

TEST(DeviceIOControlUtility, HasOneVirtualOperation) {
    EXPECT_EQ(virtualSlot(&DeviceIOControlUtility::sendIoctl), 0U);
}

TEST(DeviceIOControlUtility, RefusesAndSaysWhy) {
    const LogCapture log;
    EXPECT_FALSE(DeviceIOControlUtility().sendIoctl(nullptr, 0, nullptr, 0, nullptr, 0, nullptr));
    EXPECT_EQ(log.lines(),
              "[fatal] Attempted to call DeviceIoControl (WINAPI) wrapper method on non-Windows system (probably "
              "Linux)\n"
              "[fatal] Trying to invoke Windows only functionality! Why did you call this method?\n");
}
