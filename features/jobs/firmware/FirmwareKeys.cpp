#include "features/jobs/firmware/FirmwareKeys.h"

#include <filesystem>

#include "features/jobs/support/FolderNames.h"
#include "features/jobs/support/InputFile.h"
#include "features/jobs/support/TrustedInput.h"
#include "ostrel/core/Status.h"
#include "ostrel/core/TrustedFile.h"

namespace features::jobs {

using namespace ostrel::core;
namespace fs = std::filesystem;

namespace {

constexpr const char* SIGNATURE_EXTENSION = ".sig";
constexpr const char* KEY_EXTENSION = ".pem";
constexpr size_t SIGNATURE_BYTES = 64;
/// A key has 113; the rest is room for comments.
constexpr size_t MAX_KEY_BYTES = size_t{16} * 1024;
/// More is no folder of keys.
constexpr size_t MAX_KEYS = 1000;

ModuleOrigin unverified(const std::string& reason) {
    return {ModuleOrigin::Kind::UNVERIFIED, reason + "."};
}

ModuleOrigin refused(const std::string& reason) {
    return {ModuleOrigin::Kind::REFUSED, reason + "."};
}

}  // namespace

ModuleOrigin FirmwareKeys::originOf(const std::string& manifestPath, const std::string& text) const {
    const std::string path = manifestPath + SIGNATURE_EXTENSION;
    std::error_code error;
    // Any other error is one of reading.
    if (fs::symlink_status(path, error).type() == fs::file_type::not_found) return unverified("it has no signature");
    const auto signature = readInputFile(path, SIGNATURE_BYTES, SymbolicLink::REFUSE);
    if (!signature) return {ModuleOrigin::Kind::REFUSED, "its signature is refused. " + signature.error().getMessage()};
    if (signature->size() != SIGNATURE_BYTES)
        return refused("its signature has " + std::to_string(signature->size()) + " bytes, not 64");
    return check(text, *signature);
}

ModuleOrigin FirmwareKeys::check(const std::string& text, const std::string& signature) const {
    const std::string unchecked = "its signature cannot be checked: ";
    const ModuleOrigin withoutKeys = unverified(unchecked + "there is no key in '" + folder_ + "'");
    std::error_code error;
    // A link that leads nowhere is there: it was meant to lead to keys.
    if (fs::symlink_status(folder_, error).type() == fs::file_type::not_found) return withoutKeys;
    TrustedFile folder;
    const Status opened = folder.openFolder(folder_);
    if (failed(opened)) return refused(unchecked + opened.getMessage());
    error.clear();
    const auto names = folderNames(folder.realPath(), KEY_EXTENSION, MAX_KEYS, error);
    if (error) return refused(unchecked + "'" + folder_ + "': " + error.message());
    if (names.empty()) return withoutKeys;
    ModuleOrigin origin = refused("its signature is not that of a key in '" + folder_ + "'");
    for (const std::string& name : names) {
        const std::string path = folder.realPath() + "/" + name;
        const auto outcome = checkWith(path, text, signature);
        if (!outcome) origin.reason += " " + outcome.error().getMessage();
        if (outcome == Ed25519Check::GOOD) return {ModuleOrigin::Kind::VERIFIED, {}};
        if (outcome == Ed25519Check::NOT_A_KEY) origin.reason += " '" + path + "' is not a public Ed25519 key.";
        if (outcome == Ed25519Check::UNAVAILABLE)
            return refused(unchecked + library_ + " cannot be loaded, or does not offer Ed25519");
    }
    return origin;
}

Result<Ed25519Check> FirmwareKeys::checkWith(const std::string& key, const std::string& text,
                                             const std::string& signature) const {
    TRY(const std::string pem, readTrustedInput(key, MAX_KEY_BYTES));
    return checkEd25519(pem, text, signature, library_.c_str());
}

}  // namespace features::jobs
