#include "features/jobs/firmware/SignaturePolicy.h"

#include <filesystem>

#include "features/jobs/support/StatusDetails.h"
#include "features/jobs/support/TrustedInput.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::jobs {

using namespace ostrel::core;
namespace fs = std::filesystem;

namespace {

constexpr const char* POLICY_FILE = "/SignaturePolicy";
constexpr size_t MAX_POLICY_BYTES = 64;
constexpr struct {
    const char* text;
    SignaturePolicy policy;
} POLICIES[] = {
    {"warn", SignaturePolicy::WARN},
    {"signed only", SignaturePolicy::SIGNED_ONLY},
};

}  // namespace

Result<SignaturePolicy> readSignaturePolicy(const std::string& directory) {
    const std::string path = directory + POLICY_FILE;
    std::error_code error;
    // Any other error is one of reading.
    if (fs::symlink_status(path, error).type() == fs::file_type::not_found) return SignaturePolicy::NONE;
    TRY(std::string text, readTrustedInput(path, MAX_POLICY_BYTES));
    if (!text.empty() && text.back() == '\n') text.pop_back();
    for (const auto& row : POLICIES) {
        if (text == row.text) return row.policy;
    }
    return withDetails(statuses::fileReadFailed(), "'" + path + "' is neither 'warn' nor 'signed only'.");
}

}  // namespace features::jobs
