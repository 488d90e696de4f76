// The agent's view of its environment: reading environment variables into
// fixed buffers, and the three install locations that the option defaults,
// the password file, the error logs and the message catalogs start from (the
// client API's directory, the agent's directory and the default option file).
//
// The agent directory is fixed at build time (ZEBO_AGENT_DIR of
// zebo_config.h). The environment variable ZEBO_AGENT_DIR, when set and not
// empty, replaces it for the whole run: tests and demonstrations point it at
// a scratch folder that holds the catalogs (<dir>/<language>/zebo.cat) and
// receives the fallback error log, so that nothing has to be installed.
//
// Each routine fills a NUL-terminated text and returns 0, or 1702 when the
// text does not fit the caller's buffer (which is then left empty).
#ifndef ZEBO_AGENT_AGENTENV_H
#define ZEBO_AGENT_AGENTENV_H

#include <stddef.h>

// Name of the variable that overrides the compiled-in agent directory.
#define ZEBO_AGENT_DIR_VARIABLE "ZEBO_AGENT_DIR"

// 1 when `name` is set, not empty and fits in `buffer` with its NUL (length
// less than size); otherwise the buffer is left empty (when there is one)
// and the result is 0. A null or empty name, a null buffer or a zero size
// also give 0.
int psGetEnv(const char* name, char* buffer, size_t size);

// The agent's install directory, without a trailing "/" unless the override
// carries one.
int zeboGetAgentDir(char* buffer, size_t size);

// The client API's install directory (ZEBO_API_DIR of zebo_config.h).
int zeboGetApiDir(char* buffer, size_t size);

// The agent directory, "/" (unless it already ends in one) and "zebo.opt".
int zeboGetDefaultOptFile(char* buffer, size_t size);

// Called when the option file names no RVKI_ORC_CONFIG. Other platforms look
// the client option file up here; on this one there is nothing to find and
// the slot stays empty. Returns 0.
int zeboConfigHook(char* slot, size_t size);

#endif
