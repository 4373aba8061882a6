#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace features::jobs {

/// While it lives, a line on the terminal shows how far a long operation has come: percent where they are known,
/// elapsed time, and the drive's own estimate where it has one.
///
///     Drive S1 (/dev/nvme0), sanitize: 37 %, 0:04:12 elapsed, the drive estimates 0:20:00
///
/// It is shown when the caller of the library asks for it (FeatureLibrary.h) and standard error is a terminal;
/// otherwise this does nothing. A thread of its own draws the line when it changes, from a quarter of a second on, so
/// that neither a short operation shows anything nor a slow terminal holds the drive up. It is taken away at the end.
/// One line at a time: one that begins while another is shown stays invisible.
///
/// Units:   milliseconds.
/// Errors:  none; where no thread can be made there is no line.
/// Threads: update() from any number; made and destroyed by one.
class ProgressLine {
public:
    /// `operation`: what is shown first. Of characters other than visible ASCII a '?' is shown. `estimateMs` 0: the
    /// drive has none.
    explicit ProgressLine(const std::string& operation, uint64_t estimateMs = 0);
    ~ProgressLine();
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    /// So much of all is done; percent are not shown before the first call.
    void update(uint64_t done, uint64_t all);

private:
    class Display;
    std::unique_ptr<Display> display_;  // null: nothing is shown
};

}  // namespace features::jobs
