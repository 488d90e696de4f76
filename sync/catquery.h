// The Recovery Catalog query: for one catalog connection a SQL*Plus script
// is written to a temporary file, SQL*Plus runs it through the shell and
// spools the handles of the backup pieces completed within the date range
// to a second file, which utLoadBTree (loadbtree.h) reads back into the
// filename index. The script holds the catalog's password, so it is created
// readable by its owner only and removed after the run, unless the trace
// class ORCLEVEL2 keeps it for diagnosis.
//
// The test flag SYNCDBNORMAN leaves SQL*Plus out: the spool file is created
// empty, so the run goes on as if the catalog listed nothing.
//
// The shell command is run through a seam (zeboRunCommand) so that tests
// can see the command and drive its failure.
#ifndef ZEBO_SYNC_CATQUERY_H
#define ZEBO_SYNC_CATQUERY_H

#include <stdint.h>

#include "common/unx/nlsdate.h"
#include "sync/orphan.h"

enum {
    CATQ_SCRIPT_FAILED = 2575,   // the script (or the empty spool) cannot be created
    CATQ_SQLPLUS_FAILED = 2533,  // SQL*Plus ended with a non-zero status
    CATQ_COMMAND_SIZE = 513,     // "sqlplus -L @" and the script path
    UT_DATE_TEXT_SIZE = 31       // a date as text, as the date prompts read it
};

// Runs a command through the shell; returns the wait status as system()
// does. Default: system.
typedef int (*ZeboRunCommandFn)(const char* command);
extern ZeboRunCommandFn zeboRunCommand;

// Writes the script for `connection` and the date range (from-date at
// 00:00:00, to-date at 23:59:59) to `scriptPath`, which must not exist yet,
// and runs "sqlplus -L @<scriptPath>", which spools to `spoolPath`.
// Returns 0, 2575 or 2533, after showing the failure's messages.
int16_t zeboQueryCatalog(const CatalogConnection* connection, const char* scriptPath,
                         const char* spoolPath, const nlDateTime* fromDate,
                         const nlDateTime* toDate);

// The defaults of the date prompts in the user's date layout (date_fmt_str):
// 1 January 1990 and today. Both buffers hold UT_DATE_TEXT_SIZE bytes.
void utDefaultDateRange(char* fromText, char* toText);

#endif
