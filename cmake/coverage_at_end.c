// Linked into what is instrumented for coverage, around the functions that end a process without its exit handlers, of
// which one writes what was counted.

#include <unistd.h>

void __gcov_dump(void);
void __real__exit(int status) __attribute__((noreturn));
int __real_raise(int number);

void __wrap__exit(int status);
int __wrap_raise(int number);

void __wrap__exit(int status) {
    __gcov_dump();
    __real__exit(status);
}

int __wrap_raise(int number) {
    __gcov_dump();
    return __real_raise(number);
}
