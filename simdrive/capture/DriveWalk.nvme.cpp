// What a capture asks of an NVMe drive.

#include "simdrive/capture/DriveWalk.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "features/jobs/base/LogSink.h"
#include "features/jobs/drive/DriveFacts.h"
#include "features/jobs/drive/DriveLocking.h"
#include "features/jobs/drive/LogReading.h"
#include "features/jobs/drive/Namespaces.h"
#include "features/jobs/drive/OcpLogOffers.h"
#include "features/jobs/drive/Offers.h"
#include "features/jobs/drive/VendorDialect.h"
#include "features/jobs/inventory/IdentifyStructures.h"
#include "features/jobs/logs/NvmeLogPage.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/FeatureIds.h"
#include "features/nvme/Features.h"
#include "features/nvme/FieldTree.h"
#include "features/nvme/IdentifyCns.h"
#include "features/nvme/LogPageIds.h"
#include "features/nvme/LogPages.h"
#include "features/nvme/OcpLogPages.h"
#include "features/nvme/VelkoFeatures.h"
#include "features/nvme/VelkoInterface.h"
#include "features/nvme/VelkoLogPages.h"
#include "features/nvme/structures/IdentifyNamespace.h"
#include "features/nvme/structures/OcpSmartLog.h"
#include "features/simulator/store/CapturedAnswers.h"
#include "ostrel/core/StatusCatalogue.h"

namespace simdrive {

using namespace features;
using namespace ostrel::core;
using nvme::CommandError;

namespace {

/// Takes no more than an answer of a capture may have.
class BoundedSink : public jobs::LogSink {
public:
    Status begin(uint64_t bytes) override {
        return bytes <= simulator::CapturedAnswers::MAX_ANSWER_BYTES ? Status() : statuses::requestOutOfBounds();
    }
    Status add(const uint8_t*, size_t bytes) override { return begin(total_ += bytes); }

private:
    uint64_t total_ = 0;
};

class NvmeWalk {
public:
    NvmeWalk(Device& device, std::vector<std::string>& refused) : drive_(device), facts_(drive_), refused_(refused) {}

    Status run() {
        TRY(const uint8_t* const identify, drive_.identifyController());
        const nvme::ControllerCapabilities controller(identify);
        TRY(namespaces_, jobs::readNamespaceList(drive_, nvme::CNS_ACTIVE_NAMESPACES));
        RETURN_IF_FAILED(identifyAll(controller));
        RETURN_IF_FAILED(readLogs());
        RETURN_IF_FAILED(readFeatures(controller));
        RETURN_IF_FAILED(readVendorFeatures(controller));
        return noted("Level 0 Discovery", jobs::readDriveLocking(drive_));
    }

private:
    /// A transport error; a refusal is noted.
    template <typename T, typename E>
    Status noted(const std::string& what, const Result<T, E>& result) {
        if (result) return Status();
        const Status& status = result.error();
        const bool isOfTransport = !jobs::isRefusal(status) && !isOwn(status);
        if (isOfTransport) return status;
        refused_.push_back(what + ": " + status.getMessage());
        return Status();
    }
    /// What the library says without or after an answer: a length that is too large, data that makes no sense.
    static bool isOwn(const Status& status) {
        return status.getCategory() == CATEGORY_FEATURE ||
               status.is(CATEGORY_CORE, statuses::requestOutOfBounds().getCode());
    }

    Status identifyAll(const nvme::ControllerCapabilities& controller) {
        for (const auto& row : jobs::identifyStructures()) {
            if (row.isSupported != nullptr && !(controller.*row.isSupported)()) continue;
            const std::string what = "Identify, CNS " + nvme::hexText(row.cns, 2);
            if (!row.ofOneNamespace) RETURN_IF_FAILED(noted(what, row.show(drive_, row.cns, 0)));
            for (size_t i = 0; row.ofOneNamespace && i < namespaces_.size(); ++i)
                RETURN_IF_FAILED(noted(what, row.show(drive_, row.cns, namespaces_[i])));
        }
        return controller.supportsNamespaceManagement() ? identifyAllocated() : Status();
    }

    Status identifyAllocated() {
        const auto allocated = jobs::readNamespaceList(drive_, nvme::CNS_ALLOCATED_NAMESPACES);
        RETURN_IF_FAILED(noted("Allocated namespaces", allocated));
        for (const uint32_t nsid : allocated.value_or(std::vector<uint32_t>()))
            RETURN_IF_FAILED(noted("Identify, CNS 0x11", drive_.identify(nvme::CNS_ALLOCATED_NAMESPACE, nsid)));
        return Status();
    }

    Status readLogs() {
        RETURN_IF_FAILED(readPages(nvme::logPagesBegin(), nvme::logPagesEnd()));
        if (jobs::isVelkoDrive(drive_))
            RETURN_IF_FAILED(readPages(nvme::velkoLogPagesBegin(), nvme::velkoLogPagesEnd()));
        for (const auto* row = nvme::ocpLogPagesBegin(); row != nvme::ocpLogPagesEnd(); ++row) {
            const auto isOffered = jobs::isOcpLogOffered(facts_, *row);
            RETURN_IF_FAILED(noted(row->page.name, isOffered));
            if (isOffered.value_or(false)) RETURN_IF_FAILED(readPage(row->page));
        }
        return facts_.failure();
    }

    Status readPages(const nvme::LogPageRow* row, const nvme::LogPageRow* end) {
        for (; row != end; ++row) {
            // It is read in a reporting context, which has to be made.
            if (row->lid == nvme::LID_PERSISTENT_EVENT) continue;
            TRY(const bool isOffered, jobs::isLogOffered(drive_, *row));
            if (isOffered) RETURN_IF_FAILED(readPage(*row));
        }
        return Status();
    }

    Status readPage(const nvme::LogPageRow& row) {
        BoundedSink sink;
        return noted(std::string("Log page ") + nvme::hexText(row.lid, 2) + " (" + row.name + ")",
                     jobs::copyLogPage(facts_, jobs::NvmeLogRequest(), row.lid, sink));
    }

    /// Actions, which have no value.
    static bool isAction(const nvme::FeatureRow& row) {
        constexpr uint8_t ACTIONS_OF_OCP[] = {nvme::FID_OCP_CLEAR_FIRMWARE_HISTORY, nvme::FID_OCP_CLEAR_PCIE_ERRORS};
        constexpr uint8_t ACTIONS_OF_VELKO[] = {nvme::FID_VELKO_RESET_CRC, nvme::FID_VELKO_QUICK_FORMAT};
        const auto isIn = [&](const auto& list) {
            return std::find(std::begin(list), std::end(list), row.fid) != std::end(list);
        };
        const bool isOcp = row.fid >= nvme::FID_OCP_ERROR_INJECTION && &row == nvme::findOcpFeature(row.fid);
        return isOcp ? isIn(ACTIONS_OF_OCP) : isIn(ACTIONS_OF_VELKO);
    }

    /// Those of OCP and of the maker, on drives that are known to have them.
    Status readVendorFeatures(const nvme::ControllerCapabilities& controller) {
        const uint8_t* const ocp = facts_.ocpSmart();
        RETURN_IF_FAILED(facts_.failure());
        for (const auto* row = nvme::ocpFeaturesBegin(); ocp != nullptr && row != nvme::ocpFeaturesEnd(); ++row) {
            if (isAction(*row) || !nvme::isOcpFeature(row->fid, nvme::ocpSmartVersion(ocp))) continue;
            TRY(const jobs::FeatureAddress address, jobs::requireOcpFeature(drive_, row->fid));
            RETURN_IF_FAILED(readFeature(controller, requestOf(*row, address)));
        }
        if (!jobs::isVelkoDrive(drive_)) return Status();
        for (const auto* row = nvme::velkoFeaturesBegin(); row != nvme::velkoFeaturesEnd(); ++row) {
            const auto address = jobs::requireVelkoFeature(drive_, row->fid, jobs::OcpGrounds::OFFERED,
                                                           statuses::driveDoesNotSupportFeature());
            if (!address && address.error().getCategory() == CATEGORY_FEATURE) continue;  // the drive does not have it
            RETURN_IF_FAILED(noted("Feature " + nvme::hexText(row->fid, 2), address));
            if (address && !isAction(*row)) RETURN_IF_FAILED(readFeature(controller, requestOf(*row, *address)));
        }
        return Status();
    }

    static nvme::FeatureRequest requestOf(const nvme::FeatureRow& row, const jobs::FeatureAddress& address) {
        nvme::FeatureRequest request = address.request(row.fid);
        request.dataLength = row.dataLength;
        return request;
    }

    /// The endurance group or NVM set of the first namespace, where a feature has a value for each; 0 where the drive
    /// refuses to say it.
    Result<uint32_t> groupOf(uint8_t fid) {
        constexpr struct {
            uint8_t fid;
            size_t offset;
        } GROUPS[] = {
            {nvme::FID_PREDICTABLE_LATENCY_CONFIG, offsetof(nvme::IdentifyNamespace, nvmsetid)},
            {nvme::FID_PREDICTABLE_LATENCY_WINDOW, offsetof(nvme::IdentifyNamespace, nvmsetid)},
            {nvme::FID_ENDURANCE_GROUP_EVENT, offsetof(nvme::IdentifyNamespace, endgid)},
            {nvme::FID_FDP, offsetof(nvme::IdentifyNamespace, endgid)},
        };
        for (const auto& row : GROUPS) {
            if (row.fid != fid || namespaces_.empty()) continue;
            const auto identify = drive_.identify(nvme::CNS_NAMESPACE, namespaces_.front());
            if (!identify && !jobs::isRefusal(identify.error())) return identify.error().status;
            return identify ? uint32_t{nvme::le16(identify->getData() + row.offset)} : 0U;
        }
        return 0U;
    }

    Status readFeatures(const nvme::ControllerCapabilities& controller) {
        for (const auto* row = nvme::featuresBegin(); row != nvme::featuresEnd(); ++row) {
            TRY(const bool isAnnounced, jobs::isFeatureAnnounced(drive_, *row));
            if (!isAnnounced) continue;
            nvme::FeatureRequest request;
            request.fid = row->fid;
            request.dataLength = row->dataLength;
            TRY(request.cdw11, groupOf(row->fid));
            if (!row->namespaceSpecific) RETURN_IF_FAILED(readFeature(controller, request));
            for (size_t i = 0; row->namespaceSpecific && i < namespaces_.size(); ++i) {
                request.nsid = namespaces_[i];
                RETURN_IF_FAILED(readFeature(controller, request));
            }
            if (row->fid == nvme::FID_TEMPERATURE_THRESHOLD) {
                request.cdw11 = 1U << 20;  // the under temperature threshold
                RETURN_IF_FAILED(readFeature(controller, request));
            }
        }
        return Status();
    }

    /// The current value, and where the controller keeps others, those.
    Status readFeature(const nvme::ControllerCapabilities& controller, const nvme::FeatureRequest& request) {
        constexpr unsigned SAVEABLE = 0;
        const std::string what = "Feature " + nvme::hexText(request.fid, 2);
        const auto current = drive_.getFeature(request, nvme::Select::CURRENT);
        RETURN_IF_FAILED(noted(what, current));
        if (!current || !controller.supportsSave()) return Status();
        const auto capabilities = drive_.getFeature(request, nvme::Select::CAPABILITIES);
        RETURN_IF_FAILED(noted(what + ", capabilities", capabilities));
        RETURN_IF_FAILED(noted(what + ", default", drive_.getFeature(request, nvme::Select::DEFAULT)));
        if (!capabilities || !nvme::bit(capabilities->completion.dword0, SAVEABLE)) return Status();
        return noted(what + ", saved", drive_.getFeature(request, nvme::Select::SAVED));
    }

    nvme::Drive drive_;
    jobs::DriveFacts facts_;
    std::vector<std::string>& refused_;
    std::vector<uint32_t> namespaces_;
};

}  // namespace

Status DriveWalk::nvme(Device& device) {
    return NvmeWalk(device, refused).run();
}

}  // namespace simdrive
