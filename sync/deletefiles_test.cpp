// The deletion of the picked orphans against the in-process server: which
// transactions it makes, what a failed call leaves on the server and in the
// pass record, and the code it returns.
#include "sync/deletefiles.h"

#include <gtest/gtest.h>
#include <stdio.h>

#include <string>

#include "sync/consoleline.h"
#include "sync/deletepass.h"
#include "sync/fakeserver_testutil.h"
#include "sync/getpicklist.h"

namespace {

using synctest::Call;

// The scene's pieces, all orphans and all picked, then the deletion,
// confirmed with `answer`; the screen goes to *shown.
int16_t deleteAll(synctest::FakeScene* scene, int count, UtDeletePass* pass,
                  const char* answer = "y\n", std::string* shown = nullptr) {
    scene->pieces(count);
    nlDateTime from = {2024, 1, 1, 0, 0, 0};
    nlDateTime to = {2024, 12, 31, 0, 0, 0};
    SyncList list;
    BTree* index = utNewTree();
    testing::internal::CaptureStdout();
    EXPECT_EQ(0, utGetPickList(&from, &to, &scene->ctx, &list, index));
    utDeleteTree(index);
    for (SyncList::Node* n = list.getFirst(); n != nullptr; n = list.getNext(n))
        n->element.picked = 1;
    FILE* in = fmemopen(const_cast<char*>(answer), strlen(answer), "r");
    FILE* old = zeboSetConsoleInput(in);
    int16_t rc = utDeleteFiles(&list, &scene->ctx, pass);
    zeboSetConsoleInput(old);
    fclose(in);
    std::string out = testing::internal::GetCapturedStdout();
    if (shown != nullptr) *shown = out;
    return rc;
}

// The pass's outcomes, a letter an entry: N not attempted, P pending, C
// committed, R rolled back, F failed.
std::string outcomes(const UtDeletePass& pass) {
    std::string letters;
    for (const UtDeleteEntry& e : pass.entries) letters += "NPCRF"[e.outcome];
    return letters;
}

TEST(DeleteFilesTest, PickedOrphansGoInTransactionsOfTheServersMaximumOnlyAfterYes) {
    synctest::FakeScene scene;
    UtDeletePass pass;
    EXPECT_EQ(0, deleteAll(&scene, 5, &pass));
    EXPECT_EQ("BDDCBDDCBDC", scene.server.transactions());
    EXPECT_EQ("", scene.left());
    EXPECT_EQ("CCCCC", outcomes(pass));

    synctest::FakeScene refused;
    EXPECT_EQ(0, deleteAll(&refused, 3, &pass, "no\n"));
    EXPECT_EQ("", refused.server.transactions());
    EXPECT_EQ("123", refused.left());
}

TEST(DeleteFilesTest, AFailedCallEndsThePassWithItsCodeAndTheServerKeepsTheRest) {
    struct Case {
        Call call;
        int nth;
        int16_t rc;
        uint16_t reason;
        const char* transactions;
        const char* left;
        const char* outcomes;
        const char* traced;
    } const cases[] = {
        // Busy at the third deletion: the second transaction is aborted.
        {Call::DeleteObj, 3, RVK_RC_SERVER_BUSY, 0, "BDDCBDA", "345", "CCFNN",
         "Exit - RVKDELETEOBJ() failed. rc = 130"},
        // The connection is lost at the first deletion.
        {Call::DeleteObj, 1, RVK_RC_COMM_FAILURE, 0, "BDA", "12345", "FNNNN",
         "RVKDELETEOBJ() failed rc = -50"},
        {Call::BeginTxn, 1, RVK_RC_INVALID_HANDLE, 0, "B", "12345", "NNNNN",
         "Exit RVKBEGINTXN() failed rc = 113"},
        {Call::BeginTxn, 2, RVK_RC_INVALID_HANDLE, 0, "BDDCB", "345", "CCNNN",
         "Exit - RVKBEGINTXN(). failed rc = 113"},
        // The second commit fails outright, or with a reason.
        {Call::EndTxn, 2, RVK_RC_SERVER_BUSY, 0, "BDDCBDDC", "345", "CCRRN",
         "Rolled back: '/koruorc/db1/piece4' is still on the VLT Server"},
        {Call::EndTxn, 2, RVK_RC_CHECK_REASON_CODE, RVK_RC_SERVER_BUSY, "BDDCBDDC", "345", "CCRRN",
         "Reason = 130"},
        // The last commit, of a transaction of one.
        {Call::EndTxn, 3, RVK_RC_SERVER_BUSY, 0, "BDDCBDDCBDC", "5", "CCCCR",
         "Exit RVKENDTXN() failed rc = 130"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.traced);
        synctest::FakeScene scene;
        scene.server.fail(c.call, c.nth, c.rc, 0, c.reason);
        UtDeletePass pass;
        std::string shown;
        int16_t rc = deleteAll(&scene, 5, &pass, "y\n", &shown);
        EXPECT_EQ(c.rc == RVK_RC_CHECK_REASON_CODE ? c.reason : c.rc, rc);
        EXPECT_EQ(c.transactions, scene.server.transactions());
        EXPECT_EQ(c.left, scene.left());
        EXPECT_EQ(c.outcomes, outcomes(pass));
        EXPECT_NE(std::string::npos, scene.trace.finish().find(c.traced));
        // The server's text for the code is in the error log.
        char code[16];
        snprintf(code, sizeof code, "RVK%04dE", abs(rc));
        EXPECT_NE(std::string::npos, scene.errorLog().find(code)) << scene.errorLog();
    }
}

TEST(DeleteFilesTest, AnAbortThatFailsGivesItsOwnCode) {
    synctest::FakeScene scene;
    scene.server.fail(Call::DeleteObj, 1, RVK_RC_SERVER_BUSY);
    scene.server.fail(Call::EndTxn, 1, RVK_RC_WRONG_STATE);
    UtDeletePass pass;
    EXPECT_EQ(RVK_RC_WRONG_STATE, deleteAll(&scene, 2, &pass));
    EXPECT_EQ("BDA", scene.server.transactions());
    EXPECT_NE(std::string::npos, scene.trace.finish().find("RVKENDTXN failed rc = 115"));
}

}  // namespace
