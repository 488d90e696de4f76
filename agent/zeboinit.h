// Agent initialisation, run by the program entry right after the options
// were read: zeboInit sets the message repository up with the agent's
// catalog ("zebo.cat" under RVKI_ORC_DIR), its error log and the user's
// display formats; zeboSetTrace applies the trace options to the run's trace
// object (trcClass).
#ifndef ZEBO_AGENT_ZEBOINIT_H
#define ZEBO_AGENT_ZEBOINIT_H

#include <stdint.h>

#include "agent/agentctx.h"

// The display formats as the repository gets them. A format number out of
// its range (date 0-5, time 0-4, number 0-6) becomes 1; an empty option
// is 0. The bounds differ because each counts its own layouts.
struct ZeboFormats {
    int dateFmt;
    int timeFmt;
    int numberFmt;
};
ZeboFormats zeboClampFormats(const AgentContext* context);

// 0, or the repository's code (the failure is also written to the error log).
int16_t zeboInit(AgentContext* context);

// Test flags, trace file, its bound and the trace classes from the options.
// Trace flags count only when the trace file opened. Failures are written to
// the error log and the run goes on. Does nothing without trcClass.
void zeboSetTrace(AgentContext* context);

#endif
