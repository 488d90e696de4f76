// The pick list: syncList shown as a full-screen numbered list. The
// administrator marks entries for deletion with one-line commands, pages and
// scrolls through the list, and finally goes on to deletion or leaves. The
// whole screen is redrawn after every command; the terminal size is asked
// again on every pass so that a resized window is honoured.
//
// The view and its commands are pkmodel.h, the drawing pkscreen.h; this is
// the terminal glue. The terminal is reached through pkTerminal, which tests
// replace to fix the size and to collect the pages drawn; answers come from
// the console line reader (answer.h).
#ifndef ZEBO_SYNC_PICKLIST_H
#define ZEBO_SYNC_PICKLIST_H

#include <stdint.h>

#include <string>
#include <vector>

#include "sync/orphan.h"

enum {
    PK_GO_ON = 0,    // the administrator chose to delete the marked entries
    PK_LEAVE = 300,  // left, empty list or screen too small
    PK_ANSWER_SIZE = 255
};

// Runs the pick list over `syncList`; every mark is cleared first.
// Returns PK_GO_ON or PK_LEAVE. End of standard input leaves like "Q".
int16_t pkPickHandle(SyncList* syncList);

// The terminal as the pick list uses it.
struct PkTerminal {
    void (*getSize)(int* rows, int* cols);  // psGetConsoleSize
    int (*clearScreen)();                   // psClearScreen
    // Shows the lines of a page and the prompt, and flushes the output.
    void (*showPage)(const std::vector<std::string>& lines);
};
extern PkTerminal pkTerminal;

// The default showPage: every line as message 2, then the prompt.
void pkShowPage(const std::vector<std::string>& lines);

#endif
