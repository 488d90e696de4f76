// Deletion of the orphans marked in the pick list: a last yes/no question,
// then the marked objects are deleted from the server in transactions of at
// most the session's maximum number of objects, and every deleted entry
// leaves syncList at once.
#ifndef ZEBO_SYNC_DELETEFILES_H
#define ZEBO_SYNC_DELETEFILES_H

#include <stdint.h>

#include "agent/agentctx.h"
#include "sync/orphan.h"

// Returns 0 (refused, or all marked entries deleted) or the code of the
// server call that failed. Reads context->rvkHandle and maxObjPerTxn.
int16_t utDeleteFiles(SyncList* syncList, AgentContext* context);

#endif
