#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/TemporaryFolder.h"

namespace cli::velkossd {

/// A scratch folder that is the current one for as long as it lives: files without a path come to be there.
class InFolder {
public:
    InFolder() { std::filesystem::current_path(folder_ / ""); }
    ~InFolder() { std::filesystem::current_path(old_); }
    InFolder(const InFolder&) = delete;
    InFolder& operator=(const InFolder&) = delete;

    std::string operator/(const std::string& name) const { return folder_ / name; }

    std::vector<std::string> names() const { return folder_.names(); }

private:
    const std::filesystem::path old_ = std::filesystem::current_path();
    const TemporaryFolder folder_;
};

}  // namespace cli::velkossd
