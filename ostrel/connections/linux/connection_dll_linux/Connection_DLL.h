#pragma once

#include <string>

#include "ostrel/core/Connection.h"

namespace ostrel::connections::common::dll {

/// A connection to a shared library, on any platform.
class Connection : public core::Connection {
public:
    /// The address of the function `name` of the open library. On failure 0/28, and `address` is null.
    virtual core::Status loadFunction(const std::string& name, void*& address) = 0;

    using core::Connection::operator=;
    virtual Connection& operator=(const Connection& other);

protected:
    Connection() = default;
    explicit Connection(std::string libraryPath) : core::Connection(std::move(libraryPath)) {}
    Connection(const Connection&) = default;
};

}  // namespace ostrel::connections::common::dll
