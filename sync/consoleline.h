// The console line reader behind the synchronisation's prompts: one answer
// per line from standard input. Output is flushed first so that the prompt
// is on the screen (or in the pipe) before the program waits.
//
// The input stream is a seam: tests point it at a stream of their own to
// feed answers; null means standard input again.
#ifndef ZEBO_SYNC_CONSOLELINE_H
#define ZEBO_SYNC_CONSOLELINE_H

#include <stddef.h>
#include <stdio.h>

// The longest line read; the rest of a longer line is read and dropped, so
// that it never turns up as the answer to the next prompt.
enum { CONSOLE_LINE_MAX = 1023 };

// Reads one line, drops its newline and its leading blanks and tabs, and
// copies at most size - 1 characters of it, then a NUL, into `answer`.
// At end of input (or a read error) the answer is empty: the prompts' own
// rules for empty answers then end the run. Returns the answer's length.
// Standard output and the trace are flushed before it waits.
// REQUIRES: size >= 1.
int zeboReadConsoleLine(char* answer, size_t size);

// Sets the stream that zeboReadConsoleLine reads (null: standard input) and
// returns the one in use before.
FILE* zeboSetConsoleInput(FILE* in);

#endif
