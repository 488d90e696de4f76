#include "common/unx/psenv.h"

#include <stdlib.h>

void psSystemClock(struct timespec* now) {
    if (clock_gettime(CLOCK_REALTIME, now) != 0) {
        now->tv_sec = time(nullptr);
        now->tv_nsec = 0;
    }
}

PsClockFn psClock = psSystemClock;

const PsAllocator psLibcAllocator = {malloc, calloc, realloc, free};
PsAllocator psAllocator = psLibcAllocator;
