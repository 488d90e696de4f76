// The console: keys read with echo switched off, whether standard output is
// redirected, the console's size and clearing the screen.
//
// Keys are read from the controlling terminal, not from standard input, so
// that a prompt works while input is redirected. Every wait switches input
// echo off and always puts the original terminal settings back before it
// returns. An interrupt (SIGINT) that arrives meanwhile ends the wait (not
// for psWaitForSpecifedKeys) and is raised again once the console is in
// order, so that the program's own interrupt handling runs with echo back on.
//
// Only one console wait may run at a time: the interrupt flag is process-wide.
// Nothing here writes to the console; failures are codes and trace lines
// (file-operations class).
#ifndef ZEBO_API_PSCONSOLE_H
#define ZEBO_API_PSCONSOLE_H

// The terminal that the waits open, "/dev/tty" unless a test points it at a
// pseudo-terminal. Not copied: the text must outlive its use.
extern const char* psConsolePath;

// True when standard output is a regular file or a pipe; false otherwise and
// when its status cannot be read.
bool psIsStdoutRedirected();

// Waits, echo off, for a newline or an interrupt. 0, or 419 when the console
// cannot be opened or its echo switched off.
int psWaitForEnterKey();

// Waits, echo off, until one of the characters of `keys` is typed and returns
// it; neither end of input nor an interrupt ends the wait. 0 when the console
// cannot be used. (The name's spelling is the program's own.)
signed char psWaitForSpecifedKeys(const char* keys);

// Reads one line, echo off, into `buffer`, which must hold size + 1 bytes: at
// most `size` characters are stored, then a NUL; the rest of the line is read
// and dropped. Stops at a newline, end of input or an interrupt (which is
// then sent again to the process). With upperCase == 1 the text is turned to
// upper case character by character. Returns the stored length, or -1 when
// the console cannot be used. Used by the password tool.
int psReadLineNoEcho(char* buffer, int size, int upperCase);

// Rows and columns available for text. Redirected output: 23 and 1024.
// Otherwise the terminal's window size less one in each direction, or 23 and
// 79 when that size is unknown. Does nothing when either pointer is null.
void psGetConsoleSize(int* rows, int* cols);

// Runs "tput clear" through the shell and returns the shell's status.
int psClearScreen();

#endif
