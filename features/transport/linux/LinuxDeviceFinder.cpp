#include "features/transport/linux/LinuxDeviceFinder.h"

#include "features/nvme/Bytes.h"
#include "features/transport/linux/LinuxNvmePath.h"
#include "features/transport/linux/NvmeTopology.h"
#include "features/transport/linux/Sysfs.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/Device.h"
#include "ostrel/core/ScopeTrace.h"

namespace features::transport {

using namespace ostrel::core;

namespace {

/// The identity of a controller as sysfs has it, by attribute.
struct IdentityRow {
    const char* file;
    Attribute (*attribute)();
};
constexpr IdentityRow IDENTITY[] = {
    {"model", attributes::device::modelNumber},
    {"serial", attributes::device::serialNumber},
    {"firmware_rev", attributes::device::firmware},
};

void set(Device& device, Attribute attribute, const std::string& text) {
    attribute.setValue(text);
    device.setAttribute(attribute);
}

}  // namespace

LinuxDeviceFinder::LinuxDeviceFinder(LinuxPaths paths) : DeviceFinder("Linux NVMe"), paths_(std::move(paths)) {}

std::unique_ptr<DeviceFinder> LinuxDeviceFinder::clone() const {
    return std::make_unique<LinuxDeviceFinder>(*this);
}

void LinuxDeviceFinder::scan(std::vector<std::shared_ptr<Device>>& devices) {
    OSTREL_TRACE();
    const auto topology = std::make_shared<const NvmeTopology>(paths_);
    for (const std::string& controller : topology->controllers()) {
        auto device = std::make_shared<Device>();
        set(*device, attributes::device::devicePath(), "/dev/" + controller);
        for (const IdentityRow& row : IDENTITY) {
            const std::string text = readLine(topology->controllerFolder(controller) + "/" + row.file).value_or("");
            set(*device, row.attribute(), nvme::shownText(reinterpret_cast<const uint8_t*>(text.data()), text.size()));
        }
        device->addCommandPath(LinuxNvmePath(controller, paths_, topology));
        device->addCommandSet(nvme::COMMAND_SET_NVME, "Linux NVMe");
        device->addCommandSet(COMMAND_SET_HOST, "Linux NVMe");
        devices.push_back(device);
    }
}

}  // namespace features::transport
