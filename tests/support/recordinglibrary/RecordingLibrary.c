/* A feature library without drives. It writes down each call with every argument, and answers from files. All files
 * lie beside the library and begin with its name:
 *
 *     .calls           one line for each call, written as it comes
 *     .answerN         the answer to the Nth request of a process; .answer serves where there is none
 *     .instructions    how to behave, one "key value" a line; see the variables below. Without it: well
 */
#define _GNU_SOURCE
#include <ctype.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <inttypes.h>
#include <limits.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include "ostrel/interfaces/ostreli/interface/FeatureLibrary.h"

/* Exceptions.cpp */
void throwException(const char* what);
void throwNumber(void);
void onStaticObject(void);

#define EXPORT __attribute__((visibility("default")))

#define CONFIGURATION "/opt/velko/nimbrel/nimbrel_config.xml"
#define ANSWER_SIZE (UINT64_MAX - 1) /* as a size: that of the answer */

static uint64_t version = FEATURE_LIBRARY_VERSION;
static uint64_t loggerCode = FEATURE_LIBRARY_SUCCESS;
static uint64_t loggerLines; /* that each call writes to the debug log, from EnableLogger on */
static uint64_t firstCode = FEATURE_LIBRARY_INVALID_BUFFER_SIZE;
static uint64_t firstSize = ANSWER_SIZE; /* what the first ReceiveXMLMessage reports */
static uint64_t secondCode = FEATURE_LIBRARY_SUCCESS;
static uint64_t secondSize = ANSWER_SIZE;
static uint64_t sleepMs;              /* how long SendXMLMessage takes */
static char crashIn[64];              /* the function that ends in a segmentation fault */
static char throwIn[64];              /* the function that throws a C++ exception, "what" with the function's name */
static char throwOtherIn[64];         /* the same with something that is no std::exception */
static char emptyConfigurationIn[64]; /* the function that empties the tool's configuration file */
static char shareConfigurationIn[64]; /* the function that opens that file to all users */

static const struct {
    const char* key;
    uint64_t* number;
} INSTRUCTIONS[] = {
    {"version", &version},     {"loggerCode", &loggerCode}, {"loggerLines", &loggerLines}, {"firstCode", &firstCode},
    {"firstSize", &firstSize}, {"secondCode", &secondCode}, {"secondSize", &secondSize},   {"sleepMs", &sleepMs},
};

static char logPath[PATH_MAX];
static unsigned requests;

static FILE* openBeside(const char* suffix, const char* mode) {
    Dl_info self;
    char path[PATH_MAX];
    if (dladdr(INSTRUCTIONS, &self) == 0) abort();
    snprintf(path, sizeof path, "%s%s", self.dli_fname, suffix);
    return fopen(path, mode);
}

static void setNumber(const char* key, uint64_t number) {
    for (size_t i = 0; i < sizeof INSTRUCTIONS / sizeof *INSTRUCTIONS; ++i) {
        if (strcmp(INSTRUCTIONS[i].key, key) != 0) continue;
        *INSTRUCTIONS[i].number = number;
        return;
    }
    abort(); /* a test with a spelling mistake */
}

static void readInstructions(void) {
    FILE* const file = openBeside(".instructions", "r");
    char key[64];
    char value[64];
    if (file == NULL) return;
    while (fscanf(file, "%63s %63s", key, value) == 2) {
        if (strcmp(key, "crashIn") == 0)
            memcpy(crashIn, value, sizeof value);
        else if (strcmp(key, "throwIn") == 0)
            memcpy(throwIn, value, sizeof value);
        else if (strcmp(key, "throwOtherIn") == 0)
            memcpy(throwOtherIn, value, sizeof value);
        else if (strcmp(key, "shareConfigurationIn") == 0)
            memcpy(shareConfigurationIn, value, sizeof value);
        else if (strcmp(key, "emptyConfigurationIn") == 0)
            memcpy(emptyConfigurationIn, value, sizeof value);
        else
            setNumber(key, strtoull(value, NULL, 10));
    }
    fclose(file);
}

static void logLines(const char* function) {
    if (logPath[0] == '\0') return;
    const int file = open(logPath, O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW, 0644);
    for (uint64_t i = 1; i <= loggerLines; ++i) {
        char line[128];
        const int length = snprintf(line, sizeof line, "library: %s %" PRIu64 "\n", function, i);
        if (write(file, line, (size_t)length) != length) abort();
    }
    close(file);
}

/* Opened and closed for each line: what was called before a crash is on the disk. */
static void record(const char* function, const char* arguments) {
    FILE* const file = openBeside(".calls", "a");
    if (file == NULL) abort();
    fprintf(file, "%s(%s)\n", function, arguments);
    fclose(file);
    if (strcmp(crashIn, function) == 0) raise(SIGSEGV);
    if (strcmp(emptyConfigurationIn, function) == 0 && truncate(CONFIGURATION, 0) != 0) abort();
    if (strcmp(shareConfigurationIn, function) == 0 && chmod(CONFIGURATION, 0666) != 0) abort();
    logLines(function);
}

/* Last in a function: nothing here is freed by unwinding. */
static void throwIfRequested(const char* function) {
    if (strcmp(throwIn, function) == 0) throwException(function);
    if (strcmp(throwOtherIn, function) == 0) throwNumber();
}

/* While the library is loaded. */
void onStaticObject(void) {
    readInstructions();
    throwIfRequested("dlopen");
}

/* "text", with everything unprintable as \xNN. */
static char* quoted(const char* text, size_t length) {
    char* const result = malloc(length * 4 + 3);
    char* out = result;
    if (result == NULL) abort();
    *out++ = '"';
    for (size_t i = 0; i < length; ++i) {
        const unsigned char byte = (unsigned char)text[i];
        if (isprint(byte) && byte != '"' && byte != '\\')
            *out++ = (char)byte;
        else
            out += sprintf(out, "\\x%02X", byte);
    }
    *out++ = '"';
    *out = '\0';
    return result;
}

static void recordText(const char* function, const char* text, uint64_t length, const char* more) {
    char* const shown = quoted(text, (size_t)length);
    char* arguments = NULL;
    if (asprintf(&arguments, "%s, %" PRIu64 "%s", shown, length, more) < 0) abort();
    record(function, arguments);
    free(arguments);
    free(shown);
}

/* A request and its answer, from SendXMLMessage to Unload. */
static struct request {
    unsigned number;
    unsigned receives;
    char* answer;
    size_t size;
} store[64];

static void loadAnswer(struct request* request) {
    char suffix[32];
    snprintf(suffix, sizeof suffix, ".answer%u", request->number);
    FILE* file = openBeside(suffix, "r");
    if (file == NULL) file = openBeside(".answer", "r");
    if (file == NULL) return;
    fseek(file, 0, SEEK_END);
    request->size = (size_t)ftell(file);
    rewind(file);
    request->answer = malloc(request->size + 1);
    if (request->answer == NULL || fread(request->answer, 1, request->size, file) != request->size) abort();
    fclose(file);
}

EXPORT int32_t GetVer(void) {
    readInstructions();
    record("GetVer", "");
    throwIfRequested("GetVer");
    return (int32_t)version;
}

EXPORT void RegisterDeviceManager(void* deviceManager) {
    record("RegisterDeviceManager", deviceManager == NULL ? "null" : "not null");
    throwIfRequested("RegisterDeviceManager");
}

EXPORT void Load(int64_t mode) {
    char arguments[32];
    snprintf(arguments, sizeof arguments, "%" PRId64, mode);
    record("Load", arguments);
    throwIfRequested("Load");
}

EXPORT void SendXMLMessage(const char* text, uint64_t length, void** handle) {
    recordText("SendXMLMessage", text, length, *handle == NULL ? ", null" : ", not null");
    const struct timespec pause = {(time_t)(sleepMs / 1000), (long)(sleepMs % 1000 * 1000000)};
    nanosleep(&pause, NULL);
    if (requests == sizeof store / sizeof *store) abort();
    struct request* const request = &store[requests];
    request->number = ++requests;
    loadAnswer(request);
    *handle = request;
    throwIfRequested("SendXMLMessage");
}

EXPORT int32_t ReceiveXMLMessage(void* handle, void* buffer, uint64_t* size) {
    struct request* const request = handle;
    const int isFirst = request->receives++ == 0;
    const uint64_t reported = isFirst ? firstSize : secondSize;
    char arguments[96];
    snprintf(arguments, sizeof arguments, "request %u, %s, %" PRIu64, request->number,
             buffer == NULL                  ? "null"
             : (uintptr_t)buffer % 4096 == 0 ? "page"
                                             : "not aligned",
             *size);
    record("ReceiveXMLMessage", arguments);
    /* Never more than there is room for, whatever the instructions say. */
    if (buffer != NULL && request->answer != NULL)
        memcpy(buffer, request->answer, *size < request->size ? (size_t)*size : request->size);
    *size = reported == ANSWER_SIZE ? request->size : reported;
    throwIfRequested("ReceiveXMLMessage");
    return (int32_t)(isFirst ? firstCode : secondCode);
}

EXPORT int32_t EnableLogger(const char* path, uint64_t length, int64_t reserved, int64_t off) {
    char more[64];
    snprintf(more, sizeof more, ", %" PRId64 ", %" PRId64, reserved, off);
    if (length >= sizeof logPath) abort();
    memcpy(logPath, path, (size_t)length);
    logPath[length] = '\0';
    recordText("EnableLogger", path, length, more);
    throwIfRequested("EnableLogger");
    return (int32_t)loggerCode;
}

EXPORT void SetLSIPath(const char* path, uint64_t length) {
    recordText("SetLSIPath", path, length, "");
    throwIfRequested("SetLSIPath");
}

EXPORT void Unload(void) {
    record("Unload", "");
    for (unsigned i = 0; i < requests; ++i) free(store[i].answer);
    throwIfRequested("Unload");
}
