#include <gtest/gtest.h>

#include "features/nvme/ControllerIdentity.h"
#include "tests/support/fakedrive/DriveBytes.h"

namespace features::nvme {
namespace {

using fakedrive::DriveBytes;

DriveBytes identify(const std::string& serial, const std::string& model, const std::string& subsystem) {
    DriveBytes bytes(4096);
    bytes.text(4, serial, 20).text(24, model, 40);
    for (size_t i = 0; i < subsystem.size(); ++i) bytes.byte(768 + i, static_cast<uint8_t>(subsystem[i]));
    return bytes;
}

ControllerIdentity found(const std::string& serial, const std::string& model, const std::string& subsystem) {
    return ControllerIdentity(identify(serial, model, subsystem).bytes().data());
}

TEST(ControllerIdentity, IsInItsPlacesOfIdentifyController) {
    const ControllerIdentity identity(DriveBytes(4096)
                                          .text(3, "xSERIAL NUMBER OF 20b", 21)
                                          .text(24, "MODEL", 40)
                                          .byte(64, 'x')
                                          .byte(767, 'x')
                                          .byte(768, 'n')
                                          .byte(769, 'q')
                                          .bytes()
                                          .data());
    EXPECT_EQ(identity.serialNumber, "SERIAL NUMBER OF 20b");
    EXPECT_EQ(identity.modelNumber, "MODEL");
    EXPECT_EQ(identity.subsystemName, "nq");
    EXPECT_EQ(ControllerIdentity(DriveBytes(4096).text(768, std::string(256, 'n'), 256).byte(1024, 'x').bytes().data())
                  .subsystemName,
              std::string(256, 'n'));
}

TEST(ControllerIdentity, TheTextsOfSysfsAndOfIdentifyAreOfOneForm) {
    const struct {
        std::string sysfs;
        std::string identify;
        const char* why;
    } CASES[] = {
        {"S1", "S1                  ", "blanks at the end"},
        {"  S 1", "  S 1", "blanks elsewhere count"},
        {"S1", std::string("S1\0garbage", 10), "the kernel writes a text, which ends at a zero"},
        {"S1", "S1 \t\nmore", "a line ends at a line end"},
        {"", "", "all blanks"},
        {"\x80\xFF", "\x80\xFF", "any byte"},
    };
    for (const auto& c : CASES) {
        EXPECT_TRUE(ControllerIdentity(c.sysfs, "M", "").isThatOf(found(c.identify, "M", ""))) << c.why;
        EXPECT_TRUE(ControllerIdentity("S", c.sysfs, "").isThatOf(found("S", c.identify, ""))) << c.why;
    }
}

TEST(ControllerIdentity, EveryPartDistinguishesAnotherDrive) {
    const ControllerIdentity selected("S1", "M1", "nqn.1");
    EXPECT_TRUE(selected.isThatOf(found("S1", "M1", "nqn.1")));
    EXPECT_FALSE(selected.isThatOf(found("S2", "M1", "nqn.1")));
    EXPECT_FALSE(selected.isThatOf(found("s1", "M1", "nqn.1")));
    EXPECT_FALSE(selected.isThatOf(found("S1", "M2", "nqn.1")));
    EXPECT_FALSE(selected.isThatOf(found("S1", "M1", "nqn.2")));
    EXPECT_FALSE(selected.isThatOf(found("S1", "M1", ""))) << "the kernel had the name from the drive";
    EXPECT_TRUE(ControllerIdentity("S1", "M1", "").isThatOf(found("S1", "M1", "nqn.2"))) << "an older kernel";
}

TEST(ControllerIdentity, ANameThatTheKernelMadeUpIsNone) {
    const ControllerIdentity made("S1", "M1", "nqn.2014.08.org.nvmexpress:1af41af4S1                  M1");
    EXPECT_EQ(made.subsystemName, "");
    EXPECT_TRUE(made.isThatOf(found("S1", "M1", "")));
    EXPECT_TRUE(made.isThatOf(found("S1", "M1", "nqn.1"))) << "one that the kernel does not trust";
    EXPECT_EQ(ControllerIdentity("S1", "M1", "nqn.2014-08.org.nvmexpress:uuid:1").subsystemName,
              "nqn.2014-08.org.nvmexpress:uuid:1");
}

TEST(ControllerIdentity, NamesTheDriveAndShowsItself) {
    const ControllerIdentity named("S1\x01", "M1", "nqn.1");
    EXPECT_EQ(named.driveName(), "nqn.1");
    EXPECT_EQ(named.text(), "serial number S1? (model M1, subsystem nqn.1)");
    const ControllerIdentity nameless("S1", "M1", "");
    EXPECT_EQ(nameless.driveName(), "M1 S1");
    EXPECT_EQ(nameless.text(), "serial number S1 (model M1)");
}

}  // namespace
}  // namespace features::nvme
