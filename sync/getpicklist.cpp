// Orphan detection; see getpicklist.h.
#include "sync/getpicklist.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <initializer_list>

#include "api/backupquery.h"
#include "api/drvkapi.h"
#include "catalogs/zebo_names.h"
#include "common/nls/nls.h"
#include "common/ut/trace.h"
#include "sync/apireport.h"
#include "sync/objectfetch.h"
#include "sync/progress.h"
#include "sync/tempfiles.h"
#include "sync/visible.h"

namespace {

const char fn[] = "utGetPickList()";

// The listing of every object examined, kept only at ORCLEVEL2.
FILE* openListing() {
    char* name = utTempName("VLTO");
    if (name == nullptr) {
        TRACE(TR_ORCLEVEL0, " %s: tempnam() failed for VLTO\n", fn);
        return nullptr;
    }
    FILE* listing = utCreatePrivateFile(name);
    if (listing == nullptr) {
        nlMsg(MSG_FILE_NOT_CREATED, name);
        nlMsg(MSG_SEPARATOR);
        TRACE(TR_ORCLEVEL0, " %s: could not open file '%s' for writing\n", fn, name);
    } else {
        TRACE(TR_ORCLEVEL2, " %s: listing server objects in '%s'\n", fn, name);
    }
    free(name);
    return listing;
}

void closeListing(FILE** listing) {
    if (*listing != nullptr) fclose(*listing);
    *listing = nullptr;
}

void showNothingFound() {
    nlMsg(MSG_SEPARATOR);
    nlMsgFramed(MSG_NO_ORPHANS);
    nlMsg(MSG_SEPARATOR);
}

// The day alone decides: an object inserted late on the from-date is kept.
bool insertedBefore(const rvkDate& inserted, const nlDateTime& from) {
    if (inserted.year != from.year) return inserted.year < from.year;
    if (inserted.month != from.month) return inserted.month < from.month;
    return inserted.day < from.day;
}

void fillOrphan(OrphanRecord* rec, const rvkQryRespBackup& obj, const rvkSessInfo& info) {
    memset(rec, 0, sizeof *rec);
    // The full name: file space, high-level and low-level name run together,
    // cut to the record's field (the memset left its terminator in place).
    size_t used = 0;
    for (const char* part : {obj.objName.fs, obj.objName.hl, obj.objName.ll}) {
        size_t n = strnlen(part, sizeof rec->name - 1 - used);
        memcpy(rec->name + used, part, n);
        used += n;
    }
    snprintf(rec->id, sizeof rec->id, "%s", info.id);
    snprintf(rec->owner, sizeof rec->owner, "%s", info.owner);
    rec->objIdHi = obj.objId.hi;
    rec->objIdLo = obj.objId.lo;
    rec->insYear = obj.insDate.year;
    rec->insMonth = obj.insDate.month;
    rec->insDay = obj.insDate.day;
    rec->insHour = obj.insDate.hour;
    rec->insMinute = obj.insDate.minute;
    rec->insSecond = obj.insDate.second;
    rec->sizeHi = obj.sizeEstimate.hi;
    rec->sizeLo = obj.sizeEstimate.lo;
    rec->picked = 0;
}

// The session's node and owner texts go into every record for the pick
// list's header.
int querySessInfo(uint32_t handle, rvkSessInfo* info) {
    memset(info, 0, sizeof *info);
    info->stVersion = RVK_SESSINFO_VERSION;
    int rc = gRvkApiObjP->drvkQuerySessInfo(RvkApiStatusObjP, handle, info);
    if (rc != 0) utReportApiError(handle, rc, false);
    return rc;
}

// Every active object of the agent's file space, as it stood at the end of
// the to-date. *name is the query's name record and must outlive it.
int beginObjectQuery(BackupQuery* query, rvkObjName* name, AgentContext* context,
                     const nlDateTime* toDate) {
    *name = BackupQuery::objectName(context->optValue[OPT_ZEBO_FS], "/*", "/*", RVK_OBJ_FILE);
    rvkDate pit;
    memset(&pit, 0, sizeof pit);
    char toText[64] = "";
    if (nlFormatDate(*toDate, toText, sizeof toText) > 0) {
        pit.year = toDate->year;
        pit.month = toDate->month;
        pit.day = toDate->day;
        pit.hour = 23;
        pit.minute = 59;
        pit.second = 59;
    }
    int rc = query->begin(name, RVK_STATE_ACTIVE, context->optValue[OPT_ZEBO_OWNER], pit);
    if (rc != 0) utReportApiError(context->rvkHandle, rc, true);
    return rc;
}

// The from-date as text decides whether the date filter applies; the dates
// that the driver passes always format, so it always does.
bool dateFilterApplies(const nlDateTime& fromDate) {
    char fromText[64] = "";
    char timeText[32] = "";
    return nlFormatDate(fromDate, fromText, sizeof fromText) > 0 &&
           nlFormatTime(fromDate, timeText, sizeof timeText) > 0;
}

// One pass over the query's objects, comparing each with the index.
struct OrphanScan {
    const nlDateTime* fromDate;
    BTree* index;
    SyncList* syncList;
    unsigned long* compared;
    FILE* listing;
    bool filter;
    rvkSessInfo info;
    unsigned long examined;
    unsigned long orphans;
    unsigned long looked;
};

// Looks one object up; 0, or the list's code when its record could not be
// stored.
int examine(OrphanScan* scan, rvkQryRespBackup* obj) {
    obj->objName.ll[RVK_LL_NAME_MAX] = '\0';
    const char* name = obj->objName.ll[0] == '/' ? obj->objName.ll + 1 : obj->objName.ll;
    if (scan->filter) {
        if (insertedBefore(obj->insDate, *scan->fromDate)) return 0;
        TRACE(TR_ORCLEVEL2, " %s: Found '%s' on VLT Server\n", fn, utVisibleText(name).c_str());
        if (scan->listing != nullptr) fprintf(scan->listing, "%s\n", name);
    }
    ++scan->looked;
    if (scan->compared != nullptr) *scan->compared = scan->looked;
    if (SearchItem(scan->index, name, utFindFilename) != nullptr) return 0;

    OrphanRecord rec;
    fillOrphan(&rec, *obj, scan->info);
    if (scan->filter)
        TRACE(TR_ORCLEVEL2, " %s: '%s' exists on VLT Server but not in Oracle Recovery Catalog\n",
              fn, utVisibleText(rec.name).c_str());
    else
        TRACE(TR_ORCLEVEL2, " %s: '%s' exists on VLT Server  but not in Oracle Recovery Catalog\n",
              fn, utVisibleText(rec.name).c_str());
    int added = scan->syncList->addTail(rec);
    if (added == 0) ++scan->orphans;
    return added;
}

// The fetch calls may run on a thread of their own unless the wrapper
// traces them (its lines would mix with this search's own), and only where
// a second processor can run it.
bool fetchAhead() {
    return !TR_API && !TR_PERFORMANCE && sysconf(_SC_NPROCESSORS_ONLN) > 1;
}

// Fetches and examines until the query ends. Returns false when an orphan
// could not be stored (after the message and the exit trace, the query
// left open); the fetch's last code is in query->lastRc().
bool scanObjects(BackupQuery* query, OrphanScan* scan) {
    UtProgress progress(PROGRESS_EXAMINING);
    ObjectFetcher fetcher(query, fetchAhead());
    while (rvkQryRespBackup* obj = fetcher.next()) {
        ++scan->examined;
        progress.update(scan->examined);
        int added = examine(scan, obj);
        if (added == 0) continue;
        fetcher.stop();
        progress.end();
        char* text = nlFormatText(MSG_NO_MEMORY);
        utReportText(text != nullptr ? text : "");
        free(text);
        closeListing(&scan->listing);
        if (scan->filter)
            TRACE(TR_ORCLEVEL0, " %s: Exit - No Memory. rc =  %d\n\n", fn, added);
        else
            TRACE(TR_ORCLEVEL0, " %s: Exit - No Memory\n\n", fn);
        return false;
    }
    progress.end();
    closeListing(&scan->listing);
    TRACE(TR_ORCLEVEL1, " %s: %lu objects examined, %lu orphans\n", fn, scan->examined,
          scan->orphans);
    return true;
}

// Ends the query after the fetch's last code `rc`; always 0.
int16_t endObjectQuery(BackupQuery* query, int rc, uint32_t handle, const SyncList* syncList) {
    if (rc == RVK_RC_FINISHED) {
        query->end();
        if (syncList->getCount() == 0) {
            showNothingFound();
            TRACE(TR_ORCLEVEL1, " %s: Exit - syncList Empty\n\n", fn);
            return 0;
        }
    } else if (rc == RVK_RC_NO_MATCH) {
        utReportApiError(handle, rc, false);
        showNothingFound();
        query->end();
        TRACE(TR_ORCLEVEL1, " %s: Exit - No Match rc =%d\n\n", fn, rc);
        return 0;
    } else {
        // Kept deliberately: a fetch that fails half-way leaves the list as
        // far as it got, and the administrator still sees those orphans.
        query->end();
        TRACE(TR_ORCLEVEL0, " %s: Exit - RVKGETNEXTQOBJ() ended with rc = %d\n\n", fn, rc);
        return 0;
    }
    TRACE(TR_ORCLEVEL1, " %s: Exit - OK\n\n", fn);
    return 0;
}

}  // namespace

int16_t utGetPickList(const nlDateTime* fromDate, const nlDateTime* toDate, AgentContext* context,
                      SyncList* syncList, BTree* index, unsigned long* compared) {
    TRACE(TR_ORCLEVEL1, " %s: Enter\n", fn);
    uint32_t handle = context->rvkHandle;
    OrphanScan scan = {fromDate, index, syncList, compared, nullptr, false, {}, 0, 0, 0};
    scan.listing = TR_ORCLEVEL2 ? openListing() : nullptr;

    int rc = querySessInfo(handle, &scan.info);
    if (rc != 0) {
        closeListing(&scan.listing);
        TRACE(TR_ORCLEVEL0, " Exit %s: RVKQUERYSESSINFO() failed. rvkHandle = %d, rc = %d\n\n", fn,
              static_cast<int>(handle), rc);
        return static_cast<int16_t>(rc);
    }
    BackupQuery query(BackupQuery::wrapped(gRvkApiObjP, RvkApiStatusObjP), handle);
    rvkObjName name;
    rc = beginObjectQuery(&query, &name, context, toDate);
    if (rc != 0) {
        closeListing(&scan.listing);
        TRACE(TR_ORCLEVEL0, " %s: Exit - RVKBEGINQUERY() failed rc = %d\n\n", fn, rc);
        return static_cast<int16_t>(rc);
    }
    scan.filter = dateFilterApplies(*fromDate);
    if (!scanObjects(&query, &scan)) return GPL_NO_MEMORY;
    return endObjectQuery(&query, query.lastRc(), handle, syncList);
}
