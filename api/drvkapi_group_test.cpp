#include <gtest/gtest.h>
#include <string.h>

#include <string>

#include "api/api_testutil.h"
#include "api/backupquery.h"
#include "api/drvkapidl.h"
#include "api/repo_testutil.h"

namespace {

class GroupTest : public RepositoryTest {
  protected:
    void SetUp() override {
        RepositoryTest::SetUp();
        if (HasFatalFailure()) return;
        ASSERT_EQ(0, api_.Logon(&status_, &handle_));
    }
    void TearDown() override {
        api_.Logoff(&status_, handle_);
        RepositoryTest::TearDown();
    }
    int countActive(rvkObjName* name) {
        BackupQuery query(BackupQuery::wrapped(&api_, &status_), handle_);
        if (query.begin(name, RVK_STATE_ACTIVE) != 0) return -1;
        int n = 0;
        while (query.next() == RVK_RC_MORE_DATA) ++n;
        query.end();
        return n;
    }
    DRvkApiDL api_{"ORANODE", "secret", "", nullptr};
    uint32_t handle_ = 0;
};

TEST_F(GroupTest, OpeningRemovesLeftoverLeadersAndAbortsWhenRefused) {
    admin("load ORANODE", "/oracle\t/group\t/leader\t2024-01-02 03:04:05\t10\n");
    rvkObjName leader = BackupQuery::objectName("/oracle", "/group", "/leader", RVK_OBJ_FILE);
    ASSERT_EQ(1, countActive(&leader));

    TraceToFile trace({&TR_API});
    rvkU64 id = {1, 1};
    // This server has no object groups: the open is refused and voted down.
    EXPECT_EQ(RVK_RC_NOT_SUPPORTED, api_.groupAdd(&status_, handle_, 1, &leader, &id));
    EXPECT_EQ(0u, id.hi);
    EXPECT_EQ(0u, id.lo);
    EXPECT_EQ(0, countActive(&leader));
    EXPECT_EQ(RVK_RC_NOT_SUPPORTED, api_.groupAssign(&status_, handle_, 1, id, 0, nullptr));
    EXPECT_EQ(RVK_RC_OBJ_NOT_FOUND, api_.groupDelete(&status_, handle_, rvkU64{0, 999999}));
    std::string text = trace.finish();
    for (const char* line :
         {"Found open group leader /oracle/group/leader ID 0 ",
          "Deleting open group leader /oracle/group/leader\n", "Successfully deleted group ID 0 ",
          "GroupHandler Open returned 126, Voting ABORT\n", "rvkEndTxn successful\n",
          "Enter DRvkApi:::groupAssign()\n", "GroupHandler Assign returned 126, Voting ABORT\n",
          "rvkDeleteObj for  group ID 0 999999 failed with 124\n"}) {
        EXPECT_NE(std::string::npos, text.find(line)) << line;
    }
}

}  // namespace
