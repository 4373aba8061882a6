#pragma once

#include <atomic>

namespace ostrel::core {

class AsyncEngine;

/// What a command path does with its engine. Only CommandPath::setAsyncEngine() knows the functions: where no path is
/// given an engine, as in the feature library, neither the engine nor Boost.Thread, which reads files through streams,
/// is linked.
struct EngineOperations {
    void (*stop)(AsyncEngine& engine);
    void (*assign)(AsyncEngine& engine, const AsyncEngine& other);
};

/// Null until the first path of the process has an engine.
extern std::atomic<const EngineOperations*> engineOperations;

}  // namespace ostrel::core
