// How fast results become text: bytes per second must not fall as the tree grows, or rendering is not linear.

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <string>
#include <utility>

#include "ostrel/interfaces/cli/cliframework/ObjectResult.h"

namespace {

using cli::framework::ObjectResult;
using cli::framework::OutputType;

constexpr int PROPERTIES_PER_CHILD = 200;

/// What drives report: numbers, words, sentences, and a path that JSON has to escape.
constexpr const char* VALUES[] = {
    "0", "8192", "True", "Healthy", "VK0123456789ABCDEF", "/dev/nvme0n1", "The operation completed without error."};

std::unique_ptr<ObjectResult> makeChild() {
    auto child = std::make_unique<ObjectResult>();
    for (int i = 0; i < PROPERTIES_PER_CHILD; ++i)
        child->insert("Property " + std::to_string(i), VALUES[static_cast<std::size_t>(i) % std::size(VALUES)]);
    return child;
}

std::unique_ptr<ObjectResult> makeTree(std::int64_t children) {
    auto tree = std::make_unique<ObjectResult>();
    for (std::int64_t i = 0; i < children; ++i) tree->insert("Drive " + std::to_string(i), makeChild());
    return tree;
}

/// Each object the only child of the one above.
std::unique_ptr<ObjectResult> makeChain(std::int64_t depth) {
    auto chain = makeChild();
    for (std::int64_t i = 1; i < depth; ++i) {
        auto parent = makeChild();
        parent->insert("Level " + std::to_string(i), std::move(chain));
        chain = std::move(parent);
    }
    return chain;
}

void render(benchmark::State& state, ObjectResult& result, OutputType type) {
    result.setOutputType(type);
    std::int64_t bytes = 0;
    for (auto _ : state) {
        const std::string out = result.output();
        benchmark::DoNotOptimize(out.data());
        bytes += static_cast<std::int64_t>(out.size());
    }
    state.SetBytesProcessed(bytes);
}

void renderTree(benchmark::State& state, OutputType type) {
    const auto tree = makeTree(state.range(0));
    render(state, *tree, type);
}

void renderChain(benchmark::State& state, OutputType type) {
    const auto chain = makeChain(state.range(0));
    render(state, *chain, type);
}

void sizes(benchmark::internal::Benchmark* run) {
    run->ArgName("children")->RangeMultiplier(10)->Range(10, 10000)->Unit(benchmark::kMillisecond);
}

void depths(benchmark::internal::Benchmark* run) {
    run->ArgName("depth")->RangeMultiplier(10)->Range(10, 1000)->Unit(benchmark::kMillisecond);
}

BENCHMARK_CAPTURE(renderTree, text, cli::framework::OUTPUTTYPE_TEXT)->Apply(sizes);
BENCHMARK_CAPTURE(renderTree, nvmxml, cli::framework::OUTPUTTYPE_XML)->Apply(sizes);
BENCHMARK_CAPTURE(renderTree, esx, cli::framework::OUTPUTTYPE_ESX_XML)->Apply(sizes);  // empty by definition
BENCHMARK_CAPTURE(renderTree, table, cli::framework::OUTPUTTYPE_TEXT_TABLE)->Apply(sizes);
BENCHMARK_CAPTURE(renderTree, json, cli::framework::OUTPUTTYPE_JSON)->Apply(sizes);
BENCHMARK_CAPTURE(renderTree, csv, cli::framework::OUTPUTTYPE_CSV)->Apply(sizes);

// The indent of nvmxml and json grows with the depth, and so does a line: bytes per second is what to look at here too.
BENCHMARK_CAPTURE(renderChain, text, cli::framework::OUTPUTTYPE_TEXT)->Apply(depths);
BENCHMARK_CAPTURE(renderChain, nvmxml, cli::framework::OUTPUTTYPE_XML)->Apply(depths);
BENCHMARK_CAPTURE(renderChain, json, cli::framework::OUTPUTTYPE_JSON)->Apply(depths);
BENCHMARK_CAPTURE(renderChain, csv, cli::framework::OUTPUTTYPE_CSV)->Apply(depths);

}  // namespace

BENCHMARK_MAIN();
