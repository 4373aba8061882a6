#include "ostrel/core/AttributeVocabulary.h"

#include "ostrel/core/ScopeTrace.h"

namespace ostrel::core::attributes {
namespace {

// Out of line, with the trace of the function too, so that some six hundred functions do not build three strings and
// trace themselves: each is a jump to here.
Attribute make(const char* key, const char* type, const char* displayName) {
    OSTREL_TRACE();
    return Attribute(key, displayName, type);
}

}  // namespace

// As many arguments as there are registers for.
#define DEFINE_ATTRIBUTE(function, key, type, displayName)               \
    Attribute function() {                                               \
        return makeTraced(__func__, __LINE__, key, type(), displayName); \
    }

#define DEFINE_MAKE_TRACED(file)                                                                        \
    static Attribute makeTraced(const char* function, unsigned line, const char* key, const char* type, \
                                const char* displayName) {                                              \
        const ScopeTrace trace(file, function, line);                                                   \
        return make(key, type, displayName);                                                            \
    }

namespace device {
DEFINE_MAKE_TRACED("DeviceAttributes.def")
#define ATTRIBUTE DEFINE_ATTRIBUTE
#include "ostrel/core/DeviceAttributes.def"
}  // namespace device

namespace feature {
DEFINE_MAKE_TRACED("FeatureAttributes.def")
#define ATTRIBUTE DEFINE_ATTRIBUTE
#include "ostrel/core/FeatureAttributes.def"
}  // namespace feature

}  // namespace ostrel::core::attributes
