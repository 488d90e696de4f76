// Tests of the pick list as a whole: answers in, pages and marks out, over a
// terminal of fixed size.
#include "sync/picklist.h"

#include <gtest/gtest.h>

#include <memory>

#include "sync/picklist_testutil.h"
#include "sync/syncdb_testutil.h"

namespace {

class PickListTest : public ::testing::Test {
  protected:
    void SetUp() override { synctest::initMessages(); }

    // Runs the pick list over `count` entries with the answers given.
    int16_t pick(int count, int rows, int cols, const std::string& answers) {
        list.freeAll();
        pktest::fillList(&list, count);
        terminal.reset();  // the old one restores the terminal first
        terminal.reset(new pktest::FakeTerminal(rows, cols, answers));
        return pkPickHandle(&list);
    }

    SyncList list;
    std::unique_ptr<pktest::FakeTerminal> terminal;
};

TEST_F(PickListTest, LeavesGoesOnOrRefusesTheScreen) {
    EXPECT_EQ(PK_LEAVE, pick(5, 23, 79, "q\n"));
    EXPECT_EQ(1u, terminal->pages().size());
    EXPECT_EQ(1, terminal->clears());
    EXPECT_EQ(PK_LEAVE, pick(5, 23, 79, "C\n"));
    EXPECT_EQ(PK_GO_ON, pick(5, 23, 79, "o\n"));
    EXPECT_EQ(PK_GO_ON, pick(5, 10, 20, "O\n"));

    // End of input leaves; empty lines only redraw.
    EXPECT_EQ(PK_LEAVE, pick(5, 23, 79, ""));
    EXPECT_EQ(1u, terminal->pages().size());
    EXPECT_EQ(PK_LEAVE, pick(5, 23, 79, "\n   \n\n"));
    EXPECT_EQ(4u, terminal->pages().size());
    EXPECT_EQ(PK_LEAVE, pick(5, 23, 79, "3"));  // a last line without newline
    EXPECT_EQ("3", pktest::marked(&list));

    EXPECT_EQ(PK_LEAVE, pick(5, 23, 19, "o\n"));
    EXPECT_EQ(0u, terminal->pages().size());
    EXPECT_EQ(PK_LEAVE, pick(5, 9, 79, "o\n"));
    EXPECT_EQ(0u, terminal->pages().size());
    EXPECT_EQ(PK_LEAVE, pick(0, 23, 79, "o\n"));
    EXPECT_EQ(0, terminal->clears());
}

TEST_F(PickListTest, MarksStartClearedAndFollowTheAnswers) {
    list.freeAll();
    pktest::fillList(&list, 20);
    pktest::mark(&list, {2, 4, 6});
    terminal.reset();
    terminal.reset(new pktest::FakeTerminal(23, 79, "2\n5,7\n3:7+\no\n"));
    EXPECT_EQ(PK_GO_ON, pkPickHandle(&list));
    EXPECT_EQ("2 3 4 5 6 7", pktest::marked(&list));
    // Each page shows the marks of the answers before it.
    ASSERT_EQ(4u, terminal->pages().size());
    EXPECT_EQ(' ', terminal->pages()[0][7][0]);
    EXPECT_EQ('x', terminal->pages()[1][7][0]);
}

}  // namespace
