// Delays, stack size, thread exit and stop, and the clock.
#include "common/thrd/psthread.h"

#include <errno.h>
#include <sys/select.h>
#include <sys/time.h>
#include <unistd.h>

#include "common/thrd/psmutex.h"
#include "common/unx/psenv.h"
#include "common/ut/instr.h"
#include "common/ut/trace.h"

void psGetTimeOfDay(long* seconds, long* microseconds) {
    struct timespec now;
    psClock(&now);
    *seconds = now.tv_sec;
    *microseconds = now.tv_nsec / 1000;
}

int psThreadNumber() {
    return (int)gettid();
}

void psThreadDelay(unsigned long milliseconds) {
    // Only the long delays are worth a line each; short ones are polling.
    bool traced = milliseconds >= 1000;
    if (traced)
        TRACE(TR_THREAD_STATUS, "Thread %d delaying for %d milliseconds.\n", psThreadNumber(),
              (int)milliseconds);
    instrBegin(INSTR_SLEEP);
    struct timeval timeout;
    timeout.tv_sec = (long)(milliseconds / 1000);
    timeout.tv_usec = (long)(milliseconds % 1000) * 1000L;
    select(0, nullptr, nullptr, nullptr, &timeout);
    instrEnd(INSTR_SLEEP);
    if (traced) TRACE(TR_THREAD_STATUS, "Thread %d awakened.\n", psThreadNumber());
}

int psSetStackSize(pthread_attr_t* attributes, unsigned long bytes) {
    if (!attributes) return RC_NULL_ATTRIBUTES;
    int rc = pthread_attr_setstacksize(attributes, bytes);
    if (rc == 0)
        TRACE(TR_THREAD, "pthread_attr_setstacksize: new stacksize=%u\n", (unsigned)bytes);
    else
        TRACE(TR_THREAD, "pthread_attr_setstacksize failed: errno=%d\n", rc);
    return rc;
}

void psThreadExit(void* value) {
    TRACE(TR_THREAD, "Thread %d exit called.\n", psThreadNumber());
    pthread_exit(value);
}

int psThreadStop(pthread_t thread) {
    int rc = pthread_kill(thread, SIGUSR1);
    if (rc != 0) {
        const char* reason = rc == EINVAL ? "EINVAL" : rc == ESRCH ? "ESRCH" : "unkown";
        TRACE(TR_THREAD, "pthread_kill argument invalid: %s\n", reason);
    }
    return rc;
}
