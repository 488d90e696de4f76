// Writing finished trace lines to the destination: the console routine, a
// standard stream, a plain appended file, or a wrapping file that keeps its
// write position in its header and starts again after the header (or in the
// next segment file) when the next line would pass the size limit.
//
// Files are written through the stream's buffer. A wrapping file's header
// position and end mark are brought up to date when the buffer is flushed:
// on a failure line, before a wrap, at close, at exit and on a signal. Each
// of these leaves the file exactly as writing every line through would.
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "common/thrd/psmutex.h"
#include "common/ut/traceobj.h"

static const char kEndOfData[] = "\nEND OF DATA\n\n";
// Room kept free at the end of a file beyond the line itself.
enum { TR_WRAP_RESERVE = 17 };

// The limit in MB of the file written now.
static unsigned long trWrapLimit() {
    const TraceObject& t = traceObj;
    if (t.segCount >= 2) return (long)t.curSeg == t.segCount ? t.lastSegSize : t.segSize;
    return t.traceMax;
}

int trCommitWrapped() {
    TraceObject& t = traceObj;
    FILE* f = t.stream;
    if (!f) return 0;
    if (t.markPending) {
        fseek(f, TR_HEADER_POSITION, SEEK_SET);
        fprintf(f, "%-12lu", (unsigned long)t.position);
        fseek(f, t.position, SEEK_SET);
        fwrite(kEndOfData, 1, sizeof kEndOfData - 1, f);
        t.markPending = 0;
        t.atPosition = 0;
    }
    if (fflush(f) != 0 || ferror(f)) return -2;
    return 0;
}

// Before a write of n bytes: restart after the header, or move into the next
// segment, when the write would pass the limit. A limit of 0 (a segment size
// without TRACEMAX) does not wrap. -1 when the next segment cannot be opened,
// -2 when bringing the file up to date before the wrap failed.
static int trWrapCheck(size_t n) {
    TraceObject& t = traceObj;
    unsigned long limit = trWrapLimit();
    if (limit > 0 && ((unsigned long)t.position + n + TR_WRAP_RESERVE) / TR_MB >= limit) {
        if (trCommitWrapped() != 0) return -2;
        t.atPosition = 0;
        fseek(t.stream, t.position, SEEK_SET);
        if (t.segCount > 1)
            fprintf(t.stream, "\nContinued at beginning of segment %lu\n\n",
                    t.curSeg % (unsigned long)t.segCount + 1);
        else
            fputs("\nContinued at beginning of file\n\n", t.stream);
        fflush(t.stream);
        t.position = (uint32_t)t.startOfData;
        if (t.segCount > 1) {
            t.continuing = 1;
            trCloseStream(false);
            t.prevSeg = t.curSeg;
            t.curSeg = t.curSeg % (unsigned long)t.segCount + 1;
            int rc = trOpenFile();
            t.continuing = 0;
            if (rc != 0) return -1;
        }
    }
    if (!t.atPosition) fseek(t.stream, t.position, SEEK_SET);
    t.atPosition = 1;
    return 0;
}

// Writes prefix and text to the wrapping file at the current position; the
// header's position and the end mark after the line follow when the file is
// brought up to date (at once for an urgent line).
// 0, -1 when the trace was lost while changing segment, -2 when a write failed.
// REQUIRES: the wrap lock (or the trace lock while opening).
int trWriteWrapped(const char* prefix, size_t prefixLen, const char* text, size_t textLen,
                   bool urgent) {
    TraceObject& t = traceObj;
    int rc = trWrapCheck(prefixLen + textLen);
    if (rc != 0) return rc;
    FILE* f = t.stream;
    fwrite(prefix, 1, prefixLen, f);
    fwrite(text, 1, textLen, f);
    t.position += (uint32_t)(prefixLen + textLen);
    t.markPending = 1;
    if (urgent) return trCommitWrapped();
    return ferror(f) ? -2 : 0;
}

void trFlush() {
    TraceObject& t = traceObj;
    FILE* f = t.stream;
    if (!f || t.outInUse) return;
    if (f == stdout || f == stderr || !t.wrap) {
        fflush(f);
        return;
    }
    // Never waits: on a signal the interrupted code may hold the lock, and
    // the header is then left as the last flush wrote it.
    if (pthread_mutex_trylock(&t.wrapMutex) != 0) {
        fflush(f);
        return;
    }
    if (t.stream) trCommitWrapped();
    pthread_mutex_unlock(&t.wrapMutex);
}

// Tracing stops for good after a failed write; the program goes on.
static void trWriteFailed() {
    TraceObject& t = traceObj;
    char path[sizeof t.path];
    psMutexLock(&t.mutex);
    psMutexLock(&t.wrapMutex);
    trCopyText(path, sizeof path, t.path);
    trCloseStream(true);
    trResetState();
    psMutexUnlock(&t.wrapMutex);
    psMutexUnlock(&t.mutex);
    printf("Unable to write to trace file %s. Tracing disabled.\n", path);
}

int trWriteOut(const char* prefix, size_t prefixLen, const char* text, size_t textLen,
               bool urgent) {
    TraceObject& t = traceObj;
    FILE* f = t.stream;
    if (!f) return 0;
    if (t.outInUse) {
        char line[128 + 4861 + 1];
        if (prefixLen + textLen >= sizeof line) textLen = sizeof line - 1 - prefixLen;
        memcpy(line, prefix, prefixLen);
        memcpy(line + prefixLen, text, textLen);
        line[prefixLen + textLen] = '\0';
        t.outRoutine(1, line, t.outUser);
        return 0;
    }
    if (f == stdout || f == stderr) {
        if (t.consoleAllowed) {
            fwrite(prefix, 1, prefixLen, f);
            fwrite(text, 1, textLen, f);
        }
        fflush(f);
        return 0;
    }
    int rc = 0;
    if (t.wrap) {
        psMutexLock(&t.wrapMutex);
        if (t.stream) rc = trWriteWrapped(prefix, prefixLen, text, textLen, urgent);
        psMutexUnlock(&t.wrapMutex);
    } else {
        fwrite(prefix, 1, prefixLen, f);
        fwrite(text, 1, textLen, f);
        if ((urgent && fflush(f) != 0) || ferror(f)) rc = -2;
    }
    if (rc == -2) trWriteFailed();
    return rc == 0 ? 0 : -1;
}
