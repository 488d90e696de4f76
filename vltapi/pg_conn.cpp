#include "vltapi/pg_conn.h"

#include <openssl/evp.h>
#include <stdlib.h>
#include <string.h>

#include "rvkapi.h"

namespace vlt {

bool isPgRepository(const std::string& r) {
    return r.compare(0, 13, "postgresql://") == 0 || r.compare(0, 11, "postgres://") == 0;
}

std::string pgDatabaseName(const std::string& uri, std::string& err) {
    char* msg = nullptr;
    PQconninfoOption* opts = PQconninfoParse(uri.c_str(), &msg);
    if (!opts) {
        err = "bad repository URI " + uri + ": " + (msg ? msg : "out of memory");
        PQfreemem(msg);
        return "";
    }
    std::string db;
    for (PQconninfoOption* o = opts; o->keyword; ++o)
        if (strcmp(o->keyword, "dbname") == 0 && o->val) db = o->val;
    PQconninfoFree(opts);
    if (db.empty()) err = "the repository URI " + uri + " names no database";
    return db;
}

// Eight hex digits of the SHA-256 of `text`, or all forty of its first
// twenty bytes when `whole`.
static std::string hexDigest(const std::string& text, bool whole) {
    unsigned char md[EVP_MAX_MD_SIZE];
    unsigned int len = 0;
    EVP_Digest(text.data(), text.size(), md, &len, EVP_sha256(), nullptr);
    static const char hex[] = "0123456789abcdef";
    std::string out;
    for (unsigned i = 0; i < (whole ? 20u : 4u); ++i) {
        out += hex[md[i] >> 4];
        out += hex[md[i] & 15];
    }
    return out;
}

std::string pgNodeRole(const std::string& dbName, const std::string& node) {
    std::string role = "vlt" + hexDigest(dbName, false) + "_" + node;
    // Role names stop at 63 bytes; a long node name is replaced by its digest.
    if (role.size() > 63) role = "vlt" + hexDigest(dbName, false) + "_" + hexDigest(node, true);
    return role;
}

std::string pgGroupRole(const std::string& dbName) {
    return "vlt" + hexDigest(dbName, false) + ":nodes";
}

PgParam pgInt(int64_t v) {
    PgParam p;
    p.value = std::to_string(v);
    return p;
}

PgParam pgText(const std::string& v) {
    PgParam p;
    p.value = v;
    return p;
}

PgParam pgBytes(const std::string& v) {
    PgParam p;
    p.value = v;
    p.binary = true;
    return p;
}

PgParam pgArray(const std::vector<std::string>& values) {
    PgParam p;
    p.value = "{";
    for (const std::string& v : values) {
        p.value += p.value.size() > 1 ? ",\"" : "\"";
        for (char c : v) {
            if (c == '"' || c == '\\') p.value += '\\';
            p.value += c;
        }
        p.value += '"';
    }
    p.value += "}";
    return p;
}

static int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return 0;
}

std::string pgBytea(const char* text, int len) {
    std::string out;
    if (len < 2 || text[0] != '\\' || text[1] != 'x') return out;
    out.resize(static_cast<size_t>(len - 2) / 2);
    for (size_t i = 0; i < out.size(); ++i)
        out[i] = static_cast<char>(hexValue(text[2 + 2 * i]) << 4 | hexValue(text[3 + 2 * i]));
    return out;
}

// COPY writes the backslash, the tab and the control characters that have
// a letter as a backslash and a character: "\\", "\t", "\n" and so on.
static char unescaped(char c) {
    switch (c) {
        case 'b':
            return '\b';
        case 'f':
            return '\f';
        case 'n':
            return '\n';
        case 'r':
            return '\r';
        case 't':
            return '\t';
        case 'v':
            return '\v';
        default:
            return c;
    }
}

void pgCopyFields(char* row, int len, std::vector<PgField>& fields) {
    char* end = row + len;
    if (end > row && end[-1] == '\n') --end;
    fields.clear();
    for (char* at = row;; ++at) {
        auto* tab = static_cast<char*>(memchr(at, '\t', static_cast<size_t>(end - at)));
        if (!tab) tab = end;
        // Most fields hold no backslash and stay as they are; in one that
        // does, the text from the first one on moves up as escapes shrink.
        auto* out = static_cast<char*>(memchr(at, '\\', static_cast<size_t>(tab - at)));
        if (!out) out = tab;
        for (const char* in = out; in < tab; ++in)
            *out++ = *in == '\\' && in + 1 < tab ? unescaped(*++in) : *in;
        fields.push_back(PgField{at, static_cast<size_t>(out - at)});
        if (tab == end) break;
        at = tab;
    }
}

int64_t pgNumber(const char* text) {
    bool negative = *text == '-';
    if (negative) ++text;
    // Unsigned arithmetic: the most negative bigint overflows no int64_t.
    uint64_t v = 0;
    for (; *text >= '0' && *text <= '9'; ++text) v = v * 10 + static_cast<uint64_t>(*text - '0');
    return static_cast<int64_t>(negative ? 0 - v : v);
}

Rc PgConn::open(const std::string& uri, const std::string& user, const std::string& password,
                std::unique_ptr<PgConn>& out, std::string& err) {
    // Keywords after the expanded URI override what it says.
    std::vector<const char*> keys{"dbname"}, values{uri.c_str()};
    if (!user.empty()) {
        keys.push_back("user");
        values.push_back(user.c_str());
    }
    if (!password.empty()) {
        keys.push_back("password");
        values.push_back(password.c_str());
    }
    keys.push_back("application_name");
    values.push_back("vltapi");
    return connect(keys, values, true, uri, out, err);
}

// libpq keeps what a connection was opened with, the password too, so a
// second connection needs nothing that this one does not already hold.
Rc PgConn::twin(std::unique_ptr<PgConn>& out, std::string& err) const {
    PQconninfoOption* info = PQconninfo(conn_);
    if (!info) {
        err = "out of memory";
        return RVK_RC_NO_MEMORY;
    }
    std::vector<const char*> keys, values;
    for (const PQconninfoOption* o = info; o->keyword; ++o) {
        if (!o->val) continue;
        keys.push_back(o->keyword);
        values.push_back(o->val);
    }
    Rc rc = connect(keys, values, false, PQdb(conn_), out, err);
    PQconninfoFree(info);
    return rc;
}

Rc PgConn::connect(std::vector<const char*> keys, std::vector<const char*> values, bool expand,
                   const std::string& name, std::unique_ptr<PgConn>& out, std::string& err) {
    keys.push_back(nullptr);
    values.push_back(nullptr);
    PGconn* c = PQconnectdbParams(keys.data(), values.data(), expand ? 1 : 0);
    if (!c) {
        err = "out of memory";
        return RVK_RC_NO_MEMORY;
    }
    bool connected = PQstatus(c) == CONNECTION_OK;
    if (connected) {
        // Every statement of the library finds its rows by key. A partition
        // analysed while it was empty would be planned as a sequential scan,
        // and a prepared statement keeps that plan while the partition
        // grows: each insert of a long load would then scan all the rows
        // before it.
        PgResult set(PQexec(c, "SET enable_seqscan = off"));
        connected = set && PQresultStatus(set.get()) == PGRES_COMMAND_OK;
    }
    if (!connected) {
        std::string msg = PQerrorMessage(c);
        while (!msg.empty() && msg.back() == '\n') msg.pop_back();
        err = "repository " + name + " cannot be opened: " + msg;
        bool refused = msg.find("authentication failed") != std::string::npos ||
                       msg.find("no password supplied") != std::string::npos;
        PQfinish(c);
        return refused ? RVK_RC_AUTH_FAILURE : RVK_RC_COMM_FAILURE;
    }
    out.reset(new PgConn(c));
    return RVK_RC_OK;
}

PgConn::~PgConn() {
    PQfreemem(copyRow_);
    PQfinish(conn_);
}

Rc PgConn::failure(const PGresult* r, const char* what) {
    std::string msg = r ? PQresultErrorMessage(r) : PQerrorMessage(conn_);
    while (!msg.empty() && msg.back() == '\n') msg.pop_back();
    lastError_ = std::string(what) + ": " + msg;
    if (PQstatus(conn_) != CONNECTION_OK) return RVK_RC_COMM_FAILURE;
    const char* state = r ? PQresultErrorField(r, PG_DIAG_SQLSTATE) : nullptr;
    std::string s = state ? state : "";
    // Lock time-outs, dead-locks and serialization failures: another
    // session holds what this one needs.
    if (s == "55P03" || s == "40001" || s == "40P01") return RVK_RC_SERVER_BUSY;
    if (s.compare(0, 2, "08") == 0 || s.compare(0, 3, "57P") == 0) return RVK_RC_COMM_FAILURE;
    if (s == "53200") return RVK_RC_NO_MEMORY;
    return RVK_RC_REPOSITORY_ERROR;
}

namespace {

struct ParamArrays {
    std::vector<const char*> values;
    std::vector<int> lengths, formats;
    explicit ParamArrays(const std::vector<PgParam>& params) {
        for (const PgParam& p : params) {
            values.push_back(p.null ? nullptr : p.value.data());
            lengths.push_back(static_cast<int>(p.value.size()));
            formats.push_back(p.binary ? 1 : 0);
        }
    }
};

}  // namespace

Rc PgConn::finish(PgResult r, const char* what, PgResult* rows) {
    ExecStatusType st = r ? PQresultStatus(r.get()) : PGRES_FATAL_ERROR;
    if (st != PGRES_COMMAND_OK && st != PGRES_TUPLES_OK) return failure(r.get(), what);
    const char* n = PQcmdTuples(r.get());
    changed_ = n && *n ? strtoull(n, nullptr, 10) : 0;
    status_ = PQcmdStatus(r.get());
    if (rows) *rows = std::move(r);
    return RVK_RC_OK;
}

Rc PgConn::exec(const std::string& sql, const std::vector<PgParam>& params, const char* what,
                PgResult* rows) {
    if (Rc rc = drain()) return rc;
    if (params.empty()) return finish(PgResult(PQexec(conn_, sql.c_str())), what, rows);
    auto it = prepared_.find(sql);
    if (it == prepared_.end()) {
        std::string name = "s" + std::to_string(++statements_);
        PgResult p(
            PQprepare(conn_, name.c_str(), sql.c_str(), static_cast<int>(params.size()), nullptr));
        if (!p || PQresultStatus(p.get()) != PGRES_COMMAND_OK) return failure(p.get(), what);
        it = prepared_.emplace(sql, name).first;
    }
    ParamArrays a(params);
    return finish(
        PgResult(PQexecPrepared(conn_, it->second.c_str(), static_cast<int>(params.size()),
                                a.values.data(), a.lengths.data(), a.formats.data(), 0)),
        what, rows);
}

Rc PgConn::execOnce(const std::string& sql, const std::vector<PgParam>& params, const char* what,
                    PgResult* rows) {
    if (Rc rc = drain()) return rc;
    ParamArrays a(params);
    return finish(
        PgResult(PQexecParams(conn_, sql.c_str(), static_cast<int>(params.size()), nullptr,
                              a.values.data(), a.lengths.data(), a.formats.data(), 0)),
        what, rows);
}

// Pipeline mode. Answers come in the order of what was sent: each
// statement's result followed by a null, and the sync's own result.

Rc PgConn::send(const std::string& sql, const std::vector<PgParam>& params, const char* what,
                bool report) {
    if (!pipelining() && PQenterPipelineMode(conn_) != 1) return failure(nullptr, what);
    int n = static_cast<int>(params.size());
    auto it = prepared_.find(sql);
    if (it == prepared_.end()) {
        std::string name = "s" + std::to_string(++statements_);
        if (Rc rc = sent(PQsendPrepare(conn_, name.c_str(), sql.c_str(), n, nullptr), what, false))
            return rc;
        pending_.back().preparing = sql;
        it = prepared_.emplace(sql, name).first;
    }
    ParamArrays a(params);
    return sent(PQsendQueryPrepared(conn_, it->second.c_str(), n, a.values.data(), a.lengths.data(),
                                    a.formats.data(), 0),
                what, report);
}

Rc PgConn::sendOnce(const std::string& sql, const std::vector<PgParam>& params, const char* what,
                    PgResult* into) {
    if (!pipelining() && PQenterPipelineMode(conn_) != 1) return failure(nullptr, what);
    ParamArrays a(params);
    return sent(PQsendQueryParams(conn_, sql.c_str(), static_cast<int>(params.size()), nullptr,
                                  a.values.data(), a.lengths.data(), a.formats.data(), 0),
                what, false, into);
}

// The statement goes to the server at once, so that the server works while
// the caller prepares the next one; answers already there are read, so
// that a server writing answers never waits for a client that is sending.
Rc PgConn::sent(int ok, const char* what, bool report, PgResult* into) {
    if (!ok) return failure(nullptr, what);
    pending_.push_back(Pending{what, report, "", into});
    if (PQflush(conn_) != 0) return failure(nullptr, what);
    return poll();
}

Rc PgConn::poll() {
    if (PQconsumeInput(conn_) != 1) return failure(nullptr, "read answers");
    int nulls = 0;
    while (!pending_.empty() && !PQisBusy(conn_) && nulls < 2) {
        PgResult r(PQgetResult(conn_));
        if (!r) {
            ++nulls;
            continue;
        }
        nulls = 0;
        answer(std::move(r));
    }
    return pipelineRc_;
}

void PgConn::answer(PgResult r) {
    if (pending_.empty()) return;
    Pending p = pending_.front();
    pending_.pop_front();
    ExecStatusType st = PQresultStatus(r.get());
    if (st == PGRES_COMMAND_OK || st == PGRES_TUPLES_OK) {
        for (int i = 0; p.report && i < PQntuples(r.get()); ++i)
            reported_.push_back(strtoull(PQgetvalue(r.get(), i, 0), nullptr, 10));
        if (p.into != nullptr) *p.into = std::move(r);
        return;
    }
    // A statement that was never prepared is prepared afresh next time.
    if (!p.preparing.empty()) prepared_.erase(p.preparing);
    // After a failure the server skips the rest up to the sync.
    if (st != PGRES_PIPELINE_ABORTED && pipelineRc_ == 0) pipelineRc_ = failure(r.get(), p.what);
}

Rc PgConn::holdBack() {
    if (!beforeWaiting_ || holdingBack_) return RVK_RC_OK;
    holdingBack_ = true;
    Rc rc = beforeWaiting_();
    holdingBack_ = false;
    return rc;
}

Rc PgConn::drain() {
    Rc held = holdBack();
    if (!pipelining()) return held;
    if (PQpipelineSync(conn_) != 1) {
        if (pipelineRc_ == 0) pipelineRc_ = failure(nullptr, "send the pipeline");
    } else {
        // Two nulls in a row: nothing more will come (a lost connection).
        for (int nulls = 0; nulls < 2;) {
            PgResult r(PQgetResult(conn_));
            if (!r) {
                ++nulls;
                continue;
            }
            nulls = 0;
            if (PQresultStatus(r.get()) == PGRES_PIPELINE_SYNC) break;
            answer(std::move(r));
        }
        if (!pending_.empty() && pipelineRc_ == 0)
            pipelineRc_ = failure(nullptr, pending_.front().what);
    }
    Rc rc = leavePipeline();
    return rc ? rc : held;
}

Rc PgConn::leavePipeline() {
    Rc rc = pipelineRc_;
    for (const Pending& p : pending_)
        if (!p.preparing.empty()) prepared_.erase(p.preparing);
    pending_.clear();
    pipelineRc_ = 0;
    if (PQexitPipelineMode(conn_) != 1 && rc == RVK_RC_OK) rc = failure(nullptr, "end pipeline");
    return rc;
}

void PgConn::discard() {
    holdingBack_ = true;  // what the owner holds back is dropped, not sent
    drain();
    holdingBack_ = false;
    reported_.clear();
}

Rc PgConn::copyOut(const std::string& sql, const char* what) {
    if (Rc rc = drain()) return rc;
    PgResult r(PQexec(conn_, sql.c_str()));
    if (!r || PQresultStatus(r.get()) != PGRES_COPY_OUT) return failure(r.get(), what);
    copying_ = what;
    return RVK_RC_OK;
}

Rc PgConn::copyRow(char*& row, int& len, bool& done) {
    PQfreemem(copyRow_);
    copyRow_ = nullptr;
    done = false;
    if (aheadAt_ < ahead_.size()) {
        memcpy(&len, &ahead_[aheadAt_], sizeof len);
        row = &ahead_[aheadAt_ + sizeof len];
        aheadAt_ += sizeof len + static_cast<size_t>(len) + 1;
        return RVK_RC_OK;
    }
    if (!ahead_.empty()) {
        // Its memory goes back too: the connection lives with the session.
        std::string().swap(ahead_);
        aheadAt_ = 0;
    }
    if (aheadDone_) {
        aheadDone_ = false;
        done = true;
        return aheadRc_;
    }
    int n = PQgetCopyData(conn_, &copyRow_, 0);
    if (n > 0) {
        row = copyRow_;
        len = n;
        return RVK_RC_OK;
    }
    done = true;
    return copyEnded(n);
}

// -1: the end, the statement's result (maybe an error) follows; -2: the
// connection failed.
Rc PgConn::copyEnded(int n) {
    const char* what = copying_;
    copying_ = nullptr;
    Rc rc = n == -2 ? failure(nullptr, what) : finish(PgResult(PQgetResult(conn_)), what, nullptr);
    while (PgResult(PQgetResult(conn_))) {
    }
    return rc;
}

// The socket is libpq's, non-blocking: PQconsumeInput takes what has
// arrived, and PQgetCopyData in its asynchronous form hands out the whole
// rows among it.
void PgConn::copyAhead(size_t most) {
    if (!copying_ || aheadDone_) return;
    if (!PQconsumeInput(conn_)) {
        aheadRc_ = copyEnded(-2);
        aheadDone_ = true;
        return;
    }
    while (ahead_.size() - aheadAt_ < most) {
        char* data = nullptr;
        int n = PQgetCopyData(conn_, &data, 1);
        if (n == 0) return;
        if (n < 0) {
            aheadRc_ = copyEnded(n);
            aheadDone_ = true;
            return;
        }
        ahead_.append(reinterpret_cast<const char*>(&n), sizeof n);
        ahead_.append(data, static_cast<size_t>(n) + 1);  // with its closing NUL
        PQfreemem(data);
    }
}

void PgConn::stopCopy() {
    ahead_.clear();
    aheadAt_ = 0;
    aheadDone_ = false;
    if (!copying_) return;
    copying_ = nullptr;
    if (PGcancel* c = PQgetCancel(conn_)) {
        char err[256];
        PQcancel(c, err, sizeof err);
        PQfreeCancel(c);
    }
    // The row last handed out is no longer looked at.
    PQfreemem(copyRow_);
    copyRow_ = nullptr;
    // A COPY that ends, by the cancel or because it was done, ends with -1;
    // a lost connection with -2.
    while (PQgetCopyData(conn_, &copyRow_, 0) > 0) {
        PQfreemem(copyRow_);
        copyRow_ = nullptr;
    }
    while (PgResult(PQgetResult(conn_))) {
    }
}

std::string PgConn::quoteIdent(const std::string& name) const {
    char* q = PQescapeIdentifier(conn_, name.data(), name.size());
    std::string out = q ? q : "";
    PQfreemem(q);
    return out;
}

std::string PgConn::quoteLiteral(const std::string& text) const {
    char* q = PQescapeLiteral(conn_, text.data(), text.size());
    std::string out = q ? q : "";
    PQfreemem(q);
    return out;
}

Rc PgConn::scramSecret(const std::string& role, const std::string& password, std::string& out) {
    char* s = PQencryptPasswordConn(conn_, password.c_str(), role.c_str(), "scram-sha-256");
    if (!s) {
        lastError_ = std::string("encrypt password: ") + PQerrorMessage(conn_);
        return RVK_RC_CRYPTO_FAILURE;
    }
    out = s;
    PQfreemem(s);
    return RVK_RC_OK;
}

}  // namespace vlt
