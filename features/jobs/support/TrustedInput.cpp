#include "features/jobs/support/TrustedInput.h"

#include "features/jobs/support/InputFile.h"
#include "features/jobs/support/StatusDetails.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/TrustedFile.h"

namespace features::jobs {

using namespace ostrel::core;

Result<std::string> readTrustedInput(const std::string& path, uint64_t maxBytes) {
    TrustedFile file;
    const Status opened = file.open(path, SymbolicLink::REFUSE);
    const Status distrust =
        succeeded(opened) ? opened : withDetails(statuses::fileReadFailed(), opened.getMessage() + ".");
    if (file.refused()) return distrust;
    // What is missing, or a link, has its reason in the words of all inputs.
    TRY(std::string contents, readInputFile(path, maxBytes, SymbolicLink::REFUSE));
    RETURN_IF_FAILED(distrust);  // it could not be checked, and was readable
    return contents;
}

}  // namespace features::jobs
