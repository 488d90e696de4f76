// The client library's 43 entry points, in the order in which the loader
// looks them up. The order is almost alphabetical (RenameObj before RCMsg,
// SetAccess before SendData) and must stay as it is: the i-th name found
// feeds the i-th pointer of the wrapper's table.
//
// X(Name) is expanded once per entry point; the library's function is
// rvk<Name>, the wrapper's pointer m_fnrvk<Name>P, its method drvk<Name>.
#ifndef ZEBO_API_DRVKENTRIES_H
#define ZEBO_API_DRVKENTRIES_H

#define DRVK_ENTRY_POINTS(X) \
    X(BeginGetData)          \
    X(BeginQuery)            \
    X(BeginTxn)              \
    X(BindMC)                \
    X(ChangePW)              \
    X(CleanUp)               \
    X(CreateDesKeyEx)        \
    X(DecryptEx)             \
    X(DeleteAccess)          \
    X(DeleteFS)              \
    X(DeleteObj)             \
    X(EncryptEx)             \
    X(EndGetData)            \
    X(EndGetObj)             \
    X(EndQuery)              \
    X(EndSendObj)            \
    X(EndSendObjEx)          \
    X(EndTxn)                \
    X(EndTxnEx)              \
    X(GetData)               \
    X(GetNextQObj)           \
    X(GetObj)                \
    X(GroupHandler)          \
    X(Init)                  \
    X(InitEx)                \
    X(LogEventEx)            \
    X(QueryAccess)           \
    X(QueryApiVersion)       \
    X(QueryApiVersionEx)     \
    X(QueryCliOptions)       \
    X(QuerySessInfo)         \
    X(QuerySessOptions)      \
    X(RegisterFS)            \
    X(RenameObj)             \
    X(RCMsg)                 \
    X(RCMsgEx)               \
    X(SetAccess)             \
    X(SendData)              \
    X(SendObj)               \
    X(SetUp)                 \
    X(Terminate)             \
    X(UpdateFS)              \
    X(UpdateObj)

#define DRVK_ENTRY_COUNT 43

#endif
