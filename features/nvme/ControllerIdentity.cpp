#include "features/nvme/ControllerIdentity.h"

#include "features/nvme/Bytes.h"

namespace features::nvme {

namespace {

/// With a '.' where every other name has a '-'.
constexpr std::string_view MADE_BY_KERNEL = "nqn.2014.08.org.nvmexpress:";

std::string oneForm(std::string_view text) {
    text = text.substr(0, text.find_first_of(std::string_view("\0\n", 2)));
    return std::string(text.substr(0, text.find_last_not_of(" \t") + 1));
}

template <size_t COUNT>
std::string field(const ByteArray<COUNT>& bytes) {
    return oneForm({reinterpret_cast<const char*>(bytes.data()), COUNT});
}

std::string shown(const std::string& text) {
    return shownText(reinterpret_cast<const uint8_t*>(text.data()), text.size());
}

}  // namespace

ControllerIdentity::ControllerIdentity(std::string_view serial, std::string_view model, std::string_view subsystem)
    : serialNumber(oneForm(serial)), modelNumber(oneForm(model)), subsystemName(oneForm(subsystem)) {
    if (subsystem.compare(0, MADE_BY_KERNEL.size(), MADE_BY_KERNEL) == 0) subsystemName.clear();
}

ControllerIdentity::ControllerIdentity(const uint8_t* identify)
    : ControllerIdentity(structureAt<IdentifyController>(identify)) {}

ControllerIdentity::ControllerIdentity(const IdentifyController& identify)
    : serialNumber(field(identify.sn)), modelNumber(field(identify.mn)), subsystemName(field(identify.subnqn)) {}

bool ControllerIdentity::isThatOf(const ControllerIdentity& found) const {
    return serialNumber == found.serialNumber && modelNumber == found.modelNumber &&
           (subsystemName.empty() || subsystemName == found.subsystemName);
}

std::string ControllerIdentity::driveName() const {
    return subsystemName.empty() ? modelNumber + " " + serialNumber : subsystemName;
}

std::string ControllerIdentity::text() const {
    const std::string subsystem = subsystemName.empty() ? "" : ", subsystem " + shown(subsystemName);
    return "serial number " + shown(serialNumber) + " (model " + shown(modelNumber) + subsystem + ")";
}

}  // namespace features::nvme
