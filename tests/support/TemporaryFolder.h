#pragma once

#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

/// A folder of a test's own, removed with all that is in it.
class TemporaryFolder {
public:
    TemporaryFolder() {
        umask(022);  // what others may write is refused in places, and is a test's own doing
        std::string name = (std::filesystem::temp_directory_path() / "nimbrel-test-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("mkdtemp " + name);
        path_ = name;
    }
    ~TemporaryFolder() {
        std::error_code ignored;  // a left-over in the system's folder for such things is no failure of the test
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    /// The path of a file in the folder.
    std::string operator/(const std::string& name) const { return path_ + "/" + name; }

    /// All that is in it, sorted.
    std::vector<std::string> names() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(path_)) names.push_back(entry.path().filename());
        std::sort(names.begin(), names.end());
        return names;
    }

private:
    std::string path_;
};

inline std::string readWholeFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

inline void writeWholeFile(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}
