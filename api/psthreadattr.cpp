#include "api/psthreadattr.h"

#include "common/ut/trace.h"

int psThreadSetAttr(pthread_attr_t* attr) {
    TRACE(TR_THREAD, "Enter %s\n", "psThreadSetAttr()");
    int rc = pthread_attr_init(attr);
    if (rc != 0) {
        TRACE(TR_THREAD, "pthread_attr_init failed with %d\n", rc);
    } else {
        rc = pthread_attr_setdetachstate(attr, PTHREAD_CREATE_JOINABLE);
        if (rc != 0) TRACE(TR_THREAD, "pthread_attr_setdetachedstate failed with %d\n", rc);
    }
    TRACE(TR_THREAD, "Exit %s, rc = %d\n", "psThreadSetAttr()", rc);
    return rc;
}
