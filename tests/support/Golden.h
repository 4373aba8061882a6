#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

/// Compares a text with what a file keeps of it. With NIMBREL_REWRITE_GOLDENS=1 in the environment the file is written
/// instead, to be read in review.
inline void expectGolden(const std::string& path, const std::string& actual) {
    const char* rewrite = std::getenv("NIMBREL_REWRITE_GOLDENS");
    if (rewrite != nullptr && std::string(rewrite) == "1") {
        std::ofstream file(path);
        EXPECT_TRUE(file << actual) << path;
        return;
    }
    const std::ifstream file(path);
    std::ostringstream expected;
    EXPECT_TRUE(expected << file.rdbuf()) << path;
    EXPECT_EQ(actual, expected.str()) << path;
}
