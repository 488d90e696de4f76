// The agent's two error outputs.
//
// zeboErrorMsg appends a stamped line to the agent's error log,
// "zeboerror.log" in the RVKI_LOG directory of the option file (or the agent
// directory), under an exclusive file lock, so that several agent processes
// can share one log without tearing each other's lines.
//
// psNonNlsErrorMsg is the fallback for the time before the option file and
// the message repository are set up: it appends to "zeboerror.log" in the
// agent directory without a lock and without consulting RVKI_LOG.
//
// Either goes to "zeboerror.log" in the current directory when its directory
// is not writable. Neither reports its own failure: a line that cannot be
// written is dropped.
//
// The two line layouts differ in their spacing around the arrow, and both
// are kept as they are because log readers match them:
//   zeboErrorMsg:      "<date> <time> TID<pid> ==> text"
//   psNonNlsErrorMsg:  "<date> <time> TID<pid>  ==>  text"
#ifndef ZEBO_AGENT_ERRORLOG_H
#define ZEBO_AGENT_ERRORLOG_H

#include <stdint.h>

enum { ZEBO_LOG_PATH_SIZE = 1025 };

// The error-log path for zeboErrorMsg (1,025 bytes). 0, or the code of the
// agent-directory routine (the path is then empty).
int16_t zeboGetErrorLogName(char* path);

// Appends "<stamp> TID<pid> ==> <text>\n" to the error log.
void zeboErrorMsg(const char* text);

// The fallback log's path for psNonNlsErrorMsg (1,025 bytes): never empty.
void psNonNlsErrorLogName(char* path);

// Appends "<stamp> TID<pid>  ==>  " and the formatted text and a line feed
// to the fallback log. The first argument is a printf format.
void psNonNlsErrorMsg(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Appends `text` to `path` under an exclusive lock (lockf): opened for reading
// and writing, created with permissions 0600. Nothing for an empty path; a
// failing open or lock drops the text.
void psAppendLocked(const char* path, const char* text);

#endif
