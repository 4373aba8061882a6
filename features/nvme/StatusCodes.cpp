#include "features/nvme/StatusCodes.h"

namespace features::nvme {

namespace {

constexpr struct {
    StatusCode status;
    const char* text;
} STATUS_CODES[] = {
#define STATUS_CODE(type, code, name, text) {name, text},
#define FABRICS_STATUS_CODE(type, code, name, text) {name, text},  // after the codes of the NVM command set
#include "features/nvme/StatusCodes.def"
#undef STATUS_CODE
#undef FABRICS_STATUS_CODE
};

/// Codes of C0h and above belong to the maker in every type that has codes of its own, and so does the whole type 7.
bool isVendorSpecific(StatusCode status) {
    return status.type == SCT_VENDOR || (status.code >= 0xC0 && status.type <= SCT_PATH);
}

}  // namespace

std::string statusCodeText(StatusCode status) {
    for (const auto& row : STATUS_CODES) {
        if (row.status == status) return row.text;
    }
    return isVendorSpecific(status) ? "Vendor Specific" : "Reserved";
}

}  // namespace features::nvme
