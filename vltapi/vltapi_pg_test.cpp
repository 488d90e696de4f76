// What only a database server adds: nodes kept apart by the database even
// for direct SQL, sessions of several nodes at once, deletions that another
// session overtakes, and a connection lost or a server restarted in the
// middle of a transaction. Runs against the throwaway cluster.
#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "api/backupquery.h"
#include "rvkapi.h"
#include "vltapi/vltapi_testenv.h"

using namespace vltest;

namespace {

size_t deletions(const Repo& repo, uint64_t id) {
    size_t n = 0;
    for (auto& line : repo.actlog())
        n += line.find("Deleted backup object " + std::to_string(id) + " ") != std::string::npos;
    return n;
}

class Pg : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(pgMode()) << "these tests need the test cluster: VLT_TEST_PG names its folder";
        repo.load("node1", objectLines("/one", 5));
        repo.load("node2", objectLines("/two", 3));
        ASSERT_EQ(setUp(repo.optFile()), RVK_RC_OK);
    }
    void TearDown() override { rvkCleanUp(RVK_MULTITHREAD); }

    std::string role(const std::string& node) {
        auto r = pgSql(repo.database(), "SELECT role FROM nodes WHERE name = '" + node + "'");
        return r.size() == 1 ? r[0] : "";
    }
    // Runs SQL in the repository's database as the node's own role.
    std::vector<std::string> asNode(const std::string& node, const std::string& pw,
                                    const std::string& sql) {
        return pgSql(repo.database(), sql, role(node), pw);
    }

    // A session of NODE1 reads its objects and deletes two in a transaction;
    // then `cut` takes its connection away. The loss shows at the next
    // deletion or at the latest at the commit (the deletions are held
    // back), nothing of the transaction is kept, and the next session works.
    void interruptTransaction(const std::function<void()>& cut) {
        uint32_t h = 0;
        ASSERT_EQ(logOn(&h, "node1", "pw-one"), RVK_RC_OK);
        auto mine = ids(query(h, "/one", "*", "*"));
        ASSERT_EQ(mine.size(), 5u);
        ASSERT_EQ(rvkBeginTxn(h), RVK_RC_OK);
        ASSERT_EQ(rvkDeleteObj(h, RVK_DEL_BACKUP_ID, delInfo(mine[0])), RVK_RC_OK);
        ASSERT_EQ(rvkDeleteObj(h, RVK_DEL_BACKUP_ID, delInfo(mine[1])), RVK_RC_OK);
        cut();
        int16_t rc = rvkDeleteObj(h, RVK_DEL_BACKUP_ID, delInfo(mine[2]));
        EXPECT_TRUE(rc == RVK_RC_OK || rc == RVK_RC_COMM_FAILURE) << rc;
        uint16_t reason = 0;
        EXPECT_EQ(rvkEndTxn(h, RVK_VOTE_COMMIT, &reason), RVK_RC_CHECK_REASON_CODE);
        // A reason is unsigned: a negative code is reported as a repository
        // error.
        EXPECT_EQ(reason, RVK_RC_REPOSITORY_ERROR);
        EXPECT_EQ(rvkBeginTxn(h), RVK_RC_COMM_FAILURE);
        EXPECT_EQ(rvkTerminate(h), RVK_RC_OK);
        EXPECT_EQ(repo.count("node1"), 5u);
        EXPECT_EQ(deletions(repo, mine[0]), 0u);

        ASSERT_EQ(logOn(&h, "node1", "pw-one"), RVK_RC_OK);
        ASSERT_EQ(query(h, "/one", "*", "*").objects.size(), 5u);
        EXPECT_EQ(deleteInTxn(h, {mine[0], mine[1], mine[2]}, RVK_VOTE_COMMIT, &reason), RVK_RC_OK);
        EXPECT_EQ(rvkTerminate(h), RVK_RC_OK);
        EXPECT_EQ(repo.count("node1"), 2u);
        EXPECT_EQ(deletions(repo, mine[0]), 1u);
    }

    Repo repo;
};

bool refused(const std::vector<std::string>& r) {
    return r.size() == 1 && r[0].compare(0, 6, "ERROR:") == 0;
}

TEST_F(Pg, DirectSqlOfANodeSeesAndChangesOnlyItsOwnRows) {
    const std::string node2Id =
        pgSql(repo.database(), "SELECT id FROM nodes WHERE name = 'NODE2'")[0];
    EXPECT_EQ(asNode("NODE1", "pw-one", "SELECT count(*) FROM objects"),
              std::vector<std::string>{"5"});
    EXPECT_EQ(asNode("NODE1", "pw-one", "SELECT name FROM nodes"),
              std::vector<std::string>{"NODE1"});
    EXPECT_EQ(asNode("NODE1", "pw-one", "SELECT DISTINCT name FROM filespaces"),
              std::vector<std::string>{"/one"});
    EXPECT_EQ(asNode("NODE1", "pw-one", "SELECT count(*) FROM actlog WHERE node <> 'NODE1'"),
              std::vector<std::string>{"0"});
    // Changes to another node's rows touch nothing or are refused.
    EXPECT_TRUE(
        asNode("NODE1", "pw-one", "DELETE FROM objects WHERE node_id = " + node2Id).empty());
    EXPECT_TRUE(asNode("NODE1", "pw-one", "UPDATE filespaces SET name = 'x'").empty());
    EXPECT_TRUE(
        refused(asNode("NODE1", "pw-one",
                       "INSERT INTO objects(node_id, fs_id, hl, ll, type, owner, mc, "
                       "ins_date, deact_date, size, state, has_data, info) VALUES(" +
                           node2Id + ", 1, '/h', '/x', 1, '', '', 0, 0, 0, 1, false, '')")));
    EXPECT_TRUE(refused(asNode("NODE1", "pw-one",
                               "INSERT INTO actlog(date, node, severity, msg_id, text, obj_id) "
                               "VALUES(0, 'NODE2', 0, 'X', 'forged', 0)")));
    // A node's rights to delete are the administrator's to give.
    EXPECT_TRUE(refused(asNode("NODE1", "pw-one", "UPDATE nodes SET back_del = true")));
    EXPECT_TRUE(refused(asNode("NODE1", "pw-one", "UPDATE settings SET value = '1'")));
    EXPECT_EQ(repo.count("node2"), 3u);
    // The server itself checks the password.
    EXPECT_TRUE(refused(asNode("NODE1", "pw-two", "SELECT 1")));
    // A node of another repository may not even connect.
    Repo other;
    auto r =
        pgSql(repo.database(), "SELECT 1",
              pgSql(other.database(), "SELECT role FROM nodes WHERE name = 'NODE1'")[0], "pw-one");
    EXPECT_TRUE(refused(r));
}

TEST_F(Pg, NodesWorkSideBySideAndOneNodesDeletersTakeTurns) {
    uint32_t a = 0, b = 0, c = 0;
    ASSERT_EQ(logOn(&a, "node1", "pw-one"), RVK_RC_OK);
    ASSERT_EQ(logOn(&b, "node2", "pw-two"), RVK_RC_OK);
    ASSERT_EQ(logOn(&c, "node1", "pw-one"), RVK_RC_OK);
    auto mine = ids(query(a, "/one", "*", "*"));
    auto theirs = ids(query(b, "/two", "*", "*"));
    ASSERT_EQ(mine.size(), 5u);
    ASSERT_EQ(theirs.size(), 3u);

    // NODE1's open transaction does not hold NODE2 up.
    ASSERT_EQ(rvkBeginTxn(a), RVK_RC_OK);
    ASSERT_EQ(rvkDeleteObj(a, RVK_DEL_BACKUP_ID, delInfo(mine[0])), RVK_RC_OK);
    uint16_t reason = 0;
    EXPECT_EQ(deleteInTxn(b, {theirs[0]}, RVK_VOTE_COMMIT, &reason), RVK_RC_OK);

    // A second session of NODE1 deleting the same object waits for the
    // first, then finds the object gone: one deletion, nothing lost.
    int16_t otherEnd = 0;
    std::vector<int16_t> otherDeletes;
    uint16_t otherReason = 0;
    std::thread second([&] {
        otherEnd = deleteInTxn(c, {mine[0], mine[1]}, RVK_VOTE_COMMIT, &otherReason, &otherDeletes);
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_EQ(rvkEndTxn(a, RVK_VOTE_COMMIT, &reason), RVK_RC_OK);
    second.join();
    ASSERT_EQ(otherDeletes.size(), 2u);
    EXPECT_EQ(otherDeletes[0], RVK_RC_OBJ_NOT_FOUND);
    EXPECT_EQ(otherEnd, RVK_RC_CHECK_REASON_CODE);
    EXPECT_EQ(otherReason, RVK_RC_OBJ_NOT_FOUND);
    EXPECT_EQ(repo.count("node1"), 4u);
    EXPECT_EQ(repo.count("node2"), 2u);
    EXPECT_EQ(deletions(repo, mine[0]), 1u);
    EXPECT_EQ(deletions(repo, mine[1]), 0u);

    // A session that has read its objects in a query (the program always
    // does) sends their deletions without waiting for the answers: when
    // another session took one meanwhile, the commit says so and keeps all.
    ASSERT_EQ(query(c, "/one", "*", "*").objects.size(), 4u);
    EXPECT_EQ(deleteInTxn(a, {mine[1]}, RVK_VOTE_COMMIT, &reason), RVK_RC_OK);
    otherDeletes.clear();
    EXPECT_EQ(
        deleteInTxn(c, {mine[2], mine[1], mine[3]}, RVK_VOTE_COMMIT, &otherReason, &otherDeletes),
        RVK_RC_CHECK_REASON_CODE);
    EXPECT_EQ(otherDeletes, (std::vector<int16_t>{0, 0, 0}));
    EXPECT_EQ(otherReason, RVK_RC_OBJ_NOT_FOUND);
    EXPECT_EQ(repo.count("node1"), 3u);
    EXPECT_EQ(deletions(repo, mine[1]), 1u);
    EXPECT_EQ(deletions(repo, mine[2]), 0u);
    // What the session deleted itself it knows to be gone: at the call.
    EXPECT_EQ(deleteInTxn(c, {mine[2], mine[3]}, RVK_VOTE_COMMIT, &otherReason), RVK_RC_OK);
    otherDeletes.clear();
    EXPECT_EQ(deleteInTxn(c, {mine[4], mine[3]}, RVK_VOTE_COMMIT, &otherReason, &otherDeletes),
              RVK_RC_CHECK_REASON_CODE);
    EXPECT_EQ(otherDeletes, (std::vector<int16_t>{RVK_RC_OK, RVK_RC_OBJ_NOT_FOUND}));
    EXPECT_EQ(repo.count("node1"), 1u);
    std::vector<std::string> log = repo.actlog();
    EXPECT_EQ(std::count_if(log.begin(), log.end(),
                            [](const std::string& l) {
                                return l.find("Deleted backup object") != std::string::npos &&
                                       l.find("NODE1") != std::string::npos;
                            }),
              4);
}

TEST_F(Pg, ALostConnectionLeavesNothingHalfDone) {
    interruptTransaction([&] {
        auto killed = pgSql(repo.database(),
                            "SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE "
                            "usename = '" +
                                role("NODE1") + "'");
        ASSERT_EQ(killed, std::vector<std::string>{"t"});
    });
}

// Runs alone (its own CTest entry, RUN_SERIAL): it restarts the cluster
// that every other test uses.
class PgRestart : public Pg {};

TEST_F(PgRestart, InTheMiddleOfATransactionLeavesNothingHalfDone) {
    interruptTransaction([] {
        zebotest::RunResult r = zebotest::run(
            zebotest::sourceDir() + "/testing/pgcluster.sh restart " + getenv("VLT_TEST_PG"));
        ASSERT_EQ(r.status, 0) << r.err;
    });
}

}  // namespace

namespace {

TEST(PgCopy, SqliteRepositoryMovesWithPasswordsIdsStatesAndLog) {
    ASSERT_TRUE(pgMode()) << "these tests need the test cluster: VLT_TEST_PG names its folder";
    Repo from("", Repo::Kind::Sqlite);
    from.load("node1", objectLines("/one", 4));
    // The same names again: the first four become inactive.
    from.load("node1", objectLines("/one", 2));
    from.load("node2", objectLines("/two", 3));
    // NODE1 holds a hash of the kind older repositories hold (salted
    // PBKDF2-HMAC-SHA256), which the server takes over as its password
    // secret; NODE2's Argon2id hash is of a kind it cannot take over, so
    // NODE2 is copied without a server password.
    const unsigned char salt[16] = {3, 1, 4, 1, 5, 9, 2, 6, 5, 3, 5, 8, 9, 7, 9, 3};
    unsigned char hash[32];
    ASSERT_EQ(PKCS5_PBKDF2_HMAC("pw-one", 6, salt, sizeof salt, 20000, EVP_sha256(), 32, hash), 1);
    auto edit = zebotest::run(
        "sqlite3 '" + from.repository() + "' \"UPDATE nodes SET pw_salt = X'" +
        zebotest::hexText(salt, sizeof salt) + "', pw_hash = X'" +
        zebotest::hexText(hash, sizeof hash) + "', pw_iter = 20000 WHERE name = 'NODE1'\"");
    ASSERT_EQ(edit.status, 0) << edit.err;
    setPassword(from.optFile(), "node2", "changed-pw");

    std::string db = "copy" + std::to_string(getpid());
    ASSERT_TRUE(pgSql("postgres", "CREATE DATABASE " + db).empty());
    std::string toOpt = from.path("to.opt");
    zebotest::writeFile(toOpt, "REPOSITORY " + pgUri(db) + "\nNODENAME node1\n");
    auto r = zebotest::run("'" + vltadmPath() + "' copy '" + from.optFile() + "' '" + toOpt + "'");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("copied 2 nodes, 2 file spaces, 9 objects"), std::string::npos) << r.out;
    // A second copy into the same database is refused.
    EXPECT_NE(zebotest::run("'" + vltadmPath() + "' copy '" + from.optFile() + "' '" + toOpt + "'")
                  .status,
              0);

    EXPECT_EQ(zebotest::run("'" + vltadmPath() + "' -c '" + toOpt + "' actlog").out,
              from.adm("actlog").out);

    // The nodes log on with their old passwords, now checked by the server,
    // and see the same objects with the same ids and states.
    auto everything = [](const std::string& opt, const char* node, const char* pw) {
        EXPECT_EQ(setUp(opt), RVK_RC_OK);
        uint32_t h = 0;
        EXPECT_EQ(logOn(&h, node, pw), RVK_RC_OK) << opt;
        std::vector<std::string> out;
        for (const Obj& o : query(h, "*", "*", "*", RVK_STATE_ANY).objects)
            out.push_back(std::to_string(o.id) + " " + o.fs + o.hl + o.ll + " " +
                          std::to_string(o.state) + " " + std::to_string(o.size));
        rvkCleanUp(RVK_MULTITHREAD);
        return out;
    };
    auto before = everything(from.optFile(), "node1", "pw-one");
    EXPECT_EQ(before.size(), 6u);
    EXPECT_EQ(everything(toOpt, "node1", "pw-one"), before);
    EXPECT_NE(r.out.find("node NODE2 keeps its objects, but its password cannot be carried over"),
              std::string::npos)
        << r.out;
    ASSERT_EQ(setUp(toOpt), RVK_RC_OK);
    uint32_t refused = 0;
    EXPECT_EQ(logOn(&refused, "node2", "changed-pw"), RVK_RC_AUTH_FAILURE);
    rvkCleanUp(RVK_MULTITHREAD);
    setPassword(toOpt, "node2", "new-pw");
    EXPECT_EQ(everything(toOpt, "node2", "new-pw").size(), 3u);
    // New objects get ids after the copied ones.
    ASSERT_EQ(zebotest::run("'" + vltadmPath() + "' -c '" + toOpt + "' load node2",
                            objectLines("/new", 1))
                  .status,
              0);
    auto listing =
        zebotest::lines(zebotest::run("'" + vltadmPath() + "' -c '" + toOpt + "' list node2").out);
    ASSERT_FALSE(listing.empty());
    EXPECT_GT(strtoull(listing.back().c_str(), nullptr, 10),
              strtoull(before.back().c_str(), nullptr, 10));
    pgSql("postgres", "DROP DATABASE " + db + " WITH (FORCE)");
}

}  // namespace

// A long query: the library's query streams every object once and in
// order, and one ended early, with rows still on their way, leaves the
// session usable and a transaction after it works; vltadm's, through the
// server-side cursor a batch ahead, lists every object once.
TEST_F(Pg, LongQueriesReadAheadAndMayEndEarly) {
    const int n = 12001;  // a little over two batches
    repo.load("node1", objectLines("/long", n));
    uint32_t h = 0;
    ASSERT_EQ(logOn(&h, "node1", "pw-one"), RVK_RC_OK);
    std::vector<uint64_t> first;
    for (int pass = 0; pass < 2; ++pass) {
        auto all = query(h, "/long", "*", "*");
        EXPECT_EQ(all.lastRc, RVK_RC_FINISHED);
        std::vector<uint64_t> got = ids(all);
        if (pass == 0) first = got;
        EXPECT_EQ(got, first);
        std::sort(got.begin(), got.end());
        EXPECT_EQ(std::unique(got.begin(), got.end()), got.end());
        ASSERT_EQ(got.size(), static_cast<size_t>(n));

        rvkObjName name = BackupQuery::objectName("/long", "*", "*", RVK_OBJ_ANY);
        BackupQuery early(BackupQuery::library(), h);
        ASSERT_EQ(early.begin(&name, RVK_STATE_ACTIVE), RVK_RC_OK);
        for (int i = 0; i < 5001; ++i) ASSERT_EQ(early.next(), RVK_RC_MORE_DATA);
        EXPECT_EQ(early.end(), RVK_RC_OK);
    }
    std::string listing = repo.adm("list node1").out;
    size_t listed = 0;
    for (size_t at = listing.find("\t/long\t"); at != std::string::npos;
         at = listing.find("\t/long\t", at + 1))
        ++listed;
    EXPECT_EQ(listed, static_cast<size_t>(n));
    auto mine = ids(query(h, "/long", "*", "*"));
    uint16_t reason = 0;
    EXPECT_EQ(deleteInTxn(h, {mine[0], mine[6000]}, RVK_VOTE_COMMIT, &reason), RVK_RC_OK);
    EXPECT_EQ(rvkTerminate(h), RVK_RC_OK);
    EXPECT_EQ(repo.count("node1"), static_cast<size_t>(5 + n - 2));
}

TEST_F(Pg, LoadsIntoPartitionsAnalysedEmptyFindEarlierVersionsByIndex) {
    // Nodes land on the four partitions by their ids; ANALYZE records the
    // ones without rows as empty, and a statement planned then would scan
    // such a partition once per object of a load into it.
    const std::vector<std::string> nodes{"NODE3", "NODE4", "NODE5", "NODE6"};
    for (const auto& n : nodes) addNode(repo, n, "pw-new");
    pgSql(repo.database(), "ANALYZE objects");
    auto emptyAtAnalyze = pgSql(repo.database(),
                                "SELECT relname FROM pg_class WHERE relname LIKE 'objects_p_' "
                                "AND relkind = 'r' AND reltuples = 0");
    const std::string seqScans =
        "SELECT sum(seq_scan) FROM pg_stat_user_tables WHERE relname LIKE 'objects_p_'";
    const long before = std::stol(pgSql(repo.database(), seqScans).at(0));
    for (const auto& n : nodes) repo.load(n, objectLines("/grown", 300));
    const long after = std::stol(pgSql(repo.database(), seqScans).at(0));

    auto landed = pgSql(repo.database(),
                        "SELECT DISTINCT o.tableoid::regclass::text FROM objects o JOIN nodes n "
                        "ON n.id = o.node_id WHERE n.name IN ('NODE3', 'NODE4', 'NODE5', 'NODE6')");
    bool intoAnEmptyOne = std::any_of(landed.begin(), landed.end(), [&](const std::string& p) {
        return std::find(emptyAtAnalyze.begin(), emptyAtAnalyze.end(), p) != emptyAtAnalyze.end();
    });
    ASSERT_TRUE(intoAnEmptyOne) << "no node of the test landed on a partition analysed empty";
    EXPECT_LT(after - before, 10);
    for (const auto& n : nodes) EXPECT_EQ(repo.count(n), 300u);
}

// A query of many objects runs as two COPYs on two connections that share
// one snapshot. Every name twice (an older inactive version), over three
// high-level names, so that wherever the halves meet the order by name and
// then id is tested; a deletion committed while the query runs changes
// neither half; a query ended in the second half leaves both connections
// usable. The split depends on a 1% sample of the table's pages, some 70
// objects each: at 150,000 objects the sample fell below the split's 1,000
// about one run in ten; at 300,000 it holds about 3,000, more than four
// standard deviations clear of that.
TEST_F(Pg, LargeQueriesRunInTwoHalvesAndKeepTheirOrderAndSnapshot) {
    repo.load("node1", objectLines("/many", 1));
    const std::string db = repo.database();
    pgSql(db,
          "INSERT INTO objects(fs_id, node_id, hl, ll, type, owner, mc, ins_date, deact_date, "
          "size, state, has_data, info) SELECT f.id, f.node_id, '/h' || (i / 2 % 3), '/p' || "
          "lpad((i / 2)::text, 7, '0'), 1, '', 'DEFAULT', 20240102030405, 0, i, 2 - i % 2, "
          "false, ''::bytea FROM filespaces f, generate_series(2, 300001) i WHERE f.name = "
          "'/many'");
    const std::string count =
        "SELECT count(*) FROM objects o JOIN filespaces f ON f.id = o.fs_id WHERE f.name = "
        "'/many'";
    const size_t n = std::stoul(pgSql(db, count).at(0));
    ASSERT_EQ(n, 300001u);
    const std::string backends =
        "SELECT count(*) FROM pg_stat_activity WHERE usename = '" + role("NODE1") + "'";
    uint32_t h = 0;
    ASSERT_EQ(logOn(&h, "node1", "pw-one"), RVK_RC_OK);

    rvkObjName name = BackupQuery::objectName("/many", "*", "*", RVK_OBJ_ANY);
    BackupQuery all(BackupQuery::library(), h);
    ASSERT_EQ(all.begin(&name, RVK_STATE_ANY), RVK_RC_OK);
    ASSERT_EQ(all.next(), RVK_RC_MORE_DATA);
    EXPECT_EQ(pgSql(db, backends).at(0), "2") << "the query did not take a second connection";
    pgSql(db, "DELETE FROM objects WHERE size % 1000 = 7");  // another session's, committed
    std::vector<std::tuple<std::string, std::string, uint64_t>> got;
    do {
        const rvkQryRespBackup& o = all.object();
        got.emplace_back(o.objName.hl, o.objName.ll,
                         (static_cast<uint64_t>(o.objId.hi) << 32) | o.objId.lo);
    } while (all.next() == RVK_RC_MORE_DATA);
    EXPECT_EQ(all.lastRc(), RVK_RC_FINISHED);
    EXPECT_EQ(all.end(), RVK_RC_OK);
    EXPECT_EQ(got.size(), n);
    EXPECT_TRUE(std::adjacent_find(got.begin(), got.end(),
                                   [](const auto& a, const auto& b) { return !(a < b); }) ==
                got.end())
        << "not in strict order of high-level name, low-level name and id";

    // Ended early in the second half; then a whole query and a transaction.
    BackupQuery early(BackupQuery::library(), h);
    ASSERT_EQ(early.begin(&name, RVK_STATE_ANY), RVK_RC_OK);
    for (size_t i = 0; i < n * 3 / 4; ++i) ASSERT_EQ(early.next(), RVK_RC_MORE_DATA) << i;
    EXPECT_EQ(early.end(), RVK_RC_OK);
    auto mine = ids(query(h, "/many", "*", "*", RVK_STATE_ANY));
    EXPECT_EQ(mine.size(), std::stoul(pgSql(db, count).at(0)));
    uint16_t reason = 0;
    EXPECT_EQ(deleteInTxn(h, {mine.front(), mine.back()}, RVK_VOTE_COMMIT, &reason), RVK_RC_OK);
    EXPECT_EQ(rvkTerminate(h), RVK_RC_OK);
}
