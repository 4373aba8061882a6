#include "tests/support/fakedrive/FakeDrive.h"

#include <gtest/gtest.h>

#include <deque>

#include "features/ata/AtaCommand.h"
#include "features/nvme/NvmeCommand.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/CommandPath.h"

namespace fakedrive {

using namespace ostrel::core;
using features::ata::AtaCommand;
using features::nvme::NvmeCommand;
using features::transport::HostCommand;

namespace {

constexpr const char* PATH_NAME = "Fake";

/// What a test sees of a command that was not in the script.
const Status UNEXPECTED(CATEGORY_CORE, 24, "The script of the fake drive does not have this command.");

std::string textOf(const Command& command, const Payload& payload, bool withTimeout) {
    if (const auto* nvme = dynamic_cast<const NvmeCommand*>(&command))
        return Expected::text(*nvme, payload, withTimeout);
    if (const auto* ata = dynamic_cast<const AtaCommand*>(&command)) return Expected::text(*ata, payload, withTimeout);
    if (const auto* host = dynamic_cast<const HostCommand*>(&command)) return Expected::text(*host, withTimeout);
    return "a command of the set " + command.getCommandSet();
}

}  // namespace

struct FakeDrive::Script {
    std::string serialNumber;
    std::deque<Expected> commands;
    size_t answered = 0;

    void answer(const Command& command, const Payload& payload, CommandResult& result);
    void expectDone() const;
};

void FakeDrive::Script::answer(const Command& command, const Payload& payload, CommandResult& result) {
    result.status = UNEXPECTED;
    if (commands.empty()) {
        ADD_FAILURE() << "drive " << serialNumber << ": after " << answered
                      << " commands nothing more is expected, but " << command.getName() << " came:\n"
                      << textOf(command, payload, true);
        return;
    }
    const Expected expected = commands.front();
    const std::string came = textOf(command, payload, expected.hasTimeout());
    if (came != expected.text()) {
        ADD_FAILURE() << "drive " << serialNumber << ": command " << answered + 1 << " is " << command.getName()
                      << ":\n"
                      << came << "\nbut this was expected:\n"
                      << expected.text();
        return;
    }
    commands.pop_front();
    ++answered;
    expected.answer(result);
}

void FakeDrive::Script::expectDone() const {
    for (const Expected& missing : commands)
        ADD_FAILURE() << "drive " << serialNumber << ": after " << answered << " commands this never came:\n"
                      << missing.text();
}

/// Clones, of which each record of a command has one, share the script.
class FakeDrive::Path : public CommandPath {
public:
    explicit Path(std::shared_ptr<Script> script)
        : CommandPath(PATH_NAME, 30 * NANOSECONDS_PER_SECOND), script_(std::move(script)) {}

    std::unique_ptr<CommandPath> clone() const override { return std::make_unique<Path>(*this); }
    bool isSupported(const AttributeList&) const override { return true; }
    CommandResult send(const Command& command, const Payload& payload, const AttributeList&) override {
        CommandResult result;
        result.command = command.clone();
        result.outputPayload = payload;
        script_->answer(command, payload, result);
        return result;
    }

private:
    std::shared_ptr<Script> script_;
};

FakeDrive::FakeDrive(const std::string& serialNumber, const std::string& devicePath)
    : FakeDrive(serialNumber, devicePath, features::nvme::COMMAND_SET_NVME) {}

FakeDrive::FakeDrive(const std::string& serialNumber, const std::string& devicePath, const char* commandSet)
    : script_(std::make_shared<Script>()), device_(std::make_shared<Device>()) {
    script_->serialNumber = serialNumber;
    const std::pair<Attribute, std::string> attributes[] = {
        {attributes::device::devicePath(), devicePath},
        {attributes::device::serialNumber(), serialNumber},
        {attributes::device::modelNumber(), "FAKE DRIVE"},
        {attributes::device::firmware(), "FW1"},
    };
    for (auto [attribute, value] : attributes) {
        attribute.setValue(value);
        device_->setAttribute(attribute);
    }
    device_->addCommandPath(Path(script_));
    device_->addCommandSet(commandSet, PATH_NAME);
    device_->addCommandSet(features::transport::COMMAND_SET_HOST, PATH_NAME);
}

FakeDrive::~FakeDrive() {
    script_->expectDone();
}

FakeDrive& FakeDrive::expect(const Expected& command) {
    script_->commands.push_back(command);
    return *this;
}

void FakeDrive::expectDone() {
    script_->expectDone();
    script_->commands.clear();
}

}  // namespace fakedrive
