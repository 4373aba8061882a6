#pragma once

#include <string>

#include "features/nvme/FieldTree.h"
#include "ostrel/core/Attribute.h"

namespace features::jobs {

/// A decoded field as an attribute of type "string": a unit in brackets at the end of the field's description goes
/// behind the value, the words before it are the display name.
ostrel::core::Attribute attributeOf(const nvme::Field& field, const std::string& name);

/// The words of the field's description as one: "Physical Media Units Written (bytes)" is "PhysicalMediaUnitsWritten".
/// For fields that the attribute vocabulary has no names for.
std::string nameOutOfWords(const nvme::Field& field);

}  // namespace features::jobs
