// The repository in a PostgreSQL database.
//
// A write transaction takes, at its start, an advisory lock of its node
// (a node's session) or of the whole repository (the administrator), and
// waits for it at most the busy time-out (lock_timeout): two writers of
// one node never interleave, as with the embedded store's write lock, while
// different nodes write side by side. A query reads through a server-side
// cursor in batches, so that a million objects never sit in memory at once;
// one that its caller reads without other calls in between (the library's
// queries) is a COPY instead, which the server sends as it goes, at less
// cost than a cursor's batches.
//
// Deletions of objects the session has seen in its own queries are held
// back and go to the server many in one statement (when enough are held,
// before any statement that waits for its answer, and at the commit), sent
// in pipeline mode without waiting; the answers are read at the commit at
// the latest. A transaction of the server's maximum of deletions then costs
// a few round trips and one statement rather than one of each per object.
// Such an object was there when the session looked; if another session
// deleted it meanwhile, the commit says so (RVK_RC_OBJ_NOT_FOUND) and rolls
// back. Any other object is deleted at once, its absence reported at the
// call.
#include "vltapi/pg_store.h"

#include <stdlib.h>
#include <string.h>

#include <unordered_set>

#include "rvkapi.h"
#include "vltapi/pg_conn.h"
#include "vltapi/seen_ids.h"

namespace vlt {
namespace {

constexpr const char* kObjectColumns =
    "id, node_id, fs_id, hl, ll, type, owner, mc, ins_date, deact_date, size, state, has_data, "
    "info";
constexpr const char* kNodeColumns =
    "id, name, pw_salt, pw_hash, pw_iter, pw_set, back_del, arch_del";
constexpr const char* kFsColumns =
    "id, node_id, name, type, info, capacity, occupancy, reg_date, back_start, back_complete";
constexpr int kFetchRows = 5000;

// One statement deletes held-back objects of node $2 with their data and
// writes an activity-log row for each, in the order given, the text ending
// in the object's file space and names. It returns the ids it did not find.
constexpr const char* kDeleteAndLog =
    "WITH want AS (SELECT * FROM unnest($1::bigint[], $3::bigint[], $4::text[], $5::int[], "
    "$6::text[], $7::text[]) WITH ORDINALITY AS w(id, date, node, severity, msg_id, text, n)), "
    "gone AS (DELETE FROM objects o USING want w WHERE o.node_id = $2 AND o.id = w.id RETURNING "
    "o.id, o.fs_id, o.hl, o.ll), data AS (DELETE FROM object_data WHERE obj_id IN (SELECT id "
    "FROM gone)), logged AS (INSERT INTO actlog(date, node, severity, msg_id, text, obj_id) "
    "SELECT w.date, w.node, w.severity, w.msg_id, w.text || coalesce(f.name, '') || g.hl || "
    "g.ll, g.id FROM want w JOIN gone g ON g.id = w.id LEFT JOIN filespaces f ON f.id = g.fs_id "
    "ORDER BY w.n) SELECT w.id FROM want w WHERE NOT EXISTS (SELECT 1 FROM gone g WHERE g.id = "
    "w.id) ORDER BY w.n";
// Held-back deletions sent in one statement at most.
constexpr size_t kDeletionsPerStatement = 1000;

// Field readers of one result row.
struct Row {
    const PGresult* r;
    int i;
    std::string text(int c) const {
        return std::string(PQgetvalue(r, i, c), static_cast<size_t>(PQgetlength(r, i, c)));
    }
    void text(int c, std::string& to) const {
        to.assign(PQgetvalue(r, i, c), static_cast<size_t>(PQgetlength(r, i, c)));
    }
    int64_t num(int c) const { return pgNumber(PQgetvalue(r, i, c)); }
    bool flag(int c) const { return PQgetvalue(r, i, c)[0] == 't'; }
    std::string bytes(int c) const { return pgBytea(PQgetvalue(r, i, c), PQgetlength(r, i, c)); }
};

void readObject(const Row& w, ObjectRecord& o) {
    o.id = static_cast<uint64_t>(w.num(0));
    o.nodeId = w.num(1);
    o.fsId = w.num(2);
    o.hl = w.text(3);
    o.ll = w.text(4);
    o.type = static_cast<int>(w.num(5));
    o.owner = w.text(6);
    o.mc = w.text(7);
    o.insDate = w.num(8);
    o.deactDate = w.num(9);
    o.size = static_cast<uint64_t>(w.num(10));
    o.state = static_cast<int>(w.num(11));
    o.hasData = w.flag(12);
    o.info = w.bytes(13);
}

void readNode(const Row& w, NodeRecord& n) {
    n.id = w.num(0);
    n.name = w.text(1);
    n.pwSalt = w.bytes(2);
    n.pwHash = w.bytes(3);
    n.pwIterations = static_cast<int>(w.num(4));
    n.pwSetTime = w.num(5);
    n.backDel = w.flag(6);
    n.archDel = w.flag(7);
}

void readFs(const Row& w, FsRecord& f) {
    f.id = w.num(0);
    f.nodeId = w.num(1);
    f.name = w.text(2);
    f.type = w.text(3);
    f.info = w.bytes(4);
    f.capacity = static_cast<uint64_t>(w.num(5));
    f.occupancy = static_cast<uint64_t>(w.num(6));
    f.regDate = w.num(7);
    f.backStart = w.num(8);
    f.backComplete = w.num(9);
}

PgParam pgBool(bool b) {
    return pgText(b ? "t" : "f");
}

PgParam pgU64(uint64_t v) {
    return pgInt(static_cast<int64_t>(v));
}

std::vector<PgParam> objectParams(const ObjectRecord& o) {
    return {pgInt(o.nodeId), pgInt(o.fsId),     pgText(o.hl),     pgText(o.ll),       pgInt(o.type),
            pgText(o.owner), pgText(o.mc),      pgInt(o.insDate), pgInt(o.deactDate), pgU64(o.size),
            pgInt(o.state),  pgBool(o.hasData), pgBytes(o.info)};
}

std::vector<PgParam> fsParams(const FsRecord& f) {
    return {pgInt(f.nodeId),  pgText(f.name),     pgText(f.type),
            pgBytes(f.info),  pgU64(f.capacity),  pgU64(f.occupancy),
            pgInt(f.regDate), pgInt(f.backStart), pgInt(f.backComplete)};
}

class PgStore;

// What a query leaves out of its rows because it fixes the value: the
// node always, the file space, state and type when the query names them.
// Every column the server need not turn into text saves it time on each of
// a million rows.
struct FixedColumns {
    ObjectRecord values;
    bool fs = false, state = false, type = false;
};

FixedColumns fixedColumns(const ObjectQuery& q) {
    FixedColumns f;
    f.values.nodeId = q.nodeId;
    f.values.fsId = q.fsId;
    f.fs = q.fsId != 0;
    f.values.state = q.state;
    f.state = q.pit == 0 && q.state != 0xFF;
    f.values.type = q.objType;
    f.type = q.objType != 0xFF;
    return f;
}

// The columns of a query's rows, those it does not fix at the end.
std::string queriedColumns(const FixedColumns& f) {
    std::string cols = "id, hl, ll, owner, mc, ins_date, deact_date, size, has_data, info";
    if (!f.fs) cols += ", fs_id";
    if (!f.state) cols += ", state";
    if (!f.type) cols += ", type";
    return cols;
}

// The fields of a row of a COPY, read like a Row.
struct CopyRow {
    const std::vector<PgField>& f;
    const PgField& at(int c) const { return f[static_cast<size_t>(c)]; }
    void text(int c, std::string& to) const { to.assign(at(c).data, at(c).size); }
    int64_t num(int c) const { return pgNumber(at(c).data); }
    bool flag(int c) const { return at(c).data[0] == 't'; }
    std::string bytes(int c) const { return pgBytea(at(c).data, static_cast<int>(at(c).size)); }
};

// Strings are assigned in place: the caller passes the same record for a
// whole query, and its buffers are then reused from row to row.
template <typename Fields>
void readQueried(const Fields& w, const FixedColumns& f, ObjectRecord& o) {
    o.id = static_cast<uint64_t>(w.num(0));
    w.text(1, o.hl);
    w.text(2, o.ll);
    w.text(3, o.owner);
    w.text(4, o.mc);
    o.insDate = w.num(5);
    o.deactDate = w.num(6);
    o.size = static_cast<uint64_t>(w.num(7));
    o.hasData = w.flag(8);
    o.info = w.bytes(9);
    int c = 10;
    o.nodeId = f.values.nodeId;
    o.fsId = f.fs ? f.values.fsId : w.num(c++);
    o.state = f.state ? f.values.state : static_cast<int>(w.num(c++));
    o.type = f.type ? f.values.type : static_cast<int>(w.num(c++));
}

class PgCursor : public ObjectCursor {
  public:
    // `seen` (may be null) learns the id of every object read.
    PgCursor(PgStore* store, std::string name, const FixedColumns& fixed, SeenIds* seen)
        : store_(store), name_(std::move(name)), fixed_(fixed), seen_(seen) {}
    ~PgCursor() override;
    Rc next(ObjectRecord& o, bool& have) override;

  private:
    Rc fetch();

    PgStore* store_;
    std::string name_;
    FixedColumns fixed_;
    SeenIds* seen_;
    PgResult batch_;
    PgResult ahead_;      // the next batch, asked for while this one is read
    bool asked_ = false;  // a FETCH for ahead_ is on its way
    int row_ = 0;
    bool last_ = false;  // the batch in hand is the last one
};

// A query read as one COPY: the server sends the rows as it finds them,
// without a cursor's batches, each of which it first writes aside and then
// reads again. For a caller that makes no other call of the store until the
// end, outside any transaction.
class PgStream : public ObjectCursor {
  public:
    // With `second`, the rows of the first half come from the store's
    // connection and those of the second half from `second`.
    PgStream(PgStore* store, const FixedColumns& fixed, SeenIds* seen, PgConn* second);
    // A stream dropped before its end is stopped.
    ~PgStream() override;
    Rc next(ObjectRecord& o, bool& have) override;

  private:
    PgStore* store_;
    FixedColumns fixed_;
    SeenIds* seen_;
    PgConn* reading_;  // the connection whose rows are being read
    PgConn* second_;   // the second half's, while the first is being read
    unsigned rows_ = 0;
    std::vector<PgField> fields_;
    bool done_ = false;
    Rc failed_ = RVK_RC_OK;
};

class PgStore : public Store {
  public:
    PgStore(std::unique_ptr<PgConn> c, bool asNode) : c_(std::move(c)), asNode_(asNode) {
        c_->beforeWaiting([this] { return sendDeletions(); });
    }
    // A store dropped inside a transaction leaves nothing of it behind.
    ~PgStore() override { abandon(); }

    PgConn& conn() { return *c_; }
    std::string lastError() const override { return c_->lastError(); }
    bool checksPasswords() const override { return true; }

    Rc begin(bool write) override {
        if (inTxn_ || cursors_ > 0) {
            c_->setError("transaction already open");
            return RVK_RC_WRONG_STATE;
        }
        if (!write) {
            if (Rc rc = c_->exec("BEGIN", "begin transaction")) return rc;
            inTxn_ = true;
            return RVK_RC_OK;
        }
        // Nodes share the repository lock and hold their own; the
        // administrator holds the repository lock alone. One round trip
        // begins and locks.
        Rc rc = asNode_ ? c_->exec(
                              "BEGIN; SELECT pg_advisory_xact_lock_shared(7031, 0), "
                              "pg_advisory_xact_lock(7032, hashtext(current_user))",
                              "lock the node")
                        : c_->exec("BEGIN; SELECT pg_advisory_xact_lock(7031, 0)",
                                   "lock the repository");
        inTxn_ = true;
        if (rc) rollback();
        return rc;
    }

    Rc commit() override {
        if (!inTxn_) return RVK_RC_OK;
        Rc rc = sendDeletions();
        if (rc == RVK_RC_OK) rc = flushActLog();
        if (rc == RVK_RC_OK) rc = c_->drain();
        if (rc == RVK_RC_OK && !c_->reported().empty()) {
            c_->setError("delete: object id " + std::to_string(c_->reported().front()) +
                         " not found: another session deleted it after this one read it");
            rc = RVK_RC_OBJ_NOT_FOUND;
        }
        if (rc) {
            rollback();
            return rc;
        }
        heldIds_.clear();
        rc = c_->exec("COMMIT", "commit");
        // A COMMIT of a failed transaction answers "ROLLBACK" without error.
        if (rc == RVK_RC_OK && c_->status() == "ROLLBACK") {
            c_->setError("commit: the transaction had failed and was rolled back");
            rc = RVK_RC_REPOSITORY_ERROR;
        }
        inTxn_ = false;
        return rc;
    }

    void rollback() override { abandon(); }

    bool inTransaction() const override { return inTxn_; }

  private:
    void abandon() {
        pendingLog_.clear();
        held_.clear();
        heldIds_.clear();
        c_->discard();
        if (!inTxn_) return;
        if (!c_->broken()) c_->exec("ROLLBACK", "rollback");
        inTxn_ = false;
    }

  public:
    // Cursors outside a transaction run in one of their own, which ends
    // with the last of them.
    Rc cursorOpened() {
        if (!inTxn_ && cursors_ == 0) {
            if (Rc rc = c_->exec("BEGIN ISOLATION LEVEL REPEATABLE READ", "begin query")) return rc;
        }
        ++cursors_;
        return RVK_RC_OK;
    }

    void cursorClosed(const std::string& name) {
        if (c_->broken()) return;
        c_->exec("CLOSE " + name, "close cursor");
        if (--cursors_ == 0 && !inTxn_) c_->exec("COMMIT", "end query");
    }

    // A stream runs in a transaction of its own, which a stream stopped or
    // failed has spoiled.
    void streamClosed(bool complete) {
        endSecondHalf(complete);
        if (!complete) c_->stopCopy();
        if (c_->broken()) return;
        --cursors_;
        c_->exec(complete ? "COMMIT" : "ROLLBACK", "end query");
    }

    // A query of many objects in name order costs the server about a
    // microsecond an object, twice what the client needs for it: the server
    // is what the reader waits for. So a large one runs as two COPYs, on
    // this connection and a second one that shares this transaction's
    // snapshot (both see the same objects), split at the median name of a
    // sample: two server processes produce the halves side by side, and the
    // second half waits in the client's memory while the first is read.
    // Nothing is split when the sample is small, or when a second
    // connection cannot be had: the query then runs whole, on this one.
    //
    // On return, `second` is null or the connection whose COPY of the
    // second half runs, and `bound` is what the first half adds to its
    // conditions. A failure of this connection is returned; one of the
    // second connection just leaves the query whole.
    Rc startSecondHalf(const std::string& select, const std::string& where,
                       const std::string& order, std::string& bound, PgConn*& second) {
        // Some 1,000 sampled objects: about 100,000 in all.
        const int kSampledToSplit = 1000;
        second = nullptr;
        if (noHelper_) return RVK_RC_OK;
        PgResult sample;
        if (Rc rc = c_->execOnce(
                "SELECT hl, ll, id FROM objects TABLESAMPLE SYSTEM (1)" + where + order, {},
                "sample objects", &sample))
            return rc;
        int n = PQntuples(sample.get());
        if (n < kSampledToSplit) return RVK_RC_OK;
        Row mid{sample.get(), n / 2};
        std::string at = "(" + c_->quoteLiteral(mid.text(0)) + ", " +
                         c_->quoteLiteral(mid.text(1)) + ", " + mid.text(2) + ")";
        PgResult snapshot;
        if (Rc rc = c_->exec("SELECT pg_export_snapshot()", "export snapshot", &snapshot))
            return rc;
        if (!helper_) {
            std::string err;
            if (c_->twin(helper_, err)) {
                helper_.reset();
                noHelper_ = true;
                return RVK_RC_OK;
            }
        }
        Row id{snapshot.get(), 0};
        helperReading_ = true;
        if (helper_->exec("BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY; SET TRANSACTION "
                          "SNAPSHOT " +
                              helper_->quoteLiteral(id.text(0)),
                          "share the snapshot") ||
            helper_->copyOut(
                "COPY (" + select + where + " AND (hl, ll, id) >= " + at + order + ") TO STDOUT",
                "query objects")) {
            endSecondHalf(false);
            return RVK_RC_OK;
        }
        bound = "(hl, ll, id) < " + at;
        second = helper_.get();
        return RVK_RC_OK;
    }

    // Ends the second connection's transaction; a connection that failed
    // is dropped (the next split query opens another).
    void endSecondHalf(bool complete) {
        if (!helperReading_) return;
        helperReading_ = false;
        if (!complete) helper_->stopCopy();
        if (helper_->broken() || helper_->exec(complete ? "COMMIT" : "ROLLBACK", "end query"))
            helper_.reset();
    }

    Rc readSettings(ServerSettings& s) override {
        ServerSettings out;
        PgResult rows;
        if (Rc rc = c_->exec("SELECT key, value FROM settings", "read settings", &rows)) return rc;
        for (int i = 0; i < PQntuples(rows.get()); ++i) {
            Row w{rows.get(), i};
            applySetting(out, w.text(0), w.text(1));
        }
        s = out;
        return RVK_RC_OK;
    }

    Rc writeSetting(const std::string& key, const std::string& value) override {
        return c_->exec(
            "INSERT INTO settings(key, value) VALUES($1, $2) ON CONFLICT (key) DO UPDATE SET "
            "value = excluded.value",
            {pgText(key), pgText(value)}, "write setting");
    }

    // Runs a kept statement and reads its first row, if any.
    template <typename Read>
    Rc oneRow(const std::string& sql, const std::vector<PgParam>& params, const char* what,
              bool& found, Read read) {
        PgResult r;
        if (Rc rc = c_->exec(sql, params, what, &r)) return rc;
        found = PQntuples(r.get()) > 0;
        if (found) read(Row{r.get(), 0});
        return RVK_RC_OK;
    }

    template <typename Read>
    Rc allRows(const std::string& sql, const std::vector<PgParam>& params, const char* what,
               Read read) {
        PgResult r;
        if (Rc rc = c_->exec(sql, params, what, &r)) return rc;
        for (int i = 0; i < PQntuples(r.get()); ++i) read(Row{r.get(), i});
        return RVK_RC_OK;
    }

    Rc findNode(const std::string& name, NodeRecord& n, bool& found) override {
        return oneRow(std::string("SELECT ") + kNodeColumns + " FROM nodes WHERE name = $1",
                      {pgText(name)}, "find node", found, [&](const Row& w) { readNode(w, n); });
    }

    std::string roleOf(const std::string& node) { return pgNodeRole(c_->database(), node); }

    // The node's login role, made unless it exists (roles outlive a dropped
    // database), without a password until setServerPassword gives one.
    Rc insertNode(NodeRecord& n) override {
        std::string role = roleOf(n.name);
        PgResult r;
        if (Rc rc = c_->exec("SELECT 1 FROM pg_roles WHERE rolname = $1", {pgText(role)},
                             "find role", &r))
            return rc;
        std::string q = c_->quoteIdent(role);
        if (PQntuples(r.get()) == 0) {
            if (Rc rc = c_->exec("CREATE ROLE " + q + " LOGIN", "create node role")) return rc;
        }
        if (Rc rc = c_->exec("GRANT " + c_->quoteIdent(pgGroupRole(c_->database())) + " TO " + q,
                             "grant node rights"))
            return rc;
        bool found = false;
        return oneRow(
            "INSERT INTO nodes(name, role, pw_salt, pw_hash, pw_iter, pw_set, back_del, "
            "arch_del) VALUES($1, $2, $3::bytea, $4::bytea, $5, $6, $7, $8) RETURNING id",
            {pgText(n.name), pgText(role), pgBytes(n.pwSalt), pgBytes(n.pwHash),
             pgInt(n.pwIterations), pgInt(n.pwSetTime), pgBool(n.backDel), pgBool(n.archDel)},
            "insert node", found, [&](const Row& w) { n.id = w.num(0); });
    }

    // A node may change only its password columns: its rights to delete
    // are the administrator's to give.
    Rc updateNode(const NodeRecord& n) override {
        if (asNode_)
            return c_->exec(
                "UPDATE nodes SET pw_salt = $2::bytea, pw_hash = $3::bytea, pw_iter = $4, "
                "pw_set = $5 WHERE id = $1",
                {pgInt(n.id), pgBytes(n.pwSalt), pgBytes(n.pwHash), pgInt(n.pwIterations),
                 pgInt(n.pwSetTime)},
                "update node");
        return c_->exec(
            "UPDATE nodes SET pw_salt = $2::bytea, pw_hash = $3::bytea, pw_iter = $4, pw_set = "
            "$5, back_del = $6, arch_del = $7 WHERE id = $1",
            {pgInt(n.id), pgBytes(n.pwSalt), pgBytes(n.pwHash), pgInt(n.pwIterations),
             pgInt(n.pwSetTime), pgBool(n.backDel), pgBool(n.archDel)},
            "update node");
    }

    Rc setServerPassword(const std::string& node, const std::string& pw) override {
        std::string role = roleOf(node), secret;
        if (Rc rc = c_->scramSecret(role, pw, secret)) return rc;
        return setServerSecret(node, secret);
    }

    Rc setServerSecret(const std::string& node, const std::string& secret) override {
        return c_->exec(
            "ALTER ROLE " + c_->quoteIdent(roleOf(node)) + " PASSWORD " + c_->quoteLiteral(secret),
            "set the node's password");
    }

    Rc listNodes(std::vector<NodeRecord>& out) override {
        out.clear();
        return allRows(std::string("SELECT ") + kNodeColumns + " FROM nodes ORDER BY name", {},
                       "list nodes", [&](const Row& w) {
                           NodeRecord n;
                           readNode(w, n);
                           out.push_back(n);
                       });
    }

    Rc listFileSpaces(int64_t nodeId, std::vector<FsRecord>& out) override {
        out.clear();
        return allRows(std::string("SELECT ") + kFsColumns +
                           " FROM filespaces WHERE node_id = $1 ORDER BY name",
                       {pgInt(nodeId)}, "list file spaces", [&](const Row& w) {
                           FsRecord f;
                           readFs(w, f);
                           out.push_back(f);
                       });
    }

    Rc findFileSpace(int64_t nodeId, const std::string& name, FsRecord& fs, bool& found) override {
        return oneRow(std::string("SELECT ") + kFsColumns +
                          " FROM filespaces WHERE node_id = $1 AND name = $2",
                      {pgInt(nodeId), pgText(name)}, "find file space", found,
                      [&](const Row& w) { readFs(w, fs); });
    }

    Rc insertFileSpace(FsRecord& fs) override {
        bool found = false;
        return oneRow(
            "INSERT INTO filespaces(node_id, name, type, info, capacity, occupancy, reg_date, "
            "back_start, back_complete) VALUES($1, $2, $3, $4::bytea, $5, $6, $7, $8, $9) "
            "RETURNING id",
            fsParams(fs), "insert file space", found, [&](const Row& w) { fs.id = w.num(0); });
    }

    Rc updateFileSpace(const FsRecord& fs) override {
        std::vector<PgParam> p = fsParams(fs);
        p.push_back(pgInt(fs.id));
        return c_->exec(
            "UPDATE filespaces SET node_id = $1, name = $2, type = $3, info = $4::bytea, capacity "
            "= $5, occupancy = $6, reg_date = $7, back_start = $8, back_complete = $9 WHERE id = "
            "$10",
            p, "update file space");
    }

    Rc deleteFileSpace(int64_t fsId, uint64_t& objectsDeleted) override {
        seen_.clear();
        if (Rc rc = c_->exec("DELETE FROM object_data WHERE obj_id IN (SELECT o.id FROM objects o "
                             "JOIN filespaces f ON o.node_id = f.node_id AND o.fs_id = f.id "
                             "WHERE f.id = $1)",
                             {pgInt(fsId)}, "delete file space data"))
            return rc;
        if (Rc rc = c_->exec("DELETE FROM objects WHERE node_id = (SELECT node_id FROM filespaces "
                             "WHERE id = $1) AND fs_id = $1",
                             {pgInt(fsId)}, "delete file space objects"))
            return rc;
        objectsDeleted = c_->changed();
        return c_->exec("DELETE FROM filespaces WHERE id = $1", {pgInt(fsId)}, "delete file space");
    }

    Rc openObjects(const ObjectQuery& q, std::unique_ptr<ObjectCursor>& out) override {
        // COPY takes no parameters: a stream's values are written into the
        // statement, numbers as they are and texts quoted.
        bool stream = q.streamed && !inTxn_ && cursors_ == 0;
        std::vector<PgParam> p;
        auto param = [&](PgParam v) {
            if (stream) return c_->quoteLiteral(v.value);
            p.push_back(std::move(v));
            return "$" + std::to_string(p.size());
        };
        FixedColumns fixed = fixedColumns(q);
        std::string where = " WHERE node_id = " + param(pgInt(q.nodeId));
        if (q.fsId) where += " AND fs_id = " + param(pgInt(q.fsId));
        if (q.hlExact) where += " AND hl = " + param(pgText(q.hl));
        if (q.llExact) where += " AND ll = " + param(pgText(q.ll));
        if (q.pit == 0) {
            if (q.state != 0xFF) where += " AND state = " + param(pgInt(q.state));
        } else {
            std::string pit = param(pgInt(q.pit));
            where += " AND ins_date <= " + pit;
            if (q.state == RVK_STATE_ACTIVE)
                where += " AND (deact_date = 0 OR deact_date > " + pit + ")";
            else if (q.state == RVK_STATE_INACTIVE)
                where += " AND deact_date <> 0 AND deact_date <= " + pit;
        }
        if (q.objType != 0xFF) where += " AND type = " + param(pgInt(q.objType));
        std::string select = "SELECT " + queriedColumns(fixed) + " FROM objects";
        std::string order = q.fsId ? " ORDER BY hl, ll, id" : " ORDER BY id";
        std::string sql = select + where + order;
        std::string name = "objects_" + std::to_string(++cursorSerial_);
        // What a node's query reads in a snapshot of its own is known to
        // have been there; rows of an open transaction might yet be undone.
        SeenIds* seen = nullptr;
        if (asNode_ && !inTxn_) {
            if (q.nodeId != seenNode_) seen_.clear();
            seenNode_ = q.nodeId;
            seen = &seen_;
        }
        if (Rc rc = cursorOpened()) return rc;
        if (stream) {
            // A large query in name order is read in two halves side by side.
            std::string bound;
            PgConn* second = nullptr;
            if (q.fsId) {
                if (Rc rc = startSecondHalf(select, where, order, bound, second)) {
                    streamClosed(false);
                    return rc;
                }
            }
            std::string first = select + where + (second ? " AND " + bound : "") + order;
            if (Rc rc = c_->copyOut("COPY (" + first + ") TO STDOUT", "query objects")) {
                streamClosed(false);
                return rc;
            }
            out.reset(new PgStream(this, fixed, seen, second));
            return RVK_RC_OK;
        }
        if (Rc rc = c_->execOnce("DECLARE " + name + " NO SCROLL CURSOR FOR " + sql, p,
                                 "query objects")) {
            cursorClosed(name);
            return rc;
        }
        out.reset(new PgCursor(this, name, fixed, seen));
        return RVK_RC_OK;
    }

    Rc findObject(uint64_t id, ObjectRecord& o, bool& found) override {
        return oneRow(std::string("SELECT ") + kObjectColumns + " FROM objects WHERE id = $1",
                      {pgU64(id)}, "find object", found, [&](const Row& w) { readObject(w, o); });
    }

    Rc findActiveObject(int64_t nodeId, int64_t fsId, const std::string& hl, const std::string& ll,
                        ObjectRecord& o, bool& found) override {
        return oneRow(std::string("SELECT ") + kObjectColumns +
                          " FROM objects WHERE node_id = $1 AND fs_id = $2 AND hl = $3 AND ll = "
                          "$4 AND state = 1 ORDER BY id DESC LIMIT 1",
                      {pgInt(nodeId), pgInt(fsId), pgText(hl), pgText(ll)}, "find active object",
                      found, [&](const Row& w) { readObject(w, o); });
    }

    // One round trip: the older active object of the name is deactivated by
    // the same statement that inserts the new one.
    Rc insertObject(ObjectRecord& o) override {
        o.state = RVK_STATE_ACTIVE;
        o.deactDate = 0;
        bool found = false;
        return oneRow(
            "WITH old AS (UPDATE objects SET state = 2, deact_date = greatest(ins_date, $8) "
            "WHERE node_id = $1 AND fs_id = $2 AND hl = $3 AND ll = $4 AND state = 1) "
            "INSERT INTO objects(node_id, fs_id, hl, ll, type, owner, mc, ins_date, deact_date, "
            "size, state, has_data, info) VALUES($1, $2, $3, $4, $5, $6, $7, $8, $9, $10, $11, "
            "$12, $13::bytea) RETURNING id",
            objectParams(o), "insert object", found,
            [&](const Row& w) { o.id = static_cast<uint64_t>(w.num(0)); });
    }

    // The sequence moves past the copied id in the same statement.
    Rc insertObjectAsIs(const ObjectRecord& o) override {
        std::vector<PgParam> p = objectParams(o);
        p.push_back(pgU64(o.id));
        return c_->exec(
            "INSERT INTO objects(node_id, fs_id, hl, ll, type, owner, mc, ins_date, deact_date, "
            "size, state, has_data, info, id) SELECT $1::bigint, $2::bigint, $3::text, $4::text, "
            "$5::int, $6::text, $7::text, $8::bigint, $9::bigint, $10::bigint, $11::int, "
            "$12::boolean, $13::bytea, $14::bigint FROM (SELECT setval('object_ids', "
            "greatest($14::bigint + 1, (SELECT CASE WHEN is_called THEN last_value + 1 ELSE "
            "last_value END FROM object_ids)), false)) s",
            p, "copy object");
    }

    Rc updateObject(const ObjectRecord& o) override {
        std::vector<PgParam> p = objectParams(o);
        p.push_back(pgU64(o.id));
        return c_->exec(
            "UPDATE objects SET node_id = $1, fs_id = $2, hl = $3, ll = $4, type = $5, owner = "
            "$6, mc = $7, ins_date = $8, deact_date = $9, size = $10, state = $11, has_data = "
            "$12, info = $13::bytea WHERE id = $14",
            p, "update object");
    }

    // The object and its data in one round trip.
    Rc deleteObject(uint64_t id, bool& changed) override {
        seen_.forget(id);
        bool found = false;
        Rc rc = oneRow(
            "WITH gone AS (DELETE FROM objects WHERE id = $1 RETURNING id), "
            "data AS (DELETE FROM object_data WHERE obj_id IN (SELECT id FROM gone)) "
            "SELECT count(*) FROM gone",
            {pgU64(id)}, "delete object", found, [&](const Row& w) { changed = w.num(0) > 0; });
        return rc;
    }

    Rc deleteNodeObject(int64_t nodeId, uint64_t id, ObjectRecord& o, bool& found) override {
        seen_.forget(id);
        // Deleted already in this transaction, though perhaps not yet sent.
        if (heldIds_.count(id)) {
            found = false;
            return RVK_RC_OK;
        }
        return oneRow(
            "WITH gone AS (DELETE FROM objects WHERE id = $1 AND node_id = $2 "
            "RETURNING id, fs_id, hl, ll), data AS (DELETE FROM object_data WHERE "
            "obj_id IN (SELECT id FROM gone)) SELECT fs_id, hl, ll FROM gone",
            {pgU64(id), pgInt(nodeId)}, "delete object", found, [&](const Row& w) {
                o.id = id;
                o.nodeId = nodeId;
                o.fsId = w.num(0);
                o.hl = w.text(1);
                o.ll = w.text(2);
            });
    }

    Rc queueNodeObjectDeletion(int64_t nodeId, uint64_t id, const ActLogRecord& log,
                               bool& queued) override {
        queued = inTxn_ && nodeId == seenNode_ && seen_.has(id);
        if (!queued) return RVK_RC_OK;
        seen_.forget(id);
        // Log rows waiting in memory go first, to keep the log in order.
        if (Rc rc = flushActLog()) return rc;
        held_.push_back(log);
        held_.back().objId = id;
        heldNode_ = nodeId;
        heldIds_.insert(id);
        return held_.size() < kDeletionsPerStatement ? RVK_RC_OK : sendDeletions();
    }

    // Sends the held-back deletions, without waiting for the answer.
    Rc sendDeletions() {
        if (held_.empty()) return RVK_RC_OK;
        std::vector<std::string> ids, dates, nodes, severities, msgIds, texts;
        for (const ActLogRecord& a : held_) {
            ids.push_back(std::to_string(a.objId));
            dates.push_back(std::to_string(a.date));
            nodes.push_back(a.node);
            severities.push_back(std::to_string(a.severity));
            msgIds.push_back(a.msgId);
            texts.push_back(a.text);
        }
        held_.clear();
        return c_->send(kDeleteAndLog,
                        {pgArray(ids), pgInt(heldNode_), pgArray(dates), pgArray(nodes),
                         pgArray(severities), pgArray(msgIds), pgArray(texts)},
                        "delete objects", true);
    }

    Rc countObjects(int64_t nodeId, uint64_t& n) override {
        bool found = false;
        return oneRow("SELECT count(*) FROM objects WHERE node_id = $1", {pgInt(nodeId)},
                      "count objects", found,
                      [&](const Row& w) { n = static_cast<uint64_t>(w.num(0)); });
    }

    // The data row takes the node of its object, as the session sees it.
    Rc appendData(uint64_t objId, uint32_t seq, const void* data, size_t len) override {
        if (Rc rc = c_->exec("INSERT INTO object_data(node_id, obj_id, seq, chunk) SELECT "
                             "node_id, id, $2, $3::bytea FROM objects WHERE id = $1",
                             {pgU64(objId), pgInt(seq),
                              pgBytes(std::string(static_cast<const char*>(data), len))},
                             "store object data"))
            return rc;
        if (c_->changed() == 0) {
            c_->setError("store object data: no object " + std::to_string(objId));
            return RVK_RC_REPOSITORY_ERROR;
        }
        return RVK_RC_OK;
    }

    Rc readData(uint64_t objId, uint32_t seq, std::string& chunk, bool& found) override {
        return oneRow("SELECT chunk FROM object_data WHERE obj_id = $1 AND seq = $2",
                      {pgU64(objId), pgInt(seq)}, "read object data", found,
                      [&](const Row& w) { chunk = w.bytes(0); });
    }

    // Inside a transaction, log rows wait in memory and go to the server
    // with the commit, many in one statement: a deletion then costs one
    // round trip, not two.
    Rc appendActLog(const ActLogRecord& a) override {
        if (inTxn_) {
            // Behind held-back deletions: they and their rows go first.
            if (Rc rc = sendDeletions()) return rc;
            pendingLog_.push_back(a);
            return RVK_RC_OK;
        }
        return c_->exec(
            "INSERT INTO actlog(date, node, severity, msg_id, text, obj_id) VALUES($1, $2, $3, "
            "$4, $5, $6)",
            {pgInt(a.date), pgText(a.node), pgInt(a.severity), pgText(a.msgId), pgText(a.text),
             pgU64(a.objId)},
            "write activity log");
    }

    Rc flushActLog() {
        constexpr size_t kRowsPerInsert = 1000;
        for (size_t at = 0; at < pendingLog_.size(); at += kRowsPerInsert) {
            std::string sql =
                "INSERT INTO actlog(date, node, severity, msg_id, text, obj_id) VALUES";
            std::vector<PgParam> p;
            for (size_t i = at; i < pendingLog_.size() && i < at + kRowsPerInsert; ++i) {
                const ActLogRecord& a = pendingLog_[i];
                size_t b = p.size();
                sql += (i == at ? "(" : ",(");
                for (size_t k = 1; k <= 6; ++k)
                    sql += "$" + std::to_string(b + k) + (k == 6 ? ")" : ", ");
                p.push_back(pgInt(a.date));
                p.push_back(pgText(a.node));
                p.push_back(pgInt(a.severity));
                p.push_back(pgText(a.msgId));
                p.push_back(pgText(a.text));
                p.push_back(pgU64(a.objId));
            }
            // Behind deletions still in the pipeline, the rows join them.
            if (Rc rc = c_->pipelining() ? c_->sendOnce(sql, p, "write activity log")
                                         : c_->execOnce(sql, p, "write activity log"))
                return rc;
        }
        pendingLog_.clear();
        return RVK_RC_OK;
    }

    Rc listActLog(const std::function<void(const ActLogRecord&)>& fn) override {
        if (Rc rc = flushActLog()) return rc;
        return allRows("SELECT date, node, severity, msg_id, text, obj_id FROM actlog ORDER BY id",
                       {}, "read activity log", [&](const Row& w) {
                           ActLogRecord a;
                           a.date = w.num(0);
                           a.node = w.text(1);
                           a.severity = static_cast<int>(w.num(2));
                           a.msgId = w.text(3);
                           a.text = w.text(4);
                           a.objId = static_cast<uint64_t>(w.num(5));
                           fn(a);
                       });
    }

    Rc checkFormat(std::string& err) {
        PgResult r;
        Rc rc = c_->exec("SELECT key, value FROM repo_meta", "read format", &r);
        std::string format, version;
        for (int i = 0; rc == RVK_RC_OK && i < PQntuples(r.get()); ++i) {
            Row w{r.get(), i};
            (w.text(0) == "format" ? format : version) = w.text(1);
        }
        if (rc == RVK_RC_COMM_FAILURE || rc == RVK_RC_SERVER_BUSY) {
            err = c_->lastError();
            return rc;
        }
        if (format != kPgFormat) {
            err = "not a VLT repository";
            return RVK_RC_REPOSITORY_VERSION;
        }
        if (version != std::to_string(kPgSchemaVersion)) {
            err = "repository version " + version + ", this library reads version " +
                  std::to_string(kPgSchemaVersion);
            return RVK_RC_REPOSITORY_VERSION;
        }
        return RVK_RC_OK;
    }

  private:
    std::unique_ptr<PgConn> c_;
    // The second connection of split queries, opened at the first; none
    // after it could not be opened. Whether it is reading a half.
    std::unique_ptr<PgConn> helper_;
    bool noHelper_ = false;
    bool helperReading_ = false;
    bool asNode_;
    bool inTxn_ = false;
    int cursors_ = 0;
    std::vector<ActLogRecord> pendingLog_;
    unsigned cursorSerial_ = 0;
    SeenIds seen_;  // objects of node seenNode_ read by this session
    int64_t seenNode_ = 0;
    // Deletions held back (objId and log row of each), of node heldNode_,
    // and every id deleted so in the open transaction.
    std::vector<ActLogRecord> held_;
    int64_t heldNode_ = 0;
    std::unordered_set<uint64_t> heldIds_;
};

PgCursor::~PgCursor() {
    // A batch still on its way is read before ahead_ goes.
    if (asked_) store_->conn().drain();
    store_->cursorClosed(name_);
}

// The next batch. While the caller reads one batch, the server already
// makes the next (asked for in pipeline mode), so that the two sides of
// the connection work at the same time instead of taking turns.
Rc PgCursor::fetch() {
    PgConn& c = store_->conn();
    std::string sql = "FETCH " + std::to_string(kFetchRows) + " FROM " + name_;
    batch_.reset();
    row_ = 0;
    if (asked_) {
        asked_ = false;
        if (Rc rc = c.drain()) return rc;
        batch_ = std::move(ahead_);
        if (!batch_) return RVK_RC_COMM_FAILURE;
    } else if (Rc rc = c.exec(sql, "read objects", &batch_)) {
        return rc;
    }
    last_ = PQntuples(batch_.get()) < kFetchRows;
    if (!last_) {
        if (Rc rc = c.sendOnce(sql, {}, "read objects", &ahead_)) return rc;
        asked_ = true;
    }
    return RVK_RC_OK;
}

Rc PgCursor::next(ObjectRecord& o, bool& have) {
    have = false;
    if (!batch_ || row_ >= PQntuples(batch_.get())) {
        if (last_) return RVK_RC_OK;
        if (Rc rc = fetch()) return rc;
        if (PQntuples(batch_.get()) == 0) return RVK_RC_OK;
    }
    readQueried(Row{batch_.get(), row_++}, fixed_, o);
    if (seen_) seen_->add(o.id);
    have = true;
    return RVK_RC_OK;
}

PgStream::PgStream(PgStore* store, const FixedColumns& fixed, SeenIds* seen, PgConn* second)
    : store_(store), fixed_(fixed), seen_(seen), reading_(&store->conn()), second_(second) {}

PgStream::~PgStream() {
    store_->streamClosed(done_ && failed_ == RVK_RC_OK);
}

Rc PgStream::next(ObjectRecord& o, bool& have) {
    have = false;
    if (done_) return failed_;
    char* row = nullptr;
    int len = 0;
    for (;;) {
        failed_ = reading_->copyRow(row, len, done_);
        if (failed_ && reading_ != &store_->conn()) store_->conn().setError(reading_->lastError());
        if (failed_ || !done_) break;
        if (!second_) return RVK_RC_OK;
        reading_ = second_;
        second_ = nullptr;
    }
    if (failed_) return failed_;
    // What the second half's server has sent meanwhile is taken off the
    // socket, so that it goes on producing.
    const size_t kAheadBytes = 64u << 20;
    if (second_ && ++rows_ % 64 == 0) second_->copyAhead(kAheadBytes);
    pgCopyFields(row, len, fields_);
    size_t want = 10u + !fixed_.fs + !fixed_.state + !fixed_.type;
    if (fields_.size() != want) {
        store_->conn().setError("query objects: a row of " + std::to_string(fields_.size()) +
                                " fields, not " + std::to_string(want));
        done_ = true;
        return failed_ = RVK_RC_REPOSITORY_ERROR;
    }
    readQueried(CopyRow{fields_}, fixed_, o);
    if (seen_) seen_->add(o.id);
    have = true;
    return RVK_RC_OK;
}

}  // namespace

Rc openPgStore(const std::string& uri, int busyTimeoutMs, const std::string& node,
               const std::string& password, std::unique_ptr<Store>& out, std::string& err) {
    std::string db = pgDatabaseName(uri, err);
    if (db.empty()) return RVK_RC_COMM_FAILURE;
    std::unique_ptr<PgConn> c;
    std::string role = node.empty() ? "" : pgNodeRole(db, node);
    if (Rc rc = PgConn::open(uri, role, password, c, err)) return rc;
    // Kept statements are planned once: a plan made for each call costs
    // more than the call itself, and the partition is chosen at run time.
    if (c->exec("SET lock_timeout = " + std::to_string(busyTimeoutMs > 0 ? busyTimeoutMs : 1) +
                    "; SET plan_cache_mode = force_generic_plan",
                "set the session up")) {
        err = c->lastError();
        return RVK_RC_COMM_FAILURE;
    }
    std::unique_ptr<PgStore> s(new PgStore(std::move(c), !node.empty()));
    std::string why;
    if (Rc rc = s->checkFormat(why)) {
        err = "repository " + uri + ": " + why;
        return rc;
    }
    out = std::move(s);
    return RVK_RC_OK;
}

}  // namespace vlt
