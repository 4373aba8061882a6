#include <gtest/gtest.h>

#include "features/errors/DriveName.h"

namespace features {
namespace {

using namespace ostrel::core;

TEST(DriveName, IsThePathAloneWithoutASerialNumber) {
    Device drive;
    Attribute path = attributes::device::devicePath();
    path.setValue(std::string("/dev/nvme0"));
    drive.setAttribute(path);
    EXPECT_EQ(driveName(drive), "/dev/nvme0");
    Attribute serial = attributes::device::serialNumber();
    serial.setValue(std::string("S1"));
    drive.setAttribute(serial);
    EXPECT_EQ(driveName(drive), "S1 (/dev/nvme0)");
}

}  // namespace
}  // namespace features
