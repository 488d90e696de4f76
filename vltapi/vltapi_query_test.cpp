// Backup and file-space queries: wildcards, states, point in time, owners,
// object ids and sizes, and the query protocol's codes.
#include <gtest/gtest.h>
#include <string.h>

#include <set>
#include <utility>

#include "api/backupquery.h"
#include "rvkapi.h"
#include "vltapi/vltapi_testenv.h"

using namespace vltest;

namespace {

class Query : public ::testing::Test {
  protected:
    void SetUp() override {
        repo.load("node1",
                  "/oracle\t/ORCL\t/piece_a1\t2024-01-10 08:00:00\t100\n"
                  "/oracle\t/ORCL\t/piece_a2\t2024-01-20 08:00:00\t200\n"
                  "/oracle\t/TEST\t/piece_b1\t2024-02-10 08:00:00\t300\n"
                  "/oracle2\t/ORCL\t/piece_c1\t2024-03-10 08:00:00\t5000000000\n"
                  "/other\t/x\t/y\t2024-01-01 00:00:00\t1\n");
        repo.load("node2", "/oracle\t/ORCL\t/piece_z\t2024-01-10 08:00:00\t7\n");
        ASSERT_EQ(setUp(repo.optFile()), RVK_RC_OK);
        ASSERT_EQ(logOn(&h, "node1", "pw-one"), RVK_RC_OK);
    }
    void TearDown() override { rvkCleanUp(RVK_MULTITHREAD); }

    std::set<std::string> names(const QueryResult& r) {
        std::set<std::string> s;
        for (auto& o : r.objects) s.insert(o.fs + o.hl + o.ll);
        return s;
    }

    Repo repo;
    uint32_t h = 0;
};

TEST_F(Query, WildcardsOnEveryNamePart) {
    auto all = query(h, "*", "*", "*");
    EXPECT_EQ(all.lastRc, RVK_RC_FINISHED);
    EXPECT_EQ(all.objects.size(), 5u);  // node2's object is not among them
    EXPECT_EQ(names(query(h, "/oracle", "/*", "/*")),
              (std::set<std::string>{"/oracle/ORCL/piece_a1", "/oracle/ORCL/piece_a2",
                                     "/oracle/TEST/piece_b1"}));
    EXPECT_EQ(names(query(h, "/oracle?", "/*", "/*")),
              (std::set<std::string>{"/oracle2/ORCL/piece_c1"}));
    EXPECT_EQ(names(query(h, "/oracle*", "/ORCL", "/piece_a?")),
              (std::set<std::string>{"/oracle/ORCL/piece_a1", "/oracle/ORCL/piece_a2"}));
    EXPECT_EQ(names(query(h, "*", "*", "*1")).size(), 3u);
    // "*" spans the delimiter.
    EXPECT_EQ(names(query(h, "/ora*", "*", "*_b1")),
              (std::set<std::string>{"/oracle/TEST/piece_b1"}));
    // Exact names.
    EXPECT_EQ(query(h, "/oracle", "/ORCL", "/piece_a2").objects.size(), 1u);
    EXPECT_EQ(query(h, "/oracle", "/orcl", "/piece_a2").lastRc, RVK_RC_NO_MATCH);  // case-sensitive
    EXPECT_EQ(query(h, "/oracle", "/ORCL", "/nope*").lastRc, RVK_RC_NO_MATCH);
}

TEST_F(Query, PointInTimeTakesObjectsInsertedAtOrBefore) {
    EXPECT_EQ(query(h, "*", "*", "*", RVK_STATE_ACTIVE, date(2024, 1, 10, 8, 0, 0)).objects.size(),
              2u);
    EXPECT_EQ(
        query(h, "*", "*", "*", RVK_STATE_ACTIVE, date(2024, 1, 10, 7, 59, 59)).objects.size(), 1u);
    EXPECT_EQ(query(h, "*", "*", "*", RVK_STATE_ACTIVE, date(2023, 12, 31, 23, 59, 59)).lastRc,
              RVK_RC_NO_MATCH);
    EXPECT_EQ(query(h, "*", "*", "*", RVK_STATE_ACTIVE, date(2030, 1, 1)).objects.size(), 5u);
    // An impossible date is refused.
    EXPECT_EQ(query(h, "*", "*", "*", RVK_STATE_ACTIVE, date(2024, 2, 30)).beginRc,
              RVK_RC_INVALID_ARGUMENT);
}

TEST_F(Query, NewVersionMakesTheOldOneInactive) {
    repo.load("node1", "/oracle\t/ORCL\t/piece_a1\t2024-06-01 00:00:00\t111\n");
    auto active = query(h, "/oracle", "/ORCL", "/piece_a1");
    ASSERT_EQ(active.objects.size(), 1u);
    EXPECT_EQ(active.objects[0].size, 111u);
    EXPECT_EQ(active.objects[0].state, RVK_STATE_ACTIVE);
    auto inactive = query(h, "/oracle", "/ORCL", "/piece_a1", RVK_STATE_INACTIVE);
    ASSERT_EQ(inactive.objects.size(), 1u);
    EXPECT_EQ(inactive.objects[0].size, 100u);
    EXPECT_EQ(query(h, "/oracle", "/ORCL", "/piece_a1", RVK_STATE_ANY).objects.size(), 2u);
    // In March the old version was the active one.
    auto march = query(h, "/oracle", "/ORCL", "/piece_a1", RVK_STATE_ACTIVE, date(2024, 3, 1));
    ASSERT_EQ(march.objects.size(), 1u);
    EXPECT_EQ(march.objects[0].size, 100u);
}

TEST_F(Query, IdsAndSizesUseBothHalves) {
    auto r = query(h, "/oracle2", "*", "*");
    ASSERT_EQ(r.objects.size(), 1u);
    EXPECT_EQ(r.objects[0].size, 5000000000ULL);
    EXPECT_EQ(r.objects[0].ins.year, 2024);
    EXPECT_EQ(r.objects[0].ins.month, 3);
    EXPECT_EQ(r.objects[0].ins.hour, 8);
    // Ids agree with the admin tool's listing, and pass 2^32 soon.
    std::string listing = repo.adm("list node1").out;
    for (auto& o : query(h, "*", "*", "*").objects)
        EXPECT_NE(listing.find(std::to_string(o.id) + "\t" + o.fs + "\t" + o.hl + "\t" + o.ll),
                  std::string::npos);
    repo.load("node1", objectLines("/bulk", 300));
    bool high = false;
    for (auto& o : query(h, "/bulk", "*", "*").objects) high = high || (o.id >> 32) != 0;
    EXPECT_TRUE(high);
}

TEST_F(Query, OwnerAndObjectType) {
    repo.load("node1", "/owned\t/h\t/a\t2024-01-01 00:00:00\t1\n", "oracle");
    repo.load("node1", "/owned\t/h\t/b\t2024-01-01 00:00:00\t1\n", "grid");
    EXPECT_EQ(query(h, "/owned", "*", "*", RVK_STATE_ACTIVE, rvkDate{}, "oracle").objects.size(),
              1u);
    EXPECT_EQ(query(h, "/owned", "*", "*", RVK_STATE_ACTIVE, rvkDate{}, "*r*").objects.size(), 2u);
    EXPECT_EQ(query(h, "/owned", "*", "*", RVK_STATE_ACTIVE, rvkDate{}, "").objects.size(), 2u);
    EXPECT_EQ(query(h, "/owned", "*", "*", RVK_STATE_ACTIVE, rvkDate{}, nullptr, RVK_OBJ_FILE)
                  .objects.size(),
              2u);
    EXPECT_EQ(query(h, "/owned", "*", "*", RVK_STATE_ACTIVE, rvkDate{}, nullptr, RVK_OBJ_DIRECTORY)
                  .lastRc,
              RVK_RC_NO_MATCH);
}

TEST_F(Query, ProtocolErrors) {
    auto blk = record<rvkDataBlk>(RVK_DATABLK_VERSION);
    auto resp = record<rvkQryRespBackup>(0);
    blk.bufferPtr = reinterpret_cast<char*>(&resp);
    blk.bufferLen = sizeof resp;
    EXPECT_EQ(rvkGetNextQObj(h, &blk), RVK_RC_WRONG_STATE);
    EXPECT_EQ(rvkEndQuery(h), RVK_RC_WRONG_STATE);

    rvkObjName name = BackupQuery::objectName("*", "*", "*", RVK_OBJ_ANY);
    auto q = record<rvkQryBackupData>(1);
    q.objName = &name;
    q.objState = RVK_STATE_ACTIVE;
    EXPECT_EQ(rvkBeginQuery(h, RVK_QRY_BACKUP, &q), RVK_RC_BAD_STVERSION);
    q.stVersion = RVK_QRYBACKUPDATA_VERSION;
    EXPECT_EQ(rvkBeginQuery(h, RVK_QRY_ARCHIVE, &q), RVK_RC_NOT_SUPPORTED);
    EXPECT_EQ(rvkBeginQuery(h, RVK_QRY_BACKUP, nullptr), RVK_RC_NULL_POINTER);
    ASSERT_EQ(rvkBeginQuery(h, RVK_QRY_BACKUP, &q), RVK_RC_OK);
    EXPECT_EQ(rvkBeginQuery(h, RVK_QRY_BACKUP, &q), RVK_RC_WRONG_STATE);
    EXPECT_EQ(rvkBeginTxn(h), RVK_RC_WRONG_STATE);
    resp.stVersion = 5;
    EXPECT_EQ(rvkGetNextQObj(h, &blk), RVK_RC_BAD_STVERSION);
    resp.stVersion = RVK_QRYRESPBACKUP_VERSION;
    blk.bufferLen = sizeof resp - 1;
    EXPECT_EQ(rvkGetNextQObj(h, &blk), RVK_RC_BUFFER_TOO_SMALL);
    blk.bufferLen = sizeof resp;
    // The library writes each name up to its terminator and no further:
    // whatever the buffer held before, every name ends within its field.
    memset(&resp, 0xff, sizeof resp);
    resp.stVersion = RVK_QRYRESPBACKUP_VERSION;
    EXPECT_EQ(rvkGetNextQObj(h, &blk), RVK_RC_MORE_DATA);
    EXPECT_EQ(blk.numBytes, sizeof resp);
    for (const auto& field : {std::make_pair(resp.objName.fs, sizeof resp.objName.fs),
                              std::make_pair(resp.objName.hl, sizeof resp.objName.hl),
                              std::make_pair(resp.objName.ll, sizeof resp.objName.ll),
                              std::make_pair(resp.owner, sizeof resp.owner),
                              std::make_pair(resp.mcName, sizeof resp.mcName)})
        EXPECT_LT(strnlen(field.first, field.second), field.second);
    EXPECT_EQ('/', resp.objName.fs[0]);
    EXPECT_LE(resp.objInfoLen, sizeof resp.objInfo);
    EXPECT_EQ(rvkEndQuery(h), RVK_RC_OK);
}

TEST_F(Query, FileSpaces) {
    auto q = record<rvkQryFSData>(RVK_QRYFSDATA_VERSION);
    q.fsName = const_cast<char*>("/oracle*");
    ASSERT_EQ(rvkBeginQuery(h, RVK_QRY_FILESPACE, &q), RVK_RC_OK);
    rvkQryRespFS resp;
    auto blk = record<rvkDataBlk>(RVK_DATABLK_VERSION);
    blk.bufferPtr = reinterpret_cast<char*>(&resp);
    blk.bufferLen = sizeof resp;
    std::set<std::string> found;
    int16_t rc;
    for (;;) {
        resp = record<rvkQryRespFS>(RVK_QRYRESPFS_VERSION);
        rc = rvkGetNextQObj(h, &blk);
        if (rc != RVK_RC_MORE_DATA) break;
        found.insert(resp.fsName);
    }
    EXPECT_EQ(rc, RVK_RC_FINISHED);
    EXPECT_EQ(found, (std::set<std::string>{"/oracle", "/oracle2"}));
    EXPECT_EQ(rvkEndQuery(h), RVK_RC_OK);
}

}  // namespace
