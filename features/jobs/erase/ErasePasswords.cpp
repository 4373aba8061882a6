#include "features/jobs/erase/ErasePasswords.h"

#include <unistd.h>

#include <cerrno>

#include "features/errors/DriveName.h"
#include "features/jobs/support/PercentEncoding.h"
#include "features/jobs/support/StatusDetails.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/File.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/SystemError.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

constexpr const char* TEXT =
    "This drive got a password for SECURITY ERASE UNIT, and was not seen without it since. See docs/sata.md.\n";

std::string textOf(const Device& drive, const Attribute& attribute) {
    return drive.getAttribute(attribute).getText();
}

}  // namespace

std::string ErasePasswords::fileName(const Device& drive) {
    return percentEncoded(textOf(drive, attributes::device::modelNumber())) + "," +
           percentEncoded(textOf(drive, attributes::device::serialNumber())) + ".erasepassword";
}

Result<std::string> ErasePasswords::pathOf(const Device& drive) const {
    if (textOf(drive, attributes::device::serialNumber()).empty()) {
        return withDetails(statuses::deviceDataRetrievalFailed(),
                           "Drive " + driveName(drive) + " has no serial number to keep a record under.");
    }
    return folder_ + "/" + fileName(drive);
}

Result<bool> ErasePasswords::has(const Device& drive) const {
    TRY(const std::string path, pathOf(drive));
    std::string text;
    const Status status = readFile(path, SymbolicLink::REFUSE, text);
    if (status.is(CATEGORY_OS, ENOENT)) return false;
    if (failed(status)) return ofFile(status, statuses::fileReadFailed());
    return true;
}

Status ErasePasswords::add(const Device& drive) const {
    TRY(const std::string path, pathOf(drive));
    const Status status = makeStateFolder(folder_);
    if (failed(status)) return withDetails(statuses::directoryCreationFailed(), status.getMessage());
    return ofFile(writeFileAtomically(path, TEXT), statuses::fileWriteFailed());
}

Status ErasePasswords::remove(const Device& drive) const {
    TRY(const std::string path, pathOf(drive));
    if (::unlink(path.c_str()) == 0 || errno == ENOENT) return Status();
    return withDetails(statuses::fileWriteFailed(), path + ": " + systemErrorText(errno) + ".");
}

}  // namespace features::jobs
