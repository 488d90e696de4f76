// Reading ahead against the in-process server: the same objects in the same
// order as a plain loop, whatever the ring's wrapping; the fetch's last code
// kept; no fetch after a failure or after a stop.
#include "sync/objectfetch.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "api/dbaseapi.h"
#include "api/drvkapi.h"
#include "testing/fakeserver.h"

namespace {

using Call = zebotest::FakeServer::Call;

struct Fetched {
    std::vector<std::string> names;
    int lastRc;
    int fetches;
};

class ObjectFetcherTest : public ::testing::Test {
  protected:
    // Objects "/koruorc/db1/p<n>" for n from 1 to `count`.
    void objects(int count) {
        for (int n = 1; n <= count; ++n) server_.add("/koruorc", "/db1", "/p" + std::to_string(n));
    }

    // Every object through a fetcher, `ahead` or not, until its end or
    // until `stopAfter` objects (0: no stop); the query is ended after.
    Fetched fetchAll(bool ahead, size_t stopAfter = 0) {
        BackupQuery query(BackupQuery::wrapped(gRvkApiObjP, RvkApiStatusObjP), 7);
        rvkObjName name = BackupQuery::objectName("/koruorc", "/*", "/*", RVK_OBJ_FILE);
        EXPECT_EQ(0, query.begin(&name, RVK_STATE_ACTIVE));
        Fetched f;
        {
            ObjectFetcher fetcher(&query, ahead);
            EXPECT_EQ(ahead, fetcher.ahead());
            while (rvkQryRespBackup* obj = fetcher.next()) {
                f.names.push_back(obj->objName.ll);
                if (f.names.size() == stopAfter) {
                    fetcher.stop();
                    EXPECT_EQ(nullptr, fetcher.next());
                    break;
                }
            }
            EXPECT_FALSE(fetcher.ahead()) << "the thread has ended";
            f.lastRc = query.lastRc();
        }
        f.fetches = server_.calls(Call::GetNextQObj);
        EXPECT_EQ(0, query.end()) << "the query was left open for its owner to end";
        return f;
    }

    zebotest::FakeServer server_;
};

TEST_F(ObjectFetcherTest, AheadDeliversWhatAPlainLoopDoesPastManyTurnsOfTheRing) {
    // Three turns of the ring and a part.
    const int count = 3 * AHEAD_BATCHES * ObjectFetcher::kRows + 7;
    objects(count);
    Fetched plain = fetchAll(false);
    ASSERT_EQ(static_cast<size_t>(count), plain.names.size());
    EXPECT_EQ("/p1", plain.names.front());
    EXPECT_EQ(RVK_RC_FINISHED, plain.lastRc);
    EXPECT_EQ(count + 1, plain.fetches);

    Fetched ahead = fetchAll(true);
    EXPECT_EQ(plain.names, ahead.names);
    EXPECT_EQ(RVK_RC_FINISHED, ahead.lastRc);
    EXPECT_EQ(2 * (count + 1), ahead.fetches) << "one fetch per object and one for the end";

    // A query that ends on a batch's edge and one with nothing at all.
    zebotest::FakeServer edge;
    for (int n = 1; n <= ObjectFetcher::kRows; ++n)
        edge.add("/koruorc", "/db1", "/e" + std::to_string(n));
    Fetched e = fetchAll(true);
    EXPECT_EQ(static_cast<size_t>(ObjectFetcher::kRows), e.names.size());
    EXPECT_EQ(RVK_RC_FINISHED, e.lastRc);
    zebotest::FakeServer empty;
    Fetched none = fetchAll(true);
    EXPECT_TRUE(none.names.empty());
    EXPECT_EQ(RVK_RC_NO_MATCH, none.lastRc);
}

TEST_F(ObjectFetcherTest, AFailedFetchEndsBothWaysAfterTheObjectsBeforeIt) {
    objects(2000);
    server_.fail(Call::GetNextQObj, 1500, RVK_RC_COMM_FAILURE);
    Fetched ahead = fetchAll(true);
    EXPECT_EQ(1499u, ahead.names.size());
    EXPECT_EQ("/p1499", ahead.names.back());
    EXPECT_EQ(RVK_RC_COMM_FAILURE, ahead.lastRc);
    EXPECT_EQ(1500, ahead.fetches) << "nothing fetched after the failure";

    zebotest::FakeServer again;
    for (int n = 1; n <= 2000; ++n) again.add("/koruorc", "/db1", "/p" + std::to_string(n));
    again.fail(Call::GetNextQObj, 1500, RVK_RC_COMM_FAILURE);
    Fetched plain = fetchAll(false);
    EXPECT_EQ(ahead.names, plain.names);
    EXPECT_EQ(RVK_RC_COMM_FAILURE, plain.lastRc);
}

TEST_F(ObjectFetcherTest, AStopEndsTheThreadWithTheQueryOpenAndTheRingAtMostAhead) {
    objects(3 * AHEAD_BATCHES * ObjectFetcher::kRows);
    Fetched f = fetchAll(true, 10);
    EXPECT_EQ(10u, f.names.size());
    EXPECT_EQ(RVK_RC_MORE_DATA, f.lastRc);
    // The thread ran at most the ring ahead of the reader.
    EXPECT_LE(f.fetches, AHEAD_BATCHES * ObjectFetcher::kRows);
}

}  // namespace
