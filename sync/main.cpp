// zebosync: the catalog synchronisation utility. main brings the client
// runtime up (locks, message repository, command line, trace object, agent
// options and initialisation, the client API library and its environment),
// runs the one command that does work here, SYNCdb, and leaves through
// closeSess on every path once the message repository exists.
//
// The exit status is the failing step's code, a 16-bit value widened to an
// int; the system keeps its low 8 bits, so a shell sees, for example, 255
// for -1 and 230 for 2534.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <new>
#include <string>

#include "agent/agentctx.h"
#include "agent/errorlog.h"
#include "agent/optfile.h"
#include "agent/session.h"
#include "agent/zeboinit.h"
#include "agent/zebotrace.h"
#include "api/drvkapi.h"
#include "api/drvkapidl.h"
#include "api/psconsole.h"
#include "catalogs/zebo_names.h"
#include "common/nls/nls.h"
#include "common/thrd/psmutex.h"
#include "common/ut/trace.h"
#include "sync/closesess.h"
#include "sync/cmdline.h"
#include "sync/cmdopts.h"
#include "sync/syncdb.h"

namespace {

const char kName[] = "main";

// "ZEBO_OPTFILE=<path>": putenv keeps a pointer to the text, so it must
// stay alive for the rest of the run. Room for the longest path the command
// line takes, so that a long path is never cut to a different file's name.
char optFileVariable[sizeof "ZEBO_OPTFILE=" + ZEBO_CMD_PATH_SIZE];

// closeSess, then the trace object ended: the common tail of the failures
// that come after the trace object exists.
int16_t leave(AgentContext* context, int16_t rc) {
    closeSess(context);
    zeboEndTrace();
    return rc;
}

// The error log that the option-file reader wrote its message to (the one
// that names the file and the line), as a path that can be opened from
// anywhere: the screen shows only the general message 2534. The reader
// writes before RVKI_LOG is known, into the agent directory's log.
void errorLogShown(char* path, size_t size) {
    char log[ZEBO_LOG_PATH_SIZE];
    psNonNlsErrorLogName(log);
    std::string shown = log;
    char cwd[ZEBO_LOG_PATH_SIZE];
    if (log[0] != '/' && getcwd(cwd, sizeof cwd))
        shown = std::string(cwd) + (strcmp(cwd, "/") == 0 ? "" : "/") + log;
    // Cut to the caller's buffer like every path shown on screen.
    snprintf(path, size, "%s", shown.c_str());
}

// Locks and the message repository, before anything can be shown.
int16_t startRuntime() {
    psThreadingInit(1);
    psMutexInit(&orcMutex);
    psMutexInit(&initMutex);
    nlsObject_t* nls = newNlsGlobalObject(nullptr, 0);
    if (!nls) {
        psNonNlsErrorMsg("newNlsGlobalObject() failed.  No memory left.\n");
        psMutexDestroy(&initMutex);
        return MSG_AGENT_ERROR;
    }
    nlSetPrefix(nls, "QEV");
    return 0;
}

// The command line, the banner, ZEBO_OPTFILE and the trace object. A
// failure has passed through closeSess.
int16_t prepareRun(int argc, char** argv, uint32_t* cmdFlags, ZeboCmdOptions* cmdOptions,
                   AgentContext* context) {
    int16_t rc = zeboParseCmdLine(argc, argv, cmdFlags, cmdOptions);
    if (rc != 0) {
        if (rc == ZEBO_RC_NO_COMMAND || rc == ZEBO_RC_BAD_OPTION) zeboShowUsage();
        closeSess(context);
        return rc;
    }
    fflush(stdout);
    psClearScreen();
    zeboShowBanner();
    if (cmdOptions->optFile[0] != '\0') {
        snprintf(optFileVariable, sizeof optFileVariable, "ZEBO_OPTFILE=%s", cmdOptions->optFile);
        if (putenv(optFileVariable) != 0) {
            nlMsg(MSG_NO_MEMORY);
            closeSess(context);
            return -1;
        }
    }
    trcClass = new (std::nothrow) ZeboTrace();
    if (!trcClass) {
        psNonNlsErrorMsg(" %s: Error - Could not initialize Trace Object.", kName);
        closeSess(context);
        return -1;
    }
    return 0;
}

// The agent options and initialisation, the client API library and its
// environment. A failure has left through leave().
int16_t bringUpAgent(AgentContext* context) {
    int16_t rc = zeboReadOptions(context);
    if (rc != 0) {
        char logPath[ZEBO_LOG_PATH_SIZE];
        errorLogShown(logPath, sizeof logPath);
        nlMsgFramed(MSG_AGENT_ERROR, logPath);
        return leave(context, rc);
    }
    context->msgMode = NL_APP_AGENT;
    rc = zeboInit(context);
    if (rc != 0) return leave(context, rc);
    // Texts of failed server calls that the API wrapper looks up go to the
    // error log too.
    apiActivityLogSink = nlAppendErrorLog;
    zeboSetTrace(context);

    gRvkApiObjP = new (std::nothrow) DRvkApiDL();
    if (!gRvkApiObjP) {
        nlMsg(MSG_NO_MEMORY);
        return leave(context, MSG_NO_MEMORY);
    }
    rc = static_cast<int16_t>(gRvkApiObjP->Setup());
    if (rc != 0) {
        nlMsg(MSG_LIBRARY_NOT_LOADED);
        return leave(context, rc);
    }
    rc = psDoRvkSetUp(context);
    if (rc != 0) {
        nlMsg(MSG_SEPARATOR);
        nlMsg(MSG_LINE, context->errorText);
        return leave(context, rc);
    }
    zeboTraceBanner(context);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    static AgentContext agentContext;
    static ZeboCmdOptions cmdOptions;
    uint32_t cmdFlags[CMD_COUNT];
    memset(&agentContext, 0, sizeof agentContext);
    memset(&cmdOptions, 0, sizeof cmdOptions);
    memset(cmdFlags, 0, sizeof cmdFlags);
    int16_t rc = startRuntime();
    if (rc == 0) rc = prepareRun(argc, argv, cmdFlags, &cmdOptions, &agentContext);
    if (rc == 0) rc = bringUpAgent(&agentContext);
    if (rc != 0) return rc;

    if (cmdFlags[CMD_SYNCDB]) {
        rc = zeboSyncVltToRman(&agentContext, &cmdOptions);
        if (rc != 0) {
            closeSess(&agentContext);
            TRACE(TR_ORCLEVEL0, " %s: Exit - zeboSyncVltToRman() failed. rc = %d\n\n", kName, rc);
            zeboEndTrace();
            return rc;
        }
    } else {
        // The other commands pass the whole start-up and then only show the
        // usage: this program carries none of them out.
        if (!cmdFlags[CMD_HELP]) {
            nlMsgFramed(MSG_UNKNOWN_COMMAND);
        }
        zeboShowUsage();
    }

    closeSess(&agentContext);
    TRACE(TR_ORCLEVEL1, " %s: Exit - OK\n\n", kName);
    zeboEndTrace();
    return 0;
}
