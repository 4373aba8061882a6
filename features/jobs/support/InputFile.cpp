#include "features/jobs/support/InputFile.h"

#include <filesystem>
#include <system_error>

#include "features/jobs/support/StatusDetails.h"
#include "ostrel/core/ScopeTrace.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

Status unreadable(const std::string& path, const std::string& reason, Status (*kind)() = statuses::fileReadFailed) {
    return withDetails(kind(), "'" + path + "': " + reason + ".");
}

}  // namespace

Status readInputFile(const std::string& path, uint64_t mostBytes, std::string& bytes, SymbolicLink link,
                     Status (*tooLarge)()) {
    OSTREL_TRACE();
    namespace fs = std::filesystem;
    std::error_code error;
    // Reading a device or a pipe might never end.
    const fs::file_status type =
        link == SymbolicLink::FOLLOW ? fs::status(path, error) : fs::symlink_status(path, error);
    if (error) return unreadable(path, error.message());
    if (!fs::is_regular_file(type))
        return unreadable(path, fs::is_symlink(type) ? "a symbolic link" : "not a regular file");
    const uint64_t size = fs::file_size(path, error);
    if (error) return unreadable(path, error.message());
    if (size > mostBytes) {
        return unreadable(
            path,
            "it has " + std::to_string(size) + " bytes, and at most " + std::to_string(mostBytes) + " can be taken",
            tooLarge);
    }
    std::string contents;
    const Status status = readFile(path, link, contents);
    if (!status.is(0, 0)) return unreadable(path, std::generic_category().message(static_cast<int>(status.getCode())));
    bytes = std::move(contents);
    return Status();
}

}  // namespace features::jobs
