#include "features/transport/simulated/SimulatedDeviceFinder.h"

#include <thread>
#include <utility>

#include "features/ata/AtaCommand.h"
#include "features/nvme/NvmeCommand.h"
#include "features/simulator/store/DriveFolder.h"
#include "features/simulator/store/DriveNodes.h"
#include "features/simulator/store/DriveStore.h"
#include "features/simulator/store/Model.h"
#include "features/transport/HostCommand.h"
#include "features/transport/simulated/SimulatedAtaPath.h"
#include "features/transport/simulated/SimulatedNvmePath.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/Device.h"

namespace features::transport {

using namespace ostrel::core;
using simulator::DriveFolder;

namespace {

constexpr const char* PATH_NAME = "Simulated NVMe";
constexpr const char* SATA_PATH_NAME = "Simulated SATA";

void set(Device& device, Attribute attribute, const std::string& text) {
    attribute.setValue(text);
    device.setAttribute(attribute);
}

/// An attribute that many drives have with one text: they share its bytes, which take a page of memory each.
class SharedAttribute {
public:
    explicit SharedAttribute(Attribute attribute) : attribute_(std::move(attribute)) {}

    void set(Device& device, const std::string& text) {
        if (attribute_.getText() != text) attribute_.setValue(text);
        device.setAttribute(attribute_);
    }

private:
    Attribute attribute_;
};

/// Those of a scan.
struct SharedAttributes {
    SharedAttribute modelNumber{attributes::device::modelNumber()};
    SharedAttribute firmware{attributes::device::firmware()};
};

void setIdentity(Device& device, const Result<DriveFolder::Identity>& identity, SharedAttributes& shared) {
    if (!identity) return set(device, attributes::device::errorString(), identity.error().getMessage());
    const simulator::Description& description = identity->description;
    // A drive whose state alone is damaged keeps its name; its firmware is in the state.
    const auto& firmware = identity->firmware;
    if (!firmware) set(device, attributes::device::errorString(), firmware.error().getMessage());
    shared.modelNumber.set(device, description.shownModelNumber());
    set(device, attributes::device::serialNumber(), description.serialNumber);
    if (!firmware) return;
    shared.firmware.set(device, firmware->empty() ? simulator::modelOf(description.model).firmware : *firmware);
}

void passTime(std::chrono::milliseconds time) {
    std::this_thread::sleep_for(time);
}

/// A drive that cannot be read has the path of an NVMe one, which answers with what is wrong.
bool isSataDrive(const Result<DriveFolder::Identity>& identity) {
    return identity && simulator::isSata(identity->description.model);
}

template <class Path>
void addPath(Device& device, Path path, const Result<DriveFolder::Identity>& identity) {
    if (identity) path.select(*identity);
    device.addCommandPath(path);
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
    SharedAttributes shared;
    for (const std::string& name : listed.names) {
        auto device = std::make_shared<Device>();
        const std::string folder = store.pathOf(name);
        set(*device, attributes::device::devicePath(), simulator::controllerNode(folder));
        const auto identity = DriveFolder::readIdentity(folder);
        setIdentity(*device, identity, shared);
        const bool isSata = isSataDrive(identity);
        const char* pathName = isSata ? SATA_PATH_NAME : PATH_NAME;
        if (isSata) {
            addPath(*device, SimulatedAtaPath(folder, clock_, passTime, locks_), identity);
        } else {
            addPath(*device, SimulatedNvmePath(folder, clock_, passTime, locks_), identity);
        }
        device->addCommandSet(isSata ? ata::COMMAND_SET_ATA : nvme::COMMAND_SET_NVME, pathName);
        device->addCommandSet(COMMAND_SET_HOST, pathName);
        devices.push_back(device);
    }
}

}  // namespace features::transport
