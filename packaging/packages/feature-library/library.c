/* A feature library of nimbrel, as small as one can be: it lists one drive, and says of every other command that it
 * does not support it. The header says what each function must do; a real library reads the request's XML with a parser
 * and asks its drives. */
#include <FeatureLibrary.h>
#include <stdlib.h>
#include <string.h>

#define EXPORT __attribute__((visibility("default")))

// clang-format off
#define STATUS(code, message)                                                             \
    "<Object category=\"status\"><Property name=\"Category\" value=\"10\"/>"              \
    "<Property name=\"Code\" value=\"" code "\"/><Property name=\"Message\" value=\"" message "\"/></Object>"
#define ATTRIBUTE(name, type, value) \
    "<Property category=\"attribute\" name=\"" name "\" type=\"" type "\" value=\"" value "\"/>"

static const char DRIVES[] =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?><Object name=\"VelkoSSD\">"
    STATUS("0", "Completed successfully.")
    "<Object category=\"Output\"><Object category=\"attributeList\" key=\"Velko SSD Index 0\">"
    ATTRIBUTE("Index", "sint32", "0")
    ATTRIBUTE("SerialNumber", "string", "EXAMPLE1")
    "</Object></Object></Object>";
static const char UNSUPPORTED[] =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?><Object name=\"Unsupported\">"
    STATUS("34", "Feature is not supported.")
    "</Object>";
// clang-format on

EXPORT int32_t GetVer(void) {
    return FEATURE_LIBRARY_VERSION;
}

EXPORT void RegisterDeviceManager(void* deviceManager) {
    (void)deviceManager;
}

EXPORT void Load(int64_t mode) {
    (void)mode;
}

/* The handle is the answer itself. The text has no zero byte at its end. */
EXPORT void SendXMLMessage(const char* text, uint64_t length, void** handle) {
    char* const request = length < SIZE_MAX ? malloc((size_t)length + 1) : NULL;
    *handle = (void*)UNSUPPORTED;
    if (request == NULL) return;
    memcpy(request, text, (size_t)length);
    request[length] = '\0';
    if (strstr(request, "<Object name=\"VelkoSSD\" type=\"GetProperties\"") != NULL) *handle = (void*)DRIVES;
    free(request);
}

EXPORT int32_t ReceiveXMLMessage(void* handle, void* buffer, uint64_t* size) {
    const size_t length = strlen(handle);
    if (buffer == NULL || *size < length) {
        *size = length;
        return FEATURE_LIBRARY_INVALID_BUFFER_SIZE;
    }
    memcpy(buffer, handle, length);
    *size = length;
    return FEATURE_LIBRARY_SUCCESS;
}
