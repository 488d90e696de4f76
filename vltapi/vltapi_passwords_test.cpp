// Node password hashes and the repository's privacy: new hashes are
// Argon2id, old PBKDF2 hashes are renewed at log-on, and the repository is
// made private to its owner.
#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <time.h>

#include <string>

#include "vltapi/vltapi_testenv.h"

using namespace vltest;

namespace {

class Passwords : public ::testing::Test {
  protected:
    void TearDown() override { rvkCleanUp(RVK_MULTITHREAD); }
    // Runs SQL on the repository with the sqlite3 shell; its output.
    std::string sql(const std::string& statement) {
        auto r = zebotest::run("sqlite3 '" + repo.path("repo.db") + "'", statement + ";\n");
        EXPECT_EQ(r.status, 0) << r.err;
        return r.out;
    }
    // "iterations|set time|hash" of the node (an old hash shows as bytes).
    std::string hashRow(const std::string& node) {
        return sql("SELECT pw_iter, pw_set, CAST(pw_hash AS TEXT) FROM nodes WHERE name = '" +
                   node + "'");
    }
    int16_t logOnOnce(const char* node, const char* password) {
        uint32_t h = 0;
        int16_t rc = logOn(&h, node, password);
        if (h) rvkTerminate(h);
        return rc;
    }
    // The hashes are read and planted with SQL on the repository file, so
    // these tests keep to a file repository whichever store the run tests.
    Repo repo{"", Repo::Kind::Sqlite};
};

TEST_F(Passwords, OldHashIsRenewedAtTheNextSuccessfulLogOn) {
    // NODE1 as a repository of the previous kind holds it: salted
    // PBKDF2-HMAC-SHA256 of 20,000 iterations, set at a known time.
    const unsigned char salt[16] = {7, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
    unsigned char hash[32];
    ASSERT_EQ(PKCS5_PBKDF2_HMAC("pw-one", 6, salt, sizeof salt, 20000, EVP_sha256(), 32, hash), 1);
    sql("UPDATE nodes SET pw_salt = X'" + zebotest::hexText(salt, 16) + "', pw_hash = X'" +
        zebotest::hexText(hash, 32) +
        "', pw_iter = 20000, pw_set = 1700000000 WHERE name = 'NODE1'");
    const std::string old = hashRow("NODE1");
    ASSERT_EQ(old.substr(0, 17), "20000|1700000000|");

    ASSERT_EQ(setUp(repo.optFile()), RVK_RC_OK);
    EXPECT_EQ(logOnOnce("node1", "wrong"), RVK_RC_AUTH_FAILURE);
    EXPECT_EQ(hashRow("NODE1"), old);  // a failed log-on changes nothing

    EXPECT_EQ(logOnOnce("node1", "pw-one"), RVK_RC_OK);
    // The set time stays: renewing the hash is no password change.
    EXPECT_EQ(hashRow("NODE1").find("0|1700000000|$argon2id$v=19$m=64,t=1,p=1$"), 0u);
    EXPECT_EQ(sql("SELECT length(pw_salt) FROM nodes WHERE name = 'NODE1'"), "0\n");
    EXPECT_EQ(logOnOnce("node1", "pw-one"), RVK_RC_OK);
    EXPECT_EQ(logOnOnce("node1", "pw-two"), RVK_RC_AUTH_FAILURE);
    std::string log = repo.adm("actlog").out;
    const std::string renewed = "NODE1\tSESSION\tPassword hash renewed at log-on";
    size_t first = log.find(renewed);
    EXPECT_NE(first, std::string::npos) << log;
    EXPECT_EQ(log.find(renewed, first + 1), std::string::npos) << log;
}

TEST_F(Passwords, HashesOfTheFullCostAreArgon2idAndLogOnStaysQuick) {
    // The test programs run with RVK_TEST_FAST_HASH=1; without it the
    // library uses its real cost.
    std::string fast = getenv("RVK_TEST_FAST_HASH") ? getenv("RVK_TEST_FAST_HASH") : "";
    auto r = repo.adm("node passwd node2", "full-cost-pw\n");
    ASSERT_EQ(r.status, 0);
    EXPECT_EQ(hashRow("NODE2").substr(0, 2), "0|");
    r = zebotest::run("env -u RVK_TEST_FAST_HASH '" + vltadmPath() + "' -c '" + repo.optFile() +
                          "' node passwd node2",
                      "full-cost-pw\n");
    ASSERT_EQ(r.status, 0) << r.err;
    const std::string full = hashRow("NODE2");
    EXPECT_NE(full.find("|$argon2id$v=19$m=19456,t=2,p=1$"), std::string::npos) << full;

    ASSERT_EQ(setUp(repo.optFile()), RVK_RC_OK);
    unsetenv("RVK_TEST_FAST_HASH");
    // Processor time, not wall time: other work on the machine must not
    // count against the log-on.
    struct timespec a, b;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &a);
    int16_t rc = logOnOnce("node2", "full-cost-pw");
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &b);
    setenv("RVK_TEST_FAST_HASH", fast.c_str(), 1);
    EXPECT_EQ(rc, RVK_RC_OK);
    double seconds = static_cast<double>(b.tv_sec - a.tv_sec) + (b.tv_nsec - a.tv_nsec) / 1e9;
    EXPECT_LT(seconds, 0.5);
    EXPECT_EQ(hashRow("NODE2"), full);  // of the current cost: kept
    // A hash of another cost than the current one is renewed as well.
    EXPECT_EQ(logOnOnce("node2", "full-cost-pw"), RVK_RC_OK);
    EXPECT_NE(hashRow("NODE2").find("$m=64,t=1,p=1$"), std::string::npos);
}

int modeOf(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 ? static_cast<int>(st.st_mode & 0777) : -1;
}

TEST_F(Passwords, RepositoryIsPrivateAndAReadableOneIsReported) {
    zebotest::TempDir dir;
    zebotest::writeFile(dir.file("rvk.opt"), "REPOSITORY new.db\nPASSWORDACCESS PROMPT\n");
    std::string adm = "'" + vltadmPath() + "' -c '" + dir.file("rvk.opt") + "' ";
    // Whatever the umask.
    ASSERT_EQ(zebotest::run("umask 000; " + adm + "init").status, 0);
    EXPECT_EQ(modeOf(dir.file("new.db")), 0600);
    ASSERT_EQ(zebotest::run(adm + "node add node1", "pw-one\n").status, 0);
    // While a session has it open, its side files are as private.
    ASSERT_EQ(setUp(dir.file("rvk.opt")), RVK_RC_OK);
    uint32_t h = 0;
    ASSERT_EQ(logOn(&h, "node1", "pw-one"), RVK_RC_OK);
    for (const char* side : {"new.db-wal", "new.db-shm"}) {
        if (zebotest::fileExists(dir.file(side))) {
            EXPECT_EQ(modeOf(dir.file(side)), 0600) << side;
        }
    }
    rvkTerminate(h);
    EXPECT_FALSE(zebotest::fileExists(dir.file("rvkerror.log")));

    // A repository others may read: every vltadm command and the first
    // log-on of a process say so.
    ASSERT_EQ(chmod(dir.file("new.db").c_str(), 0644), 0);
    auto count = zebotest::run(adm + "node list");
    EXPECT_EQ(count.status, 0);
    EXPECT_NE(count.err.find("vltadm: warning: repository " + dir.file("new.db") +
                             " has mode 0644: other users may read"),
              std::string::npos)
        << count.err;
    for (int i = 0; i < 2; ++i) ASSERT_EQ(logOnOnce("node1", "pw-one"), RVK_RC_OK);
    std::vector<std::string> log = zebotest::lines(zebotest::readFile(dir.file("rvkerror.log")));
    ASSERT_EQ(log.size(), 1u);
    EXPECT_NE(log[0].find("warning: repository " + dir.file("new.db") + " has mode 0644"),
              std::string::npos)
        << log[0];
}

}  // namespace

namespace {

TEST_F(Passwords, ErrorLogIsNeverWrittenThroughASymlink) {
    zebotest::writeFile(repo.path("victim"), "untouched\n", 0600);
    ASSERT_EQ(symlink(repo.path("victim").c_str(), repo.path("rvkerror.log").c_str()), 0);
    ASSERT_EQ(setUp(repo.optFile()), RVK_RC_OK);
    EXPECT_EQ(logOnOnce("node1", "wrong"), RVK_RC_AUTH_FAILURE);  // logged, if it could be
    EXPECT_EQ(zebotest::readFile(repo.path("victim")), "untouched\n");
}

}  // namespace
