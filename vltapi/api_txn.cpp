// Transaction entry points and deletion of backup objects.
//
// An API transaction is one repository transaction. It takes the
// repository's write lock at its first operation and keeps it to the end,
// so a commit makes every change durable at once, and an abort, a failed
// commit or a client that dies leaves every object of it in place.
#include "vltapi/api_internal.h"

namespace vlt {

Rc failTxn(Session& s, Rc rc) {
    if (rc != RVK_RC_OK && s.txnFailure == 0) s.txnFailure = rc;
    return rc;
}

Rc beginTxnOperation(Session& s) {
    if (s.txnOps >= s.settings.maxObjPerTxn) return failTxn(s, RVK_RC_TXN_LIMIT);
    if (!s.store->inTransaction()) {
        if (Rc rc = s.store->begin(true))
            return failTxn(s, storeFailure(s, rc, "transaction: begin"));
    }
    ++s.txnOps;
    return RVK_RC_OK;
}

}  // namespace vlt

using namespace vlt;

namespace {

std::string fsName(Session& s, int64_t fsId) {
    auto it = s.fsNames.find(fsId);
    if (it != s.fsNames.end()) return it->second;
    std::vector<FsRecord> all;
    if (s.store->listFileSpaces(s.node.id, all) == RVK_RC_OK)
        for (auto& f : all) s.fsNames[f.id] = f.name;
    it = s.fsNames.find(fsId);
    return it != s.fsNames.end() ? it->second : std::string();
}

// Reason codes are unsigned: the one negative code becomes a repository error.
uint16_t reasonCode(Rc rc) {
    return static_cast<uint16_t>(rc < 0 ? RVK_RC_REPOSITORY_ERROR : rc);
}

Rc endTxn(uint32_t handle, uint8_t vote, uint16_t* reason) {
    SessionRef s(handle);
    if (s.rc()) return s.rc();
    if (vote != RVK_VOTE_COMMIT && vote != RVK_VOTE_ABORT) return RVK_RC_INVALID_ARGUMENT;
    bool sending = s->state == State::Sending;
    if (s->state != State::Txn && !(sending && vote == RVK_VOTE_ABORT)) return RVK_RC_WRONG_STATE;
    *reason = 0;
    Rc failure = s->txnFailure;
    Rc rc = RVK_RC_OK;
    if (vote == RVK_VOTE_ABORT || failure != RVK_RC_OK) {
        s->store->rollback();
        if (vote == RVK_VOTE_COMMIT) {
            *reason = reasonCode(failure);
            rc = RVK_RC_CHECK_REASON_CODE;
        }
    } else if (s->store->inTransaction()) {
        Rc c = s->store->commit();
        if (c != RVK_RC_OK) {
            storeFailure(*s, c, "transaction: commit");
            *reason = reasonCode(c);
            rc = RVK_RC_CHECK_REASON_CODE;
        }
    }
    s->endTransaction();
    return rc;
}

// A test's fault on the end of a transaction. With a reason it stands for a
// commit that the repository refused: like one, it rolls back.
Rc failedEnd(uint32_t handle, Rc rc, uint16_t why, uint16_t* reason) {
    if (why == 0 || !reason) return rc;
    uint16_t ignored = 0;
    endTxn(handle, RVK_VOTE_ABORT, &ignored);
    *reason = why;
    return rc;
}

}  // namespace

extern "C" int16_t rvkBeginTxn(uint32_t handle) {
    RVK_ENTRY(BeginTxn);
    SessionRef s(handle);
    if (Rc rc = s.rcIn(State::Idle)) return rc;
    // The maximum per transaction is read afresh: an administrator's change
    // applies from the next transaction on.
    if (Rc rc = s->store->readSettings(s->settings))
        return storeFailure(*s, rc, "transaction: settings");
    s->txnOps = 0;
    s->txnBytes = 0;
    s->txnFailure = 0;
    s->state = State::Txn;
    return RVK_RC_OK;
}

extern "C" int16_t rvkDeleteObj(uint32_t handle, uint8_t delType, rvkDelInfo delInfo) {
    RVK_ENTRY(DeleteObj);
    SessionRef s(handle);
    if (Rc rc = s.rcIn(State::Txn)) return rc;
    Session& ss = *s;
    if (delInfo.stVersion != RVK_DELINFO_VERSION) return failTxn(ss, RVK_RC_BAD_STVERSION);
    if (delType == RVK_DEL_ARCHIVE) return failTxn(ss, RVK_RC_NOT_SUPPORTED);
    if (delType != RVK_DEL_BACKUP_ID) return failTxn(ss, RVK_RC_INVALID_ARGUMENT);
    if (!ss.node.backDel) return failTxn(ss, RVK_RC_DELETE_NOT_ALLOWED);
    if (Rc rc = beginTxnOperation(ss)) return rc;
    uint64_t id = (static_cast<uint64_t>(delInfo.objIdHi) << 32) | delInfo.objIdLo;
    ActLogRecord a;
    a.date = nowDate();
    a.node = ss.node.name;
    a.severity = RVK_SEV_INFO;
    a.msgId = "DELETE";
    a.text = "Deleted backup object " + std::to_string(id) + " ";
    a.objId = id;
    // An object this session has seen in a query may be deleted without
    // waiting for the server's answer; the commit then collects it.
    bool queued = false;
    if (Rc rc = ss.store->queueNodeObjectDeletion(ss.node.id, id, a, queued))
        return failTxn(ss, storeFailure(ss, rc, "delete"));
    if (queued) return RVK_RC_OK;
    ObjectRecord o;
    bool found = false;
    if (Rc rc = ss.store->deleteNodeObject(ss.node.id, id, o, found))
        return failTxn(ss, storeFailure(ss, rc, "delete"));
    if (!found) {
        // Another node's object is refused exactly like a missing one: the
        // answer tells nothing about other nodes.
        clientLog("delete refused for node " + ss.node.name + ": object id " + std::to_string(id) +
                  " is not an object of this node");
        return failTxn(ss, RVK_RC_OBJ_NOT_FOUND);
    }
    a.text += fsName(ss, o.fsId) + o.hl + o.ll;
    if (Rc rc = ss.store->appendActLog(a))
        return failTxn(ss, storeFailure(ss, rc, "delete: activity log"));
    return RVK_RC_OK;
}

extern "C" int16_t rvkEndTxn(uint32_t handle, uint8_t vote, uint16_t* reason) {
    int16_t faultRc = 0;
    uint16_t why = 0;
    if (faultFires(Fn::EndTxn, &faultRc, &why)) return failedEnd(handle, faultRc, why, reason);
    if (!reason) return RVK_RC_NULL_POINTER;
    return endTxn(handle, vote, reason);
}

extern "C" int16_t rvkEndTxnEx(rvkEndTxnExIn* in, rvkEndTxnExOut* out) {
    RVK_ENTRY(EndTxnEx);
    if (!in || !out) return RVK_RC_NULL_POINTER;
    if (in->stVersion != RVK_ENDTXNEXIN_VERSION || out->stVersion != RVK_ENDTXNEXOUT_VERSION)
        return RVK_RC_BAD_STVERSION;
    uint16_t reason = 0;
    Rc rc = endTxn(in->handle, in->vote, &reason);
    out->reason = reason;
    out->groupLeaderObjId.hi = 0;
    out->groupLeaderObjId.lo = 0;
    return rc;
}
