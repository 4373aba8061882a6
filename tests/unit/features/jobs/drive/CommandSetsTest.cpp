#include <gtest/gtest.h>

#include "features/jobs/drive/CommandSets.h"
#include "ostrel/core/StatusCatalogue.h"
#include "tests/support/StatusText.h"
#include "tests/support/fakedrive/FakeDrive.h"
#include "tests/unit/features/jobs/Unplugged.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using ostrel::core::Status;

Expected ofVersion(uint32_t version) {
    return identify(0x01).answers(identifyController().le32(80, version));
}

/// "0 2", or the error.
std::string setsOf(const FakeDrive& fake) {
    nvme::Drive drive(*fake.device());
    const auto sets = readCommandSets(drive);
    if (!sets) return statusText(sets);
    std::string text;
    for (const uint8_t csi : *sets) text += (text.empty() ? "" : " ") + std::to_string(csi);
    return text;
}

std::string required(const FakeDrive& fake) {
    nvme::Drive drive(*fake.device());
    return statusText(requireBlocks(drive, 3, Status(10, 241, "Not possible.")));
}

constexpr char POSSIBLE[] = "0/0 Completed successfully.";

TEST(CommandSets, AreThoseOfTheAttachedNamespaces) {
    FakeDrive drive;
    drive.expect(ofVersion(0x00010400))
        .expect(identify(0x02).answers(namespaceList({1, 3, 4})))
        .expect(identify(0x03, 1).answers(descriptorsOf(0)))
        .expect(identify(0x03, 3).answers(descriptorsOf(2)))
        .expect(identify(0x03, 4).refuses(0x4002));
    EXPECT_EQ(setsOf(drive), "0 2") << "a namespace that is not described is one of NVM";
}

TEST(CommandSets, BeforeNvme14ThereIsOne) {
    FakeDrive old, silent;
    old.expect(ofVersion(0x00010301));
    EXPECT_EQ(setsOf(old), "0");
    silent.expect(identify(0x01).refuses(0x4002));
    EXPECT_EQ(setsOf(silent), "0");
}

TEST(CommandSets, ACommandOfBlocksNeedsANamespaceWithBlocks) {
    const struct {
        uint8_t csi;
        const char* status;
    } CASES[] = {
        {0, POSSIBLE},
        {1,
         "10/241 Not possible. Namespace 3 of drive S1 (/dev/nvme0) is of the Key Value command set, which has no "
         "logical blocks."},
        {2, POSSIBLE},
    };
    for (const auto& c : CASES) {
        FakeDrive drive;
        drive.expect(ofVersion(0x00020000)).expect(identify(0x03, 3).answers(descriptorsOf(c.csi)));
        EXPECT_EQ(required(drive), c.status);
    }
    FakeDrive old;
    old.expect(ofVersion(0x00010300));
    EXPECT_EQ(required(old), POSSIBLE);
}

/// A namespace of keys and values would take a command of blocks for another one.
TEST(CommandSets, OfAnUnpluggedDriveAreNotKnown) {
    constexpr char UNPLUGGED[] = "0/70 The drive /dev/nvme0 is gone.";
    const Script script{ofVersion(0x00020000), identify(0x02).answers(namespaceList({1, 2})),
                        identify(0x03, 1).answers(descriptorsOf(0)), identify(0x03, 2)};
    expectUnplugged<FakeDrive>(script, UNPLUGGED, setsOf);
    expectUnplugged<FakeDrive>({ofVersion(0x00020000), identify(0x03, 3)}, UNPLUGGED, required);
}

}  // namespace
}  // namespace features::jobs
