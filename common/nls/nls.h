// The message repository: every numbered message the program shows or logs.
//
// A message is read by number from a message catalog (catopen/catgets) in
// the user's language, "<install dir>/<language>/<file>", with the English
// catalog as fall-back. The repository formats it with the caller's inserts,
// hands the text to the output routine of its severity (standard output by
// default), and appends errors to the error log. One repository object per
// process: newNlsGlobalObject creates it, nlInit opens the catalogs, and
// nlFreeRepository releases it at the end of the run.
//
// Texts of the catalogs (see catalogs/<language>/*.src); callers name them
// by the constants of the generated headers "catalogs/<name>_names.h":
// - A message that is a whole line ends with a line feed; the output
//   routines add nothing. Prompts (371, 2540 to 2544, 2598) end without one.
// - Message 2 is a plain line: "%s\n". Show a text as a line with
//   nlMsg(MSG_LINE, text).
// - Message 131 is a separator line (with its line feed); nlMsgFramed shows
//   a message between two of them.
// - Texts that are cut to the screen width and shown through message 2
//   (pick-list header and help: 2552, 2553, 2590 to 2592, 2595 to 2597)
//   have no line feed. nlFormatText removes a trailing line feed for callers
//   that cut other messages (such as 131) the same way.
// - Messages with letters K, I, W, E, S begin with their nine-character
//   prefix ("QEV2522E "); Z, T, R and L texts have none.
//
// Thread safety: every lookup, catalog read and formatting runs under one
// process-wide lock (nls_mutex). Output routines and log writes run after
// it has been released, so an output routine may itself show a message.
// newNlsGlobalObject, nlInit and nlFreeRepository belong to start-up and
// shut-down and must not race with other calls.
#ifndef ZEBO_COMMON_NLS_NLS_H
#define ZEBO_COMMON_NLS_NLS_H

#include <stdarg.h>
#include <stdio.h>

struct nlsObject_t;

// Severity codes (the letter after the message number in the catalog).
enum {
    NL_SEV_Z = 0,  // plain text
    NL_SEV_T = 1,
    NL_SEV_R = 2,
    NL_SEV_K = 3,  // K to S keep their prefix in the text
    NL_SEV_I = 4,  // information
    NL_SEV_W = 5,  // warning       (W, E, S and L also go to the error log)
    NL_SEV_E = 6,  // error
    NL_SEV_S = 7,  // severe error
    NL_SEV_L = 8,
    NL_SEVERITY_COUNT = 9
};

// Result of nlInit when the repository cannot be used.
enum { NL_RC_INIT_FAILED = 610 };

// Application types passed to nlInit.
enum {
    NL_APP_SILENT = 4,  // format and log, never output; query the locale only
    NL_APP_AGENT_ENTRY = 9,
    NL_APP_AGENT = 10,
    NL_APP_AGENT_OTHER = 11,
};

// An output routine receives one finished NUL-terminated text; its result
// is ignored. The default writes the text to standard output with fputs.
typedef int (*nlOutputRoutine)(const char* text);

// Process globals.
extern char rvkLocale[1024];  // locale name in use ("en_US" after a fall-back)
extern char Language[1024];   // language folder named in the fall-back warning
extern int actualNLSCode;     // the code page given to newNlsGlobalObject
extern int msgReposCodepage;  // 0 with test flag ANSINLSREPOS, else 1
extern int logMsgCodepage;    // 1 with test flag OEMLOGMSGS
extern int displayCodepage;   // 1 with test flag OEMDISPLAY
extern int ScheduleMode;      // 1 while running under the scheduler

// Creates the process's repository object (zero-filled; prefix "QES"; the
// given routines, or the default for a null table or a null entry) and
// returns it; null when there is no memory. A second call replaces nothing
// and returns the existing object.
nlsObject_t* newNlsGlobalObject(const nlOutputRoutine routines[NL_SEVERITY_COUNT], int codePage);

// The process's repository object, or null.
nlsObject_t* nlGetGlobalObject();

// The application's message prefix: "QES" by default, "QEV" for the agent.
// The catalogs carry their own prefixes; this names the application.
void nlSetPrefix(nlsObject_t* obj, const char* prefix);  // at most 3 characters
const char* nlGetPrefix(const nlsObject_t* obj);

// Opens the catalogs. msgFile names the catalog in the user's language
// ("zebo.cat"; null: English only; "" is refused). The English catalog is
// "rvkclientV3.cat", or for application types 9 to 11 reposFile (msgFile
// when reposFile is null or empty). cacheLimit: parsed messages kept per
// language (10). errorLog: the file that errors are appended to (null or ""
// for none); errorLog2 is checked for length only. The four retention values
// are kept for the error log's owner. localeField: null, or room for 1024
// characters that receives the locale name. The formats go to
// nlSetDateFormat, nlSetTimeFormat and nlSetNumberFormat once the locale
// is set.
// Returns 0, or 610: an argument is too long (1279 characters for file
// names, 1023 for installDir), msgFile is "", or the English catalog cannot
// be opened (message QES0101E is shown). A user-language catalog that cannot
// be opened is not an error: message QES0102W is shown and English is used.
// A second call after success only refreshes the code-page switches and the
// formats.
// The user's language comes from the environment: nlInit sets the whole
// process locale with setlocale(LC_ALL, "") (LANG, LC_ALL, LC_MESSAGES),
// except for application types 4 and 9, which take the locale as it stands.
// rvkLocale, when already set, is used instead and the locale is left alone.
int nlInit(const char* msgFile, int cacheLimit, const char* errorLog, const char* installDir,
           const char* errorLog2, int retainDays, char retainUnit, int retainSize, char retainMode,
           int applicationType, int dateFmt, int timeFmt, int numberFmt, char* localeField,
           const char* reposFile);

// Releases the repository's working storage: the message caches, the
// catalogs and the object itself; also forgets rvkLocale. Messages shown
// afterwards print nothing. Used by the program's closeSess.
void nlFreeRepository();

// Formats message `number` with the inserts in `args`. Returns a malloc'ed
// text that the caller frees, or null when the message is missing, retired
// (letter M) or memory is short. *severity (when not null) receives the
// severity code, 0 when there is no text.
char* nlFormatMsg(nlsObject_t* obj, unsigned number, va_list args, int* severity);
// The same, looked up in the English catalog whatever the user's language.
char* nlFormatMsgEnglish(nlsObject_t* obj, unsigned number, va_list args, int* severity);

// Formats a message of the global object without showing it; a trailing
// line feed is removed. Malloc'ed, or null. For texts that the caller cuts
// or embeds (the pick list, error texts kept for later).
char* nlFormatText(unsigned number, ...);

// Shows a message: formats it, appends it to the schedule log when
// ScheduleMode is 1 and to the error log when its severity is above 4, then
// passes it to the output routine of its severity (not for application type
// 4): the output routines decide where text goes. Returns 0.
int nlMsg(unsigned number, ...);
// nlMsg with a stream argument, which is not used for the same reason.
template <typename... Inserts>
int nlPrintf(FILE* /*stream*/, unsigned number, Inserts... inserts) {
    return nlMsg(number, inserts...);
}
// Shows the separator line (message 131 in both catalogs), the message and
// the separator line again: the frame around an error or a notice.
int nlMsgFramed(unsigned number, ...);

// Severity code of a message, or -1 when it cannot be read.
int nlGetSeverity(unsigned number);

// Appends a text to the error log named at nlInit (no effect without one),
// as a line stamped with date, time and process id, under a file lock.
void nlAppendErrorLog(const char* text);
// The schedule log: its file (null or "" for none) and the append sink.
void nlSetScheduleLog(const char* path);
void nlAppendScheduleLog(const char* text);

// ---- Messages for callers that keep structured inserts (client API) ----

// Insert types handed to nlInsertItem.
enum { NL_ITEM_UNSIGNED = 2, NL_ITEM_INT = 3, NL_ITEM_POINTER = 5 };
enum { NL_MAX_ITEMS = 16 };

union nlInsertValue {
    long long i;
    unsigned long long u;
    const void* p;  // strings are kept as pointers, not copied
};

struct nlInsertEntry {
    int type;
    nlInsertValue value;
};

struct nlInsertResult {
    int severityClass;  // 0, or 2 I, 3 W, 4 E, 5 S, 7 T
    int insertCount;    // inserts of the message (conversions of a printf text)
    int itemCount;      // entries filled below
    nlInsertEntry items[NL_MAX_ITEMS];
    char text[8];  // "" when found, "?????" when missing, "??????" without a repository
};

// Flags of a message descriptor for nlLogPrintf.
enum {
    NL_LOG_NEWLINE = 1,     // a line feed after the text
    NL_LOG_STDOUT = 2,      // write to standard output (time stamp with CLCTIMESTAMP)
    NL_LOG_ERRORLOG = 4,    // append to the error log
    NL_LOG_STRUCTURED = 8,  // fill `structured` through nlOrderInsert instead
    NL_LOG_OUTPUT = 32,     // also pass to the severity's output routine
};

struct nlMsgDesc {
    unsigned short number;
    unsigned short advance;      // set by nlLogPrintf: characters placed
    unsigned char flags;         // NL_LOG_*
    nlInsertResult* structured;  // for NL_LOG_STRUCTURED
};

// Formats a message into buffer (room: avail bytes, NUL included) and shows
// or logs it as the descriptor's flags ask. Returns the number of characters
// placed, 0 when the text does not fit, the message is missing, or the
// structured form was asked for.
short nlLogPrintf(nlMsgDesc* desc, char* buffer, int avail, ...);

// The structured lookup: the message's severity class and insert count, and
// each insert handed to nlInsertItem with its type. Returns 0, or -1 when
// the message is missing (result->text "?????") or there is no repository
// ("??????").
int nlOrderInsert(nlsObject_t* obj, const nlMsgDesc* desc, nlInsertResult* result, ...);
int nlOrderInsertV(nlsObject_t* obj, const nlMsgDesc* desc, nlInsertResult* result, va_list args);
// Records one insert; -1 for an unsupported type or a full result.
int nlInsertItem(nlInsertResult* result, int type, nlInsertValue value);

#endif
