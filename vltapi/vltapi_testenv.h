// Test support for the client library: real repositories in temporary
// folders, made with vltadm, and short-hands for the calls the tests make
// through the public header.
//
// One set of tests runs against both stores. With VLT_TEST_PG set to the
// folder of a running throwaway cluster (testing/pgcluster.sh), every
// repository is a fresh database of that cluster; otherwise an SQLite file.
#ifndef VLTAPI_VLTAPI_TESTENV_H
#define VLTAPI_VLTAPI_TESTENV_H

#include <stdint.h>

#include <string>
#include <vector>

#include "rvkapi.h"
#include "testing/testutil.h"

namespace vltest {

// A repository with nodes NODE1 (password "pw-one") and NODE2 ("pw-two"),
// server name TESTSRV, and the option file rvk.opt next to it.
class Repo {
  public:
    enum class Kind { Default, Sqlite };
    // `extraOptions` is appended to the option file. Kind::Sqlite makes an
    // SQLite repository whatever the tests run against.
    explicit Repo(const std::string& extraOptions = "", Kind kind = Kind::Default);
    ~Repo();
    const std::string& optFile() const { return optFile_; }
    // The REPOSITORY value: the file's full name or the database's URI.
    const std::string& repository() const { return repository_; }
    // A REPOSITORY value for another repository called `name`, not made.
    std::string other(const std::string& name) const;
    // PostgreSQL: the repository's database.
    const std::string& database() const { return database_; }
    std::string path(const std::string& name) const { return dir_.file(name); }
    // Runs "vltadm -c <optFile> <args>".
    zebotest::RunResult adm(const std::string& args, const std::string& input = "") const;
    // Loads objects (vltadm load), failing the test when it fails.
    void load(const std::string& node, const std::string& lines,
              const std::string& owner = "") const;
    uint64_t count(const std::string& node) const;
    std::vector<std::string> actlog() const;

  private:
    zebotest::TempDir dir_;
    std::string optFile_;
    std::string repository_;
    std::string database_;  // PostgreSQL: the database made for this one
};

// True when the tests run against the PostgreSQL store.
bool pgMode();
// PostgreSQL: runs SQL as the cluster's administrator in database `db`, or
// as `user` with `password`; the first column of every row, or the error
// text prefixed with "ERROR: ".
std::vector<std::string> pgSql(const std::string& db, const std::string& sql,
                               const std::string& user = "", const std::string& password = "");
// The URI of database `db` of the test cluster.
std::string pgUri(const std::string& db);
// Adds a node with its password, or sets a node's password, through
// vltadm: the one place that knows how vltadm takes a password.
void addNode(const Repo& repo, const std::string& node, const std::string& password);
void setPassword(const std::string& optFile, const std::string& node, const std::string& password);

std::string vltadmPath();

// rvkSetUp with the option file (and the log directory next to it).
int16_t setUp(const std::string& optFile);

// rvkInitEx; *handle gets the session.
int16_t logOn(uint32_t* handle, const char* node, const char* password, const char* owner = nullptr,
              const char* options = nullptr);

struct Obj {
    uint64_t id = 0;
    std::string fs, hl, ll, owner;
    rvkDate ins{};
    uint64_t size = 0;
    int state = 0;
    int type = 0;
};

struct QueryResult {
    int16_t beginRc = 0;
    int16_t lastRc = 0;  // the code that ended the fetch loop
    std::vector<Obj> objects;
};

// A backup query; `pit` all zero for none, `owner` NULL for any.
QueryResult query(uint32_t handle, const std::string& fs, const std::string& hl,
                  const std::string& ll, uint8_t state = RVK_STATE_ACTIVE, rvkDate pit = rvkDate{},
                  const char* owner = nullptr, uint8_t type = RVK_OBJ_ANY);

rvkDelInfo delInfo(uint64_t id);

// Load lines (vltadm load) for `n` objects /h/o0 .. /h/o<n-1> in file space
// `fs`, object i of i + 1 bytes.
std::string objectLines(const std::string& fs, int n);
// The ids of a query's objects, in the order they came.
std::vector<uint64_t> ids(const QueryResult& r);

// A zeroed record of the header's kind T carrying `version`: how every
// caller hands the library a record. (The program has its own in
// api/drvkapi.h; these tests know the library only through its header.)
template <class T>
T record(uint16_t version) {
    T r{};
    r.stVersion = version;
    return r;
}

// Deletes ids in one transaction with the vote; returns the end's result.
int16_t deleteInTxn(uint32_t handle, const std::vector<uint64_t>& ids, uint8_t vote,
                    uint16_t* reason, std::vector<int16_t>* deleteRcs = nullptr);

rvkDate date(int y, int mo, int d, int h = 0, int mi = 0, int s = 0);

// Text of a code from the library.
std::string rcText(int16_t rc);

}  // namespace vltest

#endif
