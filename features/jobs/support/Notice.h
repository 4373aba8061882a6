#pragma once

#include <string>

namespace features::jobs {

/// A line that the user must see before the library goes on, such as a password that a drive is about to get: whatever
/// happens then, it was shown. It goes to standard error where the caller of the library lets it write there
/// (FeatureLibrary.h), to a terminal or not, and to the debug log.
///
/// Deriving: a test keeps what it is given.
class Notice {
public:
    virtual ~Notice() = default;
    /// `text` is one sentence or several, without a line end.
    virtual void show(const std::string& text) const;
};

}  // namespace features::jobs
