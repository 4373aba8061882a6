// How fast a response becomes a result: seconds per drive must not grow with the number of drives. Each drive has 200
// attributes, as `show -velkossd` shows them. The parts of the way are measured each for itself; the last one is the
// whole way, from the text of the response to the text for the user.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "CLI/velkossd/JobRendering.h"
#include "ostrel/core/XmlConverter.h"
#include "ostrel/interfaces/cli/cliframework/ObjectResult.h"

namespace {

using cli::framework::ObjectResult;
using ostrel::core::XmlConverter;

constexpr int ATTRIBUTES_PER_DRIVE = 200;
const std::vector<std::string> HIDDEN = {"VendorUniqueIdentifyPayload"};

constexpr struct {
    const char* type;
    const char* value;
} VALUES[] = {
    {"string", "VX0123456789ABCDEF"},
    {"uint64", "1920383410176"},
    {"boolean", "True"},
    {"sint32", "41"},
    {"hexValue", "0x01AB34CD"},
    {"string", "Property not found"},
    {"uint8", "7"},
    {"bytepointer", "00FF10AB34"},
    {"vectorOfStrings", "one~two~three"},
};

std::string makeDrive(std::int64_t index) {
    std::string drive = "<Object category=\"attributeList\" key=\"Velko SSD Index " + std::to_string(index) + "\">";
    for (int i = 0; i < ATTRIBUTES_PER_DRIVE; ++i) {
        const auto& value = VALUES[static_cast<std::size_t>(i) % std::size(VALUES)];
        const std::string number = std::to_string(i * 7919 % ATTRIBUTES_PER_DRIVE);  // not in the order of the names
        drive += "<Property category=\"attribute\" displayName=\"Display Name " + number + "\" name=\"DeviceAttribute" +
                 number + "\" size=\"8\" type=\"" + value.type + "\" value=\"" + value.value + "\"/>";
    }
    return drive + "</Object>";
}

std::string makeResponse(std::int64_t drives) {
    std::string response =
        "<?xml version=\"1.0\" encoding=\"utf-8\"?><Object name=\"VelkoSSD\"><Object category=\"Output\">";
    for (std::int64_t i = 0; i < drives; ++i) response += makeDrive(i);
    return response + "</Object></Object>";
}

void countDrives(benchmark::State& state) {
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void parse(benchmark::State& state) {
    const std::string text = makeResponse(state.range(0));
    for (auto _ : state) benchmark::DoNotOptimize(XmlConverter::toXml(text));
    countDrives(state);
}
BENCHMARK(parse)->Arg(64)->Arg(512)->Arg(4096)->Unit(benchmark::kMillisecond);

void render(benchmark::State& state) {
    const auto response = XmlConverter::toXml(makeResponse(state.range(0)));
    for (auto _ : state) benchmark::DoNotOptimize(cli::velkossd::render(HIDDEN, *response));
    countDrives(state);
}
BENCHMARK(render)->Arg(64)->Arg(512)->Arg(4096)->Unit(benchmark::kMillisecond);

void output(benchmark::State& state, cli::framework::OutputType type) {
    const auto response = XmlConverter::toXml(makeResponse(state.range(0)));
    const auto result = cli::velkossd::render(HIDDEN, *response);
    ObjectResult::setTab(true);
    result->setOutputType(type);
    for (auto _ : state) benchmark::DoNotOptimize(result->output());
    countDrives(state);
}
BENCHMARK_CAPTURE(output, text, cli::framework::OUTPUTTYPE_TEXT)->Arg(64)->Arg(4096)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(output, xml, cli::framework::OUTPUTTYPE_XML)->Arg(64)->Arg(4096)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(output, json, cli::framework::OUTPUTTYPE_JSON)->Arg(64)->Arg(4096)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(output, csv, cli::framework::OUTPUTTYPE_CSV)->Arg(64)->Arg(4096)->Unit(benchmark::kMillisecond);

void wholeWay(benchmark::State& state) {
    const std::string text = makeResponse(state.range(0));
    ObjectResult::setTab(true);
    for (auto _ : state) {
        const auto response = XmlConverter::toXml(text);
        benchmark::DoNotOptimize(cli::velkossd::render(HIDDEN, *response)->output());
    }
    countDrives(state);
    state.counters["response_MB"] = static_cast<double>(text.size()) / 1e6;
}
BENCHMARK(wholeWay)->Arg(64)->Arg(512)->Arg(4096)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
