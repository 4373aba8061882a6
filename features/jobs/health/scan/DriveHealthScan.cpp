#include "features/jobs/health/scan/DriveHealthScan.h"

#include "features/errors/PayloadCopy.h"
#include "features/jobs/drive/CriticalWarnings.h"
#include "features/jobs/drive/DeviceStatus.h"
#include "features/jobs/drive/DriveFacts.h"
#include "features/jobs/drive/LogReading.h"
#include "features/jobs/health/scan/DriveScan.h"
#include "features/jobs/logs/DriveLogs.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/LogPageIds.h"
#include "features/nvme/structures/IdentifyController.h"
#include "features/nvme/structures/SelfTestLog.h"
#include "features/nvme/structures/SmartHealthLog.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::jobs {

using namespace ostrel::core;
using nvme::FieldTree;
using transport::HostNamespace;

namespace {

/// Of Identify Controller (NVMe Base Specification 1.4, figure 247); in kelvins, 0 where the drive does not report it.
constexpr size_t OFFSET_WCTEMP = offsetof(nvme::IdentifyController, wctemp);
constexpr size_t OFFSET_CCTEMP = offsetof(nvme::IdentifyController, cctemp);

class NvmeScan : public DriveScan {
public:
    NvmeScan(nvme::Drive& drive, const HealthScans& scans, FieldTree& tree)
        : DriveScan(drive.device(), scans, tree), facts_(drive) {}

private:
    void readHealth() override {
        readSmart();
        if (isReachable()) readIdentify();
    }
    const Status& failure() const override { return facts_.failure(); }
    Status storeLogsIn(const LogFolder& folder, FieldTree& part) override {
        return storeDriveLogs(facts_, folder, part);
    }
    ReadScanResult readBlocks(const HostNamespace&, const ReadScanRequest& request) override {
        return readScan(facts_.drive(), request);
    }
    std::string readScanTitle(const HostNamespace& space) const override {
        return "Read Scan - Namespace " + std::to_string(space.nsid);
    }

    void readSmart();
    void readIdentify();
    void readPanic();
    void notAnswered(const char* what, const nvme::CommandError& error);

    DriveFacts facts_;
};

void NvmeScan::readSmart() {
    const uint8_t* smart = facts_.smart();
    if (smart == nullptr) {
        notCompleted(tree(), isReachable() ? "The drive gives no SMART / Health log." : facts_.failure().getMessage());
        return;
    }
    const auto log = nvme::structureAt<nvme::SmartHealthLog>(smart);
    tree().add("Device Status", deviceStatusText(log.criticalWarning));
    tree().add("Available Spare", nvme::withUnit(std::to_string(log.availableSpare), "%"));
    tree().add("Percentage Used", nvme::withUnit(std::to_string(log.percentageUsed), "%"));
    tree().add("Media and Data Integrity Errors", nvme::decimal128(log.mediaErrors));
    evidence().smart = copyOf(smart, sizeof log);
}

void NvmeScan::readIdentify() {
    const nvme::ControllerCapabilities* controller = facts_.controller();
    if (controller == nullptr) {
        notRead("Identify Controller", isReachable() ? statuses::deviceDataRetrievalFailed() : facts_.failure());
        return;
    }
    evidence().warningKelvin = nvme::le16(facts_.identifyController() + OFFSET_WCTEMP);
    evidence().criticalKelvin = nvme::le16(facts_.identifyController() + OFFSET_CCTEMP);
    if (controller->supportsSelfTest()) {
        const auto log = readLog(facts_.drive(), nvme::LID_DEVICE_SELF_TEST, sizeof(nvme::SelfTestLog));
        if (!log) notAnswered("Device Self-test Log", log.error());
        evidence().selfTest = log.value_or(Payload());
    }
    if (isReachable()) readPanic();
}

/// After a transport error nothing more is asked of the drive.
void NvmeScan::notAnswered(const char* what, const nvme::CommandError& error) {
    facts_.noteError(error);
    notRead(what, error);
}

void NvmeScan::readPanic() {
    (void)facts_.ocpSmart();  // a transport error is in failure()
    if (!isReachable()) return notRead("OCP SMART Log", facts_.failure());
    const auto panic = readPanicStatus(facts_);
    if (!panic) return notAnswered("OCP Error Recovery Log", panic.error());
    evidence().panic = *panic;
}

}  // namespace

HealthOutcome scanDrive(nvme::Drive& drive, const HealthScans& scans, const std::string& directory, FieldTree& tree) {
    return NvmeScan(drive, scans, tree).run(directory);
}

}  // namespace features::jobs
