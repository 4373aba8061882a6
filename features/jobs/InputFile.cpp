#include "features/jobs/InputFile.h"

#include <filesystem>
#include <system_error>

#include "features/jobs/StatusDetails.h"
#include "ostrel/core/File.h"
#include "ostrel/core/ScopeTrace.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

Status unreadable(const std::string& path, const std::string& reason) {
    return withDetails(statuses::fileReadFailed(), "'" + path + "': " + reason + ".");
}

}  // namespace

Status readInputFile(const std::string& path, uint64_t mostBytes, std::string& bytes) {
    OSTREL_TRACE();
    std::error_code error;
    // Reading a device or a pipe might never end.
    const bool isFile = std::filesystem::is_regular_file(path, error);
    if (error) return unreadable(path, error.message());
    if (!isFile) return unreadable(path, "not a regular file");
    const uint64_t size = std::filesystem::file_size(path, error);
    if (error) return unreadable(path, error.message());
    if (size > mostBytes) {
        return unreadable(path, "it has " + std::to_string(size) + " bytes, and at most " + std::to_string(mostBytes) +
                                    " can be taken");
    }
    std::string contents;
    const Status status = readFile(path, SymbolicLink::FOLLOW, contents);
    if (!status.is(0, 0)) return unreadable(path, std::generic_category().message(static_cast<int>(status.getCode())));
    bytes = std::move(contents);
    return Status();
}

}  // namespace features::jobs
