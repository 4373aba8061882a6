#pragma once

#include <cstdint>

#include "tests/support/fakedrive/FakeDrive.h"

namespace features::jobs {

/// What is said of a value that was set and not saved.
inline constexpr char UNTIL_RESET[] = "0/0 It holds until the next controller reset.";
inline constexpr char UNTIL_LINUX[] = "0/0 It holds until the next controller reset, when Linux sets this feature.";

/// What a drive without Save is asked when a field is set: `before` and `after` are dword 0 of Get Features, dword 11
/// is that of Set Features. `isIdentified`: Identify Controller was asked before.
inline fakedrive::FakeDrive& expectSet(fakedrive::FakeDrive& drive, uint8_t fid, uint32_t before, uint32_t dword11,
                                       uint32_t after, bool isIdentified = false) {
    using namespace fakedrive;
    drive.expect(getFeature(fid).completes(before));
    if (!isIdentified) drive.expect(identify(0x01).answers(identifyController()));
    return drive.expect(setFeature(fid, dword11).completes()).expect(getFeature(fid).completes(after));
}

}  // namespace features::jobs
