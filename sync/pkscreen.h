// Drawing the pick list into lines of text. A page is, from the top: the
// title, the node and (when the session has one) the owner, a separator, the
// column titles, a dashed rule, a separator, the entry rows, a ruler of
// column numbers and three help lines; the terminal layer adds the prompt
// below. Every line fits the terminal's width, and the page fills the
// terminal's height, so the entry rows are what is left after the other ten
// (eleven with the owner). Rows after the last entry are empty rows
// ("        | ") so the ruler and help stay at the bottom.
//
// Entry lines are cut from the left by the view's horizontal offset; the
// column titles and ruler move with them.
#ifndef ZEBO_SYNC_PKSCREEN_H
#define ZEBO_SYNC_PKSCREEN_H

#include <stdint.h>

#include <string>
#include <vector>

#include "sync/orphan.h"
#include "sync/pkmodel.h"

enum {
    PK_MIN_COLUMNS = 20,  // a smaller terminal cannot show the list
    PK_MIN_ROWS = 10,
    PK_FIXED_ROWS = 10,      // rows that are not entry rows (without the owner)
    PK_ENTRY_NAME_MAX = 256  // characters of the object name shown
};

// Copies into `destination` the part of `source` from `offset` on, at most
// `width` characters. A null source gives an empty text; a source shorter
// than the offset a single blank, so that a scrolled-out line is not empty.
// REQUIRES: destination holds max(width, 1) + 1 bytes.
void FitStringToScreenSize(char* destination, const char* source, int32_t offset, int32_t width);

// The same into a string.
std::string pkFit(const char* source, int32_t offset, int32_t width);

// The text of entry `number`: date, time, size and name (message 2590).
// Returns 0, or -1 (and an empty text) when the list has no such entry.
int pkFormatEntry(PkCursor* cursor, int32_t number, std::string* text);

// Eight blanks, then the column numbers from `offset` on (a multiple of ten
// shows its number, other columns "-"), cut to width - 8 characters.
std::string pkRuler(int32_t offset, int32_t width);

// Draws the page of `model` for a terminal of `rows` by `cols` (as the
// console reports them) into `lines`, and sets model->step to the number of
// entry rows drawn. REQUIRES: the list is not empty.
void pkDrawPage(PkModel* model, int rows, int cols, std::vector<std::string>* lines);

#endif
