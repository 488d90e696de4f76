// Writing finished trace lines to the destination: the console routine, a
// standard stream, a plain appended file, or a wrapping file that keeps its
// write position in its header and starts again after the header (or in the
// next segment file) when the next line would pass the size limit.
#include <stdio.h>
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

// Before a write of n bytes: restart after the header, or move into the next
// segment, when the write would pass the limit. A limit of 0 (a segment size
// without TRACEMAX) does not wrap. -1 when the next segment cannot be opened.
static int trWrapCheck(size_t n) {
    TraceObject& t = traceObj;
    unsigned long limit = trWrapLimit();
    if (limit > 0 && ((unsigned long)t.position + n + TR_WRAP_RESERVE) / TR_MB >= limit) {
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
    fseek(t.stream, t.position, SEEK_SET);
    return 0;
}

// Writes prefix and text to the wrapping file at the current position, keeps
// the position in the header and marks the end of the data after it.
// 0, -1 when the trace was lost while changing segment, -2 when a write failed.
// REQUIRES: the wrap lock (or the trace lock while opening).
int trWriteWrapped(const char* prefix, size_t prefixLen, const char* text, size_t textLen) {
    TraceObject& t = traceObj;
    fflush(t.stream);
    if (trWrapCheck(prefixLen + textLen) != 0) return -1;
    FILE* f = t.stream;
    fwrite(prefix, 1, prefixLen, f);
    fwrite(text, 1, textLen, f);
    fflush(f);
    t.position += (uint32_t)(prefixLen + textLen);
    fseek(f, TR_HEADER_POSITION, SEEK_SET);
    fprintf(f, "%-12lu", (unsigned long)t.position);
    fseek(f, t.position, SEEK_SET);
    fwrite(kEndOfData, 1, sizeof kEndOfData - 1, f);
    if (fflush(f) != 0 || ferror(f)) return -2;
    return 0;
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

int trWriteOut(const char* prefix, size_t prefixLen, const char* text, size_t textLen) {
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
        if (t.stream) rc = trWriteWrapped(prefix, prefixLen, text, textLen);
        psMutexUnlock(&t.wrapMutex);
    } else {
        fwrite(prefix, 1, prefixLen, f);
        fwrite(text, 1, textLen, f);
        if (fflush(f) != 0 || ferror(f)) rc = -2;
    }
    if (rc == -2) trWriteFailed();
    return rc == 0 ? 0 : -1;
}
