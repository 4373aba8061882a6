#include <gtest/gtest.h>

#include <optional>

#include "features/jobs/erase/SampledDrive.h"
#include "tests/support/StatusText.h"
#include "tests/support/fakedrive/FakeDrive.h"
#include "tests/unit/features/jobs/Commands.h"
#include "tests/unit/features/jobs/Unplugged.h"

namespace features::jobs {
namespace {

using namespace fakedrive;

constexpr uint64_t NO_SPACE = 0;

/// Bytes of the only space; 0 where there is none.
template <typename Sampled, typename Drive>
uint64_t bytesOf(FakeDrive& fake) {
    Drive drive(*fake.device());
    const auto spaces = Sampled(drive).spaces();
    EXPECT_TRUE(spaces);
    return spaces && spaces->size() == 1 ? spaces->front().bytes : NO_SPACE;
}

/// Two sectors of 80000200h bytes have 400h in 32 bits: as much as two of the usual size.
TEST(SampledDrive, HasNoSectorsOfASizeThatNoTransferHas) {
    const struct {
        uint32_t sectorWords;
        uint64_t sectors;
        uint64_t bytes;
    } CASES[] = {
        {2048, 100, 409600},
        {0x40000100, 100, NO_SPACE},
        {2048, UINT64_MAX / 4096, UINT64_MAX / 4096 * 4096},
        {2048, UINT64_MAX / 4096 + 1, NO_SPACE},
    };
    for (const auto& c : CASES) {
        FakeSataDrive fake;
        fake.expect(
            identifyAta().answers(identifyDevice().word(106, 0x5000).le32(234, c.sectorWords).le64(200, c.sectors)));
        EXPECT_EQ((bytesOf<SampledAtaDrive, ata::Drive>(fake)), c.bytes) << c.sectorWords;
    }
}

TEST(SampledDrive, HasNoBlocksOfASizeThatNoTransferHas) {
    const struct {
        uint8_t blockShift;
        uint64_t bytes;
    } CASES[] = {{12, 409600}, {31, NO_SPACE}};
    for (const auto& c : CASES) {
        FakeDrive fake;
        fake.expect(identify(0x02).answers(namespaceList({1})))
            .expect(identify(0x01).answers(identifyController()))
            .expect(identify(0x03, 1).answers(DriveBytes(4096)))
            .expect(identify(0x00, 1).answers(identifyNamespace(100, c.blockShift)));
        EXPECT_EQ((bytesOf<SampledNvmeDrive, nvme::Drive>(fake)), c.bytes) << unsigned{c.blockShift};
    }
}

/// NVMe 1.4: its namespaces may be of other command sets.
DriveBytes controller14() {
    return identifyController().le32(80, 0x00010400);
}

TEST(SampledDrive, HasTheNamespacesWithBlocksAndWhatTheyReadAfterADeallocation) {
    const struct {
        uint8_t csi;
        uint8_t dlfeat;
        size_t spaces;
        std::optional<uint8_t> deallocated;
    } CASES[] = {
        {0, 0, 1, std::nullopt},  {0, 1, 1, uint8_t{0x00}}, {0, 2, 1, uint8_t{0xFF}},
        {0, 9, 1, uint8_t{0x00}}, {2, 1, 1, uint8_t{0x00}}, {1, 1, 0, std::nullopt},
    };
    for (const auto& c : CASES) {
        SCOPED_TRACE(&c - CASES);
        FakeDrive fake;
        fake.expect(identify(0x02).answers(namespaceList({1})))
            .expect(identify(0x01).answers(controller14()))
            .expect(identify(0x03, 1).answers(descriptorsOf(c.csi)));
        if (c.spaces != 0) fake.expect(identify(0x00, 1).answers(identifyNamespace(100).byte(33, c.dlfeat)));
        nvme::Drive drive(*fake.device());
        const auto spaces = SampledNvmeDrive(drive).spaces();
        ASSERT_TRUE(spaces);
        ASSERT_EQ(spaces->size(), c.spaces);
        for (const SampledSpace& space : *spaces) EXPECT_EQ(space.deallocated, c.deallocated);
    }
}

TEST(SampledDrive, OneThatCannotBeAskedForItsSpacesHasNotNone) {
    expectUnplugged({identify(0x02).answers(namespaceList({1})), identify(0x01).answers(controller14()),
                     identify(0x03, 1).answers(descriptorsOf(0)), identify(0x00, 1).answers(identifyNamespace(100))},
                    "0/70 The drive /dev/nvme0 is gone.", [](const FakeDrive& fake) {
                        nvme::Drive drive(*fake.device());
                        return statusText(SampledNvmeDrive(drive).spaces());
                    });
    expectUnplugged<FakeSataDrive>({identifyAta()}, "0/70 The drive /dev/nvme0 is gone.", [](const FakeDrive& fake) {
        ata::Drive drive(*fake.device());
        return statusText(SampledAtaDrive(drive).spaces());
    });
}

}  // namespace
}  // namespace features::jobs
