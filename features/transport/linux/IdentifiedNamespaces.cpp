#include "features/transport/linux/IdentifiedNamespaces.h"

#include "features/nvme/Identify.h"
#include "features/nvme/NamespaceProperties.h"
#include "features/nvme/Opcodes.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::transport {

using namespace ostrel::core;

namespace {

constexpr uint32_t IDENTIFY_BYTES = 4096;
constexpr size_t LIST_ENTRIES = 1024;

Status identify(const SendRead& send, uint8_t cns, uint32_t nsid, Payload& data) {
    nvme::NvmeCommand command(nvme::Queue::ADMIN, nvme::OPC_IDENTIFY, "Identify");
    command.nsid = nsid;
    command.cdw10 = cns;
    command.dataLength = IDENTIFY_BYTES;
    return send(command, data);
}

Status addNamespace(const SendRead& send, uint32_t nsid, std::vector<HostNamespace>& found) {
    Payload data;
    const Status status = identify(send, nvme::CNS_NAMESPACE, nsid, data);
    if (failed(status)) return status;
    const nvme::NamespaceProperties properties(data.getData());
    HostNamespace entry;
    entry.nsid = nsid;
    entry.blockBytes = properties.format().dataBytes();
    entry.metadataBytes = properties.format().metadataBytes;
    entry.sizeBytes = properties.sizeBlocks * entry.blockBytes;
    found.push_back(entry);
    return status;
}

}  // namespace

Status identifyNamespaces(const SendRead& send, std::vector<HostNamespace>& found) {
    uint32_t last = 0;
    for (;;) {
        Payload data;
        Status status = identify(send, nvme::CNS_ACTIVE_NAMESPACES, last, data);
        if (failed(status)) return status;
        const std::vector<uint32_t> list = nvme::decodeNamespaceList(data);
        for (const uint32_t nsid : list) {
            if (nsid <= last) return statuses::deviceDataRetrievalFailed();  // the list would have no end
            last = nsid;
            status = addNamespace(send, nsid, found);
            if (failed(status)) return status;
        }
        if (list.size() < LIST_ENTRIES) return Status();
    }
}

}  // namespace features::transport
