#pragma once

#include <cstdint>
#include <string>

#include "features/nvme/Drive.h"

namespace features::jobs {

/// Vendor specific log pages that were found on drives which do not list their pages: kept by model number and firmware
/// revision, so that a page is asked for on a guess once and never again. One small text file for all drives, a line
/// "0xC0 FIRMWARE MODEL" for each page.
///
/// Errors:  none. A file that cannot be read or written, or is damaged, knows nothing: the user names the page again.
/// Threads: any. Of two processes that add a page at once one may lose it.
class KnownLogPages {
public:
    /// In stateFolder().
    KnownLogPages();
    explicit KnownLogPages(std::string folder);

    bool contains(const nvme::Drive& drive, uint8_t lid) const;
    /// Makes the folder where it is missing. The file is replaced as a whole, and keeps the newest MAX_LINES pages.
    void add(const nvme::Drive& drive, uint8_t lid) const;

    static constexpr std::size_t MAX_LINES = 256;

private:
    std::string read() const;

    std::string folder_;
    std::string path_;
};

}  // namespace features::jobs
