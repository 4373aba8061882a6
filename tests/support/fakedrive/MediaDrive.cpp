#include "tests/support/fakedrive/MediaDrive.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>

#include "features/nvme/Completion.h"
#include "features/nvme/NvmeCommand.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/CommandPath.h"
#include "ostrel/core/CommandResult.h"
#include "ostrel/core/StatusCatalogue.h"
#include "tests/support/fakedrive/DriveBytes.h"
#include "tests/support/fakedrive/Expected.h"

namespace fakedrive {

using namespace ostrel::core;
using features::nvme::Completion;
using features::nvme::NvmeCommand;
using features::nvme::Queue;
using features::transport::HostCommand;
using features::transport::HostResult;

namespace {

constexpr const char* PATH_NAME = "Media";
constexpr uint16_t UNRECOVERED_READ_ERROR = 0x4281;
constexpr uint16_t INVALID_OPCODE = 0x4001;

}  // namespace

struct MediaDrive::State {
    State(const MediaDrive& drive, size_t blocks) : owner(drive), counts(blocks) {}

    const MediaDrive& owner;
    mutable std::mutex mutex;
    std::condition_variable changed;
    std::vector<unsigned> counts;
    unsigned inFlight = 0;
    unsigned maxInFlight = 0;
    bool hasGathered = false;

    void answer(const NvmeCommand& command, CommandResult& result);
    void read(const NvmeCommand& command, CommandResult& result);
    uint16_t transfer(const NvmeCommand& command, CommandResult& result);
};

void MediaDrive::State::answer(const NvmeCommand& command, CommandResult& result) {
    uint16_t statusField = 0;
    if (command.queue == Queue::IO && command.opcode == 0x02) return read(command, result);
    if (command.opcode == 0x06 && (command.cdw10 & 0xFF) == 1) {
        result.inputPayload = identifyController().byte(77, 4).payload();  // 64 KiB
    } else if (command.opcode == 0x06 && command.cdw10 == 0) {
        result.inputPayload = identifyNamespace(counts.size()).payload();
    } else if (command.opcode == 0x02 && (command.cdw10 & 0xFF) == 0x02) {
        result.inputPayload = smartLog().byte(0, owner.criticalWarning).payload();
    } else {
        statusField = INVALID_OPCODE;
        result.inputPayload = DriveBytes(command.dataLength).payload();
    }
    result.protocolResult = std::make_unique<Completion>(statusField, 0);
}

void MediaDrive::State::read(const NvmeCommand& command, CommandResult& result) {
    std::unique_lock<std::mutex> lock(mutex);
    maxInFlight = std::max(maxInFlight, ++inFlight);
    if (inFlight >= owner.gathers) hasGathered = true;
    changed.notify_all();
    changed.wait_for(lock, std::chrono::milliseconds(owner.gatherMs), [&] { return hasGathered; });
    hasGathered = true;
    const uint16_t statusField = transfer(command, result);
    if (succeeded(result.status)) result.protocolResult = std::make_unique<Completion>(statusField, 0);
    --inFlight;
}

uint16_t MediaDrive::State::transfer(const NvmeCommand& command, CommandResult& result) {
    constexpr uint16_t LBA_OUT_OF_RANGE = 0x4080;
    const uint64_t first = command.cdw10 | uint64_t{command.cdw11} << 32;
    const uint64_t count = (command.cdw12 & 0xFFFF) + uint64_t{1};
    result.inputPayload = DriveBytes(command.dataLength).payload();
    if (first + count > counts.size() || command.dataLength != count * 512) return LBA_OUT_OF_RANGE;
    if (count > owner.maxBlocks) {
        result.status = statuses::invalidTransferSize();
        return 0;
    }
    if (first <= owner.breaksAt && owner.breaksAt < first + count) {
        result.status = Status(CATEGORY_CORE, 70, "The drive /dev/nvme0 is gone.");
        return 0;
    }
    const auto bad = owner.unreadable.lower_bound(first);
    if (bad != owner.unreadable.end() && *bad < first + count) return UNRECOVERED_READ_ERROR;
    for (uint64_t i = 0; i < count; ++i) ++counts[static_cast<size_t>(first + i)];
    return 0;
}

class MediaDrive::Path : public CommandPath {
public:
    explicit Path(std::shared_ptr<State> state)
        : CommandPath(PATH_NAME, 30 * NANOSECONDS_PER_SECOND), state_(std::move(state)) {}

    std::unique_ptr<CommandPath> clone() const override { return std::make_unique<Path>(*this); }
    bool isSupported(const AttributeList&) const override { return true; }
    CommandResult send(const Command& command, const Payload&, const AttributeList&) override {
        CommandResult result;
        result.command = command.clone();
        if (const auto* nvme = dynamic_cast<const NvmeCommand*>(&command)) {
            state_->answer(*nvme, result);
        } else {
            result.protocolResult = std::make_unique<HostResult>(state_->owner.namespaces);
        }
        return result;
    }

private:
    std::shared_ptr<State> state_;
};

MediaDrive::MediaDrive(size_t blocks)
    : namespaces{unusedNamespace(1)},
      state_(std::make_shared<State>(*this, blocks)),
      device_(std::make_shared<Device>()) {
    const std::pair<Attribute, std::string> attributes[] = {
        {attributes::device::devicePath(), "/dev/nvme0"},
        {attributes::device::serialNumber(), "S1"},
    };
    for (auto [attribute, value] : attributes) {
        attribute.setValue(value);
        device_->setAttribute(attribute);
    }
    device_->addCommandPath(Path(state_));
    device_->addCommandSet(features::nvme::COMMAND_SET_NVME, PATH_NAME);
    device_->addCommandSet(features::transport::COMMAND_SET_HOST, PATH_NAME);
}

std::vector<unsigned> MediaDrive::blocksRead() const {
    return state_->counts;
}

unsigned MediaDrive::maxInFlight() const {
    return state_->maxInFlight;
}

}  // namespace fakedrive
