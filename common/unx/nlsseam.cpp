#include "common/unx/nlsseam.h"

const char* nlDefaultLangInfo(nl_item item) {
    const char* text = nl_langinfo(item);
    return text ? text : "";
}

void nlDefaultClock(struct timespec* now) {
    if (clock_gettime(CLOCK_REALTIME, now) != 0) {
        now->tv_sec = time(nullptr);
        now->tv_nsec = 0;
    }
}

NlLangInfoFn nlLangInfoSeam = nlDefaultLangInfo;
NlClockFn nlClockSeam = nlDefaultClock;
