#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

#include "features/jobs/support/InputFile.h"
#include "tests/support/ProcessEnd.h"
#include "tests/support/TemporaryFolder.h"

namespace features::jobs {
namespace {

constexpr uint64_t MAX_BYTES = 100;

/// Exchanges two files for as long as this process lives, in one of its own.
class Exchange {
public:
    Exchange(const std::string& one, const std::string& other) {
        const pid_t parent = getpid();
        process_ = fork();
        if (process_ != 0) return;
        while (getppid() == parent) (void)::renameat2(AT_FDCWD, one.c_str(), AT_FDCWD, other.c_str(), RENAME_EXCHANGE);
        _exit(0);
    }
    Exchange(const Exchange&) = delete;
    Exchange& operator=(const Exchange&) = delete;
    ~Exchange() {
        (void)::kill(process_, SIGKILL);
        (void)::waitpid(process_, nullptr, 0);
    }

private:
    pid_t process_ = -1;
};

TEST(InputFile, DoesNotWaitForAWriterOfAPipeThatTookTheFilesPlace) {
    constexpr unsigned SECONDS = 60;
    constexpr int MIN_READ = 100;
    const TemporaryFolder folder;
    const std::string path = folder / "file";
    writeWholeFile(path, "contents");
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    const End end = endOf([&] {
        ::alarm(SECONDS);  // while it waits for a writer
        const Exchange exchange(path, folder / "pipe");
        for (int read = 0, refused = 0; read < MIN_READ || refused < MIN_READ;) {
            const auto bytes = readInputFile(path, MAX_BYTES);
            if (bytes && *bytes != "contents") std::fprintf(stderr, "read \"%s\"", bytes->c_str());
            bytes ? ++read : ++refused;
        }
    });
    EXPECT_EQ(end.status, 0);
    EXPECT_EQ(end.said, "");
}

}  // namespace
}  // namespace features::jobs
