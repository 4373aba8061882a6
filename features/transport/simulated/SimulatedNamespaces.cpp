#include "features/transport/simulated/SimulatedNamespaces.h"

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

/// `data` is empty when the drive did not answer the command; a refusal is an error.
Status identify(Controller& controller, uint8_t cns, uint32_t nsid, std::vector<uint8_t>& data) {
    SubmissionEntry command;
    command.opcode = nvme::OPC_IDENTIFY;
    command.nsid = nsid;
    command.cdw10 = cns;
    CompletionEntry completion;
    Status status = controller.execute(command, data, completion);
    const bool isCompleted = completion.delivery == simulator::Delivery::COMPLETED;
    if (failed(status) || !isCompleted || data.size() != IDENTIFY_BYTES) data.clear();
    if (failed(status) || !isCompleted || completion.isSuccess()) return status;
    data.clear();
    status = ostrel::core::statuses::deviceDataRetrievalFailed();
    const nvme::Completion refused(completion.statusField, completion.dword0);
    status.setMessage(status.getMessage() + " Identify failed: " + refused.meaning() + ".");
    return status;
}

}  // namespace

Status attachedNamespaces(Controller& controller, const std::string& folder, std::vector<HostNamespace>& found) {
    std::vector<uint8_t> list;
    Status status = identify(controller, nvme::CNS_ACTIVE_NAMESPACES, 0, list);
    for (size_t at = 0; at + 4 <= list.size(); at += 4) {
        const uint32_t nsid = nvme::le32(list.data() + at);
        if (nsid == 0) break;
        std::vector<uint8_t> data;
        status = identify(controller, nvme::CNS_NAMESPACE, nsid, data);
        if (failed(status)) break;
        if (data.empty()) continue;
        const nvme::NamespaceProperties properties(data.data());
        HostNamespace part;
        part.nsid = nsid;
        part.node = simulator::namespaceNode(folder, nsid);
        part.blockBytes = properties.format().dataBytes();
        part.metadataBytes = properties.format().metadataBytes;
        part.sizeBytes = properties.sizeBlocks * part.blockBytes;
        found.push_back(part);
    }
    return status;
}

}  // namespace features::transport
