// The synchronisation driver behind the SYNCdb command: opens the server
// session, asks for the recovery catalog connections and the date range,
// loads the catalogs' backup-piece handles into the filename index, lists the
// server objects the catalogs lack (syncList), and alternates between the
// pick list and the deletion until the administrator leaves.
#ifndef ZEBO_SYNC_SYNCDB_H
#define ZEBO_SYNC_SYNCDB_H

#include <stdint.h>

#include "agent/agentctx.h"
#include "sync/cmdopts.h"

// 0, -1, 2522, 2531, or an API, catalog-query or deletion code.
int16_t zeboSyncVltToRman(AgentContext* context, ZeboCmdOptions* options);

#endif
