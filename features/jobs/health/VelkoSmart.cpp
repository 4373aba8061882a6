#include "features/jobs/health/VelkoSmart.h"

#include "features/errors/PayloadCopy.h"
#include "features/jobs/drive/LogReading.h"
#include "features/jobs/drive/VendorDialect.h"
#include "features/jobs/health/FieldAttributes.h"
#include "features/nvme/VelkoInterface.h"
#include "features/nvme/VelkoLogPages.h"

namespace features::jobs {

using namespace ostrel::core;

Status addVelkoSmart(nvme::Drive& drive, size_t bytes, AttributeList& list) {
    if (!isVelkoDrive(drive)) return Status();
    const auto page = readLog(drive, nvme::LID_VELKO_EXTENDED_SMART, nvme::VELKO_EXTENDED_SMART_BYTES);
    if (!page) return isRefusal(page.error()) ? Status() : page.error().status;
    for (const nvme::Field& field : nvme::decodeVelkoExtendedSmart(copyOf(page->getData(), bytes)).fields)
        list.emplace(field.name, attributeOf(field, field.name));
    return Status();
}

}  // namespace features::jobs
