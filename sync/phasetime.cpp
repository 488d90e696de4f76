// Phase timing for PERFORMANCE tracing; see phasetime.h.
#include "sync/phasetime.h"

#include "common/ut/trace.h"

UtPhaseTimer::UtPhaseTimer() : on_(TR_PERFORMANCE != 0) {
    if (on_) clock_gettime(CLOCK_MONOTONIC, &start_);
}

double UtPhaseTimer::seconds() const {
    if (!on_) return 0.0;
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec - start_.tv_sec) +
           static_cast<double>(now.tv_nsec - start_.tv_nsec) / 1e9;
}
