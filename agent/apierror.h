// The agent's error text for a client-API return code: what the program
// entry prints after its separator line and what the session code keeps in
// the agent context. It is made from the library's own message for the
// code, so the administrator sees the server's wording.
#ifndef ZEBO_AGENT_APIERROR_H
#define ZEBO_AGENT_APIERROR_H

#include <stdint.h>

// Fills `buffer` (ZEBO_ERROR_TEXT_SIZE bytes) with the library's text for rc
// through the global API object; with withCode 1 the text ends with the code
// itself ("... (rc = -50)"), since several codes share one wording. Without
// a library text the buffer names the code alone. Returns the library's
// result of the message lookup.
int zeboBuildErrorText(uint32_t handle, int withCode, int rc, char* buffer);

#endif
