#include "features/transport/linux/SasDrive.h"

#include <string>

#include "features/nvme/Bytes.h"
#include "features/transport/linux/Sysfs.h"
#include "ostrel/core/AttributeVocabulary.h"

namespace features::transport {

using namespace ostrel::core;

namespace {

// The Unit Serial Number VPD page (SPC-5 7.7.19).
constexpr std::size_t SERIAL_NUMBER_AT = 4;
constexpr std::size_t PAGE_CODE_AT = 1;
constexpr char PAGE_CODE = '\x80';

void set(Device& device, Attribute attribute, const std::string& text) {
    attribute.setValue(text);
    device.setAttribute(attribute);
}

/// Drives pad it with blanks, on either side.
std::string readSerialNumber(const std::string& folder, LookErrors& errors) {
    const std::string page = readAll(folder + "/vpd_pg80", errors).value_or("");
    if (page.size() <= SERIAL_NUMBER_AT || page[PAGE_CODE_AT] != PAGE_CODE) return {};
    const std::string padding(" \0", 2);
    const std::size_t begin = page.find_first_not_of(padding, SERIAL_NUMBER_AT);
    const std::size_t end = page.find_last_not_of(padding);
    if (begin == std::string::npos || end < begin) return {};
    // The kernel cleans vendor and model, not this page: any byte may be in it.
    return nvme::shownText(reinterpret_cast<const uint8_t*>(page.data()) + begin, end + 1 - begin);
}

}  // namespace

bool isSasSolidStateDrive(const ScsiDisk& disk) {
    return disk.isSas && !disk.isAtaVendor && disk.identify.getSize() == 0 && !disk.isRotational;
}

std::shared_ptr<Device> makeSasDevice(const ScsiDisk& disk, const LinuxPaths& paths, LookErrors& errors) {
    const std::string folder = SataTopology(paths).blockFolder(disk.block) + "/device";
    const std::string vendor = readLine(folder + "/vendor", errors).value_or("");
    const std::string model = vendor + " " + readLine(folder + "/model", errors).value_or("");
    auto device = std::make_shared<Device>();
    set(*device, attributes::device::devicePath(), "/dev/" + disk.block);
    set(*device, attributes::device::serialNumber(), readSerialNumber(folder, errors));
    set(*device, attributes::device::modelNumber(), model);
    set(*device, attributes::device::firmware(), readLine(folder + "/rev", errors).value_or(""));
    set(*device, attributes::device::errorString(),
        model +
            " is a SAS drive, which is not supported: use smartctl for its health, sdparm for its settings, and "
            "sg_format, sg_sanitize and sg_write_buffer of sg3_utils.");
    return device;
}

}  // namespace features::transport
