// Tests of the pick list's marks: the answers of entry numbers and ranges,
// and the cursor that makes long ranges cheap.
#include "sync/pkmarks.h"

#include <gtest/gtest.h>

#include <chrono>
#include <random>

#include "api/api_testutil.h"
#include "sync/picklist_testutil.h"
#include "testing/testutil.h"

namespace {

struct AnswerCase {
    const char* answer;
    std::vector<int> before;  // marked before the answer
    const char* after;        // marked after it
};

TEST(ProcessAnswerTest, NumbersAndRangesOverTenEntries) {
    const AnswerCase cases[] = {
        {"5", {}, "5"},
        {"5", {5}, ""},
        {"5,7", {7}, "5"},
        {"5 7\t9", {}, "5 7 9"},
        {"3:7+", {}, "3 4 5 6 7"},
        {"3:7-", {1, 3, 5, 7, 8}, "1 8"},
        {"5+", {}, "5"},
        {"5-", {5, 6}, "6"},
        {"3:7", {}, "7"},  // a start alone marks nothing; 7 is flipped
        {"8:50+", {}, "8 9 10"},
        {"50", {2}, "2"},
        {"0", {}, ""},
        {"7:3+", {}, ""},
        {"abc", {4}, "4"},
        {"", {4}, "4"},
        // After a range its start is 0, not unset: "9+" then starts at 1.
        {"3:4+9+", {}, "1 2 3 4 5 6 7 8 9"},
        // "+ " is two separators: the "9" is read as its own follower.
        {"3:4+ 9+", {}, "3 4 9"},
        // Doubled separators shift where the following character is read:
        // "7" is taken as the character after "7", so 7 is flipped.
        {"3::7+", {}, "7"},
        {"2,,4", {}, "2 4"},
        {"2:99999999999999999999+", {}, "2 3 4 5 6 7 8 9 10"},
    };
    for (const AnswerCase& c : cases) {
        SyncList list;
        pktest::fillList(&list, 10);
        pktest::mark(&list, c.before);
        PkCursor cursor;
        pkCursorInit(&cursor, &list);
        ProcessAnswer(&list, c.answer, 10, &cursor);
        EXPECT_EQ(c.after, pktest::marked(&list)) << "answer '" << c.answer << "'";
    }
}

// With failures traced, a range past the end of the list leaves one line for
// its first number past the end, and a huge range costs no more than a small
// one.
TEST(ProcessAnswerTest, RangesPastTheEndTraceOnceAndTakeNoTime) {
    struct Case {
        const char* answer;
        const char* after;
        const char* traced;  // the one out-of-range number, "" for none
    } const cases[] = {
        {"1:500000+", "1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20", "21"},
        {"18:99999999999+", "18 19 20", "21"},
        {"500000:600000-", "", "500000"},
        {"3:20+", "3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20", ""},
        {"25", "", "25"},
    };
    for (const Case& c : cases) {
        TraceToFile trace({&TR_ORCLEVEL0});
        SyncList list;
        pktest::fillList(&list, 20);
        PkCursor cursor;
        pkCursorInit(&cursor, &list);
        auto start = std::chrono::steady_clock::now();
        ProcessAnswer(&list, c.answer, 20, &cursor);
        auto took = std::chrono::steady_clock::now() - start;
        EXPECT_EQ(c.after, pktest::marked(&list)) << c.answer;
        EXPECT_LT(took, std::chrono::milliseconds(200)) << c.answer;
        std::vector<std::string> outOfRange;
        for (const std::string& line : zebotest::lines(trace.finish()))
            if (line.find("Value out of range") != std::string::npos) outOfRange.push_back(line);
        if (c.traced[0] == '\0') {
            EXPECT_TRUE(outOfRange.empty()) << c.answer;
        } else {
            ASSERT_EQ(1u, outOfRange.size()) << c.answer;
            EXPECT_NE(std::string::npos, outOfRange[0].find("Value: " + std::string(c.traced)))
                << outOfRange[0];
        }
    }
}

TEST(PkCursorTest, ReachesTheSameEntriesAsAWalkFromTheHead) {
    SyncList list;
    pktest::fillList(&list, 57);
    PkCursor cursor;
    pkCursorInit(&cursor, &list);
    std::mt19937 random(1234);
    std::uniform_int_distribution<int> pick(-2, 60);
    for (int i = 0; i < 500; ++i) {
        int number = pick(random);
        SyncList::Node* expected = gotoListElement(&list, number);
        ASSERT_EQ(expected, pkCursorGoto(&cursor, number)) << "entry " << number;
        if (number >= 1 && number <= 57) {
            ASSERT_NE(nullptr, expected);
            EXPECT_EQ("/fs/hl/obj" + std::to_string(number), expected->element.name);
        } else {
            EXPECT_EQ(nullptr, expected);
        }
    }
}

TEST(PkHighlightEntryTest, ModesAndNumbersOutsideTheList) {
    SyncList list;
    pktest::fillList(&list, 4);
    PkCursor cursor;
    pkCursorInit(&cursor, &list);
    pkHighlightEntry(&list, 2, 4, PK_MARK_SET, &cursor);
    pkHighlightEntry(&list, 2, 4, PK_MARK_SET);
    pkHighlightEntry(&list, 3, 4, PK_MARK_FLIP);
    pkHighlightEntry(&list, 4, 4, PK_MARK_FLIP, &cursor);
    pkHighlightEntry(&list, 4, 4, PK_MARK_FLIP, &cursor);
    EXPECT_EQ("2 3", pktest::marked(&list));
    pkHighlightEntry(&list, 5, 4, PK_MARK_SET, &cursor);  // above the count
    pkHighlightEntry(&list, 5, 9, PK_MARK_SET);           // count larger than the list
    pkHighlightEntry(&list, 3, 4, PK_MARK_CLEAR, &cursor);
    EXPECT_EQ("2", pktest::marked(&list));
}

}  // namespace
