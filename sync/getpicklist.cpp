// Orphan detection; see getpicklist.h.
#include "sync/getpicklist.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <initializer_list>

#include "api/drvkapi.h"
#include "catalogs/zebo_names.h"
#include "common/nls/nls.h"
#include "common/ut/trace.h"
#include "sync/apireport.h"
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

}  // namespace

int16_t utGetPickList(const nlDateTime* fromDate, const nlDateTime* toDate, AgentContext* context,
                      SyncList* syncList, BTree* index, unsigned long* compared) {
    TRACE(TR_ORCLEVEL1, " %s: Enter\n", fn);
    uint32_t handle = context->rvkHandle;
    FILE* listing = TR_ORCLEVEL2 ? openListing() : nullptr;

    // The session's node and owner texts go into every record for the pick
    // list's header.
    rvkSessInfo info;
    memset(&info, 0, sizeof info);
    info.stVersion = RVK_SESSINFO_VERSION;
    int rc = gRvkApiObjP->drvkQuerySessInfo(RvkApiStatusObjP, handle, &info);
    if (rc != 0) {
        utReportApiError(handle, rc, false);
        closeListing(&listing);
        TRACE(TR_ORCLEVEL0, " Exit %s: RVKQUERYSESSINFO() failed. rvkHandle = %d, rc = %d\n\n", fn,
              static_cast<int>(handle), rc);
        return static_cast<int16_t>(rc);
    }

    // Every active object of the agent's file space, as it stood at the end
    // of the to-date.
    rvkObjName objName;
    memset(&objName, 0, sizeof objName);
    snprintf(objName.fs, sizeof objName.fs, "%s", context->optValue[OPT_ZEBO_FS]);
    strcpy(objName.hl, "/*");
    strcpy(objName.ll, "/*");
    objName.objType = RVK_OBJ_FILE;
    rvkQryBackupData query;
    memset(&query, 0, sizeof query);
    query.stVersion = RVK_QRYBACKUPDATA_VERSION;
    query.objName = &objName;
    query.owner = context->optValue[OPT_ZEBO_OWNER];
    query.objState = RVK_STATE_ACTIVE;
    char toText[64] = "";
    char timeText[32] = "";
    if (nlFormatDate(*toDate, toText, sizeof toText) > 0) {
        query.pitDate.year = toDate->year;
        query.pitDate.month = toDate->month;
        query.pitDate.day = toDate->day;
        query.pitDate.hour = 23;
        query.pitDate.minute = 59;
        query.pitDate.second = 59;
    }
    rc = gRvkApiObjP->drvkBeginQuery(RvkApiStatusObjP, handle, RVK_QRY_BACKUP, &query);
    if (rc != 0) {
        utReportApiError(handle, rc, true);
        closeListing(&listing);
        TRACE(TR_ORCLEVEL0, " %s: Exit - RVKBEGINQUERY() failed rc = %d\n\n", fn, rc);
        return static_cast<int16_t>(rc);
    }

    // The from-date as text decides whether the date filter applies; the
    // dates that the driver passes always format, so it always does.
    char fromText[64] = "";
    if (nlFormatDate(*fromDate, fromText, sizeof fromText) > 0 &&
        nlFormatTime(*fromDate, timeText, sizeof timeText) > 0) {
        strcat(fromText, " ");
        strcat(fromText, timeText);
    } else {
        fromText[0] = '\0';
    }
    bool filter = fromText[0] != '\0';

    rvkQryRespBackup obj;
    rvkDataBlk block;
    memset(&block, 0, sizeof block);
    block.stVersion = RVK_DATABLK_VERSION;
    block.bufferLen = sizeof obj;
    block.bufferPtr = reinterpret_cast<char*>(&obj);
    unsigned long examined = 0;
    unsigned long orphans = 0;
    unsigned long looked = 0;
    OrphanRecord rec;
    memset(&obj, 0, sizeof obj);
    UtProgress progress(PROGRESS_EXAMINING);
    for (;;) {
        obj.stVersion = RVK_QRYRESPBACKUP_VERSION;
        rc = gRvkApiObjP->drvkGetNextQObj(RvkApiStatusObjP, handle, &block);
        if (rc != RVK_RC_MORE_DATA) break;
        ++examined;
        progress.update(examined);
        obj.objName.ll[RVK_LL_NAME_MAX] = '\0';
        const char* name = obj.objName.ll[0] == '/' ? obj.objName.ll + 1 : obj.objName.ll;

        if (filter) {
            if (insertedBefore(obj.insDate, *fromDate)) continue;
            TRACE(TR_ORCLEVEL2, " %s: Found '%s' on VLT Server\n", fn, utVisibleText(name).c_str());
            if (listing != nullptr) fprintf(listing, "%s\n", name);
        }
        ++looked;
        if (compared != nullptr) *compared = looked;
        if (SearchItem(index, name, utFindFilename) != nullptr) continue;

        fillOrphan(&rec, obj, info);
        if (filter)
            TRACE(TR_ORCLEVEL2,
                  " %s: '%s' exists on VLT Server but not in Oracle Recovery Catalog\n", fn,
                  utVisibleText(rec.name).c_str());
        else
            TRACE(TR_ORCLEVEL2,
                  " %s: '%s' exists on VLT Server  but not in Oracle Recovery Catalog\n", fn,
                  utVisibleText(rec.name).c_str());
        int added = syncList->addTail(rec);
        if (added != 0) {
            progress.end();
            char* text = nlFormatText(MSG_NO_MEMORY);
            utReportText(text != nullptr ? text : "");
            free(text);
            closeListing(&listing);
            if (filter)
                TRACE(TR_ORCLEVEL0, " %s: Exit - No Memory. rc =  %d\n\n", fn, added);
            else
                TRACE(TR_ORCLEVEL0, " %s: Exit - No Memory\n\n", fn);
            return GPL_NO_MEMORY;
        }
        ++orphans;
    }
    progress.end();
    closeListing(&listing);
    TRACE(TR_ORCLEVEL1, " %s: %lu objects examined, %lu orphans\n", fn, examined, orphans);

    if (rc == RVK_RC_FINISHED) {
        gRvkApiObjP->drvkEndQuery(RvkApiStatusObjP, handle);
        if (syncList->getCount() == 0) {
            showNothingFound();
            TRACE(TR_ORCLEVEL1, " %s: Exit - syncList Empty\n\n", fn);
            return 0;
        }
    } else if (rc == RVK_RC_NO_MATCH) {
        utReportApiError(handle, rc, false);
        showNothingFound();
        gRvkApiObjP->drvkEndQuery(RvkApiStatusObjP, handle);
        TRACE(TR_ORCLEVEL1, " %s: Exit - No Match rc =%d\n\n", fn, rc);
        return 0;
    } else {
        // Kept deliberately: a fetch that fails half-way leaves the list as
        // far as it got, and the administrator still sees those orphans.
        gRvkApiObjP->drvkEndQuery(RvkApiStatusObjP, handle);
        TRACE(TR_ORCLEVEL0, " %s: Exit - RVKGETNEXTQOBJ() ended with rc = %d\n\n", fn, rc);
        return 0;
    }
    TRACE(TR_ORCLEVEL1, " %s: Exit - OK\n\n", fn);
    return 0;
}
