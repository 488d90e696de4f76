// Entry of zebopasswd; see pwtool.h. The two informational options of every
// admin tool are answered here, before the tool reads any option file.
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "zebopasswd/pwtool.h"

#ifndef ZEBO_VERSION
#define ZEBO_VERSION "unknown"
#endif

namespace {

const char kHelp[] =
    "usage: zebopasswd [-ZEBO_OPTfile=PATH]\n"
    "       zebopasswd --help | --version\n"
    "Stores the password of the option file's node (ZEBO_NODE) in the password\n"
    "file ZEBO.<node> of ZEBO_PSWDPATH, which zebosync reads at log-on. The\n"
    "password is asked for twice and proven by a log-on to the server first.\n"
    "The option file is PATH, else $ZEBO_OPTFILE, else zebo.opt in the agent\n"
    "directory.\n"
    "Exit status: 0 stored, 1 not stored, 2 bad command line.\n";

}  // namespace

int main(int argc, char** argv) {
    if (argc == 2 && strcmp(argv[1], "--help") == 0) {
        fputs(kHelp, stdout);
        return PW_EXIT_OK;
    }
    if (argc == 2 && strcmp(argv[1], "--version") == 0) {
        fputs("zebopasswd " ZEBO_VERSION "\n", stdout);
        return PW_EXIT_OK;
    }
    return zeboPasswdRun(argc, argv, stdin, isatty(0) == 1);
}
