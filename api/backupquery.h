// BackupQuery: one query of backup objects, as a cursor.
//
// A query of the server is always the same dance: a versioned request
// record, a response record and a data block pointing at it, begin, fetch
// until the server says there is no more, end. The cursor keeps those
// records and does the dance; the caller says what to look for and reads one
// object after the other:
//
//     BackupQuery query(BackupQuery::library(), handle);
//     if (query.begin(&name, RVK_STATE_ACTIVE) == 0) {
//         while (query.next() == RVK_RC_MORE_DATA) use(query.object());
//         query.end();
//     }
//
// The three calls come from outside: the library's entry points called
// directly (library(), for the library's own tests and tools, which know
// only its header), or the program's wrapper, which times and traces each
// call (BackupQuery::wrapped in backupquery.cpp, part of the wrapper's
// library). Either way the calls reach the server in the same order as a
// hand-written loop would make them, so traces read the same.
//
// end() is never implied: a caller that stops early decides itself whether
// and when the query ends. One cursor per query; not shared between threads.
#ifndef ZEBO_API_BACKUPQUERY_H
#define ZEBO_API_BACKUPQUERY_H

#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include <functional>

#include "vltapi/include/rvkapi.h"

class DRvkApi;
struct ApiStatusObj;

class BackupQuery {
  public:
    // The three server calls of a query, with the library's arguments.
    struct Calls {
        std::function<int(uint32_t handle, uint8_t queryType, void* queryDataP)> begin;
        std::function<int(uint32_t handle, rvkDataBlk* blockP)> next;
        std::function<int(uint32_t handle)> end;
    };

    // A name record for begin(), each part cut to its field.
    static rvkObjName objectName(const char* fsP, const char* hlP, const char* llP, uint8_t type) {
        rvkObjName name;
        memset(&name, 0, sizeof name);
        snprintf(name.fs, sizeof name.fs, "%s", fsP);
        snprintf(name.hl, sizeof name.hl, "%s", hlP);
        snprintf(name.ll, sizeof name.ll, "%s", llP);
        name.objType = type;
        return name;
    }

    // The library's entry points, called directly.
    static Calls library() { return {rvkBeginQuery, rvkGetNextQObj, rvkEndQuery}; }
    // The program's wrapper: every call timed in *statusP and traced.
    static Calls wrapped(DRvkApi* apiP, ApiStatusObj* statusP);

    BackupQuery(Calls calls, uint32_t handle) : calls_(std::move(calls)), handle_(handle) {
        memset(&request_, 0, sizeof request_);
        memset(&object_, 0, sizeof object_);
    }

    // Begins the query of the objects named by *nameP (wildcards allowed) in
    // `state` (RVK_STATE_...); ownerP null or empty for any owner; pitDate
    // all zero for now. The name record must live until the query ends.
    // Returns the server's code: 0 when the query is open.
    int begin(rvkObjName* nameP, uint8_t state, char* ownerP = nullptr,
              const rvkDate& pitDate = rvkDate()) {
        memset(&request_, 0, sizeof request_);
        request_.stVersion = RVK_QRYBACKUPDATA_VERSION;
        request_.objName = nameP;
        request_.owner = ownerP;
        request_.objState = state;
        request_.pitDate = pitDate;
        return calls_.begin(handle_, RVK_QRY_BACKUP, &request_);
    }

    // Fetches the next object into object(), which the server fills (the
    // library clears it first; nothing but its version is set here, as a
    // record is about 3 KB and a query may run to millions). Returns the
    // server's code: RVK_RC_MORE_DATA with an object; RVK_RC_FINISHED after
    // the last, RVK_RC_NO_MATCH when nothing matched, or a failure.
    int next() { return nextInto(&object_); }

    // next() into the caller's record *objectP instead of object(): a
    // reader that keeps objects for later fetches straight into its own
    // storage, without a copy.
    int nextInto(rvkQryRespBackup* objectP) {
        objectP->stVersion = RVK_QRYRESPBACKUP_VERSION;
        rvkDataBlk block;
        memset(&block, 0, sizeof block);
        block.stVersion = RVK_DATABLK_VERSION;
        block.bufferLen = sizeof *objectP;
        block.bufferPtr = reinterpret_cast<char*>(objectP);
        last_ = calls_.next(handle_, &block);
        return last_;
    }

    // The object of the last next() that returned RVK_RC_MORE_DATA.
    rvkQryRespBackup& object() { return object_; }
    // The code of the last next(); 0 before the first.
    int lastRc() const { return last_; }

    // Ends the query; the server's code.
    int end() { return calls_.end(handle_); }

  private:
    Calls calls_;
    uint32_t handle_;
    rvkQryBackupData request_;
    rvkQryRespBackup object_;
    int last_ = 0;
};

#endif
