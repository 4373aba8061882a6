#include "tests/unit/features/transport/FakeMachine.h"

#include <filesystem>

#include "features/transport/linux/BlockOpener.h"

namespace fs = std::filesystem;

FakeMachine::FakeMachine() : root_(fs::canonical(folder_ / "").string()) {
    if (root_.back() == '/') root_.pop_back();
    kernel = std::make_shared<FakeKernel>(root_);
    for (const char* const place :
         {"/sys/class/nvme", "/sys/class/nvme-subsystem", "/sys/class/block", "/dev", "/run"}) {
        folder(place);
    }
    mounts("");
}

void FakeMachine::file(const std::string& place, const std::string& text) {
    fs::create_directories(fs::path(path(place)).parent_path());
    writeWholeFile(path(place), text);
}

void FakeMachine::folder(const std::string& place) {
    fs::create_directories(path(place));
}

void FakeMachine::link(const std::string& place, const std::string& target) {
    fs::create_directories(fs::path(path(place)).parent_path());
    fs::create_symlink(path(target), path(place));
}

void FakeMachine::controller(const std::string& name, const std::string& subsystem) {
    const std::string place = "/sys/devices/pci/" + name;
    file(place + "/state", "live\n");
    file(place + "/cntlid", "0\n");
    folder(place + "/power");
    file("/dev/" + name, "");
    link("/sys/class/nvme/" + name, place);
    folder("/sys/devices/virtual/" + subsystem);
    if (!fs::exists(path("/sys/class/nvme-subsystem/" + subsystem))) {
        link("/sys/class/nvme-subsystem/" + subsystem, "/sys/devices/virtual/" + subsystem);
    }
    link("/sys/devices/virtual/" + subsystem + "/" + name, place);
}

void FakeMachine::blockDevice(const std::string& place, const std::string& block, const std::string& number) {
    file(place + "/dev", number + "\n");
    folder(place + "/holders");
    folder(place + "/slaves");
    file("/dev/" + block, "");
    kernel->devices["/dev/" + block] = {S_IFBLK, features::transport::toDeviceNumber(number).value()};
    link("/sys/class/block/" + block, place);
    link("/sys/dev/block/" + number, place);
}

void FakeMachine::disk(const std::string& parent, const std::string& block, const std::string& number, uint32_t nsid) {
    const std::string place = "/sys/devices/" + parent + "/" + block;
    blockDevice(place, block, number);
    file(place + "/nsid", std::to_string(nsid) + "\n");
    file(place + "/hidden", "0\n");
    file(place + "/size", "131072\n");
}

void FakeMachine::scsiDisk(const std::string& parent, const std::string& address, const std::string& block,
                           const std::string& number, const std::string& generic) {
    const std::string target = "/target" + address.substr(0, address.rfind(':'));
    const std::string device = "/sys/devices/" + parent + target + "/" + address;
    const std::string place = device + "/block/" + block;
    blockDevice(place, block, number);
    file(place + "/size", "131072\n");
    file(place + "/queue/logical_block_size", "512\n");
    file(place + "/queue/rotational", "0\n");
    link(place + "/device", device);
    file(device + "/type", "0\n");
    file(device + "/vendor", "QEMU    \n");
    file(device + "/rescan", "");
    file(device + "/scsi_generic/" + generic + "/dev", "21:0\n");
    link(device + "/scsi_generic/" + generic + "/device", device);
    link("/sys/class/scsi_generic/" + generic, device + "/scsi_generic/" + generic);
    file("/dev/" + generic, "");
}

void FakeMachine::ataInformation(const std::string& block, const std::vector<uint8_t>& identify) {
    const std::string device = "/sys/class/block/" + block + "/device";
    std::string page(60, '\0');
    page[1] = '\x89';
    page[2] = '\x02';
    page[3] = '\x38';
    page[56] = '\xEC';
    page.append(identify.begin(), identify.end());
    file(device + "/vpd_pg89", page);
    file(device + "/vendor", "ATA     \n");
}

void FakeMachine::hiddenPath(const std::string& controller, const std::string& block, uint32_t nsid) {
    const std::string place = "/sys/devices/pci/" + controller + "/" + block;
    file(place + "/nsid", std::to_string(nsid) + "\n");
    file(place + "/hidden", "1\n");
    link("/sys/class/block/" + block, place);
}

void FakeMachine::generic(const std::string& parent, const std::string& name) {
    const std::string place = "/sys/devices/" + parent + "/" + name;
    file(place + "/dev", "242:0\n");
    file("/dev/" + name, "");
    link("/sys/class/nvme-generic/" + name, place);
}

void FakeMachine::partition(const std::string& disk, const std::string& block, const std::string& number, int index) {
    const std::string place = "/sys/devices/" + disk + "/" + block;
    blockDevice(place, block, number);
    file(place + "/partition", std::to_string(index) + "\n");
    file(place + "/start", "2048\n");
    file(place + "/size", "4096\n");
}

void FakeMachine::virtualDisk(const std::string& block, const std::string& number) {
    blockDevice("/sys/devices/virtual/" + block, block, number);
}

void FakeMachine::stack(const std::string& upper, const std::string& lower) {
    link("/sys/class/block/" + lower + "/holders/" + upper, "/sys/class/block/" + upper);
    link("/sys/class/block/" + upper + "/slaves/" + lower, "/sys/class/block/" + lower);
}

void FakeMachine::swaps(const std::string& lines) {
    file("/proc/swaps", "Filename\t\t\t\tType\t\tSize\t\tUsed\t\tPriority\n" + lines);
}
