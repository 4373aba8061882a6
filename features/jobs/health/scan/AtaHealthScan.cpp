// The health scan of SATA drives.

#include <algorithm>
#include <vector>

#include "features/ata/DeviceStatistics.h"
#include "features/ata/SmartAttributes.h"
#include "features/jobs/drive/AtaCounters.h"
#include "features/jobs/drive/AtaHealth.h"
#include "features/jobs/health/scan/AtaBlockReaders.h"
#include "features/jobs/health/scan/DriveHealthScan.h"
#include "features/jobs/health/scan/DriveScan.h"
#include "features/jobs/logs/AtaDriveLogs.h"
#include "features/nvme/FieldTable.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::jobs {

using namespace ostrel::core;
using ata::AtaError;
using nvme::FieldTree;
using transport::HostNamespace;

namespace {

constexpr uint8_t ATTRIBUTE_UNCORRECTABLE = 187;
constexpr uint8_t ATTRIBUTE_PENDING = 197;

class AtaScan : public DriveScan {
public:
    AtaScan(ata::Drive& drive, const HealthScans& scans, FieldTree& tree)
        : DriveScan(drive.device(), scans, tree), drive_(drive) {}

private:
    void readHealth() override {
        readStatus();
        if (isReachable()) readCounters();
        if (isReachable()) readSelfTests();
    }
    const Status& failure() const override { return failure_; }
    Status storeLogsIn(const LogFolder& folder, FieldTree& part) override {
        return storeAtaDriveLogs(drive_, folder, part);
    }
    std::string readScanTitle(const HostNamespace&) const override { return "Read Scan - Disk"; }
    ReadScanResult readBlocks(const HostNamespace& space, const ReadScanRequest& request) override;

    void readStatus();
    void readCounters();
    void readSelfTests();
    /// A transport error ends the asking; what the drive refuses does not.
    void note(const AtaError& error) {
        if (!isRefusal(error)) failure_ = error;
    }

    ata::Drive& drive_;
    Status failure_;
};

void AtaScan::readStatus() {
    const auto health = readAtaHealth(drive_);
    if (!health) {
        note(health.error());
        notCompleted(tree(), health.error().status.getMessage());
        return;
    }
    tree().add("Device Status", health->text);
    if (health->health != ata::Drive::Health::GOOD) evidence().sata.failing = health->text;
    evidence().sata.isLocked = health->isLocked;
}

void AtaScan::readCounters() {
    namespace statistics = ata::statistics;
    AtaCounters counters(drive_);
    const auto add = [&](const char* name, const std::optional<int64_t>& value, const char* unit) {
        tree().add(name, value ? nvme::withUnit(std::to_string(*value), unit) : nvme::NOT_REPORTED);
        return value;
    };
    const auto attribute = [&](uint8_t id) {
        const ata::SmartAttribute* const found = counters.attribute(id);
        return found == nullptr ? std::nullopt
                                : std::optional<int64_t>(static_cast<int64_t>(uint64_t{found->data.raw}));
    };
    SataEvidence& sata = evidence().sata;
    sata.percentageUsed = add("Percentage Used", counters.statistic(statistics::PERCENTAGE_USED), "%");
    auto uncorrectable = counters.statistic(statistics::REPORTED_UNCORRECTABLE);
    if (!uncorrectable) uncorrectable = attribute(ATTRIBUTE_UNCORRECTABLE);
    sata.uncorrectable = add("Reported Uncorrectable Errors", uncorrectable, "");
    sata.pending = add("Pending Sectors", attribute(ATTRIBUTE_PENDING), "");
    sata.celsius = counters.statistic(statistics::TEMPERATURE);
    sata.maximumCelsius = counters.statistic(statistics::SPECIFIED_MAX_TEMPERATURE);
    failure_ = counters.failure();
    // Counters that did not come are not counters of 0.
    const Status& missing = isReachable() ? counters.refusal() : failure_;
    if (failed(missing)) notRead("Device Statistics", missing);
}

/// The last self-test that passed or failed decides: one that was aborted says nothing of the drive.
void AtaScan::readSelfTests() {
    constexpr uint8_t PASSED = 0;
    constexpr uint8_t FIRST_FAILURE = 3;
    constexpr uint8_t LAST_FAILURE = 8;
    const auto identity = drive_.identify();
    if (!identity || !(*identity)->has(ata::identify::SMART_SELF_TEST)) return;
    const auto tests = drive_.selfTests();
    if (!tests) {
        note(tests.error());
        notRead("Self-test Log", tests.error());
        return;
    }
    for (const ata::SelfTestResult& test : *tests) {
        if (test.code() == PASSED) return;
        if (test.code() < FIRST_FAILURE || test.code() > LAST_FAILURE) continue;
        evidence().sata.failedSelfTest = "The last one, " + ata::selfTestName(test.test) + ", ended after " +
                                         std::to_string(test.hours) +
                                         " power on hours: " + ata::selfTestResultText(test.status);
        if (test.failingLba) evidence().sata.failedSelfTest += ", failing LBA " + std::to_string(*test.failingLba);
        evidence().sata.failedSelfTest += ".";
        return;
    }
}

ReadScanResult AtaScan::readBlocks(const HostNamespace& space, const ReadScanRequest& request) {
    const auto identity = drive_.identify();
    if (!identity) return failedScan(identity.error());
    const uint32_t sectorBytes = (*identity)->logicalSectorBytes();
    const ScannedBlocks scanned{(*identity)->sectors(), sectorBytes, ATA_READ_BYTES,
                                "Drive " + drive_.name() + ", read scan"};
    return readScan(scanned, request, [&] { return makeAtaBlockReader(drive_.device(), space.node, sectorBytes); });
}

}  // namespace

HealthOutcome scanDrive(ata::Drive& drive, const HealthScans& scans, const std::string& directory, FieldTree& tree) {
    return AtaScan(drive, scans, tree).run(directory);
}

}  // namespace features::jobs
