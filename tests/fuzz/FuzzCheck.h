#pragma once

// A property that fails ends the run with the reason: libFuzzer then keeps the input as a crash.

#include <cstdio>
#include <cstdlib>

#define FUZZ_CHECK(condition)                                                                                          \
    do {                                                                                                               \
        if (!(condition)) {                                                                                            \
            std::fprintf(stderr, "%s:%d: property failed: %s\n", __FILE__, __LINE__, #condition);                      \
            std::abort();                                                                                              \
        }                                                                                                              \
    } while (false)
