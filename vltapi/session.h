// The library's process-wide state: the environment recorded by rvkSetUp,
// the client error log, and the table of open sessions.
//
// A session is one log-on: its options, its own repository connection, the
// node it acts for, and the state of its open query, transaction, object
// send or object read. Entry points find a session by handle and hold its
// mutex for the whole call (SessionRef), so calls on one handle never
// overlap; different sessions work in parallel.
#ifndef VLTAPI_SESSION_H
#define VLTAPI_SESSION_H

#include <stdint.h>

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "vltapi/options.h"
#include "vltapi/store.h"

namespace vlt {

struct Environment {
    bool setUp = false;
    std::string apiDir;
    std::string optFile;
    std::string logDir;
    std::string logName;
};

Environment environment();
void setEnvironment(const Environment& env);
void clearEnvironment();

// Appends a dated line to the client error log (logDir/logName); does
// nothing before rvkSetUp or when the log cannot be opened.
void clientLog(const std::string& text);

// What a session is doing between calls.
enum class State { Idle, Query, Txn, Sending, Getting, GettingObject };

struct QueryState {
    int type = 0;                      // RVK_QRY_BACKUP / RVK_QRY_FILESPACE
    std::vector<FsRecord> fileSpaces;  // matching file spaces, in order
    size_t fsIndex = 0;
    std::string hlPattern, llPattern, ownerPattern;
    bool hlWild = false, llWild = false, ownerAny = true;
    ObjectQuery base;  // node, state, date, type, exact names
    std::unique_ptr<ObjectCursor> cursor;
    ObjectRecord row;  // the cursor's current row
    uint64_t delivered = 0;
    bool finished = false;
};

struct SendState {
    ObjectRecord object;
    uint32_t nextSeq = 0;
    uint64_t bytes = 0;
};

struct GetState {
    std::vector<uint64_t> ids;
    size_t next = 0;  // index of the next id to open
    uint64_t current = 0;
    uint32_t seq = 0;  // next chunk to read
    std::string chunk;
    size_t offset = 0;  // delivered bytes of `chunk`
    bool chunkLoaded = false;
};

struct Session {
    std::mutex mu;
    bool closed = false;
    uint32_t handle = 0;
    Options options;
    std::string apiDir;
    std::unique_ptr<Store> store;
    NodeRecord node;
    ServerSettings settings;
    std::string owner;
    std::string appType;
    bool passwordExpired = false;
    State state = State::Idle;
    QueryState query;
    // Transaction: operations so far, and the first failure (0: none).
    uint32_t txnOps = 0;
    uint64_t txnBytes = 0;
    int16_t txnFailure = 0;
    // Events logged while a transaction holds the write lock; written when
    // it ends, whatever its outcome.
    std::vector<ActLogRecord> pendingEvents;
    SendState send;
    GetState get;
    // File-space names by id, for activity-log texts.
    std::map<int64_t, std::string> fsNames;

    // Ends whatever is open (rolling back a transaction) and returns to Idle.
    void reset();
    // Ends the transaction's bookkeeping after commit or rollback and writes
    // the events that waited for it.
    void endTransaction();
};

// Registers a new session; RVK_RC_TOO_MANY_SESSIONS when the table is full.
Rc addSession(const std::shared_ptr<Session>& s, uint32_t& handle);
std::shared_ptr<Session> removeSession(uint32_t handle);
std::vector<std::shared_ptr<Session>> removeAllSessions();

// Finds a session and locks it for the rest of the call. rc() is 0, or
// RVK_RC_INVALID_HANDLE, or RVK_RC_PASSWD_EXPIRED when the session may only
// change its password (unless allowExpired).
class SessionRef {
  public:
    explicit SessionRef(uint32_t handle, bool allowExpired = false);
    Rc rc() const { return rc_; }
    // rc(), or RVK_RC_WRONG_STATE when the session is not in `state`.
    Rc rcIn(State state) const;
    Session* operator->() const { return s_.get(); }
    Session& operator*() const { return *s_; }

  private:
    std::shared_ptr<Session> s_;
    std::unique_lock<std::mutex> lock_;
    Rc rc_ = 0;
};

// Records a repository failure in the client error log and returns `rc`.
Rc storeFailure(Session& s, Rc rc, const char* what);

}  // namespace vlt

#endif
