// Tests of the pick list as a whole: answers in, pages and marks out, over a
// terminal of fixed size. (Marking and paging are run in a real terminal by
// picklist_tmux_test.cpp.)
#include "sync/picklist.h"

#include <gtest/gtest.h>

#include "sync/picklist_testutil.h"
#include "sync/syncdb_testutil.h"

namespace {

TEST(PickListTest, LeavesGoesOnOrRefusesTheScreen) {
    synctest::initMessages();
    struct Case {
        int count, rows, cols;
        const char* answers;
        int16_t rc;
        int pages;   // -1: not checked
        int clears;  // -1: not checked
    } cases[] = {
        {5, 23, 79, "q\n", PK_LEAVE, 1, 1},
        {5, 23, 79, "C\n", PK_LEAVE, -1, -1},
        {5, 23, 79, "o\n", PK_GO_ON, -1, -1},
        {5, 10, 20, "O\n", PK_GO_ON, -1, -1},
        // End of input leaves; empty lines only redraw.
        {5, 23, 79, "", PK_LEAVE, 1, -1},
        {5, 23, 79, "\n   \n\n", PK_LEAVE, 4, -1},
        // Too narrow, too low or nothing to show: no page at all.
        {5, 23, 19, "o\n", PK_LEAVE, 0, -1},
        {5, 9, 79, "o\n", PK_LEAVE, 0, -1},
        {0, 23, 79, "o\n", PK_LEAVE, 0, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.count) + " entries, " + std::to_string(c.rows) + "x" +
                     std::to_string(c.cols) + ", answers '" + c.answers + "'");
        SyncList list;
        pktest::fillList(&list, c.count);
        pktest::FakeTerminal terminal(c.rows, c.cols, c.answers);
        EXPECT_EQ(c.rc, pkPickHandle(&list));
        if (c.pages >= 0) {
            EXPECT_EQ(static_cast<size_t>(c.pages), terminal.pages().size());
        }
        if (c.clears >= 0) {
            EXPECT_EQ(c.clears, terminal.clears());
        }
    }

    // A last answer without a newline still counts.
    SyncList list;
    pktest::fillList(&list, 5);
    pktest::FakeTerminal terminal(23, 79, "3");
    EXPECT_EQ(PK_LEAVE, pkPickHandle(&list));
    EXPECT_EQ("3", pktest::marked(&list));
}

}  // namespace
