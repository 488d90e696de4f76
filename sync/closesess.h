// closeSess: the one clean-up path of zebosync. Every exit after the message
// repository exists passes through it, successful or not, so the repository
// is always released and the client API's clean-up is made exactly when its
// set-up succeeded (apiCleanUpDue). It never fails; the caller ends the
// trace object afterwards.
#ifndef ZEBO_SYNC_CLOSESESS_H
#define ZEBO_SYNC_CLOSESESS_H

#include "agent/agentctx.h"

void closeSess(AgentContext* context);

#endif
