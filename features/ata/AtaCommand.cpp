#include "features/ata/AtaCommand.h"

#include <array>
#include <cstdint>
#include <utility>

#include "features/nvme/FieldTree.h"
#include "ostrel/core/TextOutput.h"
#include "ostrel/core/xml/XmlConstants.h"
#include "ostrel/core/xml/XmlObject.h"

namespace features::ata {

using namespace ostrel::core;
using nvme::hexText;

namespace {

constexpr uint8_t DEVICE_LBA_BITS = 0x0F;

struct RegisterText {
    const char* name;
    std::string text;
};

std::array<RegisterText, 5> registerTexts(const AtaCommand& command) {
    const bool wide = command.addressing == Addressing::BITS_48;
    return {{{"Command", hexText(command.opcode, 2)},
             {"FEATURE", hexText(command.feature, wide ? 4 : 2)},
             {"COUNT", hexText(command.count, wide ? 4 : 2)},
             {"LBA", hexText(command.lba, wide ? 12 : 7)},
             {"DEVICE", hexText(command.device, 2)}}};
}

}  // namespace

AtaCommand::AtaCommand(uint8_t opcode, Protocol protocol, Addressing addressing, std::string name)
    : Command(COMMAND_SET_ATA, std::move(name)), opcode(opcode), protocol(protocol), addressing(addressing) {}

AtaCommand::AtaCommand(const CommandRow& row) : AtaCommand(row.opcode, row.protocol, row.addressing, row.name) {
    if (row.subcommand != ANY_FEATURE) feature = static_cast<uint16_t>(row.subcommand);
    lba = row.lba;
    timeoutMs = row.timeoutMs;
}

std::unique_ptr<Command> AtaCommand::clone() const {
    return std::make_unique<AtaCommand>(*this);
}

bool AtaCommand::changesDrive() const {
    const CommandRow* const row = findCommand(opcode, feature);
    if (row == nullptr || row->effect != Effect::READS) return true;
    // FEATURE of a log: log 24h is captured, the counters of log 11h are reset. COUNT: a failed sanitize is forgotten.
    const bool hasParameter = row->subcommand == ANY_FEATURE && feature != 0;
    const bool clearsFailure = opcode == commands::sanitizeStatusExt.opcode && count != 0;
    // LBA 23:8: what a drive has answered to a session is gone when it was read.
    const bool isOfSession = opcode == commands::level0Discovery.opcode && lba >> 8 != row->lba >> 8;
    return hasParameter || clearsFailure || isOfSession;
}

bool AtaCommand::isEncodable() const {
    if ((device & DEVICE_LBA_BITS) != 0) return false;
    if (addressing == Addressing::BITS_48) return lba >> 48 == 0;
    return feature <= UINT8_MAX && count <= UINT8_MAX && lba >> 28 == 0;
}

void AtaCommand::toString(std::ostream& out) const {
    std::string text = "ATA command: " + getName();
    for (const RegisterText& row : registerTexts(*this)) text += std::string("\n") + row.name + ": " + row.text;
    writeText(out, text);
}

std::unique_ptr<xml::XmlObject> AtaCommand::toXml() const {
    auto object = std::make_unique<xml::XmlObject>();
    object->attributes[xml::KEY_CATEGORY] = xml::CATEGORY_COMMAND;
    object->attributes[xml::KEY_NAME] = getName();
    for (const RegisterText& row : registerTexts(*this)) object->addProperty(row.name, row.text);
    return object;
}

}  // namespace features::ata
