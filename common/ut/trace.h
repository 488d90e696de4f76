// The trace facility: named one-byte class switches, one trace destination
// (file, standard output, standard error or a console routine) and a line
// writer that prefixes every line (time stamp, pid, thread, client type,
// source file and line).
//
// Code traces with TRACE(TR_CLASS, format, ...). The switch is tested at the
// call site before any argument is evaluated, so a disabled class costs one
// byte test. errno is saved and restored around every trace call. Trace
// failures never stop the program: a failed write disables tracing.
//
// Thread safety: the trace lock guards open, close and reset; the wrap lock
// serialises writes to a wrapping file. Class switches are plain bytes.
#ifndef ZEBO_COMMON_UT_TRACE_H
#define ZEBO_COMMON_UT_TRACE_H

#include <stddef.h>

#include "common/ut/traceclasses.h"

// Whether a TRACE call's class expression, as written, names a class of
// failure lines: those reach the file at once, so that a crash right after
// a failure never loses its line. Other lines are buffered.
constexpr bool trUrgentClass(const char* written) {
    const char* const urgent[] = {"TR_ORCLEVEL0", "TR_ERROR"};
    for (const char* u : urgent) {
        size_t i = 0;
        while (u[i] != '\0' && written[i] == u[i]) ++i;
        if (u[i] == '\0' && written[i] == '\0') return true;
    }
    return false;
}

#define TRACE(cls, ...)                                                            \
    do {                                                                           \
        if (cls) trPrintfAs(trUrgentClass(#cls), __FILE__, __LINE__, __VA_ARGS__); \
    } while (0)

// Rows of a class table: name in upper case, its switch, communication mark.
struct TraceClassRow {
    const char* name;
    unsigned char* flag;
    int commMark;
};

// Rows of an aggregate table: name and a blank-separated member list.
struct TraceAggregateRow {
    const char* name;
    const char* members;
};

// The client runtime's tables and the agent's tables (both end with a null row).
extern TraceClassRow ClassTable[];
extern TraceAggregateRow AggregateTable[];
extern TraceClassRow AgentClassTable[];
extern TraceAggregateRow AgentAggregateTable[];

// Writes one trace line (with the source prefix when TR_PREFIX is on).
// Returns the length of the text, 0 when tracing is not active.
int trPrintf(const char* file, unsigned line, const char* fmt, ...)
    __attribute__((format(printf, 3, 4)));
// The same; an urgent line is written through to the file at once, with
// everything buffered before it.
int trPrintfAs(bool urgent, const char* file, unsigned line, const char* fmt, ...)
    __attribute__((format(printf, 4, 5)));

// Trace lines go to a file through a buffer. This writes out what is still
// buffered (and, for a wrapping file, its header's position and the end
// mark). Called at exit and by the signal paths that end the process; safe
// to call at any time, and it never waits for a lock.
void trFlush();

// Creates the process's trace object once (a second call returns 0 at once):
// clears every class switch and the first test-flag rows.
int trcInit(int clientType, int callerValue, int third);

// Parses blank-separated flag words against the client tables (trSetFlags) or
// against given tables. Returns 0, or -1 for an unknown word (earlier words
// stay applied; "Invalid trace flag: %s" unless quiet).
int trSetFlags(const char* words, int quiet);
int trSetFlagsTables(const char* words, int quiet, TraceClassRow* classes,
                     TraceAggregateRow* aggregates);

// Opens the trace destination: "STDOUT", "STDERR", "CONSOLE" or a file.
// Returns 0, -1 for an invalid name, 426 when the file cannot be opened.
int trOpen(const char* name, int announce);
void trSetMax(unsigned long megabytes);      // TRACEMAX
void trSetSegSize(unsigned long megabytes);  // TRACESEGSIZE
void trClose(int clearClasses);
void trReset(int closeFile);
int trIsActive();

// Dumps memory as hex and characters into the trace.
void trDump(const void* address, size_t length, int bytesPerLine);

// Prints the enabled classes and where tracing goes (standard output).
void trShowStatus();
// Prints the trace file settings: the file as given, TRACEMAX and
// TRACESEGSIZE (MB, 0 for none), one line each (standard output).
void trShowOptions();

// Text used in trace lines in place of a null string.
extern const char* const trNullString;

// The size settings as they stand (for the option display and diagnostics).
struct TraceSizes {
    unsigned long traceMax;     // TRACEMAX in MB, 0 = unlimited
    unsigned long segSize;      // TRACESEGSIZE in MB, 0 = no segments
    long segCount;              // -1 when only a segment size is known
    unsigned long lastSegSize;  // MB of the last segment
    unsigned long curSeg;       // segment written now, from 1
};
void trGetSizes(TraceSizes* sizes);

// The name given to trOpen (after quote removal and path expansion) and the
// path of the file written now (with ".N" when segments are in use).
const char* trGivenName();
const char* trFilePath();

// Console tracing (to standard output or error) writes only while allowed.
void trSetConsoleAllowed(int allowed);

// The routine behind "CONSOLE": called with 0 when tracing to the console is
// opened (a non-zero result refuses, and tracing goes to standard error), with
// 1 and the text of every line, and with 2 when the trace is closed.
typedef int (*trOutputRoutine)(int op, const char* text, void* user);
void trSetConsoleRoutine(trOutputRoutine routine, void* user);

// Fills the thread part of a line prefix; may also fill a first line that is
// written before the line. Without one, TID prefixes "TID<n> ".
typedef void (*trThreadIdRoutine)(char* idText, size_t idSize, char* firstLine, size_t firstSize);
void trSetThreadIdRoutine(trThreadIdRoutine routine);

#endif
