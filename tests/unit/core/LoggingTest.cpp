#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <map>
#include <sstream>
#include <thread>
#include <vector>

#include "ostrel/core/Logging.h"
#include "tests/support/ProcessEnd.h"
#include "tests/support/Sanitized.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/allocations/Allocations.h"

using namespace ostrel::core;

namespace {

// The lines with every time stamp that has the right form replaced by "TIME". By hand: with std::regex the compiler
// warns, wrongly, under the sanitizers.
std::string withoutTimes(const std::string& log) {
    const std::string form = "dd:dd:dd:dddddd [";
    std::istringstream lines(log);
    std::string result;
    for (std::string line; std::getline(lines, line);) {
        const auto fits = [](char wanted, char character) {
            return wanted == 'd' ? character >= '0' && character <= '9' : character == wanted;
        };
        const bool isStamped = line.size() >= form.size() && std::equal(form.begin(), form.end(), line.begin(), fits);
        result += isStamped ? "TIME" + line.substr(form.size() - 2) : line;
        if (!lines.eof()) result += '\n';
    }
    return result;
}

class Logging : public testing::Test {
protected:
    void SetUp() override {
        initLogging();
        setLogLevel(LOGSEVERITY_TRACE);
        clearMemoryStream();
    }
    void TearDown() override {
        disableLogging();
        closeLogFile();
        detachStdStream();
        detachMemoryStream();
    }

    TemporaryFolder folder_;
    const std::string log_ = folder_ / "log";
};

}  // namespace

TEST_F(Logging, IsOffAfterInitLogging) {
    EXPECT_FALSE(isLoggingEnabled());
    EXPECT_FALSE(isFileLogging());
    EXPECT_FALSE(isStdStreamAttached());
    EXPECT_FALSE(isMemoryStreamAttached());
    EXPECT_EQ(getLogLevel(), 0U);
}

TEST_F(Logging, ReturnsToItsInitialStateWithEveryInitLogging) {
    std::ostringstream standard;
    std::streambuf* const before = std::clog.rdbuf(standard.rdbuf());
    setLogFile(log_, false);
    openLogFile();
    attachMemoryStream();
    attachStdStream();
    setLogLevel(LOGSEVERITY_FATAL);
    enableLogging();
    logMessage(LOGSEVERITY_FATAL, "before");
    initLogging();
    EXPECT_FALSE(isLoggingEnabled());
    EXPECT_FALSE(isFileLogging());
    EXPECT_FALSE(isStdStreamAttached());
    EXPECT_FALSE(isMemoryStreamAttached());
    EXPECT_EQ(getLogLevel(), 0U);
    EXPECT_EQ(getMemoryStream()->str(), "");

    enableLogging();
    logMessage(LOGSEVERITY_FATAL, "attached to nothing");
    attachMemoryStream();
    logMessage(LOGSEVERITY_TRACE, "passes the threshold");
    std::clog.rdbuf(before);
    EXPECT_EQ(withoutTimes(getMemoryStream()->str()), "TIME [trace] passes the threshold\n");
    EXPECT_EQ(withoutTimes(readWholeFile(log_)), "TIME [fatal] before\n");
    EXPECT_EQ(withoutTimes(standard.str()), "TIME [fatal] before\n");
}

TEST_F(Logging, WritesTimeSeverityAndMessage) {
    setLogFile(log_, false);
    openLogFile();
    enableLogging();
    logMessage(LOGSEVERITY_TRACE, "a trace");
    logMessage(LOGSEVERITY_DEBUG, "Tool Version: ", std::string("2.2.18"));
    logMessage(LOGSEVERITY_INFO, "");
    logMessage(LOGSEVERITY_WARNING, "numbers ", 0U, " ", -1, " ", INT64_MIN, " ", UINT64_MAX, " ", uint8_t{255});
    logMessage(LOGSEVERITY_ERROR, "two\nlines");
    logMessage(LOGSEVERITY_FATAL, "with its own line end\n");
    EXPECT_EQ(withoutTimes(readWholeFile(log_)),
              "TIME [trace] a trace\n"
              "TIME [debug] Tool Version: 2.2.18\n"
              "TIME [info] \n"
              "TIME [warning] numbers 0 -1 -9223372036854775808 18446744073709551615 255\n"
              "TIME [error] two\nlines\n"
              "TIME [fatal] with its own line end\n");
}

TEST_F(Logging, WritesNothingAndCreatesNoFileWhileOff) {
    setLogFile(log_, false);
    logMessage(LOGSEVERITY_FATAL, "unheard");
    EXPECT_FALSE(std::filesystem::exists(log_));
    openLogFile();
    logMessage(LOGSEVERITY_FATAL, "unheard");
    EXPECT_EQ(readWholeFile(log_), "");
    enableLogging();
    disableLogging();
    logMessage(LOGSEVERITY_FATAL, "unheard");
    EXPECT_EQ(readWholeFile(log_), "");
}

TEST_F(Logging, ReplacesThePreviousRunsLogUnlessItAppends) {
    writeWholeFile(log_, "previous run\n");
    setLogFile(log_, true);
    openLogFile();
    enableLogging();
    logMessage(LOGSEVERITY_DEBUG, "appended");
    EXPECT_EQ(withoutTimes(readWholeFile(log_)), "previous run\nTIME [debug] appended\n");
    setLogFile(log_, false);  // reopened at once, since it was open
    EXPECT_TRUE(isFileLogging());
    logMessage(LOGSEVERITY_DEBUG, "replaced");
    EXPECT_EQ(withoutTimes(readWholeFile(log_)), "TIME [debug] replaced\n");
}

TEST_F(Logging, LeavesAloneOnceWhatWasTruncatedAhead) {
    writeWholeFile(log_, "previous run\n");
    truncateLogFile(log_);
    EXPECT_EQ(readWholeFile(log_), "");
    writeWholeFile(log_, "the library's first line\n");
    setLogFile(log_, false);
    openLogFile();
    EXPECT_EQ(readWholeFile(log_), "the library's first line\n");
    openLogFile();
    EXPECT_EQ(readWholeFile(log_), "");
}

TEST_F(Logging, TruncatesAnotherFileThanTheOneTruncatedAhead) {
    writeWholeFile(folder_ / "other", "previous run\n");
    truncateLogFile(log_);
    setLogFile(folder_ / "other", false);
    openLogFile();
    EXPECT_EQ(readWholeFile(folder_ / "other"), "");
}

TEST_F(Logging, ClosesAndOpensAgain) {
    setLogFile(log_, true);
    openLogFile();
    enableLogging();
    logMessage(LOGSEVERITY_DEBUG, "one");
    closeLogFile();
    EXPECT_FALSE(isFileLogging());
    logMessage(LOGSEVERITY_DEBUG, "lost");
    openLogFile();
    logMessage(LOGSEVERITY_DEBUG, "two");
    EXPECT_EQ(withoutTimes(readWholeFile(log_)), "TIME [debug] one\nTIME [debug] two\n");
}

TEST_F(Logging, RunsOnWithAFileThatCannotBeOpened) {
    setLogFile(folder_ / "absent/log", false);
    openLogFile();
    enableLogging();
    logMessage(LOGSEVERITY_FATAL, "unheard");
    EXPECT_FALSE(isFileLogging());
    EXPECT_FALSE(std::filesystem::exists(folder_ / "absent"));
}

TEST_F(Logging, OpensNoFileWithoutAName) {
    setLogFile("", false);
    openLogFile();
    EXPECT_FALSE(isFileLogging());
}

TEST_F(Logging, FollowsNoLinkThatReplacedTheFile) {
    writeWholeFile(folder_ / "target", "precious");
    ASSERT_EQ(symlink((folder_ / "target").c_str(), log_.c_str()), 0);
    setLogFile(log_, false);
    openLogFile();
    truncateLogFile(log_);
    EXPECT_FALSE(isFileLogging());
    EXPECT_EQ(readWholeFile(folder_ / "target"), "precious");
}

TEST_F(Logging, DropsLinesBelowTheLevel) {
    attachMemoryStream();
    enableLogging();
    setLogLevel(LOGSEVERITY_WARNING);
    EXPECT_EQ(getLogLevel(), 3U);
    logMessage(LOGSEVERITY_INFO, "below");
    logMessage(LOGSEVERITY_WARNING, "at");
    logMessage(LOGSEVERITY_ERROR, "above");
    EXPECT_EQ(withoutTimes(getMemoryStream()->str()), "TIME [warning] at\nTIME [error] above\n");
}

TEST_F(Logging, WritesToEveryAttachedStream) {
    setLogFile(log_, false);
    openLogFile();
    std::ostringstream standard;
    std::streambuf* const before = std::clog.rdbuf(standard.rdbuf());
    attachMemoryStream();
    attachStdStream();
    attachStdStream();  // a second time changes nothing
    EXPECT_TRUE(isMemoryStreamAttached());
    EXPECT_TRUE(isStdStreamAttached());
    enableLogging();
    logMessage(LOGSEVERITY_INFO, "everywhere");
    detachStdStream();
    EXPECT_FALSE(isStdStreamAttached());
    logMessage(LOGSEVERITY_INFO, "memory and file");
    detachMemoryStream();
    EXPECT_FALSE(isMemoryStreamAttached());
    logMessage(LOGSEVERITY_INFO, "file");
    std::clog.rdbuf(before);
    EXPECT_EQ(withoutTimes(standard.str()), "TIME [info] everywhere\n");
    EXPECT_EQ(withoutTimes(getMemoryStream()->str()), "TIME [info] everywhere\nTIME [info] memory and file\n");
    EXPECT_EQ(withoutTimes(readWholeFile(log_)),
              "TIME [info] everywhere\nTIME [info] memory and file\nTIME [info] file\n");
    clearMemoryStream();
    EXPECT_EQ(getMemoryStream()->str(), "");
}

TEST(LogNames, ReducePathsAndFunctions) {
    EXPECT_EQ(baseFileName("/a/b/ostrel/core/Status.cpp"), "Status.cpp");
    EXPECT_EQ(baseFileName("Status.cpp"), "Status.cpp");
    EXPECT_EQ(baseFileName("folder/"), "");
    EXPECT_EQ(baseFileName(""), "");
    EXPECT_EQ(baseFunctionName("ostrel::core::Connection::open"), "open");
    EXPECT_EQ(baseFunctionName("open"), "open");
    EXPECT_EQ(baseFunctionName("open:"), "");
    EXPECT_EQ(baseFunctionName(""), "");
}

namespace {

// The feature library's side: a shared library with its own copy of the logging core.
class LogWriterLibrary {
public:
    LogWriterLibrary() : handle_(dlopen(NIMBREL_LOGWRITER_LIBRARY, RTLD_NOW | RTLD_LOCAL)) {
        if (handle_ == nullptr) throw std::runtime_error(dlerror());
        open = reinterpret_cast<void (*)(const char*)>(dlsym(handle_, "openLibraryLog"));
        write = reinterpret_cast<void (*)(const char*)>(dlsym(handle_, "writeLibraryLine"));
        close = reinterpret_cast<void (*)()>(dlsym(handle_, "closeLibraryLog"));
    }
    LogWriterLibrary(const LogWriterLibrary&) = delete;
    LogWriterLibrary& operator=(const LogWriterLibrary&) = delete;
    ~LogWriterLibrary() { dlclose(handle_); }

    void (*open)(const char* path) = nullptr;
    void (*write)(const char* text) = nullptr;
    void (*close)() = nullptr;

private:
    void* handle_;
};

constexpr int WRITERS_PER_SIDE = 3;
constexpr int LINES_PER_WRITER = 300;

// "name number xxxx": mostly short, every fiftieth far above any buffer.
std::string lineOf(const std::string& writer, int number) {
    const size_t length = number % 50 == 7 ? 300000 : static_cast<size_t>(number % 40);
    return writer + " " + std::to_string(number) + " " + std::string(length, writer.back());
}

template <typename Write>
void startWriters(std::vector<std::thread>& threads, const std::string& side, Write write) {
    for (int writer = 0; writer < WRITERS_PER_SIDE; ++writer) {
        threads.emplace_back([name = side + std::to_string(writer), write] {
            for (int number = 0; number < LINES_PER_WRITER; ++number) write(lineOf(name, number));
        });
    }
}

}  // namespace

TEST_F(Logging, LosesAndTearsNoLineWhenToolAndLibraryWriteFromManyThreads) {
    LogWriterLibrary library;
    writeWholeFile(log_, "previous run\n");
    truncateLogFile(log_);
    library.open(log_.c_str());
    library.write("library starts");
    setLogFile(log_, false);
    openLogFile();
    enableLogging();

    std::vector<std::thread> threads;
    startWriters(threads, "tool", [](const std::string& line) { logMessage(LOGSEVERITY_DEBUG, line); });
    startWriters(threads, "library", [&](const std::string& line) { library.write(line.c_str()); });
    for (auto& thread : threads) thread.join();
    library.close();

    std::istringstream log(readWholeFile(log_));
    std::string line;
    ASSERT_TRUE(std::getline(log, line));
    EXPECT_EQ(withoutTimes(line), "TIME [info] library starts");
    std::map<std::string, int> next;  // the lines of one thread keep their order
    while (std::getline(log, line)) {
        const size_t start = line.find("] ") + 2;
        const std::string writer = line.substr(start, line.find(' ', start) - start);
        ASSERT_EQ(withoutTimes(line.substr(0, start)), writer < "tool" ? "TIME [info] " : "TIME [debug] ");
        ASSERT_EQ(line.substr(start), lineOf(writer, next[writer]++));
    }
    EXPECT_EQ(next, (std::map<std::string, int>{{"library0", LINES_PER_WRITER},
                                                {"library1", LINES_PER_WRITER},
                                                {"library2", LINES_PER_WRITER},
                                                {"tool0", LINES_PER_WRITER},
                                                {"tool1", LINES_PER_WRITER},
                                                {"tool2", LINES_PER_WRITER}}));
}

namespace {

constexpr int OUT_OF_MEMORY = 2;

/// Ends the process after a library was unloaded that had memory for so many allocations of its log's start. The
/// logging core that it shares with others stays, and its static objects are destroyed now.
[[noreturn]] void endAfterLibraryWithLittleMemory(const std::string& path, size_t allocations) {
    int status = 0;
    try {
        LogWriterLibrary library;
        test::failAllocationsAfter(allocations);
        library.open(path.c_str());
    } catch (const std::bad_alloc&) {
        status = OUT_OF_MEMORY;
    }
    test::failAllocations(false);
    std::exit(status);
}

}  // namespace

// In a suite that runs ahead of all others: once a library's log began, the core has what it may find no memory for.
TEST(LoggingDeathTest, LeavesNothingOfALibraryWhoseLogFindsNoMemory) {
    if (SANITIZED) GTEST_SKIP() << "Boost.Log leaves a severity of this thread, which the leak sanitizer reports";
    const TemporaryFolder folder;
    int status = OUT_OF_MEMORY;
    for (size_t allocations = 0; status == OUT_OF_MEMORY; ++allocations) {
        const End end = endOf([&] { endAfterLibraryWithLittleMemory(folder / "log", allocations); });
        ASSERT_TRUE(WIFEXITED(end.status)) << "after " << allocations << " allocations";
        status = WEXITSTATUS(end.status);
    }
    EXPECT_EQ(status, 0);
}
