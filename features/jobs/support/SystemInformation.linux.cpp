#include "features/jobs/support/SystemInformation.h"

#include <sys/utsname.h>

#include <string>

#include "features/nvme/FieldTable.h"
#include "ostrel/core/File.h"
#include "ostrel/core/Strings.h"

namespace features::jobs {

namespace {

/// The first line of a file that begins with `key`, what follows it and the separators.
std::string lineOf(const char* path, const std::string& key) {
    std::string text;
    (void)ostrel::core::readFile(path, ostrel::core::SymbolicLink::FOLLOW, text);  // missing: no line
    for (const std::string& line : ostrel::core::splitLines(text)) {
        if (line.compare(0, key.size(), key) != 0) continue;
        std::string value = line.substr(key.size());
        value.erase(0, value.find_first_not_of("=: \t\""));
        value.erase(value.find_last_not_of(" \t\"") + 1);
        return value;
    }
    return {};
}

}  // namespace

nvme::FieldTree systemInformation() {
    struct utsname kernel = {};
    (void)::uname(&kernel);  // fails for a bad address alone
    const std::pair<const char*, std::string> rows[] = {
        {"OperatingSystem", lineOf("/etc/os-release", "PRETTY_NAME")},
        {"OperatingSystemVersion", std::string(kernel.sysname) + " " + kernel.release},
        {"ComputerCPU", lineOf("/proc/cpuinfo", "model name")},
        {"ComputerManufacturer", lineOf("/sys/class/dmi/id/sys_vendor", "")},
        {"ComputerModel", lineOf("/sys/class/dmi/id/product_name", "")},
    };
    nvme::FieldTree tree{"System Information", {}, {}};
    for (const auto& [name, value] : rows) {
        const std::string text = ostrel::core::sanitizeValue(value);
        tree.add(name, text.empty() ? nvme::NOT_REPORTED : text);
    }
    return tree;
}

}  // namespace features::jobs
