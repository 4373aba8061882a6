#pragma once

#include <string>
#include <vector>

namespace features::jobs {

/// What a firmware module says of its image (docs/firmware-modules.md).
struct FirmwareManifest {
    std::vector<std::string> models;  ///< patterns of the model numbers that the image is for
    std::string revision;             ///< of the firmware in the image
    std::string released;             ///< "2026-03-31"
    std::vector<std::string> from;    ///< patterns of the revisions that it may take the place of
    std::string file;                 ///< the image: a name in the folder of the manifest
    std::string sha256;               ///< of the image, 64 hexadecimal digits
};

/// Reads the text of a manifest, JSON of at most MAX_MANIFEST_BYTES, whatever wrote it. Returns what is wrong with it,
/// or an empty text; `manifest` changes only then.
std::string readFirmwareManifest(const std::string& text, FirmwareManifest& manifest);
inline constexpr size_t MAX_MANIFEST_BYTES = size_t{64} * 1024;

/// Whether one of the patterns is that of the whole text: '*' matches any characters, '?' for one, any other for
/// itself.
bool matchesOne(const std::vector<std::string>& patterns, const std::string& text);

}  // namespace features::jobs
