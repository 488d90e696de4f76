#include "common/unx/nlsdate.h"

#include <gtest/gtest.h>
#include <stdio.h>

#include <random>
#include <string>

#include "common/unx/nlsfmt.h"
#include "common/unx/nlstest.h"

namespace {

using nlstest::LocaleTest;

class DateTest : public LocaleTest {};

std::string show(const nlDateTime& d) {
    char text[40];
    snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", d.year, d.month, d.day, d.hour,
             d.minute, d.second);
    return text;
}

nlDateTime date(int y, int m, int d) {
    return nlDateTime{
        static_cast<uint16_t>(y), static_cast<uint8_t>(m), static_cast<uint8_t>(d), 0, 0, 0};
}

TEST_F(DateTest, ParsesTheDefaultLayoutAndRefusesBadDates) {
    struct Case {
        const char* text;
        int rc;
        const char* expected;
    };
    const Case cases[] = {
        {"3/7/2011", NL_DATE_OK, "2011-03-07"},
        {"  12/31/1999  ", NL_DATE_OK, "1999-12-31"},
        {"02/29/2024", NL_DATE_OK, "2024-02-29"},
        {"02/29/2000", NL_DATE_OK, "2000-02-29"},
        {"1/2/24", NL_DATE_OK, "2024-01-02"},
        {"1/2/68", NL_DATE_OK, "2068-01-02"},
        {"1/2/69", NL_DATE_OK, "1969-01-02"},
        {"1/2/00", NL_DATE_OK, "2000-01-02"},
        {"02/29/2023", NL_DATE_RANGE, ""},
        {"02/29/1900", NL_DATE_RANGE, ""},
        {"04/31/2020", NL_DATE_RANGE, ""},
        {"13/01/2020", NL_DATE_RANGE, ""},
        {"00/10/2020", NL_DATE_RANGE, ""},
        {"10/00/2020", NL_DATE_RANGE, ""},
        {"1/1/0000", NL_DATE_RANGE, ""},
        {"", NL_DATE_SYNTAX, ""},
        {"1/2", NL_DATE_SYNTAX, ""},
        {"1//2/2020", NL_DATE_SYNTAX, ""},
        {"1 2 2020", NL_DATE_OK, "2020-01-02"},
        {"1 / 2/2020", NL_DATE_SYNTAX, ""},
        {"1/2/024", NL_DATE_SYNTAX, ""},
        {"123/1/2020", NL_DATE_SYNTAX, ""},
        {"0000000001/1/2020", NL_DATE_SYNTAX, ""},
        {"+5", NL_DATE_SYNTAX, ""},
        {"-1/2/2020", NL_DATE_SYNTAX, ""},
    };
    for (const Case& c : cases) {
        nlDateTime d = {7, 7, 7, 7, 7, 7};
        EXPECT_EQ(nlParseDate(c.text, &d), c.rc) << "'" << c.text << "'";
        if (c.rc == NL_DATE_OK) {
            EXPECT_EQ(show(d), std::string(c.expected) + " 00:00:00") << c.text;
        } else {
            EXPECT_EQ(show(d), "0007-07-07 07:07:07") << "untouched on failure: " << c.text;
        }
    }
    nlDateTime d;
    EXPECT_NE(nlParseDate(nullptr, &d), NL_DATE_OK);
}

TEST_F(DateTest, ParsingFollowsTheLayoutOrder) {
    nlDateTime d;
    nlSetDateFormat(4);  // %d.%m.%Y
    ASSERT_EQ(nlParseDate("31.12.2023", &d), NL_DATE_OK);
    EXPECT_EQ(show(d), "2023-12-31 00:00:00");
    EXPECT_EQ(nlParseDate("12.31.2023", &d), NL_DATE_RANGE);
    nlSetDateFormat(5);  // %Y.%m.%d
    ASSERT_EQ(nlParseDate("2023.02.01", &d), NL_DATE_OK);
    EXPECT_EQ(show(d), "2023-02-01 00:00:00");
    EXPECT_EQ(nlParseDate("01.02.2023", &d), NL_DATE_SYNTAX);  // day with four digits

    useLocale("en_GB.UTF-8");
    nlSetDateFormat(0);  // %d/%m/%y
    ASSERT_EQ(nlParseDate("29/02/24", &d), NL_DATE_OK);
    EXPECT_EQ(show(d), "2024-02-29 00:00:00");
    ASSERT_EQ(nlParseDate("29/02/2024", &d), NL_DATE_OK);

    fakeLocale({{D_FMT, "%Y %d %m"}});
    nlSetDateFormat(0);
    ASSERT_EQ(nlParseDate("1999 31 12", &d), NL_DATE_OK);
    EXPECT_EQ(show(d), "1999-12-31 00:00:00");
}

// That a printed date reads back in every field order is the date fuzz
// target's invariant; here the texts of the fixed layouts.
TEST_F(DateTest, FormattedDatesInEveryLayout) {
    const nlDateTime leapDay = date(2024, 2, 29);
    const char* const fourDigit[] = {"02/29/2024", "29-02-2024", "2024-02-29", "29.02.2024",
                                     "2024.02.29"};
    char text[16];
    for (int layout = 1; layout <= 5; ++layout) {
        nlSetDateFormat(layout);
        ASSERT_EQ(nlFormatDate(leapDay, text, sizeof text), 10u);
        EXPECT_STREQ(text, fourDigit[layout - 1]);
    }
    fakeLocale({{D_FMT, "%y-%m-%d"}});
    nlSetDateFormat(0);
    EXPECT_EQ(nlFormatDate(leapDay, text, 9), 8u);
    EXPECT_STREQ(text, "24-02-29");
    EXPECT_EQ(nlFormatDate(leapDay, text, 8), 0u);  // no room for the NUL
    EXPECT_STREQ(text, "");
}

TEST_F(DateTest, CompareGoesDownToTheSecond) {
    const nlDateTime base = {2024, 6, 15, 12, 30, 30};
    const nlDateTime later[] = {{2025, 6, 15, 12, 30, 30}, {2024, 7, 15, 12, 30, 30},
                                {2024, 6, 16, 12, 30, 30}, {2024, 6, 15, 13, 30, 30},
                                {2024, 6, 15, 12, 31, 30}, {2024, 6, 15, 12, 30, 31}};
    for (const nlDateTime& l : later) {
        EXPECT_EQ(nlCompareDateTime(base, l), -1) << show(l);
        EXPECT_EQ(nlCompareDateTime(l, base), 1) << show(l);
    }
    EXPECT_EQ(nlCompareDateTime(base, base), 0);
    // A higher field outweighs all lower ones.
    EXPECT_EQ(nlCompareDateTime(nlDateTime{2023, 12, 31, 23, 59, 59}, date(2024, 1, 1)), -1);
}

TEST_F(DateTest, RelativeDatesCrossMonthsYearsAndLeapDays) {
    struct Case {
        nlDateTime today;
        long days;
        const char* expected;
    };
    const Case cases[] = {
        {date(2024, 3, 1), 1, "2024-02-29"},   {date(2023, 3, 1), 1, "2023-02-28"},
        {date(2000, 3, 1), 1, "2000-02-29"},   {date(1900, 3, 1), 1, "1900-02-28"},
        {date(2024, 1, 1), 1, "2023-12-31"},   {date(2024, 1, 15), 30, "2023-12-16"},
        {date(2024, 3, 31), 31, "2024-02-29"}, {date(2025, 2, 28), 366, "2024-02-28"},
        {date(2024, 5, 1), 0, "2024-05-01"},   {date(2023, 12, 31), -1, "2024-01-01"},
        {date(2024, 2, 28), -1, "2024-02-29"}, {date(2024, 1, 1), 36525, "1924-01-01"},
    };
    for (const Case& c : cases) {
        nlDateTime today = c.today;
        today.hour = 17;  // the time of day does not carry over
        nlDateTime out;
        ASSERT_EQ(nlRelativeDate(today, c.days, &out), NL_DATE_OK);
        EXPECT_EQ(show(out), std::string(c.expected) + " 00:00:00")
            << show(c.today) << " minus " << c.days;
    }
    nlDateTime out = {7, 7, 7, 7, 7, 7};
    EXPECT_EQ(nlRelativeDate(date(1, 1, 1), 1, &out), NL_DATE_RANGE);
    EXPECT_EQ(nlRelativeDate(date(9999, 12, 31), -1, &out), NL_DATE_RANGE);
    EXPECT_EQ(nlRelativeDate(date(2024, 1, 1), 999999999L, &out), NL_DATE_RANGE);
    EXPECT_EQ(nlRelativeDate(date(2024, 1, 1), -999999999L, &out), NL_DATE_RANGE);
    EXPECT_EQ(nlRelativeDate(date(2023, 2, 29), 1, &out), NL_DATE_RANGE);
    EXPECT_EQ(show(out), "0007-07-07 07:07:07");
}

int daysIn(int year, int month) {
    static const int kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    return kDays[month - 1] + (month == 2 && leap ? 1 : 0);
}

// Stepping one day at a time must agree with the direct computation.
TEST_F(DateTest, RelativeDatesAgreeWithDayByDayWalk) {
    std::mt19937 rng(20240229);
    for (int trial = 0; trial < 20; ++trial) {
        int y = 1600 + static_cast<int>(rng() % 800), m = 1 + static_cast<int>(rng() % 12);
        const nlDateTime start = date(y, m, 1 + static_cast<int>(rng() % daysIn(y, m)));
        nlDateTime walk = start;
        for (long n = 1; n <= 1500; ++n) {
            if (--walk.day == 0) {  // previous day by hand
                if (--walk.month == 0) {
                    walk.month = 12;
                    walk.year--;
                }
                walk.day = static_cast<uint8_t>(daysIn(walk.year, walk.month));
            }
            nlDateTime direct, back;
            ASSERT_EQ(nlRelativeDate(start, n, &direct), NL_DATE_OK);
            ASSERT_EQ(show(direct), show(walk)) << show(start) << " minus " << n;
            ASSERT_EQ(nlRelativeDate(direct, -n, &back), NL_DATE_OK);
            ASSERT_EQ(nlCompareDateTime(back, start), 0);
        }
    }
}

TEST_F(DateTest, DateAnswersWithThePlusForm) {
    fixClock(nlstest::utc(2024, 3, 15, 23, 59, 59), 0);
    nlDateTime d;
    ASSERT_EQ(nlParseDateAnswer("+30", &d), NL_DATE_OK);
    EXPECT_EQ(show(d), "2024-02-14 00:00:00");
    ASSERT_EQ(nlParseDateAnswer("+0", &d), NL_DATE_OK);
    nlDateTime typed;
    ASSERT_EQ(nlParseDateAnswer("03/15/2024", &typed), NL_DATE_OK);
    // "+0" and today's date typed in full are the same from-date.
    EXPECT_EQ(nlCompareDateTime(d, typed), 0);
    ASSERT_EQ(nlParseDateAnswer("+15 ", &d), NL_DATE_OK);
    EXPECT_EQ(show(d), "2024-02-29 00:00:00");
    for (const char* bad : {"+", "+3x", "+-3", "+ 3", "++3", "+3.5"}) {
        EXPECT_EQ(nlParseDateAnswer(bad, &d), NL_DATE_SYNTAX) << bad;
    }
    EXPECT_EQ(nlParseDateAnswer("+99999999", &d), NL_DATE_RANGE);
    EXPECT_EQ(nlParseDateAnswer("02/30/2024", &d), NL_DATE_RANGE);

    nlToday(&d);
    EXPECT_EQ(show(d), "2024-03-15 00:00:00");
    nlNow(&d);
    EXPECT_EQ(show(d), "2024-03-15 23:59:59");
}

}  // namespace
