#include <gtest/gtest.h>

#include "features/jobs/drive/Refusals.h"
#include "ostrel/core/StatusCatalogue.h"
#include "tests/support/StatusText.h"
#include "tests/support/fakedrive/FakeDrive.h"
#include "tests/unit/features/jobs/Commands.h"

namespace features::jobs {
namespace {

using namespace fakedrive;
using namespace ostrel::core;

constexpr RefusalRow ROWS[] = {
    {{1, 0x0A}, statuses::invalidLbaFormat},
    {{0, 0x1D}, statuses::sanitizeInProgress},
};

constexpr const char* SUCCEEDED = "succeeded";

/// How the answer of an Identify is reported.
std::string mapped(Expected answer) {
    FakeDrive fake;
    fake.expect(answer);
    nvme::Drive drive(*fake.device());
    const auto data = drive.identify(1, 0);
    return data ? SUCCEEDED : statusText(mapNvmeStatus(ROWS, statuses::formatFailed, data.error()));
}

TEST(Refusals, TheRowOfTypeAndCodeGivesTheMeaning) {
    EXPECT_EQ(mapped(identify(1).refuses(0x410A)),
              "10/28 Invalid LBA format. Identify failed on drive S1 (/dev/nvme0): Invalid Format (status code type "
              "0x1, status code 0x0A, opcode 0x06).");
    EXPECT_EQ(mapped(identify(1).refuses(0x001D)),
              "10/226 Sanitize operation in progress. Identify failed on drive S1 (/dev/nvme0): Sanitize In Progress "
              "(status code type 0x0, status code 0x1D, opcode 0x06).");
}

TEST(Refusals, WithoutARowItIsTheGeneralOne) {
    EXPECT_EQ(mapped(identify(1).refuses(0x000A)),
              "10/171 Failed to format drive. Identify failed on drive S1 (/dev/nvme0): Command Aborted due to Missing "
              "Fused Command (status code type 0x0, status code 0x0A, opcode 0x06).")
        << "the code of another type";
}

TEST(Refusals, WhatIsNoRefusalStaysAsItIs) {
    EXPECT_EQ(mapped(identify(1).answers(identifyController())), SUCCEEDED);
    EXPECT_EQ(mapped(identify(1).breaks(gone())), "0/70 The drive /dev/nvme0 is gone.");
}

}  // namespace
}  // namespace features::jobs
