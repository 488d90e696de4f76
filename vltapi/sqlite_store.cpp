// The repository in an embedded SQLite database.
//
// Several processes share one database file: it runs in WAL mode (readers
// never wait for the writer), every connection waits up to its busy
// time-out for the write lock, and a write transaction takes that lock at
// its start (BEGIN IMMEDIATE) so that two writers never dead-lock half way.
// Commits are synchronous (FULL): a committed change survives a crash.
#include <errno.h>
#include <fcntl.h>
#include <sqlite3.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <unordered_map>
#include <vector>

#include "rvkapi.h"
#include "vltapi/sqlite_fields.h"
#include "vltapi/sqlite_walbuffer.h"
#include "vltapi/store.h"
#include "vltapi/util.h"

namespace vlt {
namespace {

constexpr int kSchemaVersion = 1;
constexpr const char* kFormat = "vlt-repository";

const char* const kSchema = R"SQL(
CREATE TABLE repo_meta(key TEXT PRIMARY KEY, value TEXT NOT NULL);
CREATE TABLE settings(key TEXT PRIMARY KEY, value TEXT NOT NULL);
CREATE TABLE nodes(
    id INTEGER PRIMARY KEY,
    name TEXT NOT NULL UNIQUE,
    pw_salt BLOB NOT NULL,
    pw_hash BLOB NOT NULL,
    pw_iter INTEGER NOT NULL,
    pw_set INTEGER NOT NULL,
    back_del INTEGER NOT NULL,
    arch_del INTEGER NOT NULL);
CREATE TABLE filespaces(
    id INTEGER PRIMARY KEY,
    node_id INTEGER NOT NULL,
    name TEXT NOT NULL,
    type TEXT NOT NULL,
    info BLOB NOT NULL,
    capacity INTEGER NOT NULL,
    occupancy INTEGER NOT NULL,
    reg_date INTEGER NOT NULL,
    back_start INTEGER NOT NULL,
    back_complete INTEGER NOT NULL,
    UNIQUE(node_id, name));
CREATE TABLE objects(
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    node_id INTEGER NOT NULL,
    fs_id INTEGER NOT NULL,
    hl TEXT NOT NULL,
    ll TEXT NOT NULL,
    type INTEGER NOT NULL,
    owner TEXT NOT NULL,
    mc TEXT NOT NULL,
    ins_date INTEGER NOT NULL,
    deact_date INTEGER NOT NULL,
    size INTEGER NOT NULL,
    state INTEGER NOT NULL,
    has_data INTEGER NOT NULL,
    info BLOB NOT NULL);
-- Every column: a query walks a file space's objects in name order from the
-- index alone, instead of fetching each row by its id.
CREATE INDEX objects_name ON objects(node_id, fs_id, hl, ll, id, type, owner, mc, ins_date,
    deact_date, size, state, has_data, info);
CREATE TABLE object_data(
    obj_id INTEGER NOT NULL,
    seq INTEGER NOT NULL,
    chunk BLOB NOT NULL,
    PRIMARY KEY(obj_id, seq)) WITHOUT ROWID;
CREATE TABLE actlog(
    id INTEGER PRIMARY KEY,
    date INTEGER NOT NULL,
    node TEXT NOT NULL,
    severity INTEGER NOT NULL,
    msg_id TEXT NOT NULL,
    text TEXT NOT NULL,
    obj_id INTEGER NOT NULL);
)SQL";

constexpr const char* kObjectColumns =
    "id, node_id, fs_id, hl, ll, type, owner, mc, ins_date, deact_date, size, state, has_data, "
    "info";

Rc mapRc(int src) {
    switch (src & 0xff) {
        case SQLITE_BUSY:
        case SQLITE_LOCKED:
            return RVK_RC_SERVER_BUSY;
        case SQLITE_NOTADB:
            return RVK_RC_REPOSITORY_VERSION;
        case SQLITE_NOMEM:
            return RVK_RC_NO_MEMORY;
        case SQLITE_CANTOPEN:
            return RVK_RC_COMM_FAILURE;
        default:
            return RVK_RC_REPOSITORY_ERROR;
    }
}

std::string colText(sqlite3_stmt* s, int i) {
    std::string t;
    colInto(s, i, t, false);
    return t;
}

void readObject(sqlite3_stmt* s, ObjectRecord& o) {
    readColumns(s, o.id, o.nodeId, o.fsId, o.hl, o.ll, o.type, o.owner, o.mc, o.insDate,
                o.deactDate, o.size, o.state, o.hasData, BlobOut{o.info});
}

void readNode(sqlite3_stmt* s, NodeRecord& n) {
    readColumns(s, n.id, n.name, BlobOut{n.pwSalt}, BlobOut{n.pwHash}, n.pwIterations, n.pwSetTime,
                n.backDel, n.archDel);
}

void readFs(sqlite3_stmt* s, FsRecord& f) {
    readColumns(s, f.id, f.nodeId, f.name, f.type, BlobOut{f.info}, f.capacity, f.occupancy,
                f.regDate, f.backStart, f.backComplete);
}

void noBind(sqlite3_stmt*) {}

constexpr const char* kNodeColumns =
    "id, name, pw_salt, pw_hash, pw_iter, pw_set, back_del, arch_del";
constexpr const char* kFsColumns =
    "id, node_id, name, type, info, capacity, occupancy, reg_date, back_start, back_complete";

// The columns a record writes: those of `columns` but the first, the row id,
// which SQLite assigns; with `idLast`, the id follows them.
std::vector<std::string> writtenColumns(const char* columns, bool idLast) {
    std::vector<std::string> out;
    std::string all = columns;
    size_t at = all.find(", ") + 2;  // past "id"
    while (at < all.size()) {
        size_t comma = all.find(", ", at);
        if (comma == std::string::npos) comma = all.size();
        out.push_back(all.substr(at, comma - at));
        at = comma + 2;
    }
    if (idLast) out.emplace_back("id");
    return out;
}

// "INSERT INTO table(c1, ..., cn) VALUES(?1, ..., ?n)" of the written columns.
std::string insertSql(const char* table, const char* columns, bool idLast = false) {
    std::string names, values;
    int i = 0;
    for (const std::string& c : writtenColumns(columns, idLast)) {
        if (i++) {
            names += ", ";
            values += ", ";
        }
        names += c;
        values += "?" + std::to_string(i);
    }
    return std::string("INSERT INTO ") + table + "(" + names + ") VALUES(" + values + ")";
}

// "UPDATE table SET c1 = ?1, ..., cn = ?n WHERE id = ?n+1" of the written
// columns.
std::string updateSql(const char* table, const char* columns) {
    std::string sql = std::string("UPDATE ") + table + " SET ";
    int i = 0;
    for (const std::string& c : writtenColumns(columns, false)) {
        if (i++) sql += ", ";
        sql += c + " = ?" + std::to_string(i);
    }
    return sql + " WHERE id = ?" + std::to_string(i + 1);
}

// Resets a cached statement when the scope that used it ends, so that no
// statement keeps a read snapshot open between calls.
class Used {
  public:
    explicit Used(sqlite3_stmt* s) : s_(s) {}
    ~Used() {
        if (s_) {
            sqlite3_reset(s_);
            sqlite3_clear_bindings(s_);
        }
    }
    Used(const Used&) = delete;
    Used& operator=(const Used&) = delete;
    sqlite3_stmt* get() const { return s_; }

  private:
    sqlite3_stmt* s_;
};

class SqliteStore;

class SqliteCursor : public ObjectCursor {
  public:
    SqliteCursor(SqliteStore* store, sqlite3_stmt* st) : store_(store), st_(st) {}
    ~SqliteCursor() override { sqlite3_finalize(st_); }
    Rc next(ObjectRecord& o, bool& have) override;

  private:
    SqliteStore* store_;
    sqlite3_stmt* st_;
};

class SqliteStore : public Store {
  public:
    explicit SqliteStore(sqlite3* db) : db_(db) {}
    ~SqliteStore() override {
        for (auto& kv : cache_) sqlite3_finalize(kv.second);
        if (inTxn_) sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr);
        sqlite3_close_v2(db_);
    }

    std::string lastError() const override { return lastError_; }
    std::string accessWarning() const override { return accessWarning_; }
    void setAccessWarning(const std::string& w) { accessWarning_ = w; }

    Rc fail(int src, const char* what) {
        lastError_ = std::string(what) + ": " + sqlite3_errmsg(db_);
        return mapRc(src);
    }

    // A cached prepared statement, keyed by the address of its text.
    Rc prep(const char* sql, sqlite3_stmt*& out) {
        auto it = cache_.find(sql);
        if (it != cache_.end()) {
            out = it->second;
            return RVK_RC_OK;
        }
        int r = sqlite3_prepare_v3(db_, sql, -1, SQLITE_PREPARE_PERSISTENT, &out, nullptr);
        if (r != SQLITE_OK) return fail(r, "prepare");
        cache_[sql] = out;
        return RVK_RC_OK;
    }

    // Takes a cached statement, binds its parameters and hands it to `use`;
    // the statement is reset when `use` returns.
    template <typename Bind, typename Use>
    Rc with(const char* sql, Bind bind, Use use) {
        sqlite3_stmt* s = nullptr;
        if (Rc rc = prep(sql, s)) return rc;
        Used u(s);
        bind(s);
        return use(s);
    }

    // Runs a cached statement that returns no rows.
    template <typename Bind>
    Rc run(const char* sql, const char* what, Bind bind) {
        return with(sql, bind, [&](sqlite3_stmt* s) -> Rc {
            int r = sqlite3_step(s);
            if (r != SQLITE_DONE && r != SQLITE_ROW) return fail(r, what);
            return RVK_RC_OK;
        });
    }

    // Runs a cached statement and reads its first row, if any, with `read`.
    // `found` tells whether there was a row; without `found` (null), a
    // statement that yields no row fails.
    template <typename Bind, typename Read>
    Rc stepRow(const char* sql, const char* what, bool* found, Bind bind, Read read) {
        return with(sql, bind, [&](sqlite3_stmt* s) -> Rc {
            int r = sqlite3_step(s);
            if (found) *found = r == SQLITE_ROW;
            if (r == SQLITE_ROW)
                read(s);
            else if (!found || r != SQLITE_DONE)
                return fail(r, what);
            return RVK_RC_OK;
        });
    }

    // Runs a cached statement and hands each of its rows to `read`.
    template <typename Bind, typename Read>
    Rc eachRow(const char* sql, const char* what, Bind bind, Read read) {
        return with(sql, bind, [&](sqlite3_stmt* s) -> Rc {
            int r;
            while ((r = sqlite3_step(s)) == SQLITE_ROW) read(s);
            return r == SQLITE_DONE ? RVK_RC_OK : fail(r, what);
        });
    }

    // Runs an update of a whole record: its columns from `bind`, its id as
    // the last parameter, ?idParam.
    template <typename Record>
    Rc update(const char* sql, const char* what, void (*bind)(sqlite3_stmt*, const Record&),
              const Record& r, int idParam, int64_t id) {
        return run(sql, what, [&](sqlite3_stmt* s) {
            bind(s, r);
            sqlite3_bind_int64(s, idParam, id);
        });
    }

    // Runs an insert of a whole record; `id` gets the new row's id.
    template <typename Record, typename Id>
    Rc insert(const char* sql, const char* what, void (*bind)(sqlite3_stmt*, const Record&),
              const Record& r, Id& id) {
        Rc rc = run(sql, what, [&](sqlite3_stmt* s) { bind(s, r); });
        if (rc == RVK_RC_OK) id = static_cast<Id>(sqlite3_last_insert_rowid(db_));
        return rc;
    }

    Rc exec(const char* sql, const char* what) {
        int r = sqlite3_exec(db_, sql, nullptr, nullptr, nullptr);
        return r == SQLITE_OK ? RVK_RC_OK : fail(r, what);
    }

    Rc begin(bool write) override {
        if (inTxn_) {
            lastError_ = "transaction already open";
            return RVK_RC_WRONG_STATE;
        }
        if (Rc rc = exec(write ? "BEGIN IMMEDIATE" : "BEGIN", "begin transaction")) return rc;
        inTxn_ = true;
        return RVK_RC_OK;
    }

    Rc commit() override {
        if (!inTxn_) return RVK_RC_OK;
        Rc rc = exec("COMMIT", "commit");
        if (rc != RVK_RC_OK) sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr);
        inTxn_ = false;
        return rc;
    }

    void rollback() override {
        if (!inTxn_) return;
        sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr);
        inTxn_ = false;
    }

    bool inTransaction() const override { return inTxn_; }

    Rc readSettings(ServerSettings& s) override {
        static const char* sql = "SELECT key, value FROM settings";
        ServerSettings out;
        Rc rc = eachRow(sql, "read settings", noBind, [&](sqlite3_stmt* st) {
            applySetting(out, colText(st, 0), colText(st, 1));
        });
        if (rc == RVK_RC_OK) s = out;
        return rc;
    }

    Rc writeSetting(const std::string& key, const std::string& value) override {
        static const char* sql = "INSERT OR REPLACE INTO settings(key, value) VALUES(?1, ?2)";
        return run(sql, "write setting", params(key, value));
    }

    Rc findNode(const std::string& name, NodeRecord& n, bool& found) override {
        static const std::string sqlText =
            std::string("SELECT ") + kNodeColumns + " FROM nodes WHERE name = ?1";
        return stepRow(sqlText.c_str(), "find node", &found, params(name),
                       [&](sqlite3_stmt* s) { readNode(s, n); });
    }

    Rc insertNode(NodeRecord& n) override {
        static const std::string sql = insertSql("nodes", kNodeColumns);
        return insert(sql.c_str(), "insert node", bindNode, n, n.id);
    }

    static void bindNode(sqlite3_stmt* s, const NodeRecord& n) {
        bindAll(s, n.name, BlobIn{n.pwSalt}, BlobIn{n.pwHash}, n.pwIterations, n.pwSetTime,
                n.backDel, n.archDel);
    }

    Rc updateNode(const NodeRecord& n) override {
        static const std::string sql = updateSql("nodes", kNodeColumns);
        return update(sql.c_str(), "update node", bindNode, n, 8, n.id);
    }

    Rc listNodes(std::vector<NodeRecord>& out) override {
        static const std::string sqlText =
            std::string("SELECT ") + kNodeColumns + " FROM nodes ORDER BY name";
        return eachRow(
            sqlText.c_str(), "list nodes", [&](sqlite3_stmt*) { out.clear(); },
            [&](sqlite3_stmt* s) {
                NodeRecord n;
                readNode(s, n);
                out.push_back(n);
            });
    }

    Rc listFileSpaces(int64_t nodeId, std::vector<FsRecord>& out) override {
        static const std::string sqlText = std::string("SELECT ") + kFsColumns +
                                           " FROM filespaces WHERE node_id = ?1 ORDER BY name";
        return eachRow(
            sqlText.c_str(), "list file spaces",
            [&](sqlite3_stmt* s) {
                sqlite3_bind_int64(s, 1, nodeId);
                out.clear();
            },
            [&](sqlite3_stmt* s) {
                FsRecord f;
                readFs(s, f);
                out.push_back(f);
            });
    }

    Rc findFileSpace(int64_t nodeId, const std::string& name, FsRecord& fs, bool& found) override {
        static const std::string sqlText = std::string("SELECT ") + kFsColumns +
                                           " FROM filespaces WHERE node_id = ?1 AND name = ?2";
        return stepRow(sqlText.c_str(), "find file space", &found, params(nodeId, name),
                       [&](sqlite3_stmt* s) { readFs(s, fs); });
    }

    static void bindFs(sqlite3_stmt* s, const FsRecord& f) {
        bindAll(s, f.nodeId, f.name, f.type, BlobIn{f.info}, f.capacity, f.occupancy, f.regDate,
                f.backStart, f.backComplete);
    }

    Rc insertFileSpace(FsRecord& fs) override {
        static const std::string sql = insertSql("filespaces", kFsColumns);
        return insert(sql.c_str(), "insert file space", bindFs, fs, fs.id);
    }

    Rc updateFileSpace(const FsRecord& fs) override {
        static const std::string sql = updateSql("filespaces", kFsColumns);
        return update(sql.c_str(), "update file space", bindFs, fs, 10, fs.id);
    }

    Rc deleteFileSpace(int64_t fsId, uint64_t& objectsDeleted) override {
        static const char* sqlData =
            "DELETE FROM object_data WHERE obj_id IN (SELECT o.id FROM objects o JOIN filespaces f "
            "ON o.node_id = f.node_id AND o.fs_id = f.id WHERE f.id = ?1)";
        static const char* sqlObjects =
            "DELETE FROM objects WHERE node_id = (SELECT node_id FROM filespaces WHERE id = ?1) "
            "AND fs_id = ?1";
        static const char* sqlFs = "DELETE FROM filespaces WHERE id = ?1";
        auto bindId = params(fsId);
        if (Rc rc = run(sqlData, "delete file space data", bindId)) return rc;
        if (Rc rc = run(sqlObjects, "delete file space objects", bindId)) return rc;
        objectsDeleted = static_cast<uint64_t>(sqlite3_changes(db_));
        return run(sqlFs, "delete file space", bindId);
    }

    Rc openObjects(const ObjectQuery& q, std::unique_ptr<ObjectCursor>& out) override {
        std::string sql =
            std::string("SELECT ") + kObjectColumns + " FROM objects WHERE node_id = ?1";
        if (q.fsId) sql += " AND fs_id = ?2";
        if (q.hlExact) sql += " AND hl = ?3";
        if (q.llExact) sql += " AND ll = ?4";
        if (q.pit == 0) {
            if (q.state != 0xFF) sql += " AND state = ?5";
        } else {
            sql += " AND ins_date <= ?6";
            if (q.state == RVK_STATE_ACTIVE)
                sql += " AND (deact_date = 0 OR deact_date > ?6)";
            else if (q.state == RVK_STATE_INACTIVE)
                sql += " AND deact_date <> 0 AND deact_date <= ?6";
        }
        if (q.objType != 0xFF) sql += " AND type = ?7";
        sql += q.fsId ? " ORDER BY hl, ll, id" : " ORDER BY id";
        sqlite3_stmt* st = nullptr;
        int r = sqlite3_prepare_v2(db_, sql.c_str(), -1, &st, nullptr);
        if (r != SQLITE_OK) return fail(r, "prepare object query");
        bindAll(st, q.nodeId, q.fsId, q.hl, q.ll, q.state, q.pit, q.objType);
        out.reset(new SqliteCursor(this, st));
        return RVK_RC_OK;
    }

    Rc findObject(uint64_t id, ObjectRecord& o, bool& found) override {
        static const std::string sqlText =
            std::string("SELECT ") + kObjectColumns + " FROM objects WHERE id = ?1";
        return stepRow(sqlText.c_str(), "find object", &found, params(id),
                       [&](sqlite3_stmt* s) { readObject(s, o); });
    }

    Rc findActiveObject(int64_t nodeId, int64_t fsId, const std::string& hl, const std::string& ll,
                        ObjectRecord& o, bool& found) override {
        static const std::string sqlText =
            std::string("SELECT ") + kObjectColumns +
            " FROM objects WHERE node_id = ?1 AND fs_id = ?2 AND hl = ?3 AND "
            "ll = ?4 AND state = 1 ORDER BY id DESC LIMIT 1";
        return stepRow(sqlText.c_str(), "find active object", &found, params(nodeId, fsId, hl, ll),
                       [&](sqlite3_stmt* s) { readObject(s, o); });
    }

    static void bindObject(sqlite3_stmt* s, const ObjectRecord& o) {
        bindAll(s, o.nodeId, o.fsId, o.hl, o.ll, o.type, o.owner, o.mc, o.insDate, o.deactDate,
                o.size, o.state, o.hasData, BlobIn{o.info});
    }

    Rc insertObject(ObjectRecord& o) override {
        static const char* sqlDeactivate =
            "UPDATE objects SET state = 2, deact_date = max(ins_date, ?5) "
            "WHERE node_id = ?1 AND fs_id = ?2 AND hl = ?3 AND ll = ?4 AND state = 1";
        static const std::string sqlInsert = insertSql("objects", kObjectColumns);
        Rc rc = run(sqlDeactivate, "deactivate object",
                    params(o.nodeId, o.fsId, o.hl, o.ll, o.insDate));
        if (rc) return rc;
        o.state = RVK_STATE_ACTIVE;
        o.deactDate = 0;
        return insert(sqlInsert.c_str(), "insert object", bindObject, o, o.id);
    }

    Rc insertObjectAsIs(const ObjectRecord& o) override {
        static const std::string sql = insertSql("objects", kObjectColumns, true);
        return update(sql.c_str(), "copy object", bindObject, o, 14, static_cast<int64_t>(o.id));
    }

    Rc updateObject(const ObjectRecord& o) override {
        static const std::string sql = updateSql("objects", kObjectColumns);
        return update(sql.c_str(), "update object", bindObject, o, 14, static_cast<int64_t>(o.id));
    }

    // The data table is visited only for an object that has data: an
    // object's chunks are stored in the transaction that sets has_data.
    Rc deleteObject(uint64_t id, bool& changed) override {
        static const char* sqlObject = "DELETE FROM objects WHERE id = ?1 RETURNING has_data";
        bool hasData = false;
        if (Rc rc = stepRow(sqlObject, "delete object", &changed, params(id),
                            [&](sqlite3_stmt* s) { hasData = sqlite3_column_int(s, 0) != 0; }))
            return rc;
        return hasData ? deleteData(id) : RVK_RC_OK;
    }

    // Deletes and reads the object in one statement: no read of the row
    // before it goes, and only the columns the caller is given.
    Rc deleteNodeObject(int64_t nodeId, uint64_t id, ObjectRecord& o, bool& found) override {
        static const char* sql =
            "DELETE FROM objects WHERE id = ?1 AND node_id = ?2 RETURNING fs_id, hl, ll, has_data";
        if (Rc rc = stepRow(sql, "delete object", &found, params(id, nodeId), [&](sqlite3_stmt* s) {
                readColumns(s, o.fsId, o.hl, o.ll, o.hasData);
                o.id = id;
                o.nodeId = nodeId;
            }))
            return rc;
        return found && o.hasData ? deleteData(id) : RVK_RC_OK;
    }

    Rc deleteData(uint64_t id) {
        static const char* sql = "DELETE FROM object_data WHERE obj_id = ?1";
        return run(sql, "delete object data", params(id));
    }

    Rc countObjects(int64_t nodeId, uint64_t& n) override {
        static const char* sql = "SELECT count(*) FROM objects WHERE node_id = ?1";
        return stepRow(sql, "count objects", nullptr, params(nodeId), [&](sqlite3_stmt* s) {
            n = static_cast<uint64_t>(sqlite3_column_int64(s, 0));
        });
    }

    Rc appendData(uint64_t objId, uint32_t seq, const void* data, size_t len) override {
        static const char* sql = "INSERT INTO object_data(obj_id, seq, chunk) VALUES(?1, ?2, ?3)";
        return run(sql, "store object data", [&](sqlite3_stmt* s) {
            sqlite3_bind_int64(s, 1, static_cast<int64_t>(objId));
            sqlite3_bind_int64(s, 2, seq);
            sqlite3_bind_blob(s, 3, data, static_cast<int>(len), SQLITE_STATIC);
        });
    }

    Rc readData(uint64_t objId, uint32_t seq, std::string& chunk, bool& found) override {
        static const char* sql = "SELECT chunk FROM object_data WHERE obj_id = ?1 AND seq = ?2";
        return stepRow(sql, "read object data", &found, params(objId, static_cast<int64_t>(seq)),
                       [&](sqlite3_stmt* s) { readColumns(s, BlobOut{chunk}); });
    }

    Rc appendActLog(const ActLogRecord& a) override {
        static const char* sql =
            "INSERT INTO actlog(date, node, severity, msg_id, text, obj_id) VALUES(?1, ?2, ?3, ?4, "
            "?5, ?6)";
        return run(sql, "write activity log",
                   params(a.date, a.node, a.severity, a.msgId, a.text, a.objId));
    }

    Rc listActLog(const std::function<void(const ActLogRecord&)>& fn) override {
        static const char* sql =
            "SELECT date, node, severity, msg_id, text, obj_id FROM actlog ORDER BY id";
        return eachRow(sql, "read activity log", noBind, [&](sqlite3_stmt* s) {
            ActLogRecord a;
            readColumns(s, a.date, a.node, a.severity, a.msgId, a.text, a.objId);
            fn(a);
        });
    }

    // A cache big enough that the pages of a million-object load are written
    // once at commit instead of being spilled again and again.
    void prepareBulkLoad() override {
        sqlite3_exec(db_, "PRAGMA cache_size = -262144", nullptr, nullptr, nullptr);
    }

    // Checks that the file is a repository of this version.
    Rc checkFormat(std::string& err) {
        sqlite3_stmt* st = nullptr;
        int r = sqlite3_prepare_v2(db_, "SELECT value FROM repo_meta WHERE key = 'format'", -1, &st,
                                   nullptr);
        std::string format;
        if (r == SQLITE_OK) {
            r = sqlite3_step(st);
            if (r == SQLITE_ROW) format = colText(st, 0);
        }
        sqlite3_finalize(st);
        if ((r & 0xff) == SQLITE_BUSY) {
            err = "repository is busy";
            return RVK_RC_SERVER_BUSY;
        }
        if (format != kFormat) {
            err = "not a VLT repository";
            return RVK_RC_REPOSITORY_VERSION;
        }
        int version = -1;
        r = sqlite3_prepare_v2(db_, "PRAGMA user_version", -1, &st, nullptr);
        if (r == SQLITE_OK && sqlite3_step(st) == SQLITE_ROW) version = sqlite3_column_int(st, 0);
        sqlite3_finalize(st);
        if (version != kSchemaVersion) {
            err = "repository version " + std::to_string(version) +
                  ", this library reads version " + std::to_string(kSchemaVersion);
            return RVK_RC_REPOSITORY_VERSION;
        }
        return RVK_RC_OK;
    }

    sqlite3* db() const { return db_; }

  private:
    sqlite3* db_;
    std::unordered_map<const void*, sqlite3_stmt*> cache_;
    std::string lastError_;
    std::string accessWarning_;
    bool inTxn_ = false;
};

Rc SqliteCursor::next(ObjectRecord& o, bool& have) {
    int r = sqlite3_step(st_);
    if (r == SQLITE_ROW) {
        readObject(st_, o);
        have = true;
        return RVK_RC_OK;
    }
    have = false;
    if (r == SQLITE_DONE) return RVK_RC_OK;
    return store_->fail(r, "read objects");
}

// Opens the database file; a failure is described after `prefix`.
Rc openDatabase(const std::string& file, int flags, const std::string& prefix, sqlite3*& db,
                std::string& err) {
    db = nullptr;
    // The log's writes are gathered into large ones (sqlite_walbuffer.h).
    int r = sqlite3_open_v2(file.c_str(), &db, flags, walBufferVfsName());
    if (r == SQLITE_OK) return RVK_RC_OK;
    err = prefix + (db ? sqlite3_errmsg(db) : sqlite3_errstr(r));
    sqlite3_close_v2(db);
    db = nullptr;
    return RVK_RC_COMM_FAILURE;
}

// Makes the file, private to its owner, before SQLite opens it: SQLite
// would make it with the umask's mode, and gives its write-ahead log and
// shared-memory files the mode of the database file.
Rc makePrivateFile(const std::string& tmp, const std::string& path, std::string& err) {
    int fd = open(tmp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0 || fchmod(fd, 0600) != 0) {
        err = "cannot create " + path + ": " + strerror(errno);
        if (fd >= 0) {
            close(fd);
            unlink(tmp.c_str());
        }
        return RVK_RC_REPOSITORY_ERROR;
    }
    close(fd);
    return RVK_RC_OK;
}

// The tables, the first object id, the format and version marks and the
// initial settings, in one transaction.
Rc writeNewRepository(SqliteStore& s, const ServerSettings& initial) {
    Rc rc = s.exec("PRAGMA journal_mode = WAL", "set WAL mode");
    if (!rc) rc = s.begin(true);
    if (!rc) rc = s.exec(kSchema, "create tables");
    if (!rc) {
        std::string seq = "INSERT INTO sqlite_sequence(name, seq) VALUES('objects', " +
                          std::to_string(kFirstObjectId - 1) + ")";
        rc = s.exec(seq.c_str(), "set first object id");
    }
    if (!rc)
        rc = s.exec(
            ("INSERT INTO repo_meta(key, value) VALUES('format', '" + std::string(kFormat) + "')")
                .c_str(),
            "write format");
    if (!rc)
        rc = s.exec(("PRAGMA user_version = " + std::to_string(kSchemaVersion)).c_str(),
                    "write version");
    ServerSettings settings = initial;
    if (settings.created == 0) settings.created = nowDate();
    for (auto& kv : settingsList(settings)) {
        if (rc) break;
        rc = s.writeSetting(kv.first, kv.second);
    }
    if (!rc) rc = s.commit();
    if (rc) s.rollback();
    return rc;
}

}  // namespace

Rc openSqliteStore(const std::string& path, int busyTimeoutMs, std::unique_ptr<Store>& out,
                   std::string& err) {
    struct stat st;
    if (stat(path.c_str(), &st) != 0) {
        err = "repository " + path + " cannot be opened: " + strerror(errno);
        return RVK_RC_COMM_FAILURE;
    }
    if (!S_ISREG(st.st_mode)) {
        err = "repository " + path + " is not a file";
        return RVK_RC_COMM_FAILURE;
    }
    sqlite3* db = nullptr;
    if (Rc rc = openDatabase(path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX,
                             "repository " + path + " cannot be opened: ", db, err))
        return rc;
    sqlite3_busy_timeout(db, busyTimeoutMs);
    sqlite3_extended_result_codes(db, 1);
    std::unique_ptr<SqliteStore> s(new SqliteStore(db));
    std::string why;
    if (Rc rc = s->checkFormat(why)) {
        err = "repository " + path + ": " + why;
        return rc;
    }
    if (Rc rc = s->exec("PRAGMA synchronous = FULL", "set synchronous")) {
        err = s->lastError();
        return rc;
    }
    // Reads straight from the mapped file instead of a read() per page (a
    // query walks the name index and fetches each row by id), and a larger
    // page cache for what is not mapped. Both are only hints: SQLite maps
    // less, or nothing, where the address space is short.
    sqlite3_exec(s->db(), "PRAGMA mmap_size = 2147418112", nullptr, nullptr, nullptr);
    sqlite3_exec(s->db(), "PRAGMA cache_size = -65536", nullptr, nullptr, nullptr);
    // Deleting thousands of objects spread over the repository changes
    // hundreds of pages a transaction: at the default of 1,000 pages the
    // log would be copied back into the file, with syncs of its own, every
    // few commits. 16,384 pages (64 MB of log at most) do it far less
    // often; each commit is still synced.
    sqlite3_exec(s->db(), "PRAGMA wal_autocheckpoint = 16384", nullptr, nullptr, nullptr);
    if (st.st_mode & (S_IRWXG | S_IRWXO)) {
        char mode[8];
        snprintf(mode, sizeof mode, "%04o", static_cast<unsigned>(st.st_mode & 07777));
        s->setAccessWarning("repository " + path + " has mode " + mode +
                            ": other users may read its password hashes and objects (chmod 600 " +
                            path + ")");
    }
    out = std::move(s);
    return RVK_RC_OK;
}

Rc createSqliteStore(const std::string& path, const ServerSettings& initial, std::string& err) {
    struct stat st;
    if (stat(path.c_str(), &st) == 0) {
        err = "repository " + path + " already exists";
        return RVK_RC_INVALID_ARGUMENT;
    }
    // Build the repository under a temporary name and link it into place
    // only when it is complete: no half-made repository is ever visible, and
    // link() never replaces a repository made meanwhile by someone else.
    std::string tmp = path + ".new." + std::to_string(getpid());
    unlink(tmp.c_str());
    if (Rc rc = makePrivateFile(tmp, path, err)) return rc;
    sqlite3* db = nullptr;
    if (openDatabase(tmp, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE,
                     "cannot create " + path + ": ", db, err)) {
        unlink(tmp.c_str());
        return RVK_RC_REPOSITORY_ERROR;
    }
    std::unique_ptr<SqliteStore> sp(new SqliteStore(db));
    Rc rc = writeNewRepository(*sp, initial);
    if (rc) err = "cannot create " + path + ": " + sp->lastError();
    // Closing the last connection folds the write-ahead log into the file.
    sp.reset();
    if (!rc && link(tmp.c_str(), path.c_str()) != 0) {
        err = "cannot create " + path + ": " + strerror(errno);
        rc = errno == EEXIST ? RVK_RC_INVALID_ARGUMENT : RVK_RC_REPOSITORY_ERROR;
    }
    unlink(tmp.c_str());
    unlink((tmp + "-wal").c_str());
    unlink((tmp + "-shm").c_str());
    return rc;
}

}  // namespace vlt
