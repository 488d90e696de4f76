// The repository object and its message cache. Internal to common/nls (and
// its tests); other code uses nls.h.
//
// Cache: two rings of parsed messages, one for the user's language and one
// for English, each a circular doubly linked list whose head is the most
// recently used entry. A ring holds at most cacheLimit entries; a miss reads
// the catalog and, when the ring is full, evicts the entry before the head.
//
// Locking: the cache, the catalog handles, errorBuffer, insertArea and the
// pending report are touched only under nls_mutex (NlsLock below).
#ifndef ZEBO_COMMON_NLS_NLSOBJECT_H
#define ZEBO_COMMON_NLS_NLSOBJECT_H

#include <nl_types.h>

#include <string>

#include "common/nls/nls.h"
#include "common/thrd/psmutex.h"

enum {
    NL_NAME_MAX = 1280,           // file names and paths, NUL included
    NL_ERROR_BUFFER_SIZE = 4860,  // repository error texts
    NL_INSERT_AREA_SIZE = 8192,   // formatted inserts of one message
};

#define NL_CAT_NOT_OPEN ((nl_catd)-1)

// One parsed message; allocated with room for its body.
struct NLSMsg {
    NLSMsg* next;
    NLSMsg* prev;
    unsigned short number;
    unsigned char severity;
    char trailer[7];        // text after 0x12 in the catalog, "" when none
    unsigned short length;  // bytes of body (the ordered form holds NULs)
    char body[1];           // prefix (K I W E S only) and body, NUL-terminated
};

struct nlsObject_t {
    nlOutputRoutine output[NL_SEVERITY_COUNT];
    char prefix[4];
    NLSMsg* userRing;
    NLSMsg* englishRing;
    char* userFile;
    char* englishFile;
    char errorBuffer[NL_ERROR_BUFFER_SIZE];
    nl_catd userCat;
    nl_catd englishCat;
    int cacheLimit;
    int useEnglishOnce;  // the next lookup reads English; every lookup clears it
    int initialised;
    int applicationType;
    char errorLogName[NL_NAME_MAX];
    int retainDays;
    char retainUnit;
    int retainSize;
    char retainMode;
    char insertArea[NL_INSERT_AREA_SIZE];
    // A repository error composed in errorBuffer while the lock was held; it
    // is shown (and logged when asked) once the lock is released.
    int pendingSet;
    int pendingSeverity;
    int pendingLog;

    // The cached message `number` (reading the catalog on a miss), or null.
    // REQUIRES: nls_mutex held.
    NLSMsg* GetMsg(unsigned number);
    // Makes msg the head of the ring / unlinks it from the ring.
    void AddList(NLSMsg** ring, NLSMsg* msg);
    void DeleteList(NLSMsg** ring, NLSMsg* msg);
    // Frees every entry of both rings.
    void FlushCache();
};

extern pkMutex* nls_mutex;

// Holds nls_mutex for a scope. On leaving it takes the pending report, lets
// the lock go and only then shows the report, so that no output routine
// runs under the lock.
class NlsLock {
  public:
    explicit NlsLock(nlsObject_t* obj);
    ~NlsLock();
    NlsLock(const NlsLock&) = delete;
    NlsLock& operator=(const NlsLock&) = delete;
    bool held() const { return held_; }

  private:
    nlsObject_t* obj_;
    bool held_;
};

// Composes a repository error into obj->errorBuffer for delivery after the
// lock. REQUIRES: nls_mutex held (or no other thread using obj).
void nlSetPending(nlsObject_t* obj, int severity, int log, const char* fmt, ...)
    __attribute__((format(printf, 4, 5)));

// Shows a text with the output routine of its severity (a copy of it), unless
// the application type is silent.
void nlDispatch(nlsObject_t* obj, int severity, const char* text);

// Gives the hooks that nlInit installed in other modules back (message 476
// of the instrumentation engine).
void nlReleaseHooks();

// Severity table: code for a letter (-1 unknown), whether the text keeps its
// prefix, and the class reported to structured callers.
int nlSeverityOfLetter(char letter);
bool nlSeverityPrefixed(int severity);
int nlSeverityClass(int severity);

#endif
