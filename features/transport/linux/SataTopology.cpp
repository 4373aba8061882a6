#include "features/transport/linux/SataTopology.h"

#include <algorithm>
#include <cctype>
#include <cstring>

#include "features/errors/PayloadCopy.h"
#include "features/transport/linux/Sysfs.h"

namespace features::transport {

using ostrel::core::Payload;

namespace {

// The ATA Information VPD page (SAT-4 12.4.2).
constexpr std::size_t PAGE_BYTES = 572;
constexpr std::size_t PAGE_CODE_AT = 1;
constexpr std::size_t COMMAND_AT = 56;
constexpr std::size_t IDENTIFY_AT = 60;
constexpr uint8_t PAGE_CODE = 0x89;
constexpr uint8_t IDENTIFY_DEVICE = 0xEC;
constexpr std::size_t IDENTIFY_BYTES = 512;

constexpr const char* PORT = "ata";         // of libata: "ata1"
constexpr const char* DIRECT_ACCESS = "0";  // the peripheral device type
constexpr const char* SAS_END_DEVICE = "end_device-";

/// "sda", "sdaa"; not "sda1".
bool isDiskName(const std::string& name) {
    return name.size() > 2 && name.compare(0, 2, "sd") == 0 &&
           std::all_of(name.begin() + 2, name.end(), [](unsigned char c) { return std::islower(c) != 0; });
}

/// "ata1" with the word "ata": the word and digits.
bool isNumbered(const std::string& name, const std::string& word) {
    return name.size() > word.size() && name.compare(0, word.size(), word) == 0 &&
           std::all_of(name.begin() + static_cast<std::ptrdiff_t>(word.size()), name.end(),
                       [](unsigned char c) { return std::isdigit(c) != 0; });
}

/// What the way to a device says of it: the names of its folders.
void readWay(const std::string& folder, ScsiDisk& disk) {
    std::size_t begin = 1;
    while (begin < folder.size()) {
        const std::size_t end = std::min(folder.find('/', begin), folder.size());
        const std::string name = folder.substr(begin, end - begin);
        if (isNumbered(name, PORT)) disk.port = name;
        if (isNumbered(name, "usb")) disk.isUsb = true;
        if (name.compare(0, std::strlen(SAS_END_DEVICE), SAS_END_DEVICE) == 0) disk.isSas = true;
        begin = end + 1;
    }
}

Payload readIdentify(const std::string& folder, LookErrors& errors) {
    const auto page = readAll(folder + "/vpd_pg89", errors);
    if (!page || page->size() < PAGE_BYTES) return {};
    const auto* const bytes = reinterpret_cast<const uint8_t*>(page->data());
    if (bytes[PAGE_CODE_AT] != PAGE_CODE || bytes[COMMAND_AT] != IDENTIFY_DEVICE) return {};
    return copyOf(bytes + IDENTIFY_AT, IDENTIFY_BYTES);
}

}  // namespace

std::optional<ScsiDisk> SataTopology::disk(const std::string& block, LookErrors& errors) const {
    if (!isDiskName(block)) return std::nullopt;
    const std::string folder = resolvedPath(blockFolder(block) + "/device", errors);
    if (folder.empty() || readLine(folder + "/type", errors) != DIRECT_ACCESS) return std::nullopt;
    const auto address = toScsiAddress(folder.substr(folder.rfind('/') + 1));
    if (!address) return std::nullopt;
    ScsiDisk found;
    found.block = block;
    found.address = *address;
    readWay(folder, found);
    found.isAtaVendor = readLine(folder + "/vendor", errors) == "ATA";
    found.isRotational = readNumber(blockFolder(block) + "/queue/rotational", errors).value_or(1) != 0;
    found.identify = readIdentify(folder, errors);
    return found;
}

std::vector<ScsiDisk> SataTopology::disks(LookErrors& errors) const {
    std::vector<ScsiDisk> found;
    // Without any block device there is no such folder; without sysfs its absence means nothing.
    (void)isSysfs(paths_, errors);  // noted there
    for (const std::string& block : listFolder(paths_.sys + "/class/block", errors)) {
        if (auto candidate = disk(block, errors)) found.push_back(std::move(*candidate));
    }
    std::sort(found.begin(), found.end(),
              [](const ScsiDisk& left, const ScsiDisk& right) { return left.address < right.address; });
    return found;
}

std::optional<std::string> SataTopology::trim(const ScsiDisk& disk, LookErrors& errors) const {
    if (disk.port.empty()) return std::nullopt;
    const std::string device = paths_.sys + "/class/ata_device/dev" + disk.port.substr(std::strlen(PORT)) + ".";
    // The channel is the number of a port multiplier's port; drives without one are numbered by target.
    const auto afterMultiplier = readLine(device + std::to_string(disk.address.channel) + ".0/trim", errors);
    return afterMultiplier ? afterMultiplier : readLine(device + std::to_string(disk.address.target) + "/trim", errors);
}

std::string SataTopology::diskOfGeneric(const std::string& name, LookErrors& errors) const {
    if (!isNumbered(name, "sg")) return {};
    const auto blocks = listFolder(paths_.sys + "/class/scsi_generic/" + name + "/device/block", errors);
    return blocks.empty() ? std::string() : blocks.front();
}

}  // namespace features::transport
