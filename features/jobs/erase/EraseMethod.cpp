#include "features/jobs/erase/EraseMethod.h"

#include <algorithm>
#include <iterator>

#include "ostrel/core/StatusCatalogue.h"

namespace features::jobs {

namespace statuses = ostrel::core::statuses;

namespace {

// clang-format off
constexpr EraseMethodRow METHODS[] = {
    {EraseMethod::SANITIZE_BLOCK,              "purge", "block erase",         "Sanitize (NVMe), Block Erase", statuses::sanitizeFailedUnknownReason},
    {EraseMethod::SANITIZE_OVERWRITE,          "purge", "overwrite",           "Sanitize (NVMe), Overwrite", statuses::sanitizeFailedUnknownReason},
    {EraseMethod::SANITIZE_CRYPTO,             "purge", "cryptographic erase", "Sanitize (NVMe), Crypto Erase", statuses::sanitizeFailedUnknownReason},
    {EraseMethod::FORMAT_USER_DATA,            "clear", "user data erase",     "Format NVM (NVMe), User Data Erase", statuses::formatFailed},
    {EraseMethod::FORMAT_CRYPTO,               "clear", "cryptographic erase", "Format NVM (NVMe), Cryptographic Erase", statuses::formatFailed},
    {EraseMethod::ATA_BLOCK_ERASE,             "purge", "block erase",         "BLOCK ERASE EXT (ATA)", statuses::sanitizeFailedUnknownReason},
    {EraseMethod::ATA_CRYPTO_SCRAMBLE,         "purge", "cryptographic erase", "CRYPTO SCRAMBLE EXT (ATA)", statuses::sanitizeFailedUnknownReason},
    {EraseMethod::ATA_SECURITY_ERASE,          "clear", "security erase",      "SECURITY ERASE UNIT (ATA), normal", statuses::secureEraseUnitFailed},
    {EraseMethod::ATA_ENHANCED_SECURITY_ERASE, "clear", "security erase",      "SECURITY ERASE UNIT (ATA), enhanced", statuses::secureEraseUnitFailed},
};
// clang-format on

}  // namespace

const EraseMethodRow& rowOf(EraseMethod method) {
    return *std::find_if(std::begin(METHODS), std::end(METHODS),
                         [&](const EraseMethodRow& row) { return row.method == method; });
}

}  // namespace features::jobs
