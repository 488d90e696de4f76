// The orphan search against the in-process server: its answer to each
// failing call, what the list keeps and whether the query is ended.
#include "sync/getpicklist.h"

#include <gtest/gtest.h>

#include <string>

#include "catalogs/zebo_names.h"
#include "common/nls/nls.h"
#include "sync/fakeserver_testutil.h"
#include "sync/linkedlist.h"
#include "testing/seam.h"

namespace {

using synctest::Call;

struct Search {
    int16_t rc;
    int orphans;
    std::string shown;
    std::string trace;
};

// The search over the scene's pieces; piece2 is in the catalog.
Search search(synctest::FakeScene* scene, int pieces) {
    scene->pieces(pieces);
    nlDateTime from = {2024, 1, 1, 0, 0, 0};
    nlDateTime to = {2024, 12, 31, 0, 0, 0};
    BTree* index = utNewTree();
    EXPECT_EQ(0, IsertItem(index, "piece2", 7, utInsertFilename, utFindFilename));
    SyncList list;
    testing::internal::CaptureStdout();
    Search s;
    s.rc = utGetPickList(&from, &to, &scene->ctx, &list, index);
    s.shown = testing::internal::GetCapturedStdout();
    s.orphans = list.getCount();
    s.trace = scene->trace.finish();
    utDeleteTree(index);
    return s;
}

std::string text(unsigned msg) {
    char* t = nlFormatText(msg);
    std::string s = t != nullptr ? t : "";
    free(t);
    return s;
}

TEST(GetPickListTest, FailedCallsBeforeTheFetchEndTheSearchWithTheirCode) {
    synctest::FakeScene noInfo;
    noInfo.server.fail(Call::QuerySessInfo, 1, RVK_RC_INVALID_HANDLE);
    Search s = search(&noInfo, 3);
    EXPECT_EQ(113, s.rc);
    EXPECT_EQ(0, noInfo.server.calls(Call::BeginQuery));
    EXPECT_NE(std::string::npos,
              s.trace.find("RVKQUERYSESSINFO() failed. rvkHandle = 7, rc = 113"));
    EXPECT_NE(std::string::npos, noInfo.errorLog().find("RVK0113E"));

    synctest::FakeScene busy;
    busy.server.fail(Call::BeginQuery, 1, RVK_RC_SERVER_BUSY);
    s = search(&busy, 3);
    EXPECT_EQ(130, s.rc);
    EXPECT_EQ(0, busy.server.calls(Call::EndQuery));
    EXPECT_NE(std::string::npos, s.shown.find("RVK0130E")) << "shown between separators";
    EXPECT_NE(std::string::npos, s.trace.find("Exit - RVKBEGINQUERY() failed rc = 130"));
}

TEST(GetPickListTest, TheFetchsEndDecidesTheExitButTheListIsKept) {
    // Kept deliberately: a fetch that fails half-way keeps the orphans so
    // far (piece1; piece2 is in the catalog).
    synctest::FakeScene lost;
    lost.server.fail(Call::GetNextQObj, 3, RVK_RC_COMM_FAILURE);
    Search s = search(&lost, 5);
    EXPECT_EQ(0, s.rc);
    EXPECT_EQ(1, s.orphans);
    EXPECT_EQ(1, lost.server.calls(Call::EndQuery));
    EXPECT_NE(std::string::npos, s.trace.find("Exit - RVKGETNEXTQOBJ() ended with rc = -50"));

    // Nothing on the server: "no match", the notice, and the query ended.
    synctest::FakeScene empty;
    s = search(&empty, 0);
    EXPECT_EQ(0, s.rc);
    EXPECT_EQ(1, empty.server.calls(Call::EndQuery));
    EXPECT_NE(std::string::npos, s.shown.find(text(MSG_NO_ORPHANS)));
    EXPECT_NE(std::string::npos, s.trace.find("Exit - No Match rc =2"));

    // A refused end of the query changes nothing.
    synctest::FakeScene noEnd;
    noEnd.server.fail(Call::EndQuery, 1, RVK_RC_SERVER_BUSY);
    s = search(&noEnd, 3);
    EXPECT_EQ(0, s.rc);
    EXPECT_EQ(2, s.orphans);
    EXPECT_NE(std::string::npos, s.trace.find("2 orphans"));
    EXPECT_NE(std::string::npos, s.trace.find("Exit - OK"));
}

TEST(GetPickListTest, AnOrphanThatCannotBeStoredEndsTheSearchWithTheQueryOpen) {
    synctest::FakeScene scene;
    zebotest::RefusedAllocation noNode(sizeof(SyncList::Node));
    Search s = search(&scene, 3);
    EXPECT_EQ(GPL_NO_MEMORY, s.rc);
    EXPECT_EQ(0, s.orphans);
    EXPECT_EQ(0, scene.server.calls(Call::EndQuery));
    EXPECT_NE(std::string::npos, s.shown.find(text(MSG_NO_MEMORY)));
    EXPECT_NE(std::string::npos, s.trace.find("Exit - No Memory. rc = "));
}

}  // namespace
