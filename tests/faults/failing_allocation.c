/* Preloaded into a program, has one of its allocations fail: the one whose number is in FAILING_ALLOCATION, counted
 * from 1 over all threads since geteuid(2), which both programs call at the beginning of main. 0: none. The number of
 * allocations is written to the file FAILING_ALLOCATION_REPORT at the end. */
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <stdatomic.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/syscall.h>
#include <unistd.h>

/* The allocator of the C library under its own names. */
extern void* __libc_malloc(size_t size);
extern void* __libc_calloc(size_t count, size_t size);
extern void* __libc_realloc(void* old, size_t size);
extern void* __libc_memalign(size_t alignment, size_t size);

static atomic_long counted;
static atomic_long failing;
static atomic_int is_counting;

static int fails(void) {
    if (!is_counting || ++counted != failing) return 0;
    errno = ENOMEM;
    return 1;
}

uid_t geteuid(void) {
    const char* number = getenv("FAILING_ALLOCATION");
    if (number != NULL) failing = strtol(number, NULL, 10);
    is_counting = 1;
    return (uid_t)syscall(SYS_geteuid);
}

void* malloc(size_t size) {
    return fails() ? NULL : __libc_malloc(size);
}

void* calloc(size_t count, size_t size) {
    return fails() ? NULL : __libc_calloc(count, size);
}

void* realloc(void* old, size_t size) {
    return fails() ? NULL : __libc_realloc(old, size);
}

void* memalign(size_t alignment, size_t size) {
    return fails() ? NULL : __libc_memalign(alignment, size);
}

void* aligned_alloc(size_t alignment, size_t size) {
    return fails() ? NULL : __libc_memalign(alignment, size);
}

int posix_memalign(void** result, size_t alignment, size_t size) {
    if (fails()) return ENOMEM;
    *result = __libc_memalign(alignment, size);
    return *result == NULL ? ENOMEM : 0;
}

__attribute__((destructor)) static void report(void) {
    const char* path = getenv("FAILING_ALLOCATION_REPORT");
    if (path == NULL) return;
    char text[24];
    const int length = snprintf(text, sizeof text, "%ld\n", (long)counted);
    const int file = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (file < 0) return;
    if (write(file, text, (size_t)length) != length) _exit(127);
    close(file);
}
