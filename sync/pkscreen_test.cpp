// Tests of the pick list's drawing: pages as text for given terminal sizes.
#include "sync/pkscreen.h"

#include <gtest/gtest.h>

#include <stdlib.h>

#include "common/nls/nls.h"
#include "common/unx/nlsfmt.h"
#include "sync/picklist_testutil.h"
#include "sync/syncdb_testutil.h"

namespace {

class PkScreenTest : public ::testing::Test {
  protected:
    void SetUp() override { synctest::initMessages(); }

    // Draws the page of a list of `count` entries; returns its lines.
    std::vector<std::string> draw(int count, int rows, int cols, const char* owner = "",
                                  int firstShown = 1, int offset = 0) {
        list.freeAll();
        pktest::fillList(&list, count, owner);
        pkModelInit(&model, &list);
        model.firstShown = firstShown;
        model.offset = offset;
        std::vector<std::string> lines;
        pkDrawPage(&model, rows, cols, &lines);
        return lines;
    }

    SyncList list;
    PkModel model;
};

std::string fit(const char* source, int offset, int width) {
    char buffer[64];
    FitStringToScreenSize(buffer, source, offset, width);
    return buffer;
}

TEST(FitStringToScreenSizeTest, CutsFromTheOffsetToTheWidth) {
    EXPECT_EQ("", fit(nullptr, 0, 10));
    EXPECT_EQ("abcdef", fit("abcdef", 0, 10));
    EXPECT_EQ("cde", fit("abcdef", 2, 3));
    EXPECT_EQ("", fit("abcdef", 6, 3));   // as long as the offset: nothing left
    EXPECT_EQ(" ", fit("abcdef", 7, 3));  // shorter: one blank
    EXPECT_EQ("", fit("abcdef", 1, 0));
}

TEST_F(PkScreenTest, EntryRowsFillWhatTheFixedRowsLeave) {
    // 23 rows as reported: 13 entry rows (12 with the owner line). The
    // real-terminal test reads the rows' numbers and the ruler.
    std::vector<std::string> lines = draw(40, 23, 79);
    EXPECT_EQ(23u, lines.size());
    EXPECT_EQ(13, model.step);
    EXPECT_NE(std::string::npos, lines[1].find("NODE1"));
    EXPECT_EQ("        " + std::string(71, '-'), lines[4]);
    EXPECT_EQ(79u, lines[19].size());

    // Past the last entry the rows are empty rows; the step still counts them.
    lines = draw(3, 23, 79, "", 2);
    EXPECT_EQ(13, model.step);
    EXPECT_EQ(0u, lines[6].find("      2 | "));
    EXPECT_EQ(0u, lines[7].find("      3 | "));
    for (int row = 8; row < 19; ++row) EXPECT_EQ("        | ", lines[row]) << row;

    // The smallest accepted screen with an owner line has no entry rows.
    lines = draw(3, 10, 20, "theowner");
    EXPECT_EQ(0, model.step);
    EXPECT_EQ(11u, lines.size());
    for (const std::string& line : lines) EXPECT_LE(line.size(), 20u) << line;
}

TEST_F(PkScreenTest, EntryTextFollowsTheLayoutsAndTheOffset) {
    std::vector<std::string> lines = draw(2, 23, 120);
    // Entry 2: 2024-03-03 10:20:30, 2000 bytes shown compact.
    const std::string& row = lines[7];
    size_t date = row.find("03/03/2024");
    size_t time = row.find("10:20:30");
    size_t size = row.find("2.0K");
    size_t name = row.find("/fs/hl/obj2");
    ASSERT_NE(std::string::npos, date) << row;
    EXPECT_LT(date, time);
    EXPECT_LT(time, size);
    EXPECT_LT(size, name);

    std::vector<std::string> marked;
    list.head()->element.picked = 1;
    pkDrawPage(&model, 23, 120, &marked);
    EXPECT_EQ('x', marked[6][0]);
    EXPECT_EQ(' ', marked[7][0]);

    nlSetDateFormat(3);
    nlSetNumberFormat(5);
    lines = draw(2, 23, 120);
    nlSetDateFormat(1);
    nlSetNumberFormat(1);
    EXPECT_NE(std::string::npos, lines[7].find("2024-03-03")) << lines[7];
    EXPECT_NE(std::string::npos, lines[7].find("2,0K")) << lines[7];

    // Scrolled: entry texts and column titles lose their first characters.
    std::string text;
    ASSERT_EQ(0, pkFormatEntry(&model.cursor, 2, &text));
    EXPECT_EQ(-1, pkFormatEntry(&model.cursor, 3, &text));
    char* titles = nlFormatText(2592);
    ASSERT_NE(nullptr, titles);
    std::string columnTitles = titles;
    free(titles);
    std::vector<std::string> scrolled = draw(2, 23, 40, "", 1, 5);
    ASSERT_EQ(0, pkFormatEntry(&model.cursor, 2, &text));
    EXPECT_EQ("      2 | " + text.substr(5, 40 - 12), scrolled[7]);
    EXPECT_EQ(columnTitles.substr(5, 40 - 10), scrolled[3]);
    EXPECT_EQ(pkRuler(5, 40), scrolled[19]);

    // Scrolled past the end of every text: rows keep a blank, and the ruler
    // with its four-digit numbers still fits the screen.
    scrolled = draw(2, 23, 40, "", 1, PK_MAX_OFFSET);
    EXPECT_EQ("      2 |  ", scrolled[7]);
    EXPECT_EQ(" ", scrolled[3]);
    EXPECT_EQ(40u, scrolled[19].size());
}

}  // namespace
