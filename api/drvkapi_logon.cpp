// Log-on: one worker behind the three Logon overloads. It asks the password
// callback when a password is needed, retries once when a password kept by
// the library was refused, changes the password when asked to or when the
// server demands it, and reads the session information.
#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include "api/drvkapi.h"
#include "common/ut/trace.h"

namespace {

const int kPwSize = 65;

// Pointers are traced with "%#x", as the program's traces always showed them.
unsigned hexOf(const void* p) {
    return static_cast<unsigned>(reinterpret_cast<uintptr_t>(p));
}

const char* orNull(const char* s) {
    return s ? s : trNullString;
}

bool given(const char* s) {
    return s && *s;
}

bool isPasswordError(int rc) {
    return rc == 137 || rc == 168 || rc == 169;
}

void dumpSessInfo(const rvkSessInfo& si) {
    // The last line shows the server name with "%d", as it always has; the
    // address is passed as a number so that the format stays well-defined.
    TRACE(TR_API,
          "rvkSessInfo:\n  stVersion        %d\n  serverHost       %s\n  serverPort       %d\n  "
          "serverType       %s\n  serverVer        %d\n  serverRel        %d\n  serverLev        "
          "%d\n  serverSubLev     %d\n  nodeType         %s\n  fsdelim          %c\n  hldelim     "
          "     %c\n  compression      %d\n  archDel          %d\n  backDel          %d\n  "
          "maxBytesPerTxn   %d\n  maxObjPerTxn     %d\n  id               %s\n  owner            "
          "%s\n  configfile       %s\n  no trace         %d\n  domain name      %s\n  policy name "
          "     %s\n  default MC name  %s\n  back retention   %d\n  archive ret.     %d\n  "
          "koruServerName   %d\n",
          si.stVersion, si.serverHost, si.serverPort, si.serverType, si.serverVer, si.serverRel,
          si.serverLev, si.serverSubLev, si.nodeType, si.fsDelim, si.hlDelim, si.compression,
          si.archDel, si.backDel, static_cast<int>(si.maxBytesPerTxn),
          static_cast<int>(si.maxObjPerTxn), si.id, si.owner, si.confFile, si.opNoTrace,
          si.domainName, si.policySetName, si.dfltMCName, si.backRetention, si.archRetention,
          static_cast<int>(reinterpret_cast<intptr_t>(si.serverName)));
}

// One log-on in progress: what the steps of LogonFull share.
struct LogonRun {
    DRvkApi* apiP;
    ApiStatusObj* statusP;
    RvkPwCallback pwCallback;
    char* savedPasswordP;  // the object's own password field
    int pwAccess;          // the client options' password access
    char node[kPwSize];
    char password[kPwSize];
    uint32_t handle;
};

// The library's text for a failed call's code, for the trace line that
// reports the failure.
struct RcText {
    char msg[1024];
};

RcText rcText(const LogonRun& run, int rc) {
    RcText text = {""};
    int len = 0;
    run.apiP->AgtRvkRCMsg(run.statusP, run.handle, rc, text.msg, sizeof text.msg, &len);
    return text;
}

void traceArguments(const char* fn, ApiStatusObj* statusP, rvkSessInfo* sessInfoP,
                    uint32_t* rvkHandleP, const char* nodeNameP, const char* asNodeNameP,
                    const char* ownerNameP, const char* passwordP, const char* newPasswordP,
                    const char* optFileP, RvkPwCallback pwCallback) {
    TRACE(TR_API,
          "Enter %s\n  ApiStatusObjP : %#x\n  rvkSessInfoP  : %#x\n  rvkHandleP    : %#x\n  "
          "nodeNameP     : %#x %s\n  asNodeNameP   : %#x %s\n  ownerNameP    : %#x %s\n  "
          "passwordP     : %#x\n  newPasswordP  : %#x\n  optFileP      : %#x %s\n  pwCallback    "
          ": %#x\n",
          fn, hexOf(statusP), hexOf(sessInfoP), hexOf(rvkHandleP), hexOf(nodeNameP),
          orNull(nodeNameP), hexOf(asNodeNameP), orNull(asNodeNameP), hexOf(ownerNameP),
          orNull(ownerNameP), hexOf(passwordP), hexOf(newPasswordP), hexOf(optFileP),
          orNull(optFileP), hexOf(reinterpret_cast<const void*>(pwCallback)));
}

// Whether the library keeps the password decides when to ask for one.
int passwordAccess(DRvkApi* apiP, ApiStatusObj* statusP) {
    auto cliOpts = rvkRecord<rvkCliOptions>(RVK_CLIOPTIONS_VERSION);
    apiP->drvkQueryCliOptions(statusP, &cliOpts);
    return cliOpts.passwordAccess;
}

// The caller's base options, with -ASNODE added when a node is named.
void buildOptions(const char* asNodeNameP, char* szOptions, size_t size) {
    const RvkApiSetupInfo* setupP = DRvkApi::m_RvkApiSetupInfoP;
    const char* baseOptions = (setupP && setupP->baseOptions) ? setupP->baseOptions : "";
    if (asNodeNameP && strlen(asNodeNameP) > 1) {
        snprintf(szOptions, size, "%s -ASNODE=%s", baseOptions, asNodeNameP);
    } else {
        snprintf(szOptions, size, "%s", baseOptions);
    }
}

// Asks the password callback (reason 137 or the expired-password code) into
// out. 0 when it gave a password; else 101 when the user cancelled, 137
// when it gave none.
int askPassword(LogonRun& run, int reason, char* out) {
    TRACE(TR_API, "Calling the password callback...\n");
    int32_t intRc = run.pwCallback(reason, run.pwAccess, run.password, run.node, out, kPwSize,
                                   run.savedPasswordP);
    TRACE(TR_API, "Returned from the password callback, intRc = %d\n", intRc);
    if (out[0] != '\0') return 0;
    if (intRc == 101) {
        TRACE(TR_API, "The password callback cancelled by the user.\n");
        return 101;
    }
    TRACE(TR_API, "The password callback did not return a password.\n");
    return 137;
}

// One RVKINITEX call with the run's node and password.
int initEx(LogonRun& run, const char* fn, const char* optFileP, char* szOptions) {
    rvkApiVersionEx buildVersion = drvkBuildVersion();
    char appType[] = "ZEBO Linux86";
    // No owner and no user name: the node logs on for itself.
    rvkInitExIn in = {RVK_INITEXIN_VERSION,
                      &buildVersion,
                      run.node,
                      nullptr,
                      run.password,
                      nullptr,
                      nullptr,
                      appType,
                      const_cast<char*>(optFileP),
                      szOptions};
    auto out = rvkRecord<rvkInitExOut>(RVK_INITEXOUT_VERSION);
    TRACE(TR_API,
          "Calling RVKINITEX()...\n  apiBuildVersionEx : %d.%d.%d.%d.%d\n  nodeNameP         : "
          "%#x\n  applicationType   : %s\n  optFileP          : %#x\n  szOptions         : %s\n",
          buildVersion.stVersion, buildVersion.version, buildVersion.release, buildVersion.level,
          buildVersion.subLevel, hexOf(in.nodeName), in.appType, hexOf(in.optFile), szOptions);
    // Through the global object, the only one there is.
    DRvkApi* apiP = gRvkApiObjP ? gRvkApiObjP : run.apiP;
    int rc = apiP->drvkInitEx(run.statusP, &run.handle, &in, &out);
    if (rc == 0) {
        TRACE(TR_API,
              "%s: RVKINITEX() was successful.\n   rvkHandle             : %#x\n   "
              "userNameAuthorities   : %d\n   infoRC                : %d\n   koruServerName  "
              "      : <%s>\n   Server V.R.M.L        : %d.%d.%d.%d\n",
              fn, run.handle, out.userNameAuthorities, out.infoRC, out.serverName, out.serverVer,
              out.serverRel, out.serverLev, out.serverSubLev);
    } else if (TR_API) {
        TRACE(TR_API, "Calling AGTRVKRCMSG( %d )\n", rc);
        RcText text = rcText(run, rc);
        TRACE(TR_API, "AGTRVKRCMSG() completed\n");
        TRACE(TR_API, "RVKINITEX() failed, rc = %d, infoRC = %d, msg = %s\n", rc, out.infoRC,
              text.msg);
    }
    return rc;
}

// RVKINITEX until it is done: the callback is asked first when the library
// keeps no password and none was given, and once more when a password kept
// by the library was refused.
int logOnAttempts(LogonRun& run, const char* fn, const char* passwordP, const char* newPasswordP,
                  const char* optFileP, char* szOptions) {
    for (bool firstPass = true;; firstPass = false) {
        if (!firstPass || (run.pwAccess != RVK_PASSWD_GENERATE && !given(passwordP))) {
            char out[kPwSize] = "";
            if (int rc = askPassword(run, 137, out)) return rc;
            snprintf(run.password, sizeof run.password, "%s", out);
        }
        int rc = initEx(run, fn, optFileP, szOptions);
        bool retry = isPasswordError(rc) && !given(newPasswordP) &&
                     run.pwAccess == RVK_PASSWD_GENERATE && firstPass;
        if (!retry) return rc;
    }
}

// RVKCHANGEPW to newPassword; the run's password follows it on success.
int changePassword(LogonRun& run, char* newPassword) {
    TRACE(TR_API, "Calling RVKCHANGEPW()...\n  rvkHandle   : %#x\n  newPasswordP: %#x\n",
          run.handle, hexOf(newPassword));
    int pwRc = run.apiP->drvkChangePW(run.statusP, run.handle, run.password, newPassword);
    if (pwRc != 0) {
        RcText text = rcText(run, pwRc);
        TRACE(TR_API, "RVKCHANGEPW() failed, rc = %d, msg = %s\n", pwRc, text.msg);
        return pwRc;
    }
    TRACE(TR_API, "RVKCHANGEPW() was successful.\n");
    snprintf(run.password, sizeof run.password, "%s", newPassword);
    return 0;
}

int querySessInfo(LogonRun& run, rvkSessInfo* sessInfoP) {
    TRACE(TR_API, "Calling RVKQUERYSESSINFO()...\n  rvkHandle   : %#x\n  rvkSessInfoP: %#x\n",
          run.handle, hexOf(sessInfoP));
    int siRc = run.apiP->drvkQuerySessInfo(run.statusP, run.handle, sessInfoP);
    if (siRc != 0) {
        RcText text = rcText(run, siRc);
        TRACE(TR_API, "RVKQUERYSESSINFO() failed, rc = %d, msg = %s\n", siRc, text.msg);
        return siRc;
    }
    dumpSessInfo(*sessInfoP);
    return 0;
}

}  // namespace

int32_t DRvkApi::defaultPWCallback(int, int, const char*, const char*, char* outP, int outSize,
                                   char*) {
    if (outP && outSize > 0) outP[0] = '\0';
    return 0;
}

int DRvkApi::Logon(ApiStatusObj* statusP, uint32_t* rvkHandleP) {
    static const char* const fn = "DRvkApi::Logon(ApiStatusObjP,...,rvkHandleP)";
    TRACE(TR_API, "Enter %s\n", fn);
    int rc = LogonFull(statusP, nullptr, rvkHandleP, m_node, nullptr, nullptr, m_password, nullptr,
                       m_optFile, m_pwCallback);
    TRACE(TR_API, "Exit %s, rc = %d\n", fn, rc);
    return rc;
}

int DRvkApi::Logon(ApiStatusObj* statusP, rvkSessInfo* sessInfoP, uint32_t* rvkHandleP,
                   const char* newPasswordP, const char* asNodeNameP) {
    static const char* const fn = "DRvkApi::Logon(ApiStatusObjP,...,asNodeNameP)";
    TRACE(TR_API, "Enter %s\n", fn);
    int rc = LogonFull(statusP, sessInfoP, rvkHandleP, m_node, asNodeNameP, nullptr, m_password,
                       newPasswordP, m_optFile, m_pwCallback);
    TRACE(TR_API, "Exit %s, rc = %d\n", fn, rc);
    return rc;
}

int DRvkApi::Logon(ApiStatusObj* statusP, RvkApiLogonInfo* infoP) {
    static const char* const fn = "DRvkApi::Logon(ApiStatusObjP,...,rvkApiLogonInfoP)";
    TRACE(TR_API, "Enter %s\n", fn);
    int rc = LogonFull(statusP, infoP->sessInfoP, infoP->rvkHandleP, infoP->nodeNameP,
                       infoP->asNodeNameP, infoP->ownerNameP, infoP->passwordP, infoP->newPasswordP,
                       infoP->optFileP, infoP->pwCallback);
    TRACE(TR_API, "Exit %s, rc = %d\n", fn, rc);
    return rc;
}

int DRvkApi::LogonFull(ApiStatusObj* statusP, rvkSessInfo* sessInfoP, uint32_t* rvkHandleP,
                       const char* nodeNameP, const char* asNodeNameP, const char* ownerNameP,
                       const char* passwordP, const char* newPasswordP, const char* optFileP,
                       RvkPwCallback pwCallback) {
    static const char* const fn = "DRvkApi::LogonFull()";
    traceArguments(fn, statusP, sessInfoP, rvkHandleP, nodeNameP, asNodeNameP, ownerNameP,
                   passwordP, newPasswordP, optFileP, pwCallback);
    if (sessInfoP) {
        memset(sessInfoP, 0, sizeof *sessInfoP);
        sessInfoP->stVersion = RVK_SESSINFO_VERSION;
    }
    if (rvkHandleP) *rvkHandleP = 0;

    LogonRun run;
    memset(&run, 0, sizeof run);
    run.apiP = this;
    run.statusP = statusP;
    run.pwCallback = pwCallback ? pwCallback : defaultPWCallback;
    run.savedPasswordP = m_password;
    run.pwAccess = passwordAccess(this, statusP);
    if (given(nodeNameP)) snprintf(run.node, sizeof run.node, "%s", nodeNameP);
    if (given(passwordP)) snprintf(run.password, sizeof run.password, "%s", passwordP);
    char szOptions[1400];
    buildOptions(asNodeNameP, szOptions, sizeof szOptions);

    int rc = logOnAttempts(run, fn, passwordP, newPasswordP, optFileP, szOptions);

    // A new password: asked for by the caller, or demanded by the server.
    char newPassword[kPwSize] = "";
    if (rc == 0 && given(newPasswordP)) {
        snprintf(newPassword, sizeof newPassword, "%s", newPasswordP);
    } else if (rc == RVK_RC_PASSWD_EXPIRED) {
        if (askPassword(run, RVK_RC_PASSWD_EXPIRED, newPassword) == 101) rc = 101;
    }
    if (newPassword[0] != '\0') rc = changePassword(run, newPassword);
    if (sessInfoP && rc == 0) rc = querySessInfo(run, sessInfoP);

    if (rvkHandleP) *rvkHandleP = run.handle;
    snprintf(m_password, sizeof m_password, "%s", run.password);
    memset(run.password, 0, sizeof run.password);
    memset(newPassword, 0, sizeof newPassword);
    TRACE(TR_API, "Exit %s, rc = %d\n", fn, rc);
    return rc;
}
