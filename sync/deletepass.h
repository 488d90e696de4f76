// The record of one deletion pass: every entry that was picked when the
// administrator confirmed, in list order, with what became of it. The
// deletion fills it as transactions end; the summary on the screen and the
// report file are both written from it, so they always tell the same story.
//
// An entry leaves syncList as soon as its deletion call succeeds, before the
// transaction ends; this record is the only place that still knows about it
// when the transaction is later rolled back.
#ifndef ZEBO_SYNC_DELETEPASS_H
#define ZEBO_SYNC_DELETEPASS_H

#include <stddef.h>
#include <stdint.h>

#include <vector>

#include "catalogs/zebo_names.h"
#include "sync/objectfacts.h"
#include "sync/orphan.h"

enum UtDeleteOutcome {
    DEL_NOT_ATTEMPTED,  // the pass stopped before this entry; still on the server
    DEL_PENDING,        // deleted inside the transaction that is still open
    DEL_COMMITTED,      // deleted and committed: gone from the server
    DEL_ROLLED_BACK,    // deleted, then its transaction was rolled back: still there
    DEL_FAILED          // its deletion call failed: still on the server
};

struct UtDeleteEntry {
    UtObjectFacts object;
    UtDeleteOutcome outcome;
};

struct UtDeletePass {
    std::vector<UtDeleteEntry> entries;  // picked entries, in list order
    size_t firstOpen = 0;                // first entry of the open transaction
    bool ran = false;                    // the administrator said yes

    // Takes every picked entry of the list, not attempted yet.
    void collect(SyncList* syncList);
    // The sum of the picked entries' size estimates.
    uint64_t markedBytes() const;
    size_t count(UtDeleteOutcome outcome) const;
    // The entries deleted in the open transaction become committed, or
    // rolled back; the trace says how many were committed, or names those
    // rolled back. The next transaction starts after them.
    void endTransaction(bool committed, size_t upTo);
};

// The outcome as the report writes it: "committed", "rolled back", "failed",
// "not attempted" (pending is never reported: every pass ends its
// transactions).
const char* utOutcomeName(UtDeleteOutcome outcome);

// Shows how many objects were deleted and committed and, when something
// failed, how many deletions were rolled back and how many marked objects
// were not deleted; all of those are still on the server.
void utShowDeleteSummary(const UtDeletePass& pass);

// Shows the number of marked objects and the sum of their size estimates,
// in the user's number layout.
void utShowMarkedTotal(const UtDeletePass& pass);

#endif
