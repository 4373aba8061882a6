// Any commands to a simulated drive, one after the other. The input makes a drive, and then says command by command
// what the host sends and how long it waits before.
#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "features/nvme/NamespaceIds.h"
#include "features/nvme/Opcodes.h"
#include "features/simulator/controller/Controller.h"
#include "features/simulator/controller/StateCheck.h"
#include "features/simulator/store/Archive.h"
#include "features/simulator/store/DriveFolder.h"
#include "features/simulator/tables/CommandTable.h"
#include "fuzz/FuzzInput.h"
#include "fuzz/Require.h"
#include "fuzz/ScratchFolder.h"
#include "fuzz/SimulatedDriveCheck.h"

namespace {

using namespace features::simulator;
using namespace features::nvme;

constexpr unsigned MAX_COMMANDS = 64;

const ScratchFolder& scratch() {
    static const ScratchFolder folder;
    return folder;
}

Description describe(FuzzInput& input) {
    constexpr bool Description::* SWITCHES[] = {&Description::supportsFormat,
                                                &Description::supportsNamespaceManagement,
                                                &Description::supportsSanitize,
                                                &Description::supportsSelfTest,
                                                &Description::supportsFirmwareUpdate,
                                                &Description::supportsTelemetry,
                                                &Description::supportsPersistentEventLog};
    constexpr uint32_t NAMESPACES[] = {16, 1, 2, 1024};
    // The newest twice and more, since they have the most.
    constexpr ModelId MODELS[] = {ModelId::VELKO,    ModelId::OCP,     ModelId::NVME_2_1, ModelId::OCP_2_6,
                                  ModelId::NVME_1_4, ModelId::OCP_2_6, ModelId::NVME_2_1, ModelId::OCP_2_6};
    Description description;
    const uint8_t kind = input.byte();
    description.setModel(MODELS[(kind & 1) | (kind >> 5 & 6)]);
    description.serialNumber = "FUZZ";
    description.sizeBytes = (kind & 2) != 0 ? uint64_t{16} << 30 : uint64_t{4} << 20;
    description.maxNamespaces = NAMESPACES[kind >> 2 & 3];
    if ((kind & 0x10) != 0) {
        const uint8_t missing = input.byte();
        for (size_t i = 0; i < std::size(SWITCHES); ++i) description.*SWITCHES[i] = (missing >> i & 1) == 0;
    }
    if ((kind & 0x20) != 0) {
        description.faults.mediaErrors.push_back({1, input.byte(), uint64_t{input.byte()} + 1});
        description.faults.criticalWarning = input.byte();
    }
    return description;
}

/// Most commands are some that the drive knows: any opcode would hardly ever be one.
SubmissionEntry takeCommand(FuzzInput& input) {
    constexpr uint32_t NAMESPACES[] = {0, 1, 2, 3, 17, 1024, 0xFFFFFFFE, NSID_ALL};
    constexpr uint32_t SubmissionEntry::* DWORDS[] = {
        &SubmissionEntry::cdw10, &SubmissionEntry::cdw11, &SubmissionEntry::cdw12, &SubmissionEntry::cdw13,
        &SubmissionEntry::cdw14, &SubmissionEntry::cdw15, &SubmissionEntry::cdw2,  &SubmissionEntry::cdw3};
    const Rows<CommandRow> rows = allCommands();
    const uint8_t which = input.byte();
    SubmissionEntry command;
    if (which < 0xF0) {
        command.isAdmin = rows.begin()[which % rows.size()].isAdmin;
        command.opcode = rows.begin()[which % rows.size()].opcode;
    } else {
        command.isAdmin = which % 2 == 0;
        command.opcode = input.byte();
    }
    command.nsid = input.pick(NAMESPACES);
    const uint8_t given = input.byte();
    for (size_t i = 0; i < std::size(DWORDS); ++i) {
        if ((given >> i & 1) != 0) command.*DWORDS[i] = input.dword();
    }
    return command;
}

/// The host's buffer: some bytes of the input at its start.
std::vector<uint8_t> takeData(FuzzInput& input) {
    constexpr size_t SIZES[] = {4096, 0, 512, 8192, 65536, 1};
    std::vector<uint8_t> data(input.pick(SIZES));
    const size_t given = std::min<size_t>(input.byte(), data.size());
    for (size_t i = 0; i < given; ++i) data[i] = input.byte();
    return data;
}

/// What a refused command must leave as it is: all but what the drive notes about the refusal.
std::vector<uint8_t> essence(DriveState state) {
    ArchiveWriter writer;
    writer(state.namespaces, state.nextMediaGeneration, state.features, state.firmware, state.selfTest, state.sanitize,
           state.timestamp);
    return writer.take();
}

class Host {
public:
    explicit Host(FuzzInput& input) : input_(input), observed_(scratch().path(), impossibleIn) {
        scratch().clear();
        scratch().write(FILE_DESCRIPTION, describe(input).toText());
        connect();
    }

    void step() {
        constexpr uint8_t RESET_CONTROLLER = 1;
        constexpr uint8_t RESET_SUBSYSTEM = 2;
        constexpr uint8_t TAKE_EVENT = 3;
        constexpr uint8_t RECONNECT = 4;
        constexpr uint8_t WAIT = 5;
        switch (input_.byte() % 16) {
            case RESET_CONTROLLER:
                REQUIRE(succeeded(controller_->reset(ResetKind::CONTROLLER)));
                break;
            case RESET_SUBSYSTEM:
                REQUIRE(succeeded(controller_->reset(ResetKind::SUBSYSTEM)));
                break;
            case TAKE_EVENT:
                REQUIRE(controller_->takeEvent().has_value());
                break;
            case RECONNECT:
                connect();
                break;
            case WAIT:
                wait();
                break;
            default:
                execute();
        }
        observe();
    }

private:
    void connect() {
        controller_.reset();
        controller_ = std::make_unique<Controller>(scratch().path(), clock_);
        keepAlive();
    }
    /// What the time brings happens at the next command, which changes nothing else.
    void wait() {
        constexpr uint64_t WAITS[] = {1, 1000, 10000, 60000, 3600000, 86400000};
        clock_.advanceMs(input_.pick(WAITS));
        keepAlive();
    }
    void keepAlive() {
        SubmissionEntry command;
        command.opcode = OPC_KEEP_ALIVE;
        std::vector<uint8_t> data;
        REQUIRE(controller_->execute(command, data).has_value());
        observe();
    }

    void execute() {
        const SubmissionEntry command = takeCommand(input_);
        std::vector<uint8_t> data = takeData(input_);
        const auto completion = controller_->execute(command, data);
        REQUIRE(completion.has_value());
        if (completion->delivery != Delivery::COMPLETED) return;
        REQUIRE((completion->statusField & 0x9800) == 0);  // phase bit and reserved ones
        if (!completion->isSuccess()) {
            const std::vector<uint8_t> before = essence_;
            observe();
            REQUIRE(essence_ == before);
        } else if (command.isAdmin && command.opcode == OPC_GET_LOG_PAGE) {
            REQUIRE(data.size() == 4 * ((uint64_t{command.cdw11 & 0xFFFF} << 16 | command.cdw10 >> 16) + 1));
        } else if (command.isAdmin && command.opcode == OPC_IDENTIFY) {
            REQUIRE(data.size() == 4096);
        }
    }

    /// Looks at the drive as another process would.
    void observe() {
        REQUIRE(succeeded(observed_.begin()));
        checkState(observed_);
        checkLimits(observed_);
        checkFiles(observed_);
        REQUIRE(observed_.state.deallocating.empty());
        essence_ = essence(observed_.state);
        observed_.rollBack();
    }

    FuzzInput& input_;
    ManualClock clock_{1600000000000};
    std::unique_ptr<Controller> controller_;
    DriveFolder observed_;
    std::vector<uint8_t> essence_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzInput input(data, size);
    Host host(input);
    for (unsigned i = 0; i < MAX_COMMANDS && !input.isEmpty(); ++i) host.step();
    return 0;
}
