#include "demo/demotime.h"

#include <stdio.h>

namespace demo {

namespace {

// Days from 1970-01-01 to the civil date; the era arithmetic keeps it exact
// for every Gregorian date without tables.
int64_t daysFromCivil(int64_t y, unsigned m, unsigned d) {
    y -= m <= 2;
    const int64_t era = (y >= 0 ? y : y - 399) / 400;
    const unsigned yoe = static_cast<unsigned>(y - era * 400);
    const unsigned doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + static_cast<int64_t>(doe) - 719468;
}

bool leapYear(int y) {
    return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
}

int daysInMonth(int y, int m) {
    static const int kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return m == 2 && leapYear(y) ? 29 : kDays[m - 1];
}

}  // namespace

int64_t dayNumber(const DemoTime& t) {
    return daysFromCivil(t.year, static_cast<unsigned>(t.month), static_cast<unsigned>(t.day));
}

DemoTime fromDayNumber(int64_t days) {
    int64_t z = days;
    z += 719468;
    const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
    const unsigned doe = static_cast<unsigned>(z - era * 146097);
    const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const unsigned mp = (5 * doy + 2) / 153;
    DemoTime t;
    t.day = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
    t.month = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
    t.year = static_cast<int>(static_cast<int64_t>(yoe) + era * 400 + (t.month <= 2));
    return t;
}

int weekday(const DemoTime& t) {
    const int64_t d = dayNumber(t);
    // 1970-01-01 was a Thursday.
    return static_cast<int>(((d % 7) + 7 + 4) % 7);
}

int64_t secondsOf(const DemoTime& t) {
    return dayNumber(t) * 86400 + t.hour * 3600 + t.minute * 60 + t.second;
}

DemoTime addSeconds(const DemoTime& t, int64_t seconds) {
    int64_t total = secondsOf(t) + seconds;
    int64_t days = total >= 0 ? total / 86400 : -((-total + 86399) / 86400);
    int64_t rest = total - days * 86400;
    DemoTime r = fromDayNumber(days);
    r.hour = static_cast<int>(rest / 3600);
    r.minute = static_cast<int>(rest / 60 % 60);
    r.second = static_cast<int>(rest % 60);
    return r;
}

std::string formatDateTime(const DemoTime& t) {
    char buf[32];
    snprintf(buf, sizeof buf, "%04d-%02d-%02d %02d:%02d:%02d", t.year, t.month, t.day, t.hour,
             t.minute, t.second);
    return buf;
}

std::string compactDate(const DemoTime& t) {
    char buf[16];
    snprintf(buf, sizeof buf, "%04d%02d%02d", t.year, t.month, t.day);
    return buf;
}

bool parseDate(const std::string& text, DemoTime* out) {
    if (text.size() != 10 || text[4] != '-' || text[7] != '-') return false;
    for (size_t i = 0; i < text.size(); ++i) {
        if (i != 4 && i != 7 && (text[i] < '0' || text[i] > '9')) return false;
    }
    DemoTime t;
    t.year = std::stoi(text.substr(0, 4));
    t.month = std::stoi(text.substr(5, 2));
    t.day = std::stoi(text.substr(8, 2));
    if (t.year < 1988 || t.month < 1 || t.month > 12) return false;
    if (t.day < 1 || t.day > daysInMonth(t.year, t.month)) return false;
    *out = t;
    return true;
}

bool earlier(const DemoTime& a, const DemoTime& b) {
    return secondsOf(a) < secondsOf(b);
}

}  // namespace demo
