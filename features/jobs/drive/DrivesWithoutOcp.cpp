#include "features/jobs/drive/DrivesWithoutOcp.h"

#include <unistd.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "features/jobs/support/InputFile.h"
#include "features/jobs/support/PercentEncoding.h"
#include "features/jobs/support/StateFolder.h"
#include "features/transport/KernelDrive.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/File.h"
#include "ostrel/core/Strings.h"

namespace features::jobs {

using namespace ostrel::core;
namespace device = attributes::device;

namespace {

constexpr const char* BOOT_ID = "/proc/sys/kernel/random/boot_id";
constexpr uint64_t MAX_BOOT_ID_BYTES = 64;
/// More than a drive's texts of 20, 8 and 40 bytes take.
constexpr uint64_t MAX_LINE_BYTES = 256;
constexpr uint64_t MAX_FILE_BYTES = DrivesWithoutOcp::MAX_DRIVES * MAX_LINE_BYTES;

/// Empty for a drive that is not one of its own kind: what cannot be identified, and what may be another one by the
/// next command, as a simulated drive.
std::string lineOf(const nvme::Drive& drive) {
    std::string line;
    if (!transport::isKernelNvmeDrive(drive.device())) return line;
    for (const auto& attribute : {device::serialNumber(), device::firmware(), device::modelNumber()}) {
        const std::string text = drive.device().getAttribute(attribute).getText();
        if (text.empty()) return {};
        line.append(line.empty() ? "" : " ").append(percentEncoded(text));
    }
    return line;
}

bool isLine(const std::string& line) {
    return line.size() <= MAX_LINE_BYTES && std::count(line.begin(), line.end(), ' ') == 2;
}

}  // namespace

DrivesWithoutOcp::DrivesWithoutOcp() : DrivesWithoutOcp(stateFolder(), BOOT_ID) {}

DrivesWithoutOcp::DrivesWithoutOcp(std::string folder, std::string bootIdPath)
    : folder_(std::move(folder)), path_(folder_ + "/drives-without-ocp"), bootIdPath_(std::move(bootIdPath)) {}

void DrivesWithoutOcp::read() {
    if (std::exchange(isRead_, true)) return;
    const auto id = readInputFile(bootIdPath_, MAX_BOOT_ID_BYTES, SymbolicLink::REFUSE);
    if (id) bootId_ = id->substr(0, id->find('\n'));
    const auto text = readInputFile(path_, MAX_FILE_BYTES, SymbolicLink::REFUSE);
    if (!text || bootId_.empty()) return;
    const std::vector<std::string> lines = split(*text, '\n');
    if (lines.front() != bootId_) return;
    std::copy_if(lines.begin() + 1, lines.end(), std::inserter(lines_, lines_.end()), isLine);
}

void DrivesWithoutOcp::load() {
    const std::lock_guard<std::mutex> lock(mutex_);
    read();
}

bool DrivesWithoutOcp::contains(const nvme::Drive& drive) {
    const std::string line = lineOf(drive);
    if (line.empty()) return false;
    const std::lock_guard<std::mutex> lock(mutex_);
    read();
    return lines_.count(line) != 0;
}

void DrivesWithoutOcp::add(const nvme::Drive& drive) {
    const std::string line = lineOf(drive);
    if (line.empty()) return;
    const std::lock_guard<std::mutex> lock(mutex_);
    read();
    if (lines_.size() < MAX_DRIVES && lines_.insert(line).second) isChanged_ = true;
}

void DrivesWithoutOcp::keep() {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!std::exchange(isChanged_, false) || bootId_.empty()) return;
    std::string text = bootId_ + "\n";
    for (const std::string& line : lines_) text += line + "\n";
    // What cannot be kept is asked again.
    if (succeeded(makeStateFolder(folder_))) (void)writeFileAtomically(path_, text);
}

void DrivesWithoutOcp::forget() {
    const std::lock_guard<std::mutex> lock(mutex_);
    lines_.clear();
    isChanged_ = false;
    (void)::unlink(path_.c_str());
}

}  // namespace features::jobs
