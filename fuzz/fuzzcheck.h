// Invariant checks for the fuzz targets. A broken invariant prints what was
// expected and aborts, so that libFuzzer keeps the input as a crash and the
// campaign stores it as a regression input.
#ifndef ZEBO_FUZZ_FUZZCHECK_H
#define ZEBO_FUZZ_FUZZCHECK_H

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

#include <ftw.h>
#include <unistd.h>

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

// A scratch folder of the target's own, removed with its contents when the
// fuzzer exits. It goes to memory (/dev/shm) where the system has it: the
// targets that write files (spool, password file, error log) then run at
// memory speed instead of waiting for the disk on every fsync.
inline std::string& fuzzScratchDir() {
    static std::string dir;
    return dir;
}
inline void fuzzRemoveScratchDir() {
    nftw(
        fuzzScratchDir().c_str(),
        [](const char* path, const struct stat*, int, struct FTW*) { return remove(path); }, 16,
        FTW_DEPTH | FTW_PHYS);
}
inline std::string fuzzMakeScratchDir(const char* prefix) {
    const char* base = access("/dev/shm", W_OK | X_OK) == 0 ? "/dev/shm/" : "/tmp/";
    std::string pattern = std::string(base) + prefix + ".XXXXXX";
    if (mkdtemp(&pattern[0]) == nullptr) abort();
    fuzzScratchDir() = pattern;
    atexit(fuzzRemoveScratchDir);
    return pattern;
}

#endif
