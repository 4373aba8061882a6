#include <gtest/gtest.h>

#include "features/jobs/inventory/SharedAttributes.h"
#include "ostrel/core/AttributeVocabulary.h"

namespace features::jobs {
namespace {

using namespace ostrel::core;
namespace device = attributes::device;

std::string textOf(const Attribute& attribute) {
    return attribute.getName() + " " + attribute.getType() + " " + attribute.getText() + " " +
           attribute.getDescription();
}

const uint8_t* bytesOf(const Attribute& attribute) {
    return attribute.getValue().getData();
}

TEST(SharedAttributes, DrivesWithOneTextShareItsBytes) {
    SharedAttributes shared;
    const Attribute first = shared.listed(device::sectorSize(), "512", "bytes");
    const Attribute second = shared.listed(device::sectorSize(), "512", "bytes");
    EXPECT_EQ(textOf(first), "SectorSize uint32 512 bytes");
    EXPECT_EQ(textOf(second), "SectorSize uint32 512 bytes");
    EXPECT_EQ(bytesOf(first), bytesOf(second));
}

TEST(SharedAttributes, AnotherTextLeavesThatOfTheFirstDrive) {
    SharedAttributes shared;
    const Attribute first = shared.listed(device::firmware(), "FW1", "");
    const Attribute second = shared.listed(device::firmware(), "FW2", "");
    EXPECT_EQ(textOf(first), "Firmware string FW1 ");
    EXPECT_EQ(textOf(second), "Firmware string FW2 ");
    EXPECT_EQ(textOf(shared.listed(device::modelNumber(), "FW2", "")), "ModelNumber string FW2 ");
}

TEST(SharedAttributes, WhatIsMissingIsAText) {
    SharedAttributes shared;
    const Attribute missing = shared.missing(device::sectorSize());
    EXPECT_EQ(textOf(missing), "SectorSize string Property not found ");
    EXPECT_EQ(bytesOf(shared.missing(device::sectorSize())), bytesOf(missing));
    EXPECT_EQ(textOf(shared.listed(device::sectorSize(), "4096", "bytes")), "SectorSize uint32 4096 bytes");
}

TEST(SharedAttributes, ATextThatIsNoneOfTheTypeIsAText) {
    SharedAttributes shared;
    for (int drive = 0; drive < 2; ++drive) {
        EXPECT_EQ(textOf(shared.listed(device::sectorSize(), "unknown", "bytes")), "SectorSize string unknown bytes");
    }
}

}  // namespace
}  // namespace features::jobs
