#include "features/nvme/Completion.h"

#include "features/nvme/FieldTree.h"
#include "ostrel/core/TextOutput.h"
#include "ostrel/core/xml/XmlConstants.h"
#include "ostrel/core/xml/XmlObject.h"

namespace features::nvme {

using namespace ostrel::core;

std::unique_ptr<ProtocolResult> Completion::clone() const {
    return std::make_unique<Completion>(*this);
}

void Completion::toString(std::ostream& out) const {
    writeText(out, "Status Code Type: " + hexText(status().type) + "\nStatus Code: " + hexText(status().code, 2) +
                       " (" + meaning() + ")\nDword 0: " + hexText(dword0, 8) + "\nDword 1: " + hexText(dword1, 8));
}

std::unique_ptr<xml::XmlObject> Completion::toXml() const {
    auto object = std::make_unique<xml::XmlObject>();
    object->attributes[xml::KEY_CATEGORY] = xml::CATEGORY_PROTOCOL_RESULT;
    object->addProperty("Status Code Type", hexText(status().type));
    object->addProperty("Status Code", hexText(status().code, 2));
    object->addProperty("Meaning", meaning());
    object->addProperty("Dword 0", hexText(dword0, 8));
    object->addProperty("Dword 1", hexText(dword1, 8));
    return object;
}

}  // namespace features::nvme
