// Query entry points: backup objects and file spaces.
#include <string.h>

#include "vltapi/api_internal.h"
#include "vltapi/wildcard.h"

using namespace vlt;

namespace {

bool fieldFits(const char* field, size_t size) {
    return strnlen(field, size) < size;
}

void fillFsResponse(const FsRecord& f, rvkQryRespFS* r) {
    memset(r, 0, sizeof *r);
    r->stVersion = RVK_QRYRESPFS_VERSION;
    copyTruncated(r->fsName, f.name);
    copyTruncated(r->fsType, f.type);
    r->occupancy = u64ToRvk(f.occupancy);
    r->capacity = u64ToRvk(f.capacity);
    dateToRvk(f.regDate, &r->regDate);
    dateToRvk(f.backStart, &r->backStartDate);
    dateToRvk(f.backComplete, &r->backCompleteDate);
    size_t n = f.info.size() < sizeof r->fsInfo ? f.info.size() : sizeof r->fsInfo;
    memcpy(r->fsInfo, f.info.data(), n);
    r->fsInfoLen = static_cast<uint16_t>(n);
}

// Every field is written, but the names only up to their terminators: the
// record is some 3 KB, mostly room that a name leaves unused, and clearing it
// all cost a query of a million objects a fifth of its time.
void fillBackupResponse(const ObjectRecord& o, const std::string& fsName, rvkQryRespBackup* r) {
    r->stVersion = RVK_QRYRESPBACKUP_VERSION;
    copyTruncated(r->objName.fs, fsName);
    copyTruncated(r->objName.hl, o.hl);
    copyTruncated(r->objName.ll, o.ll);
    r->objName.objType = static_cast<uint8_t>(o.type);
    copyTruncated(r->owner, o.owner);
    r->objId = u64ToRvk(o.id);
    dateToRvk(o.insDate, &r->insDate);
    dateToRvk(o.deactDate, &r->expDate);
    r->sizeEstimate = u64ToRvk(o.size);
    r->objState = static_cast<uint8_t>(o.state);
    r->hasData = o.hasData ? RVK_TRUE : RVK_FALSE;
    copyTruncated(r->mcName, o.mc);
    size_t n = o.info.size() < sizeof r->objInfo ? o.info.size() : sizeof r->objInfo;
    memcpy(r->objInfo, o.info.data(), n);
    r->objInfoLen = static_cast<uint16_t>(n);
}

// The node's file spaces whose names match `pattern`.
Rc matchingFileSpaces(Session& s, const std::string& pattern, std::vector<FsRecord>& out) {
    std::vector<FsRecord> all;
    if (Rc rc = s.store->listFileSpaces(s.node.id, all))
        return storeFailure(s, rc, "query: file spaces");
    out.clear();
    for (auto& f : all)
        if (wildcardMatch(pattern, f.name)) out.push_back(f);
    return RVK_RC_OK;
}

Rc beginBackupQuery(Session& s, rvkQryBackupData* q) {
    if (q->stVersion != RVK_QRYBACKUPDATA_VERSION) return RVK_RC_BAD_STVERSION;
    if (!q->objName) return RVK_RC_NULL_POINTER;
    const rvkObjName& n = *q->objName;
    if (!fieldFits(n.fs, sizeof n.fs) || !fieldFits(n.hl, sizeof n.hl) ||
        !fieldFits(n.ll, sizeof n.ll) || !fits(q->owner, RVK_OWNER_NAME_MAX))
        return RVK_RC_STRING_TOO_LONG;
    if (q->objState != RVK_STATE_ACTIVE && q->objState != RVK_STATE_INACTIVE &&
        q->objState != RVK_STATE_ANY)
        return RVK_RC_INVALID_ARGUMENT;
    if (n.objType != RVK_OBJ_FILE && n.objType != RVK_OBJ_DIRECTORY && n.objType != RVK_OBJ_ANY)
        return RVK_RC_INVALID_ARGUMENT;
    int64_t pit = dateFromRvk(q->pitDate);
    if (pit != 0 && !validDate(pit)) return RVK_RC_INVALID_ARGUMENT;

    QueryState qs;
    qs.type = RVK_QRY_BACKUP;
    if (Rc rc = matchingFileSpaces(s, n.fs, qs.fileSpaces)) return rc;
    qs.hlPattern = n.hl;
    qs.llPattern = n.ll;
    qs.hlWild = hasWildcard(qs.hlPattern);
    qs.llWild = hasWildcard(qs.llPattern);
    std::string owner = str(q->owner);
    qs.ownerAny = owner.empty() || owner == "*";
    qs.ownerPattern = owner;
    qs.base.nodeId = s.node.id;
    qs.base.hlExact = !qs.hlWild;
    qs.base.hl = qs.hlPattern;
    qs.base.llExact = !qs.llWild;
    qs.base.ll = qs.llPattern;
    qs.base.state = q->objState;
    qs.base.pit = pit;
    qs.base.objType = n.objType;
    s.query = std::move(qs);
    s.state = State::Query;
    return RVK_RC_OK;
}

Rc beginFsQuery(Session& s, rvkQryFSData* q) {
    if (q->stVersion != RVK_QRYFSDATA_VERSION) return RVK_RC_BAD_STVERSION;
    if (!fits(q->fsName, RVK_FS_NAME_MAX)) return RVK_RC_STRING_TOO_LONG;
    QueryState qs;
    qs.type = RVK_QRY_FILESPACE;
    std::string pattern = q->fsName && *q->fsName ? q->fsName : "*";
    if (Rc rc = matchingFileSpaces(s, pattern, qs.fileSpaces)) return rc;
    s.query = std::move(qs);
    s.state = State::Query;
    return RVK_RC_OK;
}

Rc nextBackup(Session& s, rvkQryRespBackup* r) {
    QueryState& q = s.query;
    // One record for the whole query, so that its strings keep their buffers.
    ObjectRecord& o = q.row;
    while (!q.finished) {
        if (!q.cursor) {
            if (q.fsIndex >= q.fileSpaces.size()) {
                q.finished = true;
                break;
            }
            ObjectQuery oq = q.base;
            oq.fsId = q.fileSpaces[q.fsIndex].id;
            // A session in a query answers nothing but the query's calls.
            oq.streamed = true;
            if (Rc rc = s.store->openObjects(oq, q.cursor))
                return storeFailure(s, rc, "query: open");
        }
        bool have = false;
        if (Rc rc = q.cursor->next(o, have)) return storeFailure(s, rc, "query: next");
        if (!have) {
            q.cursor.reset();
            ++q.fsIndex;
            continue;
        }
        if (q.hlWild && !wildcardMatch(q.hlPattern, o.hl)) continue;
        if (q.llWild && !wildcardMatch(q.llPattern, o.ll)) continue;
        if (!q.ownerAny && !wildcardMatch(q.ownerPattern, o.owner)) continue;
        fillBackupResponse(o, q.fileSpaces[q.fsIndex].name, r);
        ++q.delivered;
        return RVK_RC_MORE_DATA;
    }
    return q.delivered ? RVK_RC_FINISHED : RVK_RC_NO_MATCH;
}

}  // namespace

extern "C" int16_t rvkBeginQuery(uint32_t handle, uint8_t queryType, void* queryData) {
    RVK_ENTRY(BeginQuery);
    SessionRef s(handle);
    if (Rc rc = s.rcIn(State::Idle)) return rc;
    if (queryType == RVK_QRY_ARCHIVE) return RVK_RC_NOT_SUPPORTED;
    if (queryType != RVK_QRY_BACKUP && queryType != RVK_QRY_FILESPACE)
        return RVK_RC_INVALID_ARGUMENT;
    if (!queryData) return RVK_RC_NULL_POINTER;
    if (queryType == RVK_QRY_BACKUP)
        return beginBackupQuery(*s, static_cast<rvkQryBackupData*>(queryData));
    return beginFsQuery(*s, static_cast<rvkQryFSData*>(queryData));
}

extern "C" int16_t rvkGetNextQObj(uint32_t handle, rvkDataBlk* dataBlk) {
    RVK_ENTRY(GetNextQObj);
    SessionRef s(handle);
    if (Rc rc = s.rcIn(State::Query)) return rc;
    if (Rc rc = checkRecord(dataBlk, RVK_DATABLK_VERSION, &rvkDataBlk::bufferPtr)) return rc;
    dataBlk->numBytes = 0;
    if (s->query.type == RVK_QRY_BACKUP) {
        if (dataBlk->bufferLen < sizeof(rvkQryRespBackup)) return RVK_RC_BUFFER_TOO_SMALL;
        auto* r = reinterpret_cast<rvkQryRespBackup*>(dataBlk->bufferPtr);
        if (r->stVersion != RVK_QRYRESPBACKUP_VERSION) return RVK_RC_BAD_STVERSION;
        Rc rc = nextBackup(*s, r);
        if (rc == RVK_RC_MORE_DATA) dataBlk->numBytes = sizeof(rvkQryRespBackup);
        return rc;
    }
    if (dataBlk->bufferLen < sizeof(rvkQryRespFS)) return RVK_RC_BUFFER_TOO_SMALL;
    auto* r = reinterpret_cast<rvkQryRespFS*>(dataBlk->bufferPtr);
    if (r->stVersion != RVK_QRYRESPFS_VERSION) return RVK_RC_BAD_STVERSION;
    QueryState& q = s->query;
    if (q.fsIndex >= q.fileSpaces.size()) return q.delivered ? RVK_RC_FINISHED : RVK_RC_NO_MATCH;
    fillFsResponse(q.fileSpaces[q.fsIndex++], r);
    ++q.delivered;
    dataBlk->numBytes = sizeof(rvkQryRespFS);
    return RVK_RC_MORE_DATA;
}

extern "C" int16_t rvkEndQuery(uint32_t handle) {
    RVK_ENTRY(EndQuery);
    SessionRef s(handle);
    if (Rc rc = s.rcIn(State::Query)) return rc;
    s->query = QueryState();
    s->state = State::Idle;
    return RVK_RC_OK;
}
