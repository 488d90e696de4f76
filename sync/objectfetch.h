// ObjectFetcher: the objects of an open backup query, read ahead.
//
// The orphan search spends its time in two places of about the same cost:
// the server's query (the library steps its database and fills a response
// record per object) and the index lookups with the orphan records. With
// `ahead`, a second thread makes the fetch calls and fills a small ring of
// batches of response records while the caller examines the batch before,
// so that the search costs about the larger of the two rather than their
// sum. Without it (or when the thread or its records cannot be had) every
// next() makes the fetch call itself, as a plain loop would.
//
// Either way the caller sees the same objects in the server's order, and
// the fetch calls reach the server in the same order: the thread only runs
// ahead by at most the ring. The caller passes `ahead` only when nothing
// that the fetch calls write (the wrapper's API and performance trace) can
// interleave with its own output. The thread blocks the shutdown signals,
// so that their handler runs on the main thread.
//
// Not shared: one caller thread calls next() and stop(). While the fetcher
// runs, the query is the fetcher's: the caller reads query->lastRc() only
// after next() returned null, and ends the query only after stop().
#ifndef ZEBO_SYNC_OBJECTFETCH_H
#define ZEBO_SYNC_OBJECTFETCH_H

#include <memory>

#include "api/backupquery.h"
#include "sync/aheadring.h"

class ObjectFetcher {
  public:
    // Reads from *query, which is open and outlives the fetcher.
    ObjectFetcher(BackupQuery* query, bool ahead);

    // The next object, the caller's until the following next(); null once a
    // fetch returned anything but RVK_RC_MORE_DATA (query->lastRc() has it)
    // or after stop().
    rvkQryRespBackup* next();

    // Lets the fetch call in progress finish and ends the thread; no fetch
    // is made after it. The objects fetched ahead are dropped.
    void stop();

    // Whether a second thread does the fetching.
    bool ahead() const { return ring_.running(); }

    // Objects per batch: enough that the two threads meet seldom, few
    // enough that the ring (some 3 KB an object) stays in the caches.
    enum { kRows = 256 };

  private:
    bool fill(int batch);

    BackupQuery* query_;
    std::unique_ptr<rvkQryRespBackup[]> rows_;  // AHEAD_BATCHES batches of kRows
    int counts_[AHEAD_BATCHES] = {};            // filled rows of each batch
    int batch_ = -1;                            // the reader's batch and row within
    int row_ = 0;
    bool ended_ = false;
    AheadRing ring_;  // last: its thread ends before the rows go
};

#endif
