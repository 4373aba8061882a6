#include "ostrel/core/AttributeVocabulary.h"

#include "ostrel/core/ScopeTrace.h"

namespace ostrel::core::attributes {
namespace {

// Out of line, so that some six hundred functions do not build three strings each.
Attribute make(const char* key, const char* type, const char* displayName) {
    OSTREL_TRACE();
    return Attribute(key, displayName, type);
}

}  // namespace

#define DEFINE_ATTRIBUTE(function, key, type, displayName) \
    Attribute function() {                                 \
        OSTREL_TRACE();                                    \
        return make(key, type(), displayName);             \
    }

namespace device {
#define ATTRIBUTE DEFINE_ATTRIBUTE
#include "ostrel/core/DeviceAttributes.def"
}  // namespace device

namespace feature {
#define ATTRIBUTE DEFINE_ATTRIBUTE
#include "ostrel/core/FeatureAttributes.def"
}  // namespace feature

}  // namespace ostrel::core::attributes
