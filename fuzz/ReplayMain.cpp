#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

/// Runs the fuzz function over every file of the folders that the arguments name; what it finds ends the process.
int main(int argc, char** argv) {
    size_t replayed = 0;
    for (int i = 1; i < argc; ++i) {
        for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
            std::ifstream file(entry.path(), std::ios::binary);
            const std::string input((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
            if (!file) {
                std::fprintf(stderr, "cannot read %s\n", entry.path().c_str());
                return 1;
            }
            LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(input.data()), input.size());
            ++replayed;
        }
    }
    std::printf("%zu inputs replayed\n", replayed);
    return replayed > 0 ? 0 : 1;
}
