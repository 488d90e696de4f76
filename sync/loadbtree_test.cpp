// Reading spooled handles into the index: tokens, pieces of long lines,
// SQL*Plus's own reply, duplicates across catalogs, and the failures.
#include "sync/loadbtree.h"

#include <gtest/gtest.h>

#include <stdlib.h>

#include <algorithm>
#include <string>
#include <vector>

#include "agent/zebomem.h"
#include "common/ut/traceclasses.h"
#include "sync/catquery.h"
#include "sync/syncdb_testutil.h"
#include "testing/seam.h"
#include "testing/testutil.h"

namespace {

using zebotest::TempDir;

bool has(BTree* index, const std::string& key) {
    return SearchItem(index, key.c_str(), utFindFilename) != nullptr;
}

class LoadTest : public ::testing::Test {
  protected:
    void SetUp() override {
        synctest::initMessages();
        index = utNewTree();
        ASSERT_NE(nullptr, index);
    }
    void TearDown() override { utDeleteTree(index); }
    TempDir dir;
    BTree* index = nullptr;
};

TEST_F(LoadTest, StoresTheFirstTokenOfEveryPiece) {
    std::string longLine = std::string(512, 'x') + std::string(88, 'y');
    std::string spool = dir.file("one.out");
    zebotest::writeFile(spool,
                        "\n"
                        "Session altered.\n"
                        "  abc, def\n"
                        "\t,c-1-20240101-00\tjunk\n"
                        "abc\n" +
                            longLine + "\n");
    ASSERT_EQ(0, utLoadBTree(spool.c_str(), index));
    EXPECT_TRUE(has(index, "abc"));
    EXPECT_TRUE(has(index, "c-1-20240101-00"));
    EXPECT_TRUE(has(index, std::string(512, 'x')));
    EXPECT_TRUE(has(index, std::string(88, 'y')));
    EXPECT_FALSE(has(index, "def"));
    EXPECT_FALSE(has(index, "Session"));
    EXPECT_FALSE(has(index, "junk"));
    EXPECT_FALSE(has(index, longLine));
    EXPECT_FALSE(zebotest::fileExists(spool));

    // A second catalog into the same index: its duplicates are no error.
    std::string second = dir.file("two.out");
    zebotest::writeFile(second, "abc\nghi\n");
    ASSERT_EQ(0, utLoadBTree(second.c_str(), index));
    EXPECT_TRUE(has(index, "ghi"));
    EXPECT_FALSE(has(index, "ABC"));
}

// SQL*Plus (here its simulator) breaks values longer than the script's line
// size over several lines; every handle must still be found whole.
TEST_F(LoadTest, HandlesThatSqlPlusBreaksOverLinesAreStoredWhole) {
    setenv("SQLPLUS_SIM_DIR", dir.file("catalogs").c_str(), 1);
    ASSERT_EQ(0, zebotest::run("sqlplus --sim-create wide rman pw").status);
    std::vector<std::string> handles;
    std::string rows;
    int n = 0;
    // Wide handles alone, in runs, and between short ones.
    for (size_t length : {79, 80, 81, 80, 160, 161, 1024, 1024, 80, 80, 160, 5, 81}) {
        std::string h = "h" + std::to_string(++n) + "_";
        h += std::string(length - h.size(), static_cast<char>('a' + n));
        handles.push_back(h);
        // The catalog lists them in the order of their completion.
        rows += h + "\t2024-01-01 00:00:" + (n < 10 ? "0" : "") + std::to_string(n) + "\n";
        if (n % 3 == 0) {
            handles.push_back("s" + std::to_string(n));
            rows += handles.back() + "\t2024-01-01 00:00:" + (n < 10 ? "0" : "") +
                    std::to_string(n) + "\n";
        }
    }
    ASSERT_EQ(0, zebotest::run("sqlplus --sim-load wide", rows).status);
    CatalogConnection connection = {"rman", "pw", "wide"};
    nlDateTime from = {2024, 1, 1, 0, 0, 0};
    std::string spool = dir.file("wide.out");
    testing::internal::CaptureStdout();
    int16_t rc =
        zeboQueryCatalog(&connection, dir.file("wide.sql").c_str(), spool.c_str(), &from, &from);
    testing::internal::GetCapturedStdout();
    unsetenv("SQLPLUS_SIM_DIR");
    ASSERT_EQ(0, rc);
    // The spool holds the handles broken at 80: the twelfth line of the
    // first 1,024-character handle is a line of its own.
    ASSERT_EQ(1024u, handles[8].size());
    std::vector<std::string> lines = zebotest::lines(zebotest::readFile(spool));
    EXPECT_NE(lines.end(), std::find(lines.begin(), lines.end(), handles[8].substr(880, 80)));

    unsigned long read = 0;
    ASSERT_EQ(0, utLoadBTree(spool.c_str(), index, &read));
    for (const std::string& h : handles) EXPECT_TRUE(has(index, h)) << h.size() << " " << h;
    // One line per started 80 characters; "15 rows selected." is no handle.
    unsigned long spooled = 0;
    for (const std::string& h : handles) spooled += (h.size() + 79) / 80;
    EXPECT_EQ(spooled, read);
}

TEST_F(LoadTest, FailuresStopTheLoad) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(2576, utLoadBTree(dir.file("missing.out").c_str(), index));
    EXPECT_NE(std::string::npos,
              testing::internal::GetCapturedStdout().find(dir.file("missing.out")));

    // An index that cannot grow ends the load with its code; the spool file
    // still goes, unless ORCLEVEL2 keeps it.
    std::string spool = dir.file("one.out");
    zebotest::writeFile(spool, "abc\n");
    int16_t rc;
    {
        zebotest::ScopedSeam<PsAllocator> failing(
            psAllocator, {[](size_t) -> void* { return nullptr; },
                          [](size_t, size_t) -> void* { return nullptr; },
                          [](void*, size_t) -> void* { return nullptr; }, free});
        TR_ORCLEVEL2 = 1;
        rc = utLoadBTree(spool.c_str(), index);
        TR_ORCLEVEL2 = 0;
    }
    EXPECT_EQ(BT_NO_MEMORY, rc);
    EXPECT_FALSE(has(index, "abc"));
    EXPECT_TRUE(zebotest::fileExists(spool));
}

}  // namespace
