#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "tests/support/fakedrive/FakeDrive.h"
#include "tests/unit/features/jobs/Commands.h"

namespace features::jobs {

/// The commands that a drive gets, whole and in order.
using Script = std::vector<fakedrive::Expected>;

/// Leaves a new drive as it is.
struct Unprepared {
    template <typename Drive>
    void operator()(Drive&) const {}
};

/// Unplugs the drive at each command of a script in turn, from the `first`. Each time `run(drive)` has to return
/// `answer`, and nothing more may come to the drive. `prepare(drive)` makes a new drive the one that the commands are
/// of.
template <typename Drive = fakedrive::FakeDrive, typename Run, typename Prepare = Unprepared>
void expectUnplugged(const Script& script, const std::string& answer, const Run& run, size_t first = 0,
                     const Prepare& prepare = {}) {
    for (size_t n = first; n < script.size(); ++n) {
        SCOPED_TRACE("unplugged at command " + std::to_string(n) + ": " + script[n].text());
        Drive drive;
        prepare(drive);
        for (size_t i = 0; i < n; ++i) drive.expect(script[i]);
        drive.expect(fakedrive::Expected(script[n]).breaks(gone()));
        EXPECT_EQ(run(drive), answer);
    }
}

}  // namespace features::jobs
