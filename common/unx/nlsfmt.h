// Locale formats: the date, time and number layouts chosen by number (the
// agent's ZEBO_DATE_FMT, ZEBO_TIME_FMT, ZEBO_NUM_FMT), or for layout 0 the
// current locale's own layout when it is simple enough. The chosen layouts
// live in process globals used by trace prefixes, messages and the pick list.
#ifndef ZEBO_COMMON_UNX_NLSFMT_H
#define ZEBO_COMMON_UNX_NLSFMT_H

#include <stddef.h>
#include <stdint.h>

// The current date and time as texts in the chosen layouts (each field at
// most 15 characters plus NUL) and the milliseconds of the current second.
// Used for trace line prefixes, message time stamps and the error logs.
void nlDateTimeNow(char* dateText, size_t dateSize, char* timeText, size_t timeSize,
                   unsigned long* milliseconds);

#endif
