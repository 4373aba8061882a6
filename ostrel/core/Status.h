#pragma once

#include <cstdint>
#include <string>

namespace ostrel::core {

/// The numberings that a status code can belong to.
constexpr uint32_t CATEGORY_CORE = 0;      ///< the core; 0/0 is success
constexpr uint32_t CATEGORY_OS = 1;        ///< the operating system: the code is errno
constexpr uint32_t CATEGORY_FEATURE = 10;  ///< the storage feature
constexpr uint32_t CATEGORY_JOB = 11;      ///< the job interface

/// The result of an operation that can fail: which numbering (category), which condition (code), and the text for the
/// user. The text travels with the value, across the boundary to the feature library too, so nothing is looked up
/// where it is shown. The predefined ones are in StatusCatalogue.h.
///
/// Success is 0/0 and nothing else. 0/12, 0/26 and 0/42 report on a command that is still under way.
/// Threads: a plain value, without shared state.
class [[nodiscard]] Status {
public:
    /// Success: 0/0, "Completed successfully."
    Status();
    Status(uint32_t category, uint32_t code, std::string message);
    /// A status of the core: category 0.
    Status(uint32_t code, std::string message);

    uint32_t getCategory() const { return category_; }
    uint32_t getCode() const { return code_; }
    std::string getMessage() const { return message_; }

    void setCategory(uint32_t category) { category_ = category; }
    void setCode(uint32_t code) { code_ = code; }
    void setMessage(const std::string& message) { message_ = message; }
    /// Keeps the message.
    void set(uint32_t category, uint32_t code);
    void set(uint32_t category, uint32_t code, const std::string& message);

    /// The only comparison: the message takes no part, so conditions that share a number cannot be distinguished.
    bool is(uint32_t category, uint32_t code) const { return category_ == category && code_ == code; }

    /// Three lines, the last without a line end: "Category: 10", "Code: 5", "Message: No device selected."
    std::string toString() const;

private:
    uint32_t code_ = 0;
    std::string message_;
    uint32_t category_ = CATEGORY_CORE;
};

/// Whether a status is 0/0. Of the two, failed() is also true for a command that is still under way.
inline bool succeeded(const Status& status) {
    return status.is(CATEGORY_CORE, 0);
}
inline bool failed(const Status& status) {
    return !succeeded(status);
}

}  // namespace ostrel::core
