#include "features/nvme/NvmeCommand.h"

#include <iomanip>

#include "features/nvme/FieldTree.h"
#include "ostrel/core/ScopeTrace.h"
#include "ostrel/core/xml/XmlConstants.h"
#include "ostrel/core/xml/XmlObject.h"

namespace features::nvme {

using namespace ostrel::core;

namespace {

struct DwordRow {
    const char* name;
    uint32_t NvmeCommand::*field;
};
constexpr DwordRow DWORDS[] = {
    {"NSID", &NvmeCommand::nsid},   {"CDW2", &NvmeCommand::cdw2},   {"CDW3", &NvmeCommand::cdw3},
    {"CDW10", &NvmeCommand::cdw10}, {"CDW11", &NvmeCommand::cdw11}, {"CDW12", &NvmeCommand::cdw12},
    {"CDW13", &NvmeCommand::cdw13}, {"CDW14", &NvmeCommand::cdw14}, {"CDW15", &NvmeCommand::cdw15},
};

}  // namespace

NvmeCommand::NvmeCommand(Queue queue, uint8_t opcode, std::string name)
    : Command(COMMAND_SET_NVME, std::move(name)), queue(queue), opcode(opcode) {}

std::unique_ptr<Command> NvmeCommand::clone() const {
    OSTREL_TRACE();
    return std::make_unique<NvmeCommand>(*this);
}

void NvmeCommand::toString(std::ostream& out) const {
    OSTREL_TRACE();
    out << "NVMe " << (queue == Queue::ADMIN ? "admin" : "I/O") << " command: " << getName()
        << "\nOpcode: " << hexText(opcode, 2);
    for (const DwordRow& row : DWORDS) out << '\n' << row.name << ": " << hexText(this->*row.field, 8);
}

std::unique_ptr<xml::XmlObject> NvmeCommand::toXml() const {
    OSTREL_TRACE();
    auto object = std::make_unique<xml::XmlObject>();
    object->attributes[xml::KEY_CATEGORY] = xml::CATEGORY_COMMAND;
    object->attributes[xml::KEY_NAME] = getName();
    object->addProperty("Opcode", hexText(opcode, 2));
    for (const DwordRow& row : DWORDS) object->addProperty(row.name, hexText(this->*row.field, 8));
    return object;
}

}  // namespace features::nvme
