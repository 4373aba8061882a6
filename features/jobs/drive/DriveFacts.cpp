#include "features/jobs/drive/DriveFacts.h"

#include <algorithm>

#include "features/jobs/drive/LogReading.h"
#include "features/jobs/drive/Namespaces.h"
#include "features/jobs/drive/OcpSmartLog.h"
#include "features/nvme/Opcodes.h"

namespace features::jobs {

using namespace ostrel::core;
using transport::HostNamespace;

namespace {

constexpr uint32_t LOG_BYTES = 512;

}  // namespace

bool DriveFacts::accept(const Status& status) {
    if (failed(status) && !isRefusal(status)) failure_ = status;
    return succeeded(status);
}

const uint8_t* DriveFacts::bytesOf(const Part& part) const {
    return part && part->getSize() != 0 ? part->getData() : nullptr;
}

const uint8_t* DriveFacts::identifyController() {
    const uint8_t* data = nullptr;
    if (mayAsk()) (void)accept(drive_.identifyController(data));  // what failed is kept in failure_
    return data;
}

const nvme::ControllerCapabilities* DriveFacts::controller() {
    if (!controller_) {
        const uint8_t* data = identifyController();
        if (data != nullptr) controller_.emplace(data);
    }
    return controller_ ? &*controller_ : nullptr;
}

const std::vector<HostNamespace>* DriveFacts::hostNamespaces() {
    if (!host_ && mayAsk()) {
        std::vector<HostNamespace> found;
        if (accept(readHostNamespaces(drive_, found))) host_ = std::move(found);
    }
    return host_ ? &*host_ : nullptr;
}

const transport::HostLocation* DriveFacts::location() {
    if (!location_ && mayAsk()) {
        transport::HostLocation found;
        if (accept(readHostLocation(drive_, found))) location_ = std::move(found);
    }
    return location_ ? &*location_ : nullptr;
}

const HostNamespace* DriveFacts::hostNamespace() {
    const auto* all = hostNamespaces();
    if (all == nullptr || all->empty()) return nullptr;
    const auto nsid = namedNamespace(drive_);
    if (!nsid) return &all->front();
    const auto found = std::find_if(all->begin(), all->end(), [&](const HostNamespace& n) { return n.nsid == *nsid; });
    return found == all->end() ? nullptr : &*found;
}

const uint8_t* DriveFacts::identifyNamespace() {
    if (!identifyNamespace_) {
        const HostNamespace* host = hostNamespace();
        identifyNamespace_.emplace();
        if (host != nullptr && mayAsk()) {
            (void)accept(drive_.identify(nvme::CNS_NAMESPACE, host->nsid, 0, *identifyNamespace_));
        }
    }
    return bytesOf(identifyNamespace_);
}

const nvme::NamespaceProperties* DriveFacts::namespaceProperties() {
    if (!namespaceProperties_) {
        const uint8_t* data = identifyNamespace();
        if (data != nullptr) namespaceProperties_.emplace(data);
    }
    return namespaceProperties_ ? &*namespaceProperties_ : nullptr;
}

const uint8_t* DriveFacts::logPage(Part& part, uint8_t lid, Status* refusal) {
    if (!part) {
        part.emplace();
        const Status status = mayAsk() ? readLog(drive_, lid, LOG_BYTES, *part) : Status();
        (void)accept(status);
        if (refusal != nullptr && isRefusal(status)) *refusal = status;
    }
    return bytesOf(part);
}

const uint8_t* DriveFacts::smart() {
    if (smart_) return bytesOf(smart_);
    const uint8_t* data = logPage(smart_, nvme::LID_SMART_HEALTH, &smartRefusal_);
    isSmartMissing_ = isRefusal(smartRefusal_) && isMissingLog(drive_.lastCompletion());
    return data;
}

Status DriveFacts::smartRefusal() {
    (void)smart();  // a transport error is in failure()
    return isSmartMissing_ && mayLackSmart() ? Status() : smartRefusal_;
}

bool DriveFacts::mayLackSmart() {
    // Controller Type of Identify Controller (NVMe Base Specification 1.4, figure 247).
    constexpr size_t OFFSET_CONTROLLER_TYPE = 111;
    constexpr uint8_t DISCOVERY = 2;
    constexpr uint8_t ADMINISTRATIVE = 3;
    const uint8_t* data = identifyController();
    if (data == nullptr) return false;
    return data[OFFSET_CONTROLLER_TYPE] == DISCOVERY || data[OFFSET_CONTROLLER_TYPE] == ADMINISTRATIVE;
}

const uint8_t* DriveFacts::firmwareSlots() {
    return logPage(firmwareSlots_, nvme::LID_FIRMWARE_SLOT);
}

const uint8_t* DriveFacts::ocpSmart() {
    if (!ocpSmart_) {
        ocpSmart_.emplace();
        if (mayAsk()) (void)accept(readOcpSmartLog(drive_, OcpGrounds::OFFERED, *ocpSmart_));
    }
    return bytesOf(ocpSmart_);
}

}  // namespace features::jobs
