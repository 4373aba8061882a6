#include "ostrel/core/Device.h"

#include <algorithm>
#include <utility>

#include "ostrel/core/AttributeVocabulary.h"
#include "ostrel/core/Command.h"
#include "ostrel/core/Connection.h"
#include "ostrel/core/ScopeTrace.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/Strings.h"
#include "ostrel/core/xml/XmlConstants.h"
#include "ostrel/core/xml/XmlObject.h"

namespace ostrel::core {

namespace {

void keepFirstFailure(Status& kept, const Status& status) {
    OSTREL_TRACE();
    if (succeeded(kept)) kept = status;
}

}  // namespace

Device::Device() = default;

Device::Device(const Device& other)
    : attributes_(other.attributes_),
      commandSets_(other.commandSets_),
      ownConnections_(other.ownConnections_),
      connections_(other.connections_),
      childDevices_(other.childDevices_),
      partitions_(other.partitions_),
      commandHistory_(other.commandHistory_) {
    OSTREL_TRACE();
    for (const auto& [name, path] : other.commandPaths_) commandPaths_[name] = path->clone();
}

Device::~Device() {
    OSTREL_TRACE();
}

bool Device::supportsCommandSet(const std::string& name) const {
    OSTREL_TRACE();
    return commandSets_.count(name) > 0;
}

void Device::sendCommand(const Command& command, CommandResult& result) {
    OSTREL_TRACE();
    sendCommand(command, result, Payload());
}

void Device::sendCommand(const Command& command, CommandResult& result, const Payload& payload) {
    OSTREL_TRACE();
    CommandPath* path = findPath(command.getCommandSet());
    if (path == nullptr) {
        result = CommandResult();
        result.command = command.clone();
        result.outputPayload = payload;
        result.status = statuses::commandSetNotSupported();
    } else {
        result = path->send(command, payload, attributes_);
        result.commandPath = path->clone();
        result.quietToXml = getAttribute(attributes::device::commandResultQuietXml()).isTrue();
    }
    commandHistory_.add(result);
}

CommandPath* Device::findPath(const std::string& commandSetName) const {
    OSTREL_TRACE();
    const auto set = commandSets_.find(commandSetName);
    if (set == commandSets_.end()) return nullptr;
    const auto path = commandPaths_.find(set->second);
    return path == commandPaths_.end() ? nullptr : path->second.get();
}

void Device::setAttribute(const Attribute& attribute) {
    OSTREL_TRACE();
    attributes_[attribute.getName()] = attribute;
}

bool Device::hasAttribute(const std::string& name) const {
    OSTREL_TRACE();
    return attributes_.count(name) > 0;
}

Attribute Device::getAttribute(const Attribute& attribute) const {
    OSTREL_TRACE();
    const auto found = attributes_.find(attribute.getName());
    return found == attributes_.end() ? attribute : found->second;
}

void Device::removeAttribute(const std::string& name) {
    OSTREL_TRACE();
    attributes_.erase(name);
}

void Device::addCommandPath(const CommandPath& path) {
    OSTREL_TRACE();
    commandPaths_[path.getName()] = path.clone();
}

void Device::addCommandSet(const std::string& set, const std::string& pathName) {
    OSTREL_TRACE();
    commandSets_[set] = pathName;
}

bool Device::isCommandPathAvailable() const {
    OSTREL_TRACE();
    const auto supported = [this](const auto& entry) { return entry.second->isSupported(attributes_); };
    return !commandPaths_.empty() && std::all_of(commandPaths_.begin(), commandPaths_.end(), supported);
}

std::uint64_t Device::getTimeout(const std::string& commandSetName) const {
    OSTREL_TRACE();
    constexpr std::uint64_t DEFAULT_SECONDS = 60;
    const CommandPath* path = findPath(commandSetName);
    return path == nullptr ? DEFAULT_SECONDS : path->getTimeoutSeconds();
}

std::uint64_t Device::getTimeoutNanoseconds(const std::string& commandSetName) const {
    OSTREL_TRACE();
    const CommandPath* path = findPath(commandSetName);
    return path == nullptr ? 0 : path->getTimeoutNanoseconds();  // not the default of getTimeout()
}

void Device::setTimeout(std::uint64_t seconds, const std::string& commandSetName) {
    OSTREL_TRACE();
    CommandPath* path = findPath(commandSetName);
    if (path != nullptr) path->setTimeoutSeconds(seconds);
}

void Device::setAllTimeouts(std::uint64_t nanoseconds) {
    OSTREL_TRACE();
    for (const auto& [name, path] : commandPaths_) path->setTimeoutNanoseconds(nanoseconds);
}

void Device::setAllTimeoutsSeconds(std::uint64_t seconds) {
    OSTREL_TRACE();
    setAllTimeouts(seconds * CommandPath::NANOSECONDS_PER_SECOND);
}

Status Device::getPartitionStatus() const {
    OSTREL_TRACE();
    if (!partitions_.empty()) return statuses::deviceHasPartitions();
    for (const auto& [name, path] : commandPaths_) {
        if (path->getConnection() == nullptr) continue;
        Status status = path->getConnection()->getPartitionStatus();
        if (status.is(0, 2)) return status;
    }
    return statuses::deviceHasNoPartitions();
}

Status Device::initialize() {
    OSTREL_TRACE();
    Status status;
    for (const auto& child : childDevices_) {
        child->connections_ = connections_;
        keepFirstFailure(status, child->initialize());
    }
    Attribute sectorSize = attributes::device::sectorSize();
    sectorSize.setValue(std::uint32_t{512});
    attributes_.emplace(sectorSize.getName(), sectorSize);
    keepFirstFailure(status, openConnections());
    const std::string error = getAttribute(attributes::device::errorString()).getText();
    Attribute deviceStatus = attributes::device::deviceStatus();
    deviceStatus.setValue(error.empty() ? "Healthy" : error);
    setAttribute(deviceStatus);
    computePhysicalSize();
    return status;
}

Status Device::openConnections() {
    OSTREL_TRACE();
    Status status;
    for (const Connections* connections : {&ownConnections_, &connections_})
        for (const auto& connection : *connections) keepFirstFailure(status, connection->open(this));
    return status;
}

// Without a last address there is nothing to work it out of, and a size that does not fit is better left out.
void Device::computePhysicalSize() {
    OSTREL_TRACE();
    Attribute physicalSize = attributes::device::physicalSize();
    const Attribute lastAddress = getAttribute(attributes::device::maximumLBA());
    if (hasAttribute(physicalSize.getName()) || lastAddress.getSize() == 0) return;
    const auto sectorSize = toNumber<std::uint64_t>(getAttribute(attributes::device::sectorSize()).getText());
    std::uint64_t sectors = 0;
    std::int64_t bytes = 0;
    if (__builtin_add_overflow(toNumber<std::uint64_t>(lastAddress.getText()), 1, &sectors) ||
        __builtin_mul_overflow(sectors, sectorSize, &bytes))
        return;
    physicalSize.setValue(bytes);
    setAttribute(physicalSize);
}

std::unique_ptr<xml::XmlObject> Device::getDriveInformation() const {
    OSTREL_TRACE();
    auto information = std::make_unique<xml::XmlObject>();
    information->attributes[xml::KEY_NAME] = "Drive Information";
    for (const Attribute& attribute : {attributes::device::modelNumber(), attributes::device::serialNumber(),
                                       attributes::device::firmware(), attributes::device::errorString()})
        information->addProperty(attribute.getName(), getAttribute(attribute).getText());
    return information;
}

}  // namespace ostrel::core
