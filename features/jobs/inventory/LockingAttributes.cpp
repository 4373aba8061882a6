#include "features/jobs/inventory/LockingAttributes.h"

#include "ostrel/core/AttributeVocabulary.h"

namespace features::jobs {

using namespace ostrel::core;

Attribute tcgFeatureNames() {
    return Attribute("TCGFeatures", "TCG Features", typeString());
}

Attribute tcgLockingEnabled() {
    return Attribute("TCGLockingEnabled", "TCG Locking Enabled", typeBoolean());
}

Attribute tcgLocked() {
    return Attribute("TCGLocked", "TCG Locked", typeBoolean());
}

Attribute tcgMbrShadowed() {
    return Attribute("TCGMBRShadowed", "TCG MBR Shadowed", typeBoolean());
}

}  // namespace features::jobs
