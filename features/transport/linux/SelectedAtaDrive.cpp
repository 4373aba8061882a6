#include "features/transport/linux/SelectedAtaDrive.h"

namespace features::transport {

SelectedAtaDrive::SelectedAtaDrive(const ata::Identity& identity)
    : serialNumber(identity.serialNumber()), modelNumber(identity.model()), worldWideName(identity.worldWideName()) {}

bool SelectedAtaDrive::isThatOf(const SelectedAtaDrive& found) const {
    return serialNumber == found.serialNumber && modelNumber == found.modelNumber &&
           worldWideName == found.worldWideName;
}

std::string SelectedAtaDrive::driveName() const {
    const std::string name = worldWideName ? " " + std::to_string(*worldWideName) : std::string();
    return "ata " + modelNumber + " " + serialNumber + name;
}

std::string SelectedAtaDrive::text() const {
    return "serial number " + serialNumber + " (model " + modelNumber + ")";
}

}  // namespace features::transport
