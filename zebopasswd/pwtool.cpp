#include "zebopasswd/pwtool.h"

#include <ctype.h>
#include <stdlib.h>
#include <string.h>

#include <new>
#include <string>

#include "agent/agentctx.h"
#include "agent/agentenv.h"
#include "agent/apierror.h"
#include "agent/optfile.h"
#include "agent/pswdfile.h"
#include "agent/session.h"
#include "agent/zeboinit.h"
#include "api/drvkapidl.h"
#include "catalogs/zebo_names.h"
#include "common/nls/nls.h"
#include "zebopasswd/pwentry.h"

namespace {

const char kUsage[] = "usage: zebopasswd [-ZEBO_OPTfile=PATH]\n";
const char kCatalog[] = "zebo.cat";

// The option's name, matched like zebosync's options: any case, at least
// "-ZEBO_OPT", at most the whole name.
bool isOptFileOption(const char* argument, const char** value) {
    static const char kName[] = "-ZEBO_OPTFILE";
    const char* equals = strchr(argument, '=');
    if (!equals) return false;
    size_t length = static_cast<size_t>(equals - argument);
    if (length < 9 || length > sizeof kName - 1) return false;
    for (size_t i = 0; i < length; ++i) {
        if (toupper(static_cast<unsigned char>(argument[i])) != kName[i]) return false;
    }
    *value = equals + 1;
    return true;
}

// Where the option file is looked for, for the messages: as zeboOpenOptFile
// works it out.
std::string optionFileShown() {
    char value[ZEBO_PATH_SIZE];
    if (psGetEnv("ZEBO_OPTFILE", value, sizeof value)) return value;
    char path[ZEBO_PATH_SIZE];
    return zeboGetDefaultOptFile(path, sizeof path) == 0 ? path : "zebo.opt";
}

// The message repository, so that the agent code can write its numbered
// messages to the error log. The tool's own texts are plain English, so it
// goes on when the catalog is missing.
void openMessages() {
    nlsObject_t* nls = newNlsGlobalObject(nullptr, 0);
    if (!nls) return;
    nlSetPrefix(nls, "QEV");
    char dir[ZEBO_PATH_SIZE];
    if (zeboGetAgentDir(dir, sizeof dir) != 0) return;
    // Silent: a missing catalog must not print the repository's own warnings.
    nlInit(kCatalog, 10, "", dir, "", 0, 'D', 100, 'S', NL_APP_SILENT, 1, 1, 1, nullptr, kCatalog);
}

const char* entryProblem(PwEntryResult result) {
    switch (result) {
        case PW_NO_INPUT:
            return "no password was entered";
        case PW_EMPTY:
            return "the password is empty";
        case PW_TOO_LONG:
            return "the password is longer than 64 characters";
        case PW_DIFFERENT:
            return "the two entries differ";
        default:
            return "the password was not entered";
    }
}

// Loads the client library and sets its environment up. 0, or prints why
// not and returns the code.
int startApi(AgentContext* context) {
    gRvkApiObjP = new (std::nothrow) DRvkApiDL();
    if (!gRvkApiObjP) {
        fputs("zebopasswd: not enough memory.\n", stderr);
        return MSG_NO_MEMORY;
    }
    int rc = static_cast<int16_t>(gRvkApiObjP->Setup());
    if (rc != 0) {
        fprintf(stderr,
                "zebopasswd: the client API library libApiQZ.so could not be loaded (rc %d).\n",
                rc);
        return rc;
    }
    rc = psDoRvkSetUp(context);
    if (rc != 0) {
        fprintf(stderr, "zebopasswd: the client API could not be set up: %s\n", context->errorText);
    }
    return rc;
}

void stopApi(AgentContext* context) {
    if (gRvkApiObjP) {
        if (context->apiCleanUpDue == 1) gRvkApiObjP->drvkCleanUp(RvkApiStatusObjP, 1);
        gRvkApiObjP->Cleanup();
        delete gRvkApiObjP;
        gRvkApiObjP = nullptr;
    }
    nlFreeRepository();
}

// Proves the password by a log-on as the node. 0 or the log-on's code.
int verifyPassword(AgentContext* context, char* password) {
    uint32_t handle = 0;
    int rc = zeboLogOn(context, password, &handle, "zebopasswd");
    // A session that the server opened (an expired password also opens one)
    // is not needed any further.
    if (handle != 0) gRvkApiObjP->drvkTerminate(RvkApiStatusObjP, handle);
    if (rc != 0) {
        char text[ZEBO_ERROR_TEXT_SIZE];
        zeboBuildErrorText(0, 1, rc, text);
        const char* node = context->optValue[OPT_ZEBO_NODE];
        fprintf(stderr,
                "zebopasswd: the log-on as node %s failed: %s\n"
                "zebopasswd: the password file was not changed.\n",
                *node ? node : "(NODENAME of the client options)", text);
    }
    return rc;
}

// Whether the client library can make the node key: without its
// installation key it gives none, and a file written then would hold
// nothing of the password. One block is enciphered and deciphered back.
bool keyUsable(AgentContext* context) {
    unsigned char key[8], plain[8] = {'z', 'e', 'b', 'o', 'k', 'e', 'y', '1'};
    unsigned char cipher[8] = {0}, back[8] = {0};
    pszeboSetKey(key, context);
    gRvkApiObjP->drvkEncryptEx(RvkApiStatusObjP, key, plain, cipher);
    gRvkApiObjP->drvkDecryptEx(RvkApiStatusObjP, key, cipher, back);
    bool usable = memcmp(plain, back, sizeof plain) == 0 && memcmp(plain, cipher, 8) != 0;
    explicit_bzero(key, sizeof key);
    if (!usable) {
        fprintf(stderr,
                "zebopasswd: the client library cannot make the node's key: its installation "
                "key vltapi.key in %s is missing and cannot be made, or is unusable (the reason "
                "is in zeboerror.log).\n"
                "zebopasswd: the password file was not changed.\n",
                context->optValue[OPT_RVKI_DIR]);
    }
    return usable;
}

int run(int argc, char** argv, FILE* in, bool terminal, AgentContext* context) {
    if (argc > 2) {
        fputs(kUsage, stderr);
        return PW_EXIT_USAGE;
    }
    if (argc == 2) {
        const char* path = nullptr;
        if (!isOptFileOption(argv[1], &path) || !*path) {
            fputs(kUsage, stderr);
            return PW_EXIT_USAGE;
        }
        if (setenv("ZEBO_OPTFILE", path, 1) != 0) {
            fputs("zebopasswd: not enough memory.\n", stderr);
            return PW_EXIT_FAILED;
        }
    }
    openMessages();
    if (zeboReadOptions(context) != 0) {
        fprintf(stderr,
                "zebopasswd: the option file %s could not be read or holds a bad line; the "
                "reason is in zeboerror.log.\n",
                optionFileShown().c_str());
        return PW_EXIT_FAILED;
    }
    context->msgMode = NL_APP_AGENT;
    zeboInit(context);
    if (context->nodeFromApi == 1) {
        fprintf(stderr,
                "zebopasswd: the option file %s names neither ZEBO_NODE nor ZEBO_OWNER, so "
                "zebosync reads no password file: the client API finds the node's password "
                "itself.\n",
                optionFileShown().c_str());
        return PW_EXIT_FAILED;
    }

    char password[PW_BUFFER_SIZE];
    PwEntryResult entry = pwEnterTwice(in, terminal, password);
    if (entry != PW_OK) {
        fprintf(stderr, "zebopasswd: %s; the password file was not changed.\n",
                entryProblem(entry));
        return PW_EXIT_FAILED;
    }
    int rc = startApi(context);
    if (rc == 0) rc = verifyPassword(context, password);
    if (rc == 0 && !keyUsable(context)) rc = PW_EXIT_FAILED;
    if (rc == 0) {
        rc = pszeboUpdatePswd(password, context);
        char dir[ZEBO_PSWD_DIR_SIZE], path[ZEBO_PSWD_PATH_SIZE];
        pszeboGetFileName(dir, path, context);
        if (rc != 0) {
            fprintf(stderr, "zebopasswd: the password file %s could not be written (rc %d).\n",
                    path, rc);
        } else {
            printf("zebopasswd: the password was verified and stored in %s.\n", path);
        }
    }
    explicit_bzero(password, sizeof password);
    return rc == 0 ? PW_EXIT_OK : PW_EXIT_FAILED;
}

}  // namespace

int zeboPasswdRun(int argc, char** argv, FILE* in, bool terminal) {
    AgentContext* context = new (std::nothrow) AgentContext();
    if (!context) {
        fputs("zebopasswd: not enough memory.\n", stderr);
        return PW_EXIT_FAILED;
    }
    int status = run(argc, argv, in, terminal, context);
    stopApi(context);
    delete context;
    return status;
}
