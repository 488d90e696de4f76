// Result codes of the platform helpers (the ps functions). They share the
// client runtime's numbering, so a caller can pass them on unchanged.
#ifndef ZEBO_API_PSRC_H
#define ZEBO_API_PSRC_H

enum {
    PS_RC_FS_QUERY_FAILED = 401,   // a file-system query failed
    PS_RC_NOT_A_DIRECTORY = 403,   // a path exists as a non-directory or cannot be made
    PS_RC_PATH_TOO_LONG = 404,     // a path is longer than DS_PATH_MAX
    PS_RC_INTERNAL = 419,          // an internal or console error
    PS_RC_INVALID_PATH = 424,      // not an absolute path
    PS_RC_BUFFER_TOO_SMALL = 1702  // a result does not fit the caller's buffer
};

// Longest directory part of a path, counting its terminator.
#define DS_PATH_MAX 1023

#endif
