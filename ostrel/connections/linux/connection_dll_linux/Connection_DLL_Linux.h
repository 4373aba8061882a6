#pragma once

#include <memory>
#include <string>

#include "ostrel/connections/linux/connection_dll_linux/Connection_DLL.h"

namespace ostrel::connections::dll {

/// A shared library opened with dlopen(3). It is closed with the object, unless close() did so before.
///
/// Threads: belongs to the thread that opened it.
class Connection : public common::dll::Connection {
public:
    /// Opens nothing yet.
    explicit Connection(std::string libraryPath);
    ~Connection() override;
    /// A copy would close the same handle a second time: clone() is a closed connection to the same library.
    Connection(const Connection&) = delete;

    /// `device` is not looked at. Opening an open connection succeeds and changes nothing.
    core::Status open(core::Device* device) override;
    /// Succeeds on a closed connection. Afterwards the connection is closed in any case.
    core::Status close() override;
    bool isOpen() override;
    std::unique_ptr<core::Connection> clone() const override;
    core::Status loadFunction(const std::string& name, void*& address) override;

    using common::dll::Connection::operator=;
    /// Takes over which library and how, not whether it is open.
    virtual Connection& operator=(const Connection& other);

    /// With true, the library's code stays in memory when the connection is closed. To be set before open().
    void setKeepLoaded(bool flag) { keepLoaded_ = flag; }

    /// Why the last open() failed, in the words of dlerror(3), which mostly begin with the path; empty after a success.
    const std::string& getLoadError() const { return loadError_; }

private:
    std::string loadError_;
    void* handle_ = nullptr;
    bool keepLoaded_ = false;
};

}  // namespace ostrel::connections::dll
