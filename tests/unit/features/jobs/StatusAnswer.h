#pragma once

#include <string>

namespace features::jobs {

/// The answer of a job whose output holds these objects, each with a line end.
inline std::string output(const std::string& children) {
    return "0/0\n<Object category=\"Output\">\n" + children + "</Object>";
}

/// A status of a drive in an output, under the heading of the job.
inline std::string statusObject(const std::string& title, const std::string& category, const std::string& code,
                                const std::string& message, const std::string& key = "S1") {
    std::string shown;
    for (const char c : message) shown += c == '\'' ? std::string("&apos;") : std::string(1, c);
    return "<Object category=\"status\" key=\"" + key + "\" name=\"" + title +
           "\">\n<Property name=\"Category\" value=\"" + category + "\"/>\n<Property name=\"Code\" value=\"" + code +
           "\"/>\n<Property name=\"Message\" value=\"" + shown + "\"/>\n</Object>\n";
}

/// The answer of a job that holds nothing but one status of drive S1.
inline std::string statusAnswer(const std::string& title, const std::string& category, const std::string& code,
                                const std::string& message) {
    return output(statusObject(title, category, code, message));
}
/// The same, written "10/28 Invalid LBA format.".
inline std::string statusAnswer(const std::string& title, const std::string& status) {
    const size_t slash = status.find('/');
    const size_t blank = status.find(' ');
    return statusAnswer(title, status.substr(0, slash), status.substr(slash + 1, blank - slash - 1),
                        status.substr(blank + 1));
}

}  // namespace features::jobs
