// The synchronisation's temporary files: the SQL*Plus script, which holds
// the catalog's password, the spooled handles and the listing of server
// objects. Names are made in the system's temporary directory from a short
// prefix and a random part; the files themselves are created exclusively
// and readable by their owner only, so that nobody else reads the password
// and a link planted at the name in a shared directory is never followed.
#ifndef ZEBO_SYNC_TEMPFILES_H
#define ZEBO_SYNC_TEMPFILES_H

#include <stdio.h>

// Makes a name for a file that does not exist yet: the directory named by
// TMPDIR when that is a writable directory, else "/tmp"; then "/", the
// first five characters of `prefix` and six random letters and digits.
// Returns a block from malloc that the caller frees, or null when no name
// can be made.
typedef char* (*UtTempNameFn)(const char* prefix);
extern UtTempNameFn utTempName;
char* utDefaultTempName(const char* prefix);

// Creates `path`, which must not exist (a link at the name counts as
// existing), with permissions 0600, and returns it as a "w+" stream; null
// with errno set when it cannot be created.
FILE* utCreatePrivateFile(const char* path);

#endif
