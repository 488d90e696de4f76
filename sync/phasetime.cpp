// Benchmark time marks; see phasetime.h.
#include "sync/phasetime.h"

#include <stdio.h>
#include <stdlib.h>
#include <time.h>

void utBenchMark(const char* event) {
    static const char* path = nullptr;
    static bool looked = false;
    if (!looked) {
        path = getenv("ZEBO_BENCH_PHASES");
        looked = true;
    }
    if (path == nullptr) return;
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    FILE* f = fopen(path, "a");
    if (f == nullptr) return;
    fprintf(f, "%s %ld.%09ld\n", event, static_cast<long>(now.tv_sec), now.tv_nsec);
    fclose(f);
}
