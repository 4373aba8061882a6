#pragma once

#include <dlfcn.h>

#include <memory>

namespace ostrel::core {

/// A shared library that is loaded when it is needed: a start without it does not wait for it, and a system without it
/// has the rest.
///
/// Errors:  one that cannot be loaded has no functions.
/// Threads: one at a time per object; the functions are the library's affair.
class LoadedLibrary {
public:
    /// By name, as the dynamic linker looks for it. `flags` of dlopen(3) are added to RTLD_NOW and RTLD_LOCAL.
    explicit LoadedLibrary(const char* name, int flags = 0) : handle_(::dlopen(name, RTLD_NOW | RTLD_LOCAL | flags)) {}

    /// Whether the library has the function.
    template <typename Function>
    bool load(Function& function, const char* name) const {
        if (!handle_) return false;  // a null handle is that of the whole process
        function = reinterpret_cast<Function>(::dlsym(handle_.get(), name));
        return function != nullptr;
    }

private:
    struct Close {
        void operator()(void* handle) const { (void)::dlclose(handle); }  // nothing depends on it
    };
    std::unique_ptr<void, Close> handle_;
};

}  // namespace ostrel::core
