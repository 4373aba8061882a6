#pragma once

#include <string>
#include <vector>

#include "tests/unit/features/jobs/Commands.h"
#include "tests/unit/features/jobs/JobRun.h"
#include "tests/unit/features/jobs/StatusAnswer.h"

namespace features::jobs {

/// Firmware Commit.
inline fakedrive::Expected commit(uint32_t slot, uint32_t action) {
    return fakedrive::Expected::admin(0x10).dword(10, action << 3 | slot);
}

/// The Firmware Slot Information log with its first byte.
inline fakedrive::DriveBytes slots(uint8_t activeInfo) {
    return fakedrive::DriveBytes(512).byte(0, activeInfo);
}
inline fakedrive::Expected slotLog(const fakedrive::DriveBytes& log) {
    return lookAtLog(0x03, 512).answers(log);
}

/// A status of drive S1.
inline std::string status(const std::string& title, const std::string& category, const std::string& code,
                          const std::string& message) {
    return statusObject(title, category, code, message);
}

/// The slots as they are shown; slots without a text are "none".
inline std::string slotTree(const std::string& activeInfo, const std::string& active, const std::string& next,
                            std::vector<std::string> revisions,
                            const std::string& heading = "Firmware Slot Information") {
    revisions.resize(7, "none");
    std::string tree =
        "<Object key=\"S1\" name=\"" + heading +
        "\">\n"
        "<Property description=\"Active Firmware Info\" name=\"AFI\" value=\"" +
        activeInfo +
        "\"/>\n<Property description=\"Slot that the running firmware was loaded from\" name=\"AFI Active Slot\" "
        "value=\"" +
        active +
        "\"/>\n<Property description=\"Slot that the next controller level reset activates\" name=\"AFI Next Slot\" "
        "value=\"" +
        next + "\"/>\n";
    for (size_t i = 0; i < revisions.size(); ++i) {
        const std::string slot = std::to_string(i + 1);
        tree += "<Property description=\"Firmware Revision for Slot " + slot + "\" name=\"FRS" + slot + "\" value=\"" +
                revisions[i] + "\"/>\n";
    }
    return tree + "</Object>\n";
}

inline std::string previousSlotTree(const std::string& activeInfo, const std::string& active, const std::string& next,
                                    const std::vector<std::string>& revisions) {
    return slotTree(activeInfo, active, next, revisions, "Previous Firmware Slot Information");
}

/// What a commit did, for programs.
inline std::string stateTree(const std::string& previous, const std::string& running, const std::string& next,
                             const std::string& slot, const std::string& reset) {
    return "<Object key=\"S1\" name=\"Firmware State\">\n<Property name=\"PreviousFirmware\" value=\"" + previous +
           "\"/>\n<Property name=\"RunningFirmware\" value=\"" + running +
           "\"/>\n<Property name=\"NextFirmware\" value=\"" + next + "\"/>\n<Property name=\"FirmwareSlot\" value=\"" +
           slot + "\"/>\n<Property name=\"RequiredReset\" value=\"" + reset + "\"/>\n</Object>\n";
}

}  // namespace features::jobs
