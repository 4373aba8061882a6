#include "features/jobs/drive/OcpSmartLog.h"

#include "features/jobs/drive/KnownLogPages.h"
#include "features/jobs/drive/LogReading.h"
#include "features/nvme/LogPageIds.h"
#include "features/nvme/LogPages.h"
#include "features/nvme/structures/OcpSmartLog.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

/// What is known of the page before it is asked for.
enum class Offer : uint8_t { NONE, MADE, UNKNOWN };

Result<Offer> readOffer(nvme::Drive& drive) {
    TRY(const std::optional<bool> listed, drive.isLogListed(nvme::LID_OCP_SMART));
    if (listed.value_or(false)) return Offer::MADE;
    TRY(const nvme::UuidIndexes uuids, drive.uuidIndexes());
    if (uuids.ocp != 0 || KnownLogPages().contains(drive, nvme::LID_OCP_SMART)) return Offer::MADE;
    return listed ? Offer::NONE : Offer::UNKNOWN;
}

/// A page that was found against what the drives say of themselves.
void noteFound(const nvme::Drive& drive) {
    KnownLogPages().add(drive, nvme::LID_OCP_SMART);
    DrivesWithoutOcp().forget();
}

Result<Payload> readPage(nvme::Drive& drive, Offer offer) {
    const auto page = readLog(drive, nvme::LID_OCP_SMART, nvme::OCP_SMART_BYTES);
    if (!page && isMissingLog(page.error())) return Payload();
    if (!page) return page.error();
    if (!nvme::isOcpSmart(*page)) return Payload();
    if (offer == Offer::UNKNOWN) noteFound(drive);
    return *page;
}

}  // namespace

Result<Payload> readOcpSmartLog(nvme::Drive& drive, OcpGrounds grounds) {
    TRY(const Offer offer, readOffer(drive));
    const bool isAsked = offer == Offer::MADE || (offer == Offer::UNKNOWN && grounds == OcpGrounds::NAMED);
    return isAsked ? readPage(drive, offer) : Payload();
}

Result<Payload> readOfferedOcpSmartLog(nvme::Drive& drive, DrivesWithoutOcp& without) {
    if (without.contains(drive)) return Payload();
    TRY(const Offer offer, readOffer(drive));
    if (offer == Offer::MADE) return readPage(drive, offer);
    without.add(drive);
    return Payload();
}

void noteOcpSmartLog(nvme::Drive& drive, const Payload& page) {
    if (page.getSize() < nvme::OCP_SMART_BYTES || !nvme::isOcpSmart(page)) return;
    const auto offer = readOffer(drive);  // what cannot be read now is read again by the next command
    if (offer && *offer != Offer::MADE) noteFound(drive);
}

}  // namespace features::jobs
