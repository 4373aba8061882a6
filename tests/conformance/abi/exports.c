/* The functions of the published interface, empty: what is recorded of them are their types. */
#include <FeatureLibrary.h>

int32_t GetVer(void) {
    return 0;
}
void RegisterDeviceManager(void* deviceManager) {
    (void)deviceManager;
}
void Load(int64_t mode) {
    (void)mode;
}
void SendXMLMessage(const char* text, uint64_t length, void** handle) {
    (void)text, (void)length, (void)handle;
}
int32_t ReceiveXMLMessage(void* handle, void* buffer, uint64_t* size) {
    (void)handle, (void)buffer, (void)size;
    return 0;
}
int32_t EnableLogger(const char* path, uint64_t length, int64_t reserved, int64_t off) {
    (void)path, (void)length, (void)reserved, (void)off;
    return 0;
}
void SetLSIPath(const char* path, uint64_t length) {
    (void)path, (void)length;
}
void Unload(void) {}
