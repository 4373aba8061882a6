#pragma once

/* The boundary between the tool and a feature library, for authors of one. C11 and C++17.
 *
 * A feature library is a shared object named FEATURE_LIBRARY_FILE_NAME. The tool loads the first one that it finds at
 * the configured path, beside its own executable, or in FEATURE_LIBRARY_FOLDER, and resolves the functions below by
 * name. It does so on every run, whatever the command; a run is one process with one command. The tool runs as root: a
 * file that a user other than root, the running user or the owner of the tool's executable can change, itself or by a
 * folder above it, is passed over.
 *
 * Order of the calls. Everything comes from the tool's main thread, one call at a time:
 *
 *     GetVer                                            any other answer than FEATURE_LIBRARY_VERSION: closed at once
 *     RegisterDeviceManager, Load                       once each; not called when a required function is missing
 *     EnableLogger(path, length, 0, 0)                  if the user wants a debug log
 *     SetLSIPath                                        if the user enabled the adapter support, also when the log
 *                                                       was refused
 *     { SendXMLMessage, ReceiveXMLMessage twice }       for each request of the command; most runs send none
 *     EnableLogger("", 0, 0, 1)                         before some long requests, if the user wants no debug log
 *     Unload                                            once, at exit, if Load was called; then the library is closed
 *
 * What holds in every call:
 *
 *   - Texts are UTF-8 or plain bytes with a length in bytes. Do not rely on a terminating zero byte. They belong to
 *     the tool and are gone after the call.
 *   - No call may end the process, throw, or leave by longjmp. The tool cannot guard itself against the first and the
 *     last; an exception ends the command, or the loading, as a failure.
 *   - The library may run threads of its own, between calls too. They must have ended when Unload returns: the code is
 *     unmapped then. Threads may not write to the tool's memory after the call that lent it.
 *   - Standard input and output belong to the tool: nothing is printed there. The library leaves signal handlers,
 *     locale, working directory, umask and environment as they are.
 *   - Standard error takes the progress of long operations when the caller asks for it by the environment variable
 *     FEATURE_LIBRARY_PROGRESS_VARIABLE, set to FEATURE_LIBRARY_PROGRESS_ON_STDERR. Then, and only if descriptor 2 is
 *     a terminal, the library shows percent, elapsed time and the drive's own estimate on one line, which it takes
 *     away before the call returns. The tool sets the variable before it loads the library, unless it is set: a user
 *     who wants no progress sets it to another text. What the user must see before a drive is changed, such as a
 *     password that it gets, is a line there as well, whatever descriptor 2 is. Without the variable nothing is
 *     written.
 *   - The library exports these functions and nothing else. A library that is built on the core of this project hides
 *     the core's symbols too, that of Device's destructor included, which the core by itself leaves visible: the two
 *     copies of the core in one process must not mix.
 */

#ifdef __cplusplus
#include <cstdint>
extern "C" {
#else
#include <stdint.h>
#endif

#define FEATURE_LIBRARY_FILE_NAME "Velko.SSDFeatures.so.3.0.0"
#define FEATURE_LIBRARY_FOLDER "/opt/velko/nimbrel/"

#define FEATURE_LIBRARY_PROGRESS_VARIABLE "NIMBREL_PROGRESS"
#define FEATURE_LIBRARY_PROGRESS_ON_STDERR "stderr"

enum {
    FEATURE_LIBRARY_VERSION = 30000400, /* what GetVer returns */

    FEATURE_LIBRARY_SUCCESS = 0,
    FEATURE_LIBRARY_INVALID_INPUT = 6,      /* EnableLogger: the path is no place for a log; status 11/6 */
    FEATURE_LIBRARY_INVALID_BUFFER_SIZE = 8 /* ReceiveXMLMessage: the buffer is too small; status 11/8 */
};

/* Required. The version of this interface that the library keeps to. May be the only call that ever comes. */
int32_t GetVer(void);

/* Required. `deviceManager` is null: the library makes its own. */
void RegisterDeviceManager(void* deviceManager);

/* Required. `mode` is 1. Drives are not looked for here but when a request asks for them: `help` and `version` load
 * the library too. */
void Load(int64_t mode);

/* Required. Takes the request, `length` bytes of XML on one line, and puts a handle of its choice, null included, into
 * `*handle`, which is null before the call. The work may be done here or in ReceiveXMLMessage; either may take as
 * long as the command takes. A request that is not understood gets an answer that says so. */
void SendXMLMessage(const char* text, uint64_t length, void** handle);

/* Required. Hands out the answer to the request of `handle`, an XML document of at most 4294967295 bytes. Called twice:
 *
 *     1. with `buffer` null and `*size` 0. The library puts the answer's size in bytes, which is not 0, into `*size`
 *        and returns FEATURE_LIBRARY_INVALID_BUFFER_SIZE.
 *     2. with a buffer of that size, `*size` saying so; it begins on a page boundary. The library writes the answer,
 *        without a zero byte after it, puts its size into `*size` and returns FEATURE_LIBRARY_SUCCESS. It never writes
 *        more than `*size` said before the call.
 *
 * Any other return value at either call ends the request, and the tool shows the number. There is no third call: the
 * answer must not grow after its size was returned. The library keeps it until it was fetched, or until Unload. */
int32_t ReceiveXMLMessage(void* handle, void* buffer, uint64_t* size);

/* Optional. With `off` 0: write a debug log to the file `path`, from now on. With `off` 1 and an empty path: no more.
 * `reserved` is 0. Returns FEATURE_LIBRARY_INVALID_INPUT for a path that cannot be written; everything else counts as
 * success.
 *
 * The tool writes its own lines to the same file and has emptied it before this call. So the library opens it for
 * appending (O_APPEND, without O_TRUNC, and O_NOFOLLOW: the path was no symbolic link when the tool looked) and writes
 * each line with a single write(2): then no line of either is lost or torn. */
int32_t EnableLogger(const char* path, uint64_t length, int64_t reserved, int64_t off);

/* Optional. Where the support library of LSI adapters is; the tool neither opens it nor looks whether it exists. */
void SetLSIPath(const char* path, uint64_t length);

/* Optional. The last call. It comes when the result of the command is out, or, where a run ends early, while the tool
 * destroys its static objects: those of the library that were made after Load returned may be gone by then, so what
 * Unload needs must not be one of them. */
void Unload(void);

/* The functions as they are resolved at run time. */
typedef int32_t (*GetVerFunction)(void);
typedef void (*RegisterDeviceManagerFunction)(void* deviceManager);
typedef void (*LoadFunction)(int64_t mode);
typedef void (*SendXMLMessageFunction)(const char* text, uint64_t length, void** handle);
typedef int32_t (*ReceiveXMLMessageFunction)(void* handle, void* buffer, uint64_t* size);
typedef int32_t (*EnableLoggerFunction)(const char* path, uint64_t length, int64_t reserved, int64_t off);
typedef void (*SetLSIPathFunction)(const char* path, uint64_t length);
typedef void (*UnloadFunction)(void);

#ifdef __cplusplus
} /* extern "C" */
#endif
