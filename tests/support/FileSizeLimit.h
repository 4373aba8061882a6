#pragma once

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>

/// No file that this process writes may become longer, until the object is gone: writing fails with EFBIG, and no
/// signal ends the process. Units: bytes.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
        EXPECT_EQ(::getrlimit(RLIMIT_FSIZE, &before_), 0);
        const rlimit limit = {bytes, before_.rlim_max};
        EXPECT_EQ(::setrlimit(RLIMIT_FSIZE, &limit), 0);
    }
    ~FileSizeLimit() {
        EXPECT_EQ(::setrlimit(RLIMIT_FSIZE, &before_), 0);
        (void)std::signal(SIGXFSZ, handler_);  // it was valid before
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    void (*handler_)(int);
    rlimit before_ = {};
};
