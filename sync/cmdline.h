// The command line of zebosync: one command, then options of the form
// -NAME=value. Commands and option names are matched without regard to case
// against two tables whose keywords spell their shortest accepted
// abbreviation in upper case ("SYNCdb" takes SYNC, SYNCD and SYNCDB).
//
// The parser also brings the message repository up (the catalog "zebo.cat"
// in the agent directory), because every complaint it makes is a numbered
// message. It marks the command found in an 8-flag array; every parse error
// marks HELP as well, so the caller shows the usage.
//
// Kept deliberately: an option is checked against the validity matrix in the
// row of the first command of the table, whatever command was given. So
// -ZEBO_OPTfile and -OUTfile are taken with every command and -NUMCATalogs
// is refused with every command.
#ifndef ZEBO_SYNC_CMDLINE_H
#define ZEBO_SYNC_CMDLINE_H

#include <stdint.h>

#include "sync/cmdopts.h"

enum ZeboCommandType {
    CMD_SHOWENVIRONMENT = 0,
    CMD_SHOWCLIOPTIONS,
    CMD_SHOWSESSOPTIONS,
    CMD_SHOWSESSINFO,
    CMD_SHOWVERSIONS,
    CMD_PASSWORD,
    CMD_SYNCDB,
    CMD_HELP,
    CMD_COUNT  // 8
};

enum ZeboOptionType { OPTION_ZEBO_OPTFILE = 0, OPTION_OUTFILE, OPTION_NUMCATALOGS, OPTION_COUNT };

// Results of the parser besides 0 and the set-up codes.
enum { ZEBO_RC_NO_COMMAND = 3, ZEBO_RC_BAD_OPTION = 4 };

struct ZeboKeywordRow {
    char keyword[101];  // upper-cased in place when compared
    uint32_t type;
    int16_t minLength;
};

extern ZeboKeywordRow zeboCommandTable[CMD_COUNT];
extern ZeboKeywordRow zeboOptionsTable[OPTION_COUNT];
extern uint32_t validOptions[CMD_COUNT][OPTION_COUNT];

// Parses argv into the command flags (8, all 0 on entry) and the options
// record. 0; 3 (no or unknown command); 4 (bad option); or the code of the
// agent-directory lookup or of the repository's initialisation.
int16_t zeboParseCmdLine(int argc, char** argv, uint32_t* cmdFlags, ZeboCmdOptions* options);

// The usage: separators, banner, commands, options.
void zeboShowUsage();

// The banner (message 475) with the program's version and years.
void zeboShowBanner();

#endif
