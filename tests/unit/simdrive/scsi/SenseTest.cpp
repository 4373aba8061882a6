#include <gtest/gtest.h>

#include "simdrive/scsi/Sense.h"

namespace simdrive::scsi {
namespace {

using Bytes = std::vector<uint8_t>;

constexpr features::ata::Registers REGISTERS{0x04, 0x51, 0x40, 0x1234, 0x665544332211};

TEST(SenseData, InDescriptorFormatHaveAllRegistersOfA48BitCommand) {
    EXPECT_EQ(ataSenseData(ABORTED, SenseFormat::DESCRIPTOR, REGISTERS, true),
              (Bytes{0x72, 0x0B, 0x00, 0x00, 0,    0,    0,    14,   0x09, 0x0C, 0x01,
                     0x04, 0x12, 0x34, 0x44, 0x11, 0x55, 0x22, 0x66, 0x33, 0x40, 0x51}));
    EXPECT_EQ(ataSenseData(ATA_INFORMATION, SenseFormat::DESCRIPTOR, REGISTERS, false),
              (Bytes{0x72, 0x01, 0x00, 0x1D, 0,    0,    0,    14,   0x09, 0x0C, 0x00,
                     0x04, 0x00, 0x34, 0x00, 0x11, 0x00, 0x22, 0x00, 0x33, 0x40, 0x51}));
}

TEST(SenseData, InFixedFormatSayWhatTheyLack) {
    EXPECT_EQ(ataSenseData(ABORTED, SenseFormat::FIXED, REGISTERS, true),
              (Bytes{0xF0, 0, 0x0B, 0x04, 0x51, 0x40, 0x34, 0x0A, 0xE0, 0x11, 0x22, 0x33, 0, 0, 0, 0, 0, 0}));
    const features::ata::Registers small{0, 0x50, 0x40, 0x00FF, 0x2CF400};
    EXPECT_EQ(ataSenseData(ATA_INFORMATION, SenseFormat::FIXED, small, false),
              (Bytes{0xF0, 0, 0x01, 0x00, 0x50, 0x40, 0xFF, 0x0A, 0x00, 0x00, 0xF4, 0x2C, 0, 0x1D, 0, 0, 0, 0}));
}

TEST(SenseData, WithoutRegisters) {
    EXPECT_EQ(senseData(INVALID_FIELD, SenseFormat::FIXED),
              (Bytes{0x70, 0, 0x05, 0, 0, 0, 0, 0x0A, 0, 0, 0, 0, 0x24, 0, 0, 0, 0, 0}));
    EXPECT_EQ(senseData(INVALID_FIELD, SenseFormat::DESCRIPTOR), (Bytes{0x72, 0x05, 0x24, 0, 0, 0, 0, 0}));
}

TEST(SenseData, AnErrorOfTheDriveHasItsSenseKey) {
    const auto key = [](uint8_t error, uint8_t status) { return senseOf({error, status, 0, 0, 0}).key; };
    EXPECT_EQ(key(0x04, 0x51), 0x0B) << "ABRT";
    EXPECT_EQ(key(0x40, 0x51), 0x03) << "UNC";
    EXPECT_EQ(key(0x10, 0x51), 0x05) << "IDNF";
    EXPECT_EQ(key(0x04, 0x71), 0x04) << "a device fault";
}

}  // namespace
}  // namespace simdrive::scsi
