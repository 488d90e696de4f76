// The trace object, the trace call and the line writer's prefix; dump and
// status display.
#include "common/ut/trace.h"

#include <ctype.h>
#include <errno.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "common/thrd/psmutex.h"
#include "common/thrd/psthread.h"
#include "common/unx/nlsfmt.h"
#include "common/ut/testflags.h"
#include "common/ut/traceobj.h"

TraceObject traceObj;

const char* const trNullString = "(null)";

enum { TR_LINE_SIZE = 4861, TR_PREFIX_SIZE = 128 };

// The CLIENTTYPE prefix by client type; 8 belongs to another product.
static const char* trClientTag(int clientType) {
    static const char* const tags[] = {
        "[ctCLBackup  ]", "[ctCLAdmin   ]", "[ctGUIBackup ]", "[ctODBCDriver]", "[ctCLAPI     ]",
        "[ctCLSpaceMGT]", "[ctDICAD     ]", "[ctDIWebClien]", nullptr,          "[ctUtlAppl   ]",
        "[ctCLUtlAppl ]", "[ctGUIUtlAppl]", "[ctDIJavaGUI ]",
    };
    if (clientType >= 0 && clientType < (int)(sizeof tags / sizeof tags[0]) && tags[clientType])
        return tags[clientType];
    return "[ctUnkown    ]";  // misspelt as it stands, deliberately
}

void trClearClasses() {
    for (const TraceClassRow* row = ClassTable; row->name; row++) *row->flag = 0;
    for (const TraceClassRow* row = AgentClassTable; row->name; row++) *row->flag = 0;
    TR_ALL = 0;
}

int trcInit(int clientType, int callerValue, int third) {
    TraceObject& t = traceObj;
    if (t.created) return 0;
    trResetState();  // every class off, no sizes, defaults pending
    testFlagsClearAtTraceInit();
    psMutexInit(&t.mutex);
    t.clientType = clientType;
    t.callerValue = callerValue;
    t.third = third;
    t.created = 1;
    return 0;
}

int trIsActive() {
    const TraceObject& t = traceObj;
    if (!t.created || !t.stream || !t.flagsSet) return 0;
    return t.consoleAllowed || t.outInUse || (t.stream != stdout && t.stream != stderr);
}

static void trDefaultThreadId(char* idText, size_t idSize, char* firstLine, size_t) {
    snprintf(idText, idSize, "TID<%d> ", psThreadNumber());
    firstLine[0] = '\0';
}

// Appends `text` padded with blanks to `width` at out[used] (`size` bytes in
// all, NUL included) and returns the new length: "%-*s" without the cost of
// a format for every trace line. Cut at the end of the buffer.
static size_t trAppendPadded(char* out, size_t size, size_t used, const char* text, size_t width) {
    size_t n = strlen(text);
    size_t pad = n < width ? width - n : 0;
    if (used + n + pad >= size) return used;
    memcpy(out + used, text, n);
    memset(out + used + n, ' ', pad);
    used += n + pad;
    out[used] = '\0';
    return used;
}

// "%*lu" with a width of `width`, appended the same way.
static size_t trAppendNumber(char* out, size_t size, size_t used, unsigned long value,
                             size_t width) {
    char digits[24];
    size_t n = sizeof digits - 1;
    digits[n] = '\0';
    do {
        digits[--n] = (char)('0' + value % 10);
        value /= 10;
    } while (value != 0);
    size_t len = sizeof digits - 1 - n;
    size_t pad = len < width ? width - len : 0;
    if (used + pad >= size) return used;
    memset(out + used, ' ', pad);
    return trAppendPadded(out, size, used + pad, digits + n, 0);
}

// Puts the configured prefix before a finished text and writes both.
static void trWriteLine(const char* text, size_t textLen, bool urgent = false) {
    TraceObject& t = traceObj;
    if (!t.stream) return;
    char prefix[TR_PREFIX_SIZE + 1];
    size_t used = 0;
    auto add = [&](const char* part) {
        size_t n = strlen(part);
        if (used + n > TR_PREFIX_SIZE) n = TR_PREFIX_SIZE - used;
        // Pieces are joined here; the caller ends the prefix with its NUL.
        memcpy(prefix + used, part, n);  // NOLINT(bugprone-not-null-terminated-result)
        used += n;
    };
    char part[TR_PREFIX_SIZE + 1];
    if (TR_TIMESTAMP) {
        char date[16], time[16];
        unsigned long ms = 0;
        nlDateTimeNow(date, sizeof date, time, sizeof time, &ms);
        // "%s %s.%03lu " of date, time and milliseconds (below 1000).
        char milli[4] = {(char)('0' + ms / 100 % 10), (char)('0' + ms / 10 % 10),
                         (char)('0' + ms % 10), '\0'};
        size_t n = trAppendPadded(part, sizeof part, 0, date, 0);
        n = trAppendPadded(part, sizeof part, n, " ", 0);
        n = trAppendPadded(part, sizeof part, n, time, 0);
        n = trAppendPadded(part, sizeof part, n, ".", 0);
        n = trAppendPadded(part, sizeof part, n, milli, 0);
        trAppendPadded(part, sizeof part, n, " ", 0);
        add(part);
    }
    if (TR_PID) {
        snprintf(part, sizeof part, "[%.6u] ", (unsigned)getpid());
        add(part);
    }
    if (TR_TID) {
        char firstLine[TR_PREFIX_SIZE + 1];
        firstLine[0] = '\0';
        part[0] = '\0';
        trThreadIdRoutine routine = t.threadIdRoutine ? t.threadIdRoutine : trDefaultThreadId;
        routine(part, sizeof part, firstLine, sizeof firstLine);
        if (firstLine[0]) trWriteOut(prefix, used, firstLine, strlen(firstLine), false);
        add(part);
    }
    if (TR_CLIENTTYPE) add(trClientTag(t.clientType));
    if (TR_TIMESTAMP || TR_PID || TR_TID) add(": ");
    trWriteOut(prefix, used, text, textLen, urgent);
}

static const char* trBaseName(const char* file) {
    if (!file) return trNullString;
    const char* slash = strrchr(file, '/');
    return slash ? slash + 1 : file;
}

static int trVPrintf(bool urgent, const char* file, unsigned line, const char* fmt, va_list args) {
    int savedErrno = errno;
    if (!trIsActive()) return 0;
    char buf[TR_LINE_SIZE];
    size_t used = 0;
    if (TR_PREFIX) {
        // "%-20s(%4u): " of the source file's name and the line.
        used = trAppendPadded(buf, sizeof buf, 0, trBaseName(file), 20);
        used = trAppendPadded(buf, sizeof buf, used, "(", 0);
        used = trAppendNumber(buf, sizeof buf, used, line, 4);
        used = trAppendPadded(buf, sizeof buf, used, "): ", 0);
    }
    if (used >= sizeof buf) used = sizeof buf - 1;
    int n = vsnprintf(buf + used, sizeof buf - used, fmt, args);
    size_t textLen = n < 0 ? 0 : (size_t)n;
    if (textLen > sizeof buf - used - 1) textLen = sizeof buf - used - 1;
    trWriteLine(buf, used + textLen, urgent);
    errno = savedErrno;
    return (int)textLen;
}

int trPrintf(const char* file, unsigned line, const char* fmt, ...) {
    va_list args;
    va_start(args, fmt);
    int n = trVPrintf(false, file, line, fmt, args);
    va_end(args);
    return n;
}

int trPrintfAs(bool urgent, const char* file, unsigned line, const char* fmt, ...) {
    va_list args;
    va_start(args, fmt);
    int n = trVPrintf(urgent, file, line, fmt, args);
    va_end(args);
    return n;
}

// An address as "%08p" shows it: "0x" and at least six hex digits.
static void trPointerText(const void* p, char* out, size_t size) {
    if (p)
        snprintf(out, size, "0x%06lx", (unsigned long)p);
    else
        snprintf(out, size, "%8s", "(nil)");
}

void trDump(const void* address, size_t length, int bytesPerLine) {
    if (!trIsActive()) return;
    int savedErrno = errno;
    if (bytesPerLine <= 0 || bytesPerLine > 256) bytesPerLine = 16;
    const unsigned char* bytes = static_cast<const unsigned char*>(address);
    char line[16 + 256 * 4 + 8];
    char from[32], to[32];
    trPointerText(address, from, sizeof from);
    trPointerText(bytes + length, to, sizeof to);
    int n = snprintf(line, sizeof line, "\nDumping Memory Range %s - %s (%d Bytes)\n\n", from, to,
                     (int)length);
    trWriteLine(line, (size_t)n);
    for (size_t off = 0; off < length; off += (size_t)bytesPerLine) {
        size_t count = length - off < (size_t)bytesPerLine ? length - off : (size_t)bytesPerLine;
        size_t used = (size_t)snprintf(line, sizeof line, "%08lX: ", (unsigned long)(bytes + off));
        for (size_t i = 0; i < (size_t)bytesPerLine; i++) {
            if (i < count)
                used += (size_t)snprintf(line + used, sizeof line - used, "%02X ", bytes[off + i]);
            else
                used += (size_t)snprintf(line + used, sizeof line - used, "   ");
        }
        used += (size_t)snprintf(line + used, sizeof line - used, "    ");
        for (size_t i = 0; i < count; i++) {
            unsigned char c = bytes[off + i];
            line[used++] = isprint(c) && c != ' ' ? (char)c : '.';
        }
        line[used++] = '\n';
        trWriteLine(line, used);
    }
    trWriteLine("\n\n", 2);
    errno = savedErrno;
}

void trShowStatus() {
    const TraceObject& t = traceObj;
    printf("Current trace classes enabled: ");
    int shown = 0;
    for (const TraceClassRow* row = ClassTable; row->name; row++) {
        if (*row->flag) printf("%s%s", shown++ ? " " : "", row->name);
    }
    // The agent's own classes; rows that switch a client class were shown above.
    for (const TraceClassRow* row = AgentClassTable; row->name; row++) {
        if (!*row->flag) continue;
        bool client = false;
        for (const TraceClassRow* c = ClassTable; c->name && !client; c++)
            client = c->flag == row->flag;
        if (!client) printf("%s%s", shown++ ? " " : "", row->name);
    }
    if (!shown) {
        printf("None\nTracing not active.\n");
        return;
    }
    printf("\n");
    if (t.stream == stdout && !t.outInUse) printf("Tracing is active to standard output.\n");
    if (t.stream == stderr) printf("Tracing is active to standard error.\n");
}

void trShowOptions() {
    const TraceObject& t = traceObj;
    printf("  TRACEFILE:    %s\n", t.givenName);
    printf("  TRACEMAX :    %lu\n", t.traceMax);
    printf("  TRACESEGSIZE: %lu\n", t.segSize);
}

void trCopyText(char* dst, size_t size, const char* src) {
    size_t len = strlen(src);
    if (len >= size) len = size - 1;
    memcpy(dst, src, len);
    dst[len] = '\0';
}

const char* trGivenName() {
    return traceObj.givenName;
}
const char* trFilePath() {
    return traceObj.path;
}
void trSetConsoleAllowed(int allowed) {
    traceObj.consoleAllowed = allowed;
}

void trSetConsoleRoutine(trOutputRoutine routine, void* user) {
    traceObj.outRoutine = routine;
    traceObj.outUser = user;
}

void trSetThreadIdRoutine(trThreadIdRoutine routine) {
    traceObj.threadIdRoutine = routine;
}
