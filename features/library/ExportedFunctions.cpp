// The boundary of the library: what FeatureLibrary.h promises, and nothing more than handing on. No exception leaves.
// Calls come one at a time, from the tool's main thread; those of a caller that does otherwise wait for each other.
#include <mutex>
#include <type_traits>

#include "features/library/Library.h"
#include "ostrel/interfaces/ostreli/interface/FeatureLibrary.h"

using features::library::Library;

namespace {

/// Unload locks it at a time when static objects of this library may be gone already: this one is never destroyed.
std::mutex calls;
static_assert(std::is_trivially_destructible_v<std::mutex>);

/// Its access by this model has the loader put all thread-local data of this library, that of the C++ library in it
/// too, into the block that each thread has from its start. By the usual model the first use, by an exception, would
/// ask for memory, and the C library ends the process where there is none.
[[gnu::tls_model("initial-exec")]] thread_local volatile bool hasItsData = false;

}  // namespace

int32_t GetVer(void) {
    return FEATURE_LIBRARY_VERSION;
}

// The tool passes null: the device manager is this library's own.
void RegisterDeviceManager(void*) {}

// Drives are looked for when a request asks for them: help and version load the library too.
void Load(int64_t) {
    hasItsData = true;
}

void SendXMLMessage(const char* text, uint64_t length, void** handle) {
    const std::lock_guard<std::mutex> lock(calls);
    *handle = Library::instance().send(text, length);
}

int32_t ReceiveXMLMessage(void* handle, void* buffer, uint64_t* size) {
    const std::lock_guard<std::mutex> lock(calls);
    return Library::instance().receive(handle, buffer, size);
}

int32_t EnableLogger(const char* path, uint64_t length, int64_t, int64_t off) {
    const std::lock_guard<std::mutex> lock(calls);
    if (off != 0) {
        Library::instance().stopLog();
        return FEATURE_LIBRARY_SUCCESS;
    }
    return Library::instance().startLog(path, length);
}

// No LSI adapter reaches an NVMe drive.
void SetLSIPath(const char*, uint64_t) {}

void Unload(void) {
    const std::lock_guard<std::mutex> lock(calls);
    Library::unload();
}
