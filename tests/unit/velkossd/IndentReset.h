#pragma once

#include <gtest/gtest.h>

#include "ostrel/interfaces/cli/cliframework/ObjectResult.h"

namespace cli::velkossd {

/// The indent that all object results of a process share starts again for each test, the way the storage feature has
/// it.
class IndentReset : public testing::Test {
protected:
    IndentReset() {
        framework::ObjectResult::setTab(true);
        resetIndent();
    }

    /// Rendering leaves it as it comes out; a process renders once.
    static void resetIndent() { SharedIndent::s_tab.clear(); }

private:
    struct SharedIndent : framework::ObjectResult {
        using ObjectResult::s_tab;
    };
};

}  // namespace cli::velkossd
