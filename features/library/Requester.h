#pragma once

#include <string>

namespace features::library {

/// Who runs this process, for the audit trail. What the system does not have is empty.
struct Requester {
    std::string uid;       ///< the real user
    std::string sudoUid;   ///< who called sudo, as sudo reports it
    std::string loginUid;  ///< who logged in, whatever happened since (pam_loginuid)
    std::string terminal;  ///< "/dev/pts/0"
    std::string parent;    ///< "1234 bash"
};

/// Of this process. `proc` is where procfs is mounted.
Requester requesterOfThisProcess(const std::string& proc = "/proc");

}  // namespace features::library
