// The Recovery Catalog query: for one catalog connection a SQL*Plus script
// is written to a temporary file, SQL*Plus runs it (sqlplusrun.h) and
// spools the handles of the backup pieces completed within the date range
// to a second file, which utLoadBTree (loadbtree.h) reads back into the
// filename index. The script holds the catalog's password, so it is created
// readable by its owner only and removed after the run, unless the trace
// class ORCLEVEL2 keeps it for diagnosis.
//
// The test flag SYNCDBNORMAN leaves SQL*Plus out: the spool file is created
// empty, so the run goes on as if the catalog listed nothing.
//
// The files are created by the program itself, exclusively and privately,
// and a signal removes them (sigcleanup.h). SQL*Plus is started through the
// seam zeboRunCommand (sqlplusrun.h), so that tests can see its arguments
// and drive its failure.
#ifndef ZEBO_SYNC_CATQUERY_H
#define ZEBO_SYNC_CATQUERY_H

#include <stdint.h>

#include "catalogs/zebo_names.h"
#include "common/unx/nlsdate.h"
#include "sync/orphan.h"

enum {
    CATQ_SCRIPT_FAILED = MSG_FILE_NOT_CREATED,  // the script (or the empty spool) cannot be created
    CATQ_SQLPLUS_FAILED = MSG_SQLPLUS_FAILED,   // SQL*Plus ended with a non-zero status
    CATQ_BAD_TEMP_DIR = MSG_BAD_TEMP_DIR,       // the temporary directory's name cannot be used
    UT_DATE_TEXT_SIZE = 31                      // a date as text, as the date prompts read it
};

// Writes the script for `connection` and the date range (from-date at
// 00:00:00, to-date at 23:59:59) to `scriptPath`, creates the empty spool
// file `spoolPath` (neither may exist yet) and runs "sqlplus -L
// @<scriptPath>", which spools into it. On failure both files are removed
// (unless ORCLEVEL2 keeps them). Returns 0, 2575 (also for a temporary
// directory whose name the script cannot carry, after message 2660) or
// 2533, after showing the failure's messages.
int16_t zeboQueryCatalog(const CatalogConnection* connection, const char* scriptPath,
                         const char* spoolPath, const nlDateTime* fromDate,
                         const nlDateTime* toDate);

// The defaults of the date prompts in the user's date layout (date_fmt_str):
// 1 January 1990 and today. Both buffers hold UT_DATE_TEXT_SIZE bytes.
void utDefaultDateRange(char* fromText, char* toText);

#endif
