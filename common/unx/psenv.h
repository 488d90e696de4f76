// The two operating-system effects that every layer of the program shares
// and that tests replace: the wall clock and the heap. Each is one global
// with the system's default; a test puts its own in for its duration with
// zebotest::ScopedSeam, FixedClock or RefusedAllocation (testing/seam.h), so
// a fixed time or a failing allocation reaches every layer at once: the API
// call timing, the instrumentation, dates and the trace's durations read
// psClock; the agent's memory wrappers, the message buffers, parsed messages
// and the list nodes allocate through psAllocator. (The progress line's
// monotonic clock, sync/progress.h, measures intervals, not the time of day,
// and stays its own.)
//
// Thread safety: plain globals, replaced only while no other thread reads
// the clock or allocates (start-up, or a test body).
#ifndef ZEBO_COMMON_UNX_PSENV_H
#define ZEBO_COMMON_UNX_PSENV_H

#include <stddef.h>
#include <time.h>

// Fills the current wall-clock time.
typedef void (*PsClockFn)(struct timespec* now);
extern PsClockFn psClock;
// clock_gettime(CLOCK_REALTIME), the default.
void psSystemClock(struct timespec* now);

// The functions underneath every allocation.
struct PsAllocator {
    void* (*mallocFn)(size_t size);
    void* (*callocFn)(size_t count, size_t size);
    void* (*reallocFn)(void* block, size_t size);
    void (*freeFn)(void* block);
};
extern PsAllocator psAllocator;
// The C library's functions, the default.
extern const PsAllocator psLibcAllocator;

#endif
