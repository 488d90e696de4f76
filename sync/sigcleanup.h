// What an interrupted synchronisation must not leave behind. SIGINT, SIGTERM
// and SIGHUP end the run at once with exit status 128 plus the signal
// number, after the handler has:
//   - ended the SQL*Plus process that the catalog query is waiting for;
//   - removed the temporary files registered here (the script holds the
//     catalog's password, the spool the handles that decide what may be
//     deleted);
//   - put the terminal settings back as they were when the handlers were
//     installed.
// While a deletion pass runs the signal is only noted: the deletion loop
// asks utPendingSignal between its server calls and aborts the open
// transaction, the pass's summary is shown and the report written, and the
// driver then leaves through utExitOnSignal. So nothing of a half-done
// transaction is committed, the administrator learns what was deleted, and
// the library is never entered from a signal handler.
//
// Everything the handler touches is fixed-size static storage and every
// call it makes is async-signal-safe (kill, unlink, tcsetattr, _exit).
// Single-threaded use: the registrations come from the main flow.
#ifndef ZEBO_SYNC_SIGCLEANUP_H
#define ZEBO_SYNC_SIGCLEANUP_H

#include <sys/types.h>

enum { UT_CLEANUP_FILES = 4, UT_CLEANUP_PATH_SIZE = 1025 };

// Installs the handlers and remembers the terminal settings of standard
// input (when it is a terminal). Installing again refreshes the settings.
void utInstallSignalCleanup();

// Registers a file that this process created and that a signal must remove;
// false when the path is too long or every slot is taken. Register a file
// only after creating it exclusively: the handler removes whatever is at the
// name. utForgetFile drops a registration (the file was removed or is kept).
bool utTrackFile(const char* path);
void utForgetFile(const char* path);

// The process a signal must end (SIGTERM), or 0 for none.
void utTrackChild(pid_t child);

// Marks a deletion pass or an open server transaction (see above); calls
// nest. While any is open a signal is only noted; the caller that sees it
// through utPendingSignal ends the run with utExitOnSignal.
void utEnterTransaction();
void utLeaveTransaction();
// The signal that arrived while a transaction was open, or 0.
int utPendingSignal();

// Removes the registered files, ends the registered child, restores the
// terminal and ends the process with status 128 + signo.
[[noreturn]] void utExitOnSignal(int signo);

#endif
