#include "features/jobs/drive/OcpSmartLog.h"

#include "features/jobs/drive/KnownLogPages.h"
#include "features/jobs/drive/LogReading.h"
#include "features/nvme/ControllerCapabilities.h"
#include "features/nvme/Identify.h"
#include "features/nvme/LogPages.h"
#include "features/nvme/Opcodes.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

/// What is known of the page before it is asked for.
enum class Offer : uint8_t { NONE, MADE, UNKNOWN };

/// Whether the UUID List has OCP's UUID.
Status readUuidOffer(nvme::Drive& drive, bool& isMade) {
    const uint8_t* identify = nullptr;
    Status status = drive.identifyController(identify);
    if (failed(status) || !nvme::ControllerCapabilities(identify).supportsUuidList()) return status;
    Payload uuids;
    status = drive.identify(nvme::CNS_UUID_LIST, 0, 0, uuids);
    if (isRefusal(status)) return Status();
    isMade = succeeded(status) && nvme::hasOcpUuid(uuids);
    return status;
}

Status readOffer(nvme::Drive& drive, Offer& offer) {
    bool hasList = false;
    bool isMade = false;
    Status status = drive.readListedLog(nvme::LID_OCP_SMART, hasList, isMade);
    if (succeeded(status) && !isMade) status = readUuidOffer(drive, isMade);
    if (failed(status)) return status;
    isMade = isMade || KnownLogPages().contains(drive, nvme::LID_OCP_SMART);
    offer = isMade ? Offer::MADE : hasList ? Offer::NONE : Offer::UNKNOWN;
    return status;
}

}  // namespace

Status readOcpSmartLog(nvme::Drive& drive, OcpGrounds grounds, Payload& data) {
    Offer offer = Offer::UNKNOWN;
    Status status = readOffer(drive, offer);
    if (failed(status) || offer == Offer::NONE) return status;
    if (offer == Offer::UNKNOWN && grounds == OcpGrounds::OFFERED) return status;
    Payload page;
    status = readLog(drive, nvme::LID_OCP_SMART, nvme::OCP_SMART_BYTES, page);
    if (isRefusal(status) && isMissingLog(drive.lastCompletion())) return Status();
    if (failed(status) || !nvme::isOcpSmart(page)) return status;
    data = page;
    if (offer == Offer::UNKNOWN) KnownLogPages().add(drive, nvme::LID_OCP_SMART);
    return status;
}

void noteOcpSmartLog(nvme::Drive& drive, const Payload& page) {
    Offer offer = Offer::MADE;
    if (page.getSize() < nvme::OCP_SMART_BYTES || !nvme::isOcpSmart(page)) return;
    // What cannot be read now is read again by the next command.
    if (succeeded(readOffer(drive, offer)) && offer != Offer::MADE) KnownLogPages().add(drive, nvme::LID_OCP_SMART);
}

}  // namespace features::jobs
