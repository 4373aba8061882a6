#include "features/jobs/drive/KnownLogPages.h"

#include <algorithm>
#include <mutex>
#include <utility>
#include <vector>

#include "features/jobs/support/InputFile.h"
#include "features/jobs/support/PercentEncoding.h"
#include "features/jobs/support/StateFolder.h"
#include "features/nvme/FieldTree.h"
#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/File.h"
#include "ostrel/core/Strings.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

/// More than a drive's texts of 40 and 8 bytes take.
constexpr std::size_t MAX_LINE_BYTES = 256;
constexpr uint64_t MAX_FILE_BYTES = KnownLogPages::MAX_LINES * MAX_LINE_BYTES;

/// Empty for a drive that could not be identified: such drives have nothing in common.
std::string lineOf(const nvme::Drive& drive, uint8_t lid) {
    const std::string model = drive.device().getAttribute(attributes::device::modelNumber()).getText();
    const std::string firmware = drive.device().getAttribute(attributes::device::firmware()).getText();
    if (model.empty() || firmware.empty()) return {};
    return nvme::hexText(lid, 2) + " " + percentEncoded(firmware) + " " + percentEncoded(model);
}

bool isLine(const std::string& line) {
    return line.compare(0, 2, "0x") == 0 && line.size() <= MAX_LINE_BYTES &&
           std::count(line.begin(), line.end(), ' ') == 2;
}

/// Threads look at several drives at once.
std::mutex& writing() {
    static std::mutex mutex;
    return mutex;
}

}  // namespace

KnownLogPages::KnownLogPages() : KnownLogPages(stateFolder()) {}

KnownLogPages::KnownLogPages(std::string folder) : folder_(std::move(folder)), path_(folder_ + "/known-log-pages") {}

std::string KnownLogPages::read() const {
    // What cannot be read knows nothing.
    return readInputFile(path_, MAX_FILE_BYTES, SymbolicLink::REFUSE).value_or(std::string());
}

bool KnownLogPages::contains(const nvme::Drive& drive, uint8_t lid) const {
    const std::string line = lineOf(drive, lid);
    if (line.empty()) return false;
    const std::vector<std::string> lines = split(read(), '\n');
    return std::find(lines.begin(), lines.end(), line) != lines.end();
}

void KnownLogPages::add(const nvme::Drive& drive, uint8_t lid) const {
    const std::string line = lineOf(drive, lid);
    const std::lock_guard<std::mutex> lock(writing());
    if (line.empty() || contains(drive, lid)) return;
    std::vector<std::string> lines = split(read(), '\n');
    lines.erase(std::remove_if(lines.begin(), lines.end(), [](const std::string& l) { return !isLine(l); }),
                lines.end());
    lines.push_back(line);
    std::string text;
    for (std::size_t i = lines.size() - std::min(lines.size(), MAX_LINES); i < lines.size(); ++i)
        text += lines[i] + "\n";
    // What cannot be kept is named by the user again.
    if (succeeded(makeStateFolder(folder_))) (void)writeFileAtomically(path_, text);
}

}  // namespace features::jobs
