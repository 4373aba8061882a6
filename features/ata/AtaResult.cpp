#include "features/ata/AtaResult.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "features/nvme/FieldTree.h"
#include "ostrel/core/StatusCatalogue.h"
#include "ostrel/core/TextOutput.h"
#include "ostrel/core/xml/XmlConstants.h"
#include "ostrel/core/xml/XmlObject.h"

namespace features::ata {

using namespace ostrel::core;
using nvme::hexText;

namespace {

struct MissingRow {
    RegistersMissing missing;
    const char* text;
    Status (*status)();
};
constexpr MissingRow MISSING[] = {
    {RegistersMissing::NOTHING, "all registers", nullptr},
    {RegistersMissing::NOT_ASKED, "no registers were asked for", statuses::noScsiProtocolResult},
    {RegistersMissing::NO_SENSE, "no registers: no sense data", statuses::noSenseDataForAtaReturn},
    {RegistersMissing::NO_DESCRIPTOR, "no registers in the sense data", statuses::noAtaReturnDescriptor},
    {RegistersMissing::DESCRIPTOR_TOO_SHORT, "registers cut off", statuses::notEnoughSenseDataForAtaReturn},
    {RegistersMissing::UPPER_IN_LOG, "upper registers missing", statuses::ataReturnLogIndexSet},
    {RegistersMissing::UPPER_LOST, "upper registers missing", statuses::ataFullSenseDataUnavailable},
    {RegistersMissing::UNTRUSTED, "registers not certain", statuses::noAtaReturnDescriptor},
};

const MissingRow& rowOf(RegistersMissing missing) {
    return *std::find_if(std::begin(MISSING), std::end(MISSING),
                         [&](const MissingRow& row) { return row.missing == missing; });
}

struct BitRow {
    uint8_t bit;
    const char* text;
};
/// The most specific first: most failed commands set ABRT as well.
constexpr BitRow ERRORS[] = {
    {ERROR_INTERFACE_CRC, "interface CRC error"},
    {ERROR_UNCORRECTABLE, "uncorrectable data"},
    {ERROR_ID_NOT_FOUND, "address not found"},
    {ERROR_ABORT, "command aborted"},
};

std::string errorText(const Registers& registers) {
    if ((registers.status & STATUS_DEVICE_FAULT) != 0) return "device fault";
    for (const BitRow& row : ERRORS) {
        if ((registers.error & row.bit) != 0) return row.text;
    }
    return "error";
}

struct RegisterText {
    const char* name;
    std::string text;
};
std::array<RegisterText, 5> registerTexts(const Registers& registers) {
    return {{{"STATUS", hexText(registers.status, 2)},
             {"ERROR", hexText(registers.error, 2)},
             {"COUNT", hexText(registers.count, 4)},
             {"LBA", hexText(registers.lba, 12)},
             {"DEVICE", hexText(registers.device, 2)}}};
}

}  // namespace

std::unique_ptr<ProtocolResult> AtaResult::clone() const {
    return std::make_unique<AtaResult>(*this);
}

const Registers* AtaResult::whole() const {
    return missing == RegistersMissing::NOTHING && registers ? &*registers : nullptr;
}

Status AtaResult::missingStatus() const {
    const MissingRow& row = rowOf(missing);
    return row.status == nullptr ? Status() : row.status();
}

std::string AtaResult::meaning() const {
    if (succeeded) return "success";
    return registers ? errorText(*registers) : rowOf(missing).text;
}

void AtaResult::toString(std::ostream& out) const {
    std::string text = "Result: " + meaning() + "\nRegisters: " + rowOf(missing).text;
    if (registers) {
        for (const RegisterText& row : registerTexts(*registers))
            text += std::string("\n") + row.name + ": " + row.text;
    }
    writeText(out, text);
}

std::unique_ptr<xml::XmlObject> AtaResult::toXml() const {
    auto object = std::make_unique<xml::XmlObject>();
    object->attributes[xml::KEY_CATEGORY] = xml::CATEGORY_PROTOCOL_RESULT;
    object->addProperty("Result", meaning());
    object->addProperty("Registers", rowOf(missing).text);
    if (!registers) return object;
    for (const RegisterText& row : registerTexts(*registers)) object->addProperty(row.name, row.text);
    return object;
}

}  // namespace features::ata
