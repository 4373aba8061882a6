#include "features/jobs/health/FieldAttributes.h"

#include <cctype>

namespace features::jobs {

using namespace ostrel::core;

Attribute attributeOf(const nvme::Field& field, const std::string& name) {
    return Attribute(name, field.description, typeString(), field.value);
}

std::string nameOutOfWords(const nvme::Field& field) {
    std::string name;
    for (const char c : field.description) {
        if (std::isalnum(static_cast<unsigned char>(c)) != 0) name += c;
    }
    return name;
}

}  // namespace features::jobs
