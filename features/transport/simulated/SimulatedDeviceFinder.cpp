#include "features/transport/simulated/SimulatedDeviceFinder.h"

#include <thread>

#include "features/nvme/NvmeCommand.h"
#include "features/simulator/store/DriveFolder.h"
#include "features/simulator/store/DriveNodes.h"
#include "features/simulator/store/DriveStore.h"
#include "features/simulator/store/Model.h"
#include "features/transport/HostCommand.h"
#include "features/transport/simulated/SimulatedIdentity.h"
#include "features/transport/simulated/SimulatedNvmePath.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/Device.h"

namespace features::transport {

using namespace ostrel::core;
using simulator::DriveFolder;

namespace {

constexpr const char* PATH_NAME = "Simulated NVMe";

void set(Device& device, Attribute attribute, const std::string& text) {
    attribute.setValue(text);
    device.setAttribute(attribute);
}

void setIdentity(Device& device, SimulatedNvmePath& path, const std::string& folder) {
    const auto identity = DriveFolder::readIdentity(folder);
    if (!identity) return set(device, attributes::device::errorString(), identity.error().getMessage());
    const simulator::Description& description = identity->description;
    // A drive whose state alone is damaged keeps its name; its firmware is in the state.
    const auto& firmware = identity->firmware;
    if (!firmware) set(device, attributes::device::errorString(), firmware.error().getMessage());
    path.select(identityOf(description));
    set(device, attributes::device::modelNumber(), description.shownModelNumber());
    set(device, attributes::device::serialNumber(), description.serialNumber);
    if (!firmware) return;
    set(device, attributes::device::firmware(),
        firmware->empty() ? simulator::modelOf(description.model).firmware : *firmware);
}

void passTime(std::chrono::milliseconds time) {
    std::this_thread::sleep_for(time);
}

}  // namespace

SimulatedDeviceFinder::SimulatedDeviceFinder(std::string folder, const simulator::Clock& clock, std::string locks,
                                             std::shared_ptr<LookErrors> errors)
    : DeviceFinder(PATH_NAME),
      folder_(std::move(folder)),
      clock_(clock),
      locks_(std::move(locks)),
      errors_(std::move(errors)) {}

std::unique_ptr<DeviceFinder> SimulatedDeviceFinder::clone() const {
    return std::make_unique<SimulatedDeviceFinder>(*this);
}

void SimulatedDeviceFinder::scan(std::vector<std::shared_ptr<Device>>& devices) {
    const simulator::DriveStore store(folder_);
    *errors_ = LookErrors();
    const simulator::DriveStore::Listing listed = store.list();
    if (failed(listed.status)) errors_->add(folder_, static_cast<int>(listed.status.getCode()));
    for (const std::string& name : listed.names) {
        auto device = std::make_shared<Device>();
        const std::string folder = store.pathOf(name);
        set(*device, attributes::device::devicePath(), simulator::controllerNode(folder));
        SimulatedNvmePath path(folder, clock_, passTime, locks_);
        setIdentity(*device, path, folder);
        device->addCommandPath(path);
        device->addCommandSet(nvme::COMMAND_SET_NVME, PATH_NAME);
        device->addCommandSet(COMMAND_SET_HOST, PATH_NAME);
        devices.push_back(device);
    }
}

}  // namespace features::transport
