// The process's signal arrangement: traps for fatal signals, shutdown
// signals blocked everywhere and collected by one waiting thread.
#include <errno.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>

#include "common/thrd/psmutex.h"
#include "common/thrd/psthread.h"
#include "common/ut/trace.h"

static const int psTrappedSignals[] = {SIGILL, SIGFPE, SIGBUS, SIGSEGV, SIGUSR1, SIGABRT, SIGTRAP};
static const int psShutdownSignals[] = {SIGINT, SIGQUIT, SIGTERM, SIGPWR, SIGXCPU, SIGXFSZ};

int psSignalSetup(psSignalSets* sets) {
    signal(SIGPIPE, SIG_IGN);
    sigemptyset(&sets->trapped);
    sigemptyset(&sets->shutdown);
    for (int signo : psTrappedSignals) sigaddset(&sets->trapped, signo);
    for (int signo : psShutdownSignals) sigaddset(&sets->shutdown, signo);
    // Blocked before any other thread exists, so every thread inherits the
    // mask and only psWaitShutdown ever receives these signals.
    pthread_sigmask(SIG_BLOCK, &sets->shutdown, nullptr);

    struct sigaction action;
    memset(&action, 0, sizeof action);
    action.sa_handler = psTrapHandler;
    sigemptyset(&action.sa_mask);
    action.sa_flags = 0;
    for (int signo : psTrappedSignals) {
        if (sigaction(signo, &action, nullptr) != 0) {
            TRACE(TR_THREAD, "Unable to establish handler for trap %d.\n", signo);
            return -1;
        }
    }
    return 0;
}

void psTrapHandler(int signo) {
    TRACE(TR_THREAD, "%s thread %p terminating on signal %d\n", "Unknown",
          reinterpret_cast<void*>(pthread_self()), signo);
    // SIGUSR1 is how one thread stops another (psThreadStop).
    if (signo == SIGUSR1) pthread_exit(nullptr);
    TRACE(TR_GENERAL, "%s thread, fatal error, signal %d\n", "Unknown", signo);
    // abort raises SIGABRT, which is trapped too: restore the default so that
    // the process really ends with a core.
    signal(SIGABRT, SIG_DFL);
    trFlush();
    abort();
}

static const char* psShutdownSignalName(int signo) {
    switch (signo) {
        case SIGINT:
            return "SIGINT";
        case SIGQUIT:
            return "SIGQUIT";
        case SIGTERM:
            return "SIGTERM";
        default:
            return "";
    }
}

int psWaitShutdown(psSignalSets* sets) {
    int signo = 0;
    int rc;
    for (;;) {
        errno = 0;
        rc = sigwait(&sets->shutdown, &signo);
        int err = errno;
        TRACE(TR_THREAD,
              "psWaitShutdown: sigwait returned(%d), reason(%s), errno(%d), reason(%s)\n", rc,
              strerror(rc), err, strerror(err));
        if (rc != EINTR) break;
        TRACE(TR_THREAD, "psWaitShutdown: continue waiting...\n");
    }
    bInSignalExit = 1;
    if (rc != 0) {
        TRACE(TR_THREAD, "sigwait failed in pkWaitshutdown.\n");
        return -1;
    }
    TRACE(TR_THREAD, "KORU shutting down, signal %s (%d) \n", psShutdownSignalName(signo), signo);
    return 0;
}
