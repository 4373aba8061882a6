#include "features/nvme/NvmeCommand.h"

#include <algorithm>
#include <iterator>

#include "features/nvme/FieldTree.h"
#include "features/nvme/Level0Discovery.h"
#include "features/nvme/Opcodes.h"
#include "ostrel/core/TextOutput.h"
#include "ostrel/core/xml/XmlConstants.h"
#include "ostrel/core/xml/XmlObject.h"

namespace features::nvme {

using namespace ostrel::core;

namespace {

struct DwordRow {
    const char* name;
    uint32_t NvmeCommand::* field;
};
constexpr DwordRow DWORDS[] = {
    {"NSID", &NvmeCommand::nsid},   {"CDW2", &NvmeCommand::cdw2},   {"CDW3", &NvmeCommand::cdw3},
    {"CDW10", &NvmeCommand::cdw10}, {"CDW11", &NvmeCommand::cdw11}, {"CDW12", &NvmeCommand::cdw12},
    {"CDW13", &NvmeCommand::cdw13}, {"CDW14", &NvmeCommand::cdw14}, {"CDW15", &NvmeCommand::cdw15},
};

struct CommandRow {
    Queue queue;
    uint8_t opcode;
};
constexpr CommandRow READING_COMMANDS[] = {
    {Queue::ADMIN, OPC_GET_LOG_PAGE},
    {Queue::ADMIN, OPC_IDENTIFY},
    {Queue::ADMIN, OPC_GET_FEATURES},
    {Queue::IO, OPC_READ},
};

constexpr uint32_t LOG_SPECIFIC_FIELD = 0x7F00;  // of dword 10

/// What a security protocol has to say is read once, but for what describes the drive.
bool isReadingSecurityReceive(uint32_t cdw10) {
    const uint32_t protocol = cdw10 >> 24;
    const uint32_t specific = cdw10 >> 8 & 0xFFFF;
    return protocol == SECURITY_PROTOCOL_INFORMATION ||
           (protocol == SECURITY_PROTOCOL_TCG && specific == COMID_LEVEL_0_DISCOVERY);
}

}  // namespace

NvmeCommand::NvmeCommand(Queue queue, uint8_t opcode, std::string name)
    : Command(COMMAND_SET_NVME, std::move(name)), queue(queue), opcode(opcode) {}

std::unique_ptr<Command> NvmeCommand::clone() const {
    return std::make_unique<NvmeCommand>(*this);
}

bool NvmeCommand::changesDrive() const {
    if (queue == Queue::ADMIN && opcode == OPC_GET_LOG_PAGE && (cdw10 & LOG_SPECIFIC_FIELD) != 0) return true;
    if (queue == Queue::ADMIN && opcode == OPC_SECURITY_RECEIVE) return !isReadingSecurityReceive(cdw10);
    return std::none_of(std::begin(READING_COMMANDS), std::end(READING_COMMANDS),
                        [this](const CommandRow& row) { return row.queue == queue && row.opcode == opcode; });
}

void NvmeCommand::toString(std::ostream& out) const {
    std::string text = queue == Queue::ADMIN ? "NVMe admin command: " : "NVMe I/O command: ";
    text += getName() + "\nOpcode: " + hexText(opcode, 2);
    for (const DwordRow& row : DWORDS) text += std::string("\n") + row.name + ": " + hexText(this->*row.field, 8);
    writeText(out, text);
}

std::unique_ptr<xml::XmlObject> NvmeCommand::toXml() const {
    auto object = std::make_unique<xml::XmlObject>();
    object->attributes[xml::KEY_CATEGORY] = xml::CATEGORY_COMMAND;
    object->attributes[xml::KEY_NAME] = getName();
    object->addProperty("Opcode", hexText(opcode, 2));
    for (const DwordRow& row : DWORDS) object->addProperty(row.name, hexText(this->*row.field, 8));
    return object;
}

}  // namespace features::nvme
