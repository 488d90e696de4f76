// Loading the spooled handles; see loadbtree.h.
#include "sync/loadbtree.h"

#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "common/nls/nls.h"
#include "common/ut/trace.h"
#include "sync/phasetime.h"
#include "sync/progress.h"
#include "sync/sigcleanup.h"
#include "sync/strtoken.h"
#include "sync/wrappedhandle.h"

namespace {

// SQL*Plus's closing line of a query: "no rows selected", "1 row
// selected.", "12 rows selected.". Its first word is loaded like any other
// (it matches no object's name), but it is not a handle of the catalog and
// does not count as one.
bool feedbackLine(const char* line) {
    if (strncmp(line, "no rows selected", 16) == 0) return true;
    size_t digits = strspn(line, "0123456789");
    if (digits == 0) return false;
    return strncmp(line + digits, " row selected.", 14) == 0 ||
           strncmp(line + digits, " rows selected.", 15) == 0;
}

void finish(FILE* spool, const char* spoolPath) {
    fclose(spool);
    if (TR_ORCLEVEL2) return;
    unlink(spoolPath);
    utForgetFile(spoolPath);
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

    char line[LOAD_PIECE_SIZE + 1];
    unsigned long stored = 0;
    unsigned long read = 0;
    UtWrappedHandles wrapped;
    std::vector<std::string> keys;
    UtProgress progress(PROGRESS_LOADING);
    while (fgets(line, sizeof line, spool) != nullptr) {
        bool feedback = feedbackLine(line);
        char* save = nullptr;
        char* handle = utStrTok(line, " ,\n\t", &save);
        // Every line goes through, so that a line without a handle ends a
        // handle broken over several lines.
        wrapped.next(handle, &keys);
        if (handle == nullptr || strcmp(handle, "Session") == 0) continue;
        if (!feedback) ++read;
        progress.update(read);
        // The line's own token first, then the joins with the full lines
        // before it (wrappedhandle.h).
        for (const std::string& key : keys) {
            int rc = IsertItem(index, key.c_str(), static_cast<uint32_t>(key.size() + 1),
                               utInsertFilename, utFindFilename);
            if (rc == DUP_VAL) {
                TRACE(TR_ORCLEVEL2, " %s: - duplicate value in bTree\n", fn);
            } else if (rc != 0) {
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
