// Reporting a failed server call during the synchronisation: the client
// API's own text for the code goes to the agent's error log and, where the
// administrator should see it, to the screen between two separator lines.
#ifndef ZEBO_SYNC_APIREPORT_H
#define ZEBO_SYNC_APIREPORT_H

#include <stdint.h>

#include "vltapi/include/rvkapi.h"

// The API's text for rc into `text` (RVK_MSG_MAX bytes); a lookup that
// fails leaves whatever text the API wrote, or an empty one.
void utApiText(uint32_t handle, int rc, char* text);

// Writes the API's text for rc to the error log; with `show` also as
// messages 131, 2 (the text), 131.
void utReportApiError(uint32_t handle, int rc, bool show);

// Writes a text to the error log and shows it as messages 131, 2, 131.
void utReportText(const char* text);

#endif
