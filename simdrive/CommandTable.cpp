#include "simdrive/CommandTable.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <memory>

#include "features/simulator/store/DescriptionText.h"
#include "features/simulator/store/Model.h"
#include "features/simulator/store/SizeText.h"
#include "ostrel/core/Strings.h"
#include "simdrive/Commands.h"
#include "simdrive/Options.h"
#include "simdrive/capture/CaptureCommand.h"

namespace simdrive {

using namespace features::simulator;
using Names = std::vector<std::string>;

namespace {

constexpr uint64_t MAX_DRIVES = 10000;

/// A text that a drive shows of itself.
TakeValue printable(const std::string& option, size_t maxBytes, std::string& target) {
    return [=, &target](const std::string& value) {
        target = value;
        return isPrintable(value, maxBytes) ? std::string()
                                            : option + " takes 1 to " + std::to_string(maxBytes) +
                                                  " printable ASCII characters, without blanks at the ends.";
    };
}

std::string takeModel(const std::string& name, Description& description) {
    const Model* model = findModel(name);
    if (model == nullptr) return "--model takes velko, ocp, nvme-1.4, nvme-2.1, sata or ocp-2.6.";
    description.setModel(model->id);
    return "";
}

std::string takeCount(const std::string& text, uint64_t& count) {
    count = (ostrel::core::isInteger(text) ? parseSize(text) : std::nullopt).value_or(0);
    return count > 0 && count <= MAX_DRIVES ? "" : "--count takes 1 to " + std::to_string(MAX_DRIVES) + ".";
}

std::string takeSize(const std::string& text, Description& description) {
    const std::optional<uint64_t> bytes = parseSize(text);
    if (!bytes) return "--size takes a number of bytes, or one with K, M, G, T, Ki, Mi, Gi or Ti.";
    description.sizeBytes = *bytes;
    return "";
}

std::string takeControllers(const std::string& text, Description& description) {
    description.hasTwoControllers = text == "2";
    return text == "1" || text == "2" ? "" : "--controllers takes 1 or 2.";
}

CommandDefinition defineCreate(CLI::App& command) {
    constexpr size_t MODEL_NUMBER_BYTES = 40;
    constexpr size_t REVISION_BYTES = 8;
    const auto options = std::make_shared<CreateOptions>();
    addOption(command, "model", [=](const std::string& text) { return takeModel(text, options->drive.description); });
    addOption(command, "count", [=](const std::string& text) { return takeCount(text, options->count); });
    addOption(command, "size", [=](const std::string& text) { return takeSize(text, options->drive.description); });
    addOption(command, "model-number",
              printable("--model-number", MODEL_NUMBER_BYTES, options->drive.description.modelNumber));
    addOption(command, "controllers",
              [=](const std::string& text) { return takeControllers(text, options->drive.description); });
    addOption(command, "firmware", printable("--firmware", REVISION_BYTES, options->drive.firmware));
    addOption(command, "serial", options->serial);
    addOption(command, "from", options->capture);
    addSwitch(command, "json", options->wantsJson);
    return {R"(  nimbrel-simdrive create [NAME]
                          [--model velko|ocp|nvme-1.4|nvme-2.1|sata|ocp-2.6]
                          [--size SIZE] [--serial SERIAL]
                          [--model-number TEXT] [--firmware REVISION]
                          [--controllers 1|2] [--count N] [--json]
  nimbrel-simdrive create [NAME] --from FOLDER [--json]
      Makes drives: NAME, or with --count or without a name NAME-1, NAME-2, ...
      SIZE: bytes, or with K, M, G, T (powers of 1000), Ki, Mi, Gi, Ti (1024);
      1 MiB to 8 TiB, by default 16 GiB. Only what is written takes room.
      Model number and firmware revision are the model's, or free texts. With
      two controllers a drive has two ports and Asymmetric Namespace Access.
      --from: a drive that answers what a capture has, and is not changed.

)",
            [options](const DriveStore& store, const Names& names) { return create(store, names, *options); }};
}

CommandDefinition defineList(CLI::App& command) {
    const auto wantsJson = std::make_shared<bool>(false);
    addSwitch(command, "json", *wantsJson);
    return {R"(  nimbrel-simdrive list [--json]
      Shows the drives.

)",
            [wantsJson](const DriveStore& store, const Names&) { return list(store, *wantsJson); }};
}

CommandDefinition defineRemove(CLI::App&) {
    return {R"(  nimbrel-simdrive remove NAME ...
      Removes drives with all their data, without asking.

)",
            remove};
}

CommandDefinition defineSnapshot(CLI::App&) {
    return {"  nimbrel-simdrive snapshot NAME\n",
            [](const DriveStore& store, const Names& names) { return snapshot(store, names[0]); }};
}

CommandDefinition defineReset(CLI::App&) {
    return {R"(  nimbrel-simdrive reset NAME
      Keeps a drive as it is, with its data, and makes it that again.

)",
            [](const DriveStore& store, const Names& names) { return reset(store, names[0]); }};
}

CommandDefinition definePowerCycle(CLI::App&) {
    return {R"(  nimbrel-simdrive power-cycle NAME
      Takes the power from a drive and gives it back, as a host's restart does.

)",
            [](const DriveStore& store, const Names& names) { return powerCycle(store, names[0]); }};
}

CommandDefinition defineFault(CLI::App& command) {
    const auto options = std::make_shared<FaultOptions>();
    for (const Fault& kind : noFaults()) {
        addOption(command, kind.first, [options, key = kind.first](const std::string& value) -> std::string {
            // The value becomes a line of the description; another line in it would be a key of its own.
            if (value.find_first_of("\r\n") != std::string::npos) return "--" + key + " takes one line.";
            options->faults.emplace_back(key, value);
            return "";
        });
    }
    addSwitch(command, "json", options->wantsJson);
    return {R"(  nimbrel-simdrive fault NAME [--KIND VALUE ...] [--json]
  nimbrel-simdrive fault NAME clear [KIND ...] [--json]
      Shows what is wrong with a drive, and sets or takes off faults:
)" + faultHelp() +
                R"(      Several values of a kind: one text with commas between them.

)",
            [options](const DriveStore& store, const Names& names) { return fault(store, names, *options); }};
}

std::optional<uint16_t> parsePort(const std::string& text) {
    constexpr unsigned long MAX = 65535;
    if (text.empty() || text.size() > 5 || text.find_first_not_of("0123456789") != std::string::npos) return {};
    const unsigned long number = std::stoul(text);
    return number <= MAX ? std::optional(static_cast<uint16_t>(number)) : std::nullopt;
}

TakeValue port(const std::string& option, std::optional<uint16_t>& target) {
    return [=, &target](const std::string& text) {
        target = parsePort(text);
        return target ? std::string() : option + " takes 0 to 65535.";
    };
}

CommandDefinition defineCapture(CLI::App& command) {
    const auto isMasked = std::make_shared<bool>(false);
    addSwitch(command, "mask", *isMasked);
    return {R"(  nimbrel-simdrive capture PATH FOLDER [--mask]
      Asks a drive (/dev/nvme0, /dev/sda) for all that it offers, with commands
      that only read, and makes a folder of its answers. --mask: without what
      identifies drive and host: serial numbers, EUI-64s, NGUIDs, UUIDs, NQN,
      world wide name, host identifiers.

)",
            [isMasked](const DriveStore& store, const Names& words) -> Outcome {
                TRY(const std::string text, capture(store, words[0], words[1], *isMasked));
                return {0, text, ""};
            }};
}

CommandDefinition defineServe(CLI::App& command) {
    const auto options = std::make_shared<ServeOptions>();
    addOption(command, "address", options->address);
    addOption(command, "port", port("--port", options->port));
    addOption(command, "second-port", port("--second-port", options->secondPort));
    addOption(command, "dhchap-secret-file", options->secretFile);
    addOption(command, "dhchap-ctrl-secret-file", options->controllerSecretFile);
    return {R"(  nimbrel-simdrive serve NAME [--address 127.0.0.1] [--port 4420]
                         [--second-port 4421] [--dhchap-secret-file FILE]
                         [--dhchap-ctrl-secret-file FILE]
      Puts a drive on the network with NVMe/TCP, until SIGTERM or SIGINT. The
      second controller has the port after the first one's, or its own. With
      a secret hosts must authenticate; the secret is one line, DHHC-1:...,
      in a file of mode 0600. The second one is what the drive answers with.
      A SATA drive is served with iSCSI, by default on port 3260, and has no
      secrets.

)",
            [options](const DriveStore& store, const Names& names) { return serve(store, names[0], *options); }};
}

constexpr size_t ANY_NUMBER = std::numeric_limits<size_t>::max();

// clang-format off
constexpr CommandRow ROWS[] = {
    {"create",   0, 1,          "One name is enough: --count numbers the drives.", true,  defineCreate},
    {"capture",  2, 2,          "capture needs the path of a drive and a folder.", true, defineCapture},
    {"list",     0, 0,          "list takes no name.",                             false, defineList},
    {"remove",   1, ANY_NUMBER, "remove needs the name of a drive.",               false, defineRemove},
    {"snapshot", 1, 1,          "snapshot needs the name of one drive.",           false, defineSnapshot},
    {"reset",    1, 1,          "reset needs the name of one drive.",              false, defineReset},
    {"power-cycle", 1, 1,       "power-cycle needs the name of one drive.",        false, definePowerCycle},
    {"fault",    1, ANY_NUMBER, "fault needs the name of a drive.",                false, defineFault},
    {"serve",    1, 1,          "serve needs the name of one drive.",              false, defineServe},
};
// clang-format on

}  // namespace

std::vector<CommandRow> commandRows() {
    return {std::begin(ROWS), std::end(ROWS)};
}

const CommandRow* findCommand(const std::string& name) {
    const auto* found =
        std::find_if(std::begin(ROWS), std::end(ROWS), [&](const CommandRow& row) { return name == row.name; });
    return found == std::end(ROWS) ? nullptr : found;
}

}  // namespace simdrive
