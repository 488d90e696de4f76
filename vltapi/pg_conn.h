// One connection to a PostgreSQL repository, and the names the repository
// derives from its connection URI.
//
// A PgConn runs statements with text parameters (bytes as binary ones) and
// text results, turns server errors into client return codes, and keeps the
// last error text. Like a Store it is used by one thread at a time.
//
// Nodes are login roles of the cluster. Roles are cluster-wide while a
// repository is one database, so role names carry a tag made from the
// database name: "vlt<tag>_<NODE>", and the group role that holds the
// nodes' table rights is "vlt<tag>:nodes".
#ifndef VLTAPI_PG_CONN_H
#define VLTAPI_PG_CONN_H

#include <libpq-fe.h>
#include <stdint.h>

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace vlt {

using Rc = int16_t;

// True for "postgresql://..." and "postgres://..." repositories.
bool isPgRepository(const std::string& repository);

// The database a repository URI names; "" (and `err`) when it names none.
std::string pgDatabaseName(const std::string& uri, std::string& err);

std::string pgNodeRole(const std::string& dbName, const std::string& node);
std::string pgGroupRole(const std::string& dbName);

// The result of one statement; frees itself.
struct PgResultFree {
    void operator()(PGresult* r) const { PQclear(r); }
};
using PgResult = std::unique_ptr<PGresult, PgResultFree>;

// A statement parameter: text, or bytes sent as binary.
struct PgParam {
    std::string value;
    bool binary = false;
    bool null = false;
};
PgParam pgInt(int64_t v);
PgParam pgText(const std::string& v);
PgParam pgBytes(const std::string& v);
// An array in the server's text form; the values are quoted, so that any
// text and any number fit.
PgParam pgArray(const std::vector<std::string>& values);

// Decodes a bytea value in the server's hex text form ("\x0a1b...").
std::string pgBytea(const char* text, int len);

// Splits a row in COPY's text form (fields separated by tabs, a newline at
// the end) into its fields, undoing COPY's backslash escapes within the
// row itself; `fields` point into it. A field without a backslash ends at
// a tab, the newline or the row's closing NUL, so that pgNumber reads a
// number field as it stands.
struct PgField {
    const char* data;
    size_t size;
};
void pgCopyFields(char* row, int len, std::vector<PgField>& fields);

// Decodes an integer in the server's text form: an optional minus sign and
// decimal digits. A query reads millions of them, and strtoll, which also
// handles bases, blanks and locales, took a tenth of the client's time.
int64_t pgNumber(const char* text);

class PgConn {
  public:
    // Connects with the URI, overriding its user and password when given.
    // RVK_RC_AUTH_FAILURE when the server refuses the password,
    // RVK_RC_COMM_FAILURE when it cannot be reached.
    static Rc open(const std::string& uri, const std::string& user, const std::string& password,
                   std::unique_ptr<PgConn>& out, std::string& err);
    // A second connection to the same database as the same role, with the
    // same settings; the codes are open's.
    Rc twin(std::unique_ptr<PgConn>& out, std::string& err) const;
    ~PgConn();
    PgConn(const PgConn&) = delete;
    PgConn& operator=(const PgConn&) = delete;

    // Runs one statement. `rows` receives its result when it returns rows.
    // A statement with parameters is prepared once per connection and kept
    // (by its text); one without may hold several statements.
    Rc exec(const std::string& sql, const std::vector<PgParam>& params, const char* what,
            PgResult* rows = nullptr);
    Rc exec(const std::string& sql, const char* what, PgResult* rows = nullptr) {
        return exec(sql, {}, what, rows);
    }
    // Runs a statement made for this one use, without keeping it.
    Rc execOnce(const std::string& sql, const std::vector<PgParam>& params, const char* what,
                PgResult* rows = nullptr);
    // Pipeline: sends a kept statement without waiting for its answer, and
    // reads whatever answers have arrived meanwhile. The answers come in
    // with the next exec (which waits for all of them first) or drain. With
    // `report`, the first column of every row of the answer, a number, goes
    // to reported().
    Rc send(const std::string& sql, const std::vector<PgParam>& params, const char* what,
            bool report = false);
    // Like send, for a statement made for this one use. With `into`, the
    // answer, when it has rows and no failure, is kept there (the caller
    // keeps `into` alive until the next drain).
    Rc sendOnce(const std::string& sql, const std::vector<PgParam>& params, const char* what,
                PgResult* into = nullptr);
    // Waits for the answers to everything sent and leaves pipeline mode.
    // The first failure among them is the result; a failed statement
    // aborts the rest of the pipeline with the transaction.
    Rc drain();
    // Forgets what was sent (after a failure, before a rollback).
    void discard();
    bool pipelining() const { return PQpipelineStatus(conn_) != PQ_PIPELINE_OFF; }
    // What the statements sent with `report` returned, in the order sent.
    std::vector<uint64_t>& reported() { return reported_; }
    // Runs before every statement that waits for its answer (exec,
    // execOnce, drain): the owner sends what it has been holding back, so
    // that the server sees everything in the order the caller did it.
    void beforeWaiting(std::function<Rc()> fn) { beforeWaiting_ = std::move(fn); }

    // COPY ... TO STDOUT: runs the statement (COPY takes no parameters),
    // whose rows copyRow then reads one at a time as the server sends them.
    // Nothing else may run on the connection until the last row is read or
    // stopCopy is called.
    Rc copyOut(const std::string& sql, const char* what);
    // The next row in COPY's text form, valid until the next call; `done`
    // after the last, when the statement's own result has been read.
    Rc copyRow(char*& row, int& len, bool& done);
    // Reads the rows of the running COPY that have already arrived, without
    // waiting, into a buffer of the connection that copyRow then reads
    // first, until the buffer holds `most` bytes: a COPY whose rows are
    // read later keeps its server busy meanwhile instead of waiting for a
    // full socket. A failure found here is copyRow's after the rows before.
    void copyAhead(size_t most);
    // Ends a COPY before its last row: the server is asked to cancel it and
    // what it still sends is dropped. Its transaction has then failed.
    void stopCopy();

    // Rows changed by the last statement run with exec.
    uint64_t changed() const { return changed_; }

    std::string quoteIdent(const std::string& name) const;
    std::string quoteLiteral(const std::string& text) const;
    // The role's SCRAM secret for `password`, computed here so that the
    // plain password never travels to the server.
    Rc scramSecret(const std::string& role, const std::string& password, std::string& out);

    const std::string& lastError() const { return lastError_; }
    void setError(const std::string& text) { lastError_ = text; }
    // The command tag of the last statement ("COMMIT", "ROLLBACK", ...).
    const std::string& status() const { return status_; }
    std::string user() const { return PQuser(conn_); }
    std::string database() const { return PQdb(conn_); }
    bool broken() const { return PQstatus(conn_) != CONNECTION_OK; }
    PGconn* raw() const { return conn_; }

  private:
    explicit PgConn(PGconn* c) : conn_(c) {}
    static Rc connect(std::vector<const char*> keys, std::vector<const char*> values, bool expand,
                      const std::string& name, std::unique_ptr<PgConn>& out, std::string& err);
    Rc copyEnded(int n);
    Rc failure(const PGresult* r, const char* what);
    Rc finish(PgResult r, const char* what, PgResult* rows);
    Rc sent(int ok, const char* what, bool report, PgResult* into = nullptr);
    Rc holdBack();
    Rc poll();
    void answer(PgResult r);
    Rc leavePipeline();

    // A statement sent in pipeline mode whose answer has not been read.
    struct Pending {
        const char* what;
        bool report;            // its rows go to reported_
        std::string preparing;  // the text of a statement being prepared
        PgResult* into;         // keeps the answer, when not null
    };
    std::deque<Pending> pending_;
    std::vector<uint64_t> reported_;
    Rc pipelineRc_ = 0;  // the first failure among the answers read
    std::function<Rc()> beforeWaiting_;
    bool holdingBack_ = false;  // beforeWaiting_ is running

    const char* copying_ = nullptr;  // the `what` of the COPY being read
    char* copyRow_ = nullptr;        // its last row
    // Rows read ahead, each its length, its text and a NUL; the reader's
    // place; whether the COPY ended while reading ahead, and how.
    std::string ahead_;
    size_t aheadAt_ = 0;
    bool aheadDone_ = false;
    Rc aheadRc_ = 0;

    std::map<std::string, std::string> prepared_;
    unsigned statements_ = 0;  // names of prepared statements

    PGconn* conn_;
    std::string lastError_;
    uint64_t changed_ = 0;
    std::string status_;
};

}  // namespace vlt

#endif
