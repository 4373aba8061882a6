#pragma once

#include <string>

#include "features/jobs/support/Sha256.h"
#include "tests/support/TemporaryFolder.h"

namespace features::jobs {

/// What a test says of a firmware module; the rest is that of a module for a drive "VELKO P100".
struct ModuleText {
    std::string revision;
    std::string released = "2026-03-31";
    std::string from = "*";
    std::string models = "VELKO P100*";
    std::string image = "IMAGE OF " + revision + std::string(8, '.');
};

/// Puts the module NAME.json and its image NAME.bin into a folder. The length of the image is made a multiple of 4.
inline void addModule(const TemporaryFolder& folder, const std::string& name, ModuleText module) {
    while (module.image.size() % 4 != 0) module.image += '.';
    writeWholeFile(folder / (name + ".bin"), module.image);
    writeWholeFile(folder / (name + ".json"), R"({"models": [")" + module.models + R"("], "revision": ")" +
                                                  module.revision + R"(", "released": ")" + module.released +
                                                  R"(", "from": [")" + module.from + R"("], "file": ")" + name +
                                                  R"(.bin", "sha256": ")" + sha256Text(module.image) + "\"}");
}

}  // namespace features::jobs
