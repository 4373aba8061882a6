#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>

/// A folder of the process's own, removed with all that is in it when the process ends. In memory where the machine has
/// such a file system: thousands of files a second would wear a disk.
class ScratchFolder {
public:
    ScratchFolder() {
        const auto parent = std::filesystem::exists("/dev/shm") ? "/dev/shm" : std::filesystem::temp_directory_path();
        path_ = (parent / "nimbrel-fuzz-XXXXXX").string();
        if (mkdtemp(path_.data()) == nullptr) throw std::runtime_error("mkdtemp " + path_);
    }
    ~ScratchFolder() {
        std::error_code ignored;  // a left-over in the system's folder for such things is no finding
        std::filesystem::remove_all(path_, ignored);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    const std::string& path() const { return path_; }
    /// The path of an entry.
    std::string operator/(const std::string& name) const { return path_ + "/" + name; }
    void write(const std::string& name, std::string_view bytes) const {
        std::ofstream file(*this / name, std::ios::binary);
        file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        if (!file.flush()) throw std::runtime_error("cannot write " + *this / name);
    }
    /// Removes what is in it.
    void clear() const {
        for (const auto& entry : std::filesystem::directory_iterator(path_)) std::filesystem::remove_all(entry.path());
    }

private:
    std::string path_;
};
