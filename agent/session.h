// Session establishment: psDoRvkSetUp prepares the client API's environment
// once per process (after agent initialisation); zeboSession logs on, reads
// the session's options and information, and keeps the handle and the
// server's maximum number of objects per transaction in the agent context.
// Both go through the global API object gRvkApiObjP.
#ifndef ZEBO_AGENT_SESSION_H
#define ZEBO_AGENT_SESSION_H

#include <stdint.h>

#include "agent/agentctx.h"

// 0, the API's set-up code, or an errno value when the temporary file for
// nodeFromApi cannot be made. Sets apiCleanUpDue on success.
int16_t psDoRvkSetUp(AgentContext* context);

// 0 or the failing code: 168 (no password file), the log-on code, or the
// session-information query's code. On success context->rvkHandle and
// context->maxObjPerTxn are set.
int16_t zeboSession(AgentContext* context);

// The log-on step of zeboSession, also used by zebopasswd to prove a new
// password: logs on as ZEBO_NODE / ZEBO_OWNER with `password` (65 bytes;
// empty: the API finds the password itself) and the option file
// RVKI_ORC_CONFIG. While the server answers -50 the call is repeated, five
// attempts in all, without a pause. 0 with *handle set, or the last code.
// `caller` names the caller in the trace. The password is not wiped here.
int zeboLogOn(AgentContext* context, char* password, uint32_t* handle, const char* caller);

#endif
