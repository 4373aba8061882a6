#pragma once

#include <string>

namespace features::jobs {

/// The answer of a job that holds nothing but one status of drive S1, written "10/28 Invalid LBA format.".
inline std::string statusAnswer(const std::string& title, const std::string& status) {
    const size_t slash = status.find('/');
    const size_t blank = status.find(' ');
    return "0/0\n<Object category=\"Output\">\n<Object category=\"status\" key=\"S1\" name=\"" + title +
           "\">\n<Property name=\"Category\" value=\"" + status.substr(0, slash) +
           "\"/>\n<Property name=\"Code\" value=\"" + status.substr(slash + 1, blank - slash - 1) +
           "\"/>\n<Property name=\"Message\" value=\"" + status.substr(blank + 1) + "\"/>\n</Object>\n</Object>";
}

}  // namespace features::jobs
