#include "features/jobs/drive/DriveFacts.h"

#include <algorithm>

#include "features/jobs/drive/HostSide.h"
#include "features/jobs/drive/LogReading.h"
#include "features/jobs/drive/OcpSmartLog.h"
#include "features/nvme/IdentifyCns.h"
#include "features/nvme/LogPageIds.h"
#include "features/nvme/structures/IdentifyController.h"

namespace features::jobs {

using namespace ostrel::core;
using transport::HostNamespace;

namespace {

constexpr uint32_t LOG_BYTES = 512;

}  // namespace

template <typename T, typename E>
std::optional<T> DriveFacts::accept(Result<T, E>&& result) {
    if (result) return *std::move(result);
    noteError(result.error());
    return std::nullopt;
}

void DriveFacts::noteError(const Status& error) {
    if (!isRefusal(error)) failure_ = error;
}

const uint8_t* DriveFacts::bytesOf(const Part& part) const {
    return part && part->getSize() != 0 ? part->getData() : nullptr;
}

const uint8_t* DriveFacts::identifyController() {
    return mayAsk() ? accept(drive_.identifyController()).value_or(nullptr) : nullptr;
}

const nvme::ControllerCapabilities* DriveFacts::controller() {
    if (!controller_) {
        const uint8_t* data = identifyController();
        if (data != nullptr) controller_.emplace(data);
    }
    return controller_ ? &*controller_ : nullptr;
}

const std::vector<HostNamespace>* DriveFacts::hostNamespaces() {
    if (!host_ && mayAsk()) host_ = accept(readHostNamespaces(drive_.device()));
    return host_ ? &*host_ : nullptr;
}

const std::vector<HostNamespace>* DriveFacts::hostSizes() {
    if (!sizes_ && mayAsk()) sizes_ = accept(readHostSizes(drive_.device()));
    return sizes_ ? &*sizes_ : nullptr;
}

const transport::HostLocation* DriveFacts::location() {
    if (!location_ && mayAsk()) location_ = accept(readHostLocation(drive_.device()));
    return location_ ? &*location_ : nullptr;
}

const HostNamespace* DriveFacts::wanted(const std::vector<HostNamespace>* all) const {
    if (all == nullptr || all->empty()) return nullptr;
    const auto nsid = namedNamespace(drive_.device());
    if (!nsid) return &all->front();
    const auto found = std::find_if(all->begin(), all->end(), [&](const HostNamespace& n) { return n.nsid == *nsid; });
    return found == all->end() ? nullptr : &*found;
}

const HostNamespace* DriveFacts::hostNamespace() {
    return wanted(hostNamespaces());
}

const HostNamespace* DriveFacts::hostSize() {
    return wanted(hostSizes());
}

const uint8_t* DriveFacts::identifyNamespace() {
    if (!identifyNamespace_) {
        const HostNamespace* host = hostNamespace();
        identifyNamespace_.emplace();
        if (host != nullptr && mayAsk())
            identifyNamespace_ = accept(drive_.identify(nvme::CNS_NAMESPACE, host->nsid)).value_or(Payload());
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

const uint8_t* DriveFacts::logPage(Part& part, uint8_t lid) {
    if (!part) {
        part.emplace();
        if (mayAsk()) part = accept(readLog(drive_, lid, LOG_BYTES)).value_or(Payload());
    }
    return bytesOf(part);
}

const uint8_t* DriveFacts::smart() {
    if (!smart_) {
        smart_.emplace();
        auto log = mayAsk() ? readSmartLog(drive_) : Payload();
        if (!log && isRefusal(log.error())) smartRefusal_ = log.error();
        smart_ = accept(std::move(log)).value_or(Payload());
    }
    return bytesOf(smart_);
}

Status DriveFacts::smartRefusal() {
    (void)smart();  // a transport error is in failure()
    if (!smartRefusal_ || (isMissingLog(*smartRefusal_) && mayLackSmart())) return Status();
    return smartRefusal_->status;
}

bool DriveFacts::mayLackSmart() {
    // Controller Type of Identify Controller (NVMe Base Specification 1.4, figure 247).
    constexpr size_t OFFSET_CONTROLLER_TYPE = offsetof(nvme::IdentifyController, cntrltype);
    constexpr uint8_t DISCOVERY = 2;
    constexpr uint8_t ADMINISTRATIVE = 3;
    const uint8_t* data = identifyController();
    if (data == nullptr) return false;
    return data[OFFSET_CONTROLLER_TYPE] == DISCOVERY || data[OFFSET_CONTROLLER_TYPE] == ADMINISTRATIVE;
}

const uint8_t* DriveFacts::firmwareSlots() {
    return logPage(firmwareSlots_, nvme::LID_FIRMWARE_SLOT);
}

Result<Payload> DriveFacts::readOcpSmart() {
    return withoutOcp_ == nullptr ? readOcpSmartLog(drive_, OcpGrounds::OFFERED)
                                  : readOfferedOcpSmartLog(drive_, *withoutOcp_);
}

const uint8_t* DriveFacts::ocpSmart() {
    if (!ocpSmart_) {
        ocpSmart_.emplace();
        if (mayAsk()) ocpSmart_ = accept(readOcpSmart()).value_or(Payload());
    }
    return bytesOf(ocpSmart_);
}

}  // namespace features::jobs
