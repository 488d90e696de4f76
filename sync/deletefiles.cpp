// Deletion of the marked orphans; see deletefiles.h.
//
// The server allows at most maxObjPerTxn operations per transaction, so the
// count is checked before each deletion: a full transaction is committed and
// a new one begun. An entry leaves syncList as soon as its deletion call
// succeeds. When a later deletion fails the open transaction is aborted and
// the server keeps those objects, although their entries are already gone
// from the list; the administrator sees them again at the next run.
#include "sync/deletefiles.h"

#include "api/dbaseapi.h"
#include "api/drvkapi.h"
#include "catalogs/zebo_names.h"
#include "common/nls/nls.h"
#include "common/ut/trace.h"
#include "sync/answer.h"
#include "sync/apireport.h"
#include "sync/deletepass.h"
#include "sync/phasetime.h"
#include "sync/sigcleanup.h"
#include "sync/visible.h"

namespace {

const char* const fn = "utDeleteFiles()";

int beginTxn(uint32_t handle) {
    TRACE(TR_ORCLEVEL2, " %s: Calling RVKBEGINTXN(). rvkHandle = %d\n", fn, handle);
    int rc = gRvkApiObjP->drvkBeginTxn(RvkApiStatusObjP, handle);
    if (rc == 0) utEnterTransaction();
    return rc;
}

// Ends the transaction. A failed end (2302) is reported as its reason code.
int endTxn(uint32_t handle, uint8_t vote, uint16_t* reason) {
    *reason = 0;
    TRACE(TR_ORCLEVEL2, " %s: Calling RVKENDTXN(). rvkHandle = %d\n", fn, handle);
    int rc = gRvkApiObjP->drvkEndTxn(RvkApiStatusObjP, handle, vote, reason);
    utLeaveTransaction();
    if (rc == RVK_RC_CHECK_REASON_CODE) {
        TRACE(TR_ORCLEVEL2, " %s: Reason = %d\n", fn, *reason);
        rc = *reason;
    }
    return rc;
}

// A deletion failed: the transaction is aborted. Returns the code to give
// back, the deletion's when the abort went through.
int abortAfterFailedDelete(uint32_t handle, int deleteRc) {
    utReportApiError(handle, deleteRc, true);
    TRACE(TR_ORCLEVEL0, " %s: RVKDELETEOBJ() failed rc = %d\n", fn, deleteRc);
    uint16_t reason = 0;
    int rc = endTxn(handle, RVK_VOTE_ABORT, &reason);
    if (rc == 0 && reason == 0) {
        TRACE(TR_ORCLEVEL0, " %s: Exit - RVKDELETEOBJ() failed. rc = %d\n\n", fn, deleteRc);
        return deleteRc;
    }
    utReportApiError(handle, rc, true);
    TRACE(TR_ORCLEVEL0, " %s: RVKENDTXN failed rc = %d\n\n", fn, rc);
    return rc;
}

// A signal that arrived during the pass stops it here, between two server
// calls: the open transaction is aborted, so the server keeps every object
// of it, and the pass records that its deletions were undone. The caller
// shows and reports what happened before the run ends (sigcleanup.h).
bool stopOnSignal(uint32_t handle, UtDeletePass* pass, size_t upTo) {
    int signo = utPendingSignal();
    if (signo == 0) return false;
    TRACE(TR_ORCLEVEL0, " %s: Exit - signal %d, aborting the transaction\n\n", fn, signo);
    uint16_t reason = 0;
    endTxn(handle, RVK_VOTE_ABORT, &reason);
    pass->endTransaction(false, upTo);
    return true;
}

// A full transaction is committed and the next one begun before the entry
// at `place`. False when the pass ends there, with *rc its result.
bool nextTransaction(uint32_t handle, UtDeletePass* pass, size_t place, int* rc) {
    uint16_t reason = 0;
    *rc = endTxn(handle, RVK_VOTE_COMMIT, &reason);
    pass->endTransaction(*rc == 0 && reason == 0, place);
    if (*rc != 0 || reason != 0) {
        // Kept deliberately: a commit that reports success with a reason
        // returns 0, so the caller goes on as if all is well.
        utReportApiError(handle, *rc, false);
        TRACE(TR_ORCLEVEL0, " %s: Exit RVKENDTXN() failed rc = %d\n\n", fn, *rc);
        return false;
    }
    *rc = beginTxn(handle);
    if (*rc != 0) {
        utReportApiError(handle, *rc, false);
        TRACE(TR_ORCLEVEL0, " %s: Exit - RVKBEGINTXN(). failed rc = %d\n\n", fn, *rc);
        return false;
    }
    return true;
}

// The pass after the administrator said yes; every transaction it ends is
// recorded in `pass`.
int16_t deleteMarked(SyncList* syncList, AgentContext* context, UtDeletePass* pass) {
    const uint32_t handle = context->rvkHandle;
    const uint32_t maxObjPerTxn = context->maxObjPerTxn;
    int rc = beginTxn(handle);
    if (rc != 0) {
        utReportApiError(handle, rc, true);
        TRACE(TR_ORCLEVEL0, " %s: Exit RVKBEGINTXN() failed rc = %d\n\n", fn, rc);
        return static_cast<int16_t>(rc);
    }

    uint32_t inTxn = 0;
    uint16_t reason = 0;
    size_t picked = 0;  // the entry's place in the pass
    SyncList::Node* next = nullptr;
    for (SyncList::Node* entry = syncList->getFirst(); entry != nullptr; entry = next) {
        next = syncList->getNext(entry);
        OrphanRecord& record = entry->element;
        if (record.picked == 0) continue;
        const size_t place = picked++;
        if (stopOnSignal(handle, pass, place)) return 0;

        if (inTxn == maxObjPerTxn) {
            if (!nextTransaction(handle, pass, place, &rc)) return static_cast<int16_t>(rc);
            inTxn = 0;
        }

        rvkDelInfo delInfo = {RVK_DELINFO_VERSION, record.objIdHi, record.objIdLo};
        TRACE(TR_ORCLEVEL0, " %s: Calling RVKDELETEOBJ(). rvkHandle = %d\n", fn, handle);
        rc = gRvkApiObjP->drvkDeleteObj(RvkApiStatusObjP, handle, RVK_DEL_BACKUP_ID, delInfo);
        if (rc != 0) {
            pass->entries[place].outcome = DEL_FAILED;
            rc = abortAfterFailedDelete(handle, rc);
            pass->endTransaction(false, place);
            return static_cast<int16_t>(rc);
        }
        pass->entries[place].outcome = DEL_PENDING;
        TRACE(TR_ORCLEVEL2, " %s: Deleted file '%s' from Vlt Server\n", fn,
              utVisibleText(record.name).c_str());
        syncList->remove(entry);
        ++inTxn;
    }

    if (stopOnSignal(handle, pass, pass->entries.size())) return 0;
    rc = endTxn(handle, RVK_VOTE_COMMIT, &reason);
    pass->endTransaction(rc == 0 && reason == 0, pass->entries.size());
    if (rc == 0 && reason == 0) {
        TRACE(TR_ORCLEVEL1, " %s: Exit - OK\n\n", fn);
        return 0;
    }
    utReportApiError(handle, rc, true);
    TRACE(TR_ORCLEVEL0, " %s: Exit RVKENDTXN() failed rc = %d\n", fn, rc);
    return static_cast<int16_t>(rc);
}

}  // namespace

int16_t utDeleteFiles(SyncList* syncList, AgentContext* context, UtDeletePass* passOut) {
    TRACE(TR_ORCLEVEL1, " %s: Enter\n", fn);
    UtDeletePass local;
    UtDeletePass* pass = passOut != nullptr ? passOut : &local;
    pass->collect(syncList);
    nlMsg(MSG_SEPARATOR);
    // What is at stake, before the warning and the question.
    utShowMarkedTotal(*pass);
    nlMsg(MSG_DELETE_WARNING);
    if (!utAskYesNo(MSG_CONFIRM)) {
        pass->entries.clear();
        TRACE(TR_ORCLEVEL1, " %s: Exit - didn't enter 'y' \n\n", fn);
        return 0;
    }
    pass->ran = true;
    // A signal during the pass is only noted (see stopOnSignal); the caller
    // ends the run once the summary and the report are out.
    utEnterTransaction();
    utBenchMark("delete.start");
    int16_t rc = deleteMarked(syncList, context, pass);
    utBenchMark("delete.end");
    utLeaveTransaction();
    // Also after the failures that show nothing else on the screen.
    utShowDeleteSummary(*pass);
    return rc;
}
