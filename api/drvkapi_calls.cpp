// The thin wrappers: one per entry point of the client library, each traced
// and timed the same way.
#include <string.h>

#include "api/drvkapi.h"
#include "common/ut/trace.h"

template <typename Fn, typename... Args>
int DRvkApi::callApi(const char* nameP, ApiStatusObj* statusP, Fn fn, Args... args) {
    TRACE(TR_API, "Enter %s\n", nameP);
    // Only the trace shows the stopwatch's figures; untraced, a query of
    // millions of objects would read the clock twice for each of them.
    bool timed = TR_API || TR_PERFORMANCE;
    if (timed) StartApiCall(statusP);
    int rc = fn(args...);
    if (timed) EndApiCall(this, statusP);
    TRACE(TR_API, "Exit %s, rc = %d\n", nameP, rc);
    return rc;
}

template <typename Fn, typename... Args>
void DRvkApi::callApiVoid(const char* nameP, ApiStatusObj* statusP, Fn fn, Args... args) {
    TRACE(TR_API, "Enter %s\n", nameP);
    StartApiCall(statusP);
    fn(args...);
    EndApiCall(this, statusP);
    TRACE(TR_API, "Exit %s, rc = %d\n", nameP, 0);
}

int DRvkApi::drvkBeginGetData(ApiStatusObj* s, uint32_t handle, uint8_t mountWait, uint8_t getType,
                              rvkGetList* getListP) {
    return callApi("DRvkApi::drvkBeginGetData()", s, m_fnrvkBeginGetDataP, handle, mountWait,
                   getType, getListP);
}

int DRvkApi::drvkBeginQuery(ApiStatusObj* s, uint32_t handle, uint8_t queryType, void* queryDataP) {
    return callApi("DRvkApi::drvkBeginQuery()", s, m_fnrvkBeginQueryP, handle, queryType,
                   queryDataP);
}

int DRvkApi::drvkBeginTxn(ApiStatusObj* s, uint32_t handle) {
    return callApi("DRvkApi::drvkBeginTxn()", s, m_fnrvkBeginTxnP, handle);
}

int DRvkApi::drvkBindMC(ApiStatusObj* s, uint32_t handle, rvkObjName* objNameP, uint8_t sendType,
                        rvkMcBindKey* mcBindKeyP) {
    return callApi("DRvkApi::drvkBindMC()", s, m_fnrvkBindMCP, handle, objNameP, sendType,
                   mcBindKeyP);
}

int DRvkApi::drvkChangePW(ApiStatusObj* s, uint32_t handle, char* oldPwP, char* newPwP) {
    return callApi("DRvkApi::drvkChangePW()", s, m_fnrvkChangePWP, handle, oldPwP, newPwP);
}

int DRvkApi::drvkCleanUp(ApiStatusObj* s, uint8_t multiThread) {
    return callApi("DRvkApi::drvkCleanUp()", s, m_fnrvkCleanUpP, multiThread);
}

void DRvkApi::drvkCreateDesKeyEx(ApiStatusObj* s, unsigned char* keyP, char* nodeNameP) {
    callApiVoid("DRvkApi::drvkCreateDesKeyEx()", s, m_fnrvkCreateDesKeyExP, keyP, nodeNameP);
}

void DRvkApi::drvkDecryptEx(ApiStatusObj* s, unsigned char* keyP, unsigned char* cipherP,
                            unsigned char* plainP) {
    callApiVoid("DRvkApi::drvkDecryptEx()", s, m_fnrvkDecryptExP, keyP, cipherP, plainP);
}

int DRvkApi::drvkDeleteAccess(ApiStatusObj* s, uint32_t handle, uint32_t ruleNumber) {
    return callApi("DRvkApi::drvkDeleteAccess()", s, m_fnrvkDeleteAccessP, handle, ruleNumber);
}

int DRvkApi::drvkDeleteFS(ApiStatusObj* s, uint32_t handle, char* fsNameP, uint8_t repository) {
    return callApi("DRvkApi::drvkDeleteFS()", s, m_fnrvkDeleteFSP, handle, fsNameP, repository);
}

int DRvkApi::drvkDeleteObj(ApiStatusObj* s, uint32_t handle, uint8_t delType, rvkDelInfo delInfo) {
    return callApi("DRvkApi::drvkDeleteObj()", s, m_fnrvkDeleteObjP, handle, delType, delInfo);
}

void DRvkApi::drvkEncryptEx(ApiStatusObj* s, unsigned char* keyP, unsigned char* plainP,
                            unsigned char* cipherP) {
    callApiVoid("DRvkApi::drvkEncryptEx()", s, m_fnrvkEncryptExP, keyP, plainP, cipherP);
}

int DRvkApi::drvkEndGetData(ApiStatusObj* s, uint32_t handle) {
    return callApi("DRvkApi::drvkEndGetData()", s, m_fnrvkEndGetDataP, handle);
}

int DRvkApi::drvkEndGetObj(ApiStatusObj* s, uint32_t handle) {
    return callApi("DRvkApi::drvkEndGetObj()", s, m_fnrvkEndGetObjP, handle);
}

int DRvkApi::drvkEndQuery(ApiStatusObj* s, uint32_t handle) {
    return callApi("DRvkApi::drvkEndQuery()", s, m_fnrvkEndQueryP, handle);
}

int DRvkApi::drvkEndSendObj(ApiStatusObj* s, uint32_t handle) {
    return callApi("DRvkApi::drvkEndSendObj()", s, m_fnrvkEndSendObjP, handle);
}

int DRvkApi::drvkEndSendObjEx(ApiStatusObj* s, uint32_t handle, uint64_t* totalBytesSentP,
                              uint64_t* totalStoredBytesP, uint64_t* totalCompressedBytesP,
                              uint32_t* txnObjCountP, uint8_t* objCompressedP) {
    auto in = rvkRecord<rvkEndSendObjExIn>(RVK_ENDSENDOBJEXIN_VERSION);
    auto out = rvkRecord<rvkEndSendObjExOut>(RVK_ENDSENDOBJEXOUT_VERSION);
    in.handle = handle;
    int rc = callApi("DRvkApi::drvkEndSendObjEx()", s, m_fnrvkEndSendObjExP, &in, &out);
    if (totalBytesSentP) *totalBytesSentP = out.totalBytesSent;
    if (totalStoredBytesP) *totalStoredBytesP = out.totalStoredBytes;
    if (totalCompressedBytesP) *totalCompressedBytesP = out.totalCompressedBytes;
    if (txnObjCountP) *txnObjCountP = out.txnObjCount;
    if (objCompressedP) *objCompressedP = out.objCompressed;
    return rc;
}

int DRvkApi::drvkEndTxn(ApiStatusObj* s, uint32_t handle, uint8_t vote, uint16_t* reasonP) {
    return callApi("DRvkApi::drvkEndTxn()", s, m_fnrvkEndTxnP, handle, vote, reasonP);
}

int DRvkApi::drvkEndTxnEx(ApiStatusObj* s, uint32_t handle, uint8_t vote, uint16_t* reasonP,
                          rvkU64* groupLeaderObjIdP) {
    auto in = rvkRecord<rvkEndTxnExIn>(RVK_ENDTXNEXIN_VERSION);
    auto out = rvkRecord<rvkEndTxnExOut>(RVK_ENDTXNEXOUT_VERSION);
    in.handle = handle;
    in.vote = vote;
    int rc = callApi("DRvkApi::drvkEndTxnEx()", s, m_fnrvkEndTxnExP, &in, &out);
    if (reasonP) *reasonP = out.reason;
    if (groupLeaderObjIdP) *groupLeaderObjIdP = out.groupLeaderObjId;
    return rc;
}

int DRvkApi::drvkGetData(ApiStatusObj* s, uint32_t handle, rvkDataBlk* dataBlkP) {
    return callApi("DRvkApi::drvkGetData()", s, m_fnrvkGetDataP, handle, dataBlkP);
}

int DRvkApi::drvkGetNextQObj(ApiStatusObj* s, uint32_t handle, rvkDataBlk* dataBlkP) {
    return callApi("DRvkApi::drvkGetNextQObj()", s, m_fnrvkGetNextQObjP, handle, dataBlkP);
}

int DRvkApi::drvkGetObj(ApiStatusObj* s, uint32_t handle, rvkU64* objIdP, rvkDataBlk* dataBlkP) {
    return callApi("DRvkApi::drvkGetObj()", s, m_fnrvkGetObjP, handle, objIdP, dataBlkP);
}

int DRvkApi::drvkGroupHandler(ApiStatusObj* s, rvkGroupHandlerIn* inP, rvkGroupHandlerOut* outP) {
    return callApi("DRvkApi::drvkGroupHandler()", s, m_fnrvkGroupHandlerP, inP, outP);
}

int DRvkApi::drvkInit(ApiStatusObj* s, uint32_t* handleP, rvkApiVersion* clientVersionP,
                      char* nodeNameP, char* ownerNameP, char* passwordP, char* appTypeP,
                      char* optFileP, char* optionsP) {
    return callApi("DRvkApi::drvkInit()", s, m_fnrvkInitP, handleP, clientVersionP, nodeNameP,
                   ownerNameP, passwordP, appTypeP, optFileP, optionsP);
}

int DRvkApi::drvkInitEx(ApiStatusObj* s, uint32_t* handleP, rvkInitExIn* inP, rvkInitExOut* outP) {
    return callApi("DRvkApi::drvkInitEx()", s, m_fnrvkInitExP, handleP, inP, outP);
}

int DRvkApi::drvkLogEventEx(ApiStatusObj* s, uint32_t handle, rvkLogEventIn* inP,
                            rvkLogEventOut* outP) {
    return callApi("DRvkApi::drvkLogEventEx()", s, m_fnrvkLogEventExP, handle, inP, outP);
}

int DRvkApi::drvkQueryAccess(ApiStatusObj* s, uint32_t handle, rvkAccessRule** rulesP,
                             uint16_t* numRulesP) {
    return callApi("DRvkApi::drvkQueryAccess()", s, m_fnrvkQueryAccessP, handle, rulesP, numRulesP);
}

void DRvkApi::drvkQueryApiVersion(ApiStatusObj* s, rvkApiVersion* versionP) {
    callApiVoid("DRvkApi::drvkQueryApiVersion()", s, m_fnrvkQueryApiVersionP, versionP);
}

void DRvkApi::drvkQueryApiVersionEx(ApiStatusObj* s, rvkApiVersionEx* versionP) {
    callApiVoid("DRvkApi::drvkQueryApiVersionEx()", s, m_fnrvkQueryApiVersionExP, versionP);
}

int DRvkApi::drvkQueryCliOptions(ApiStatusObj* s, rvkCliOptions* optionsP) {
    return callApi("DRvkApi::drvkQueryCliOptions()", s, m_fnrvkQueryCliOptionsP, optionsP);
}

int DRvkApi::drvkQuerySessInfo(ApiStatusObj* s, uint32_t handle, rvkSessInfo* infoP) {
    return callApi("DRvkApi::drvkQuerySessInfo()", s, m_fnrvkQuerySessInfoP, handle, infoP);
}

int DRvkApi::drvkQuerySessOptions(ApiStatusObj* s, uint32_t handle, rvkSessOptions* optionsP) {
    return callApi("DRvkApi::drvkQuerySessOptions()", s, m_fnrvkQuerySessOptionsP, handle,
                   optionsP);
}

int DRvkApi::drvkRCMsg(ApiStatusObj* s, uint32_t handle, int16_t rc, char* msgP) {
    return callApi("DRvkApi::drvkRCMsg()", s, m_fnrvkRCMsgP, handle, rc, msgP);
}

int DRvkApi::drvkRCMsgEx(ApiStatusObj* s, int16_t rc, rvkMsgBuffer* msgP) {
    return callApi("DRvkApi::drvkRCMsgEx()", s, m_fnrvkRCMsgExP, rc, msgP);
}

int DRvkApi::drvkRegisterFS(ApiStatusObj* s, uint32_t handle, rvkRegFSData* regFSP) {
    return callApi("DRvkApi::drvkRegisterFS()", s, m_fnrvkRegisterFSP, handle, regFSP);
}

int DRvkApi::drvkRenameObj(ApiStatusObj* s, uint32_t handle, rvkRenameIn* inP) {
    return callApi("DRvkApi::drvkRenameObj()", s, m_fnrvkRenameObjP, handle, inP);
}

int DRvkApi::drvkSendData(ApiStatusObj* s, uint32_t handle, rvkDataBlk* dataBlkP) {
    return callApi("DRvkApi::drvkSendData()", s, m_fnrvkSendDataP, handle, dataBlkP);
}

int DRvkApi::drvkSendObj(ApiStatusObj* s, uint32_t handle, uint8_t sendType, void* sendBuffP,
                         rvkObjName* objNameP, rvkObjAttr* objAttrP, rvkDataBlk* dataBlkP) {
    return callApi("DRvkApi::drvkSendObj()", s, m_fnrvkSendObjP, handle, sendType, sendBuffP,
                   objNameP, objAttrP, dataBlkP);
}

int DRvkApi::drvkSetAccess(ApiStatusObj* s, uint32_t handle, uint8_t accessType,
                           rvkObjName* objNameP, char* nodeP, char* ownerP) {
    return callApi("DRvkApi::drvkSetAccess()", s, m_fnrvkSetAccessP, handle, accessType, objNameP,
                   nodeP, ownerP);
}

int DRvkApi::drvkSetUp(ApiStatusObj* s, uint8_t multiThread, rvkEnvSetUp* envP) {
    return callApi("DRvkApi::drvkSetUp()", s, m_fnrvkSetUpP, multiThread, envP);
}

int DRvkApi::drvkTerminate(ApiStatusObj* s, uint32_t handle) {
    if (handle == 0) {
        // No session: nothing to end, nothing to time.
        TRACE(TR_API, "Enter %s\n", "DRvkApi::drvkTerminate()");
        TRACE(TR_API, "Exit %s, rc = %d\n", "DRvkApi::drvkTerminate()", 0);
        return 0;
    }
    return callApi("DRvkApi::drvkTerminate()", s, m_fnrvkTerminateP, handle);
}

int DRvkApi::drvkUpdateFS(ApiStatusObj* s, uint32_t handle, char* fsNameP, rvkFSUpd* updP,
                          uint32_t action) {
    return callApi("DRvkApi::drvkUpdateFS()", s, m_fnrvkUpdateFSP, handle, fsNameP, updP, action);
}

int DRvkApi::drvkUpdateObj(ApiStatusObj* s, uint32_t handle, uint8_t sendType, void* sendBuffP,
                           rvkObjName* objNameP, rvkObjAttr* objAttrP, uint32_t action) {
    return callApi("DRvkApi::drvkUpdateObj()", s, m_fnrvkUpdateObjP, handle, sendType, sendBuffP,
                   objNameP, objAttrP, action);
}
