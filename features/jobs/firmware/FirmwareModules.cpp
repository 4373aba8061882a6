#include "features/jobs/firmware/FirmwareModules.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <tuple>

#include "features/jobs/firmware/FirmwareImage.h"
#include "features/jobs/support/FolderNames.h"
#include "features/jobs/support/Sha256.h"
#include "features/jobs/support/StatusDetails.h"
#include "features/jobs/support/TrustedInput.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/Strings.h"
#include "ostrel/core/TrustedFile.h"

namespace features::jobs {

using namespace ostrel::core;
namespace fs = std::filesystem;

namespace {

constexpr char SEPARATOR = '~';
constexpr const char* MANIFEST_EXTENSION = ".json";
/// Of one folder. More is no folder of modules.
constexpr size_t MAX_MANIFESTS = 1000;

/// Dates have the form in which they sort as texts; the revision decides between modules of one day.
bool isOlder(const FirmwareModule* left, const FirmwareModule* right) {
    return std::tie(left->manifest.released, left->manifest.revision) <
           std::tie(right->manifest.released, right->manifest.revision);
}

const FirmwareModule* newest(const std::vector<const FirmwareModule*>& modules) {
    return modules.empty() ? nullptr : *std::max_element(modules.begin(), modules.end(), isOlder);
}

/// A link is none.
bool isFile(const std::string& path) {
    std::error_code ignored;  // an entry that is gone again is none
    return fs::is_regular_file(fs::symlink_status(path, ignored));
}

}  // namespace

std::vector<std::string> FirmwareModules::folders() const {
    std::vector<std::string> folders = split(directories_, SEPARATOR);
    std::sort(folders.begin(), folders.end());
    folders.erase(std::unique(folders.begin(), folders.end()), folders.end());
    return folders;
}

void FirmwareModules::load() const {
    loaded_.run([this] {
        // What a load that was not finished left.
        modules_.clear();
        faults_.clear();
        for (const std::string& folder : folders()) loadFolder(folder);
    });
}

void FirmwareModules::loadFolder(const std::string& path) const {
    if (path.empty()) return;
    TrustedFile folder;
    const Status status = folder.openFolder(path);
    if (status.is(CATEGORY_OS, ENOENT)) return;
    if (folder.refused()) {
        refusal_ = withDetails(statuses::fileReadFailed(), "'" + path + "': " + status.getMessage() + ".");
        return;
    }
    const auto policy = succeeded(status) ? readSignaturePolicy(folder.realPath()) : SignaturePolicy::NONE;
    if (!policy) {
        refusal_ = policy.error();
        return;
    }
    std::error_code error(static_cast<int>(status.getCode()), std::generic_category());
    std::vector<std::string> names;
    if (!error) names = folderNames(folder.realPath(), MANIFEST_EXTENSION, MAX_MANIFESTS, error);
    if (error) faults_ += " '" + path + "': " + error.message() + ".";
    for (const std::string& name : names) {
        if (isFile(folder.realPath() + "/" + name)) loadManifest(folder.realPath(), name, *policy);
    }
}

void FirmwareModules::loadManifest(const std::string& folder, const std::string& name, SignaturePolicy policy) const {
    FirmwareModule module{folder, {}, {}};
    const std::string fault = readModule(folder + "/" + name, policy, module);
    if (fault.empty())
        modules_.push_back(std::move(module));
    else
        faults_ += " " + fault;
}

std::string FirmwareModules::readModule(const std::string& path, SignaturePolicy policy, FirmwareModule& module) const {
    const auto text = readTrustedInput(path, MAX_MANIFEST_BYTES);
    if (!text) return text.error().getMessage();
    const std::string quoted = "'" + path + "': ";
    const ModuleOrigin origin = keys_.originOf(path, *text);
    if (origin.kind == ModuleOrigin::Kind::REFUSED) return quoted + origin.reason;
    if (origin.kind == ModuleOrigin::Kind::UNVERIFIED) {
        if (policy == SignaturePolicy::SIGNED_ONLY)
            return quoted + origin.reason + " Its directory takes signed modules only.";
        if (policy == SignaturePolicy::WARN) module.warning = quoted + origin.reason;
    }
    const std::string fault = readFirmwareManifest(*text, module.manifest);
    return fault.empty() ? fault : quoted + fault + ".";
}

Result<const FirmwareModule*> FirmwareModules::choose(const std::string& model, const std::string& revision) const {
    load();
    RETURN_IF_FAILED(refusal_);
    if (modules_.empty()) return statuses::noFirmwareModule();
    std::vector<const FirmwareModule*> running;
    std::vector<const FirmwareModule*> others;
    for (const FirmwareModule& known : modules_) {
        if (!matchesOne(known.manifest.models, model)) continue;
        (known.manifest.revision == revision ? running : others).push_back(&known);
    }
    // What is older than the running firmware is no update.
    const FirmwareModule* current = newest(running);
    const auto isNotLater = [&](const FirmwareModule* other) {
        return current != nullptr && other->manifest.released <= current->manifest.released;
    };
    others.erase(std::remove_if(others.begin(), others.end(), isNotLater), others.end());
    if (others.empty()) return current != nullptr ? statuses::firmwareCurrent() : statuses::noKnownFirmwareUpdate();
    const auto isForbidden = [&](const FirmwareModule* other) { return !matchesOne(other->manifest.from, revision); };
    others.erase(std::remove_if(others.begin(), others.end(), isForbidden), others.end());
    if (others.empty()) return statuses::noKnownFirmwareUpdate();
    return newest(others);
}

Result<std::string> FirmwareModules::readImage(const FirmwareModule& module) {
    const std::string path = module.folder + "/" + module.manifest.file;
    TRY(std::string bytes, readFirmwareImage(path));
    if (!equals(sha256Text(bytes), module.manifest.sha256, true)) {
        return withDetails(statuses::invalidFirmwareModuleType(),
                           "'" + path + "' is not the file that its manifest describes: its SHA-256 is another.");
    }
    return bytes;
}

std::string FirmwareModules::searched() const {
    std::string text;
    for (const std::string& folder : folders()) {
        if (!folder.empty()) text += (text.empty() ? "Searched: '" : ", '") + folder + "'";
    }
    return text.empty() ? "Searched: no directory." : text + ".";
}

std::string FirmwareModules::faults() const {
    load();
    return faults_;
}

}  // namespace features::jobs
