// Calendar times for the demonstration data: a plain date and time of day,
// day arithmetic through a day number (days since 1970-01-01, proleptic
// Gregorian), and the text layouts that the server's admin tool and the
// SQL*Plus simulator read ("YYYY-MM-DD HH:MM:SS").
//
// Times carry no zone: every time in the demonstration is a local wall-clock
// time, as RMAN records them.
#ifndef ZEBO_DEMO_DEMOTIME_H
#define ZEBO_DEMO_DEMOTIME_H

#include <stdint.h>

#include <string>

namespace demo {

struct DemoTime {
    int year = 1970;
    int month = 1;  // 1-12
    int day = 1;    // 1-31
    int hour = 0;
    int minute = 0;
    int second = 0;
};

// Days since 1970-01-01 of the date part (negative before it).
int64_t dayNumber(const DemoTime& t);

// Midnight of the given day number.
DemoTime fromDayNumber(int64_t days);

// 0 = Sunday ... 6 = Saturday.
int weekday(const DemoTime& t);

// t moved by `seconds` (either sign), across days, months and years.
DemoTime addSeconds(const DemoTime& t, int64_t seconds);

// Seconds since 1970-01-01 00:00:00 of the same wall-clock time.
int64_t secondsOf(const DemoTime& t);

// "YYYY-MM-DD HH:MM:SS"
std::string formatDateTime(const DemoTime& t);

// "YYYYMMDD"
std::string compactDate(const DemoTime& t);

// Parses "YYYY-MM-DD" (a real calendar date, years 1988-9999) into a midnight.
// False, and `out` untouched, for anything else.
bool parseDate(const std::string& text, DemoTime* out);

// Orders by year, month, day, hour, minute, second.
bool earlier(const DemoTime& a, const DemoTime& b);

}  // namespace demo

#endif
