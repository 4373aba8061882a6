#include "features/transport/SelectedDrive.h"

#include <cerrno>

#include "ostrel/core/ScopeTrace.h"

namespace features::transport {

using ostrel::core::CATEGORY_OS;
using ostrel::core::Status;

Status unknownIdentity(const std::string& place) {
    OSTREL_TRACE();
    return Status(CATEGORY_OS, ENODATA,
                  "System error. The drive of " + place + " cannot be identified, so that it is not changed.");
}

Status anotherDrive(const std::string& place, const std::string& selected, const std::string& found) {
    OSTREL_TRACE();
    return Status(CATEGORY_OS, ENODEV,
                  "System error. The drive of " + place + " is gone. Selected was " + selected + "; " + place +
                      " is now that of " + found + ".");
}

}  // namespace features::transport
