// Marks of the pick list: which orphans of syncList the administrator picked
// for deletion. An entry is addressed by its number in list order, counted
// from 1, and its mark is the record's picked flag.
//
// An entry is reached by its number only through a walk along the links, so
// a cursor remembers the last position reached. Marking a range, marking everything
// and drawing consecutive rows then cost one step per entry instead of a
// walk from the head each time; without it a range over a million entries
// would take hours. The cursor is only valid while the list keeps its nodes:
// the pick list makes a fresh one every time it opens, and nothing removes
// entries while it runs.
//
// Thread safety: none; the list belongs to the thread that runs the pick list.
#ifndef ZEBO_SYNC_PKMARKS_H
#define ZEBO_SYNC_PKMARKS_H

#include <stdint.h>

#include "sync/orphan.h"

// The modes of pkHighlightEntry.
enum PkMarkMode { PK_MARK_CLEAR = 0, PK_MARK_SET = 1, PK_MARK_FLIP = 2 };

// The last position reached in a list.
struct PkCursor {
    SyncList* list;
    SyncList::Node* node;  // null: nothing remembered yet
    int32_t position;      // number of `node`
};

void pkCursorInit(PkCursor* cursor, SyncList* list);

// The entry with that number, walking from the remembered position, the head
// or the tail, whichever is nearest; null for a number outside 1..count.
// REQUIRES: the list kept its nodes since the cursor was made.
SyncList::Node* pkCursorGoto(PkCursor* cursor, int32_t number);

// The entry with that number, walking pNext from the head; null for a number
// outside 1..count.
SyncList::Node* gotoListElement(SyncList* list, int32_t number);

// Sets (PK_MARK_SET), flips or clears the mark of entry `number`. A number
// above `count` only traces that it is out of range. With a cursor the
// entry is reached through it, else from the head.
// REQUIRES: number >= 1.
void pkHighlightEntry(SyncList* list, int32_t number, int32_t count, int mode,
                      PkCursor* cursor = nullptr);

// Clears every mark.
void pkInitEntries(SyncList* list);

// Sets or clears every mark through the cursor.
void pkMarkAll(PkCursor* cursor, int mode);

// Applies an answer of entry numbers and ranges: "5" or "5,7" flip entries,
// "3:7+" marks 3 to 7, "3:7-" clears them, "5+" marks 5. See
// processanswer.cpp for the exact reading, odd corners included.
void ProcessAnswer(SyncList* list, const char* answer, int32_t count, PkCursor* cursor);

#endif
