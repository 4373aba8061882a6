#pragma once

#include <string>
#include <vector>

#include "features/jobs/health/scan/HealthScans.h"
#include "features/jobs/health/scan/HealthVerdict.h"
#include "features/jobs/health/scan/ReadScan.h"
#include "features/jobs/logs/LogFolder.h"
#include "features/nvme/FieldTree.h"
#include "features/transport/HostCommand.h"
#include "ostrel/core/Device.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

/// One scan of one drive: what it reports of its health, then what is asked for, and the verdict on both.
///
/// Deriving:  readHealth() fills the evidence, and the other operations are those that need commands of the drive.
/// Ownership: device, scans and tree must outlive it.
class DriveScan {
public:
    DriveScan(ostrel::core::Device& device, const HealthScans& scans, nvme::FieldTree& tree)
        : device_(device), scans_(scans), tree_(tree) {}
    virtual ~DriveScan() = default;

    HealthOutcome run(const std::string& directory);

protected:
    virtual void readHealth() = 0;
    /// The transport error after which nothing more is asked of the drive.
    virtual const ostrel::core::Status& failure() const = 0;
    virtual ostrel::core::Status storeLogsIn(const LogFolder& folder, nvme::FieldTree& part) = 0;
    virtual ReadScanResult readBlocks(const transport::HostNamespace& space, const ReadScanRequest& request) = 0;
    /// Heads the read scan of a namespace or disk.
    virtual std::string readScanTitle(const transport::HostNamespace& space) const = 0;

    bool isReachable() const { return succeeded(failure()); }
    void notCompleted(nvme::FieldTree& tree, const std::string& why);
    void notRead(const char* what, const ostrel::core::Status& status);

    nvme::FieldTree& tree() { return tree_; }
    HealthEvidence& evidence() { return evidence_; }

private:
    /// Something that the request leaves out: a drive that was named is then not scanned as it should be.
    void leftOut(nvme::FieldTree& tree, const std::string& why);
    HealthOutcome showVerdict();
    void storeLogs(const std::string& directory);
    void scanNamespaces();
    void readNamespace(const transport::HostNamespace& space);
    void checkFileSystems(const std::vector<transport::HostNamespace>& namespaces);
    void checkFileSystem(const std::string& mountPoint);
    std::vector<transport::HostNamespace> chosen(const std::vector<transport::HostNamespace>& namespaces);

    ostrel::core::Device& device_;
    const HealthScans& scans_;
    nvme::FieldTree& tree_;
    HealthEvidence evidence_;
};

}  // namespace features::jobs
