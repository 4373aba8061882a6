#pragma once

#include <string>
#include <vector>

namespace outputkeys {

/// One key of an answer, as docs/output.md shows it.
struct OutputKey {
    std::string object;  ///< the heading without the drive, " > " before that of a part; "*" matches a number or name
    std::string key;     ///< "*" as above
    std::string kind;    ///< "number", "hexadecimal", "flag", "word", "text", "bytes" (of MB, GB or TB), "part"
    std::string unit;
    std::string words;  ///< that may replace a number, or all that a "word" may be: with "|" between them
    std::string meaning;
    std::string absent;  ///< when; empty: never, but for a structure that an old drive cuts short
};

/// What each object of a feature has: the object is this, or begins with it.
inline constexpr const char* FEATURE = "(feature)";

/// The keys of which no table of the library knows: those that a job or decoder puts together.
std::vector<OutputKey> table();

}  // namespace outputkeys
