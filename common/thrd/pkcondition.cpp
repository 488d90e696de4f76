// Condition objects guarded by a pkMutex, with an untimed and a
// millisecond-timed wait.
#include <errno.h>
#include <sched.h>
#include <sys/time.h>

#include "common/thrd/psmutex.h"
#include "common/ut/instr.h"
#include "common/ut/trace.h"

int pkConditionCreate(pkCondition* c, pkMutex* mutex) {
    c->signalled = 0;
    c->mutex = mutex;
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    int rc = pthread_cond_init(&c->cond, &attributes);
    pthread_condattr_destroy(&attributes);
    if (rc != 0) TRACE(TR_THREAD, "Create condition failed: %d.\n", rc);
    return rc;
}

static bool pkConditionOwned(const pkCondition* c) {
    const pkMutex* m = c->mutex;
    return m && m->count > 0 && pthread_equal(m->owner, pthread_self());
}

// While the POSIX wait has the mutex released, another thread may acquire and
// release the wrapper, which clears owner and count; the waiter takes both
// back when the wait returns with the mutex held again.
static void pkConditionReclaim(pkCondition* c, unsigned int count) {
    c->mutex->owner = pthread_self();
    c->mutex->count = count;
}

int pkConditionWait(pkCondition* c) {
    if (!pkConditionOwned(c)) {
        TRACE(TR_GENERAL, "Mutex not held on condition wait.\n");
        return -1;
    }
    if (c->signalled) return 0;
    unsigned int count = c->mutex->count;
    int rc = 0;
    instrBegin(INSTR_THREAD_WAIT);
    while (!c->signalled) {
        int wrc = pthread_cond_wait(&c->cond, &c->mutex->mutex);
        if (wrc == EINTR) continue;
        if (wrc != 0) {
            TRACE(TR_THREAD, "Condition wait failed: error %d\n", wrc);
            rc = RC_COND_WAIT_FAILED;
            break;
        }
    }
    instrEnd(INSTR_THREAD_WAIT);
    pkConditionReclaim(c, count);
    return rc;
}

struct timespec pkDeadline(long sec, long usec, unsigned long milliseconds) {
    struct timespec deadline;
    deadline.tv_sec = sec + (long)(milliseconds / 1000);
    long nsec = usec * 1000 + (long)(milliseconds % 1000) * 1000000L;
    if (nsec >= 1000000000L) {
        deadline.tv_sec += 1;
        nsec -= 1000000000L;
    }
    deadline.tv_nsec = nsec;
    return deadline;
}

int pkConditionTimedWait(pkCondition* c, unsigned long milliseconds) {
    if (!pkConditionOwned(c)) {
        TRACE(TR_GENERAL, "Mutex not held on condition wait.\n");
        return -1;
    }
    // A signal that came before the wait must not be waited for again.
    if (c->signalled) return 0;
    unsigned int count = c->mutex->count;
    // The deadline is on the real clock, which pthread_cond_timedwait uses.
    struct timeval now;
    gettimeofday(&now, nullptr);
    struct timespec deadline = pkDeadline(now.tv_sec, now.tv_usec, milliseconds);
    int rc = pthread_cond_timedwait(&c->cond, &c->mutex->mutex, &deadline);
    pkConditionReclaim(c, count);
    if (rc == ETIMEDOUT) return RC_TIMED_OUT;
    return rc;
}

int pkConditionSignal(pkCondition* c) {
    int rc = pthread_cond_signal(&c->cond);
    if (rc != 0) TRACE(TR_THREAD, "Signal condition failed: %d.\n", rc);
    return rc;
}

int pkConditionDestroy(pkCondition* c) {
    if (bInSignalExit) return 0;
    int rc = pthread_cond_destroy(&c->cond);
    while (rc == EBUSY) {
        // Waiters remain: wake them and let them leave before trying again.
        pthread_cond_broadcast(&c->cond);
        sched_yield();
        rc = pthread_cond_destroy(&c->cond);
    }
    if (rc != 0) TRACE(TR_THREAD, "Destroy condition failed: %d.\n", rc);
    return rc;
}
