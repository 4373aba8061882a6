#include "features/transport/HostStatus.h"

#include <algorithm>
#include <cerrno>
#include <string_view>

#include "ostrel/core/SystemError.h"

namespace features::transport {

using namespace ostrel::core;

namespace {

struct HostErrorRow {
    int error;
    Status (*status)();
    const char* before;  ///< the words around the place
    const char* after;
};
// clang-format off
constexpr HostErrorRow HOST_ERRORS[] = {
    {EACCES,    statuses::requiresAdminPrivileges, "No permission for ", ": it needs the root user or CAP_SYS_ADMIN"},
    {EPERM,     statuses::requiresAdminPrivileges, "No permission for ", ": it needs the root user or CAP_SYS_ADMIN"},
    {ENOENT,    statuses::deviceUnavailable,       "",                   " does not exist"},
    {ENODEV,    statuses::deviceUnavailable,       "The drive of ",      " is gone"},
    {ENXIO,     statuses::deviceUnavailable,       "The drive of ",      " is gone"},
    {EBADMSG,   statuses::deviceUnavailable,       "",                   ""},
    {EINTR,     statuses::commandTimedOut,         "The drive of ",      " did not answer in time"},
    {ETIME,     statuses::commandTimedOut,         "The drive of ",      " did not answer in time"},
    {ETIMEDOUT, statuses::commandTimedOut,         "The drive of ",      " did not answer in time"},
    {ENOMEM,    statuses::mallocFailed,            "",                   ""},
};
// clang-format on

/// What the command paths say of other errors.
constexpr Status (*OTHER_ERRORS[])() = {statuses::noConnectionToOpen, statuses::completionUnavailable,
                                        statuses::invalidTransferSize, statuses::systemRescanFailed};

/// What the words of category 1 begin with, for users of the simulated drives' files alone.
constexpr std::string_view PREFIX = "System error. ";

const HostErrorRow* rowOf(int error) {
    const auto* row =
        std::find_if(std::begin(HOST_ERRORS), std::end(HOST_ERRORS), [&](const auto& r) { return r.error == error; });
    return row == std::end(HOST_ERRORS) ? nullptr : row;
}

Status inWords(Status status, const std::string& words, const std::string& error) {
    status.setMessage(status.getMessage() + " " + words + " (errno " + error + ").");
    return status;
}

}  // namespace

Status hostStatus(int error, const std::string& place, Status (*otherwise)()) {
    const HostErrorRow* row = rowOf(error);
    return inWords(row == nullptr ? otherwise() : row->status(),
                   row == nullptr ? place : row->before + place + row->after,
                   std::to_string(error) + ": " + systemErrorText(error));
}

Status hostStatus(const Status& status) {
    if (status.getCategory() != CATEGORY_OS) return status;
    std::string words = status.getMessage();
    if (words.compare(0, PREFIX.size(), PREFIX) == 0) words.erase(0, PREFIX.size());
    if (!words.empty() && words.back() == '.') words.pop_back();
    const HostErrorRow* row = rowOf(static_cast<int>(status.getCode()));
    return inWords(row == nullptr ? statuses::completionUnavailable() : row->status(), words,
                   std::to_string(status.getCode()));
}

bool isTransportError(const Status& status) {
    const auto is = [&](Status (*other)()) { return status.is(other().getCategory(), other().getCode()); };
    return std::any_of(std::begin(HOST_ERRORS), std::end(HOST_ERRORS), [&](const auto& r) { return is(r.status); }) ||
           std::any_of(std::begin(OTHER_ERRORS), std::end(OTHER_ERRORS), is);
}

}  // namespace features::transport
