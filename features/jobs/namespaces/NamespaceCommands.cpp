#include "features/jobs/namespaces/NamespaceCommands.h"

#include "features/errors/PayloadCopy.h"
#include "features/jobs/drive/Refusals.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/Identify.h"
#include "features/nvme/Opcodes.h"
#include "features/nvme/structures/ControllerList.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

constexpr uint32_t COMMAND_TIMEOUT_MS = 10 * 60 * 1000;

constexpr uint32_t SEL_ATTACH = 0;
constexpr uint32_t SEL_DETACH = 1;

constexpr RefusalRow REFUSALS[] = {
    {nvme::SC_INVALID_OPCODE, statuses::driveDoesNotSupportFeature},
    {nvme::SC_INVALID_NAMESPACE, statuses::invalidNamespaceId},
    {nvme::SC_SANITIZE_IN_PROGRESS, statuses::sanitizeInProgress},
    {nvme::SC_NAMESPACE_WRITE_PROTECTED, statuses::namespaceWriteProtected},
    {nvme::SC_INVALID_FORMAT, statuses::lbaFormatNotSupported},
    {nvme::SC_NAMESPACE_INSUFFICIENT_CAPACITY, statuses::notEnoughSpaceForNamespace},
    {nvme::SC_NAMESPACE_IDENTIFIER_UNAVAILABLE, statuses::tooManyNamespaces},
    {nvme::SC_NAMESPACE_ALREADY_ATTACHED, statuses::controllerAlreadyAttached},
    {nvme::SC_NAMESPACE_IS_PRIVATE, statuses::namespaceIsPrivate},
    {nvme::SC_NAMESPACE_NOT_ATTACHED, statuses::controllerNotAttached},
    {nvme::SC_THIN_PROVISIONING_NOT_SUPPORTED, statuses::thinProvisioningNotSupported},
    {nvme::SC_CONTROLLER_LIST_INVALID, statuses::invalidControllerList},
    {nvme::SC_INVALID_CONTROLLER_ID, statuses::invalidControllerList},
    {nvme::SC_ANA_GROUP_ID_INVALID, statuses::anaGroupNotSupported},
    {nvme::SC_ANA_ATTACH_FAILED, statuses::controllerDetachedByAna},
    {nvme::SC_INSUFFICIENT_CAPACITY, statuses::notEnoughSpaceForNamespace},
    {nvme::SC_ATTACHMENT_LIMIT_EXCEEDED, statuses::tooManyNamespaces},
    {nvme::SC_IO_COMMAND_SET_NOT_SUPPORTED, statuses::driveDoesNotSupportFeature},
    {nvme::SC_IO_COMMAND_SET_NOT_ENABLED, statuses::driveDoesNotSupportFeature},
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
    command.dataLength = sizeof(nvme::ControllerList);
    command.timeoutMs = COMMAND_TIMEOUT_MS;
    nvme::ControllerList list{};
    list.count = 1;
    list.identifiers[0] = controllerId;
    const auto sent = drive.send(command, copyOf(&list, sizeof list));
    return sent ? Status() : mapNamespaceStatus(sent.error());
}

Status mapNamespaceStatus(const nvme::CommandError& error) {
    return mapNvmeStatus(REFUSALS, statuses::nvmeCommandProblem, error);
}

}  // namespace features::jobs
