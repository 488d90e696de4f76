// Orphan detection: the server is asked for every active backup object of
// the agent's file space, and each object whose low-level name (less a
// leading "/") the filename index lacks becomes an orphan record in
// syncList. Objects inserted on a day before the from-date are passed over:
// the catalogs were only asked for that range, so an older object says
// nothing. The comparison is exact and case-sensitive, like the catalog's
// own handles.
//
// With the trace class ORCLEVEL2 every object examined is also listed, one
// name per line, in a temporary file with the prefix "VLTO".
#ifndef ZEBO_SYNC_GETPICKLIST_H
#define ZEBO_SYNC_GETPICKLIST_H

#include <stdint.h>

#include "agent/agentctx.h"
#include "common/unx/nlsdate.h"
#include "sync/btree.h"
#include "sync/orphan.h"

enum { GPL_NO_MEMORY = 102 };  // an orphan record could not be stored

// Appends the orphans to `syncList`. Reads the session handle, the file
// space (ZEBO_FS) and the owner (ZEBO_OWNER) from the context. Returns 0
// (also when the server's query ends with a code other than "finished" or
// "no match": the list is then taken as it stands), 102, or the code of the
// session-information query or of the query start. With `compared`, it
// receives the number of objects looked up in the index (those inserted on
// or after the from-date).
int16_t utGetPickList(const nlDateTime* fromDate, const nlDateTime* toDate, AgentContext* context,
                      SyncList* syncList, BTree* index, unsigned long* compared = nullptr);

#endif
