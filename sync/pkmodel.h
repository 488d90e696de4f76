// The pick list's view: which entry the page starts with, how far the lines
// are scrolled to the right, and how many rows the last page drew. One
// command moves it by a few lines of arithmetic; drawing (pkscreen.h) reads
// it and sets the page step. Nothing here touches the terminal.
//
// Commands, by the answer's first character in either case:
//   +  mark every entry          -  clear every mark
//   T  top                       B  bottom (page ending with the last entry)
//   U  page up                   D  page down
//   G n  page starts at entry n  L n / R n  scroll n columns (20 without n)
//   O  go on to deletion         C, Q  leave
// Anything else is a list of entry numbers and ranges (ProcessAnswer).
#ifndef ZEBO_SYNC_PKMODEL_H
#define ZEBO_SYNC_PKMODEL_H

#include <stdint.h>

#include "sync/orphan.h"
#include "sync/pkmarks.h"

enum {
    PK_MAX_OFFSET = 1053,   // the furthest right scroll
    PK_SCROLL_DEFAULT = 20  // columns for L or R without a number
};

struct PkModel {
    SyncList* list;
    int32_t count;       // entries in the list
    int32_t firstShown;  // number of the page's first entry, from 1
    int32_t offset;      // characters cut from the left of entry lines
    int32_t step;        // entry rows of the last page drawn, fillers included
    PkCursor cursor;
};

enum PkAction {
    PK_ACTION_REDRAW,  // show the page again and read the next command
    PK_ACTION_LEAVE,   // C or Q
    PK_ACTION_GO_ON    // O
};

// A view at the top, unscrolled, over the list as it stands now.
void pkModelInit(PkModel* model, SyncList* list);

// Applies one answer (as read: leading blanks dropped, no newline).
PkAction pkApplyCommand(PkModel* model, const char* answer);

#endif
