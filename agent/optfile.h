// The agent option file ("zebo.opt"): a plain-text file of "KEYWORD value"
// lines that zeboReadOptions reads once per run into the agent context.
//
// A line is read in pieces of at most 512 characters (a longer line goes on
// as a line of its own). Blank lines and lines whose first non-blank
// character is "*" are comments. The keyword is the first token (ended by a
// blank, comma or tab) and is matched in any case; the value is the rest of
// the line with double quotes dropped and outer white space removed, except
// for ZEBO_TEST_FLAGS, which keeps its value exactly as written. The first
// bad line ends the parse. Errors go to the fallback error log
// (psNonNlsErrorMsg) because the agent's own log is not set up yet.
//
// Where the file is: ZEBO_OPTFILE (quotes around it removed), else zebo.opt
// in the agent directory. The program entry exports the command line's
// -ZEBO_OPTfile= as ZEBO_OPTFILE before the options are read.
#ifndef ZEBO_AGENT_OPTFILE_H
#define ZEBO_AGENT_OPTFILE_H

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#include "agent/agentctx.h"
#include "catalogs/zebo_names.h"

// The 21 keywords in slot order (ZeboOptSlot).
extern const char* const optLookup[OPT_COUNT];

enum {
    ZEBO_OPT_LINE_MAX = 512,  // characters per piece read
    ZEBO_RC_AGENT_FAILED = MSG_AGENT_ERROR
};

// Clears the context, puts the defaults in, reads the option file and
// derives nodeFromApi. 0, 2534 (file missing or a bad line), or the code of
// a directory routine.
int16_t zeboReadOptions(AgentContext* context);

// Opens the option file for reading. `path` (1,025 bytes) receives the path
// that was tried; *lineCount is set to 0. 0 or 2534 (message 2615 written).
int16_t zeboOpenOptFile(FILE** file, char* path, int* lineCount);

// Parses every line of `file` into the context. 0 or 2534 (messages 2603 and
// 2616 written); values parsed before a bad line stay in the context.
int16_t zeboParseOptFile(AgentContext* context, FILE* file, const char* path, int* lineCount);

// Makes ZEBO_FS begin with "/": a leading backslash is replaced by it, any
// other first character gets it in front.
void zeboCheckFS(AgentContext* context);

// Looks one keyword up in an open option file (from its beginning). The
// first matching line's value, cleaned like any value, goes to `value`
// (`size` bytes). 0 when found with a value, -1 otherwise.
int zeboGetOptValue(FILE* file, const char* keyword, char* value, size_t size);

#endif
