#pragma once

#include <string>

#include "features/nvme/FieldTree.h"
#include "ostrel/core/Attribute.h"

namespace features::jobs {

/// A decoded field as an attribute of type "string", with the field's description as display name.
ostrel::core::Attribute attributeOf(const nvme::Field& field, const std::string& name);

/// The words of the field's description as one: "Physical Media Units Written" is "PhysicalMediaUnitsWritten".
/// For fields that the attribute vocabulary has no names for.
std::string nameOutOfWords(const nvme::Field& field);

}  // namespace features::jobs
