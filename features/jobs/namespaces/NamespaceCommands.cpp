#include "features/jobs/namespaces/NamespaceCommands.h"

#include "features/jobs/drive/Refusals.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/Identify.h"
#include "features/nvme/Opcodes.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

constexpr uint32_t COMMAND_TIMEOUT_MS = 10 * 60 * 1000;

constexpr uint32_t SEL_ATTACH = 0;
constexpr uint32_t SEL_DETACH = 1;

constexpr RefusalRow REFUSALS[] = {
    {0x0, 0x01, statuses::driveDoesNotSupportFeature},
    {0x0, 0x0B, statuses::invalidNamespaceId},
    {0x0, 0x1D, statuses::sanitizeInProgress},
    {0x0, 0x20, statuses::namespaceWriteProtected},
    {0x1, 0x0A, statuses::lbaFormatNotSupported},
    {0x1, 0x15, statuses::notEnoughSpaceForNamespace},
    {0x1, 0x16, statuses::tooManyNamespaces},
    {0x1, 0x18, statuses::controllerAlreadyAttached},
    {0x1, 0x19, statuses::namespaceIsPrivate},
    {0x1, 0x1A, statuses::controllerNotAttached},
    {0x1, 0x1B, statuses::thinProvisioningNotSupported},
    {0x1, 0x1C, statuses::invalidControllerList},
    {0x1, 0x1F, statuses::invalidControllerList},
    {0x1, 0x24, statuses::anaGroupNotSupported},
    {0x1, 0x25, statuses::controllerDetachedByAna},
    {0x1, 0x26, statuses::notEnoughSpaceForNamespace},
    {0x1, 0x27, statuses::tooManyNamespaces},
    {0x1, 0x29, statuses::driveDoesNotSupportFeature},
    {0x1, 0x2A, statuses::driveDoesNotSupportFeature},
};

}  // namespace

nvme::NvmeCommand namespaceManagement(uint8_t select, uint32_t nsid) {
    nvme::NvmeCommand command(nvme::Queue::ADMIN, nvme::OPC_NAMESPACE_MANAGEMENT, "Namespace Management");
    command.nsid = nsid;
    command.cdw10 = select;
    if (select == SEL_CREATE) command.dataLength = nvme::IDENTIFY_BYTES;
    command.timeoutMs = COMMAND_TIMEOUT_MS;
    return command;
}

Status sendNamespaceAttachment(nvme::Drive& drive, bool attach, uint32_t nsid, uint16_t controllerId) {
    nvme::NvmeCommand command(nvme::Queue::ADMIN, nvme::OPC_NAMESPACE_ATTACHMENT, "Namespace Attachment");
    command.nsid = nsid;
    command.cdw10 = attach ? SEL_ATTACH : SEL_DETACH;
    command.dataLength = nvme::IDENTIFY_BYTES;
    command.timeoutMs = COMMAND_TIMEOUT_MS;
    uint8_t list[nvme::IDENTIFY_BYTES] = {};
    nvme::putLe16(list, 1);
    nvme::putLe16(list + 2, controllerId);
    const auto sent = drive.send(command, Payload(list, sizeof list));
    return sent ? Status() : mapNamespaceStatus(sent.error());
}

Status mapNamespaceStatus(const nvme::CommandError& error) {
    return mapNvmeStatus(REFUSALS, statuses::nvmeCommandProblem, error);
}

}  // namespace features::jobs
