// The process's trace object and the helpers that the trace files share.
// Internal to the trace facility: other code uses trace.h.
//
// Locking: traceObj.mutex guards open, close and reset; traceObj.wrapMutex
// serialises every write, wrap check and position update of a wrapping file.
// Order: the trace lock before the wrap lock. Moving into the next segment
// happens under the wrap lock alone (trOpenFile is called without the trace
// lock there), so the order is never reversed.
#ifndef ZEBO_COMMON_UT_TRACEOBJ_H
#define ZEBO_COMMON_UT_TRACEOBJ_H

#include <pthread.h>
#include <stdint.h>
#include <stdio.h>

#include "common/ut/trace.h"

enum { TR_NAME_MAX = 1024 };

// Starts as after creation but for the client type; trcInit completes it.
struct TraceObject {
    FILE* stream = nullptr;  // null when not open
    long startOfData = 0;    // offset just after the header of a wrapping file
    uint32_t position = 0;   // current write offset of a wrapping file
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;  // the trace lock
    int clientType = 0;
    int callerValue = 0;
    int third = 0;
    int wrap = 0;             // 1: TRACEMAX given, the file wraps in place
    int defaultsPending = 1;  // 1: the first flag setting turns on PREFIX, TIMESTAMP
    int consoleAllowed = 1;   // tracing to stdout/stderr writes only when set
    char givenName[TR_NAME_MAX] = {};
    char path[TR_NAME_MAX + 24] = {};
    unsigned long traceMax = 0;  // MB, 0 = unlimited
    int sizeChanged = 0;
    unsigned long segSize = 0;  // MB, 0 = no segments
    long segCount = 0;          // -1 when TRACEMAX is 0 and a segment size is given
    unsigned long curSeg = 1;   // from 1
    unsigned long prevSeg = 0;
    unsigned long lastSegSize = 0;  // MB
    int continuing = 0;             // moving into the next segment
    int flagsSet = 0;
    trOutputRoutine outRoutine = nullptr;
    void* outUser = nullptr;
    int outInUse = 0;
    trThreadIdRoutine threadIdRoutine = nullptr;
    int opened = 0;
    int commTracing = 0;  // a communication class is on
    // A wrapping file: lines were written since its header's position and
    // the end mark were last brought up to date.
    int markPending = 0;
    int atPosition = 0;  // the stream stands at `position`: no seek before a line
    // The wrap lock lives as long as the process: a writer may be waiting on
    // it while another thread closes the trace.
    pthread_mutex_t wrapMutex = PTHREAD_MUTEX_INITIALIZER;
    int created = 0;  // trcInit ran
};

extern TraceObject traceObj;

// Copies text into a buffer of `size` bytes, cut to fit.
void trCopyText(char* dst, size_t size, const char* src);

// Clears every class switch of both class tables.
void trClearClasses();

// Writes a line prefix and its text to the destination, through the stream's
// buffer; an urgent line is flushed at once. Returns 0, or -1 when the write
// failed (tracing is then disabled).
int trWriteOut(const char* prefix, size_t prefixLen, const char* text, size_t textLen, bool urgent);

// Opens traceObj.givenName (wrapping, segments, headers). REQUIRES: the
// caller holds the trace lock, or the wrap lock while moving into the next
// segment. Returns 0 or 426.
int trOpenFile();

// Writes prefix and text to the wrapping file with the wrap check; 0, -1 when
// the trace was lost while changing segment, -2 when a write failed.
// REQUIRES: the wrap lock, or the trace lock while opening.
int trWriteWrapped(const char* prefix, size_t prefixLen, const char* text, size_t textLen,
                   bool urgent);

// Writes a wrapping file's header position and the end mark after the last
// line, when lines came since, and flushes the stream. 0, or -2 when a write
// failed. REQUIRES: the wrap lock, or the trace lock while opening or closing.
int trCommitWrapped();

// Closes the stream; quiet leaves out the message of a failing close.
// REQUIRES: the same locks as trOpenFile.
void trCloseStream(bool quiet);

// Back to the state after creation: classes off, no sizes, no wrap, defaults
// pending. REQUIRES: the trace lock (or the wrap lock while changing segment).
void trResetState();

// Offsets and sizes of a wrapping file.
enum {
    TR_MB = 1048576,
    TR_HEADER_POSITION = 12,  // where the write position is kept
    TR_HEADER_MAX = 24,       // where TRACEMAX is kept
};

#endif
