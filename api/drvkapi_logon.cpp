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
    TRACE(TR_API,
          "Enter %s\n  ApiStatusObjP : %#x\n  rvkSessInfoP  : %#x\n  rvkHandleP    : %#x\n  "
          "nodeNameP     : %#x %s\n  asNodeNameP   : %#x %s\n  ownerNameP    : %#x %s\n  "
          "passwordP     : %#x\n  newPasswordP  : %#x\n  optFileP      : %#x %s\n  pwCallback    "
          ": %#x\n",
          fn, hexOf(statusP), hexOf(sessInfoP), hexOf(rvkHandleP), hexOf(nodeNameP),
          orNull(nodeNameP), hexOf(asNodeNameP), orNull(asNodeNameP), hexOf(ownerNameP),
          orNull(ownerNameP), hexOf(passwordP), hexOf(newPasswordP), hexOf(optFileP),
          orNull(optFileP), hexOf(reinterpret_cast<const void*>(pwCallback)));
    if (sessInfoP) {
        memset(sessInfoP, 0, sizeof *sessInfoP);
        sessInfoP->stVersion = RVK_SESSINFO_VERSION;
    }
    if (rvkHandleP) *rvkHandleP = 0;
    if (!pwCallback) pwCallback = defaultPWCallback;

    // Whether the library keeps the password decides when to ask for one.
    rvkCliOptions cliOpts;
    memset(&cliOpts, 0, sizeof cliOpts);
    cliOpts.stVersion = RVK_CLIOPTIONS_VERSION;
    drvkQueryCliOptions(statusP, &cliOpts);
    int pwAccess = cliOpts.passwordAccess;

    char node[kPwSize] = "";
    char password[kPwSize] = "";
    if (given(nodeNameP)) snprintf(node, sizeof node, "%s", nodeNameP);
    if (given(passwordP)) snprintf(password, sizeof password, "%s", passwordP);

    rvkApiVersionEx buildVersion;
    memset(&buildVersion, 0, sizeof buildVersion);
    buildVersion.stVersion = RVK_APIVERSIONEX_VERSION;
    buildVersion.version = 5;
    buildVersion.release = 5;

    const char* baseOptions = (m_RvkApiSetupInfoP && m_RvkApiSetupInfoP->baseOptions)
                                  ? m_RvkApiSetupInfoP->baseOptions
                                  : "";
    char szOptions[1400];
    if (asNodeNameP && strlen(asNodeNameP) > 1) {
        snprintf(szOptions, sizeof szOptions, "%s -ASNODE=%s", baseOptions, asNodeNameP);
    } else {
        snprintf(szOptions, sizeof szOptions, "%s", baseOptions);
    }

    uint32_t handle = 0;
    int rc = 0;
    bool firstPass = true;
    for (;;) {
        if (!firstPass || (pwAccess != RVK_PASSWD_GENERATE && !given(passwordP))) {
            TRACE(TR_API, "Calling the password callback...\n");
            char out[kPwSize] = "";
            int32_t intRc = pwCallback(137, pwAccess, password, node, out, kPwSize, m_password);
            TRACE(TR_API, "Returned from the password callback, intRc = %d\n", intRc);
            if (out[0] == '\0') {
                if (intRc == 101) {
                    TRACE(TR_API, "The password callback cancelled by the user.\n");
                    rc = 101;
                } else {
                    TRACE(TR_API, "The password callback did not return a password.\n");
                    rc = 137;
                }
                break;
            }
            snprintf(password, sizeof password, "%s", out);
        }

        rvkInitExIn in;
        rvkInitExOut out;
        memset(&in, 0, sizeof in);
        memset(&out, 0, sizeof out);
        in.stVersion = RVK_INITEXIN_VERSION;
        in.apiVersionEx = &buildVersion;
        in.nodeName = node;
        in.ownerName = nullptr;
        in.password = password;
        in.appType = const_cast<char*>("ZEBO Linux86");
        in.optFile = const_cast<char*>(optFileP);
        in.options = szOptions;
        out.stVersion = RVK_INITEXOUT_VERSION;
        TRACE(
            TR_API,
            "Calling RVKINITEX()...\n  apiBuildVersionEx : %d.%d.%d.%d.%d\n  nodeNameP         : "
            "%#x\n  applicationType   : %s\n  optFileP          : %#x\n  szOptions         : %s\n",
            buildVersion.stVersion, buildVersion.version, buildVersion.release, buildVersion.level,
            buildVersion.subLevel, hexOf(in.nodeName), in.appType, hexOf(in.optFile), szOptions);
        // Through the global object, the only one there is.
        DRvkApi* apiP = gRvkApiObjP ? gRvkApiObjP : this;
        rc = apiP->drvkInitEx(statusP, &handle, &in, &out);
        if (rc == 0) {
            TRACE(TR_API,
                  "%s: RVKINITEX() was successful.\n   rvkHandle             : %#x\n   "
                  "userNameAuthorities   : %d\n   infoRC                : %d\n   koruServerName  "
                  "      : <%s>\n   Server V.R.M.L        : %d.%d.%d.%d\n",
                  fn, handle, out.userNameAuthorities, out.infoRC, out.serverName, out.serverVer,
                  out.serverRel, out.serverLev, out.serverSubLev);
        } else if (TR_API) {
            char msg[1024];
            int len = 0;
            TRACE(TR_API, "Calling AGTRVKRCMSG( %d )\n", rc);
            AgtRvkRCMsg(statusP, handle, rc, msg, sizeof msg, &len);
            TRACE(TR_API, "AGTRVKRCMSG() completed\n");
            TRACE(TR_API, "RVKINITEX() failed, rc = %d, infoRC = %d, msg = %s\n", rc, out.infoRC,
                  msg);
        }
        // A password kept by the library was refused: ask for one, once.
        if (isPasswordError(rc) && !given(newPasswordP) && pwAccess == RVK_PASSWD_GENERATE &&
            firstPass) {
            firstPass = false;
            continue;
        }
        break;
    }

    // A new password: asked for by the caller, or demanded by the server.
    char newPassword[kPwSize] = "";
    if (rc == 0 && given(newPasswordP)) {
        snprintf(newPassword, sizeof newPassword, "%s", newPasswordP);
    } else if (rc == RVK_RC_PASSWD_EXPIRED) {
        TRACE(TR_API, "Calling the password callback...\n");
        int32_t intRc = pwCallback(RVK_RC_PASSWD_EXPIRED, pwAccess, password, node, newPassword,
                                   kPwSize, m_password);
        TRACE(TR_API, "Returned from the password callback, intRc = %d\n", intRc);
        if (newPassword[0] == '\0' && intRc == 101) {
            TRACE(TR_API, "The password callback cancelled by the user.\n");
            rc = 101;
        } else if (newPassword[0] == '\0') {
            TRACE(TR_API, "The password callback did not return a password.\n");
        }
    }
    if (newPassword[0] != '\0') {
        TRACE(TR_API, "Calling RVKCHANGEPW()...\n  rvkHandle   : %#x\n  newPasswordP: %#x\n",
              handle, hexOf(newPassword));
        int pwRc = drvkChangePW(statusP, handle, password, newPassword);
        if (pwRc != 0) {
            char msg[1024];
            int len = 0;
            AgtRvkRCMsg(statusP, handle, pwRc, msg, sizeof msg, &len);
            TRACE(TR_API, "RVKCHANGEPW() failed, rc = %d, msg = %s\n", pwRc, msg);
            rc = pwRc;
        } else {
            TRACE(TR_API, "RVKCHANGEPW() was successful.\n");
            snprintf(password, sizeof password, "%s", newPassword);
            rc = 0;
        }
    }

    if (sessInfoP && rc == 0) {
        TRACE(TR_API, "Calling RVKQUERYSESSINFO()...\n  rvkHandle   : %#x\n  rvkSessInfoP: %#x\n",
              handle, hexOf(sessInfoP));
        int siRc = drvkQuerySessInfo(statusP, handle, sessInfoP);
        if (siRc != 0) {
            char msg[1024];
            int len = 0;
            AgtRvkRCMsg(statusP, handle, siRc, msg, sizeof msg, &len);
            TRACE(TR_API, "RVKQUERYSESSINFO() failed, rc = %d, msg = %s\n", siRc, msg);
            rc = siRc;
        } else {
            dumpSessInfo(*sessInfoP);
        }
    }

    if (rvkHandleP) *rvkHandleP = handle;
    snprintf(m_password, sizeof m_password, "%s", password);
    memset(password, 0, sizeof password);
    memset(newPassword, 0, sizeof newPassword);
    TRACE(TR_API, "Exit %s, rc = %d\n", fn, rc);
    return rc;
}
