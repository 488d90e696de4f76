// Progress on the terminal; see progress.h.
#include "sync/progress.h"

#include <stdlib.h>
#include <unistd.h>

#include "common/nls/nls.h"
#include "common/unx/nlsfmt.h"

namespace {

bool stdoutIsTerminal() {
    return isatty(STDOUT_FILENO) == 1;
}

void monotonicClock(struct timespec* now) {
    clock_gettime(CLOCK_MONOTONIC, now);
}

// Often enough for "at least once a second" even when the count moves in
// bursts; rarely enough that writing the line costs nothing noticeable.
const long redrawNanoseconds = 250L * 1000 * 1000;

long nanosecondsBetween(const struct timespec& from, const struct timespec& to) {
    return (to.tv_sec - from.tv_sec) * 1000000000L + (to.tv_nsec - from.tv_nsec);
}

}  // namespace

UtIsTerminalFn utProgressIsTerminal = stdoutIsTerminal;
UtProgressClockFn utProgressClock = monotonicClock;

UtProgress::UtProgress(unsigned message, FILE* out)
    : message_(message), out_(out), active_(utProgressIsTerminal()) {
    if (active_) show(0);
}

UtProgress::~UtProgress() {
    end();
}

void UtProgress::update(unsigned long count) {
    if (!active_) return;
    struct timespec now;
    utProgressClock(&now);
    if (nanosecondsBetween(last_, now) >= redrawNanoseconds) show(count);
}

void UtProgress::show(unsigned long count) {
    char number[32];
    nlFormatNumber64(count, number, sizeof number);
    char* text = nlFormatText(message_, number);
    std::string line = text != nullptr ? text : number;
    free(text);
    while (!line.empty() && line.back() == '\n') line.pop_back();
    // Blanks over what is left of a longer line before.
    size_t length = line.size();
    if (length < shownLength_) line.append(shownLength_ - length, ' ');
    fprintf(out_, "\r%s", line.c_str());
    fflush(out_);
    shownLength_ = length;
    utProgressClock(&last_);
}

void UtProgress::end() {
    if (!active_) return;
    active_ = false;
    fprintf(out_, "\r%s\r", std::string(shownLength_, ' ').c_str());
    fflush(out_);
}
