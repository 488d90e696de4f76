// Transactions and deletion: commit, abort, another node's objects, the
// server's maximum, and two processes deleting from one repository.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>

#include "rvkapi.h"
#include "vltapi/vltapi_testenv.h"

using namespace vltest;

namespace {

class Txn : public ::testing::Test {
  protected:
    void SetUp() override {
        repo.load("node1", objectLines("/fs", 10));
        repo.load("node2", objectLines("/fs", 3));
        ASSERT_EQ(setUp(repo.optFile()), RVK_RC_OK);
        ASSERT_EQ(logOn(&h, "node1", "pw-one"), RVK_RC_OK);
        mine = ids(query(h, "*", "*", "*"));
        ASSERT_EQ(mine.size(), 10u);
    }
    void TearDown() override { rvkCleanUp(RVK_MULTITHREAD); }

    std::vector<uint64_t> nodeTwoIds() {
        uint32_t h2 = 0;
        EXPECT_EQ(logOn(&h2, "node2", "pw-two"), RVK_RC_OK);
        auto v = ids(query(h2, "*", "*", "*"));
        rvkTerminate(h2);
        return v;
    }

    Repo repo;
    uint32_t h = 0;
    std::vector<uint64_t> mine;
};

TEST_F(Txn, CommitDeletesAndLogsEachObjectAbortKeepsAll) {
    uint16_t reason = 99;
    std::vector<int16_t> rcs;
    ASSERT_EQ(deleteInTxn(h, {mine[0], mine[1], mine[2]}, RVK_VOTE_COMMIT, &reason, &rcs),
              RVK_RC_OK);
    EXPECT_EQ(reason, 0);
    EXPECT_EQ(rcs, (std::vector<int16_t>{0, 0, 0}));
    EXPECT_EQ(repo.count("node1"), 7u);
    int logged = 0;
    for (auto& line : repo.actlog()) {
        if (line.find("Deleted backup object " + std::to_string(mine[1]) + " /fs/h/o") !=
                std::string::npos &&
            line.find("NODE1") != std::string::npos)
            ++logged;
    }
    EXPECT_EQ(logged, 1);

    // An aborted transaction keeps everything.
    reason = 99;
    ASSERT_EQ(deleteInTxn(h, {mine.begin() + 3, mine.end()}, RVK_VOTE_ABORT, &reason), RVK_RC_OK);
    EXPECT_EQ(reason, 0);
    EXPECT_EQ(repo.count("node1"), 7u);
    EXPECT_EQ(query(h, "*", "*", "*").objects.size(), 7u);
}

TEST_F(Txn, AnotherNodesObjectIsRefusedAndDoomsTheCommit) {
    auto theirs = nodeTwoIds();
    ASSERT_EQ(theirs.size(), 3u);
    ASSERT_EQ(rvkBeginTxn(h), RVK_RC_OK);
    EXPECT_EQ(rvkDeleteObj(h, RVK_DEL_BACKUP_ID, delInfo(mine[0])), RVK_RC_OK);
    EXPECT_EQ(rvkDeleteObj(h, RVK_DEL_BACKUP_ID, delInfo(theirs[0])), RVK_RC_OBJ_NOT_FOUND);
    EXPECT_EQ(rvkDeleteObj(h, RVK_DEL_BACKUP_ID, delInfo(999)), RVK_RC_OBJ_NOT_FOUND);
    uint16_t reason = 0;
    EXPECT_EQ(rvkEndTxn(h, RVK_VOTE_COMMIT, &reason), RVK_RC_CHECK_REASON_CODE);
    EXPECT_EQ(reason, RVK_RC_OBJ_NOT_FOUND);
    EXPECT_EQ(repo.count("node1"), 10u);
    EXPECT_EQ(repo.count("node2"), 3u);
}

TEST_F(Txn, TheServerMaximumIsEnforced) {
    ASSERT_EQ(repo.adm("set maxobjpertxn 3").status, 0);
    ASSERT_EQ(rvkBeginTxn(h), RVK_RC_OK);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(rvkDeleteObj(h, RVK_DEL_BACKUP_ID, delInfo(mine[i])), RVK_RC_OK);
    EXPECT_EQ(rvkDeleteObj(h, RVK_DEL_BACKUP_ID, delInfo(mine[3])), RVK_RC_TXN_LIMIT);
    uint16_t reason = 0;
    EXPECT_EQ(rvkEndTxn(h, RVK_VOTE_COMMIT, &reason), RVK_RC_CHECK_REASON_CODE);
    EXPECT_EQ(reason, RVK_RC_TXN_LIMIT);
    // Within the maximum, transactions of 3, 3, 3 and 1 delete all ten.
    for (size_t i = 0; i < mine.size(); i += 3) {
        std::vector<uint64_t> batch(mine.begin() + i, mine.begin() + std::min(i + 3, mine.size()));
        ASSERT_EQ(deleteInTxn(h, batch, RVK_VOTE_COMMIT, &reason), RVK_RC_OK);
    }
    EXPECT_EQ(repo.count("node1"), 0u);
}

TEST_F(Txn, ExtendedEndAndStateErrors) {
    EXPECT_EQ(rvkDeleteObj(h, RVK_DEL_BACKUP_ID, delInfo(mine[0])), RVK_RC_WRONG_STATE);
    uint16_t reason = 0;
    EXPECT_EQ(rvkEndTxn(h, RVK_VOTE_COMMIT, &reason), RVK_RC_WRONG_STATE);
    ASSERT_EQ(rvkBeginTxn(h), RVK_RC_OK);
    EXPECT_EQ(rvkBeginTxn(h), RVK_RC_WRONG_STATE);
    EXPECT_EQ(rvkDeleteObj(h, RVK_DEL_ARCHIVE, delInfo(mine[0])), RVK_RC_NOT_SUPPORTED);
    EXPECT_EQ(rvkEndTxn(h, 7, &reason), RVK_RC_INVALID_ARGUMENT);
    auto in = record<rvkEndTxnExIn>(RVK_ENDTXNEXIN_VERSION);
    in.handle = h;
    in.vote = RVK_VOTE_ABORT;
    auto out = record<rvkEndTxnExOut>(RVK_ENDTXNEXOUT_VERSION);
    EXPECT_EQ(rvkEndTxnEx(&in, &out), RVK_RC_OK);
    EXPECT_EQ(out.reason, 0);
    ASSERT_EQ(rvkBeginTxn(h), RVK_RC_OK);
    ASSERT_EQ(rvkDeleteObj(h, RVK_DEL_BACKUP_ID, delInfo(mine[0])), RVK_RC_OK);
    in.vote = RVK_VOTE_COMMIT;
    EXPECT_EQ(rvkEndTxnEx(&in, &out), RVK_RC_OK);
    EXPECT_EQ(repo.count("node1"), 9u);
}

TEST_F(Txn, NodeWithoutDeleteRight) {
    ASSERT_EQ(repo.adm("node set node1 backdel no").status, 0);
    uint32_t h2 = 0;
    ASSERT_EQ(logOn(&h2, "node1", "pw-one"), RVK_RC_OK);
    ASSERT_EQ(rvkBeginTxn(h2), RVK_RC_OK);
    EXPECT_EQ(rvkDeleteObj(h2, RVK_DEL_BACKUP_ID, delInfo(mine[0])), RVK_RC_DELETE_NOT_ALLOWED);
    uint16_t reason = 0;
    EXPECT_EQ(rvkEndTxn(h2, RVK_VOTE_ABORT, &reason), RVK_RC_OK);
}

TEST_F(Txn, TwoProcessesDeleteFromOneRepository) {
    repo.load("node1", objectLines("/many", 1200));
    auto all = ids(query(h, "/many", "*", "*"));
    ASSERT_EQ(all.size(), 1200u);
    rvkCleanUp(RVK_MULTITHREAD);
    pid_t pids[2];
    for (int child = 0; child < 2; ++child) {
        pids[child] = fork();
        ASSERT_GE(pids[child], 0);
        if (pids[child] == 0) {
            uint32_t ch = 0;
            if (setUp(repo.optFile()) != RVK_RC_OK || logOn(&ch, "node1", "pw-one") != RVK_RC_OK)
                _exit(2);
            std::vector<uint64_t> batch;
            uint16_t reason = 0;
            for (size_t i = child; i < all.size(); i += 2) {
                batch.push_back(all[i]);
                if (batch.size() == 256 || i + 2 >= all.size()) {
                    if (deleteInTxn(ch, batch, RVK_VOTE_COMMIT, &reason) != RVK_RC_OK) _exit(3);
                    batch.clear();
                }
            }
            _exit(rvkTerminate(ch) == RVK_RC_OK ? 0 : 4);
        }
    }
    for (pid_t p : pids) {
        int status = -1;
        waitpid(p, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
    }
    EXPECT_EQ(repo.count("node1"), 10u);
    size_t logged = 0;
    for (auto& line : repo.actlog())
        logged += line.find("Deleted backup object") != std::string::npos;
    EXPECT_EQ(logged, 1200u);
}

}  // namespace
