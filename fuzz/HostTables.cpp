// The tables of a machine that say how its drives are used: mountinfo, swaps, sysfs. The input lays out its folders:
// a path, a line end, the contents, a zero byte, and so on. Contents that begin with '>' are a link to another path.
// Nodes of devices are plain files, opened through a kernel of the test's own: no device of the machine is touched.
#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "features/transport/linux/BlockOpener.h"
#include "features/transport/linux/BlockUses.h"
#include "features/transport/linux/NvmeTopology.h"
#include "fuzz/Require.h"
#include "fuzz/ScratchFolder.h"
#include "tests/unit/features/transport/FakeKernel.h"

namespace {

namespace fs = std::filesystem;
using namespace features::transport;

constexpr size_t MAX_FILES = 64;
constexpr size_t MAX_NAME = 64;

const ScratchFolder& scratch() {
    static const ScratchFolder folder;
    return folder;
}

/// A path below the scratch folder, whatever the text is; empty for what names nothing.
std::string placeOf(std::string_view text) {
    std::string place;
    std::istringstream parts{std::string(text)};
    for (std::string part; std::getline(parts, part, '/');) {
        if (!part.empty() && part != "." && part != ".." && part.size() <= MAX_NAME) place += "/" + part;
    }
    return place.empty() ? place : scratch().path() + place;
}

/// Where a file is in the way of a folder, or a folder of a file, the first one stays.
void add(std::string_view item) {
    const size_t end = item.find('\n');
    if (end == std::string_view::npos) return;
    const std::string place = placeOf(item.substr(0, end));
    const std::string_view contents = item.substr(end + 1);
    if (place.empty()) return;
    std::error_code error;
    fs::create_directories(fs::path(place).parent_path(), error);
    if (!contents.empty() && contents[0] == '>') {
        const std::string target = placeOf(contents.substr(1));
        if (!target.empty()) fs::create_symlink(target, place, error);
    } else if (!error && !fs::is_symlink(fs::symlink_status(place, error))) {
        std::ofstream(place, std::ios::binary).write(contents.data(), static_cast<std::streamsize>(contents.size()));
    }
}

std::string firstLine(const std::string& place) {
    std::ifstream file(place, std::ios::binary);
    std::string line;
    std::error_code error;
    if (!fs::is_regular_file(place, error) || !std::getline(file, line)) return {};
    return line;
}

std::vector<std::string> namesIn(const std::string& place) {
    std::vector<std::string> names;
    std::error_code error;
    for (fs::directory_iterator entry(place, error), end; !error && entry != end; entry.increment(error))
        names.push_back(entry->path().filename());
    return names;
}

/// The device numbers of the mounts, by the table's own rule: fields with one blank between them, and "-" in the line.
std::vector<std::string> mountedNumbers() {
    std::vector<std::string> numbers;
    std::ifstream table(scratch() / "proc/self/mountinfo", std::ios::binary);
    for (std::string line; std::getline(table, line);) {
        const bool isPlain =
            std::all_of(line.begin(), line.end(), [](unsigned char c) { return c >= 0x20 && c != 0x7F; });
        std::vector<std::string> fields;
        std::istringstream text(line);
        for (std::string field; std::getline(text, field, ' ');) fields.push_back(field);
        const auto dash = fields.size() > 6 ? std::find(fields.begin() + 5, fields.end(), "-") : fields.end();
        const bool isWhole = isPlain && fields.end() - dash > 2 &&
                             std::none_of(fields.begin(), fields.end(), [](auto& field) { return field.empty(); });
        if (isWhole) numbers.push_back(fields[2]);
    }
    return numbers;
}

bool has(const std::vector<NamespaceUse>& uses, NamespaceUse::Kind kind) {
    return std::any_of(uses.begin(), uses.end(), [&](const NamespaceUse& use) { return use.kind == kind; });
}

void checkUses(const LinuxPaths& paths, UseCheck check) {
    const BlockUses uses(paths, check);
    const std::vector<std::string> mounted = mountedNumbers();
    for (const std::string& block : namesIn(paths.sys + "/class/block")) {
        const std::vector<NamespaceUse> found = uses.usesOf(block);
        const std::string folder = paths.sys + "/class/block/" + block;
        const std::string number = firstLine(folder + "/dev");
        // No mount and no holder is missed.
        if (std::find(mounted.begin(), mounted.end(), number) != mounted.end())
            REQUIRE(has(found, NamespaceUse::Kind::MOUNTED));
        if (!namesIn(folder + "/holders").empty()) REQUIRE(has(found, NamespaceUse::Kind::HELD));
        REQUIRE(uses.usesOf(block).size() == found.size());
        (void)uses.partitionsOf(block);
    }
    (void)uses.rootDevices();
}

void checkTopology(const LinuxPaths& paths) {
    const NvmeTopology topology(paths);
    LookErrors errors;
    const std::vector<std::string> controllers = topology.controllers(errors);
    REQUIRE(std::is_sorted(controllers.begin(), controllers.end()));
    for (const std::string& controller : controllers) {
        const auto namespaces = topology.namespacesOf(controller, errors);
        REQUIRE(std::is_sorted(namespaces.begin(), namespaces.end(),
                               [](const auto& a, const auto& b) { return a.nsid < b.nsid; }));
        const auto subsystem = topology.subsystemOf(controller, errors);
        REQUIRE(std::find(subsystem.begin(), subsystem.end(), controller) != subsystem.end());
    }
    for (const std::string& block : namesIn(paths.sys + "/class/block")) (void)topology.controllersOf(block, errors);
    REQUIRE(errors.isEmpty() == errors.text().empty());
}

/// Each block device has a node, as its number says; those that are loop devices are backed by the last of them.
void addNodes(FakeKernel& kernel, const LinuxPaths& paths) {
    const std::vector<std::string> blocks = namesIn(paths.sys + "/class/block");
    dev_t last = 0;
    for (const std::string& block : blocks) {
        const auto number = toDeviceNumber(firstLine(paths.sys + "/class/block/" + block + "/dev"));
        if (!number) continue;
        kernel.devices["/dev/" + block] = {S_IFBLK, *number};
        last = *number;
    }
    for (const std::string& block : blocks) kernel.loops["/dev/" + block] = {last, last};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    scratch().clear();
    fs::create_directories(scratch() / "sys/class/block");
    std::string_view rest(reinterpret_cast<const char*>(data), size);
    for (size_t files = 0; files < MAX_FILES && !rest.empty(); ++files) {
        const size_t end = std::min(rest.find('\0'), rest.size());
        add(rest.substr(0, end));
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    const auto kernel = std::make_shared<FakeKernel>(scratch().path());
    const LinuxPaths paths(scratch().path(), kernel);
    addNodes(*kernel, paths);
    checkTopology(paths);
    checkUses(paths, UseCheck::SHOW);
    checkUses(paths, UseCheck::DESTROY);
    return 0;
}
