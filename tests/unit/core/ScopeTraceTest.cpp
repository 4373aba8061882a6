#include <gtest/gtest.h>

#include <regex>

#include "ostrel/core/ScopeTrace.h"

using namespace ostrel::core;

namespace {

class ScopeTraceTest : public testing::Test {
protected:
    void SetUp() override {
        clearMemoryStream();
        attachMemoryStream();
    }
    void TearDown() override {
        disableLogging();
        detachMemoryStream();
    }

    static std::string logged() {
        return std::regex_replace(getMemoryStream()->str(), std::regex("..:..:..:...... \\["), "[");
    }
};

}  // namespace

TEST_F(ScopeTraceTest, LogsEnteringAndExiting) {
    enableLogging();
    {
        const ScopeTrace trace("ostrel/core/Some.cpp", "ostrel::core::Some::work", 12);
        logMessage(LOGSEVERITY_INFO, "inside");
    }
    EXPECT_EQ(logged(),
              "[debug] Some.cpp(12) work: Entering\n"
              "[info] inside\n"
              "[debug] Some.cpp work: Exiting\n");
}

TEST_F(ScopeTraceTest, IsSilentWhileTheLogIsOff) {
    { const ScopeTrace trace("Some.cpp", "work", 12); }
    EXPECT_EQ(logged(), "");
}

TEST_F(ScopeTraceTest, LogsExitingOfAScopeThatTurnedTheLogOn) {
    {
        const ScopeTrace trace("Some.cpp", "work", 12);
        enableLogging();
    }
    EXPECT_EQ(logged(), "[debug] Some.cpp work: Exiting\n");
}

TEST_F(ScopeTraceTest, NamesFileFunctionAndLineByItsMacro) {
    enableLogging();
    const std::string line = std::to_string(__LINE__ + 1);
    [] { OSTREL_TRACE(); }();
    EXPECT_EQ(logged(), "[debug] ScopeTraceTest.cpp(" + line +
                            ") operator(): Entering\n"
                            "[debug] ScopeTraceTest.cpp operator(): Exiting\n");
}
