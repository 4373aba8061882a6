#pragma once

#include <tl/expected.hpp>

#include <cassert>
#include <type_traits>
#include <utility>

#include "ostrel/core/Status.h"

namespace features {

/// What a function returns: its result, or the error that is the reason why there is none. An error is a Status, or a
/// type that converts to one and holds more, such as nvme::CommandError.
///
/// Both convert by themselves, as in `return statuses::mallocFailed();` and `return payload;`, and so does an error of
/// one type into one of another. A status that is a success is no error: a function that has one returns its result.
/// With T = void there is no result, and `return {};` is the success.
template <typename T, typename E = ostrel::core::Status>
class [[nodiscard]] Result : public tl::expected<T, E> {
    using Base = tl::expected<T, E>;

public:
    Result() = default;

    template <typename Value, std::enable_if_t<std::is_convertible_v<Value, T>, int> = 0>
    Result(Value&& value) : Base(tl::in_place, std::forward<Value>(value)) {}

    template <typename Error,
              std::enable_if_t<!std::is_convertible_v<Error, T> && std::is_convertible_v<Error, E>, int> = 0>
    Result(Error&& error) : Base(tl::unexpect, std::forward<Error>(error)) {
        assert(failed(ostrel::core::Status(this->error())));
    }

    template <typename Error, std::enable_if_t<!std::is_same_v<Error, E> && std::is_convertible_v<Error, E>, int> = 0>
    Result(Result<T, Error>&& other)
        : Base(std::move(other).map_error([](Error&& error) -> E { return std::move(error); })) {}
};

/// Of what RETURN_IF_FAILED takes: whether it is an error, and the error itself.
inline bool isError(const ostrel::core::Status& status) {
    return failed(status);
}
template <typename T, typename E>
bool isError(const Result<T, E>& result) {
    return !result.has_value();
}
inline ostrel::core::Status errorOf(ostrel::core::Status&& status) {
    return std::move(status);
}
template <typename T, typename E>
E errorOf(Result<T, E>&& result) {
    return std::move(result).error();
}

/// A success, or the error.
template <typename T, typename E>
ostrel::core::Status statusOf(const Result<T, E>& result) {
    return result ? ostrel::core::Status() : ostrel::core::Status(result.error());
}

}  // namespace features

#define FEATURES_JOINED_(a, b) a##b
#define FEATURES_JOINED(a, b) FEATURES_JOINED_(a, b)
#define FEATURES_TRY(tried, declaration, ...)    \
    auto tried = (__VA_ARGS__);                  \
    if (!tried) return std::move(tried).error(); \
    declaration = *std::move(tried)

/// `TRY(const Payload log, readSmartLog(drive));` declares `log` as the result of a Result, or returns its error to
/// the caller, which returns a Status or a Result. Two statements: not for the branch of an `if` without braces.
#define TRY(declaration, ...) FEATURES_TRY(FEATURES_JOINED(tried, __LINE__), declaration, __VA_ARGS__)

/// The same for what has no result, or one that is not needed: a Status or a Result that is an error is returned.
#define RETURN_IF_FAILED(...)                                                                   \
    do {                                                                                        \
        auto triedOutcome = (__VA_ARGS__);                                                      \
        if (features::isError(triedOutcome)) return features::errorOf(std::move(triedOutcome)); \
    } while (false)
