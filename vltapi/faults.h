// Fault injection for tests: RVK_FAULTS="name@N=rc,name@N-M=rc,..." makes
// the N-th (to M-th) call of entry point `name` in this process return rc
// without doing anything. Calls are counted per entry point from 1, all
// threads together; the list is read at the first call of any entry point.
#ifndef VLTAPI_FAULTS_H
#define VLTAPI_FAULTS_H

#include <stdint.h>

namespace vlt {

// The 43 entry points, in the order of the program's lookup table.
enum class Fn {
    BeginGetData,
    BeginQuery,
    BeginTxn,
    BindMC,
    ChangePW,
    CleanUp,
    CreateDesKeyEx,
    DecryptEx,
    DeleteAccess,
    DeleteFS,
    DeleteObj,
    EncryptEx,
    EndGetData,
    EndGetObj,
    EndQuery,
    EndSendObj,
    EndSendObjEx,
    EndTxn,
    EndTxnEx,
    GetData,
    GetNextQObj,
    GetObj,
    GroupHandler,
    Init,
    InitEx,
    LogEventEx,
    QueryAccess,
    QueryApiVersion,
    QueryApiVersionEx,
    QueryCliOptions,
    QuerySessInfo,
    QuerySessOptions,
    RegisterFS,
    RenameObj,
    RCMsg,
    RCMsgEx,
    SetAccess,
    SendData,
    SendObj,
    SetUp,
    Terminate,
    UpdateFS,
    UpdateObj,
    Count
};

const char* fnName(Fn fn);

// Counts this call of `fn`; true (with *rc set) when it is to fail.
bool faultFires(Fn fn, int16_t* rc);

}  // namespace vlt

// First statement of every entry point that returns a code.
#define RVK_ENTRY(name)                                                 \
    do {                                                                \
        int16_t faultRc_ = 0;                                           \
        if (vlt::faultFires(vlt::Fn::name, &faultRc_)) return faultRc_; \
    } while (0)

#endif
