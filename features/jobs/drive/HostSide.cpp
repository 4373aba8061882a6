#include "features/jobs/drive/HostSide.h"

#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/CommandResult.h"
#include "ostrel/core/StatusCatalogue.h"

namespace features::jobs {

using namespace ostrel::core;

namespace {

Result<transport::HostResult> askHost(Device& device, const transport::HostCommand& command) {
    CommandResult result;
    device.sendCommand(command, result);
    RETURN_IF_FAILED(result.status);
    const auto* host = dynamic_cast<const transport::HostResult*>(result.protocolResult.get());
    if (host == nullptr) return statuses::deviceDataRetrievalFailed();
    return *host;
}

}  // namespace

std::optional<uint32_t> namedNamespace(const Device& device) {
    const Attribute named = device.getAttribute(attributes::device::namespaceId());
    if (named.getSize() == 0) return std::nullopt;
    return static_cast<uint32_t>(named.getNumber());
}

Result<std::vector<transport::HostNamespace>> readHostNamespaces(Device& device) {
    TRY(const transport::HostResult host, askHost(device, transport::HostCommand(transport::HostRequest::NAMESPACES)));
    return host.namespaces;
}

Result<std::vector<transport::HostNamespace>> readHostSizes(Device& device) {
    TRY(const transport::HostResult host, askHost(device, transport::HostCommand(transport::HostRequest::SIZES)));
    return host.namespaces;
}

Result<std::vector<transport::HostNamespace>> readUsedNamespaces(Device& device, transport::UseCheck check) {
    transport::HostCommand look(transport::HostRequest::USES);
    look.useCheck = check;
    TRY(const transport::HostResult host, askHost(device, look));
    return host.namespaces;
}

Result<transport::HostLocation> readHostLocation(Device& device) {
    TRY(const transport::HostResult host, askHost(device, transport::HostCommand(transport::HostRequest::LOCATION)));
    return host.location;
}

Status rescan(Device& device) {
    CommandResult result;
    device.sendCommand(transport::HostCommand(transport::HostRequest::RESCAN), result);
    return result.status;
}

}  // namespace features::jobs
