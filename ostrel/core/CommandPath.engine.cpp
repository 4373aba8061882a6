// Giving a path an engine (EngineOperations.h).

#include "ostrel/core/CommandPath.h"

#include <utility>

#include "ostrel/core/AsyncEngine.h"
#include "ostrel/core/EngineOperations.h"
#include "ostrel/core/ScopeTrace.h"

namespace ostrel::core {

namespace {

constexpr EngineOperations OPERATIONS = {
    [](AsyncEngine& engine) { engine.stop(); },
    [](AsyncEngine& engine, const AsyncEngine& other) { engine = other; },
};

}  // namespace

void CommandPath::setAsyncEngine(std::unique_ptr<AsyncEngine> engine) {
    OSTREL_TRACE();
    stopEngine();
    engineOperations = &OPERATIONS;
    asyncEngine_ = std::move(engine);
}

}  // namespace ostrel::core
