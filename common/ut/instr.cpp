// The instrumentation engine: per-thread category stacks, time accounting
// and the report.
#include "common/ut/instr.h"

#include <errno.h>
#include <float.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include "common/thrd/psmutex.h"
#include "common/thrd/psthread.h"
#include "common/unx/nlsfmt.h"
#include "common/ut/trace.h"

enum { INSTR_STACK_MAX = 30, INSTR_NAME_WIDTH = 21 };

struct InstrCategory {
    char name[INSTR_NAME_WIDTH + 1];  // padded with blanks
    // cppcheck-suppress unusedStructMember ; the row keeps its number for the reader
    int number;
};

// Stored by instrumentation class; sorted by number when the engine starts.
static InstrCategory categoryList[INSTR_CATEGORY_COUNT] = {
    {"Other", 0},
    {"Query Server Dirs", 1},
    {"Query Server Files", 2},
    {"Process Dirs", 3},
    {"Cache Examine", 4},
    {"Solve Tree", 5},
    {"Compute", 6},
    {"BeginTxn Verb", 7},
    {"Transaction", 8},
    {"File I/O", 9},
    {"Compression", 10},
    {"Encryption", 11},
    {"CRC", 12},
    {"Delta", 13},
    {"Data Verb", 14},
    {"Confirm Verb", 15},
    {"EndTxn Verb", 16},
    {"Sleep", 17},
    {"Thread Wait", 18},
    {"Waiting on App", 24},
    {"API Send Data", 25},
    {"API Query", 26},
    {"API Get Data", 27},
    {"API End Txn", 28},
    {"API Misc", 29},
    {"DB Query", 19},
    {"DB Ins/Update", 20},
    {"DB Delete", 21},
    {"DB Treewalk Callback", 22},
    {"DB Treewalk", 23},
};

struct InstrClass {
    const char* title;
    // cppcheck-suppress unusedStructMember ; the row keeps its keyword for the reader
    const char* keyword;
    int mask;
    int first;
    int last;
};

static const InstrClass iClasses[] = {
    {"Client detail", "DETAIL", INSTR_CLASS_DETAIL, 1, 18},
    {"API", "API", INSTR_CLASS_API, 24, 29},
    {"DB Operations", "DBOPS", INSTR_CLASS_DBOPS, 19, 23},
};

struct InstrStackEntry {
    int category;
    long sec, usec;  // when it was entered or last resumed
};

// One per (thread, class). The stack's slot 0 holds "Other", the time
// outside any category of the class; pushes use slots 1 to 29.
struct InstrThread {
    InstrThread* next;
    pthread_t thread;
    int number;
    int cls;
    long startSec, startUsec;
    double elapsed;
    double seconds[INSTR_CATEGORY_COUNT];
    unsigned uses[INSTR_CATEGORY_COUNT];
    InstrStackEntry stack[INSTR_STACK_MAX];
    short depth;
};

struct InstrEngine {
    int classes;
    int detail;
    pthread_mutex_t mutex;
    long lastSec, lastUsec;
    time_t reportStart;
    int active;
    InstrThread* threads;
    InstrThread* current;
    FILE* report;
    int status;
    int suspended;
    int catMask[INSTR_CATEGORY_COUNT];
};

InstrEngine instrObj = {0, 0, PTHREAD_MUTEX_INITIALIZER, 0, 0, 0, 0, nullptr, nullptr, nullptr, 0,
                        0, {}};

static char instrFileName[1100];

static void instrDefaultMessage476(const char* what, const char* file, const char* reason) {
    printf("%s: unable to open file '%s': %s\n", what, file, reason);
}

void (*instrShowMessage476)(const char* what, const char* file,
                            const char* reason) = instrDefaultMessage476;

static const char* instrName(int category) {
    return categoryList[category].name;
}

static double instrSince(long sec, long usec, long nowSec, long nowUsec) {
    return (double)(nowSec - sec) + (double)(nowUsec - usec) / 1e6;
}

static int instrCompare(const void* a, const void* b) {
    return static_cast<const InstrCategory*>(a)->number -
           static_cast<const InstrCategory*>(b)->number;
}

int instrInit(const char* path, int classes, int detail) {
    TRACE(TR_INSTRUMENT, "instrInit ENTRY\n");
    InstrEngine& e = instrObj;
    const char* slash = path ? strrchr(path, '/') : nullptr;
    int dirLen = slash ? (int)(slash - path + 1) : 0;
    snprintf(instrFileName, sizeof instrFileName, "%.*srvkinstr.report.p%d", dirLen,
             dirLen ? path : "", (int)getpid());
    int rc = 0;
    e.report = fopen(instrFileName, "a");
    if (e.report) {
        setvbuf(e.report, nullptr, _IONBF, 0);
        psMutexInit(&e.mutex);
        e.classes = classes;
        e.detail = detail;
    } else {
        instrShowMessage476("Instrumentation", instrFileName, strerror(errno));
        rc = -1;
    }
    qsort(categoryList, INSTR_CATEGORY_COUNT, sizeof categoryList[0], instrCompare);
    for (InstrCategory& c : categoryList) {
        size_t len = strlen(c.name);
        memset(c.name + len, ' ', INSTR_NAME_WIDTH - len);
        c.name[INSTR_NAME_WIDTH] = '\0';
    }
    memset(e.catMask, 0, sizeof e.catMask);
    for (const InstrClass& c : iClasses)
        for (int i = c.first; i <= c.last; i++) e.catMask[i] = c.mask;
    TRACE(TR_INSTRUMENT, "File name: '%s', instrumentaion class: %d\n", instrFileName, classes);
    TRACE(TR_INSTRUMENT, "instrInit EXIT\n");
    return rc;
}

const char* instrReportName() {
    return instrFileName;
}

static InstrThread* instrNewRecord(int cls, long sec, long usec) {
    InstrThread* r = static_cast<InstrThread*>(calloc(1, sizeof(InstrThread)));
    if (!r) return nullptr;
    r->thread = pthread_self();
    r->number = psThreadNumber();
    r->cls = cls;
    r->startSec = sec;
    r->startUsec = usec;
    r->stack[0] = {INSTR_OTHER, sec, usec};
    r->uses[INSTR_OTHER] = 1;
    r->next = instrObj.threads;
    instrObj.threads = r;
    return r;
}

static InstrThread* instrFindRecord(int cls, long sec, long usec) {
    pthread_t self = pthread_self();
    for (InstrThread* r = instrObj.threads; r; r = r->next)
        if (pthread_equal(r->thread, self) && r->cls == cls) return r;
    return instrNewRecord(cls, sec, usec);
}

void instrStart(int classes) {
    InstrEngine& e = instrObj;
    if (!(classes & e.classes)) return;
    psMutexLock(&e.mutex);
    long sec, usec;
    psGetTimeOfDay(&sec, &usec);
    if (e.active == 0) {
        static const char banner[] =
            "=======================> C O M M E N C E  N E W  R E P O R T "
            "<=======================";
        fprintf(e.report, "\n\n%s\n%s\n", banner, banner);
        e.reportStart = (time_t)sec;
    }
    e.active |= classes & e.classes;
    e.lastSec = sec;
    e.lastUsec = usec;
    for (const InstrClass& c : iClasses)
        if (classes & e.classes & c.mask) e.current = instrFindRecord(c.mask, sec, usec);
    psMutexUnlock(&e.mutex);
    TRACE(TR_INSTRUMENT, "Started instrumentation for classes %d\n", classes);
}

static void instrSuspend(int status) {
    instrObj.status = status;
    instrObj.suspended = 1;
}

static void instrPush(InstrThread* r, int category, long sec, long usec) {
    InstrStackEntry& top = r->stack[r->depth];
    r->seconds[top.category] += instrSince(top.sec, top.usec, sec, usec);
    if (r->depth + 1 < INSTR_STACK_MAX) {
        r->depth++;
        r->stack[r->depth] = {category, sec, usec};
        r->uses[category]++;
        return;
    }
    instrSuspend(INSTR_STACK_OVERFLOW);
    fprintf(instrObj.report,
            "ERROR: Stack overflow detected, Thread: %d, category being entered: %s\n", r->number,
            instrName(category));
    fprintf(instrObj.report, "Instrumentation engine suspends operation.\n");
}

static bool instrPop(InstrThread* r, int category, long sec, long usec) {
    InstrStackEntry& top = r->stack[r->depth];
    if (r->depth == 0 || top.category != category) {
        instrSuspend(INSTR_INVALID_END);
        fprintf(instrObj.report,
                "ERROR: Invalid category detected, Thread: %d, category being ended: %s\n",
                r->number, instrName(category));
        fprintf(instrObj.report, "Current category is: %s\n", instrName(top.category));
        fprintf(instrObj.report, "Instrumentation engine suspends operation.\n");
        return false;
    }
    r->seconds[category] += instrSince(top.sec, top.usec, sec, usec);
    r->depth--;
    r->stack[r->depth].sec = sec;
    r->stack[r->depth].usec = usec;
    return true;
}

static void instrDetail(InstrThread* r, const char* what, int category, const char* second,
                        int other) {
    char date[16], time[16];
    unsigned long ms = 0;
    nlDateTimeNow(date, sizeof date, time, sizeof time, &ms);
    fprintf(instrObj.report, "%s %s.%03lu TID: %d, %s: %s, %s: %s\n", date, time, ms, r->number,
            what, instrName(category), second, instrName(other));
}

enum InstrAction { INSTR_BEGIN, INSTR_END, INSTR_REPLACE };

static void instrChange(InstrAction action, int category) {
    InstrEngine& e = instrObj;
    if (e.suspended || !e.active || category < 0 || category >= INSTR_CATEGORY_COUNT) return;
    if (!(e.catMask[category] & e.active)) return;
    psMutexLock(&e.mutex);
    long sec, usec;
    psGetTimeOfDay(&sec, &usec);
    e.lastSec = sec;
    e.lastUsec = usec;
    InstrThread* r = instrFindRecord(e.catMask[category], sec, usec);
    e.current = r;
    if (r && !e.suspended) {
        int top = r->stack[r->depth].category;
        switch (action) {
            case INSTR_BEGIN:
                if (e.detail) instrDetail(r, "Begin", category, "Suspend", top);
                instrPush(r, category, sec, usec);
                break;
            case INSTR_END:
                if (e.detail)
                    instrDetail(r, "End", category, "Resume",
                                r->depth > 0 ? r->stack[r->depth - 1].category : top);
                instrPop(r, category, sec, usec);
                break;
            case INSTR_REPLACE:
                if (e.detail) instrDetail(r, "Replace", top, "With", category);
                if (instrPop(r, top, sec, usec)) instrPush(r, category, sec, usec);
                break;
        }
    }
    psMutexUnlock(&e.mutex);
}

void instrBegin(int category) {
    instrChange(INSTR_BEGIN, category);
}
void instrEnd(int category) {
    instrChange(INSTR_END, category);
}
void instrReplace(int category) {
    instrChange(INSTR_REPLACE, category);
}

static const char kDashes[] = "------------------------------------------------------------------";

static const char* instrStatusText(int status) {
    switch (status) {
        case INSTR_SUCCESS:
            return "Success";
        case INSTR_STACK_OVERFLOW:
            return "Stack overflow";
        case INSTR_INVALID_END:
            return "Invalid category end call";
        default:
            return "Unknown error";
    }
}

// Writes one thread's statistics; the category on top is accounted up to now.
static void instrReportThread(InstrThread* r, const InstrClass& c, long sec, long usec) {
    FILE* out = instrObj.report;
    InstrStackEntry& top = r->stack[r->depth];
    r->seconds[top.category] += instrSince(top.sec, top.usec, sec, usec);
    top.sec = sec;
    top.usec = usec;
    double accounted = 0;
    for (int i = c.first; i <= c.last; i++) accounted += r->seconds[i];
    if (accounted < DBL_EPSILON) {
        fprintf(out, "No instrumented activity reported for thread %d\n", r->number);
        return;
    }
    r->elapsed = instrSince(r->startSec, r->startUsec, sec, usec);
    fprintf(out, "Detailed Instrumentation statistics for\n\n");
    fprintf(out, "Thread: %d  Elapsed time = %9.3f sec\n", r->number, r->elapsed);
    fprintf(out, "Section                  Actual(sec)\t\tAverage(msec)\tFrequency used\n");
    fprintf(out, "%s\n", kDashes);
    for (int i = c.first; i <= c.last; i++) {
        if (r->uses[i] == 0) continue;
        fprintf(out, "%-25s%9.3f\t%9.1f\t\t\t%9u\n", instrName(i), r->seconds[i],
                r->seconds[i] * 1000.0 / r->uses[i], r->uses[i]);
    }
    fprintf(out, "%-25s%9.3f\t%9.1f\t\t\t%9u\n", instrName(INSTR_OTHER), r->seconds[INSTR_OTHER],
            r->seconds[INSTR_OTHER] * 1000.0 / r->uses[INSTR_OTHER], r->uses[INSTR_OTHER]);
}

static void instrReport(const InstrClass& c) {
    InstrEngine& e = instrObj;
    FILE* out = e.report;
    long sec, usec;
    psGetTimeOfDay(&sec, &usec);
    fprintf(out, "\n%s\n", kDashes);
    fprintf(out, "VLT Client final instrumentation statistics: %s", ctime(&e.reportStart));
    fprintf(out, "Instrumentation class: %s\n", c.title);
    fprintf(out, "Completion status: %s\n", instrStatusText(e.status));
    fprintf(out, "\n%s\n", kDashes);
    bool callerHasRecord = false;
    pthread_t self = pthread_self();
    for (InstrThread** link = &e.threads; *link;) {
        InstrThread* r = *link;
        if (r->cls != c.mask) {
            link = &r->next;
            continue;
        }
        if (pthread_equal(r->thread, self)) callerHasRecord = true;
        instrReportThread(r, c, sec, usec);
        *link = r->next;
        if (e.current == r) e.current = nullptr;
        free(r);
    }
    if (!callerHasRecord)
        fprintf(out, "No instrumented class associated with thread %d\n", psThreadNumber());
    fprintf(out, "Finished writing the instrumentation report\n");
}

void instrStop(int classes) {
    InstrEngine& e = instrObj;
    TRACE(TR_INSTRUMENT, "instrStop ENTRY: Class=%#x\n", (unsigned)classes);
    TRACE(TR_INSTRUMENT, "instrObj.active=%#x instrObj.classes=%#x\n", (unsigned)e.active,
          (unsigned)e.classes);
    psMutexLock(&e.mutex);
    for (const InstrClass& c : iClasses) {
        if (!(classes & c.mask & e.classes & e.active)) continue;
        instrReport(c);
        e.active &= ~c.mask;
    }
    psMutexUnlock(&e.mutex);
    TRACE(TR_INSTRUMENT, "instrStop EXIT\n");
}

void instrTerm() {
    InstrEngine& e = instrObj;
    psMutexLock(&e.mutex);
    while (InstrThread* r = e.threads) {
        e.threads = r->next;
        free(r);
    }
    if (e.report) fclose(e.report);
    e.report = nullptr;
    e.current = nullptr;
    e.classes = 0;
    e.detail = 0;
    e.active = 0;
    e.status = INSTR_SUCCESS;
    e.suspended = 0;
    psMutexUnlock(&e.mutex);
}
