// SQL*Plus without a shell; see sqlplusrun.h.
#include "sync/sqlplusrun.h"

#include <errno.h>
#include <signal.h>
#include <stdio.h>
#include <sys/wait.h>
#include <unistd.h>

#include "sync/sigcleanup.h"

ZeboRunCommandFn zeboRunCommand = utRunProgram;

int utRunProgram(const char* const* argv) {
    fflush(nullptr);
    // The child's number is registered before a signal can be handled, so
    // that an interrupted run never leaves SQL*Plus working on its own.
    sigset_t all, old;
    sigfillset(&all);
    sigprocmask(SIG_BLOCK, &all, &old);
    pid_t child = fork();
    if (child == 0) {
        for (int signo : {SIGINT, SIGTERM, SIGHUP}) signal(signo, SIG_DFL);
        sigprocmask(SIG_SETMASK, &old, nullptr);
        execvp(argv[0], const_cast<char* const*>(argv));
        _exit(127);
    }
    if (child > 0) utTrackChild(child);
    sigprocmask(SIG_SETMASK, &old, nullptr);
    if (child < 0) return -1;

    int status = -1;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {
            status = -1;
            break;
        }
    }
    utTrackChild(0);
    return status;
}

int utRunSqlPlus(const char* scriptPath, std::string* shown) {
    std::string script = std::string("@") + scriptPath;
    const char* argv[] = {"sqlplus", "-L", script.c_str(), nullptr};
    *shown = std::string("sqlplus -L ") + script;
    return zeboRunCommand(argv);
}

bool utSpoolArgument(const std::string& path, std::string* argument) {
    bool blank = false;
    for (unsigned char c : path) {
        if (c == '"' || c == 0x7f || (c < 0x20 && c != '\t')) return false;
        if (c == ' ' || c == '\t') blank = true;
    }
    *argument = blank ? "\"" + path + "\"" : path;
    return true;
}
