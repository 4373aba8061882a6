#include "features/jobs/FieldAttributes.h"

#include <cctype>

#include "features/nvme/FieldTable.h"
#include "ostrel/core/ScopeTrace.h"

namespace features::jobs {

using namespace ostrel::core;

Attribute attributeOf(const nvme::Field& field, const std::string& name) {
    OSTREL_TRACE();
    const size_t bracket = field.description.find(" (");
    Attribute attribute(name, field.description.substr(0, bracket), typeString(), field.value);
    if (bracket != std::string::npos && field.value != nvme::NOT_REPORTED)
        attribute.setDescription(field.description.substr(bracket + 2, field.description.size() - bracket - 3));
    return attribute;
}

std::string nameOutOfWords(const nvme::Field& field) {
    OSTREL_TRACE();
    std::string name;
    for (const char c : field.description.substr(0, field.description.find(" ("))) {
        if (std::isalnum(static_cast<unsigned char>(c)) != 0) name += c;
    }
    return name;
}

}  // namespace features::jobs
