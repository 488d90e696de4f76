// Instrumentation: optional per-thread time accounting by category. Code
// brackets its work with instrBegin/instrEnd (or instrReplace); the engine
// keeps for every (thread, class) a stack of the categories entered and adds
// the wall-clock time spent to the category on top. instrStop writes a
// report of seconds, average milliseconds and uses per category to
// "<dir of the given path>rvkinstr.report.p<pid>".
//
// Thread safety: one engine lock serialises begin, end, replace, start and
// the report. A stack overflow or an end that does not match suspends the
// engine for good (reported as the completion status).
#ifndef ZEBO_COMMON_UT_INSTR_H
#define ZEBO_COMMON_UT_INSTR_H

// Instrumentation classes (bit masks).
enum {
    INSTR_CLASS_DETAIL = 1,  // categories 1 to 18
    INSTR_CLASS_API = 2,     // categories 24 to 29
    INSTR_CLASS_DBOPS = 4,   // categories 19 to 23
};

// Categories.
enum {
    INSTR_OTHER = 0,
    INSTR_QUERY_SERVER_DIRS,
    INSTR_QUERY_SERVER_FILES,
    INSTR_PROCESS_DIRS,
    INSTR_CACHE_EXAMINE,
    INSTR_SOLVE_TREE,
    INSTR_COMPUTE,
    INSTR_BEGINTXN_VERB,
    INSTR_TRANSACTION,
    INSTR_FILE_IO,
    INSTR_COMPRESSION,
    INSTR_ENCRYPTION,
    INSTR_CRC,
    INSTR_DELTA,
    INSTR_DATA_VERB,
    INSTR_CONFIRM_VERB,
    INSTR_ENDTXN_VERB,
    INSTR_SLEEP,        // psThreadDelay
    INSTR_THREAD_WAIT,  // untimed condition waits
    INSTR_DB_QUERY,
    INSTR_DB_INSUPDATE,
    INSTR_DB_DELETE,
    INSTR_DB_TREEWALK_CALLBACK,
    INSTR_DB_TREEWALK,
    INSTR_WAITING_ON_APP,
    INSTR_API_SEND_DATA,
    INSTR_API_QUERY,
    INSTR_API_GET_DATA,
    INSTR_API_END_TXN,
    INSTR_API_MISC,
    INSTR_CATEGORY_COUNT
};

// Completion status of a report.
enum { INSTR_SUCCESS = 0, INSTR_STACK_OVERFLOW = 1, INSTR_INVALID_END = 2 };

// Opens the report file and records the enabled classes and the detail
// switch (1: a line for every category change). 0, or -1 when the file
// cannot be opened (message 476 is shown; instrumentation stays off).
int instrInit(const char* path, int classes, int detail);

// Starts the given classes for the calling thread.
void instrStart(int classes);

void instrBegin(int category);
void instrEnd(int category);
void instrReplace(int category);  // ends the current category, begins this one

// Writes the report of the class (when it is enabled and started) and forgets
// its thread records.
void instrStop(int classes);

// Closes the report file and returns the engine to its state before
// instrInit (end of run; tests).
void instrTerm();

// Name of the report file chosen by instrInit.
const char* instrReportName();

// Shows message 476 ("cannot open" with what, file and reason). The message
// repository installs its own routine; until then a plain English line goes
// to standard output.
extern void (*instrShowMessage476)(const char* what, const char* file, const char* reason);

#endif
