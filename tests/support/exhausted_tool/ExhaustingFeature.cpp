#include <memory>
#include <string>

#include "ostrel/interfaces/cli/cliframework/CommonParts.h"
#include "ostrel/interfaces/cli/cliframework/FeatureBase.h"
#include "ostrel/interfaces/cli/cliframework/Framework.h"
#include "ostrel/interfaces/cli/cliframework/SimpleResult.h"
#include "tests/support/allocations/Allocations.h"

namespace {

using namespace cli::framework;

/// "start -exhaust" uses up the memory for the rest of the process. "start -exhaustrendering" returns a result first
/// and leaves it to the rendering to find out.
class ExhaustingFeature : public FeatureBase {
public:
    std::unique_ptr<ResultBase> run(const CommandSpec& commandSpec, const ParsedCommand&) override {
        auto result = std::make_unique<SimpleResult>(std::string(1000, 'x'));
        test::failAllocations(true);
        return commandSpec.id == 0 ? std::make_unique<SimpleResult>(std::string(1000, 'y')) : std::move(result);
    }

    void getPaths(std::vector<CommandSpec>& commands) override {
        CommandSpec exhaust(0, "Exhaust", "start", "");
        exhaust.addTarget(CommandPart{"-exhaust", true});
        commands.push_back(exhaust);
        CommandSpec rendering(1, "ExhaustRendering", "start", "");
        rendering.addTarget(CommandPart{"-exhaustrendering", true});
        commands.push_back(rendering);
    }
};

ExhaustingFeature feature;
const bool registered = Framework::getInstance().registerFeature("Exhausting", &feature);

}  // namespace
