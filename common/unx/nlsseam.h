// The seam of the locale layer: the locale's layout strings (nl_langinfo).
// Tests replace the pointer to drive locales that no installed locale
// provides; production code never touches it. The layer's clock is the
// program's (psClock, psenv.h).
//
// Thread safety: the pointers are plain globals, meant to be set while the
// process is single-threaded (start-up, or a test body).
#ifndef ZEBO_COMMON_UNX_NLSSEAM_H
#define ZEBO_COMMON_UNX_NLSSEAM_H

#include <langinfo.h>

// Returns the current locale's text for one langinfo item (never null).
typedef const char* (*NlLangInfoFn)(nl_item item);

extern NlLangInfoFn nlLangInfoSeam;  // default: nl_langinfo

// The default, so a test can restore it.
const char* nlDefaultLangInfo(nl_item item);

#endif
