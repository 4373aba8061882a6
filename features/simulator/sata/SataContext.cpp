#include "features/simulator/sata/SataContext.h"

#include <utility>

#include "features/simulator/store/RewrittenBlocks.h"

namespace features::simulator::sata {

namespace {

constexpr int32_t TRUE_CELSIUS = 38;
constexpr uint8_t DEVICE_LBA = 0x40;

}  // namespace

uint64_t SataContext::sectors() const {
    const uint64_t last = state.volatileMaxLba != 0 ? state.volatileMaxLba : state.maxLba;
    return last == 0 ? nativeSectors() : last + 1;
}

uint64_t SataContext::dateMs() const {
    return state.timeSetTo ? *state.timeSetTo + (nowMs - state.timeSetAtMs) : powerOnMs();
}

int32_t SataContext::temperatureCelsius() const {
    return description.faults.temperatureCelsius.value_or(TRUE_CELSIUS);
}

ata::Registers completed(uint16_t count, uint64_t lba) {
    return {0, STATUS_READY, DEVICE_LBA, count, lba};
}

ata::Registers aborted(uint64_t lba) {
    return failedWith(ata::ERROR_ABORT, lba);
}

ata::Registers failedWith(uint8_t error, uint64_t lba) {
    return {error, STATUS_READY | ata::STATUS_ERROR, DEVICE_LBA, 0, lba};
}

ata::Registers deviceFault() {
    return {ata::ERROR_ABORT, STATUS_READY | ata::STATUS_DEVICE_FAULT | ata::STATUS_ERROR, DEVICE_LBA, 0, 0};
}

void renewMedia(SataContext& context) {
    NamespaceState& media = context.drive.namespaces.at(1);
    const std::string old = DriveFolder::mediaName(1, media.mediaGeneration);
    noteRewritten(context.description, context.drive, {{1, 0, media.size}});
    context.state.reallocated += static_cast<uint32_t>(context.state.pending.size());
    context.state.pending.clear();
    media.mediaGeneration = context.drive.nextMediaGeneration++;
    context.afterSave.push_back([&files = context.media, old] { files.forget(old); });
}

bool deallocate(SataContext& context, std::vector<BlockRange> ranges) {
    context.drive.deallocating = std::move(ranges);
    if (failed(context.folder.save())) return false;
    return finishDeallocation(context);
}

bool finishDeallocation(SataContext& context) {
    for (const BlockRange& range : context.drive.deallocating) {
        if (context.media.deallocate(range) != 0) return false;
    }
    context.drive.deallocating.clear();
    return true;
}

}  // namespace features::simulator::sata
