#include "features/nvme/ControllerIdentity.h"

#include "features/nvme/Bytes.h"

namespace features::nvme {

namespace {

/// Where the texts are in Identify Controller (NVMe Base Specification 1.4, section 5.15.2.2).
constexpr size_t OFFSET_SERIAL_NUMBER = 4;
constexpr size_t SERIAL_NUMBER_BYTES = 20;
constexpr size_t OFFSET_MODEL_NUMBER = 24;
constexpr size_t MODEL_NUMBER_BYTES = 40;
constexpr size_t OFFSET_SUBSYSTEM_NAME = 768;
constexpr size_t SUBSYSTEM_NAME_BYTES = 256;

/// With a '.' where every other name has a '-'.
constexpr std::string_view MADE_BY_KERNEL = "nqn.2014.08.org.nvmexpress:";

std::string oneForm(std::string_view text) {
    text = text.substr(0, text.find_first_of(std::string_view("\0\n", 2)));
    return std::string(text.substr(0, text.find_last_not_of(" \t") + 1));
}

std::string field(const uint8_t* identify, size_t offset, size_t bytes) {
    return oneForm({reinterpret_cast<const char*>(identify) + offset, bytes});
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
    : serialNumber(field(identify, OFFSET_SERIAL_NUMBER, SERIAL_NUMBER_BYTES)),
      modelNumber(field(identify, OFFSET_MODEL_NUMBER, MODEL_NUMBER_BYTES)),
      subsystemName(field(identify, OFFSET_SUBSYSTEM_NAME, SUBSYSTEM_NAME_BYTES)) {}

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
