#include <gtest/gtest.h>

#include <memory>

#include "features/jobs/support/StateFolder.h"
#include "tests/support/TemporaryFolder.h"

namespace {

/// No test reads or writes what this machine knows of its drives, or what another test found.
class FolderOfEachTest : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo&) override {
        folder_ = std::make_unique<TemporaryFolder>();
        features::jobs::useStateFolder(*folder_ / "state");
    }
    void OnTestEnd(const testing::TestInfo&) override { folder_.reset(); }

    std::unique_ptr<TemporaryFolder> folder_;
};

// The list of listeners owns it.
[[maybe_unused]] const bool IS_LISTENING = [] {
    testing::UnitTest::GetInstance()->listeners().Append(new FolderOfEachTest);
    return true;
}();

}  // namespace
