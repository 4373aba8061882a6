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

}  // namespace

#define STATUS(name, category, code, text) \
    Status name() {                        \
        OSTREL_TRACE();                    \
        return make(category, code, text); \
    }
#include "ostrel/core/StatusCatalogue.def"

}  // namespace ostrel::core::statuses
