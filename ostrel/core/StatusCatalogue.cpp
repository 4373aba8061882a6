#include "ostrel/core/StatusCatalogue.h"

#include "ostrel/core/ScopeTrace.h"

namespace ostrel::core::statuses {
namespace {

Status make(uint32_t category, uint32_t code, const char* text) {
    OSTREL_TRACE();
    if (category == CATEGORY_CORE) return Status(code, text);
    Status status;
    status.setCategory(category);
    status.setCode(code);
    status.setMessage(text);
    return status;
}

// With the trace of the function, so that each of some three hundred is a jump to here.
Status makeTraced(const char* function, unsigned line, uint32_t category, uint32_t code, const char* text) {
    const ScopeTrace trace("StatusCatalogue.def", function, line);
    return make(category, code, text);
}

}  // namespace

#define STATUS(name, category, code, text)                           \
    Status name() {                                                  \
        return makeTraced(__func__, __LINE__, category, code, text); \
    }
#include "ostrel/core/StatusCatalogue.def"

}  // namespace ostrel::core::statuses
