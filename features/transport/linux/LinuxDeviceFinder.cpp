#include "features/transport/linux/LinuxDeviceFinder.h"

#include <map>
#include <optional>

#include "features/nvme/Bytes.h"
#include "features/nvme/Drive.h"
#include "features/transport/KernelDrive.h"
#include "features/transport/linux/LinuxNvmePath.h"
#include "features/transport/linux/NvmeTopology.h"
#include "features/transport/linux/Sysfs.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/Device.h"

namespace features::transport {

using namespace ostrel::core;

namespace {

/// The identity of a controller: the file that sysfs has it in, and the field of Identify Controller
/// (NVMe Base Specification 1.4, figure 247).
struct IdentityRow {
    const char* file;
    size_t offset;
    size_t bytes;
    Attribute (*attribute)();
};
constexpr IdentityRow IDENTITY[] = {
    {"model", 24, 40, attributes::device::modelNumber},
    {"serial", 4, 20, attributes::device::serialNumber},
    {"firmware_rev", 64, 8, attributes::device::firmware},
};

void set(Device& device, Attribute attribute, const std::string& text) {
    attribute.setValue(text);
    device.setAttribute(attribute);
}

void askIdentity(Device& device, LinuxNvmePath& path) {
    nvme::Drive drive(device);
    const auto asked = drive.identifyController();
    if (!asked) set(device, attributes::device::errorString(), asked.error().status.getMessage());
    const uint8_t* const data = asked.value_or(nullptr);
    for (const IdentityRow& row : IDENTITY) {
        set(device, row.attribute(), data == nullptr ? "" : nvme::shownText(data + row.offset, row.bytes));
    }
    if (data != nullptr) path.select(nvme::ControllerIdentity(data));
}

/// Also of the path, which shares it with the one that the device has.
void setIdentity(Device& device, LinuxNvmePath& path, const NvmeTopology& topology, const std::string& controller) {
    const std::string folder = topology.controllerFolder(controller) + "/";
    LookErrors errors;
    bool isGone = true;
    std::map<std::string, std::optional<std::string>> texts;
    for (const IdentityRow& row : IDENTITY) {
        const auto& line = texts[row.file] = readLine(folder + row.file, errors);
        isGone = isGone && !line;
        const std::string text = line.value_or("");
        set(device, row.attribute(), nvme::shownText(reinterpret_cast<const uint8_t*>(text.data()), text.size()));
    }
    const std::string subsystem = readLine(folder + "subsysnqn", errors).value_or("");
    if (isGone) (void)topology.isVisible(errors);
    if (!errors.isEmpty()) return askIdentity(device, path);
    const auto& serial = texts["serial"];
    const auto& model = texts["model"];
    if (serial && model) path.select({*serial, *model, subsystem});
}

}  // namespace

LinuxDeviceFinder::LinuxDeviceFinder(LinuxPaths paths, std::shared_ptr<LookErrors> errors)
    : DeviceFinder(KERNEL_NVME_PATH), paths_(std::move(paths)), errors_(std::move(errors)) {}

std::unique_ptr<DeviceFinder> LinuxDeviceFinder::clone() const {
    return std::make_unique<LinuxDeviceFinder>(*this);
}

void LinuxDeviceFinder::scan(std::vector<std::shared_ptr<Device>>& devices) {
    *errors_ = LookErrors();
    const auto topology = std::make_shared<const NvmeTopology>(paths_);
    for (const std::string& controller : topology->controllers(*errors_)) {
        auto device = std::make_shared<Device>();
        set(*device, attributes::device::devicePath(), "/dev/" + controller);
        LinuxNvmePath path(controller, paths_, topology);
        device->addCommandPath(path);
        device->addCommandSet(nvme::COMMAND_SET_NVME, KERNEL_NVME_PATH);
        device->addCommandSet(COMMAND_SET_HOST, KERNEL_NVME_PATH);
        setIdentity(*device, path, *topology, controller);
        devices.push_back(device);
    }
}

}  // namespace features::transport
