// Where the agent and the client API keep their files: the agent directory
// and its option file, the API directory, the directory of the API's error
// log and the API's option file.
//
// The defaults are the install directories fixed at build time (ZEBO_AGENT_DIR,
// ZEBO_API_DIR); the API's three can be moved with RVKI_DIR, RVKI_LOG and
// RVKI_CONFIG (an empty variable counts as unset). Each function fills
// `buffer` with a NUL-terminated text and returns 0, or 1702 when the text and
// its terminator do not fit in `size` bytes (the buffer is then left empty).
// Each traces one line under the general class.
//
// Kept deliberately as the program has always had them: the API's option
// file defaults to the agent directory with "rvk.opt" appended directly,
// without a "/" between them, and the agent directory itself carries no
// trailing "/". psGetAgentConfig, by contrast, does insert the "/".
#ifndef ZEBO_API_PSDIRS_H
#define ZEBO_API_PSDIRS_H

#include <stddef.h>

int psGetAgentDir(char* buffer, size_t size);
int psGetAgentConfig(char* buffer, size_t size);    // <agent dir>/zebo.opt
int psGetKORUApiDir(char* buffer, size_t size);     // RVKI_DIR, always ending in "/"
int psGetKORUApiLog(char* buffer, size_t size);     // RVKI_LOG with "/", or the agent dir
int psGetKORUApiConfig(char* buffer, size_t size);  // RVKI_CONFIG, or <agent dir>rvk.opt

#endif
