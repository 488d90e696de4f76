#include "common/unx/nlsfmt.h"

#include <gtest/gtest.h>
#include <stdint.h>
#include <string.h>

#include <string>

#include "common/unx/nlsdate.h"
#include "common/unx/nlsseam.h"
#include "common/unx/nlstest.h"

namespace {

using nlstest::LocaleTest;

class LayoutTest : public LocaleTest {};

TEST_F(LayoutTest, DateLayoutZeroTakesPlainLocaleFormats) {
    struct Case {
        const char* locale;
        const char* fmt;
        char sep;
    };
    const Case cases[] = {
        {"de_DE.UTF-8", "%d.%m.%Y", '.'},
        {"en_GB.UTF-8", "%d/%m/%y", '/'},  // two-digit year is accepted
        {"en_US.UTF-8", "%m/%d/%Y", '/'},
        {"ja_JP.UTF-8", "%m/%d/%Y", '/'},  // multibyte separators: default
        {"C", "%m/%d/%y", '/'},
    };
    for (const Case& c : cases) {
        useLocale(c.locale);
        nlSetDateFormat(0);
        EXPECT_STREQ(date_fmt_str, c.fmt) << c.locale;
        EXPECT_EQ(date_sep, c.sep) << c.locale;
        EXPECT_EQ(date_fmt, 0);
    }
    // A number outside 0..5 is kept but changes nothing.
    nlSetDateFormat(4);
    for (int n : {6, -1}) {
        nlSetDateFormat(n);
        EXPECT_EQ(date_fmt, n);
        EXPECT_STREQ(date_fmt_str, "%d.%m.%Y");
        EXPECT_EQ(date_sep, '.');
    }
}

TEST_F(LayoutTest, DateLayoutZeroRefusesAnythingButThreeNumericFields) {
    struct Case {
        const char* dFmt;
        const char* expected;
    };
    const Case cases[] = {
        {"%A %d/%m/%Y", "%m/%d/%Y"},   // weekday name
        {"%a, %d.%m.%Y", "%m/%d/%Y"},  // abbreviated weekday
        {"%d/%m/%Y %A", "%m/%d/%Y"},   // weekday after the date
        {"%d/%d/%Y", "%m/%d/%Y"},      // repeated field
        {"%y/%m/%Y", "%m/%d/%Y"},      // y and Y are one field
        {"%d/%m", "%m/%d/%Y"},         // two fields
        {"", "%m/%d/%Y"},              // empty
        {"%e/%m/%Y", "%m/%d/%Y"},      // blank-padded day
        {"%d//%m/%Y", "%m/%d/%Y"},     // two-character separator
        {"%d%m%Y", "%m/%d/%Y"},        // no separator
        {"%d1%m1%Y", "%m/%d/%Y"},      // digit as separator
        {"%d / %m / %Y", "%m/%d/%Y"},  // separators of three characters
        {"%Y-%m-%d", "%Y-%m-%d"},
        {"%d-%m-%y", "%d-%m-%y"},
        {"%Y %d %m", "%Y %d %m"},
        {"%d.%m.%Y.", "%d.%m.%Y."},  // a literal after the fields
    };
    for (const Case& c : cases) {
        fakeLocale({{D_FMT, c.dFmt}});
        nlSetDateFormat(0);
        EXPECT_STREQ(date_fmt_str, c.expected) << "D_FMT " << c.dFmt;
        EXPECT_EQ(date_sep, c.expected[2]) << "D_FMT " << c.dFmt;
    }
}

TEST_F(LayoutTest, TimeLayoutZeroAcceptsTwelveHourOnlyWithIAndIndicators) {
    struct Case {
        const char* tFmt;
        const char* am;
        const char* pm;
        const char* expected;
        const char* expectedAm;
    };
    const Case cases[] = {
        {"%I:%M:%S %p", "vorm.", "nachm", "%I:%M:%S %p", "vorm."},
        {"%I:%M:%S%p", "AM", "PM", "%I:%M:%S%p", "AM"},
        {"%H:%M:%S %p", "AM", "PM", "%H:%M:%S", ""},                        // 24-hour hour with %p
        {"%I:%M:%S %p", "", "", "%H:%M:%S", ""},                            // no indicators
        {"%I:%M:%S %p", "\xe5\x8d\x88\xe5\x89\x8d", "PM", "%H:%M:%S", ""},  // too long
        {"%p %I:%M:%S", "AM", "PM", "%H:%M:%S", ""},                        // %p first
        {"%I.%M.%S", "AM", "PM", "%I.%M.%S", ""},                           // 12-hour, no %p
        {"%H.%M.%S", "", "", "%H.%M.%S", ""},
        {"%H:%H:%S", "", "", "%H:%M:%S", ""},
        {"%H:%I:%S", "", "", "%H:%M:%S", ""},
        {"%M:%H:%S", "", "", "%H:%M:%S", ""},
        {"%r", "AM", "PM", "%H:%M:%S", ""},
        {"%I:%M:%S %p %Z", "AM", "PM", "%H:%M:%S", ""},
    };
    for (const Case& c : cases) {
        fakeLocale({{T_FMT, c.tFmt}, {AM_STR, c.am}, {PM_STR, c.pm}});
        nlSetTimeFormat(0);
        EXPECT_STREQ(time_fmt_str, c.expected) << "T_FMT " << c.tFmt;
        EXPECT_STREQ(am_str, c.expectedAm) << "T_FMT " << c.tFmt;
        EXPECT_EQ(time_sep, c.expected[2]) << "T_FMT " << c.tFmt;
    }
    // The generated locales spell their times with %T or %r, or with
    // multibyte separators, and so give the default.
    for (const char* loc : {"de_DE.UTF-8", "en_US.UTF-8", "ja_JP.UTF-8"}) {
        nlLangInfoSeam = nlDefaultLangInfo;
        useLocale(loc);
        nlSetTimeFormat(0);
        EXPECT_STREQ(time_fmt_str, "%H:%M:%S") << loc;
        EXPECT_STREQ(pm_str, "") << loc;
    }
}

TEST_F(LayoutTest, TimeTextsInEveryLayout) {
    struct Case {
        int layout;
        int h, m, s;
        const char* expected;
    };
    const Case cases[] = {
        {1, 0, 5, 9, "00:05:09"},    {2, 13, 2, 3, "13,02,03"},     {3, 23, 59, 59, "23.59.59"},
        {4, 0, 5, 9, "12:05:09AM"},  {4, 11, 59, 59, "11:59:59AM"}, {4, 12, 0, 0, "12:00:00PM"},
        {4, 23, 1, 2, "11:01:02PM"},
    };
    for (const Case& c : cases) {
        nlSetTimeFormat(c.layout);
        nlDateTime t = {2024,
                        1,
                        1,
                        static_cast<uint8_t>(c.h),
                        static_cast<uint8_t>(c.m),
                        static_cast<uint8_t>(c.s)};
        char text[32];
        EXPECT_EQ(nlFormatTime(t, text, sizeof text), strlen(c.expected));
        EXPECT_STREQ(text, c.expected) << "layout " << c.layout;
    }
    fakeLocale({{T_FMT, "%I.%M.%S %p"}, {AM_STR, "am"}, {PM_STR, "pm"}});
    nlSetTimeFormat(0);
    nlDateTime t = {2024, 1, 1, 13, 2, 3};
    char text[32];
    nlFormatTime(t, text, sizeof text);
    EXPECT_STREQ(text, "01.02.03 pm");
    // Too small a buffer gives an empty text, never a cut one.
    EXPECT_EQ(nlFormatTime(t, text, 11), 0u);
    EXPECT_STREQ(text, "");

    // Leaving the 12-hour layout clears the indicators; bad numbers give layout 1.
    nlSetTimeFormat(4);
    nlSetTimeFormat(2);
    EXPECT_EQ(time_sep, ',');
    EXPECT_STREQ(am_str, "");
    for (int n : {5, 17, -1}) {
        nlSetTimeFormat(3);
        nlSetTimeFormat(n);
        EXPECT_EQ(time_fmt, 1) << n;
        EXPECT_STREQ(time_fmt_str, "%H:%M:%S") << n;
    }
}

TEST_F(LayoutTest, NumberLayouts) {
    nlSetNumberFormat(2);  // the comma for both, on purpose
    EXPECT_EQ(thousand_sep, ',');
    EXPECT_EQ(decimal_sep, ',');
    EXPECT_EQ(subsecond_sep, ',');
    nlSetNumberFormat(5);
    nlSetNumberFormat(7);
    EXPECT_EQ(number_fmt, 1);
    EXPECT_EQ(thousand_sep, ',');
    EXPECT_EQ(decimal_sep, '.');

    struct Case {
        const char* locale;
        char thousand, decimal;
    };
    const Case cases[] = {
        {"de_DE.UTF-8", '.', ','},
        {"fr_FR.UTF-8", ' ', ','},  // narrow no-break space becomes a blank
        {"en_US.UTF-8", ',', '.'},
        {"C", ',', '.'},  // no thousands separator at all
    };
    for (const Case& c : cases) {
        useLocale(c.locale);
        nlSetNumberFormat(0);
        EXPECT_EQ(thousand_sep, c.thousand) << c.locale;
        EXPECT_EQ(decimal_sep, c.decimal) << c.locale;
        EXPECT_EQ(subsecond_sep, c.decimal) << c.locale;
    }
    // No thousands separator, the locale's radix character kept.
    fakeLocale({{THOUSEP, ""}, {RADIXCHAR, ","}});
    nlSetNumberFormat(0);
    EXPECT_EQ(thousand_sep, ',');
    EXPECT_EQ(decimal_sep, ',');
    // A separator that is no single character is as good as none.
    fakeLocale({{THOUSEP, "\xe2\x80\x99"}, {RADIXCHAR, "."}});
    nlSetNumberFormat(-4);
    EXPECT_EQ(thousand_sep, ',');
}

TEST_F(LayoutTest, SixtyFourBitNumbersAreGrouped) {
    struct Case {
        int layout;
        uint64_t value;
        const char* expected;
    };
    const Case cases[] = {
        {1, 0, "0"},
        {1, 999, "999"},
        {1, 1000, "1,000"},
        {5, 1234567, "1.234.567"},
        {6, 100000, "100'000"},
        {1, UINT64_MAX, "18,446,744,073,709,551,615"},
        {3, 4294967296ULL, "4 294 967 296"},
    };
    for (const Case& c : cases) {
        nlSetNumberFormat(c.layout);
        char text[32];
        EXPECT_EQ(nlFormatNumber64(c.value, text, sizeof text), strlen(c.expected));
        EXPECT_STREQ(text, c.expected);
    }
    nlSetNumberFormat(1);
    char small[6];
    EXPECT_EQ(nlFormatNumber64(12345, small, sizeof small), 0u);  // "12,345" needs 7
    EXPECT_STREQ(small, "");
}

TEST_F(LayoutTest, DateTimeNowForPrefixes) {
    fixClock(nlstest::utc(2024, 2, 29, 13, 4, 5), 678900000);
    char date[16], time[16];
    unsigned long ms = 0;
    nlDateTimeNow(date, sizeof date, time, sizeof time, &ms);
    EXPECT_STREQ(date, "02/29/2024");
    EXPECT_STREQ(time, "13:04:05");
    EXPECT_EQ(ms, 678u);

    // Two-digit years are padded with one blank.
    useLocale("en_GB.UTF-8");
    nlSetDateFormat(0);
    nlDateTimeNow(date, sizeof date, time, sizeof time, nullptr);
    EXPECT_STREQ(date, "29/02/24 ");

    // The fixed AM/PM layout keeps its indicators in a locale without any.
    useLocale("de_DE.UTF-8");
    nlSetTimeFormat(4);
    nlDateTimeNow(date, sizeof date, time, sizeof time, nullptr);
    EXPECT_STREQ(time, "01:04:05PM");

    // The locale's indicators, even with a '%' in them.
    fakeLocale({{T_FMT, "%I:%M:%S %p"}, {AM_STR, "a%m"}, {PM_STR, "p%m"}});
    nlSetTimeFormat(0);
    nlDateTimeNow(date, sizeof date, time, sizeof time, nullptr);
    EXPECT_STREQ(time, "01:04:05 p%m");

    // Small caller buffers are cut, and always terminated.
    char tiny[4];
    nlDateTimeNow(tiny, sizeof tiny, tiny, sizeof tiny, nullptr);
    EXPECT_STREQ(tiny, "01:");
}

}  // namespace
