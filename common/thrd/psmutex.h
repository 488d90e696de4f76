// Locks of the client runtime over POSIX threads.
//
// The plain calls (psMutex*) do nothing and succeed while the process is
// single-threaded (the default until psThreadingInit(1)) or is exiting on a
// shutdown signal, so that a thread that died holding a lock cannot block the
// exit path. pkMutex adds an owner and a hold count: the owner may acquire it
// again without blocking, and a release by any other thread does nothing.
#ifndef ZEBO_COMMON_THRD_PSMUTEX_H
#define ZEBO_COMMON_THRD_PSMUTEX_H

#include <pthread.h>

// Result codes of the lock layer.
enum {
    RC_LOCK_NO_MEMORY = 102,    // any lock failure but a deadlock
    RC_COND_WAIT_FAILED = 131,  // an untimed condition wait failed
    RC_NULL_ATTRIBUTES = 109,   // psSetStackSize without attributes
    RC_DEADLOCK = 936,          // pthread_mutex_lock reported EDEADLK
    RC_TIMED_OUT = 964,         // a timed condition wait expired
};

extern int bIsSingleThread;  // 1: no locking at all
extern int bInSignalExit;    // 1: a shutdown signal was received

// Switches locking on (1: records the calling thread and process) or off (0).
int psThreadingInit(int on);

int psMutexInit(pthread_mutex_t* mutex);
int psMutexLock(pthread_mutex_t* mutex);  // 0, 936 or 102
int psMutexUnlock(pthread_mutex_t* mutex);
int psMutexDestroy(pthread_mutex_t* mutex);

// The agent's two process-wide locks, initialised by main.
extern pthread_mutex_t orcMutex;
extern pthread_mutex_t initMutex;

struct pkMutex {
    pthread_mutex_t mutex;
    pthread_t owner;     // 0 = none
    unsigned int count;  // holds by the owner
};

pkMutex* pkMutexCreate();  // null on failure
int pkMutexAcquire(pkMutex* m);
int pkMutexRelease(pkMutex* m);
int pkMutexTry(pkMutex* m);
int pkMutexDestroy(pkMutex* m);
void pkMutexShowOwner(pkMutex* m);

struct pkCondition {
    int signalled;   // waiters loop until non-zero
    pkMutex* mutex;  // the wrapper that guards it
    pthread_cond_t cond;
};

// Creates the condition guarded by `mutex`. 0 or the POSIX code.
int pkConditionCreate(pkCondition* c, pkMutex* mutex);
// REQUIRES: the caller owns c->mutex. 0, -1 (not owner) or 131.
int pkConditionWait(pkCondition* c);
// REQUIRES: the caller owns c->mutex. 0, -1, 964 (timed out) or a POSIX code.
int pkConditionTimedWait(pkCondition* c, unsigned long milliseconds);
int pkConditionSignal(pkCondition* c);
int pkConditionDestroy(pkCondition* c);

// The absolute deadline of a timed wait started at (sec, usec).
struct timespec pkDeadline(long sec, long usec, unsigned long milliseconds);

#endif
