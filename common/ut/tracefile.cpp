// Opening, closing and resetting the trace destination, and the size
// settings (TRACEMAX, TRACESEGSIZE) of a wrapping trace file.
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <unistd.h>

#include "common/thrd/psmutex.h"
#include "common/unx/nlsfmt.h"
#include "common/ut/traceobj.h"
#include "common/ut/traceopen.h"
#include "zebo_config.h"

void trSetMax(unsigned long megabytes) {
    TraceObject& t = traceObj;
    t.sizeChanged = 1;
    t.traceMax = megabytes;
    t.wrap = megabytes ? 1 : 0;  // no maximum: the file grows without wrapping
    if (megabytes == 0) return;
    if (t.segSize)
        trSetSegSize(t.segSize);
    else if (megabytes > 1000)
        trSetSegSize(1000);  // deliberately: above 1000 MB the file is always split
}

void trSetSegSize(unsigned long megabytes) {
    TraceObject& t = traceObj;
    t.sizeChanged = 1;
    if (megabytes == 0) {
        t.segSize = 0;
        t.curSeg = 1;
        t.continuing = 0;
        t.segCount = 0;
        return;
    }
    if (t.traceMax && megabytes > t.traceMax) megabytes = t.traceMax;
    t.segSize = megabytes;
    if (t.traceMax) {
        t.segCount = (long)((t.traceMax - 1) / megabytes + 1);
        t.lastSegSize = t.traceMax % megabytes;
        if (t.lastSegSize == 0) t.lastSegSize = megabytes;
    } else {
        t.segCount = -1;
        t.lastSegSize = megabytes;
    }
    t.wrap = 1;
}

void trGetSizes(TraceSizes* sizes) {
    const TraceObject& t = traceObj;
    sizes->traceMax = t.traceMax;
    sizes->segSize = t.segSize;
    sizes->segCount = t.segCount;
    sizes->lastSegSize = t.lastSegSize;
    sizes->curSeg = t.curSeg;
}

// A wrapping file of an earlier run is written on where it stopped when its
// header can be read, it is not larger than the new maximum, the maximum did
// not shrink, and the trace is not split into segments. The saved position
// must also lie inside the data, or the header is not to be trusted.
static bool trReuseFile(FILE* f) {
    TraceObject& t = traceObj;
    fseek(f, 0, SEEK_END);
    long size = ftell(f);
    rewind(f);
    char line[258];
    if (!fgets(line, 257, f)) return false;
    unsigned long savedPosition, savedMax;
    if (sscanf(line, "VLT Trace   %lu %lu", &savedPosition, &savedMax) != 2) return false;
    if ((unsigned long long)t.traceMax * TR_MB < (unsigned long long)size) return false;
    if (t.traceMax < savedMax || t.segCount >= 2) return false;
    long start = ftell(f);
    if (fgetc(f) == '\n') start++;  // the empty line belongs to the header
    if (savedPosition < (unsigned long)start || savedPosition > (unsigned long)size) return false;
    t.startOfData = start;
    t.position = (uint32_t)savedPosition;
    fseek(f, TR_HEADER_MAX, SEEK_SET);
    fprintf(f, "%-10lu", t.traceMax);
    return true;
}

// Writes the header of a new wrapping file; the position field is filled
// with a place-holder until the first write.
static void trWriteHeader(FILE* f) {
    TraceObject& t = traceObj;
    fprintf(f, "VLT Trace   %-12s%-10lu Corvane 5.5.0.05   Build date: %s\n\n", "123456789012",
            t.traceMax, ZEBO_BUILD_DATE);
    t.startOfData = ftell(f);
    t.position = (uint32_t)t.startOfData;
}

int trOpenFile() {
    TraceObject& t = traceObj;
    trCopyText(t.path, sizeof t.path, t.givenName);
    if (t.segCount >= 2) {
        size_t len = strlen(t.path);
        snprintf(t.path + len, sizeof t.path - len, ".%lu", t.curSeg);
    }

    FILE* f = nullptr;
    if (t.wrap) {
        f = trOpenPrivate(t.path, "r+");
        if (f && !trReuseFile(f)) {
            fclose(f);
            f = nullptr;
        }
        if (!f) {
            f = trOpenPrivate(t.path, "w+");
            if (f) trWriteHeader(f);
        }
        if (f) {
            t.stream = f;
            char line[64];
            if (t.continuing)
                snprintf(line, sizeof line, "Continued from end of segment %lu\n\n", t.prevSeg);
            else
                snprintf(line, sizeof line, "BEGINNING NEW TRACE\n\n");
            // A failing write shows at the first trace line.
            trWriteWrapped("", 0, line, strlen(line), false);
        }
    } else {
        f = trOpenPrivate(t.path, "a");
        if (f) {
            fprintf(f, "VLT Trace   Corvane 5.5.0.05  \nBuild Date: %s\nBEGINNING NEW TRACE\n\n",
                    ZEBO_BUILD_DATE);
            fflush(f);
            t.stream = f;
        }
    }
    if (!f) {
        if (t.consoleAllowed) printf("Unable to open trace output file %s\n", t.path);
        trResetState();
        return 426;
    }
    // Lines still in the buffer reach the file however the program ends.
    static bool flushAtExit = false;
    if (!flushAtExit) flushAtExit = atexit(trFlush) == 0;
    return 0;
}

void trCloseStream(bool quiet) {
    TraceObject& t = traceObj;
    if (t.outInUse && !t.continuing) {
        t.outRoutine(2, nullptr, t.outUser);
        t.outInUse = 0;
    }
    FILE* f = t.stream;
    if (f && f != stdout && f != stderr) {
        if (t.wrap) trCommitWrapped();
        if (t.wrap && !t.continuing) {
            fseek(f, t.position, SEEK_SET);
            fputs("\nEND OF DATA - close\n\n", f);
        }
        if (fclose(f) != 0 && !quiet)
            printf("Unable to close trace output file %s: %s \n", t.path, strerror(errno));
    } else if (f) {
        fflush(f);
    }
    t.stream = nullptr;
    t.path[0] = '\0';
    // A stream opened next starts with nothing pending and its own offset.
    t.markPending = 0;
    t.atPosition = 0;
}

void trResetState() {
    TraceObject& t = traceObj;
    trClearClasses();
    t.traceMax = 0;
    t.segSize = 0;
    t.segCount = 0;
    t.curSeg = 1;
    t.lastSegSize = 0;
    t.wrap = 0;
    t.opened = 0;
    t.givenName[0] = '\0';
    t.defaultsPending = 1;
}

// Removes one pair of quotes (' or ") around the name. False when nothing
// usable is left or the name is too long.
static bool trCleanName(const char* name, char* out) {
    size_t len = name ? strlen(name) : 0;
    if (len == 0 || len >= TR_NAME_MAX) return false;
    if (name[0] == '"' || name[0] == '\'') {
        name++;
        len--;
    }
    if (len > 0 && (name[len - 1] == '"' || name[len - 1] == '\'')) len--;
    memcpy(out, name, len);
    out[len] = '\0';
    return len > 0;
}

// A relative file name is taken from the current directory: the process
// may change directory later, and the trace must stay where it began.
static bool trFullPath(const char* name, char* out) {
    if (name[0] == '/') {
        trCopyText(out, TR_NAME_MAX, name);
        return true;
    }
    char cwd[TR_NAME_MAX];
    if (!getcwd(cwd, sizeof cwd)) return false;
    size_t cwdLen = strlen(cwd), nameLen = strlen(name);
    if (cwdLen + 1 + nameLen >= TR_NAME_MAX) return false;
    // The name's own NUL, copied below, ends the joined path.
    memcpy(out, cwd, cwdLen);  // NOLINT(bugprone-not-null-terminated-result)
    out[cwdLen] = '/';
    memcpy(out + cwdLen + 1, name, nameLen + 1);
    return true;
}

// The first lines of an announced trace: where it goes, its bound and the
// time it began.
static void trAnnounce(const TraceObject& t) {
    trPrintf(__FILE__, __LINE__, "Tracing to file: %s\n", t.givenName);
    // Also for a file that does not wrap: the line then reads 0 MB.
    trPrintf(__FILE__, __LINE__, "Tracefile maximum length set to %lu MB.\n", t.traceMax);
    char date[16], time[16];
    unsigned long ms;
    nlDateTimeNow(date, sizeof date, time, sizeof time, &ms);
    trPrintf(__FILE__, __LINE__, "%s\n%s %s - Trace begun.\n",
             "----------------------------------------------------------------", date, time);
}

int trOpen(const char* name, int announce) {
    TraceObject& t = traceObj;
    char clean[TR_NAME_MAX];
    char full[TR_NAME_MAX];
    bool console = false, toStdout = false, toStderr = false;
    bool valid = trCleanName(name, clean);
    if (valid) {
        console = strcasecmp(clean, "CONSOLE") == 0;
        toStdout = strcasecmp(clean, "STDOUT") == 0;
        toStderr = strcasecmp(clean, "STDERR") == 0;
        if (console || toStdout || toStderr)
            trCopyText(full, sizeof full, clean);
        else
            valid = trFullPath(clean, full);
    }
    if (!valid) {
        puts("Invalid trace file name");
        return -1;
    }
    if (t.stream) return 0;

    psMutexLock(&t.mutex);
    if (t.stream) {  // opened by another thread meanwhile
        psMutexUnlock(&t.mutex);
        return 0;
    }
    int rc = 0;
    const char* tell = nullptr;  // traced once the trace is usable
    trCopyText(t.givenName, sizeof t.givenName, full);
    if (console) {
        if (t.outRoutine && t.outRoutine(0, nullptr, t.outUser) == 0) {
            t.outInUse = 1;
            t.stream = stdout;  // marks the trace open; lines go to the routine
        } else {
            t.stream = stderr;
            puts("Tracing to stderr");
        }
        trCopyText(t.path, sizeof t.path, t.givenName);
    } else if (toStdout || toStderr) {
        t.stream = toStdout ? stdout : stderr;
        tell = toStdout ? "Tracing to stdout" : "Tracing to stderr";
        trCopyText(t.path, sizeof t.path, t.givenName);
    } else {
        psMutexLock(&t.wrapMutex);
        rc = trOpenFile();
        psMutexUnlock(&t.wrapMutex);
    }
    if (rc == 0) {
        t.flagsSet = 1;
        t.opened = 1;
    }
    // Lines are traced after the trace lock is released: a failing write
    // closes the trace, which takes the trace lock.
    psMutexUnlock(&t.mutex);
    if (rc != 0) return rc;

    if (tell) trPrintf(__FILE__, __LINE__, "%s\n", tell);
    if (announce) trAnnounce(t);
    return 0;
}

void trClose(int clearClasses) {
    TraceObject& t = traceObj;
    if (clearClasses) trClearClasses();
    psMutexLock(&t.mutex);
    psMutexLock(&t.wrapMutex);
    trCloseStream(false);
    psMutexUnlock(&t.wrapMutex);
    psMutexUnlock(&t.mutex);
}

void trReset(int closeFile) {
    TraceObject& t = traceObj;
    psMutexLock(&t.mutex);
    if (closeFile) {
        psMutexLock(&t.wrapMutex);
        trCloseStream(false);
        psMutexUnlock(&t.wrapMutex);
    }
    trResetState();
    psMutexUnlock(&t.mutex);
}
