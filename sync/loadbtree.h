// Reading the SQL*Plus spool file back into the filename index: every line's
// first token (blanks, commas, tabs and line ends separate) is a backup
// piece's handle, except the word "Session" with which SQL*Plus answers the
// "alter session" line. A line is read in pieces of at most 512 characters;
// each piece counts as a line of its own. A handle listed twice, by one
// catalog or by two, is stored once.
//
// The spool file is removed once it has been read, unless the trace class
// ORCLEVEL2 keeps it for diagnosis.
#ifndef ZEBO_SYNC_LOADBTREE_H
#define ZEBO_SYNC_LOADBTREE_H

#include <stdint.h>

#include "catalogs/zebo_names.h"
#include "sync/btree.h"

enum {
    LOAD_SPOOL_UNREADABLE = MSG_SPOOL_UNREADABLE,  // the spool file cannot be opened
    LOAD_PIECE_SIZE = 512                          // characters read from a line at a time
};

// Returns 0, 2576 (after its messages) or the index's code for a failed
// insertion, which stops the load and leaves what was loaded before.
// A handle that SQL*Plus broke over several lines is stored whole as well
// as in its pieces (wrappedhandle.h). With `handlesRead`, the number of
// handle lines read is added to it; SQL*Plus's closing "rows selected" line
// is loaded but not counted.
int16_t utLoadBTree(const char* spoolPath, BTree* index, unsigned long* handlesRead = nullptr);

#endif
