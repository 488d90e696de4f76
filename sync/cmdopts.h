// The command-line options record: what the parser took from the command
// line for the run. main hands it to the synchronisation driver with the
// agent context.
#ifndef ZEBO_SYNC_CMDOPTS_H
#define ZEBO_SYNC_CMDOPTS_H

#include <stdint.h>

enum { ZEBO_CMD_PATH_SIZE = 1025 };

struct ZeboCmdOptions {
    char optFile[ZEBO_CMD_PATH_SIZE];  // -ZEBO_OPTfile=, empty if not given
    char outFile[ZEBO_CMD_PATH_SIZE];  // -OUTfile=, the report of SYNCdb; empty if not given
    uint32_t numCatalogs;              // -NUMCATalogs=, 0 if not given
};

#endif
