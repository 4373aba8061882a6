#pragma once

#include <gtest/gtest.h>
#include <sys/resource.h>

/// No file that this process writes may become longer, until the object is gone. Units: bytes.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) {
        EXPECT_EQ(::getrlimit(RLIMIT_FSIZE, &before_), 0);
        const rlimit limit = {bytes, before_.rlim_max};
        EXPECT_EQ(::setrlimit(RLIMIT_FSIZE, &limit), 0);
    }
    ~FileSizeLimit() { EXPECT_EQ(::setrlimit(RLIMIT_FSIZE, &before_), 0); }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    rlimit before_ = {};
};
