#pragma once

#include <string>
#include <vector>

namespace features::jobs {

/// What is legal, for a refusal: "25, 15 or 10".
inline std::string alternatives(const std::vector<std::string>& values) {
    std::string text;
    for (size_t i = 0; i < values.size(); ++i)
        text += (i == 0 ? "" : i + 1 < values.size() ? ", " : " or ") + values[i];
    return text;
}

}  // namespace features::jobs
