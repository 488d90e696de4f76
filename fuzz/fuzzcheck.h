// Invariant checks for the fuzz targets. A broken invariant prints what was
// expected and aborts, so that libFuzzer keeps the input as a crash and the
// campaign stores it as a regression input.
#ifndef ZEBO_FUZZ_FUZZCHECK_H
#define ZEBO_FUZZ_FUZZCHECK_H

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

#include <string>

#define FUZZ_CHECK(condition, ...)                                                              \
    do {                                                                                        \
        if (!(condition)) {                                                                     \
            fprintf(stderr, "%s:%d: invariant broken: %s\n  ", __FILE__, __LINE__, #condition); \
            fprintf(stderr, __VA_ARGS__);                                                       \
            fprintf(stderr, "\n");                                                              \
            abort();                                                                            \
        }                                                                                       \
    } while (0)

// The input as a string (it may hold NUL bytes).
inline std::string fuzzText(const uint8_t* data, size_t size) {
    return std::string(reinterpret_cast<const char*>(data), size);
}

#endif
