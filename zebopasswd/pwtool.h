// zebopasswd: stores the password of the option file's node in the node's
// password file, which zebosync reads at log-on (its own PASSWord command
// only shows the usage).
//
//   zebopasswd [-ZEBO_OPTfile=PATH]
//
// The option file is PATH, else ZEBO_OPTFILE, else zebo.opt in the agent
// directory, read exactly as zebosync reads it. The password is entered
// twice, then proven by logging on to the server as the node (ZEBO_NODE,
// ZEBO_OWNER and RVKI_ORC_CONFIG of the option file, like zebosync); only
// then is the file written. When the entries differ or the log-on fails, an
// existing file stays as it was.
//
// Exit status: 0 stored; 1 not stored (the reason is on standard error);
// 2 bad command line.
#ifndef ZEBO_ZEBOPASSWD_PWTOOL_H
#define ZEBO_ZEBOPASSWD_PWTOOL_H

#include <stdio.h>

enum { PW_EXIT_OK = 0, PW_EXIT_FAILED = 1, PW_EXIT_USAGE = 2 };

// The whole tool. Entries come from the console when `terminal`, else from
// lines of `in`.
int zeboPasswdRun(int argc, char** argv, FILE* in, bool terminal);

#endif
