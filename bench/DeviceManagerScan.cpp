// Scans and lookups of many devices: the time of each has to grow with their number, apart from the sorting.
#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <vector>

#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/Device.h"
#include "ostrel/core/DeviceFinder.h"
#include "ostrel/core/DeviceManager.h"

namespace {

using namespace ostrel::core;

void set(Device& device, Attribute attribute, const std::string& text) {
    attribute.setValue(text);
    device.setAttribute(attribute);
}

enum Twins { TWINS_NONE, TWINS_LSI, TWINS_ONE_SERIAL };

// Half of the devices are seen a second time through an LSI controller, or all of them have one serial number.
class ManyFinder : public DeviceFinder {
public:
    ManyFinder(long count, Twins twins) : DeviceFinder("Many"), count_(count), twins_(twins) {}

    void scan(std::vector<std::shared_ptr<Device>>& devices) override {
        for (long i = 0; i < count_; ++i) {
            auto device = std::make_shared<Device>();
            const bool lsi = twins_ != TWINS_NONE && i % 2 == 1;
            const long drive = twins_ == TWINS_LSI ? i / 2 : twins_ == TWINS_ONE_SERIAL ? 0 : i;
            // Scattered, so that there is something to sort.
            set(*device, attributes::device::devicePath(),
                (lsi ? "LSI:" : "/dev/nvme") + std::to_string(i * 7919 % count_));
            set(*device, attributes::device::serialNumber(), "SERIAL" + std::to_string(drive));
            set(*device, attributes::device::modelNumber(), "VELKO SIMULATED");
            devices.push_back(std::move(device));
        }
    }
    std::unique_ptr<DeviceFinder> clone() const override { return std::make_unique<ManyFinder>(*this); }

private:
    long count_;
    Twins twins_;
};

// With what the finder itself costs, which is most of it.
void scanDevices(benchmark::State& state, Twins twins) {
    DeviceManager manager;
    manager.addDeviceFinder(ManyFinder(state.range(0), twins));
    for (auto _ : state) manager.scan();
    state.SetComplexityN(state.range(0));
    state.SetItemsProcessed(state.range(0) * state.iterations());
}
BENCHMARK_CAPTURE(scanDevices, alone, TWINS_NONE)->RangeMultiplier(10)->Range(100, 100000)->Complexity();
BENCHMARK_CAPTURE(scanDevices, lsiTwins, TWINS_LSI)->RangeMultiplier(10)->Range(100, 100000)->Complexity();
BENCHMARK_CAPTURE(scanDevices, oneSerial, TWINS_ONE_SERIAL)->RangeMultiplier(10)->Range(100, 100000)->Complexity();

// The last device of the list, which takes longest.
void lookUpLast(benchmark::State& state, Attribute identifier) {
    DeviceManager manager;
    manager.addDeviceFinder(ManyFinder(state.range(0), TWINS_NONE));
    manager.scan();
    identifier.setValue(manager.getDevices().back()->getAttribute(identifier).getText());
    for (auto _ : state) benchmark::DoNotOptimize(manager.GetDevice(identifier));
    state.SetComplexityN(state.range(0));
    state.SetItemsProcessed(state.range(0) * state.iterations());
}
BENCHMARK_CAPTURE(lookUpLast, byIndex, attributes::device::index())
    ->RangeMultiplier(10)
    ->Range(100, 100000)
    ->Complexity();
BENCHMARK_CAPTURE(lookUpLast, bySerialNumber, attributes::device::serialNumber())
    ->RangeMultiplier(10)
    ->Range(100, 100000)
    ->Complexity();

}  // namespace

BENCHMARK_MAIN();
