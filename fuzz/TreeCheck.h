#pragma once

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <string>

#include "features/nvme/FieldTree.h"
#include "fuzz/Require.h"

/// What every decoded structure has to keep to, whatever the bytes were.

inline bool isShowable(const std::string& text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c <= 0x7E; });
}

/// Letters, digits, blanks and "-_./()", a letter first: what the output formats take as a name.
inline bool isName(const std::string& text) {
    return !text.empty() && std::isalpha(static_cast<unsigned char>(text[0])) != 0 &&
           std::all_of(text.begin(), text.end(), [](unsigned char c) {
               return std::isalnum(c) != 0 || std::string(" -_./()").find(static_cast<char>(c)) != std::string::npos;
           });
}

/// Looks the whole tree over, and returns how many fields and parts there are.
inline size_t checkTree(const features::nvme::FieldTree& tree) {
    REQUIRE(isName(tree.heading));
    size_t count = 1;
    for (const features::nvme::Field& field : tree.fields) {
        REQUIRE(isName(field.name + " - " + field.description));
        REQUIRE(isShowable(field.value));
        ++count;
    }
    for (const features::nvme::FieldTree& part : tree.parts) count += checkTree(part);
    return count;
}
