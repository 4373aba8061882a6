#pragma once

#include <cstdint>
#include <string>

#include "features/nvme/Features.h"

namespace features::nvme {

/// The maker's features, as docs/vendor-interface.md publishes them. Only a VELKO drive has them, and those from C0h to
/// CAh on a drive with OCP features by the UUID Index of the maker alone.
const FeatureRow* findVelkoFeature(uint8_t fid);
/// All rows, in the order of their identifiers.
const FeatureRow* velkoFeaturesBegin();
const FeatureRow* velkoFeaturesEnd();

/// A field of dword 0 by its name in the attribute vocabulary, at the same place in Set Features' dword 11; the row is
/// null when there is none. The SMBus addresses are not among them: they are set another way than they are shown.
FeatureField findVelkoFeatureField(const std::string& key);

}  // namespace features::nvme
