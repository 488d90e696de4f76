// Loading the spooled handles; see loadbtree.h.
#include "sync/loadbtree.h"

#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "common/nls/nls.h"
#include "common/ut/trace.h"
#include "sync/sigcleanup.h"
#include "sync/strtoken.h"

namespace {

void finish(FILE* spool, const char* spoolPath) {
    fclose(spool);
    if (TR_ORCLEVEL2) return;
    unlink(spoolPath);
    utForgetFile(spoolPath);
}

}  // namespace

int16_t utLoadBTree(const char* spoolPath, BTree* index) {
    static const char fn[] = "utLoadBTree()";
    TRACE(TR_ORCLEVEL1, " %s: Enter\n", fn);

    FILE* spool = fopen(spoolPath, "r");
    if (spool == nullptr) {
        // The message is an error, so showing it also appends it to the
        // error log.
        nlMsg(131);
        nlMsg(LOAD_SPOOL_UNREADABLE, spoolPath);
        nlMsg(131);
        TRACE(TR_ORCLEVEL0, " %s: Exit - could not open '%s'\n\n", fn, spoolPath);
        return LOAD_SPOOL_UNREADABLE;
    }

    char line[LOAD_PIECE_SIZE + 1];
    unsigned long stored = 0;
    while (fgets(line, sizeof line, spool) != nullptr) {
        char* save = nullptr;
        char* handle = utStrTok(line, " ,\n\t", &save);
        if (handle == nullptr || strcmp(handle, "Session") == 0) continue;
        int rc = IsertItem(index, handle, static_cast<uint32_t>(strlen(handle) + 1),
                           utInsertFilename, utFindFilename);
        if (rc == DUP_VAL) {
            TRACE(TR_ORCLEVEL2, " %s: - duplicate value in bTree\n", fn);
        } else if (rc != 0) {
            TRACE(TR_ORCLEVEL0, " %s: Exit - unknown error in bTree. rc = %d\n\n", fn, rc);
            finish(spool, spoolPath);
            return static_cast<int16_t>(rc);
        } else {
            ++stored;
        }
    }
    finish(spool, spoolPath);
    TRACE(TR_ORCLEVEL1, " %s: %lu handles stored\n", fn, stored);
    TRACE(TR_ORCLEVEL1, " %s: Exit - OK\n\n", fn);
    return 0;
}
