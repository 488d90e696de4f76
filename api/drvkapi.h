// DRvkApi: the one door to the backup server's client API.
//
// The library is never linked: the loader (DRvkApiDL, drvkapidl.h) opens it
// at run time and fills the static entry-point table m_fnrvk<Name>P, one
// pointer per library function (the library's header lists them, in lookup
// order, as RVK_ENTRY_POINTS). Every drvk<Name> method does the same four
// things: trace "Enter", start the stopwatch of the timing record passed
// first, call through the table with the other arguments unchanged, stop the
// stopwatch and trace "Exit" with the code.
// Codes are the library's 16-bit codes widened to int.
//
// Above the thin wrappers sit the API's environment set-up (Init) and
// tear-down (Term), the version check, message texts for return codes, the
// server activity log, a log-on with a password callback and object groups.
//
// Before any load every table pointer holds KoruFunctionNotLoaded, so a call
// made too early stops in that fallback, not at a null address. After
// Cleanup the pointers are null (all but m_fnrvkQueryApiVersionExP, which
// keeps its value, as it always has): a call after Cleanup is a bug.
//
// Threads: the table and m_brvkSetUpDone are written by the main thread at
// start-up and shut-down only; the wrappers hold no lock.
#ifndef ZEBO_API_DRVKAPI_H
#define ZEBO_API_DRVKAPI_H

#include <stdint.h>

#include "api/dbaseapi.h"
#include "vltapi/include/rvkapi.h"

// Codes that the wrapper adds to the library's.
enum {
    RC_API_NOT_LOADED = 104,     // library or one of its entry points missing
    RC_API_LEVEL_TOO_LOW = 107,  // the library is older than the program
};

// The API level the program was built for: version 5, release 5, level 0.
#define DRVK_COMPILE_LEVEL 55000

// The API version the program was built for (5.5.0.0), as the log-on
// passes it.
inline rvkApiVersionEx drvkBuildVersion() {
    rvkApiVersionEx v = rvkRecord<rvkApiVersionEx>(RVK_APIVERSIONEX_VERSION);
    v.version = 5;
    v.release = 5;
    return v;
}

// Password callback of the log-on. Called when a password is needed (reason
// 137: none given, or the stored one was refused) or the server demands a
// new one (reason 52). Arguments: the reason; the client options' password
// access (1: the library keeps the password); the password tried so far
// (may be empty); the node name; the output buffer and its size (65); and
// the wrapper's own password field (65 bytes), for callbacks that keep it.
// The callback writes the password into the output buffer and returns 0; an
// empty output ends the log-on, with 101 when the callback returned 101
// (the user cancelled), else with 137.
typedef int32_t (*RvkPwCallback)(int reason, int passwordAccess, const char* passwordP,
                                 const char* nodeNameP, char* outP, int outSize,
                                 char* savedPasswordP);

// The caller's set-up data (SetSetupData). argv is the program's argument
// vector, whose first string goes to the library; baseOptions opens the
// log-on's option string ("-KEYWORD=value ..."; null or empty for none).
struct RvkApiSetupInfo {
    int argc;
    char** argv;
    const char* baseOptions;
};

// Everything a log-on takes, for the Logon overload that gets it in one
// record. Null pointers and empty strings are "not given".
struct RvkApiLogonInfo {
    rvkSessInfo* sessInfoP;  // filled when not null
    uint32_t* rvkHandleP;    // receives the session handle
    const char* nodeNameP;
    const char* asNodeNameP;
    const char* ownerNameP;
    const char* passwordP;
    const char* newPasswordP;
    const char* optFileP;
    RvkPwCallback pwCallback;  // null: defaultPWCallback
};

// Where LogApiError puts its text besides the trace: the activity log of
// the client runtime. Null (the default) writes nothing there.
extern void (*apiActivityLogSink)(const char* text);

class DRvkApi : public DBaseApi {
  public:
    DRvkApi(const char* nodeP, const char* passwordP, const char* optFileP,
            RvkPwCallback pwCallback);
    DRvkApi(const char* logDirP, const char* nodeP, const char* passwordP, const char* optFileP,
            RvkPwCallback pwCallback);
    ~DRvkApi() override;

    // Slots 3 to 5 (Setup and Cleanup are the loader's).
    int Init(ApiStatusObj* statusP, int* reasonP) override;
    int Term(ApiStatusObj* statusP) override;
    const char* GetApiName() override;

    const char* getVltOptFile();
    const char* getVltNode();

    static void SetSetupData(RvkApiSetupInfo* infoP);
    // Nulls 42 of the 43 pointers: m_fnrvkQueryApiVersionExP is left alone.
    static void ClearPointers();
    // Publishes a complete table, addresses in the order of RVK_ENTRY_POINTS.
    static void SetPointers(void* const addresses[RVK_ENTRY_COUNT]);

    // --- Thin wrappers, one per entry point --------------------------------
    int drvkBeginGetData(ApiStatusObj* statusP, uint32_t handle, uint8_t mountWait, uint8_t getType,
                         rvkGetList* getListP);
    int drvkBeginQuery(ApiStatusObj* statusP, uint32_t handle, uint8_t queryType, void* queryDataP);
    int drvkBeginTxn(ApiStatusObj* statusP, uint32_t handle);
    int drvkBindMC(ApiStatusObj* statusP, uint32_t handle, rvkObjName* objNameP, uint8_t sendType,
                   rvkMcBindKey* mcBindKeyP);
    int drvkChangePW(ApiStatusObj* statusP, uint32_t handle, char* oldPwP, char* newPwP);
    int drvkCleanUp(ApiStatusObj* statusP, uint8_t multiThread);
    // The key and cipher calls keep no return value.
    void drvkCreateDesKeyEx(ApiStatusObj* statusP, unsigned char* keyP, char* nodeNameP);
    void drvkDecryptEx(ApiStatusObj* statusP, unsigned char* keyP, unsigned char* cipherP,
                       unsigned char* plainP);
    int drvkDeleteAccess(ApiStatusObj* statusP, uint32_t handle, uint32_t ruleNumber);
    int drvkDeleteFS(ApiStatusObj* statusP, uint32_t handle, char* fsNameP, uint8_t repository);
    int drvkDeleteObj(ApiStatusObj* statusP, uint32_t handle, uint8_t delType, rvkDelInfo delInfo);
    void drvkEncryptEx(ApiStatusObj* statusP, unsigned char* keyP, unsigned char* plainP,
                       unsigned char* cipherP);
    int drvkEndGetData(ApiStatusObj* statusP, uint32_t handle);
    int drvkEndGetObj(ApiStatusObj* statusP, uint32_t handle);
    int drvkEndQuery(ApiStatusObj* statusP, uint32_t handle);
    int drvkEndSendObj(ApiStatusObj* statusP, uint32_t handle);
    // Builds the extended records itself; any output pointer may be null.
    int drvkEndSendObjEx(ApiStatusObj* statusP, uint32_t handle, uint64_t* totalBytesSentP,
                         uint64_t* totalStoredBytesP, uint64_t* totalCompressedBytesP,
                         uint32_t* txnObjCountP, uint8_t* objCompressedP);
    int drvkEndTxn(ApiStatusObj* statusP, uint32_t handle, uint8_t vote, uint16_t* reasonP);
    // Builds the extended records itself; either output pointer may be null.
    int drvkEndTxnEx(ApiStatusObj* statusP, uint32_t handle, uint8_t vote, uint16_t* reasonP,
                     rvkU64* groupLeaderObjIdP);
    int drvkGetData(ApiStatusObj* statusP, uint32_t handle, rvkDataBlk* dataBlkP);
    int drvkGetNextQObj(ApiStatusObj* statusP, uint32_t handle, rvkDataBlk* dataBlkP);
    int drvkGetObj(ApiStatusObj* statusP, uint32_t handle, rvkU64* objIdP, rvkDataBlk* dataBlkP);
    int drvkGroupHandler(ApiStatusObj* statusP, rvkGroupHandlerIn* inP, rvkGroupHandlerOut* outP);
    int drvkInit(ApiStatusObj* statusP, uint32_t* handleP, rvkApiVersion* clientVersionP,
                 char* nodeNameP, char* ownerNameP, char* passwordP, char* appTypeP, char* optFileP,
                 char* optionsP);
    int drvkInitEx(ApiStatusObj* statusP, uint32_t* handleP, rvkInitExIn* inP, rvkInitExOut* outP);
    int drvkLogEventEx(ApiStatusObj* statusP, uint32_t handle, rvkLogEventIn* inP,
                       rvkLogEventOut* outP);
    int drvkQueryAccess(ApiStatusObj* statusP, uint32_t handle, rvkAccessRule** rulesP,
                        uint16_t* numRulesP);
    void drvkQueryApiVersion(ApiStatusObj* statusP, rvkApiVersion* versionP);
    void drvkQueryApiVersionEx(ApiStatusObj* statusP, rvkApiVersionEx* versionP);
    int drvkQueryCliOptions(ApiStatusObj* statusP, rvkCliOptions* optionsP);
    int drvkQuerySessInfo(ApiStatusObj* statusP, uint32_t handle, rvkSessInfo* infoP);
    int drvkQuerySessOptions(ApiStatusObj* statusP, uint32_t handle, rvkSessOptions* optionsP);
    int drvkRCMsg(ApiStatusObj* statusP, uint32_t handle, int16_t rc, char* msgP);
    int drvkRCMsgEx(ApiStatusObj* statusP, int16_t rc, rvkMsgBuffer* msgP);
    int drvkRegisterFS(ApiStatusObj* statusP, uint32_t handle, rvkRegFSData* regFSP);
    int drvkRenameObj(ApiStatusObj* statusP, uint32_t handle, rvkRenameIn* inP);
    int drvkSendData(ApiStatusObj* statusP, uint32_t handle, rvkDataBlk* dataBlkP);
    int drvkSendObj(ApiStatusObj* statusP, uint32_t handle, uint8_t sendType, void* sendBuffP,
                    rvkObjName* objNameP, rvkObjAttr* objAttrP, rvkDataBlk* dataBlkP);
    int drvkSetAccess(ApiStatusObj* statusP, uint32_t handle, uint8_t accessType,
                      rvkObjName* objNameP, char* nodeP, char* ownerP);
    int drvkSetUp(ApiStatusObj* statusP, uint8_t multiThread, rvkEnvSetUp* envP);
    // Handle 0: returns 0 without calling the library or timing anything.
    int drvkTerminate(ApiStatusObj* statusP, uint32_t handle);
    int drvkUpdateFS(ApiStatusObj* statusP, uint32_t handle, char* fsNameP, rvkFSUpd* updP,
                     uint32_t action);
    int drvkUpdateObj(ApiStatusObj* statusP, uint32_t handle, uint8_t sendType, void* sendBuffP,
                      rvkObjName* objNameP, rvkObjAttr* objAttrP, uint32_t action);

    // --- Above the wrappers ------------------------------------------------
    // 0, or 107 when the library's level (version * 10000 + release * 1000 +
    // level * 100) is below DRVK_COMPILE_LEVEL. Fills *versionP.
    int checkCompatibility(ApiStatusObj* statusP, rvkApiVersionEx* versionP);

    // The library's text for rc, cut to size - 1 characters; *lengthP is the
    // full length of the text, so a caller sees when its buffer was too
    // small. On failure the text is empty and the length 0. Returns the
    // library's code.
    int AgtRvkRCMsg(ApiStatusObj* statusP, uint32_t handle, int rc, char* bufferP, int size,
                    int* lengthP);
    // As AgtRvkRCMsg, but never without a text (a stand-in names the code),
    // with "\n" appended (counted in the length), and the text also written
    // to the server's activity log. rc 0: empty text.
    int GetApiError(ApiStatusObj* statusP, uint32_t handle, int rc, char* bufferP, int size,
                    int* lengthP);
    // Writes "error <rc> returned from <function>: <text>" to the activity
    // log sink and the trace; nothing for rc 0.
    void LogApiError(ApiStatusObj* statusP, uint32_t handle, int rc, const char* functionNameP);
    void writeKoruServerLog(ApiStatusObj* statusP, uint32_t handle, uint32_t severity, char* textP,
                            const char* appMsgIdP);

    // rvkRegisterFS, with "already registered" (2062) counted as success.
    int registerFilespace(ApiStatusObj* statusP, uint32_t handle, rvkRegFSData* regFSP);
    int Logoff(ApiStatusObj* statusP, uint32_t handle);

    // Log-on with the object's node, password, option file and callback; the
    // handle goes to *rvkHandleP.
    int Logon(ApiStatusObj* statusP, uint32_t* rvkHandleP);
    // The same, logging on for another node (-ASNODE) and, when given,
    // changing the password and filling session information.
    int Logon(ApiStatusObj* statusP, rvkSessInfo* sessInfoP, uint32_t* rvkHandleP,
              const char* newPasswordP, const char* asNodeNameP);
    // Everything from the caller's record.
    int Logon(ApiStatusObj* statusP, RvkApiLogonInfo* rvkApiLogonInfoP);
    // The worker behind the three. Returns 0 or the failing code (101 user
    // cancelled, 137 no password, the log-on's, password change's or session
    // information's code). After it the object's password field holds the
    // password finally used.
    int LogonFull(ApiStatusObj* statusP, rvkSessInfo* sessInfoP, uint32_t* rvkHandleP,
                  const char* nodeNameP, const char* asNodeNameP, const char* ownerNameP,
                  const char* passwordP, const char* newPasswordP, const char* optFileP,
                  RvkPwCallback pwCallback);
    // Empties the output and returns 0: a log-on that needs a password then
    // fails with 137.
    static int32_t defaultPWCallback(int reason, int passwordAccess, const char* passwordP,
                                     const char* nodeNameP, char* outP, int outSize,
                                     char* savedPasswordP);

    // --- Object groups (each in a transaction of its own) -----------------
    // Opens a group: removes open leaders of that name left from earlier
    // runs, then sends the new leader; its id goes to *leaderIdP.
    int groupAdd(ApiStatusObj* statusP, uint32_t handle, uint8_t groupType, rvkObjName* leaderNameP,
                 rvkU64* leaderIdP);
    int groupAssign(ApiStatusObj* statusP, uint32_t handle, uint8_t groupType, rvkU64 leaderId,
                    uint32_t numMembers, rvkU64* memberIdsP);
    int groupRemove(ApiStatusObj* statusP, uint32_t handle, uint8_t groupType, rvkU64 leaderId,
                    uint32_t numMembers, rvkU64* memberIdsP);
    int groupClose(ApiStatusObj* statusP, uint32_t handle, uint8_t groupType, rvkU64 leaderId,
                   rvkObjName* leaderNameP);
    int groupDelete(ApiStatusObj* statusP, uint32_t handle, rvkU64 leaderId);

    // --- The entry-point table ----------------------------------------------
#define DRVK_DECLARE_POINTER(Name) static decltype(&::rvk##Name) m_fnrvk##Name##P;
    RVK_ENTRY_POINTS(DRVK_DECLARE_POINTER)
#undef DRVK_DECLARE_POINTER

    static int32_t m_brvkSetUpDone;
    static RvkApiSetupInfo* m_RvkApiSetupInfoP;

  protected:
    char m_optFile[1280];
    char m_node[65];
    char m_password[65];
    char m_logDir[1281];
    RvkPwCallback m_pwCallback;

  private:
    // The four steps of every thin wrapper.
    template <typename Fn, typename... Args>
    int callApi(const char* nameP, ApiStatusObj* statusP, Fn fn, Args... args);
    template <typename Fn, typename... Args>
    void callApiVoid(const char* nameP, ApiStatusObj* statusP, Fn fn, Args... args);
    // One group action (assign, remove, close) in its own transaction.
    int groupAction(ApiStatusObj* statusP, const char* fnNameP, const char* actionNameP,
                    uint8_t action, uint32_t handle, uint8_t groupType, rvkU64 leaderId,
                    rvkObjName* leaderNameP, uint32_t numMembers, rvkU64* memberIdsP);
};

// The program's one API object (a DRvkApiDL), created at start-up.
extern DRvkApi* gRvkApiObjP;

// The fallback in every table slot before the library is loaded: traces and
// stops the program with a failed assertion.
int32_t KoruFunctionNotLoaded();

#endif
