// Reading the data of backup objects: a list of object ids is opened with
// rvkBeginGetData, then each object in turn with rvkGetObj / rvkGetData
// until RVK_RC_FINISHED, rvkEndGetObj, and finally rvkEndGetData.
#include <string.h>

#include "vltapi/api_internal.h"

using namespace vlt;

namespace {

// Loads the object's next chunk; RVK_RC_FINISHED when there is none.
Rc loadChunk(Session& s) {
    GetState& g = s.get;
    bool found = false;
    if (Rc rc = s.store->readData(g.current, g.seq, g.chunk, found))
        return storeFailure(s, rc, "read data");
    if (!found) return RVK_RC_FINISHED;
    g.chunkLoaded = true;
    g.offset = 0;
    ++g.seq;
    return RVK_RC_OK;
}

// Fills the caller's buffer from the object's chunks.
Rc deliver(Session& s, rvkDataBlk* b) {
    GetState& g = s.get;
    b->numBytes = 0;
    for (;;) {
        if (!g.chunkLoaded) {
            if (Rc rc = loadChunk(s)) return rc;
        }
        size_t room = b->bufferLen - b->numBytes;
        size_t left = g.chunk.size() - g.offset;
        size_t n = left < room ? left : room;
        memcpy(b->bufferPtr + b->numBytes, g.chunk.data() + g.offset, n);
        b->numBytes += static_cast<uint32_t>(n);
        g.offset += n;
        if (g.offset == g.chunk.size()) g.chunkLoaded = false;
        if (b->numBytes == b->bufferLen) {
            if (g.chunkLoaded) return RVK_RC_MORE_DATA;
            // The buffer is full exactly at a chunk's end: is there more?
            if (Rc rc = loadChunk(s)) return rc;
            return RVK_RC_MORE_DATA;
        }
    }
}

Rc checkBlk(const rvkDataBlk* b) {
    if (Rc rc = checkRecord(b, RVK_DATABLK_VERSION, &rvkDataBlk::bufferPtr)) return rc;
    if (b->bufferLen == 0) return RVK_RC_BUFFER_TOO_SMALL;
    return RVK_RC_OK;
}

// The object, if it is one of the session's node.
Rc ownObject(Session& s, uint64_t id) {
    ObjectRecord o;
    bool found = false;
    if (Rc rc = s.store->findObject(id, o, found)) return storeFailure(s, rc, "get: find");
    if (!found || o.nodeId != s.node.id) return RVK_RC_OBJ_NOT_FOUND;
    return RVK_RC_OK;
}

}  // namespace

extern "C" int16_t rvkBeginGetData(uint32_t handle, uint8_t mountWait, uint8_t getType,
                                   rvkGetList* list) {
    RVK_ENTRY(BeginGetData);
    (void)mountWait;  // nothing to mount
    SessionRef s(handle);
    if (Rc rc = s.rcIn(State::Idle)) return rc;
    if (getType == RVK_GET_ARCHIVE) return RVK_RC_NOT_SUPPORTED;
    if (getType != RVK_GET_BACKUP) return RVK_RC_INVALID_ARGUMENT;
    if (Rc rc = checkRecord(list, RVK_GETLIST_VERSION)) return rc;
    if (list->numObjId == 0) return RVK_RC_INVALID_ARGUMENT;
    if (!list->objId) return RVK_RC_NULL_POINTER;
    GetState g;
    for (uint32_t i = 0; i < list->numObjId; ++i) {
        uint64_t id = u64FromRvk(list->objId[i]);
        if (Rc rc = ownObject(*s, id)) return rc;
        g.ids.push_back(id);
    }
    s->get = std::move(g);
    s->state = State::Getting;
    return RVK_RC_OK;
}

extern "C" int16_t rvkGetObj(uint32_t handle, rvkU64* objId, rvkDataBlk* dataBlk) {
    RVK_ENTRY(GetObj);
    SessionRef s(handle);
    if (Rc rc = s.rcIn(State::Getting)) return rc;
    if (!objId) return RVK_RC_NULL_POINTER;
    if (Rc rc = checkBlk(dataBlk)) return rc;
    GetState& g = s->get;
    uint64_t id = u64FromRvk(*objId);
    if (g.next >= g.ids.size() || g.ids[g.next] != id) return RVK_RC_INVALID_ARGUMENT;
    if (Rc rc = ownObject(*s, id)) return rc;
    ++g.next;
    g.current = id;
    g.seq = 0;
    g.chunk.clear();
    g.offset = 0;
    g.chunkLoaded = false;
    s->state = State::GettingObject;
    return deliver(*s, dataBlk);
}

extern "C" int16_t rvkGetData(uint32_t handle, rvkDataBlk* dataBlk) {
    RVK_ENTRY(GetData);
    SessionRef s(handle);
    if (Rc rc = s.rcIn(State::GettingObject)) return rc;
    if (Rc rc = checkBlk(dataBlk)) return rc;
    return deliver(*s, dataBlk);
}

extern "C" int16_t rvkEndGetObj(uint32_t handle) {
    RVK_ENTRY(EndGetObj);
    SessionRef s(handle);
    if (Rc rc = s.rcIn(State::GettingObject)) return rc;
    s->get.chunk.clear();
    s->get.chunkLoaded = false;
    s->state = State::Getting;
    return RVK_RC_OK;
}

extern "C" int16_t rvkEndGetData(uint32_t handle) {
    RVK_ENTRY(EndGetData);
    SessionRef s(handle);
    if (s.rc()) return s.rc();
    if (s->state != State::Getting && s->state != State::GettingObject) return RVK_RC_WRONG_STATE;
    s->get = GetState();
    s->state = State::Idle;
    return RVK_RC_OK;
}
