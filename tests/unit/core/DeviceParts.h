#pragma once

#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "ostrel/core/Attribute.h"
#include "ostrel/core/Command.h"
#include "ostrel/core/CommandPath.h"
#include "ostrel/core/CommandResult.h"
#include "ostrel/core/Connection.h"
#include "ostrel/core/Device.h"
#include "ostrel/core/ProtocolResult.h"
#include "ostrel/core/xml/XmlObject.h"
#include "tests/support/StatusText.h"

/// The parts that others supply to the device layer, as tests need them.

inline std::unique_ptr<ostrel::core::xml::XmlObject> xmlNamed(const std::string& name) {
    auto object = std::make_unique<ostrel::core::xml::XmlObject>();
    object->attributes["name"] = name;
    return object;
}

class PlainCommand : public ostrel::core::Command {
public:
    PlainCommand(std::string commandSet, std::string name) : Command(std::move(commandSet), std::move(name)) {}
    std::unique_ptr<Command> clone() const override { return std::make_unique<PlainCommand>(*this); }
    void toString(std::ostream& out) const override { out << "Command " << getName(); }
    std::unique_ptr<ostrel::core::xml::XmlObject> toXml() const override { return xmlNamed(getName()); }
};

class PlainProtocolResult : public ostrel::core::ProtocolResult {
public:
    std::unique_ptr<ProtocolResult> clone() const override { return std::make_unique<PlainProtocolResult>(*this); }
    void toString(std::ostream& out) const override { out << "Completion"; }
    std::unique_ptr<ostrel::core::xml::XmlObject> toXml() const override { return xmlNamed("Completion"); }
};

/// Notes what is done to it in a list that all its clones share.
class NotingConnection : public ostrel::core::Connection {
public:
    using Notes = std::vector<std::string>;

    NotingConnection(std::string name, std::shared_ptr<Notes> notes, uint8_t order = 0)
        : Connection(std::move(name)), notes(std::move(notes)) {
        priority = order;
    }
    ostrel::core::Status open(ostrel::core::Device* device) override {
        notes->push_back("open " + name);
        openedFor = device;
        return openStatus;
    }
    ostrel::core::Status close() override {
        notes->push_back("close " + name);
        return closeStatus;
    }
    bool isOpen() override { return openedFor != nullptr; }
    ostrel::core::Status getPartitionStatus() override {
        notes->push_back("partitions " + name);
        return partitionStatus;
    }
    std::unique_ptr<Connection> clone() const override { return std::make_unique<NotingConnection>(*this); }

    std::shared_ptr<Notes> notes;
    ostrel::core::Device* openedFor = nullptr;
    ostrel::core::Status openStatus, closeStatus;
    ostrel::core::Status partitionStatus{0, 3, "Device has no partitions."};
};

/// Answers each command with its own name as the input payload.
class EchoPath : public ostrel::core::CommandPath {
public:
    explicit EchoPath(std::string name, uint64_t timeoutNanoseconds = 0)
        : CommandPath(std::move(name), timeoutNanoseconds) {}
    std::unique_ptr<CommandPath> clone() const override { return std::make_unique<EchoPath>(*this); }
    ostrel::core::CommandResult send(const ostrel::core::Command& command, const ostrel::core::Payload& payload,
                                     const ostrel::core::AttributeList& attributes) override {
        ostrel::core::CommandResult result;
        result.command = command.clone();
        result.outputPayload = payload;
        result.inputPayload = ostrel::core::Payload(command.getName().data(), command.getName().size());
        result.status = ostrel::core::Status(10, static_cast<uint32_t>(attributes.size()), "echo");
        result.protocolResult = std::make_unique<PlainProtocolResult>();
        return result;
    }
    bool isSupported(const ostrel::core::AttributeList&) const override { return supported; }

    /// Gives the path an engine, as a derived class does.
    using CommandPath::setAsyncEngine;

    bool supported = true;
};

inline ostrel::core::Attribute textAttribute(const std::string& name, const std::string& value) {
    return {name, name, ostrel::core::typeString(), value};
}
