// Opening a trace file privately. The trace may hold secrets (at the agent's
// most detailed level the catalog password), and its path usually lies in a
// directory that others can write to, so the file is:
//   - created with permissions 0600, whatever the umask;
//   - never reached through a symbolic link at its path (O_NOFOLLOW): a link
//     planted there would make the trace land in any file the user can
//     write;
//   - refused when it is a regular file of another user, or neither a
//     regular file nor a device or pipe (a trace to /dev/null stays
//     possible);
//   - tightened to 0600 when an own file of an earlier run was readable by
//     others.
// Refusals look like any other failure to open: the caller shows its
// open-failure message.
#ifndef ZEBO_COMMON_UT_TRACEOPEN_H
#define ZEBO_COMMON_UT_TRACEOPEN_H

#include <stdio.h>

// `mode` is one of the stdio modes the trace uses: "r+" (an existing file,
// for update), "w+" (created or emptied, for update) or "a" (created or
// appended). Returns the stream, or null with errno set. The streams share
// one buffer: close one before opening the next.
FILE* trOpenPrivate(const char* path, const char* mode);

#endif
