// The agent context: one record per run, owned by main and cleared as a whole
// by zeboReadOptions. It holds the option file's 21 values (as text, exactly
// as parsed), the server session handle and limits, and the flags that tell
// clean-up what is owed. Not shared between threads.
#ifndef ZEBO_AGENT_AGENTCTX_H
#define ZEBO_AGENT_AGENTCTX_H

#include <stdint.h>

// Slots of the option table, in the fixed order of optLookup.
enum ZeboOptSlot {
    OPT_RVKI_DIR = 0,
    OPT_RVKI_LOG,
    OPT_RVKI_ORC_DIR,
    OPT_RVKI_ORC_CONFIG,
    OPT_ZEBO_AVG_SIZE,
    OPT_ZEBO_FS,
    OPT_ZEBO_NODE,
    OPT_ZEBO_OWNER,
    OPT_ZEBO_PSWDPATH,
    OPT_ZEBO_TRACE_MAX,
    OPT_ZEBO_TRACE_FILE,
    OPT_ZEBO_TRACE_FLAGS,
    OPT_ZEBO_MGMT_CLASS_2,
    OPT_ZEBO_MGMT_CLASS_3,
    OPT_ZEBO_MGMT_CLASS_4,
    OPT_ZEBO_NUM_BUFFERS,
    OPT_ZEBO_DATE_FMT,
    OPT_ZEBO_TIME_FMT,
    OPT_ZEBO_NUM_FMT,
    OPT_ZEBO_LANGUAGE,
    OPT_ZEBO_TEST_FLAGS,
    OPT_COUNT  // 21
};

enum {
    ZEBO_OPT_VALUE_SIZE = 512,   // at most 511 characters and a NUL
    ZEBO_PATH_SIZE = 1025,       // paths of up to 1,024 characters
    ZEBO_ERROR_TEXT_SIZE = 1025  // the last error text
};

struct AgentContext {
    // 1 when neither ZEBO_NODE nor ZEBO_OWNER is given: the client API then
    // finds node and password by its own options.
    int32_t nodeFromApi;
    char optValue[OPT_COUNT][ZEBO_OPT_VALUE_SIZE];

    uint32_t rvkHandle;     // server session; 0 until the log-on succeeded
    uint32_t maxObjPerTxn;  // the server's limit per transaction
    int32_t apiCleanUpDue;  // the API's clean-up call is owed
    int32_t msgMode;        // application type handed to the message repository
    char errorText[ZEBO_ERROR_TEXT_SIZE];
};

#endif
