// The fallback below must stop the program in every build, so the assertion
// stays armed even where the build defines NDEBUG.
#undef NDEBUG
#include "api/dbaseapi.h"

#include <assert.h>
#include <string.h>

#include "common/unx/psenv.h"

#include "common/ut/trace.h"

ApiStatusObj koruApiStatus = {};
ApiStatusObj koruBaseApiStatus = {};
ApiStatusObj* RvkApiStatusObjP = &koruApiStatus;

namespace {

// The stopwatch reads the program's clock, to the microsecond.
void timeOfDay(ApiTimeVal* now) {
    struct timespec ts;
    psClock(&ts);
    now->sec = static_cast<uint32_t>(ts.tv_sec);
    now->usec = static_cast<uint32_t>(ts.tv_nsec / 1000);
}

}  // namespace

long apiElapsedMilliseconds(ApiStatusObj* record) {
    // Unsigned words subtracted as signed: a clock that steps back yields a
    // negative duration rather than four billion seconds.
    int32_t sec = static_cast<int32_t>(record->endTime.sec - record->startTime.sec);
    int32_t usec = static_cast<int32_t>(record->endTime.usec - record->startTime.usec);
    if (record->endTime.usec < record->startTime.usec) {
        sec -= 1;
        usec += 1000000;
    }
    record->elapsedSec = sec;
    record->elapsedUsec = usec;
    return static_cast<long>(sec) * 1000 + usec / 1000;
}

DBaseApi::DBaseApi() {
    TRACE(TR_API, "Enter %s\n", "DBaseApi::DBaseApi()");
    strcpy(m_apiName, "undefined");
    TRACE(TR_API, "Exit %s\n", "DBaseApi::DBaseApi()");
}

DBaseApi::DBaseApi(const char* name) {
    TRACE(TR_API, "Enter %s\n", "DBaseApi::DBaseApi()");
    strncpy(m_apiName, name ? name : "", sizeof m_apiName - 1);
    m_apiName[sizeof m_apiName - 1] = '\0';
    TRACE(TR_API, "Exit %s\n", "DBaseApi::DBaseApi()");
}

DBaseApi::~DBaseApi() {
    TRACE(TR_API, "Enter & Exit %s\n", "DBaseApi::~DBaseApi()");
}

const char* DBaseApi::GetApiName() {
    TRACE(TR_API, "Exit %s, returning api name %s\n", "DBaseApi::GetApiName()", m_apiName);
    return m_apiName;
}

void DBaseApi::StartApiCall(ApiStatusObj* statusP) {
    statusP->inApiCall = 1;
    timeOfDay(&statusP->startTime);
}

void DBaseApi::EndApiCall(DBaseApi* apiP, ApiStatusObj* statusP) {
    TRACE(TR_API, "Enter %s\n", "DBaseApi::EndApiCall()");
    statusP->inApiCall = 0;
    timeOfDay(&statusP->endTime);
    long ms = apiElapsedMilliseconds(statusP);
    statusP->totalTime += static_cast<double>(ms);
    TRACE(TR_PERFORMANCE, "Elapsed milliseconds %ld, for %s Api call \n", ms, apiP->GetApiName());
    TRACE(TR_API, "Exit %s, elapsed milliseconds %ld, total time %.0f for %s Apis \n",
          "DBaseApi::EndApiCall()", ms, statusP->totalTime, apiP->GetApiName());
}

void DBaseApi::EndApiCall(ApiStatusObj* statusP, const char* familyName) {
    TRACE(TR_API, "Enter %s( %s )\n", "DBaseApi::EndApiCall()", familyName);
    statusP->inApiCall = 0;
    timeOfDay(&statusP->endTime);
    double seconds = static_cast<double>(apiElapsedMilliseconds(statusP)) / 1000.0;
    statusP->totalTime += seconds;
    TRACE(TR_API, "Exit %s, elapsed seconds %0.f, total time %.0f for %s Apis \n",
          "DBaseApi::EndApiCall()", seconds, statusP->totalTime, familyName);
}

void DBaseApi::LogApiStatus(ApiStatusObj* statusP) {
    TRACE(TR_PERFORMANCE, "Performance stats: %.0f seconds spent in %s API calls\n",
          statusP->totalTime, m_apiName);
}

int32_t FunctionNotLoaded() {
    TRACE(TR_API, "Function not loaded\n");
    assert(0);
    return 0;
}
