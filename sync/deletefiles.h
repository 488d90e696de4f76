// Deletion of the orphans marked in the pick list: a last yes/no question,
// then the marked objects are deleted from the server in transactions of at
// most the session's maximum number of objects, and every deleted entry
// leaves syncList at once.
#ifndef ZEBO_SYNC_DELETEFILES_H
#define ZEBO_SYNC_DELETEFILES_H

#include <stdint.h>

#include "agent/agentctx.h"
#include "sync/deletepass.h"
#include "sync/orphan.h"

// Before the question the number of marked entries and their total size are
// shown; after a pass, a summary of what was committed and what is still on
// the server. With `pass`, it receives the record of the pass (deletepass.h;
// its `ran` stays false when the administrator refused).
// Returns 0 (refused, or all marked entries deleted) or the code of the
// server call that failed. Reads context->rvkHandle and maxObjPerTxn.
int16_t utDeleteFiles(SyncList* syncList, AgentContext* context, UtDeletePass* pass = nullptr);

#endif
