// The synchronisation driver; see syncdb.h.
#include "sync/syncdb.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include <memory>
#include <string>

#include "agent/session.h"
#include "api/drvkapi.h"
#include "catalogs/zebo_names.h"
#include "common/nls/nls.h"
#include "common/unx/nlsdate.h"
#include "common/unx/psenv.h"
#include "common/ut/trace.h"
#include "sync/apireport.h"
#include "sync/btree.h"
#include "sync/catquery.h"
#include "sync/consoleline.h"
#include "sync/deletefiles.h"
#include "sync/getpicklist.h"
#include "sync/loadbtree.h"
#include "sync/orphanreport.h"
#include "sync/picklist.h"
#include "sync/plausibility.h"
#include "sync/sigcleanup.h"
#include "sync/spoolerrors.h"
#include "sync/tempfiles.h"

namespace {

const char fn[] = "zeboSyncVltToRman()";

enum { EMPTY_ANSWERS_ALLOWED = 3 };

void endSession(AgentContext* context) {
    gRvkApiObjP->drvkTerminate(RvkApiStatusObjP, context->rvkHandle);
    context->rvkHandle = 0;
}

// Asks until the answer is not empty; false after the third empty answer.
bool askRequired(unsigned prompt, int catalog, char* answer) {
    for (int empty = 0;;) {
        nlMsg(prompt, catalog);
        zeboReadConsoleLine(answer, CATALOG_FIELD_SIZE);
        nlMsg(MSG_SEPARATOR);
        if (answer[0] != '\0') return true;
        nlMsg(MSG_NOTHING_ENTERED);
        nlMsg(MSG_SEPARATOR);
        nlMsg(MSG_SEPARATOR);
        if (++empty == EMPTY_ANSWERS_ALLOWED) return false;
    }
}

// Asks for one catalog connection; -1 after three empty user names or
// passwords, with the session ended. Kept deliberately: the user-name exit
// traces after the session's end, the password exit before it.
int askCatalog(AgentContext* context, int catalog, CatalogConnection* rec) {
    memset(rec, 0, sizeof *rec);
    nlMsg(MSG_SEPARATOR);
    if (!askRequired(MSG_ASK_USER, catalog, rec->user)) {
        endSession(context);
        TRACE(TR_ORCLEVEL0, " %s: Exit - no username entered 3 times\n", fn);
        return -1;
    }
    // Read like any other line: the answer is echoed as it is typed.
    if (!askRequired(MSG_ASK_PASSWORD, catalog, rec->password)) {
        TRACE(TR_ORCLEVEL0, " %s: Exit - no password entered 3 times\n", fn);
        endSession(context);
        return -1;
    }
    nlMsg(MSG_ASK_CONNECT, catalog);
    zeboReadConsoleLine(rec->connect, CATALOG_FIELD_SIZE);
    nlMsg(MSG_SEPARATOR);
    return 0;
}

// Asks for one date until it parses; an empty answer takes the default.
// Returns whether the administrator typed the date.
bool askDate(unsigned prompt, const char* defaultText, const nlDateTime& defaultDate,
             nlDateTime* date) {
    char answer[UT_DATE_TEXT_SIZE];
    for (;;) {
        nlMsg(prompt, defaultText);
        zeboReadConsoleLine(answer, sizeof answer);
        nlMsg(MSG_SEPARATOR);
        if (answer[0] == '\0') {
            *date = defaultDate;
            return false;
        }
        // "+N" counts N days back from today; anything else is a date in
        // the user's layout.
        int rc = nlParseDateAnswer(answer, date);
        if (rc == 0) return true;
        nlMsg(MSG_BAD_DATE);
        nlMsg(MSG_SEPARATOR);
        TRACE(TR_ORCLEVEL0, " %s: dateParse() failed rc = %d\n", fn, rc);
    }
}

void askDateRange(nlDateTime* from, nlDateTime* to) {
    char fromDefault[UT_DATE_TEXT_SIZE];
    char toDefault[UT_DATE_TEXT_SIZE];
    utDefaultDateRange(fromDefault, toDefault);
    nlDateTime fromDefaultDate = {1990, 1, 1, 0, 0, 0};
    nlDateTime today;
    nlToday(&today);
    for (;;) {
        nlMsg(MSG_SEPARATOR);
        askDate(MSG_ASK_START_DATE, fromDefault, fromDefaultDate, from);
        bool toTyped = askDate(MSG_ASK_END_DATE, toDefault, today, to);
        // Kept deliberately: only a typed to-date is checked, so a from-date
        // in the future passes with the to-date left at today.
        if (!toTyped || nlCompareDateTime(*to, *from) >= 0) return;
        nlMsg(MSG_SEPARATOR);
        nlMsg(MSG_END_BEFORE_START);
    }
}

// A temporary name from utTempName, copied; false after the messages.
bool makeTempName(const char* prefix, std::string* name) {
    char* made = utTempName(prefix);
    if (made == nullptr) {
        TRACE(TR_ORCLEVEL0, " %s: tempnam() failed for %s\n", fn, prefix);
        nlMsg(MSG_NO_TEMP_NAME);
        nlMsg(MSG_SEPARATOR);
        return false;
    }
    *name = made;
    free(made);
    return true;
}

double secondsSince(const struct timespec& start) {
    struct timespec now;
    psClock(&now);
    return static_cast<double>(now.tv_sec - start.tv_sec) +
           static_cast<double>(now.tv_nsec - start.tv_nsec) / 1e9;
}

// Queries every catalog into the index. 0, or the driver's result; on a
// failure the session is ended and the index destroyed before the trace.
int16_t loadCatalogs(AgentContext* context, CatalogList* catalogs, const std::string& scriptPath,
                     const std::string& spoolBase, const nlDateTime& from, const nlDateTime& to,
                     BTree* index, unsigned long* handles) {
    int n = 1;
    for (CatalogList::Node* node = catalogs->getFirst(); node != nullptr;
         node = catalogs->getNext(node), ++n) {
        // The script name serves every catalog; a script kept from the one
        // before (ORCLEVEL2 or SYNCDBNORMAN) is ours and makes way.
        if (n > 1) unlink(scriptPath.c_str());
        std::string spoolPath = spoolBase + "_" + std::to_string(n) + ".out";
        int16_t rc =
            zeboQueryCatalog(&node->element, scriptPath.c_str(), spoolPath.c_str(), &from, &to);
        // SQL*Plus often ends with status 0 after a failed query and leaves
        // the error in the spool: that fails the query all the same.
        if (rc == 0) rc = utCheckSpool(&node->element, spoolPath.c_str());
        if (rc != 0) {
            endSession(context);
            utDeleteTree(index);
            TRACE(TR_ORCLEVEL0, " %s: Exit - error querying catalog rc = %d\n\n", fn, rc);
            return -1;
        }
        rc = utLoadBTree(spoolPath.c_str(), index, handles);
        if (rc != 0) {
            endSession(context);
            utDeleteTree(index);
            TRACE(TR_ORCLEVEL0, " %s: Exit - utLoadBTree() failed\n\n", fn);
            return rc;
        }
    }
    return 0;
}

// Adds a deletion pass to the report and writes it again; a report that
// cannot be written is shown, and the run goes on: the deletions are done
// and the screen has said what became of them.
void reportPass(UtReport* report, const UtDeletePass& pass) {
    if (report == nullptr || !pass.ran) return;
    report->addPass(pass);
    std::string reason;
    if (!report->write(&reason)) utShowReportFailure(report->path(), reason);
}

// The pick list and the deletion, in turn, until the administrator leaves.
// Either way out ends the session and destroys the index.
int16_t pickAndDelete(SyncList* syncList, AgentContext* context, BTree* index, UtReport* report) {
    for (;;) {
        if (pkPickHandle(syncList) != 0) {
            utDeleteTree(index);
            endSession(context);
            return 0;
        }
        UtDeletePass pass;
        int16_t rc = utDeleteFiles(syncList, context, &pass);
        reportPass(report, pass);
        // Interrupted during the pass: its summary and report are out. The
        // run ends with _exit, which drops what stdio still holds: standard
        // output redirected to a file keeps the summary in its buffer.
        if (int signo = utPendingSignal()) {
            fflush(stdout);
            utExitOnSignal(signo);
        }
        if (rc != 0) {
            endSession(context);
            utDeleteTree(index);
            TRACE(TR_ORCLEVEL0, " %s: Exit - utDeleteFiles() failed\n\n", fn);
            return rc;
        }
        if (syncList->getCount() == 0) {
            nlMsgFramed(MSG_NO_ORPHANS);
            nlMsg(MSG_SEPARATOR);
        }
    }
}

// The report of the -OUTfile option, checked before anything is asked so
// that a report that cannot be written is known at once. 0, or
// REPORT_CANNOT_WRITE after the message.
int16_t openReport(const ZeboCmdOptions* options, std::unique_ptr<UtReport>* report) {
    if (options->outFile[0] == '\0') return 0;
    report->reset(new UtReport(options->outFile));
    std::string reason;
    if ((*report)->check(&reason)) return 0;
    utShowReportFailure((*report)->path(), reason);
    TRACE(TR_ORCLEVEL0, " %s: Exit - report '%s' cannot be written: %s\n\n", fn, options->outFile,
          reason.c_str());
    return REPORT_CANNOT_WRITE;
}

int16_t openSession(AgentContext* context) {
    int16_t rc = zeboSession(context);
    if (rc == 0) return 0;
    char text[RVK_MSG_MAX];
    utApiText(context->rvkHandle, rc, text);
    nlMsg(MSG_LINE, text);
    nlMsg(MSG_SEPARATOR);
    TRACE(TR_ORCLEVEL0, " %s: Exit zeboSession() failed rc = %d\n\n", fn, rc);
    return rc;
}

// Asks for the -NUMCATalogs connections (at least one) into the list.
int16_t askCatalogs(AgentContext* context, const ZeboCmdOptions* options, CatalogList* catalogs) {
    uint32_t count = options->numCatalogs < 1 ? 1 : options->numCatalogs;
    for (uint32_t i = 1; i <= count; ++i) {
        CatalogConnection rec;
        if (askCatalog(context, static_cast<int>(i), &rec) != 0) return -1;
        int added = catalogs->addTail(rec);
        memset(&rec, 0, sizeof rec);  // the password lives on in the list only
        if (added != 0) {
            // Kept as it has always been: the session is left to clean-up.
            nlMsg(MSG_NO_MEMORY);
            TRACE(TR_ORCLEVEL0, " %s Exit addTail() failed rc = %d\n\n", fn, added);
            return MSG_NO_MEMORY;
        }
    }
    return 0;
}

// The names of the SQL*Plus script and of the spool files.
int16_t makeTempNames(AgentContext* context, std::string* scriptPath, std::string* spoolBase) {
    bool haveScript = makeTempName("SQLI", scriptPath);
    bool haveSpool = makeTempName("SQLO", spoolBase);
    if (!haveScript || !haveSpool) {
        endSession(context);
        TRACE(TR_ORCLEVEL0, " %s: Exit could not create file name with tempnam()\n\n", fn);
        return MSG_NO_TEMP_NAME;
    }
    *scriptPath += ".sql";
    return 0;
}

// The server's objects of the date range that the index lacks, into the
// sync list, and into the report before anything can be deleted: with Q at
// the pick list the run is a dry run. On a failure, or when there is
// nothing to pick, the index is destroyed and the session ended.
int16_t listOrphans(const nlDateTime& from, const nlDateTime& to, AgentContext* context,
                    SyncList* syncList, BTree* index, UtReport* report, unsigned long* examined) {
    struct timespec start;
    psClock(&start);
    int16_t rc = utGetPickList(&from, &to, context, syncList, index, examined);
    TRACE(TR_ORCLEVEL1 || TR_PERFORMANCE, " %s: Server query and matching: %.3f s, %u orphans\n",
          fn, secondsSince(start), syncList->getCount());
    if (rc == 0 && report) {
        report->setOrphans(syncList);
        std::string reason;
        if (!report->write(&reason)) {
            utShowReportFailure(report->path(), reason);
            utDeleteTree(index);
            endSession(context);
            TRACE(TR_ORCLEVEL0, " %s: Exit - report not written\n\n", fn);
            return REPORT_CANNOT_WRITE;
        }
    }
    if (rc != 0 || syncList->getCount() == 0) {
        utDeleteTree(index);
        endSession(context);
        TRACE(TR_ORCLEVEL1, " %s: Exit - rc = %d\n\n", fn, rc);
    }
    return rc;
}

}  // namespace

int16_t zeboSyncVltToRman(AgentContext* context, ZeboCmdOptions* options) {
    TRACE(TR_ORCLEVEL1, " %s: Enter\n", fn);
    // From here on SIGINT, SIGTERM and SIGHUP remove the temporary files,
    // abort an open transaction and end the run (sigcleanup.h).
    utInstallSignalCleanup();
    // Both lists release their nodes when they go out of scope, on every
    // return.
    CatalogList catalogs;
    SyncList syncList;
    std::unique_ptr<UtReport> report;
    int16_t rc = openReport(options, &report);
    if (rc == 0) rc = openSession(context);
    if (rc == 0) rc = askCatalogs(context, options, &catalogs);
    if (rc != 0) return rc;

    nlDateTime from;
    nlDateTime to;
    askDateRange(&from, &to);
    std::string scriptPath;
    std::string spoolBase;
    rc = makeTempNames(context, &scriptPath, &spoolBase);
    if (rc != 0) return rc;

    BTree* index = utNewTree();
    if (index == nullptr) {
        endSession(context);
        TRACE(TR_ORCLEVEL0, " %s: Exit - NO MEMORY\n\n", fn);
        return MSG_NO_MEMORY;
    }
    nlMsg(MSG_QUERYING_CATALOG);

    struct timespec start;
    psClock(&start);
    unsigned long handles = 0;
    rc = loadCatalogs(context, &catalogs, scriptPath, spoolBase, from, to, index, &handles);
    if (rc != 0) return rc;
    TRACE(TR_ORCLEVEL1 || TR_PERFORMANCE, " %s: Catalog query and load: %.3f s\n", fn,
          secondsSince(start));

    unsigned long examined = 0;
    rc = listOrphans(from, to, context, &syncList, index, report.get(), &examined);
    if (rc != 0 || syncList.getCount() == 0) return rc;

    utWarnImplausible(handles, examined, syncList.getCount());
    rc = pickAndDelete(&syncList, context, index, report.get());
    TRACE(TR_ORCLEVEL1, " %s: Exit - rc = %d\n\n", fn, rc);
    return rc;
}
