#include "demo/demotime.h"

#include <gtest/gtest.h>

#include "demo/demo_testutil.h"

namespace {

using demo::DemoTime;
using demotest::at;

// Day numbers against a plain walk through the calendar: every day from
// 1988 to 2100 follows the previous one, month lengths and leap years
// included (1900-style century rule at 2100, 400-year rule at 2000).
TEST(DemoTime, DayNumbersFollowTheCalendar) {
    const int kLengths[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    int64_t expected = demo::dayNumber(at(1988, 1, 1));
    EXPECT_EQ(6574, expected);
    for (int y = 1988; y <= 2100; ++y) {
        for (int m = 1; m <= 12; ++m) {
            bool leap = (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
            int length = m == 2 && leap ? 29 : kLengths[m - 1];
            for (int d = 1; d <= length; ++d) {
                ASSERT_EQ(expected, demo::dayNumber(at(y, m, d))) << y << "-" << m << "-" << d;
                DemoTime back = demo::fromDayNumber(expected);
                ASSERT_EQ(y, back.year);
                ASSERT_EQ(m, back.month);
                ASSERT_EQ(d, back.day);
                ++expected;
            }
        }
    }
}

TEST(DemoTime, WeekdaysAndSecondArithmetic) {
    EXPECT_EQ(4, demo::weekday(at(1970, 1, 1)));   // Thursday
    EXPECT_EQ(0, demo::weekday(at(2026, 6, 14)));  // Sunday
    EXPECT_EQ(6, demo::weekday(at(2026, 11, 21)));
    EXPECT_EQ(5, demo::weekday(at(1969, 12, 26)));  // before the epoch

    EXPECT_EQ("2027-01-01 00:00:05",
              demo::formatDateTime(demo::addSeconds(at(2026, 12, 31, 23, 59, 50), 15)));
    EXPECT_EQ("2024-02-29 23:59:59", demo::formatDateTime(demo::addSeconds(at(2024, 3, 1), -1)));
    EXPECT_EQ("2026-06-12 10:01:40",
              demo::formatDateTime(demo::addSeconds(at(2026, 6, 12, 10), 100)));
    EXPECT_TRUE(demo::earlier(at(2026, 6, 12, 10, 0, 0), at(2026, 6, 12, 10, 0, 1)));
    EXPECT_FALSE(demo::earlier(at(2026, 6, 12), at(2026, 6, 12)));
    EXPECT_FALSE(demo::earlier(at(2026, 7, 1), at(2026, 6, 30, 23, 59, 59)));
    EXPECT_EQ("20260612", demo::compactDate(at(2026, 6, 12, 23)));
}

TEST(DemoTime, ParsesOnlyRealDates) {
    DemoTime t = at(2000, 1, 1, 5);
    ASSERT_TRUE(demo::parseDate("2024-02-29", &t));
    EXPECT_EQ("2024-02-29 00:00:00", demo::formatDateTime(t));
    for (const char* bad : {"2026-02-29", "2026-13-01", "2026-00-10", "2026-04-31", "1987-12-31",
                            "2026-6-12", "2026/06/12", "2026-06-1x", "", "2026-06-120"}) {
        EXPECT_FALSE(demo::parseDate(bad, &t)) << bad;
        EXPECT_EQ("2024-02-29 00:00:00", demo::formatDateTime(t)) << bad;
    }
}

}  // namespace
