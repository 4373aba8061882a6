#include "features/jobs/firmware/FirmwareModules.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <tuple>

#include "features/jobs/firmware/FirmwareImage.h"
#include "features/jobs/support/InputFile.h"
#include "features/jobs/support/Sha256.h"
#include "features/jobs/support/StatusDetails.h"
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

/// Links are none: `entry` itself must be a file.
std::vector<std::string> manifestNames(const std::string& folder, std::error_code& error) {
    std::vector<std::string> names;
    for (fs::directory_iterator entry(folder, error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
        std::error_code ignored;  // an entry that is gone again is none
        if (entry->path().extension() == MANIFEST_EXTENSION && fs::is_regular_file(entry->symlink_status(ignored)))
            names.push_back(entry->path().filename().string());
        if (names.size() == MAX_MANIFESTS) break;
    }
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace

std::vector<std::string> FirmwareModules::folders() const {
    std::vector<std::string> folders = split(directories_, SEPARATOR);
    std::sort(folders.begin(), folders.end());
    folders.erase(std::unique(folders.begin(), folders.end()), folders.end());
    return folders;
}

void FirmwareModules::load() const {
    std::call_once(loaded_, [this] {
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
    std::error_code error(static_cast<int>(status.getCode()), std::generic_category());
    std::vector<std::string> names;
    if (!error) names = manifestNames(folder.realPath(), error);
    if (error) faults_ += " '" + path + "': " + error.message() + ".";
    for (const std::string& name : names) loadManifest(folder.realPath(), name);
}

void FirmwareModules::loadManifest(const std::string& folder, const std::string& name) const {
    const std::string path = folder + "/" + name;
    TrustedFile manifest;
    const Status opened = manifest.open(path, SymbolicLink::REFUSE);
    if (manifest.refused()) {
        faults_ += " " + opened.getMessage() + ".";
        return;
    }
    const auto text = readInputFile(path, MAX_MANIFEST_BYTES, SymbolicLink::REFUSE);
    if (!text) {
        faults_ += " " + text.error().getMessage();
        return;
    }
    FirmwareModule module{folder, {}};
    const std::string fault = readFirmwareManifest(*text, module.manifest);
    if (fault.empty())
        modules_.push_back(std::move(module));
    else
        faults_ += " '" + path + "': " + fault + ".";
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
