#include "features/nvme/StatusCodes.h"

namespace features::nvme {

namespace {

constexpr struct {
    uint8_t type;
    uint8_t code;
    const char* text;
} STATUS_CODES[] = {
#define STATUS_CODE(type, code, text) {type, code, text},
#include "features/nvme/StatusCodes.def"
#undef STATUS_CODE
};

/// Codes of C0h and above belong to the maker in every type that has codes of its own, and so does the whole type 7.
bool isVendorSpecific(uint8_t type, uint8_t code) {
    return type == SCT_VENDOR || (code >= 0xC0 && type <= SCT_PATH);
}

}  // namespace

std::string statusCodeText(uint8_t statusCodeType, uint8_t statusCode) {
    for (const auto& row : STATUS_CODES) {
        if (row.type == statusCodeType && row.code == statusCode) return row.text;
    }
    return isVendorSpecific(statusCodeType, statusCode) ? "Vendor Specific" : "Reserved";
}

}  // namespace features::nvme
