#include "features/jobs/erase/ErasureRecords.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "features/jobs/support/PercentEncoding.h"
#include "features/jobs/support/StatusDetails.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/ReplacementFile.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/SystemError.h"
#include "ostrel/core/TrustedFile.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

constexpr mode_t FILE_MODE = S_IRUSR | S_IWUSR;
constexpr const char* JSON = ".json";
constexpr const char* TEXT = ".txt";

std::string nameOf(const Device& drive, std::time_t begin) {
    std::tm date = {};
    gmtime_r(&begin, &date);
    char stamp[32];
    (void)std::strftime(stamp, sizeof stamp, "%Y%m%dT%H%M%SZ", &date);  // it fits
    return percentEncoded(drive.getAttribute(attributes::device::modelNumber()).getText()) + "," +
           percentEncoded(drive.getAttribute(attributes::device::serialNumber()).getText()) + "," + stamp;
}

}  // namespace

Status ErasureRecords::makeFolder() const {
    for (const std::string& path : {stateFolder_, folder()}) {
        const Status status = makeStateFolder(path);
        if (failed(status)) return withDetails(statuses::directoryCreationFailed(), status.getMessage());
    }
    return Status();
}

Result<std::string> ErasureRecords::newName(const Device& drive, std::time_t begin) const {
    RETURN_IF_FAILED(makeFolder());
    const std::string first = nameOf(drive, begin);
    std::string name = first;
    for (unsigned number = 2;; ++number) {
        bool isTaken = false;
        for (const char* form : {JSON, TEXT}) {
            struct stat status = {};
            const std::string path = folder() + "/" + name + form;
            if (::lstat(path.c_str(), &status) == 0) {
                isTaken = true;
            } else if (errno != ENOENT) {
                return withDetails(statuses::fileWriteFailed(), path + ": " + systemErrorText(errno) + ".");
            }
        }
        if (!isTaken) return name;
        name = first + "-" + std::to_string(number);
    }
}

Status ErasureRecords::save(const std::string& name, const ErasureRecord& record) const {
    RETURN_IF_FAILED(makeFolder());
    RETURN_IF_FAILED(write(name + JSON, record.json()));
    return write(name + TEXT, record.text());
}

Status ErasureRecords::write(const std::string& file, const std::string& text) const {
    TrustedFile trusted;
    const Status opened = trusted.openFolder(folder());
    if (failed(opened)) return withDetails(statuses::directoryCreationFailed(), opened.getMessage());
    FileDescriptor own(::openat(trusted.descriptor().get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    int error = own.get() >= 0 ? 0 : errno;
    ReplacementFile replacement;
    if (error == 0) error = replacement.openIn(std::move(own), file, FILE_MODE);
    if (error == 0) error = replacement.write(text);
    if (error == 0) error = replacement.publish();
    if (error == 0) return Status();
    return withDetails(statuses::fileWriteFailed(), folder() + "/" + file + ": " + systemErrorText(error) + ".");
}

}  // namespace features::jobs
