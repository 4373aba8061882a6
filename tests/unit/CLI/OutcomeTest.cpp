#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <iostream>
#include <new>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <thread>

#include "CLI/Outcome.h"
#include "CLI/StandardStreams.h"
#include "ostrel/core/FileDescriptor.h"
#include "ostrel/core/WriteSignals.h"
#include "ostrel/interfaces/cli/cliframework/ErrorResult.h"
#include "tests/support/allocations/Allocations.h"

namespace cli {
namespace {

using framework::ErrorResult;
using framework::ResultBase;
using framework::SimpleResult;
using ostrel::core::writeFully;

constexpr char OUT_OF_MEMORY[] = "Out of Memory: \n";
constexpr char UNHANDLED[] = "Error: Unhandled exception. Contact Velko for further troubleshooting\n";

/// Throws when it is rendered.
class UnrenderableResult : public SimpleResult {
public:
    UnrenderableResult() : SimpleResult("") { setErrorCode(7); }
    std::string outputText() const override { throw std::bad_alloc(); }
};

/// "status: output"
std::string outcome(const std::function<std::unique_ptr<ResultBase>()>& work) {
    const Outcome done = outcomeOf(work);
    return std::to_string(done.exitStatus) + ": " + done.output;
}

TEST(Outcome, IsTheResultAndOneLineEnd) {
    EXPECT_EQ(outcome([] { return std::make_unique<SimpleResult>("Done."); }), "0: Done.\n");
    EXPECT_EQ(outcome([] { return std::make_unique<SimpleResult>(""); }), "0: \n") << "of an empty output too";
    EXPECT_EQ(outcome([] { return std::make_unique<SimpleResult>("a\n"); }), "0: a\n\n");
    EXPECT_EQ(outcome([] { return std::make_unique<ErrorResult>(8, "Bad.", "X"); }), "8: X: Error: Bad.\n");
}

TEST(Outcome, OfANullResultIsSuccessWithoutAWord) {
    EXPECT_EQ(outcome([] { return nullptr; }), "0: ");
}

TEST(Outcome, IsRenderedInTheTypeThatTheResultHas) {
    EXPECT_EQ(outcome([] {
                  auto result = std::make_unique<ErrorResult>(8, "Bad.", "");
                  result->setOutputType(framework::OUTPUTTYPE_XML);
                  return result;
              }),
              "8: <Error Type=\"8\">Error: Bad.</Error>\n\n");
}

TEST(Outcome, OfAnException) {
    EXPECT_EQ(outcome([]() -> std::unique_ptr<ResultBase> { throw std::bad_alloc(); }),
              std::string("2: ") + OUT_OF_MEMORY);
    EXPECT_EQ(outcome([]() -> std::unique_ptr<ResultBase> { throw std::bad_array_new_length(); }),
              std::string("2: ") + OUT_OF_MEMORY);
    EXPECT_EQ(outcome([]() -> std::unique_ptr<ResultBase> { throw std::out_of_range("x"); }),
              std::string("1: ") + UNHANDLED);
    EXPECT_EQ(outcome([]() -> std::unique_ptr<ResultBase> { throw 42; }), std::string("1: ") + UNHANDLED);
    EXPECT_EQ(outcome([] { return std::make_unique<UnrenderableResult>(); }), std::string("2: ") + OUT_OF_MEMORY);
}

TEST(Outcome, NeedsNoMemoryOnceThereIsNone) {
    const Outcome done = outcomeOf([]() -> std::unique_ptr<ResultBase> {
        test::failAllocations(true);
        return std::make_unique<SimpleResult>("");
    });
    test::failAllocations(false);
    EXPECT_EQ(done.exitStatus, 2);
    EXPECT_EQ(done.output, OUT_OF_MEMORY);
}

/// A pipe; closes what is left of it.
class Pipe {
public:
    Pipe() { EXPECT_EQ(::pipe(ends_.data()), 0); }
    ~Pipe() {
        closeReader();
        closeWriter();
    }
    int writer() const { return ends_[1]; }
    void closeReader() { closeEnd(0); }
    void closeWriter() { closeEnd(1); }

    std::string readToEnd() {
        std::string text;
        char bytes[4096];
        for (ssize_t count = 0; (count = ::read(ends_[0], bytes, sizeof bytes)) > 0;) {
            text.append(bytes, static_cast<size_t>(count));
        }
        return text;
    }

private:
    void closeEnd(size_t end) {
        if (ends_[end] >= 0) ::close(ends_[end]);
        ends_[end] = -1;
    }

    std::array<int, 2> ends_{-1, -1};
};

TEST(Deliver, WritesTheOutputAndReturnsTheExitStatus) {
    Pipe pipe;
    EXPECT_EQ(deliver({3, "Error: x\n"}, pipe.writer()), 3);
    EXPECT_EQ(deliver({0, ""}, pipe.writer()), 0);
    pipe.closeWriter();
    EXPECT_EQ(pipe.readToEnd(), "Error: x\n");
}

TEST(Deliver, WritesAnOutputOfAnySizeThroughASlowPipeThatDoesNotBlock) {
    Pipe pipe;
    ASSERT_EQ(::fcntl(pipe.writer(), F_SETFL, O_NONBLOCK), 0);
    std::string output;
    for (int line = 0; line < 100000; ++line) output += std::to_string(line) + "\n";
    int status = -1;
    std::thread writer([&] {
        status = deliver({0, output}, pipe.writer());
        pipe.closeWriter();
    });
    const std::string read = pipe.readToEnd();
    writer.join();
    EXPECT_EQ(status, 0);
    EXPECT_EQ(read, output);
}

/// What deliver() says on standard error, after the status that it returned.
std::string complaintOf(const Outcome& outcome, int fileDescriptor) {
    testing::internal::CaptureStderr();
    const int status = deliver(outcome, fileDescriptor);
    return std::to_string(status) + ": " + testing::internal::GetCapturedStderr();
}

TEST(Deliver, AnOutputThatCannotBeWrittenIsAFailure) {
    const int full = ::open("/dev/full", O_WRONLY);
    ASSERT_GE(full, 0);
    EXPECT_EQ(complaintOf({0, "x\n"}, full), "1: Cannot write to standard output: No space left on device\n");
    EXPECT_EQ(complaintOf({201, "x\n"}, full), "201: Cannot write to standard output: No space left on device\n")
        << "the failure of the command is the more important one";
    EXPECT_EQ(complaintOf({0, ""}, full), "0: ") << "nothing to write";
    ::close(full);
    const int readOnly = ::open("/dev/null", O_RDONLY);
    EXPECT_EQ(complaintOf({0, "x\n"}, readOnly), "1: Cannot write to standard output: Bad file descriptor\n");
    ::close(readOnly);
}

TEST(Deliver, AReaderWhoHasGoneAwayIsAFailureAndNoSignal) {
    ostrel::core::ignoreWriteSignals();  // as main does
    Pipe pipe;
    pipe.closeReader();
    EXPECT_EQ(complaintOf({0, "x\n"}, pipe.writer()), "1: Cannot write to standard output: Broken pipe\n");
}

TEST(Deliver, NoticesThatWereLostAreAFailure) {
    struct LosingBuffer : std::streambuf {
        int sync() override { return -1; }
    } losing;
    std::streambuf* const original = std::cout.rdbuf(&losing);
    Pipe pipe;
    const std::string complaint = complaintOf({0, "x\n"}, pipe.writer());
    std::cout.rdbuf(original);
    std::cout.clear();
    pipe.closeWriter();
    EXPECT_EQ(complaint, "1: Cannot write to standard output: Input/output error\n");
    EXPECT_EQ(pipe.readToEnd(), "x\n") << "the result is still written";
}

TEST(Deliver, NeedsNoMemory) {
    Pipe pipe;
    const Outcome done{2, OUT_OF_MEMORY};
    test::failAllocations(true);
    const int status = deliver(done, pipe.writer());
    test::failAllocations(false);
    pipe.closeWriter();
    EXPECT_EQ(status, 2);
    EXPECT_EQ(pipe.readToEnd(), OUT_OF_MEMORY);
}

/// Runs the check in a process of its own, whose standard streams it may close.
int inAnotherProcess(int (*check)()) {
    const pid_t child = ::fork();
    if (child == 0) ::_exit(check());
    int status = -1;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(StandardStreams, ClosedOnesAreOccupiedAndStayUseless) {
    EXPECT_EQ(inAnotherProcess([] {
                  for (int stream = 0; stream < 3; ++stream) ::close(stream);
                  if (!occupyStandardStreams()) return 1;
                  if (::open("/dev/null", O_WRONLY) < 3) return 2;
                  char byte = 0;
                  if (::read(0, &byte, 1) != -1 || errno != EBADF) return 3;
                  if (writeFully(1, "x") != EBADF || writeFully(2, "x") != EBADF) return 4;
                  return 0;
              }),
              0);
}

TEST(StandardStreams, OpenOnesAreLeftAlone) {
    EXPECT_EQ(inAnotherProcess([] {
                  ::close(1);
                  const int full = ::open("/dev/full", O_WRONLY);
                  ::close(2);
                  return full == 1 && occupyStandardStreams() && writeFully(1, "x") == ENOSPC ? 0 : 1;
              }),
              0);
}

}  // namespace
}  // namespace cli
