#include "ostrel/core/LsiDuplicates.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <unordered_map>

#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/Device.h"
#include "ostrel/core/Logging.h"
#include "ostrel/core/ScopeTrace.h"
#include "ostrel/core/Strings.h"

namespace ostrel::core {

namespace {

using Positions = std::vector<std::size_t>;

struct SeenDevice {
    std::string path;
    std::string serialNumber;
    std::string lowerPath;
    std::string lowerSerialNumber;

    bool hasLsiPath() const { return lowerPath.find("lsi") != std::string::npos; }
};

// The devices of one serial number, and whether there is more than one path among them.
struct Twins {
    Positions positions;
    bool differInPath = false;
};

std::vector<SeenDevice> look(const std::vector<std::shared_ptr<Device>>& devices) {
    OSTREL_TRACE();
    const std::string pathName = attributes::device::devicePath().getName();
    const std::string serialName = attributes::device::serialNumber().getName();
    std::vector<SeenDevice> seen;
    seen.reserve(devices.size());
    for (const auto& device : devices) {
        const std::string path(findText(device->getAttributes(), pathName).value_or(""));
        const std::string serialNumber(findText(device->getAttributes(), serialName).value_or(""));
        seen.push_back({path, serialNumber, toLower(path), toLower(serialNumber)});
    }
    return seen;
}

// The devices with their tables.
class Comparison {
public:
    explicit Comparison(const std::vector<SeenDevice>& seen) : seen_(seen) {
        OSTREL_TRACE();
        for (std::size_t i = 0; i < seen.size(); ++i) {
            byPath_[seen[i].lowerPath].push_back(i);
            Twins& twins = bySerialNumber_[seen[i].lowerSerialNumber];
            twins.positions.push_back(i);
            if (seen[i].lowerPath != seen[twins.positions.front()].lowerPath) twins.differInPath = true;
        }
    }

    // The candidate is one of its twins: if the paths among these differ, one of them differs from its own.
    bool isDuplicate(const SeenDevice& candidate) const {
        OSTREL_TRACE();
        return candidate.hasLsiPath() && bySerialNumber_.at(candidate.lowerSerialNumber).differInPath;
    }

    // What a walk over all devices would log on its way to that decision, in the order of the walk.
    void log(const SeenDevice& candidate) const {
        OSTREL_TRACE();
        const Positions& samePath = byPath_.at(candidate.lowerPath);
        const Positions& twins = bySerialNumber_.at(candidate.lowerSerialNumber).positions;
        Positions others;
        std::set_union(samePath.begin(), samePath.end(), twins.begin(), twins.end(), std::back_inserter(others));
        for (const std::size_t position : others) {
            const SeenDevice& other = seen_[position];
            if (other.lowerPath == candidate.lowerPath) {
                logMessage(LOGSEVERITY_INFO, "DevicePath A = ", other.path);
                logMessage(LOGSEVERITY_INFO, "DevicePath B = ", candidate.path);
                continue;
            }
            logMessage(LOGSEVERITY_INFO, "Serial Number A: ", other.serialNumber);
            logMessage(LOGSEVERITY_INFO, "Serial Number B: ", candidate.serialNumber);
            if (!candidate.hasLsiPath()) continue;
            logMessage(LOGSEVERITY_INFO, "LSI DevicePath = ", candidate.path);
            logMessage(LOGSEVERITY_INFO, "LSI Serial Number: ", candidate.serialNumber);
            return;
        }
    }

private:
    const std::vector<SeenDevice>& seen_;
    std::unordered_map<std::string, Positions> byPath_;
    std::unordered_map<std::string, Twins> bySerialNumber_;
};

}  // namespace

std::vector<bool> findLsiDuplicates(const std::vector<std::shared_ptr<Device>>& devices) {
    OSTREL_TRACE();
    std::vector<bool> duplicates(devices.size(), false);
    const std::vector<SeenDevice> seen = look(devices);
    if (std::none_of(seen.begin(), seen.end(), [](const SeenDevice& device) { return device.hasLsiPath(); }))
        return duplicates;
    const Comparison comparison(seen);
    for (std::size_t i = 0; i < seen.size(); ++i) {
        if (isLoggingEnabled()) comparison.log(seen[i]);
        duplicates[i] = comparison.isDuplicate(seen[i]);
    }
    return duplicates;
}

}  // namespace ostrel::core
