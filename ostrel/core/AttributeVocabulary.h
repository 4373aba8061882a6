#pragma once

#include "ostrel/core/Attribute.h"

/// The predefined attributes, the common language of tool and feature library: one function a row of the two tables,
/// each returning a fresh Attribute without a value. Code never spells a key, it asks for the attribute and takes its
/// name. Keys that are in both tables may differ in display name and type.
namespace ostrel::core::attributes {

/// What the core knows of a device.
namespace device {
#define ATTRIBUTE(function, key, type, displayName) Attribute function();
#include "ostrel/core/DeviceAttributes.def"
}  // namespace device

/// What requests and responses of the feature library hold.
namespace feature {
#define ATTRIBUTE(function, key, type, displayName) Attribute function();
#include "ostrel/core/FeatureAttributes.def"
}  // namespace feature

}  // namespace ostrel::core::attributes
