// UtSpoolKeys: the index keys of a catalog spool, line by line.
//
// Each piece of a line (LOAD_PIECE_SIZE characters at a time) yields its
// first token; a line without one, or whose token is "Session", adds no
// key, and the wrapped-handle rules (wrappedhandle.h) give each other line
// its keys. Reading and cutting the spool costs about a fifth of inserting
// the keys into the index, so with `ahead` a second thread (aheadring.h)
// does it a few hundred lines ahead of the insertion; without it (or when
// no thread can be had) the reader does it itself. Either way the lines and
// keys are the same, in the same order.
//
// Not shared: one reader thread. The spool stays the caller's: it closes it
// after stop() or after nextLine() returned false.
#ifndef ZEBO_SYNC_SPOOLKEYS_H
#define ZEBO_SYNC_SPOOLKEYS_H

#include <stdio.h>

#include <string>

#include "sync/aheadring.h"
#include "sync/wrappedhandle.h"

class UtSpoolKeys {
  public:
    // Reads the open `spool` from where it stands; not copied (the ring's
    // thread refers to it).
    UtSpoolKeys(FILE* spool, bool ahead);

    // Moves to the next line that adds keys; false at the spool's end (or
    // after stop()). *feedback: whether it is SQL*Plus's closing line ("12
    // rows selected."), whose token is loaded but is not a handle.
    bool nextLine(bool* feedback);
    // The line's next key; null after its last. REQUIRES: a line's keys are
    // read to the null before the next nextLine().
    const char* nextKey();
    // Ends the reading thread; nothing more is read.
    void stop();

    // Lines per batch (some 20 bytes each in a catalog's spool): the ring
    // holds some 0.1 s of insertion, so that the insertion does not wait
    // when the reading thread, far ahead, is not scheduled for a while.
    enum { kLines = 16384 };

  private:
    bool parse(std::string* lines);

    FILE* spool_;
    UtWrappedHandles wrapped_;
    // One batch per ring slot, or the first alone without the thread: for
    // each line a mark ('F' feedback, 'H' handle), its keys each ended by
    // '\0', and an empty key.
    std::string batches_[AHEAD_BATCHES];
    const char* at_ = nullptr;  // the reader's place in its batch
    const char* end_ = nullptr;
    int batch_ = -1;
    bool ahead_ = false;
    bool ended_ = false;
    AheadRing ring_;  // last: its thread ends before the batches go
};

#endif
