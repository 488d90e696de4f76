// Progress of the long steps (loading the spool, examining the server's
// objects) on the terminal: one line, "objects so far", rewritten in place
// at least once a second, and cleared when the step ends so that the next
// screen starts clean. When standard output is not a terminal nothing is
// written at all: piped output and logs stay as they were.
//
// The terminal test and the clock are seams, so that tests can switch the
// line on and move the time.
//
// Thread safety: none; one step at a time on the main thread.
#ifndef ZEBO_SYNC_PROGRESS_H
#define ZEBO_SYNC_PROGRESS_H

#include <stdio.h>
#include <time.h>

#include <string>

#include "catalogs/zebo_names.h"

enum {
    PROGRESS_LOADING = MSG_PROGRESS_LOADING,     // message: handles loaded from the spool so far
    PROGRESS_EXAMINING = MSG_PROGRESS_EXAMINING  // message: server objects examined so far
};

// Whether standard output is a terminal. Default: isatty(STDOUT_FILENO).
typedef bool (*UtIsTerminalFn)();
extern UtIsTerminalFn utProgressIsTerminal;

// A monotonic clock. Default: clock_gettime(CLOCK_MONOTONIC).
typedef void (*UtProgressClockFn)(struct timespec* now);
extern UtProgressClockFn utProgressClock;

class UtProgress {
  public:
    // Starts a step shown with `message` (one insert: the count); shows the
    // count 0 at once when standard output is a terminal.
    explicit UtProgress(unsigned message, FILE* out = stdout);
    // Clears the line if it is still shown.
    ~UtProgress();
    UtProgress(const UtProgress&) = delete;
    UtProgress& operator=(const UtProgress&) = delete;

    // The count so far; the line is rewritten when a quarter of a second
    // has passed since it was last written.
    void update(unsigned long count);
    // Clears the line (blanks over it, the cursor back at its start).
    void end();

  private:
    void show(unsigned long count);

    unsigned message_;
    FILE* out_;
    bool active_;
    size_t shownLength_ = 0;
    struct timespec last_ = {0, 0};
};

#endif
