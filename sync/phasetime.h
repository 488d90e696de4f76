// Timing of the run's long phases for the trace class PERFORMANCE: loading
// the spool, deleting the marked objects, releasing the filename index. The
// clock is read only while that class is on, so a run without it pays one
// byte test per phase and writes nothing.
//
// Thread safety: none needed; a timer lives on the stack of one phase.
#ifndef ZEBO_SYNC_PHASETIME_H
#define ZEBO_SYNC_PHASETIME_H

#include <time.h>

class UtPhaseTimer {
  public:
    // Starts the clock when PERFORMANCE tracing is on.
    UtPhaseTimer();
    // Seconds since the start (monotonic); 0 when the class was off at the
    // start.
    double seconds() const;

  private:
    bool on_;
    struct timespec start_ = {0, 0};
};

#endif
