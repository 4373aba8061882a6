#include "features/transport/linux/IdentifiedNamespaces.h"

#include "features/nvme/Identify.h"
#include "features/nvme/IdentifyCns.h"
#include "features/nvme/NamespaceProperties.h"
#include "features/nvme/Opcodes.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::transport {

using namespace ostrel::core;

namespace {

constexpr uint32_t IDENTIFY_BYTES = 4096;
constexpr size_t LIST_ENTRIES = 1024;

Result<Payload> identify(const SendRead& send, uint8_t cns, uint32_t nsid) {
    nvme::NvmeCommand command(nvme::Queue::ADMIN, nvme::OPC_IDENTIFY, "Identify");
    command.nsid = nsid;
    command.cdw10 = cns;
    command.dataLength = IDENTIFY_BYTES;
    return send(command);
}

Result<HostNamespace> identifyNamespace(const SendRead& send, uint32_t nsid) {
    TRY(const Payload data, identify(send, nvme::CNS_NAMESPACE, nsid));
    const nvme::NamespaceProperties properties(data.getData());
    HostNamespace entry;
    entry.nsid = nsid;
    entry.blockBytes = properties.format().dataBytes();
    entry.metadataBytes = properties.format().metadataBytes;
    entry.sizeBytes = properties.sizeBlocks * entry.blockBytes;
    return entry;
}

}  // namespace

Result<std::vector<HostNamespace>> identifyNamespaces(const SendRead& send) {
    std::vector<HostNamespace> found;
    uint32_t last = 0;
    for (;;) {
        TRY(const Payload data, identify(send, nvme::CNS_ACTIVE_NAMESPACES, last));
        const std::vector<uint32_t> list = nvme::decodeNamespaceList(data);
        for (const uint32_t nsid : list) {
            if (nsid <= last) return statuses::deviceDataRetrievalFailed();  // the list would have no end
            last = nsid;
            TRY(const HostNamespace entry, identifyNamespace(send, nsid));
            found.push_back(entry);
        }
        if (list.size() < LIST_ENTRIES) return found;
    }
}

}  // namespace features::transport
