#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>

#include "ostrel/core/FileDescriptor.h"
#include "ostrel/core/TerminalSize.h"

using namespace ostrel::core;

namespace {

// Puts something in the place of standard input while it lives.
class StandardInput {
public:
    explicit StandardInput(const FileDescriptor& replacement) : before_(dup(STDIN_FILENO)) {
        dup2(replacement.get(), STDIN_FILENO);
    }
    StandardInput(const StandardInput&) = delete;
    StandardInput& operator=(const StandardInput&) = delete;
    ~StandardInput() { dup2(before_.get(), STDIN_FILENO); }

private:
    FileDescriptor before_;
};

}  // namespace

TEST(TerminalSize, IsThatOfTheTerminalOnStandardInput) {
    const FileDescriptor master(posix_openpt(O_RDWR | O_NOCTTY));
    ASSERT_TRUE(master.isOpen());
    ASSERT_EQ(grantpt(master.get()), 0);
    ASSERT_EQ(unlockpt(master.get()), 0);
    const FileDescriptor terminal(open(ptsname(master.get()), O_RDWR | O_NOCTTY));
    const winsize wanted = {24, 133, 0, 0};
    ASSERT_EQ(ioctl(terminal.get(), TIOCSWINSZ, &wanted), 0);
    const StandardInput input(terminal);
    TerminalSize size = {1, 2};
    EXPECT_EQ(getTerminalSize(size), 0);
    EXPECT_EQ(size.rows, 24U);
    EXPECT_EQ(size.columns, 133U);
}

TEST(TerminalSize, IsClearedWhereThereIsNoTerminal) {
    const StandardInput input(FileDescriptor(open("/dev/null", O_RDONLY)));
    TerminalSize size = {1, 2};
    EXPECT_EQ(getTerminalSize(size), -1);
    EXPECT_EQ(size.rows, 0U);
    EXPECT_EQ(size.columns, 0U);
}
