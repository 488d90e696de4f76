#include "agent/zebotrace.h"

#include <string.h>

#include "agent/agentctx.h"
#include "api/drvkapi.h"
#include "common/ut/testflags.h"
#include "common/ut/trace.h"

ZeboTrace* trcClass = nullptr;

namespace {
// The "[ctCLUtlAppl ]" tag: a command-line utility application.
const int kClientType = 10;
}  // namespace

ZeboTrace::ZeboTrace() {
    trcInit(kClientType, 0, 0);
}

int ZeboTrace::setTestFlags(const char* words) {
    return testFlagsSetTable(words, AgentTestClassTable);
}

void ZeboTrace::setMax(unsigned long megabytes) {
    trSetMax(megabytes);
}

int ZeboTrace::open(const char* name) {
    return trOpen(name, 1);
}

int ZeboTrace::setFlags(const char* words) {
    return trSetFlagsTables(words, 0, AgentClassTable, AgentAggregateTable);
}

void ZeboTrace::terminate() {
    trClose(1);
}

void zeboEndTrace() {
    if (!trcClass) return;
    trcClass->terminate();
    delete trcClass;
    trcClass = nullptr;
}

void zeboTraceBanner(AgentContext* context) {
    rvkApiVersionEx runTime;
    memset(&runTime, 0, sizeof runTime);
    gRvkApiObjP->drvkQueryApiVersionEx(RvkApiStatusObjP, &runTime);
    TRACE(TR_PREFIX,
          "\n===========================================================\n"
          "Tracing started for:\n"
          "-----------------------------------------------------------\n"
          "       Application Client:  %s %s\n"
          "              ZEB Version:  %d.%d.%d.%d\n"
          "  Compile Time API Header:  %d.%d.%d.%d\n"
          "      Run Time API Header:  %d.%d.%d.%d\n"
          "      Client Code Version:  %d.%d.%d.%d\n"
          "===========================================================\n\n",
          "ZEBO Linux86", "32bit", 5, 5, 2, 1, 5, 5, 0, 0, runTime.version, runTime.release,
          runTime.level, runTime.subLevel, 5, 5, 0, 5);
    // Kept in this order on purpose: ZEBO_TEST_FLAGS follows the trace flags,
    // and the three formats carry the labels of the agent's other tools
    // ("_FORMAT"), not the option file's "_FMT".
    const char(*v)[ZEBO_OPT_VALUE_SIZE] = context->optValue;
    TRACE(TR_PREFIX,
          "\n RVKI_DIR           : %s\n RVKI_LOG           : %s\n RVKI_ORC_DIR       : %s\n"
          " RVKI_ORC_CONFIG    : %s\n ZEBO_AVG_SIZE      : %s\n ZEBO_FS            : %s\n"
          " ZEBO_NODE          : %s\n ZEBO_OWNER         : %s\n ZEBO_PSWDPATH      : %s\n"
          " ZEBO_TRACE_MAX     : %s\n ZEBO_TRACE_FILE    : %s\n ZEBO_TRACE_FLAGS   : %s\n"
          " ZEBO_TEST_FLAGS    : %s\n ZEBO_MGMT_CLASS_2  : %s\n ZEBO_MGMT_CLASS_3  : %s\n"
          " ZEBO_MGMT_CLASS_4  : %s\n ZEBO_NUM_BUFFERS   : %s\n ZEBO_DATE_FORMAT   : %s\n"
          " ZEBO_TIME_FORMAT   : %s\n ZEBO_NUM_FORMAT    : %s\n ZEBO_LANGUAGE      : %s\n\n",
          v[OPT_RVKI_DIR], v[OPT_RVKI_LOG], v[OPT_RVKI_ORC_DIR], v[OPT_RVKI_ORC_CONFIG],
          v[OPT_ZEBO_AVG_SIZE], v[OPT_ZEBO_FS], v[OPT_ZEBO_NODE], v[OPT_ZEBO_OWNER],
          v[OPT_ZEBO_PSWDPATH], v[OPT_ZEBO_TRACE_MAX], v[OPT_ZEBO_TRACE_FILE],
          v[OPT_ZEBO_TRACE_FLAGS], v[OPT_ZEBO_TEST_FLAGS], v[OPT_ZEBO_MGMT_CLASS_2],
          v[OPT_ZEBO_MGMT_CLASS_3], v[OPT_ZEBO_MGMT_CLASS_4], v[OPT_ZEBO_NUM_BUFFERS],
          v[OPT_ZEBO_DATE_FMT], v[OPT_ZEBO_TIME_FMT], v[OPT_ZEBO_NUM_FMT], v[OPT_ZEBO_LANGUAGE]);
    // The banner says what ran with which options: it reaches the file at
    // once, not with the first buffer full of later lines.
    trFlush();
}
