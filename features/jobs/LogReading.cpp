#include "features/jobs/LogReading.h"

#include "features/nvme/LogPages.h"
#include "features/nvme/Opcodes.h"
#include "ostrel/core/ScopeTrace.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

constexpr uint32_t SMART_BYTES = 512;

}  // namespace

Status readLog(nvme::Drive& drive, uint8_t lid, uint32_t bytes, Payload& data) {
    OSTREL_TRACE();
    nvme::LogPageRequest request;
    request.lid = lid;
    request.retainEvent = true;
    return drive.readLogPage(request, bytes, data);
}

bool isRefusal(const Status& status) {
    return status.is(CATEGORY_CORE, 25);
}

Status readSmartLog(nvme::Drive& drive, Payload& data) {
    OSTREL_TRACE();
    return readLog(drive, nvme::LID_SMART_HEALTH, SMART_BYTES, data);
}

Status readOcpSmartLog(nvme::Drive& drive, Payload& data) {
    OSTREL_TRACE();
    Payload page;
    Status status = readLog(drive, nvme::LID_OCP_SMART, nvme::OCP_SMART_BYTES, page);
    if (isRefusal(status)) return Status();
    if (status.is(0, 0) && nvme::isOcpSmart(page)) data = page;
    return status;
}

}  // namespace features::jobs
