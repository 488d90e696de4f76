// Clean-up on SIGINT, SIGTERM and SIGHUP; see sigcleanup.h.
#include "sync/sigcleanup.h"

#include <signal.h>
#include <string.h>
#include <termios.h>
#include <unistd.h>

#include "common/ut/trace.h"

namespace {

const int kSignals[] = {SIGINT, SIGTERM, SIGHUP};

char trackedFile[UT_CLEANUP_FILES][UT_CLEANUP_PATH_SIZE];
volatile sig_atomic_t trackedChild = 0;
volatile sig_atomic_t transactionDepth = 0;
volatile sig_atomic_t pendingSignal = 0;
bool terminalSaved = false;
struct termios savedTerminal;

void onSignal(int signo) {
    if (trackedChild > 0) kill(static_cast<pid_t>(trackedChild), SIGTERM);
    if (transactionDepth > 0) {
        // The deletion loop aborts the transaction and leaves by itself.
        if (pendingSignal == 0) pendingSignal = signo;
        return;
    }
    utExitOnSignal(signo);
}

// Blocks the three signals for a scope, so that a registration is never
// seen half-written by the handler.
class SignalsBlocked {
  public:
    SignalsBlocked() {
        sigset_t set;
        sigemptyset(&set);
        for (int signo : kSignals) sigaddset(&set, signo);
        sigprocmask(SIG_BLOCK, &set, &old_);
    }
    ~SignalsBlocked() { sigprocmask(SIG_SETMASK, &old_, nullptr); }

  private:
    sigset_t old_;
};

}  // namespace

void utInstallSignalCleanup() {
    terminalSaved = isatty(STDIN_FILENO) && tcgetattr(STDIN_FILENO, &savedTerminal) == 0;
    struct sigaction action;
    memset(&action, 0, sizeof action);
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    for (int signo : kSignals) sigaddset(&action.sa_mask, signo);
    // Calls that a noted signal interrupts inside a transaction go on as if
    // nothing had happened; the deletion loop acts on it at its next step.
    action.sa_flags = SA_RESTART;
    for (int signo : kSignals) sigaction(signo, &action, nullptr);
}

bool utTrackFile(const char* path) {
    size_t length = strlen(path);
    if (length >= UT_CLEANUP_PATH_SIZE) return false;
    SignalsBlocked blocked;
    for (char* slot : trackedFile) {
        if (slot[0] != '\0') continue;
        memcpy(slot, path, length + 1);
        return true;
    }
    return false;
}

void utForgetFile(const char* path) {
    SignalsBlocked blocked;
    for (char* slot : trackedFile)
        if (strcmp(slot, path) == 0) slot[0] = '\0';
}

void utTrackChild(pid_t child) {
    trackedChild = child;
}

void utEnterTransaction() {
    ++transactionDepth;
}

void utLeaveTransaction() {
    if (transactionDepth > 0) --transactionDepth;
}

int utPendingSignal() {
    return pendingSignal;
}

void utExitOnSignal(int signo) {
    if (trackedChild > 0) kill(static_cast<pid_t>(trackedChild), SIGTERM);
    for (char* slot : trackedFile)
        if (slot[0] != '\0') unlink(slot);
    if (terminalSaved) tcsetattr(STDIN_FILENO, TCSANOW, &savedTerminal);
    trFlush();
    _exit(128 + signo);
}
