#pragma once

#include "ostrel/core/Status.h"

/// The predefined statuses, one function a row of StatusCatalogue.def, each returning a fresh Status. Numbers and texts
/// are part of the interface with the feature library: they are never reused or reworded.
namespace ostrel::core::statuses {

#define STATUS(name, category, code, text) Status name();
#include "ostrel/core/StatusCatalogue.def"

}  // namespace ostrel::core::statuses
