#pragma once

#include <cstddef>
#include <cstdint>

#include "features/errors/Result.h"
#include "features/jobs/base/Arguments.h"
#include "ostrel/core/Attribute.h"
#include "ostrel/core/Status.h"

// What a request that changes something has to say, read before any drive is touched.

namespace features::jobs {

/// A property that a job sets: which numbers it takes, and what is said of others.
struct SettableProperty {
    ostrel::core::Attribute (*attribute)();  ///< of type boolean: 0 and 1, given as "false" and "true"
    uint32_t least;
    uint32_t most;
    ostrel::core::Status (*refusal)();  ///< of the catalogue
};

/// Whether the argument "SetGetType" is "set". It may be "get", and absent; otherwise 10/36.
Result<bool> isSetRequest(const Arguments& arguments);

/// What is written goes to exactly one drive: otherwise 10/5 or 10/6.
ostrel::core::Status checkOneDrive(size_t numberOfDrives);

/// 10/36 unless the property that is to be set is the one that can be.
ostrel::core::Status checkSettable(const ostrel::core::Attribute& given, const ostrel::core::Attribute& settable);

/// Reads the value of `property` as it was sent. Anything but a number in its range is the property's refusal with the
/// range in the message.
Result<uint32_t> readValue(const Arguments& sent, const SettableProperty& property);

}  // namespace features::jobs
