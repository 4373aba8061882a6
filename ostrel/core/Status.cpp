#include "ostrel/core/Status.h"

#include <utility>

#include "ostrel/core/ScopeTrace.h"

namespace ostrel::core {

Status::Status() : message_("Completed successfully.") {}

Status::Status(uint32_t category, uint32_t code, std::string message)
    : code_(code), message_(std::move(message)), category_(category) {}

Status::Status(uint32_t code, std::string message) : Status(CATEGORY_CORE, code, std::move(message)) {}

void Status::set(uint32_t category, uint32_t code) {
    OSTREL_TRACE();
    setCategory(category);
    setCode(code);
}

void Status::set(uint32_t category, uint32_t code, const std::string& message) {
    OSTREL_TRACE();
    set(category, code);
    setMessage(message);
}

std::string Status::toString() const {
    OSTREL_TRACE();
    return "Category: " + std::to_string(category_) + "\nCode: " + std::to_string(code_) + "\nMessage: " + message_;
}

}  // namespace ostrel::core
