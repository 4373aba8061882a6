#include <gtest/gtest.h>
#include <sys/utsname.h>

#include <string>

#include "features/jobs/support/SystemInformation.h"

namespace features::jobs {
namespace {

TEST(SystemInformation, DescribesThisMachine) {
    struct utsname kernel = {};
    ASSERT_EQ(::uname(&kernel), 0);
    const nvme::FieldTree tree = systemInformation();
    EXPECT_EQ(tree.heading, "System Information");
    std::string names;
    for (const nvme::Field& field : tree.fields) {
        names += field.name + " ";
        EXPECT_FALSE(field.value.empty()) << field.name;
        EXPECT_EQ(field.value.find_first_of("\"\n"), std::string::npos) << field.value;
        if (field.name != "OperatingSystemVersion") continue;
        EXPECT_EQ(field.value, std::string(kernel.sysname) + " " + kernel.release);
    }
    EXPECT_EQ(names, "OperatingSystem OperatingSystemVersion ComputerCPU ComputerManufacturer ComputerModel ");
}

}  // namespace
}  // namespace features::jobs
