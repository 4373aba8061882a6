#pragma once

#include <cstdint>
#include <string>

#include "features/nvme/Drive.h"
#include "features/nvme/Features.h"
#include "ostrel/core/Status.h"

namespace features::jobs {

/// A field of a feature that is set. All pointers are to rows of the feature tables.
struct SettableField {
    const nvme::FeatureRow* feature;
    const nvme::FieldRow* written;  ///< in dword 11 of Set Features
    const nvme::FieldRow* read;     ///< in dword 0 of Get Features; OCP's features have the field elsewhere there
    uint32_t kept;                  ///< bits of dword 0 that are written back beside the field; the others become 0
    uint8_t uuidIndex = 0;          ///< whose a vendor specific feature is
};

/// `kept` of a feature whose other fields stay as they are.
inline constexpr uint32_t ALL_BITS = 0xFFFFFFFF;

/// A field of the standard's features or of the maker's, whose dword 11 is laid out as dword 0.
SettableField settableField(const nvme::FeatureField& field, uint32_t kept = ALL_BITS, uint8_t uuidIndex = 0);
/// The one field of an OCP feature that has a value; Set Features carries nothing beside it.
SettableField settableOcpField(uint8_t fid, uint8_t uuidIndex);

/// Sets one field of a feature, and reads it back.
///
/// The value is saved, so that it outlives a reset, where the controller supports Save (ONCS) and the feature is
/// saveable. Saving takes the whole dword: where another field has a current value that differs from its saved one,
/// the feature is set without saving, since the user did not ask for that one to be kept. A success has a message
/// where the value will not last: how long it holds, and why it was not saved. A drive that refuses to report what it
/// can save, or what is saved, counts as one that cannot save.
///
/// Errors: 0/14 for a value that does not fit the field; 10/3 for a feature that the drive does not support or whose
///         value cannot be changed, before anything is written; 10/164 when the drive reports another value than it
///         was given, with both in the message.
ostrel::core::Status setFeatureField(nvme::Drive& drive, const SettableField& field, uint32_t value);

/// 10/164 with both values unless the drive reports `value` in the field; for what is set in another way.
ostrel::core::Status checkReported(nvme::Drive& drive, const SettableField& field, uint32_t value);

/// How long a value holds, in a sentence; empty where it outlives a reset, and for an action, which has no value.
std::string holdText(const nvme::FeatureRow& feature, bool isSaved);

}  // namespace features::jobs
