// Threads, delays and the process's signal arrangement.
//
// Fatal signals (SIGILL, SIGFPE, SIGBUS, SIGSEGV, SIGUSR1, SIGABRT, SIGTRAP)
// go to psTrapHandler: SIGUSR1 ends only the receiving thread, the others
// abort with a core. Shutdown signals (SIGINT, SIGQUIT, SIGTERM, SIGPWR,
// SIGXCPU, SIGXFSZ) are blocked and collected by psWaitShutdown.
#ifndef ZEBO_COMMON_THRD_PSTHREAD_H
#define ZEBO_COMMON_THRD_PSTHREAD_H

#include <pthread.h>
#include <signal.h>

// Sleeps for the given milliseconds (select with a time-out).
void psThreadDelay(unsigned long milliseconds);

// 109 for null attributes, else the POSIX code.
int psSetStackSize(pthread_attr_t* attributes, unsigned long bytes);

// Ends the calling thread (traced).
void psThreadExit(void* value);

// Sends SIGUSR1 to the thread, which ends it. The POSIX code.
int psThreadStop(pthread_t thread);

// The two signal sets that psSignalSetup fills, kept by the caller: the
// trapped set, then the shutdown set (256 bytes on this platform).
struct psSignalSets {
    sigset_t trapped;
    sigset_t shutdown;
};

int psSignalSetup(psSignalSets* sets);  // 0 or -1
void psTrapHandler(int signo);
int psWaitShutdown(psSignalSets* sets);  // 0 after a shutdown signal, -1 on failure

// Time of day in seconds and microseconds, from the program's clock
// (psClock, common/unx/psenv.h).
void psGetTimeOfDay(long* seconds, long* microseconds);

// The calling thread's number as trace lines and reports show it (the
// kernel's thread id: small, unique while the thread lives, and the same
// number that system tools show).
int psThreadNumber();

#endif
