// Seams of the locale layer: the two operating-system effects it depends on,
// the locale's layout strings (nl_langinfo) and the wall clock. Tests replace
// the pointers to drive locales that no installed locale provides and to fix
// the time; production code never touches them.
//
// Thread safety: the pointers are plain globals, meant to be set while the
// process is single-threaded (start-up, or a test body).
#ifndef ZEBO_COMMON_UNX_NLSSEAM_H
#define ZEBO_COMMON_UNX_NLSSEAM_H

#include <langinfo.h>
#include <time.h>

// Returns the current locale's text for one langinfo item (never null).
typedef const char* (*NlLangInfoFn)(nl_item item);
// Fills the current wall-clock time.
typedef void (*NlClockFn)(struct timespec* now);

extern NlLangInfoFn nlLangInfoSeam;  // default: nl_langinfo
extern NlClockFn nlClockSeam;        // default: clock_gettime(CLOCK_REALTIME)

// The defaults, so a test can restore them.
const char* nlDefaultLangInfo(nl_item item);
void nlDefaultClock(struct timespec* now);

#endif
