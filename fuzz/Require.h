#pragma once

#include <cstdio>
#include <cstdlib>

/// What must hold for every input: says what does not, and ends the process as the fuzzer expects it.
#define REQUIRE(condition)                                                                      \
    do {                                                                                        \
        if (!(condition)) {                                                                     \
            std::fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #condition); \
            std::abort();                                                                       \
        }                                                                                       \
    } while (false)
