#include "features/transport/LookErrors.h"

#include <algorithm>

#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/SystemError.h"

namespace features::transport {

using ostrel::core::Status;

void LookErrors::add(const std::string& path, int error) {
    add(path, error, ostrel::core::systemErrorText(error));
}

void LookErrors::add(const std::string& path, int error, const std::string& reason) {
    const bool isKnown = std::any_of(errors_.begin(), errors_.end(), [&](const Error& e) { return e.path == path; });
    if (!isKnown) errors_.push_back({path, error, reason});
}

void LookErrors::add(const LookErrors& others) {
    for (const Error& error : others.errors_) add(error.path, error.error, error.reason);
}

std::string LookErrors::text() const {
    std::string text;
    for (const Error& error : errors_) text += (text.empty() ? "" : "; ") + error.path + ": " + error.reason;
    return text.empty() ? text : text + ".";
}

Status LookErrors::status() const {
    if (errors_.empty()) return Status();
    Status status = ostrel::core::statuses::systemRescanFailed();
    status.setMessage(status.getMessage() + " " + text());
    return status;
}

}  // namespace features::transport
