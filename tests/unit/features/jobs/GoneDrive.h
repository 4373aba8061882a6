#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/fakedrive/FakeDrive.h"
#include "tests/unit/features/jobs/Commands.h"

namespace features::jobs {

/// Runs once for each of these commands on a drive that is gone when that command comes: each run must give `answer`,
/// and nothing may be sent after the command. `prepare`: makes a new drive the one that the commands are of.
template <class Drive = fakedrive::FakeDrive, class Run, class Prepare>
void expectTheEndAtEach(const std::vector<fakedrive::Expected>& commands, const std::string& answer, const Run& run,
                        const Prepare& prepare) {
    for (size_t failing = 0; failing < commands.size(); ++failing) {
        SCOPED_TRACE("gone at command " + std::to_string(failing + 1));
        Drive drive;
        prepare(drive);
        for (size_t i = 0; i < failing; ++i) drive.expect(commands[i]);
        drive.expect(fakedrive::Expected(commands[failing]).breaks(gone()));
        EXPECT_EQ(run(drive), answer);
    }
}
template <class Drive = fakedrive::FakeDrive, class Run>
void expectTheEndAtEach(const std::vector<fakedrive::Expected>& commands, const std::string& answer, const Run& run) {
    expectTheEndAtEach<Drive>(commands, answer, run, [](Drive&) {});
}

}  // namespace features::jobs
