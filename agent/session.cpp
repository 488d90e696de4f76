#include "agent/session.h"

#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "agent/apierror.h"
#include "agent/errorlog.h"
#include "agent/pswdfile.h"
#include "api/drvkapi.h"
#include "catalogs/zebo_names.h"
#include "common/nls/nls.h"
#include "common/ut/trace.h"

namespace {

const char kAppType[] = "ZEBO Linux86";

// Copies an option value into a fixed API field, cut to fit.
void copyField(char* field, size_t size, const char* value) {
    strncpy(field, value, size - 1);
    field[size - 1] = '\0';
}

// Reports an API failure the agent's two ways: `errorText` gets the agent's
// error text, the API's own message goes to the error log.
void reportApiFailure(const char* name, uint32_t handle, int rc, char* errorText) {
    zeboBuildErrorText(handle, 1, rc, errorText);
    char message[RVK_MSG_MAX + 1] = "";
    gRvkApiObjP->drvkRCMsg(RvkApiStatusObjP, handle, static_cast<int16_t>(rc), message);
    message[RVK_MSG_MAX] = '\0';
    zeboErrorMsg(message);
    TRACE(TR_ORCLEVEL0, " %s: '%s'\n", name, errorText);
}

// A log-on refused with the password of a damaged password file: the API's
// text speaks of a wrong password, so the file is named too.
void explainRefusedPassword(AgentContext* context, int rc) {
    if (context->nodeFromApi != 0 || (rc != RVK_RC_AUTH_FAILURE && rc != RVK_RC_NO_PASSWORD))
        return;
    char path[ZEBO_PSWD_PATH_SIZE];
    if (!psPswdFileDamaged(path, context)) return;
    nlMsg(MSG_PASSWORD_FILE_DAMAGED, path);
    char* text = nlFormatText(MSG_PASSWORD_FILE_DAMAGED, path);
    if (text) {
        zeboErrorMsg(text);
        free(text);
    }
}

// Creates the private file that stands in for the program's name (from the
// pattern in `tempName`, which receives the name). 0, or the errno of the
// step that failed, after its message and trace line (`fn`: the caller).
int makeStandInProgram(char* tempName, const char* fn) {
    int fd = mkstemp(tempName);
    if (fd < 0) {
        int err = errno;
        char* text = nlFormatText(MSG_NO_TEMP_NAME);
        if (text) {
            zeboErrorMsg(text);
            free(text);
        }
        TRACE(TR_ORCLEVEL0, " %s: Exiting - mkstemp() for '%s' failed,\n with errno = %d\n\n", fn,
              tempName, err);
        return err;
    }
    close(fd);
    if (chmod(tempName, 04700) != 0) {
        int err = errno;
        TRACE(TR_ORCLEVEL0, " %s: Exiting - chmod() failed for file '%s', errno = %d\n\n", fn,
              tempName, err);
        unlink(tempName);
        return err;
    }
    return 0;
}

}  // namespace

int16_t psDoRvkSetUp(AgentContext* context) {
    static const char kName[] = "psDoRvkSetUp()";
    TRACE(TR_ORCLEVEL1, " %s: Enter\n", kName);

    // With neither node nor owner the API finds the node by its own options
    // and takes the first program name as the program it works for. A fresh
    // private file stands in for it; it goes once the set-up succeeded.
    char tempName[] = "/tmp/ZEBO.XXXXXX";
    char* programNames[2] = {nullptr, nullptr};
    bool madeTemp = false;
    if (context->nodeFromApi == 1) {
        if (int err = makeStandInProgram(tempName, kName)) return static_cast<int16_t>(err);
        programNames[0] = tempName;
        madeTemp = true;
    }

    auto envSetUp = rvkRecord<rvkEnvSetUp>(RVK_ENVSETUP_VERSION);
    envSetUp.incExclCaseSensitive = RVK_FALSE;
    copyField(envSetUp.apiDir, sizeof envSetUp.apiDir, context->optValue[OPT_RVKI_DIR]);
    copyField(envSetUp.optFile, sizeof envSetUp.optFile, context->optValue[OPT_RVKI_ORC_CONFIG]);
    copyField(envSetUp.logDir, sizeof envSetUp.logDir, context->optValue[OPT_RVKI_LOG]);
    copyField(envSetUp.logName, sizeof envSetUp.logName, "zeboerror.log");
    envSetUp.argv = madeTemp ? programNames : nullptr;
    TRACE(TR_ORCLEVEL2,
          " %s: Using version %d of envSetUp\n envSetUp.incExlCaseSensitive = FALSE\n"
          " envSetUp.rvkiDir             = '%s'\n envSetUp.rvkiConfig          = '%s'\n"
          " envSetUp.rvkiLog             = '%s'\n envSetUp.logName             = '%s'\n",
          kName, envSetUp.stVersion, envSetUp.apiDir, envSetUp.optFile, envSetUp.logDir,
          envSetUp.logName);

    int rc = gRvkApiObjP->drvkSetUp(RvkApiStatusObjP, RVK_MULTITHREAD, &envSetUp);
    if (rc != 0) {
        // The temporary file stays behind here, as it always has.
        char local[ZEBO_ERROR_TEXT_SIZE];
        zeboBuildErrorText(context->rvkHandle, 1, rc, local);
        gRvkApiObjP->drvkRCMsg(RvkApiStatusObjP, context->rvkHandle, static_cast<int16_t>(rc),
                               context->errorText);
        context->errorText[ZEBO_ERROR_TEXT_SIZE - 1] = '\0';
        zeboErrorMsg(context->errorText);
        TRACE(TR_ORCLEVEL0, " %s: '%s'\n", kName, local);
        TRACE(TR_ORCLEVEL0, " %s: Exit - RVKSETUP() failed, rc = %d\n\n", kName, rc);
        return static_cast<int16_t>(rc);
    }
    context->apiCleanUpDue = 1;
    if (madeTemp) unlink(tempName);
    TRACE(TR_ORCLEVEL1, " %s: Exiting with rc = %d\n\n", kName, 0);
    return 0;
}

int zeboLogOn(AgentContext* context, char* password, uint32_t* handle, const char* caller) {
    rvkApiVersionEx apiVersion = drvkBuildVersion();
    char appType[sizeof kAppType];
    memcpy(appType, kAppType, sizeof kAppType);
    // No user name and no options of the call's own.
    rvkInitExIn initIn = {RVK_INITEXIN_VERSION,
                          &apiVersion,
                          context->optValue[OPT_ZEBO_NODE],
                          context->optValue[OPT_ZEBO_OWNER],
                          password,
                          nullptr,
                          nullptr,
                          appType,
                          context->optValue[OPT_RVKI_ORC_CONFIG],
                          nullptr};
    auto initOut = rvkRecord<rvkInitExOut>(RVK_INITEXOUT_VERSION);

    // The server answers -50 while it cannot be reached; a few immediate
    // attempts ride out a repository that is briefly busy being opened.
    *handle = 0;
    int rc = 0;
    for (int attempt = 0; attempt < 5; ++attempt) {
        TRACE(TR_ORCLEVEL2,
              " %s: Calling RVKINITEX(). rvkInit() retry = %d, node = %s, owner = %s, rc = %d\n",
              caller, attempt, initIn.nodeName, initIn.ownerName, rc);
        rc = gRvkApiObjP->drvkInitEx(RvkApiStatusObjP, handle, &initIn, &initOut);
        if (rc != RVK_RC_COMM_FAILURE) break;
    }
    return rc;
}

namespace {

const char kSessionName[] = "zeboSession()";

// The node's password from the password file, unless the API finds the
// node itself; then the password stays empty.
int16_t sessionPassword(AgentContext* context, char* password, size_t size) {
    if (context->nodeFromApi != 0) return 0;
    int16_t rc = psReadPswd(password, context);
    if (rc != 0) {
        explicit_bzero(password, size);
        TRACE(TR_ORCLEVEL0, " %s: Exit psReadPswd() failed. rvkHandle = %d, rc = %d\n\n",
              kSessionName, context->rvkHandle, rc);
    }
    return rc;
}

// Reports a failed query of the session; false for rc 0.
bool queryFailed(AgentContext* context, uint32_t handle, int rc) {
    if (rc == 0) return false;
    reportApiFailure(kSessionName, handle, rc, context->errorText);
    return true;
}

// The session's options serve only the trace: a failure to read them is
// reported, and the session goes on.
void traceSessOptions(AgentContext* context, uint32_t handle) {
    auto sessOptions = rvkRecord<rvkSessOptions>(RVK_SESSOPTIONS_VERSION);
    TRACE(TR_ORCLEVEL2, " %s: Calling RVKQUERYSESSOPTIONS(). rvkHandle = %d\n", kSessionName,
          handle);
    int rc = gRvkApiObjP->drvkQuerySessOptions(RvkApiStatusObjP, handle, &sessOptions);
    if (queryFailed(context, handle, rc))
        TRACE(TR_ORCLEVEL2, " %s: RVKQUERYSESSOPTIONS() failed. rvkHandle = %d, rc = %d\n",
              kSessionName, handle, rc);
    // The heading names the next call although the values are the options';
    // trace readers search for it as it stands.
    TRACE(TR_ORCLEVEL2,
          " %s: Calling RVKQUERYSESSINFO().\n rvkHandle      = %d\n RVKI_CONFIG    = %s\n"
          " Server Name    = %s\n Server Address = %s\n Node Name      = %s\n"
          " Compression    = %d\n PW Access      = %d\n\n",
          kSessionName, handle, sessOptions.optFile, sessOptions.serverName,
          sessOptions.serverAddress, sessOptions.nodeName, sessOptions.compression,
          sessOptions.passwordAccess);
}

// The server's limit of objects per transaction, from the session
// information.
int16_t readSessInfo(AgentContext* context, uint32_t handle) {
    auto sessInfo = rvkRecord<rvkSessInfo>(RVK_SESSINFO_VERSION);
    int rc = gRvkApiObjP->drvkQuerySessInfo(RvkApiStatusObjP, handle, &sessInfo);
    if (queryFailed(context, handle, rc)) {
        TRACE(TR_ORCLEVEL0, " Exit %s: RVKQUERYSESSINFO() failed, rvkHandle = %d, rc = %d\n\n",
              kSessionName, handle, rc);
        return static_cast<int16_t>(rc);
    }
    context->maxObjPerTxn = sessInfo.maxObjPerTxn;
    TRACE(TR_ORCLEVEL2,
          " %s\n rvkHandle         = %d\n Server Host       = %s\n Server Port       = %d\n"
          " Server Type       = %s\n Server Level      = %d.%d.%d.%d\n"
          " Delete Permission = %s\n Max Obj Per Txn   = %d\n Domain Name       = %s\n"
          " Policy Set Name   = %s\n\n",
          kSessionName, handle, sessInfo.serverHost, sessInfo.serverPort, sessInfo.serverType,
          sessInfo.serverVer, sessInfo.serverRel, sessInfo.serverLev, sessInfo.serverSubLev,
          sessInfo.archDel == 1 ? "YES" : "NO", sessInfo.maxObjPerTxn, sessInfo.domainName,
          sessInfo.policySetName);
    return 0;
}

}  // namespace

int16_t zeboSession(AgentContext* context) {
    TRACE(TR_ORCLEVEL1, " %s: Enter\n", kSessionName);
    char password[RVK_PASSWORD_MAX + 1];
    memset(password, 0, sizeof password);
    if (int16_t rc = sessionPassword(context, password, sizeof password)) return rc;

    uint32_t handle = 0;
    int rc = zeboLogOn(context, password, &handle, kSessionName);
    explicit_bzero(password, sizeof password);
    if (rc != 0) {
        context->apiCleanUpDue = 1;
        explainRefusedPassword(context, rc);
        reportApiFailure(kSessionName, handle, rc, context->errorText);
        TRACE(TR_ORCLEVEL0, " %s: Exit - rvkInit() failed, rvkHandle = %d rc       : %d\n\n",
              kSessionName, handle, rc);
        return static_cast<int16_t>(rc);
    }
    context->rvkHandle = handle;
    traceSessOptions(context, handle);
    if (int16_t infoRc = readSessInfo(context, handle)) return infoRc;
    TRACE(TR_ORCLEVEL1, " %s: Exit - OK\n\n", kSessionName);
    return 0;
}
