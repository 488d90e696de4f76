// A warning before the pick list when the result does not look like a
// catalog that has merely lost some pieces: when the catalogs listed no
// handle at all (a wrong connect string to an empty catalog, a date range
// without backups), or when more than half of the objects examined would be
// listed. Either usually means a wrong catalog, user or date range, and the
// list then offers live backups for deletion. The pick list still follows:
// the administrator decides.
//
// On a terminal the warning would vanish at once under the pick list, so it
// waits for Enter there; with input or output redirected it does not wait.
#ifndef ZEBO_SYNC_PLAUSIBILITY_H
#define ZEBO_SYNC_PLAUSIBILITY_H

// The warnings: MSG_NO_HANDLES (no handle at all: everything is listed) and
// MSG_MOSTLY_LISTED (more than half of the objects are listed), followed on
// a terminal by MSG_PRESS_ENTER.
#include "catalogs/zebo_names.h"

// The warning that applies to the counts, or 0 for none.
// handles: handle lines the catalogs listed; examined: objects looked up;
// listed: objects in the pick list.
unsigned utImplausibleResult(unsigned long handles, unsigned long examined, unsigned long listed);

// Shows that warning, if any; on a terminal it then waits for Enter.
void utWarnImplausible(unsigned long handles, unsigned long examined, unsigned long listed);

// Whether to wait after the warning. Default: standard input and output are
// both terminals.
typedef bool (*UtInteractiveFn)();
extern UtInteractiveFn utWarningWaits;

#endif
