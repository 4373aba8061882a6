// Payloads travel as hexadecimal text, up to hundreds of megabytes of it: bytes per second of both directions, counted
// in bytes of text, beside a plain copy of that text.
#include <benchmark/benchmark.h>

#include <string>

#include "ostrel/core/Strings.h"

namespace {

using ostrel::core::bytesToHex;
using ostrel::core::hexToBytes;
using ostrel::core::Payload;

constexpr size_t TEXT_BYTES = size_t{64} << 20;

std::string hexText() {
    std::string text(TEXT_BYTES, '0');
    for (size_t i = 0; i < text.size(); ++i) text[i] = "0123456789ABCDEF"[(i * 7 + i / 16) % 16];
    return text;
}

void setRate(benchmark::State& state) {
    state.SetBytesProcessed(static_cast<int64_t>(TEXT_BYTES) * state.iterations());
}

void copyText(benchmark::State& state) {
    const std::string text = hexText();
    for (auto _ : state) {
        std::string copy = text;
        benchmark::DoNotOptimize(copy.data());
    }
    setRate(state);
}
BENCHMARK(copyText)->Unit(benchmark::kMillisecond);

void textToBytes(benchmark::State& state) {
    const std::string text = hexText();
    for (auto _ : state) {
        const Payload payload = hexToBytes(text, "");
        benchmark::DoNotOptimize(payload.getData());
    }
    setRate(state);
}
BENCHMARK(textToBytes)->Unit(benchmark::kMillisecond);

void bytesToText(benchmark::State& state) {
    const Payload payload = hexToBytes(hexText(), "");
    for (auto _ : state) {
        const std::string text = bytesToHex(payload.getData(), payload.getSize());
        benchmark::DoNotOptimize(text.data());
    }
    setRate(state);
}
BENCHMARK(bytesToText)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
