#include "features/transport/HostCommand.h"

#include "ostrel/core/TextOutput.h"
#include "ostrel/core/xml/XmlConstants.h"
#include "ostrel/core/xml/XmlObject.h"

namespace features::transport {

using namespace ostrel::core;

namespace {

const char* requestName(HostRequest request) {
    switch (request) {
        case HostRequest::NAMESPACES:
            return "Namespaces";
        case HostRequest::SIZES:
            return "Sizes of Namespaces";
        case HostRequest::USES:
            return "Uses of Namespaces";
        case HostRequest::LOCATION:
            return "Location";
        case HostRequest::RESET_CONTROLLER:
            return "Controller Reset";
        case HostRequest::RESET_SUBSYSTEM:
            return "NVM Subsystem Reset";
        case HostRequest::RESCAN:
            return "Rescan";
        case HostRequest::LOCK_DRIVE:
            return "Lock Drive";
        case HostRequest::UNLOCK_DRIVE:
            return "Unlock Drive";
    }
    return "Unknown";
}

}  // namespace

HostCommand::HostCommand(HostRequest request) : Command(COMMAND_SET_HOST, requestName(request)), request(request) {}

std::unique_ptr<Command> HostCommand::clone() const {
    return std::make_unique<HostCommand>(*this);
}

void HostCommand::toString(std::ostream& out) const {
    writeText(out, "Host request: " + getName());
}

std::unique_ptr<xml::XmlObject> HostCommand::toXml() const {
    auto object = std::make_unique<xml::XmlObject>();
    object->attributes[xml::KEY_CATEGORY] = xml::CATEGORY_COMMAND;
    object->attributes[xml::KEY_NAME] = getName();
    return object;
}

std::unique_ptr<ProtocolResult> HostResult::clone() const {
    return std::make_unique<HostResult>(*this);
}

void HostResult::toString(std::ostream& out) const {
    std::string text = "Namespaces: " + std::to_string(namespaces.size());
    for (const HostNamespace& part : namespaces) text += "\n" + std::to_string(part.nsid) + ": " + part.node;
    writeText(out, text);
}

std::unique_ptr<xml::XmlObject> HostResult::toXml() const {
    auto object = std::make_unique<xml::XmlObject>();
    object->attributes[xml::KEY_CATEGORY] = xml::CATEGORY_PROTOCOL_RESULT;
    for (const HostNamespace& part : namespaces) object->addProperty(std::to_string(part.nsid), part.node);
    return object;
}

}  // namespace features::transport
