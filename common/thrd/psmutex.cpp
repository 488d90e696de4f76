// Plain mutex calls and the owner-tracking pkMutex wrapper.
#include "common/thrd/psmutex.h"

#include <errno.h>
#include <stdlib.h>
#include <unistd.h>

#include "common/ut/trace.h"

int bIsSingleThread = 1;
int bInSignalExit = 0;

// Recorded when multi-threading is switched on, for diagnostics.
static pthread_t psMainThread;
static pid_t psMainPid;

pthread_mutex_t orcMutex = PTHREAD_MUTEX_INITIALIZER;
pthread_mutex_t initMutex = PTHREAD_MUTEX_INITIALIZER;

int psThreadingInit(int on) {
    if (on) {
        bIsSingleThread = 0;
        psMainThread = pthread_self();
        psMainPid = getpid();
        TRACE(TR_THREAD, "psThreadingInit: multi-threaded, thread %lu, process %d\n",
              (unsigned long)psMainThread, (int)psMainPid);
    } else {
        bIsSingleThread = 1;
    }
    return 0;
}

// Lock, unlock and destroy stand still while single-threaded, and once a
// shutdown signal arrived: a thread that died holding a lock must not block
// the exit path.
static int psLockingOff() {
    return bIsSingleThread || bInSignalExit;
}

int psMutexInit(pthread_mutex_t* mutex) {
    if (bIsSingleThread) return 0;
    return pthread_mutex_init(mutex, nullptr);
}

int psMutexLock(pthread_mutex_t* mutex) {
    if (psLockingOff()) return 0;
    int rc = pthread_mutex_lock(mutex);
    if (rc == 0) return 0;
    if (rc == EDEADLK) {
        TRACE(TR_THREAD, "psMutexLock: Deadlock condition\n");
        return RC_DEADLOCK;
    }
    TRACE(TR_THREAD, "psMutexLock: rc = %d Out of memory\n", rc);
    return RC_LOCK_NO_MEMORY;
}

int psMutexUnlock(pthread_mutex_t* mutex) {
    if (psLockingOff()) return 0;
    return pthread_mutex_unlock(mutex);
}

int psMutexDestroy(pthread_mutex_t* mutex) {
    if (psLockingOff()) return 0;
    return pthread_mutex_destroy(mutex);
}

// The owner field is written only by the thread that holds the POSIX mutex;
// another thread reading it can only conclude that it is not the owner.
static bool pkOwnedByCaller(const pkMutex* m) {
    return m->count > 0 && pthread_equal(m->owner, pthread_self());
}

pkMutex* pkMutexCreate() {
    pkMutex* m = static_cast<pkMutex*>(calloc(1, sizeof(pkMutex)));
    if (!m) return nullptr;
    // Initialised for real even while single-threaded, so that the wrapper
    // works once threading is switched on later.
    int rc = pthread_mutex_init(&m->mutex, nullptr);
    if (rc != 0) {
        TRACE(TR_THREAD, "Create Mutex failed: %d.\n", rc);
        free(m);
        return nullptr;
    }
    m->owner = 0;
    m->count = 0;
    return m;
}

// Takes the wrapper for the caller: once more when it holds it already,
// else through `lock`; `failure` is the trace line of a lock that failed.
static int pkTake(pkMutex* m, int (*lock)(pthread_mutex_t*), const char* failure) {
    if (pkOwnedByCaller(m)) {
        m->count++;
        return 0;
    }
    int rc = lock(&m->mutex);
    if (rc != 0) {
        TRACE(TR_THREAD, "%s", failure);
        return rc;
    }
    m->count = 1;
    m->owner = pthread_self();
    return 0;
}

static int pkTryLock(pthread_mutex_t* mutex) {
    return psLockingOff() ? 0 : pthread_mutex_trylock(mutex);
}

int pkMutexAcquire(pkMutex* m) {
    return pkTake(m, psMutexLock, "Acquire Mutex failed.\n");
}

int pkMutexRelease(pkMutex* m) {
    // A release by a thread that does not hold the wrapper is ignored on
    // purpose: callers release on every path without tracking ownership.
    if (!pkOwnedByCaller(m)) return 0;
    if (--m->count > 0) return 0;
    m->owner = 0;
    int rc = psMutexUnlock(&m->mutex);
    if (rc != 0) TRACE(TR_THREAD, "Release Mutex failed: %d.\n", rc);
    return rc;
}

int pkMutexTry(pkMutex* m) {
    return pkTake(m, pkTryLock, "Try Mutex failed: .\n");
}

int pkMutexDestroy(pkMutex* m) {
    if (!m) return 0;
    int rc = psMutexDestroy(&m->mutex);
    if (rc != 0) {
        // Still in use: freeing it would pull the lock from under its holder.
        TRACE(TR_THREAD, "Destroy Mutex failed: %d.\n", rc);
        return rc;
    }
    free(m);
    return 0;
}

void pkMutexShowOwner(pkMutex* m) {
    if (m->count > 0)
        TRACE(TR_THREAD, "Mutex held by thread %d (%x)\n", (int)m->owner, (unsigned)m->owner);
    else
        TRACE(TR_THREAD, "Mutex held by no thread.\n");
}
