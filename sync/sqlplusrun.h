// Running SQL*Plus on a script, without a shell: the script path reaches
// SQL*Plus as one argument whatever characters it holds, so no directory
// name can add a command. The process is registered with the signal
// clean-up (sigcleanup.h) while it runs, so that an interrupted run ends it.
//
// The spool file that the script names is created here before SQL*Plus
// starts: exclusively, readable by the owner only, and never through a link
// planted at its name. SQL*Plus then truncates and writes that file, which
// keeps its owner and mode.
#ifndef ZEBO_SYNC_SQLPLUSRUN_H
#define ZEBO_SYNC_SQLPLUSRUN_H

#include <string>

// Runs argv[0], found through PATH, with the arguments argv (null-ended);
// returns the wait status as system() does, -1 when it cannot be started.
// Default: utRunProgram. Tests replace it to see the arguments.
typedef int (*ZeboRunCommandFn)(const char* const* argv);
extern ZeboRunCommandFn zeboRunCommand;
int utRunProgram(const char* const* argv);

// "sqlplus -L @<scriptPath>" through zeboRunCommand; `shown` receives the
// command as the trace shows it.
int utRunSqlPlus(const char* scriptPath, std::string* shown);

// The spool path as written after "spool " in the script: as it is, or in
// double quotes when it holds a blank or a tab, so that SQL*Plus takes it as
// one file name. False for a path that no script line can carry (a double
// quote or another control character): the temporary directory cannot be
// used.
bool utSpoolArgument(const std::string& path, std::string* argument);

#endif
