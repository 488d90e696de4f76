#include "vltapi/vltapi_testenv.h"

#include <gtest/gtest.h>
#include <libpq-fe.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <memory>

#include "api/backupquery.h"

namespace vltest {

std::string vltadmPath() {
    return zebotest::binDir() + "/vltadm";
}

namespace {

const char kOptions[] =
    "* test repository\n"
    "SERVERNAME TESTSRV\n"
    "NODENAME node1\n"
    "PASSWORDACCESS PROMPT\n"
    "BUSYTIMEOUT 20\n";

// The cluster's folder; its password file is where libpq (here and in
// vltadm) looks for the administrator's password.
std::string pgDir() {
    const char* d = getenv("VLT_TEST_PG");
    if (!d || !*d) return "";
    setenv("PGPASSFILE", (std::string(d) + "/pgpass").c_str(), 1);
    return d;
}

void makeRepository(const Repo& repo) {
    auto r = repo.adm("init");
    if (r.status != 0) ADD_FAILURE() << "vltadm init: " << r.err;
    addNode(repo, "node1", "pw-one");
    addNode(repo, "node2", "pw-two");
}

// The standard SQLite repository, made once per test process: most tests
// start from a copy of it instead of running vltadm three times.
std::string templateRepository() {
    static std::unique_ptr<Repo> repo;
    if (!repo) repo.reset(new Repo("* template\n", Repo::Kind::Sqlite));
    return repo->repository();
}

}  // namespace

bool pgMode() {
    return !pgDir().empty();
}

std::string pgUri(const std::string& db) {
    return "postgresql://vltadmin@/" + db + "?host=" + pgDir() + "/sock";
}

std::vector<std::string> pgSql(const std::string& db, const std::string& sql,
                               const std::string& user, const std::string& password) {
    std::string conninfo = "host=" + pgDir() + "/sock dbname=" + db +
                           " user=" + (user.empty() ? "vltadmin" : "'" + user + "'");
    if (!password.empty()) conninfo += " password=" + password;
    std::vector<std::string> out;
    PGconn* c = PQconnectdb(conninfo.c_str());
    if (PQstatus(c) != CONNECTION_OK) {
        out.push_back(std::string("ERROR: ") + PQerrorMessage(c));
    } else {
        PGresult* r = PQexec(c, sql.c_str());
        ExecStatusType st = PQresultStatus(r);
        if (st != PGRES_TUPLES_OK && st != PGRES_COMMAND_OK)
            out.push_back(std::string("ERROR: ") + PQresultErrorMessage(r));
        else
            for (int i = 0; i < PQntuples(r); ++i) out.push_back(PQgetvalue(r, i, 0));
        PQclear(r);
    }
    PQfinish(c);
    return out;
}

void addNode(const Repo& repo, const std::string& node, const std::string& password) {
    auto r = repo.adm("node add " + node, password + "\n");
    if (r.status != 0) ADD_FAILURE() << "vltadm node add " << node << ": " << r.err;
}

void setPassword(const std::string& optFile, const std::string& node, const std::string& password) {
    auto r = zebotest::run("'" + vltadmPath() + "' -c '" + optFile + "' node passwd " + node,
                           password + "\n");
    if (r.status != 0) ADD_FAILURE() << "vltadm node passwd " << node << ": " << r.err;
}

Repo::Repo(const std::string& extraOptions, Kind kind) {
    optFile_ = dir_.file("rvk.opt");
    bool pg = pgMode() && kind == Kind::Default;
    if (pg) {
        // Every repository is a database of its own: nodes are roles of the
        // cluster, and a password changed in one test must not leak into
        // another.
        static int serial = 0;
        database_ = "t" + std::to_string(getpid()) + "_" + std::to_string(++serial);
        auto r = pgSql("postgres", "CREATE DATABASE " + database_);
        if (!r.empty())
            ADD_FAILURE() << "the test cluster in " << pgDir()
                          << " cannot make a database (is it running?): " << r[0];
        repository_ = pgUri(database_);
    } else {
        repository_ = dir_.file("repo.db");
    }
    zebotest::writeFile(optFile_, "REPOSITORY " + repository_ + "\n" + kOptions + extraOptions);
    if (extraOptions.empty() && !pg) {
        // vltadm leaves no write-ahead log behind: the file is all of it.
        zebotest::writeFile(repository_, zebotest::readFile(templateRepository()));
    } else {
        makeRepository(*this);
    }
}

Repo::~Repo() {
    if (!database_.empty())
        pgSql("postgres", "DROP DATABASE IF EXISTS " + database_ + " WITH (FORCE)");
}

std::string Repo::other(const std::string& name) const {
    return pgMode() ? pgUri(name) : dir_.file(name);
}

zebotest::RunResult Repo::adm(const std::string& args, const std::string& input) const {
    return zebotest::run("'" + vltadmPath() + "' -c '" + optFile_ + "' " + args, input);
}

void Repo::load(const std::string& node, const std::string& lines, const std::string& owner) const {
    auto r = adm("load " + node + (owner.empty() ? "" : " " + owner), lines);
    ASSERT_EQ(r.status, 0) << r.err;
}

uint64_t Repo::count(const std::string& node) const {
    auto r = adm("count " + node);
    EXPECT_EQ(r.status, 0) << r.err;
    return strtoull(r.out.c_str(), nullptr, 10);
}

std::vector<std::string> Repo::actlog() const {
    return zebotest::lines(adm("actlog").out);
}

int16_t setUp(const std::string& optFile) {
    rvkEnvSetUp env;
    memset(&env, 0, sizeof env);
    env.stVersion = RVK_ENVSETUP_VERSION;
    snprintf(env.optFile, sizeof env.optFile, "%s", optFile.c_str());
    std::string dir = optFile.substr(0, optFile.rfind('/'));
    snprintf(env.logDir, sizeof env.logDir, "%s", dir.c_str());
    snprintf(env.apiDir, sizeof env.apiDir, "%s", dir.c_str());
    return rvkSetUp(RVK_MULTITHREAD, &env);
}

int16_t logOn(uint32_t* handle, const char* node, const char* password, const char* owner,
              const char* options) {
    rvkApiVersionEx ver;
    memset(&ver, 0, sizeof ver);
    ver.stVersion = RVK_APIVERSIONEX_VERSION;
    ver.version = 5;
    ver.release = 5;
    rvkInitExIn in;
    memset(&in, 0, sizeof in);
    in.stVersion = RVK_INITEXIN_VERSION;
    in.apiVersionEx = &ver;
    in.nodeName = const_cast<char*>(node);
    in.ownerName = const_cast<char*>(owner);
    in.password = const_cast<char*>(password);
    in.appType = const_cast<char*>("ZEBO Linux86");
    in.options = const_cast<char*>(options);
    rvkInitExOut out;
    memset(&out, 0, sizeof out);
    out.stVersion = RVK_INITEXOUT_VERSION;
    return rvkInitEx(handle, &in, &out);
}

QueryResult query(uint32_t handle, const std::string& fs, const std::string& hl,
                  const std::string& ll, uint8_t state, rvkDate pit, const char* owner,
                  uint8_t type) {
    QueryResult res;
    rvkObjName name = BackupQuery::objectName(fs.c_str(), hl.c_str(), ll.c_str(), type);
    BackupQuery cursor(BackupQuery::library(), handle);
    res.beginRc = static_cast<int16_t>(cursor.begin(&name, state, const_cast<char*>(owner), pit));
    if (res.beginRc != RVK_RC_OK) return res;
    while (cursor.next() == RVK_RC_MORE_DATA) {
        const rvkQryRespBackup& resp = cursor.object();
        Obj o;
        o.id = (static_cast<uint64_t>(resp.objId.hi) << 32) | resp.objId.lo;
        o.fs = resp.objName.fs;
        o.hl = resp.objName.hl;
        o.ll = resp.objName.ll;
        o.owner = resp.owner;
        o.ins = resp.insDate;
        o.size = (static_cast<uint64_t>(resp.sizeEstimate.hi) << 32) | resp.sizeEstimate.lo;
        o.state = resp.objState;
        o.type = resp.objName.objType;
        res.objects.push_back(o);
    }
    res.lastRc = static_cast<int16_t>(cursor.lastRc());
    EXPECT_EQ(cursor.end(), RVK_RC_OK);
    return res;
}

rvkDelInfo delInfo(uint64_t id) {
    rvkDelInfo d;
    d.stVersion = RVK_DELINFO_VERSION;
    d.objIdHi = static_cast<uint32_t>(id >> 32);
    d.objIdLo = static_cast<uint32_t>(id);
    return d;
}

int16_t deleteInTxn(uint32_t handle, const std::vector<uint64_t>& ids, uint8_t vote,
                    uint16_t* reason, std::vector<int16_t>* deleteRcs) {
    int16_t rc = rvkBeginTxn(handle);
    if (rc != RVK_RC_OK) return rc;
    for (uint64_t id : ids) {
        int16_t d = rvkDeleteObj(handle, RVK_DEL_BACKUP_ID, delInfo(id));
        if (deleteRcs) deleteRcs->push_back(d);
    }
    return rvkEndTxn(handle, vote, reason);
}

rvkDate date(int y, int mo, int d, int h, int mi, int s) {
    rvkDate r;
    r.year = static_cast<uint16_t>(y);
    r.month = static_cast<uint8_t>(mo);
    r.day = static_cast<uint8_t>(d);
    r.hour = static_cast<uint8_t>(h);
    r.minute = static_cast<uint8_t>(mi);
    r.second = static_cast<uint8_t>(s);
    return r;
}

std::string rcText(int16_t rc) {
    char buf[RVK_MSG_MAX];
    rvkRCMsg(0, rc, buf);
    return buf;
}

}  // namespace vltest
