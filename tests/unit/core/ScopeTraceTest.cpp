#include <gtest/gtest.h>

#include "ostrel/core/ScopeTrace.h"
#include "tests/support/LogCapture.h"

using namespace ostrel::core;

TEST(ScopeTrace, LogsEnteringAndExiting) {
    const LogCapture log(LOGSEVERITY_TRACE);
    {
        const ScopeTrace trace("ostrel/core/Some.cpp", "ostrel::core::Some::work", 12);
        logMessage(LOGSEVERITY_INFO, "inside");
    }
    EXPECT_EQ(log.lines(),
              "[debug] Some.cpp(12) work: Entering\n"
              "[info] inside\n"
              "[debug] Some.cpp work: Exiting\n");
}

TEST(ScopeTrace, IsSilentWhileTheLogIsOff) {
    const LogCapture log(LOGSEVERITY_TRACE);
    disableLogging();
    {
        const ScopeTrace trace("Some.cpp", "work", 12);
    }
    EXPECT_EQ(log.lines(), "");
}

TEST(ScopeTrace, LogsExitingOfAScopeThatTurnedTheLogOn) {
    const LogCapture log(LOGSEVERITY_TRACE);
    disableLogging();
    {
        const ScopeTrace trace("Some.cpp", "work", 12);
        enableLogging();
    }
    EXPECT_EQ(log.lines(), "[debug] Some.cpp work: Exiting\n");
}

TEST(ScopeTrace, NamesFileFunctionAndLineByItsMacro) {
    const LogCapture log(LOGSEVERITY_TRACE);
    const std::string line = std::to_string(__LINE__ + 1);
    [] { OSTREL_TRACE(); }();
    EXPECT_EQ(log.lines(), "[debug] ScopeTraceTest.cpp(" + line +
                               ") operator(): Entering\n"
                               "[debug] ScopeTraceTest.cpp operator(): Exiting\n");
}
