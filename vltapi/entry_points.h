/* The 43 entry points of the client library, in the order of the program's
 * lookup table, as an X-macro usable from C and C++: RVK_ENTRY_POINTS(X)
 * expands X(Name) for each, Name without its "rvk" prefix. */
#ifndef VLTAPI_ENTRY_POINTS_H
#define VLTAPI_ENTRY_POINTS_H

/* clang-format off */
#define RVK_ENTRY_POINTS(X)                                                                  \
    X(BeginGetData) X(BeginQuery) X(BeginTxn) X(BindMC) X(ChangePW) X(CleanUp)               \
    X(CreateDesKeyEx) X(DecryptEx) X(DeleteAccess) X(DeleteFS) X(DeleteObj) X(EncryptEx)     \
    X(EndGetData) X(EndGetObj) X(EndQuery) X(EndSendObj) X(EndSendObjEx) X(EndTxn)           \
    X(EndTxnEx) X(GetData) X(GetNextQObj) X(GetObj) X(GroupHandler) X(Init) X(InitEx)        \
    X(LogEventEx) X(QueryAccess) X(QueryApiVersion) X(QueryApiVersionEx) X(QueryCliOptions)  \
    X(QuerySessInfo) X(QuerySessOptions) X(RegisterFS) X(RenameObj) X(RCMsg) X(RCMsgEx)      \
    X(SetAccess) X(SendData) X(SendObj) X(SetUp) X(Terminate) X(UpdateFS) X(UpdateObj)
/* clang-format on */

#endif
