// The repository behind the client library: server settings, nodes, file
// spaces, backup objects with their data, and the activity log.
//
// `Store` is the storage interface with two implementations: an embedded
// SQLite file (sqlite_store.cpp), chosen for a plain file name, and a
// PostgreSQL database (pg_store.cpp), chosen for a "postgresql://" URI.
// A Store is one connection: it is used by one thread at a
// time, and several Stores, in one process or many, may use one repository.
//
// Every method returns 0 or a client return code (RVK_RC_SERVER_BUSY,
// RVK_RC_REPOSITORY_ERROR, ...); `lastError()` then holds the details.
#ifndef VLTAPI_STORE_H
#define VLTAPI_STORE_H

#include <stdint.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace vlt {

using Rc = int16_t;

// The first object id of a new repository: just below 2^32, so that ids
// soon use both 32-bit halves.
constexpr uint64_t kFirstObjectId = 4294967001ULL;

struct ServerSettings {
    std::string serverName = "VLTSERVER";
    std::string serverHost = "localhost";
    int serverPort = 0;
    std::string serverType = "VLT-SQLITE";
    int serverVer = 5, serverRel = 5, serverLev = 2, serverSubLev = 1;
    uint32_t maxObjPerTxn = 256;
    uint32_t maxBytesPerTxn = 0;  // 0: no limit
    std::string domain = "STANDARD";
    std::string policySet = "STANDARD";
    std::string mgmtClass = "STANDARD";
    int backRetention = 30;
    int archRetention = 365;
    int passExpDays = 0;  // 0: passwords do not expire
    int64_t created = 0;  // date value
};

// Sets one setting by its name (the keys of `vltadm set`). Returns "" or a
// text saying what is wrong with the value.
std::string applySetting(ServerSettings& s, const std::string& key, const std::string& value);
// Every setting as key and value text, in a fixed order.
std::vector<std::pair<std::string, std::string>> settingsList(const ServerSettings& s);

struct NodeRecord {
    int64_t id = 0;
    std::string name;    // upper case
    std::string pwSalt;  // bytes
    std::string pwHash;  // bytes
    int pwIterations = 0;
    int64_t pwSetTime = 0;  // seconds since 1970
    bool backDel = true;
    bool archDel = true;
};

struct FsRecord {
    int64_t id = 0;
    int64_t nodeId = 0;
    std::string name;
    std::string type;
    std::string info;
    uint64_t capacity = 0;
    uint64_t occupancy = 0;
    int64_t regDate = 0;
    int64_t backStart = 0;
    int64_t backComplete = 0;
};

struct ObjectRecord {
    uint64_t id = 0;
    int64_t nodeId = 0;
    int64_t fsId = 0;
    std::string hl;
    std::string ll;
    int type = 1;
    std::string owner;
    std::string mc;
    int64_t insDate = 0;
    int64_t deactDate = 0;  // 0 while active
    uint64_t size = 0;
    int state = 1;  // RVK_STATE_ACTIVE / RVK_STATE_INACTIVE
    bool hasData = false;
    std::string info;
};

struct ActLogRecord {
    int64_t date = 0;
    std::string node;
    int severity = 0;
    std::string msgId;
    std::string text;
    uint64_t objId = 0;  // 0: none
};

// Selects objects of one node. Names given here compare exactly; wildcard
// patterns are applied by the caller.
struct ObjectQuery {
    int64_t nodeId = 0;
    int64_t fsId = 0;  // 0: every file space (then ordered by id)
    bool hlExact = false;
    std::string hl;
    bool llExact = false;
    std::string ll;
    int state = 0xFF;    // RVK_STATE_ACTIVE, RVK_STATE_INACTIVE or 0xFF
    int64_t pit = 0;     // 0: now
    int objType = 0xFF;  // 0xFF: any
    // The caller reads the rows to the end or drops the cursor, and makes
    // no other call of the store in between: a store may then stream them.
    bool streamed = false;
};

class ObjectCursor {
  public:
    virtual ~ObjectCursor() = default;
    // Next object into `o`; `have` false at the end.
    virtual Rc next(ObjectRecord& o, bool& have) = 0;
};

class Store {
  public:
    virtual ~Store() = default;
    virtual std::string lastError() const = 0;
    // Says, when it is so, that users other than the repository's owner may
    // read it (node password hashes, every object, the activity log); ""
    // otherwise. The library writes it to its error log at log-on.
    virtual std::string accessWarning() const { return ""; }

    // One transaction at a time. `write` takes the repository's write lock
    // at once, waiting up to the busy time-out.
    virtual Rc begin(bool write) = 0;
    virtual Rc commit() = 0;
    virtual void rollback() = 0;
    virtual bool inTransaction() const = 0;

    virtual Rc readSettings(ServerSettings& s) = 0;
    virtual Rc writeSetting(const std::string& key, const std::string& value) = 0;

    virtual Rc findNode(const std::string& name, NodeRecord& n, bool& found) = 0;
    virtual Rc insertNode(NodeRecord& n) = 0;
    virtual Rc updateNode(const NodeRecord& n) = 0;
    virtual Rc listNodes(std::vector<NodeRecord>& out) = 0;

    // Whether the database itself checks node passwords: a node's session
    // then connects with the node's own credentials (openNodeStore). The
    // library's hash in NodeRecord is kept in both cases and checked too.
    virtual bool checksPasswords() const { return false; }
    // Gives the node's database credential the password `pw` (part of the
    // open transaction). Nothing to do where the database keeps no
    // credentials of its own.
    virtual Rc setServerPassword(const std::string& node, const std::string& pw) {
        (void)node;
        (void)pw;
        return 0;
    }
    // Sets the node's database credential from a secret in the database's
    // own form, for copying a node whose plain password is not known.
    virtual Rc setServerSecret(const std::string& node, const std::string& secret) {
        (void)node;
        (void)secret;
        return 0;
    }

    virtual Rc listFileSpaces(int64_t nodeId, std::vector<FsRecord>& out) = 0;
    virtual Rc findFileSpace(int64_t nodeId, const std::string& name, FsRecord& fs,
                             bool& found) = 0;
    virtual Rc insertFileSpace(FsRecord& fs) = 0;
    virtual Rc updateFileSpace(const FsRecord& fs) = 0;
    // Deletes the file space, its objects and their data.
    virtual Rc deleteFileSpace(int64_t fsId, uint64_t& objectsDeleted) = 0;

    virtual Rc openObjects(const ObjectQuery& q, std::unique_ptr<ObjectCursor>& out) = 0;
    virtual Rc findObject(uint64_t id, ObjectRecord& o, bool& found) = 0;
    virtual Rc findActiveObject(int64_t nodeId, int64_t fsId, const std::string& hl,
                                const std::string& ll, ObjectRecord& o, bool& found) = 0;
    // Inserts `o` (its id is set) as an active object; an active object of
    // the same name becomes inactive with deactivation date o.insDate.
    virtual Rc insertObject(ObjectRecord& o) = 0;
    // Inserts `o` exactly as given, id and state included (copying a
    // repository); later ids of new objects stay above it.
    virtual Rc insertObjectAsIs(const ObjectRecord& o) = 0;
    // Writes every field of an existing object.
    virtual Rc updateObject(const ObjectRecord& o) = 0;
    // Deletes the object and its data; `changed` is false when it was gone.
    virtual Rc deleteObject(uint64_t id, bool& changed) = 0;
    // Deletes object `id` of node `nodeId` with its data and gives its id,
    // node, file space and names (a store may leave the other fields as they
    // were); `found` is false (and nothing changes) when the node has no such
    // object. The default finds it first; a networked store does both in
    // one round trip.
    virtual Rc deleteNodeObject(int64_t nodeId, uint64_t id, ObjectRecord& o, bool& found);
    // Deletes object `id` of node `nodeId` later in the open transaction,
    // where the store can: it may hold the deletion back, send it with
    // others, and read the answer at the commit at the latest. A deletion that
    // finds nothing there (another session took the object meanwhile) makes
    // the commit fail with RVK_RC_OBJ_NOT_FOUND and roll back. `log` is the
    // activity-log row to write with it; the object's file space, high- and
    // low-level name are appended to its text. `queued` false: the store
    // did nothing (it cannot tell at once whether the node has the object),
    // and the caller deletes with deleteNodeObject.
    virtual Rc queueNodeObjectDeletion(int64_t nodeId, uint64_t id, const ActLogRecord& log,
                                       bool& queued) {
        (void)nodeId;
        (void)id;
        (void)log;
        queued = false;
        return 0;
    }
    virtual Rc countObjects(int64_t nodeId, uint64_t& n) = 0;

    virtual Rc appendData(uint64_t objId, uint32_t seq, const void* data, size_t len) = 0;
    virtual Rc readData(uint64_t objId, uint32_t seq, std::string& chunk, bool& found) = 0;

    virtual Rc appendActLog(const ActLogRecord& a) = 0;
    // A hint before one very large write transaction (a bulk load).
    virtual void prepareBulkLoad() {}
    virtual Rc listActLog(const std::function<void(const ActLogRecord&)>& fn) = 0;
};

// Opens an existing repository. RVK_RC_COMM_FAILURE when it cannot be
// opened, RVK_RC_REPOSITORY_VERSION when it is not a repository of this
// version.
Rc openStore(const std::string& repository, int busyTimeoutMs, std::unique_ptr<Store>& out,
             std::string& err);

// Opens the repository for a node's session. Where the database checks
// passwords itself (PostgreSQL) this connects as the node, and a password
// the database refuses gives RVK_RC_AUTH_FAILURE; elsewhere it is openStore.
Rc openNodeStore(const std::string& repository, int busyTimeoutMs, const std::string& node,
                 const std::string& password, std::unique_ptr<Store>& out, std::string& err);

// True when the repository is a database server (a "postgresql://" URI)
// rather than a file.
bool isServerRepository(const std::string& repository);

// Creates a new repository (fails when the file exists, or when the
// database already holds one); a file is readable and writable by its
// owner only.
Rc createStore(const std::string& repository, const ServerSettings& initial, std::string& err);

// The SQLite implementation behind openStore / createStore.
Rc openSqliteStore(const std::string& path, int busyTimeoutMs, std::unique_ptr<Store>& out,
                   std::string& err);
Rc createSqliteStore(const std::string& path, const ServerSettings& initial, std::string& err);

}  // namespace vlt

#endif
