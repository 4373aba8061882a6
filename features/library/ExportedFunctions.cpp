// The boundary of the library: what FeatureLibrary.h promises, and nothing more than handing on. No exception leaves.
#include "features/library/Library.h"
#include "ostrel/interfaces/ostreli/interface/FeatureLibrary.h"

using features::library::Library;

int32_t GetVer(void) {
    return FEATURE_LIBRARY_VERSION;
}

// The tool passes null: the device manager is this library's own.
void RegisterDeviceManager(void*) {}

// Drives are looked for when a request asks for them: help and version load the library too.
void Load(int64_t) {}

void SendXMLMessage(const char* text, uint64_t length, void** handle) {
    *handle = Library::instance().send(text, length);
}

int32_t ReceiveXMLMessage(void* handle, void* buffer, uint64_t* size) {
    return Library::instance().receive(handle, buffer, size);
}

int32_t EnableLogger(const char* path, uint64_t length, int64_t, int64_t off) {
    if (off != 0) {
        Library::instance().stopLog();
        return FEATURE_LIBRARY_SUCCESS;
    }
    return Library::instance().startLog(path, length);
}

// No LSI adapter reaches an NVMe drive.
void SetLSIPath(const char*, uint64_t) {}

void Unload(void) {
    Library::unload();
}
