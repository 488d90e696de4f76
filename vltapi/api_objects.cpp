// File spaces and storing backup objects: register, update and delete file
// spaces; bind a management class; send an object with its data; rename
// and update objects.
#include <string.h>

#include "vltapi/api_internal.h"
#include "vltapi/wildcard.h"

namespace vlt {

static bool fieldFits(const char* field, size_t size) {
    return strnlen(field, size) < size;
}

Rc checkExactName(const rvkObjName& n) {
    if (!fieldFits(n.fs, sizeof n.fs) || !fieldFits(n.hl, sizeof n.hl) ||
        !fieldFits(n.ll, sizeof n.ll))
        return RVK_RC_STRING_TOO_LONG;
    if (hasWildcard(n.fs) || hasWildcard(n.hl) || hasWildcard(n.ll))
        return RVK_RC_WILDCARD_NOT_ALLOWED;
    if (!n.fs[0] || !n.ll[0]) return RVK_RC_INVALID_ARGUMENT;
    if (n.objType != RVK_OBJ_FILE && n.objType != RVK_OBJ_DIRECTORY) return RVK_RC_INVALID_ARGUMENT;
    return RVK_RC_OK;
}

Rc findFs(Session& s, const std::string& name, FsRecord& fs) {
    bool found = false;
    if (Rc rc = s.store->findFileSpace(s.node.id, name, fs, found))
        return storeFailure(s, rc, "find file space");
    if (!found) return RVK_RC_FS_NOT_REGISTERED;
    s.fsNames[fs.id] = fs.name;
    return RVK_RC_OK;
}

}  // namespace vlt

using namespace vlt;

namespace {

// Runs `work` in its own write transaction (outside an API transaction).
template <typename Work>
Rc inWriteTxn(Session& s, const char* what, Work work) {
    if (Rc rc = s.store->begin(true)) return storeFailure(s, rc, what);
    Rc rc = work();
    if (rc == RVK_RC_OK) {
        rc = s.store->commit();
        if (rc) storeFailure(s, rc, what);
    }
    if (rc) s.store->rollback();
    return rc;
}

Rc checkDataBlk(const rvkDataBlk* b) {
    if (b->stVersion != RVK_DATABLK_VERSION) return RVK_RC_BAD_STVERSION;
    if (b->numBytes > b->bufferLen) return RVK_RC_INVALID_ARGUMENT;
    if (b->numBytes > 0 && !b->bufferPtr) return RVK_RC_NULL_POINTER;
    return RVK_RC_OK;
}

// Stores one block of the object being sent.
Rc storeData(Session& s, const rvkDataBlk* b) {
    if (b->numBytes == 0) return RVK_RC_OK;
    if (s.settings.maxBytesPerTxn && s.txnBytes + b->numBytes > s.settings.maxBytesPerTxn)
        return failTxn(s, RVK_RC_TXN_LIMIT);
    if (Rc rc = s.store->appendData(s.send.object.id, s.send.nextSeq, b->bufferPtr, b->numBytes))
        return failTxn(s, storeFailure(s, rc, "send data"));
    ++s.send.nextSeq;
    s.send.bytes += b->numBytes;
    s.txnBytes += b->numBytes;
    return RVK_RC_OK;
}

Rc endSend(Session& s) {
    if (s.state != State::Sending) return RVK_RC_WRONG_STATE;
    ObjectRecord& o = s.send.object;
    if (s.send.bytes > 0) {
        o.size = s.send.bytes;
        o.hasData = true;
        if (Rc rc = s.store->updateObject(o)) {
            s.state = State::Txn;
            return failTxn(s, storeFailure(s, rc, "end send"));
        }
    }
    s.state = State::Txn;
    return RVK_RC_OK;
}

Rc checkAttr(const rvkObjAttr* a) {
    if (a->stVersion != RVK_OBJATTR_VERSION) return RVK_RC_BAD_STVERSION;
    if (!fieldFits(a->owner, sizeof a->owner)) return RVK_RC_STRING_TOO_LONG;
    if (a->objInfoLen > RVK_OBJ_INFO_MAX) return RVK_RC_STRING_TOO_LONG;
    if (a->objInfoLen > 0 && !a->objInfo) return RVK_RC_NULL_POINTER;
    return RVK_RC_OK;
}

// The checks that open rvkSendObj and rvkUpdateObj: a session in a
// transaction, a backup send without a send buffer, a name and attributes.
// A failure after the session's own checks dooms the transaction.
Rc checkObjectCall(const SessionRef& s, uint8_t sendType, const void* sendBuff,
                   const rvkObjName* objName, const rvkObjAttr* objAttr) {
    if (s.rc()) return s.rc();
    if (s->state != State::Txn) return RVK_RC_WRONG_STATE;
    Session& ss = *s;
    if (sendType == RVK_SEND_ARCHIVE) return failTxn(ss, RVK_RC_NOT_SUPPORTED);
    if (sendType != RVK_SEND_BACKUP || sendBuff) return failTxn(ss, RVK_RC_INVALID_ARGUMENT);
    if (!objName || !objAttr) return failTxn(ss, RVK_RC_NULL_POINTER);
    return RVK_RC_OK;
}

}  // namespace

extern "C" int16_t rvkRegisterFS(uint32_t handle, rvkRegFSData* regFS) {
    RVK_ENTRY(RegisterFS);
    SessionRef s(handle);
    if (Rc rc = s.rcIn(State::Idle)) return rc;
    if (Rc rc = checkRecord(regFS, RVK_REGFSDATA_VERSION, &rvkRegFSData::fsName)) return rc;
    if (!fits(regFS->fsName, RVK_FS_NAME_MAX) || !fits(regFS->fsType, RVK_FS_TYPE_MAX) ||
        regFS->fsInfoLen > RVK_FS_INFO_MAX)
        return RVK_RC_STRING_TOO_LONG;
    std::string name = regFS->fsName;
    if (name.empty()) return RVK_RC_INVALID_ARGUMENT;
    if (hasWildcard(name)) return RVK_RC_WILDCARD_NOT_ALLOWED;
    Session& ss = *s;
    return inWriteTxn(ss, "register file space", [&]() -> Rc {
        FsRecord fs;
        bool found = false;
        if (Rc rc = ss.store->findFileSpace(ss.node.id, name, fs, found)) return rc;
        if (found) return RVK_RC_FS_ALREADY_REGISTERED;
        fs.nodeId = ss.node.id;
        fs.name = name;
        fs.type = str(regFS->fsType);
        fs.info.assign(regFS->fsInfo, regFS->fsInfoLen);
        fs.capacity = u64FromRvk(regFS->capacity);
        fs.occupancy = u64FromRvk(regFS->occupancy);
        fs.regDate = nowDate();
        if (Rc rc = ss.store->insertFileSpace(fs)) return rc;
        ss.fsNames[fs.id] = fs.name;
        return RVK_RC_OK;
    });
}

extern "C" int16_t rvkUpdateFS(uint32_t handle, char* fsName, rvkFSUpd* upd, uint32_t action) {
    RVK_ENTRY(UpdateFS);
    SessionRef s(handle);
    if (Rc rc = s.rcIn(State::Idle)) return rc;
    if (!fsName || !upd) return RVK_RC_NULL_POINTER;
    if (upd->stVersion != RVK_FSUPD_VERSION) return RVK_RC_BAD_STVERSION;
    const uint32_t all = RVK_FSUPD_FSTYPE | RVK_FSUPD_FSINFO | RVK_FSUPD_BACKSTARTDATE |
                         RVK_FSUPD_BACKCOMPLETEDATE | RVK_FSUPD_OCCUPANCY | RVK_FSUPD_CAPACITY;
    if (action == 0 || (action & ~all)) return RVK_RC_INVALID_ARGUMENT;
    if (!fits(fsName, RVK_FS_NAME_MAX) || !fits(upd->fsType, RVK_FS_TYPE_MAX) ||
        upd->fsInfoLen > RVK_FS_INFO_MAX)
        return RVK_RC_STRING_TOO_LONG;
    Session& ss = *s;
    std::string name = fsName;
    return inWriteTxn(ss, "update file space", [&]() -> Rc {
        FsRecord fs;
        if (Rc rc = findFs(ss, name, fs)) return rc;
        if (action & RVK_FSUPD_FSTYPE) fs.type = str(upd->fsType);
        if (action & RVK_FSUPD_FSINFO) fs.info.assign(upd->fsInfo, upd->fsInfoLen);
        if (action & RVK_FSUPD_BACKSTARTDATE) fs.backStart = nowDate();
        if (action & RVK_FSUPD_BACKCOMPLETEDATE) fs.backComplete = nowDate();
        if (action & RVK_FSUPD_OCCUPANCY) fs.occupancy = u64FromRvk(upd->occupancy);
        if (action & RVK_FSUPD_CAPACITY) fs.capacity = u64FromRvk(upd->capacity);
        return ss.store->updateFileSpace(fs);
    });
}

extern "C" int16_t rvkDeleteFS(uint32_t handle, char* fsName, uint8_t repository) {
    RVK_ENTRY(DeleteFS);
    SessionRef s(handle);
    if (Rc rc = s.rcIn(State::Idle)) return rc;
    if (!fsName) return RVK_RC_NULL_POINTER;
    if (!fits(fsName, RVK_FS_NAME_MAX)) return RVK_RC_STRING_TOO_LONG;
    if (repository == RVK_REPOS_ARCHIVE) return RVK_RC_NOT_SUPPORTED;
    if (repository != RVK_REPOS_BACKUP && repository != RVK_REPOS_ALL)
        return RVK_RC_INVALID_ARGUMENT;
    if (hasWildcard(fsName)) return RVK_RC_WILDCARD_NOT_ALLOWED;
    if (!s->node.backDel) return RVK_RC_DELETE_NOT_ALLOWED;
    Session& ss = *s;
    std::string name = fsName;
    return inWriteTxn(ss, "delete file space", [&]() -> Rc {
        FsRecord fs;
        if (Rc rc = findFs(ss, name, fs)) return rc;
        uint64_t n = 0;
        if (Rc rc = ss.store->deleteFileSpace(fs.id, n)) return rc;
        ss.fsNames.erase(fs.id);
        ActLogRecord a;
        a.date = nowDate();
        a.node = ss.node.name;
        a.msgId = "DELETE";
        a.text = "Deleted file space " + name + " with " + std::to_string(n) + " objects";
        return ss.store->appendActLog(a);
    });
}

extern "C" int16_t rvkBindMC(uint32_t handle, rvkObjName* objName, uint8_t sendType,
                             rvkMcBindKey* key) {
    RVK_ENTRY(BindMC);
    SessionRef s(handle);
    if (s.rc()) return s.rc();
    if (!objName || !key) return RVK_RC_NULL_POINTER;
    if (key->stVersion != RVK_MCBINDKEY_VERSION) return RVK_RC_BAD_STVERSION;
    if (sendType == RVK_SEND_ARCHIVE) return RVK_RC_NOT_SUPPORTED;
    if (sendType != RVK_SEND_BACKUP) return RVK_RC_INVALID_ARGUMENT;
    if (Rc rc = checkExactName(*objName)) return rc;
    memset(key, 0, sizeof *key);
    key->stVersion = RVK_MCBINDKEY_VERSION;
    copyTruncated(key->mcName, s->settings.mgmtClass);
    key->backupCGExists = RVK_TRUE;
    key->archiveCGExists = RVK_FALSE;
    copyTruncated(key->backupCopyDest, "BACKUPPOOL");
    return RVK_RC_OK;
}

extern "C" int16_t rvkSendObj(uint32_t handle, uint8_t sendType, void* sendBuff,
                              rvkObjName* objName, rvkObjAttr* objAttr, rvkDataBlk* dataBlk) {
    RVK_ENTRY(SendObj);
    SessionRef s(handle);
    if (Rc rc = checkObjectCall(s, sendType, sendBuff, objName, objAttr)) return rc;
    Session& ss = *s;
    if (Rc rc = checkExactName(*objName)) return failTxn(ss, rc);
    if (Rc rc = checkAttr(objAttr)) return failTxn(ss, rc);
    if (dataBlk) {
        if (Rc rc = checkDataBlk(dataBlk)) return failTxn(ss, rc);
    }
    if (Rc rc = beginTxnOperation(ss)) return rc;
    FsRecord fs;
    if (Rc rc = findFs(ss, objName->fs, fs)) return failTxn(ss, rc);
    ObjectRecord o;
    o.nodeId = ss.node.id;
    o.fsId = fs.id;
    o.hl = objName->hl;
    o.ll = objName->ll;
    o.type = objName->objType;
    o.owner = objAttr->owner[0] ? std::string(objAttr->owner) : ss.owner;
    o.mc = ss.settings.mgmtClass;
    o.insDate = nowDate();
    o.size = u64FromRvk(objAttr->sizeEstimate);
    if (objAttr->objInfoLen) o.info.assign(objAttr->objInfo, objAttr->objInfoLen);
    if (Rc rc = ss.store->insertObject(o)) return failTxn(ss, storeFailure(ss, rc, "send object"));
    ss.send = SendState();
    ss.send.object = o;
    ss.state = State::Sending;
    if (dataBlk) return storeData(ss, dataBlk);
    return RVK_RC_OK;
}

extern "C" int16_t rvkSendData(uint32_t handle, rvkDataBlk* dataBlk) {
    RVK_ENTRY(SendData);
    SessionRef s(handle);
    if (Rc rc = s.rcIn(State::Sending)) return rc;
    if (!dataBlk) return failTxn(*s, RVK_RC_NULL_POINTER);
    if (Rc rc = checkDataBlk(dataBlk)) return failTxn(*s, rc);
    return storeData(*s, dataBlk);
}

extern "C" int16_t rvkEndSendObj(uint32_t handle) {
    RVK_ENTRY(EndSendObj);
    SessionRef s(handle);
    if (s.rc()) return s.rc();
    return endSend(*s);
}

extern "C" int16_t rvkEndSendObjEx(rvkEndSendObjExIn* in, rvkEndSendObjExOut* out) {
    RVK_ENTRY(EndSendObjEx);
    if (!in || !out) return RVK_RC_NULL_POINTER;
    if (in->stVersion != RVK_ENDSENDOBJEXIN_VERSION ||
        out->stVersion != RVK_ENDSENDOBJEXOUT_VERSION)
        return RVK_RC_BAD_STVERSION;
    SessionRef s(in->handle);
    if (s.rc()) return s.rc();
    uint64_t bytes = s->send.bytes;
    Rc rc = endSend(*s);
    if (rc == RVK_RC_OK) {
        out->totalBytesSent = bytes;
        out->totalStoredBytes = bytes;
        out->totalCompressedBytes = bytes;
        out->txnObjCount = s->txnOps;
        out->objCompressed = RVK_FALSE;
    }
    return rc;
}

extern "C" int16_t rvkRenameObj(uint32_t handle, rvkRenameIn* in) {
    RVK_ENTRY(RenameObj);
    SessionRef s(handle);
    if (Rc rc = s.rcIn(State::Txn)) return rc;
    Session& ss = *s;
    if (!in || !in->objName) return failTxn(ss, RVK_RC_NULL_POINTER);
    if (in->stVersion != RVK_RENAMEIN_VERSION) return failTxn(ss, RVK_RC_BAD_STVERSION);
    if (in->repository == RVK_REPOS_ARCHIVE) return failTxn(ss, RVK_RC_NOT_SUPPORTED);
    if (in->repository != RVK_REPOS_BACKUP) return failTxn(ss, RVK_RC_INVALID_ARGUMENT);
    if (Rc rc = checkExactName(*in->objName)) return failTxn(ss, rc);
    if (!fieldFits(in->newHl, sizeof in->newHl) || !fieldFits(in->newLl, sizeof in->newLl))
        return failTxn(ss, RVK_RC_STRING_TOO_LONG);
    if (hasWildcard(in->newHl) || hasWildcard(in->newLl))
        return failTxn(ss, RVK_RC_WILDCARD_NOT_ALLOWED);
    if (!in->newLl[0]) return failTxn(ss, RVK_RC_INVALID_ARGUMENT);
    if (Rc rc = beginTxnOperation(ss)) return rc;
    FsRecord fs;
    if (Rc rc = findFs(ss, in->objName->fs, fs)) return failTxn(ss, rc);
    ObjectRecord o;
    bool found = false;
    if (Rc rc = ss.store->findObject(u64FromRvk(in->objId), o, found))
        return failTxn(ss, storeFailure(ss, rc, "rename: find"));
    if (!found || o.nodeId != ss.node.id || o.fsId != fs.id || o.hl != in->objName->hl ||
        o.ll != in->objName->ll)
        return failTxn(ss, RVK_RC_OBJ_NOT_FOUND);
    std::string newHl = in->newHl, newLl = in->newLl;
    if (o.state == RVK_STATE_ACTIVE) {
        ObjectRecord other;
        bool exists = false;
        if (Rc rc = ss.store->findActiveObject(ss.node.id, fs.id, newHl, newLl, other, exists))
            return failTxn(ss, storeFailure(ss, rc, "rename: find"));
        if (exists && other.id != o.id) {
            if (!in->merge) return failTxn(ss, RVK_RC_NAME_EXISTS);
            other.state = RVK_STATE_INACTIVE;
            other.deactDate = nowDate();
            if (Rc rc = ss.store->updateObject(other))
                return failTxn(ss, storeFailure(ss, rc, "rename: merge"));
        }
    }
    o.hl = newHl;
    o.ll = newLl;
    if (Rc rc = ss.store->updateObject(o)) return failTxn(ss, storeFailure(ss, rc, "rename"));
    return RVK_RC_OK;
}

#ifndef RVK_OMIT_UPDATEOBJ
extern "C" int16_t rvkUpdateObj(uint32_t handle, uint8_t sendType, void* sendBuff,
                                rvkObjName* objName, rvkObjAttr* objAttr, uint32_t action) {
    RVK_ENTRY(UpdateObj);
    SessionRef s(handle);
    if (Rc rc = checkObjectCall(s, sendType, sendBuff, objName, objAttr)) return rc;
    Session& ss = *s;
    const uint32_t all = RVK_UPDOBJ_OWNER | RVK_UPDOBJ_OBJINFO | RVK_UPDOBJ_MC;
    if (action == 0 || (action & ~all)) return failTxn(ss, RVK_RC_INVALID_ARGUMENT);
    if (Rc rc = checkExactName(*objName)) return failTxn(ss, rc);
    if (Rc rc = checkAttr(objAttr)) return failTxn(ss, rc);
    if (action & RVK_UPDOBJ_MC) {
        // There is one management class: the server's default.
        if (!objAttr->mcName) return failTxn(ss, RVK_RC_NULL_POINTER);
        if (upper(objAttr->mcName) != upper(ss.settings.mgmtClass))
            return failTxn(ss, RVK_RC_INVALID_ARGUMENT);
    }
    if (Rc rc = beginTxnOperation(ss)) return rc;
    FsRecord fs;
    if (Rc rc = findFs(ss, objName->fs, fs)) return failTxn(ss, rc);
    ObjectRecord o;
    bool found = false;
    if (Rc rc = ss.store->findActiveObject(ss.node.id, fs.id, objName->hl, objName->ll, o, found))
        return failTxn(ss, storeFailure(ss, rc, "update: find"));
    if (!found) return failTxn(ss, RVK_RC_NO_MATCH);
    if (action & RVK_UPDOBJ_OWNER) o.owner = objAttr->owner;
    if (action & RVK_UPDOBJ_OBJINFO)
        o.info.assign(objAttr->objInfo ? objAttr->objInfo : "", objAttr->objInfoLen);
    if (action & RVK_UPDOBJ_MC) o.mc = ss.settings.mgmtClass;
    if (Rc rc = ss.store->updateObject(o)) return failTxn(ss, storeFailure(ss, rc, "update"));
    return RVK_RC_OK;
}
#endif
