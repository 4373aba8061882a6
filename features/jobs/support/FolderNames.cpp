#include "features/jobs/support/FolderNames.h"

#include <algorithm>
#include <filesystem>

namespace features::jobs {

namespace fs = std::filesystem;

std::vector<std::string> folderNames(const std::string& folder, const std::string& extension, size_t maxNames,
                                     std::error_code& error) {
    std::vector<std::string> names;
    for (fs::directory_iterator entry(folder, error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
        if (entry->path().extension() == extension) names.push_back(entry->path().filename().string());
        if (names.size() == maxNames) break;
    }
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace features::jobs
