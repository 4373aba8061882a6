#include <gtest/gtest.h>

#include "features/simulator/controller/Controller.h"
#include "features/simulator/store/Clock.h"
#include "features/simulator/store/DriveFolder.h"
#include "simdrive/tcp/DriveController.h"
#include "tests/support/TemporaryFolder.h"

namespace simdrive::tcp {
namespace {

using Bytes = std::vector<uint8_t>;

/// A drive on which every admin command succeeds and does nothing.
class DriveControllerTest : public testing::Test {
protected:
    DriveControllerTest() {
        features::simulator::Description description;
        description.serialNumber = "SIM1";
        description.sizeBytes = 4 << 20;
        features::simulator::FaultyCommand all;
        all.isAnyOpcode = true;
        all.isAdmin = true;
        description.faults.fail = {all};
        writeWholeFile(folder_ / features::simulator::FILE_DESCRIPTION, description.toText());
    }

    class OpenController : public DriveController {
    public:
        using DriveController::DriveController;
        using DriveController::runAdmin;
    };

    TemporaryFolder folder_;
    features::simulator::SystemClock clock_;
    features::simulator::Controller drive_{folder_ / "", clock_};
};

TEST_F(DriveControllerTest, AnIdentifyWithoutDataHasWhatTheNetworkAdds) {
    Bytes entry(64);
    entry[0] = 0x06;
    entry[40] = 0x01;
    Bytes data;
    OpenController controller(drive_, {}, 0, 0);
    EXPECT_TRUE(controller.runAdmin(Capsule(entry.data()), data).isSuccess());
    ASSERT_EQ(data.size(), 4096U);
    EXPECT_EQ(data[77], 8) << "MDTS";
    EXPECT_EQ((Bytes{data[78], data[79]}), (Bytes{1, 0})) << "CNTLID";
}

TEST_F(DriveControllerTest, AHostCanConnectToADriveWhoseIdentifyHasNoData) {
    const auto identify = identifyDrive(drive_);
    ASSERT_TRUE(identify);
    ASSERT_EQ(identify->size(), 4096U);
    EXPECT_EQ(std::string(identify->begin() + 768, identify->begin() + 772), "nqn.");
}

}  // namespace
}  // namespace simdrive::tcp
