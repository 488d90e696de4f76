// Reading spooled handles into the index: tokens, pieces of long lines,
// SQL*Plus's own reply, duplicates across catalogs, and the failures.
// Handles that SQL*Plus breaks over lines are matched whole in
// guards_run_test.cpp and wrappedhandle_test.cpp.
#include "sync/loadbtree.h"

#include <gtest/gtest.h>

#include <stdlib.h>

#include <string>

#include "agent/zebomem.h"
#include "common/ut/traceclasses.h"
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
