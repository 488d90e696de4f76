// Entering a new node password twice. On a terminal the password is read
// from the console with echo switched off; otherwise each entry is one line
// of the input stream, so that a script can pipe both lines in.
#ifndef ZEBO_ZEBOPASSWD_PWENTRY_H
#define ZEBO_ZEBOPASSWD_PWENTRY_H

#include <stdio.h>

enum {
    PW_MAX_LENGTH = 64,  // the longest password the client API takes
    PW_BUFFER_SIZE = PW_MAX_LENGTH + 1
};

enum PwEntryResult {
    PW_OK = 0,
    PW_NO_INPUT,  // end of input (or no console) before both entries
    PW_EMPTY,     // an entry was empty
    PW_TOO_LONG,  // an entry was longer than 64 characters
    PW_DIFFERENT  // the two entries differ
};

// Reads one entry into `buffer` (65 bytes): from the console without echo
// when `terminal`, else one line of `in` (its line end removed). The prompt
// goes to standard output, on a terminal only. Returns the length, -1 when there was no input,
// or PW_MAX_LENGTH + 1 when the entry was too long (the buffer is then
// empty).
int pwReadEntry(FILE* in, bool terminal, const char* prompt, char* buffer);

// Asks twice and leaves the password in `password` (65 bytes) when both
// entries are equal and usable; otherwise `password` is wiped.
PwEntryResult pwEnterTwice(FILE* in, bool terminal, char* password);

#endif
