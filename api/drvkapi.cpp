// The fallback below must stop the program in every build, so the assertion
// stays armed even where the build defines NDEBUG.
#undef NDEBUG
#include "api/drvkapi.h"

#include <assert.h>
#include <string.h>

#include "api/psdirs.h"
#include "common/ut/trace.h"

DRvkApi* gRvkApiObjP = nullptr;
void (*apiActivityLogSink)(const char* text) = nullptr;

int32_t DRvkApi::m_brvkSetUpDone = 0;
RvkApiSetupInfo* DRvkApi::m_RvkApiSetupInfoP = nullptr;

// Every slot starts at the fallback. Its type differs from the slots'; it
// takes no arguments and only ever stops the program, so calling it through
// any of them is harmless. (The cast goes through the generic function type.)
#define DRVK_DEFINE_POINTER(Name)                                                                \
    decltype(&::rvk##Name) DRvkApi::m_fnrvk##Name##P = reinterpret_cast<decltype(&::rvk##Name)>( \
        reinterpret_cast<void (*)()>(&KoruFunctionNotLoaded));
RVK_ENTRY_POINTS(DRVK_DEFINE_POINTER)
#undef DRVK_DEFINE_POINTER

int32_t KoruFunctionNotLoaded() {
    TRACE(TR_API, "Enter %s\n", "KoruFunctionNotLoaded()");
    TRACE(TR_API, "Koru function not loaded\n");
    assert(0);
    return 0;
}

namespace {

// Copies a possibly null string into a fixed field, cutting it to fit.
void copyField(char* field, size_t size, const char* text) {
    size_t n = text ? strnlen(text, size - 1) : 0;
    if (n) memcpy(field, text, n);
    field[n] = '\0';
}

void stripOneSlash(char* dir) {
    size_t n = strlen(dir);
    if (n && dir[n - 1] == '/') dir[n - 1] = '\0';
}

}  // namespace

DRvkApi::DRvkApi(const char* nodeP, const char* passwordP, const char* optFileP,
                 RvkPwCallback pwCallback)
    : DBaseApi("VLT") {
    TRACE(TR_API, "Enter %s\n", "DRvkApi::DRvkApi()");
    copyField(m_optFile, sizeof m_optFile, optFileP);
    copyField(m_node, sizeof m_node, nodeP);
    copyField(m_password, sizeof m_password, passwordP);
    m_logDir[0] = '\0';
    m_pwCallback = pwCallback;
    TRACE(TR_API, "Exit %s\n", "DRvkApi::DRvkApi()");
}

DRvkApi::DRvkApi(const char* logDirP, const char* nodeP, const char* passwordP,
                 const char* optFileP, RvkPwCallback pwCallback)
    : DRvkApi(nodeP, passwordP, optFileP, pwCallback) {
    copyField(m_logDir, sizeof m_logDir, logDirP);
}

DRvkApi::~DRvkApi() {
    TRACE(TR_API, "Enter &  Exit %s\n", "DRvkApi::~DRvkApi()");
}

const char* DRvkApi::GetApiName() {
    TRACE(TR_API, "Exit %s, returning api name %s\n", "DRvkApi::GetApiName()", m_apiName);
    return m_apiName;
}

const char* DRvkApi::getVltOptFile() {
    TRACE(TR_API, "Exit %s, returning opt file %s\n", "DRvkApi::getVltOptFile()", m_optFile);
    return m_optFile;
}

const char* DRvkApi::getVltNode() {
    TRACE(TR_API, "Exit %s, returning node %s\n", "DRvkApi::getVltNode()", m_node);
    return m_node;
}

void DRvkApi::SetSetupData(RvkApiSetupInfo* infoP) {
    m_RvkApiSetupInfoP = infoP;
}

void DRvkApi::ClearPointers() {
    // The version query keeps its pointer: it has always been left out here.
    decltype(m_fnrvkQueryApiVersionExP) keep = m_fnrvkQueryApiVersionExP;
#define DRVK_CLEAR_POINTER(Name) m_fnrvk##Name##P = nullptr;
    RVK_ENTRY_POINTS(DRVK_CLEAR_POINTER)
#undef DRVK_CLEAR_POINTER
    m_fnrvkQueryApiVersionExP = keep;
}

void DRvkApi::SetPointers(void* const addresses[RVK_ENTRY_COUNT]) {
    int i = 0;
#define DRVK_SET_POINTER(Name) \
    m_fnrvk##Name##P = reinterpret_cast<decltype(&::rvk##Name)>(addresses[i++]);
    RVK_ENTRY_POINTS(DRVK_SET_POINTER)
#undef DRVK_SET_POINTER
}

int DRvkApi::Init(ApiStatusObj* statusP, int* reasonP) {
    static const char* const fn = "DRvkApi::Init()";
    TRACE(TR_API, "Enter %s\n", fn);
    int localReason = 0;
    if (!reasonP) reasonP = &localReason;
    if (m_brvkSetUpDone) {
        TRACE(TR_API, "rvkSetUp already done\n");
        return 0;
    }
    auto env = rvkRecord<rvkEnvSetUp>(RVK_ENVSETUP_VERSION);

    int rc = psGetKORUApiDir(env.apiDir, sizeof env.apiDir);
    if (rc != 0) {
        TRACE(TR_API, "leaving %s with psGetKORUAPIDir() rc=%ld\n", fn, static_cast<long>(rc));
        *reasonP = 1;
        return rc;
    }
    if (m_logDir[0]) {
        copyField(env.logDir, sizeof env.logDir, m_logDir);
    } else if ((rc = psGetKORUApiLog(env.logDir, sizeof env.logDir)) != 0) {
        TRACE(TR_API, "leaving %s with psGetKORUAPILog() rc=%ld\n", fn, static_cast<long>(rc));
        *reasonP = 1;
        return rc;
    }
    if (m_optFile[0]) {
        copyField(env.optFile, sizeof env.optFile, m_optFile);
    } else {
        // Without a usable default the library falls back on its own.
        psGetKORUApiConfig(env.optFile, sizeof env.optFile);
    }
    // The library wants the directories without their slash; the option
    // file is a file name and keeps whatever it ends in.
    stripOneSlash(env.apiDir);
    stripOneSlash(env.logDir);

    env.argv = m_RvkApiSetupInfoP ? m_RvkApiSetupInfoP->argv : nullptr;
    TRACE(TR_API,
          "RvkEnvSetUp values:\n   rvkiDir    : %s\n   rvkiLog    : %s\n   rvkiConfig : %s\n   "
          "argv[0]    : %s\n",
          env.apiDir, env.logDir, env.optFile,
          (env.argv && env.argv[0]) ? env.argv[0] : trNullString);

    rc = drvkSetUp(statusP, RVK_MULTITHREAD, &env);
    if (rc != 0) {
        *reasonP = 2;
    } else {
        m_brvkSetUpDone = 1;
    }
    TRACE(TR_API, "Exit %s, rc = %d\n", fn, rc);
    return rc;
}

int DRvkApi::Term(ApiStatusObj* statusP) {
    TRACE(TR_API, "Enter %s\n", "DRvkApi::Term()");
    int rc = 0;
    if (m_brvkSetUpDone) {
        rc = drvkCleanUp(statusP, RVK_MULTITHREAD);
        m_brvkSetUpDone = 0;
    } else {
        TRACE(TR_API, "rvkSetup not done, rvkCleanUp will not be done\n");
    }
    TRACE(TR_API, "Exit %s, rc = %d\n", "DRvkApi::Term()", rc);
    return rc;
}

int DRvkApi::checkCompatibility(ApiStatusObj* statusP, rvkApiVersionEx* versionP) {
    static const char* const fn = "DRvkApi::checkCompatibility()";
    TRACE(TR_API, "Enter %s\n", fn);
    // Kept deliberately: only the first 6 bytes (structure version, version
    // and release) are cleared; level and sub-level keep what the caller had
    // until the library overwrites them. The library takes a structure
    // version of 0 for the current one.
    memset(versionP, 0, 6);
    drvkQueryApiVersionEx(statusP, versionP);
    int runtime = versionP->version * 10000 + versionP->release * 1000 + versionP->level * 100;
    TRACE(TR_API, "%s: VLT API:runtime=%d, VLT API:compiletime=%d\n", fn, runtime,
          DRVK_COMPILE_LEVEL);
    int rc = runtime < DRVK_COMPILE_LEVEL ? RC_API_LEVEL_TOO_LOW : 0;
    TRACE(TR_API, "Exit %s, rc = %d\n", fn, rc);
    return rc;
}

int DRvkApi::registerFilespace(ApiStatusObj* statusP, uint32_t handle, rvkRegFSData* regFSP) {
    TRACE(TR_API, "Enter %s\n", "DRvkApi::registerFilespace()");
    int rc = drvkRegisterFS(statusP, handle, regFSP);
    if (rc == RVK_RC_FS_ALREADY_REGISTERED) rc = 0;
    TRACE(TR_API, "Exit %s, rc = %d\n", "DRvkApi::registerFilespace()", rc);
    return rc;
}

int DRvkApi::Logoff(ApiStatusObj* statusP, uint32_t handle) {
    TRACE(TR_API, "Enter %s\n", "DRvkApi::Logoff()");
    int rc = drvkTerminate(statusP, handle);
    TRACE(TR_API, "Exit %s, rc = %d\n", "DRvkApi::Logoff()", rc);
    return rc;
}
