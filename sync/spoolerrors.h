// Errors in the SQL*Plus spool. SQL*Plus ends with status 0 after many
// failures of the catalog query: a user that logs on but does not own the
// catalog (ORA-00942), a statement the database refuses, a command SQL*Plus
// does not know. It writes the error into the spool instead, where the
// words of the error lines would otherwise be loaded as handles, and every
// server object would look like an orphan. So a spool that holds such a line
// means the query failed, whatever the exit status said.
//
// An error line begins with "ORA-" and five digits and a colon, with "SP2-"
// and four digits and a colon, or with "ERROR at line", or is "ERROR:"
// alone (the spool pads lines with blanks; they do not count). No RMAN
// handle looks like that; a handle that merely starts with "ORA" (such as
// "ORA_FINDB_df1236807628_s21754_p1") is a handle.
#ifndef ZEBO_SYNC_SPOOLERRORS_H
#define ZEBO_SYNC_SPOOLERRORS_H

#include <stddef.h>
#include <stdint.h>

#include <string>
#include <vector>

#include "catalogs/zebo_names.h"
#include "sync/orphan.h"

enum {
    SPOOL_QUERY_FAILED = MSG_SPOOL_QUERY_FAILED,  // the spool holds SQL*Plus or database errors
    SPOOL_ERRORS_SHOWN = 5                        // error lines shown at most
};

// Whether one line of the spool (with or without its line end) is an error
// line.
bool utIsSpoolErrorLine(const char* line);

// The first `most` error lines of the spool, without their line ends and
// padding, into `found`. Returns how many error lines the spool holds; 0
// also when it cannot be read (the load reports that).
size_t utFindSpoolErrors(const char* spoolPath, size_t most, std::vector<std::string>* found);

// Checks the spool of `connection`. Without errors returns 0. With errors
// shows the first ones and message 2630, naming the catalog user and the
// connect string (never the password), removes the spool unless the trace
// class ORCLEVEL2 keeps it, and returns 2630.
int16_t utCheckSpool(const CatalogConnection* connection, const char* spoolPath);

#endif
