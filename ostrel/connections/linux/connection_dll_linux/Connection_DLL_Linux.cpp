#include "ostrel/connections/linux/connection_dll_linux/Connection_DLL_Linux.h"

#include <dlfcn.h>

#include <cerrno>
#include <utility>

#include "ostrel/core/ScopeTrace.h"
#include "ostrel/core/StatusCatalogue.h"

namespace ostrel::connections::dll {

using core::logMessage;
using core::LOGSEVERITY_DEBUG;
using core::LOGSEVERITY_ERROR;
using core::Status;

namespace {

Status systemError(int error) {
    OSTREL_TRACE();
    return Status(core::CATEGORY_OS, static_cast<uint32_t>(error), "System error.");
}

// dlerror() answers null when it has nothing to say.
const char* dlErrorText() {
    const char* const text = dlerror();
    return text != nullptr ? text : "";
}

}  // namespace

Connection::Connection(std::string libraryPath) : common::dll::Connection(std::move(libraryPath)) {}

Connection::~Connection() {
    OSTREL_TRACE();
    if (handle_ != nullptr) dlclose(handle_);
}

Status Connection::open(core::Device*) {
    OSTREL_TRACE();
    if (handle_ != nullptr) {
        logMessage(LOGSEVERITY_DEBUG, "Connection already opened for ", name);
        return Status();
    }
    loadError_.clear();
    errno = 0;  // dlopen() need not set it; a left-over would name a wrong reason
    handle_ = dlopen(name.c_str(), keepLoaded_ ? RTLD_LAZY | RTLD_NODELETE : RTLD_LAZY);
    const int error = errno;
    if (handle_ == nullptr) {
        loadError_ = dlErrorText();
        logMessage(LOGSEVERITY_ERROR, "Unable to load ", name, ". System error: ", loadError_);
        return systemError(error);
    }
    logMessage(LOGSEVERITY_DEBUG, "Opened connection to ", name);
    return Status();
}

Status Connection::close() {
    OSTREL_TRACE();
    if (handle_ == nullptr) return Status();
    errno = 0;  // as for dlopen()
    const int result = dlclose(std::exchange(handle_, nullptr));
    const int error = errno;
    return result != 0 ? systemError(error) : Status();
}

bool Connection::isOpen() {
    OSTREL_TRACE();
    if (handle_ == nullptr) logMessage(LOGSEVERITY_DEBUG, "Handle is NULL. Connection must be closed.");
    return handle_ != nullptr;
}

std::unique_ptr<core::Connection> Connection::clone() const {
    OSTREL_TRACE();
    auto copy = std::make_unique<Connection>(name);
    *copy = *this;
    return copy;
}

Status Connection::loadFunction(const std::string& functionName, void*& address) {
    OSTREL_TRACE();
    // A null handle would mean the whole process to dlsym().
    address = handle_ != nullptr ? dlsym(handle_, functionName.c_str()) : nullptr;
    if (address != nullptr) return Status();
    logMessage(LOGSEVERITY_ERROR, "Failed to load ", functionName, ". OS error: ", dlErrorText());
    return core::statuses::functionLoadFailed();
}

// NOLINTNEXTLINE(bugprone-unhandled-self-assignment): nothing is released, so it does no harm
Connection& Connection::operator=(const Connection& other) {
    OSTREL_TRACE();
    common::dll::Connection::operator=(other);
    keepLoaded_ = other.keepLoaded_;
    return *this;
}

}  // namespace ostrel::connections::dll
