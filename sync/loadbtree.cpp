// Loading the spooled handles; see loadbtree.h.
#include "sync/loadbtree.h"

#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "common/nls/nls.h"
#include "common/ut/trace.h"
#include "sync/phasetime.h"
#include "sync/progress.h"
#include "sync/sigcleanup.h"
#include "sync/spoolkeys.h"

namespace {

void finish(FILE* spool, const char* spoolPath) {
    fclose(spool);
    if (TR_ORCLEVEL2) return;
    unlink(spoolPath);
    utForgetFile(spoolPath);
}

// The spool is cut into keys on a second thread where a second processor
// can run it, and only when there is enough of it: a small catalog's spool
// is cut in less time than the thread would take to start and to be
// scheduled on a busy machine.
bool readAhead(FILE* spool) {
    const off_t kAheadFrom = 64 * 1024;  // some 3,000 handles
    struct stat st;
    return sysconf(_SC_NPROCESSORS_ONLN) > 1 && fstat(fileno(spool), &st) == 0 &&
           st.st_size >= kAheadFrom;
}

}  // namespace

int16_t utLoadBTree(const char* spoolPath, BTree* index, unsigned long* handlesRead) {
    static const char fn[] = "utLoadBTree()";
    TRACE(TR_ORCLEVEL1, " %s: Enter\n", fn);
    utBenchMark("load.start");

    FILE* spool = fopen(spoolPath, "r");
    if (spool == nullptr) {
        // The message is an error, so showing it also appends it to the
        // error log.
        nlMsgFramed(LOAD_SPOOL_UNREADABLE, spoolPath);
        TRACE(TR_ORCLEVEL0, " %s: Exit - could not open '%s'\n\n", fn, spoolPath);
        return LOAD_SPOOL_UNREADABLE;
    }

    unsigned long stored = 0;
    unsigned long read = 0;
    UtSpoolKeys keys(spool, readAhead(spool));
    UtProgress progress(PROGRESS_LOADING);
    bool feedback = false;
    while (keys.nextLine(&feedback)) {
        if (!feedback) ++read;
        progress.update(read);
        // The line's own token first, then the joins with the full lines
        // before it (wrappedhandle.h).
        while (const char* key = keys.nextKey()) {
            int rc = IsertItem(index, key, static_cast<uint32_t>(strlen(key) + 1), utInsertFilename,
                               utFindFilename);
            if (rc == DUP_VAL) {
                TRACE(TR_ORCLEVEL2, " %s: - duplicate value in bTree\n", fn);
            } else if (rc != 0) {
                keys.stop();
                progress.end();
                TRACE(TR_ORCLEVEL0, " %s: Exit - unknown error in bTree. rc = %d\n\n", fn, rc);
                finish(spool, spoolPath);
                return static_cast<int16_t>(rc);
            } else {
                ++stored;
            }
        }
    }
    progress.end();
    finish(spool, spoolPath);
    utBenchMark("load.end");
    if (handlesRead != nullptr) *handlesRead += read;
    TRACE(TR_ORCLEVEL1, " %s: %lu handles read, %lu keys stored\n", fn, read, stored);
    TRACE(TR_ORCLEVEL1, " %s: Exit - OK\n\n", fn);
    return 0;
}
