#include "api/psconsole.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>
#include <wchar.h>
#include <wctype.h>

#include "api/psrc.h"
#include "common/ut/trace.h"

const char* psConsolePath = "/dev/tty";

namespace {

volatile sig_atomic_t interruptSeen = 0;

void onInterrupt(int) {
    interruptSeen = 1;
}

// What a wait changed and must put back.
struct ConsoleSession {
    int fd = -1;
    bool handlerSet = false;
    bool echoOff = false;
    struct termios saved;
    struct sigaction oldAction;
    sigset_t oldMask;
};

// Opens the console, takes over SIGINT and switches echo off. 0 or 419; on
// 419 whatever was already changed is undone by consoleEnd.
int consoleBegin(ConsoleSession* s) {
    fflush(stdout);
    s->fd = open(psConsolePath, O_RDONLY | O_NOCTTY | O_CLOEXEC);
    if (s->fd < 0) {
        TRACE(TR_FILEOPS, "Unable to open the console for input.\n");
        return PS_RC_INTERNAL;
    }
    interruptSeen = 0;
    struct sigaction sa;
    sa.sa_handler = onInterrupt;
    sigemptyset(&sa.sa_mask);
    sa.sa_flags = 0;  // no SA_RESTART: an interrupt must end a blocked read
    sigaction(SIGINT, &sa, &s->oldAction);
    // SIGINT stays blocked except inside the wait for input (ppoll), so an
    // interrupt cannot slip in between the flag test and the wait.
    sigset_t intOnly;
    sigemptyset(&intOnly);
    sigaddset(&intOnly, SIGINT);
    pthread_sigmask(SIG_BLOCK, &intOnly, &s->oldMask);
    s->handlerSet = true;

    if (tcgetattr(s->fd, &s->saved) != 0) {
        TRACE(TR_FILEOPS, "Unable to obtain the current state of the console.\n");
        return PS_RC_INTERNAL;
    }
    struct termios quiet = s->saved;
    quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    if (tcsetattr(s->fd, TCSANOW, &quiet) != 0) {
        TRACE(TR_FILEOPS, "Unable to disable console input echoing.\n");
        return PS_RC_INTERNAL;
    }
    s->echoOff = true;
    return 0;
}

enum ReadResult { GOT_CHAR, END_OF_INPUT, INTERRUPTED, CONSOLE_GONE };

// Reads one character. The caller's own signal mask is in force only while
// waiting, so a SIGINT that the program blocks stays blocked here as well.
// With `stopOnInterrupt` false an interrupt is only remembered for consoleEnd.
ReadResult consoleGetc(ConsoleSession* s, char* c, bool stopOnInterrupt) {
    for (;;) {
        if (stopOnInterrupt && interruptSeen) return INTERRUPTED;
        struct pollfd p = {s->fd, POLLIN, 0};
        int n = ppoll(&p, 1, nullptr, &s->oldMask);
        if (n < 0) {
            if (errno == EINTR) continue;
            return CONSOLE_GONE;
        }
        ssize_t got = read(s->fd, c, 1);
        if (got == 1) return GOT_CHAR;
        if (got == 0) {
            // A terminal that hung up reports end of input for ever.
            return (p.revents & POLLHUP) ? CONSOLE_GONE : END_OF_INPUT;
        }
        if (errno != EINTR && errno != EAGAIN) return CONSOLE_GONE;
    }
}

// Puts the console and the signal handling back; then, when an interrupt
// was caught, delivers it again (to the process when `toProcess`).
void consoleEnd(ConsoleSession* s, bool toProcess) {
    if (s->echoOff && tcsetattr(s->fd, TCSANOW, &s->saved) != 0) {
        TRACE(TR_FILEOPS, "Unable to restore the original state of the console.\n");
    }
    if (s->handlerSet) {
        sigaction(SIGINT, &s->oldAction, nullptr);
        pthread_sigmask(SIG_SETMASK, &s->oldMask, nullptr);
    }
    if (s->fd >= 0) close(s->fd);
    if (s->handlerSet && interruptSeen) {
        interruptSeen = 0;
        TRACE(TR_FILEOPS, "'BREAK' interrupt intercepted, re-raising 'BREAK' interrupt.\n");
        if (toProcess) {
            kill(getpid(), SIGINT);
        } else {
            raise(SIGINT);
        }
    }
}

char toUpper(char c) {
    wint_t w = btowc(static_cast<unsigned char>(c));
    if (w == WEOF) return c;
    int up = wctob(towupper(w));
    return up == EOF ? c : static_cast<char>(up);
}

}  // namespace

bool psIsStdoutRedirected() {
    TRACE(TR_FILEOPS, "Enter %s\n", "psIsStdoutRedirected()");
    bool redirected = false;
    struct stat st;
    if (fstat(STDOUT_FILENO, &st) != 0) {
        TRACE(TR_FILEOPS, "Unable to obtain stdout's file statistics.\n");
    } else {
        redirected = S_ISREG(st.st_mode) || S_ISFIFO(st.st_mode);
    }
    TRACE(TR_FILEOPS, "Exit %s, bRc = %s\n", "psIsStdoutRedirected()",
          redirected ? "True" : "False");
    return redirected;
}

int psWaitForEnterKey() {
    TRACE(TR_FILEOPS, "Enter %s\n", "psWaitForEnterKey()");
    ConsoleSession s;
    int rc = consoleBegin(&s);
    if (rc == 0) {
        char c = 0;
        while (consoleGetc(&s, &c, true) == GOT_CHAR && c != '\n') {
        }
    }
    if (s.fd >= 0) consoleEnd(&s, false);
    TRACE(TR_FILEOPS, "Exit %s, rc = %d\n", "psWaitForEnterKey()", rc);
    return rc;
}

signed char psWaitForSpecifedKeys(const char* keys) {
    TRACE(TR_FILEOPS, "Enter %s\n", "psWaitForSpecifedKeys()");
    ConsoleSession s;
    int rc = consoleBegin(&s);
    signed char key = 0;
    char c = 0;
    while (rc == 0 && key == 0) {
        ReadResult r = consoleGetc(&s, &c, false);
        if (r == CONSOLE_GONE) break;
        if (r != GOT_CHAR) continue;
        for (const char* k = keys; *k; ++k) {
            if (*k == c) {
                key = static_cast<signed char>(c);
                break;
            }
        }
    }
    if (s.fd >= 0) consoleEnd(&s, false);
    TRACE(TR_FILEOPS, "Exit %s, rc = %d\n", "psWaitForSpecifedKeys()", rc);
    return key;
}

int psReadLineNoEcho(char* buffer, int size, int upperCase) {
    TRACE(TR_FILEOPS, "Enter %s\n", "psReadLineNoEcho()");
    ConsoleSession s;
    int len = -1;
    if (consoleBegin(&s) == 0) {
        len = 0;
        char c = 0;
        while (consoleGetc(&s, &c, true) == GOT_CHAR && c != '\n') {
            if (len < size) buffer[len++] = upperCase == 1 ? toUpper(c) : c;
        }
        buffer[len] = '\0';
    }
    if (s.fd >= 0) consoleEnd(&s, true);
    TRACE(TR_FILEOPS, "Exit %s, rc = %d\n", "psReadLineNoEcho()", len);
    return len;
}

void psGetConsoleSize(int* rows, int* cols) {
    TRACE(TR_FILEOPS, "Enter %s\n", "psGetConsoleSize()");
    if (!rows || !cols) return;
    if (psIsStdoutRedirected()) {
        *rows = 23;
        *cols = 1024;
    } else {
        *rows = 23;
        *cols = 79;
        struct winsize ws;
        if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &ws) == 0 && ws.ws_row != 0 && ws.ws_col != 0) {
            *rows = ws.ws_row - 1;
            *cols = ws.ws_col - 1;
        }
    }
    TRACE(TR_FILEOPS, "Exit %s, rows = %d, cols = %d\n", "psGetConsoleSize()", *rows, *cols);
}

int psClearScreen() {
    fflush(stdout);
    return system("tput clear");
}
