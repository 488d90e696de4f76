// The root of the API wrapper family and the stopwatch around every API call.
//
// Each family (the client API is "VLT") owns one process-wide timing record.
// A wrapper calls StartApiCall before it enters the library and EndApiCall
// after it returns; the call's duration is added to the record's running
// total and, with the performance class on, written to the trace. The
// records are plain data shared by all callers and not locked: the program
// makes its API calls from one thread at a time.
//
// Units, kept deliberately as the program has always had them: the form of
// EndApiCall that every wrapper uses totals milliseconds, the form with a
// family name totals seconds, and LogApiStatus labels either total
// "seconds". A record filled by the wrappers therefore reports milliseconds
// under that label.
#ifndef ZEBO_API_DBASEAPI_H
#define ZEBO_API_DBASEAPI_H

#include <stdint.h>

// A time of day at microsecond resolution.
struct ApiTimeVal {
    uint32_t sec;
    uint32_t usec;
};

// One family's stopwatch and running total (48 bytes).
struct ApiStatusObj {
    ApiTimeVal startTime;  // time of day at StartApiCall
    ApiTimeVal endTime;    // time of day at EndApiCall
    int32_t elapsedSec;    // endTime - startTime, borrow applied
    int32_t elapsedUsec;
    char reserved1[8];
    double totalTime;  // running total of the family's API time
    int32_t reserved2;
    int32_t inApiCall;  // 1 between StartApiCall and EndApiCall
};

// The client API's record, a second one for the base family, and the pointer
// that callers pass as the timing record of every client-API call.
extern ApiStatusObj koruApiStatus;
extern ApiStatusObj koruBaseApiStatus;
extern ApiStatusObj* RvkApiStatusObjP;

// Elapsed milliseconds of a stopped record: stores the difference of end and
// start in the elapsed fields and returns seconds * 1000 + microseconds / 1000.
long apiElapsedMilliseconds(ApiStatusObj* record);

class DBaseApi {
  public:
    DBaseApi();
    explicit DBaseApi(const char* name);

    // Slot order of the family: Setup, Cleanup, Init, Term, GetApiName.
    virtual int Setup() = 0;
    virtual int Cleanup() = 0;
    virtual int Init(ApiStatusObj* statusP, int* reasonP) = 0;
    virtual int Term(ApiStatusObj* statusP) = 0;
    virtual const char* GetApiName();

    void StartApiCall(ApiStatusObj* statusP);
    // Totals milliseconds; the form that every wrapper uses.
    void EndApiCall(DBaseApi* apiP, ApiStatusObj* statusP);
    // Totals seconds.
    void EndApiCall(ApiStatusObj* statusP, const char* familyName);
    // With the performance class on, reports the record's total.
    void LogApiStatus(ApiStatusObj* statusP);

    // Declared after the operations so that they keep their slots; virtual so
    // that deleting the object through gRvkApiObjP runs every destructor.
    virtual ~DBaseApi();

  protected:
    char m_apiName[21];
};

// Fallback for an entry point that was never bound: traces and stops the
// program with a failed assertion (also in optimised builds).
int32_t FunctionNotLoaded();

#endif
