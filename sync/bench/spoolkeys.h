// Shared by the comparison programs of scripts/bench.sh: reading the keys a
// spool holds and the names the server query returns, into memory, the
// simplest way (the first blank-, comma- or tab-separated word of each
// line, "Session" left out, as the program loads it).
#ifndef ZEBO_SYNC_BENCH_SPOOLKEYS_H
#define ZEBO_SYNC_BENCH_SPOOLKEYS_H

#include <stdio.h>
#include <string.h>
#include <time.h>

#include <string>
#include <vector>

// The first word of every line of `path` ("Session" left out when
// `spool`); false when the file cannot be read.
inline bool benchReadWords(const char* path, bool spool, std::vector<std::string>* out) {
    FILE* f = fopen(path, "r");
    if (!f) return false;
    char line[1025];
    while (fgets(line, sizeof line, f)) {
        char* save = nullptr;
        char* word = strtok_r(line, " ,\n\t", &save);
        if (word && !(spool && strcmp(word, "Session") == 0)) out->emplace_back(word);
    }
    fclose(f);
    return true;
}

inline double benchNow() {
    struct timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) / 1e9;
}

#endif
