#include "features/transport/simulated/SimulatedNamespaces.h"

#include "features/errors/Result.h"
#include "features/nvme/Bytes.h"
#include "features/nvme/Completion.h"
#include "features/nvme/IdentifyCns.h"
#include "features/nvme/NamespaceProperties.h"
#include "features/nvme/Opcodes.h"
#include "features/simulator/store/DriveNodes.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::transport {

using ostrel::core::Status;
using simulator::CompletionEntry;
using simulator::Controller;
using simulator::SubmissionEntry;

namespace {

constexpr size_t IDENTIFY_BYTES = 4096;

/// Empty when the drive did not answer the command; a refusal is an error.
Result<std::vector<uint8_t>> identify(Controller& controller, uint8_t cns, uint32_t nsid) {
    SubmissionEntry command;
    command.opcode = nvme::OPC_IDENTIFY;
    command.nsid = nsid;
    command.cdw10 = cns;
    std::vector<uint8_t> data;
    TRY(const CompletionEntry completion, controller.execute(command, data));
    const bool isCompleted = completion.delivery == simulator::Delivery::COMPLETED;
    if (!isCompleted || data.size() != IDENTIFY_BYTES) data.clear();
    if (!isCompleted || completion.isSuccess()) return data;
    Status status = ostrel::core::statuses::deviceDataRetrievalFailed();
    const nvme::Completion refused(completion.statusField, completion.dword0);
    status.setMessage(status.getMessage() + " Identify failed: " + refused.meaning() + ".");
    return status;
}

HostNamespace hostNamespace(const std::string& folder, uint32_t nsid) {
    HostNamespace part;
    part.nsid = nsid;
    part.node = simulator::namespaceNode(folder, nsid);
    return part;
}

void addSizes(HostNamespace& part, const uint8_t* identify) {
    const nvme::NamespaceProperties properties(identify);
    part.blockBytes = properties.format().dataBytes();
    part.metadataBytes = properties.format().metadataBytes;
    part.sizeBytes = properties.sizeBlocks * part.blockBytes;
}

}  // namespace

AttachedNamespaces attachedNamespaces(Controller& controller, const std::string& folder, bool withSizes) {
    AttachedNamespaces attached;
    const auto list = identify(controller, nvme::CNS_ACTIVE_NAMESPACES, 0);
    if (!list) attached.status = list.error();
    for (size_t at = 0; list && at + 4 <= list->size(); at += 4) {
        const uint32_t nsid = nvme::le32(list->data() + at);
        if (nsid == 0) break;
        HostNamespace part = hostNamespace(folder, nsid);
        if (withSizes) {
            const auto data = identify(controller, nvme::CNS_NAMESPACE, nsid);
            if (!data) {
                attached.status = data.error();
                break;
            }
            if (data->empty()) continue;
            addSizes(part, data->data());
        }
        attached.found.push_back(std::move(part));
    }
    return attached;
}

}  // namespace features::transport
