// Date values: parsing, comparison, calendar arithmetic and formatting.
#include "common/unx/nlsdate.h"

#include <ctype.h>
#include <stdio.h>
#include <string.h>
#include <time.h>

#include "common/unx/nlsfmt.h"
#include "common/unx/psenv.h"

namespace {

enum Field { kDay, kMonth, kYear };

// The order of day, month and year in date_fmt_str; month/day/year when the
// format does not name all three (it always does once a setter ran).
void fieldOrder(Field order[3]) {
    bool seen[3] = {false, false, false};
    int found = 0;
    for (const char* p = date_fmt_str; *p && found < 3; ++p) {
        if (*p != '%' || p[1] == '\0') continue;
        ++p;
        Field f;
        if (*p == 'd')
            f = kDay;
        else if (*p == 'm')
            f = kMonth;
        else if (*p == 'Y' || *p == 'y')
            f = kYear;
        else
            continue;
        if (seen[f]) break;
        seen[f] = true;
        order[found++] = f;
    }
    if (found < 3) {
        order[0] = kMonth;
        order[1] = kDay;
        order[2] = kYear;
    }
}

// Days since 1970-01-01 of a proleptic Gregorian date, and back.
long daysFromCivil(long y, int m, int d) {
    y -= m <= 2;
    long era = (y >= 0 ? y : y - 399) / 400;
    long yoe = y - era * 400;
    long doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    long doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + doe - 719468;
}

void civilFromDays(long z, long* y, int* m, int* d) {
    z += 719468;
    long era = (z >= 0 ? z : z - 146096) / 146097;
    long doe = z - era * 146097;
    long yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    long doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    long mp = (5 * doy + 2) / 153;
    *d = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
    *m = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
    *y = yoe + era * 400 + (*m <= 2);
}

const char* skipBlanks(const char* p) {
    while (isspace(static_cast<unsigned char>(*p))) ++p;
    return p;
}

void setDate(nlDateTime* out, long year, int month, int day) {
    out->year = static_cast<uint16_t>(year);
    out->month = static_cast<uint8_t>(month);
    out->day = static_cast<uint8_t>(day);
    out->hour = out->minute = out->second = 0;
}

void localNow(struct tm* local) {
    struct timespec now;
    psClock(&now);
    time_t secs = now.tv_sec;
    if (localtime_r(&secs, local) == nullptr) {
        memset(local, 0, sizeof *local);
        local->tm_year = 70;
        local->tm_mday = 1;
    }
}

}  // namespace

bool nlIsValidDate(int year, int month, int day) {
    static const int kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (year < 1 || year > 9999 || month < 1 || month > 12 || day < 1) return false;
    bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    int last = kDays[month - 1] + (month == 2 && leap ? 1 : 0);
    return day <= last;
}

int nlParseDate(const char* text, nlDateTime* out) {
    if (text == nullptr) return NL_DATE_SYNTAX;
    Field order[3];
    fieldOrder(order);
    long value[3] = {0, 0, 0};
    int digits[3] = {0, 0, 0};
    const char* p = skipBlanks(text);
    for (int i = 0; i < 3; ++i) {
        if (i > 0) {
            if (*p == '\0' || isdigit(static_cast<unsigned char>(*p))) return NL_DATE_SYNTAX;
            ++p;
        }
        Field f = order[i];
        while (isdigit(static_cast<unsigned char>(*p))) {
            // More digits than any field may have is a syntax error; the cap
            // also keeps the value from overflowing.
            if (++digits[f] > 4) return NL_DATE_SYNTAX;
            value[f] = value[f] * 10 + (*p++ - '0');
        }
        if (digits[f] == 0) return NL_DATE_SYNTAX;
    }
    if (*skipBlanks(p) != '\0') return NL_DATE_SYNTAX;
    if (digits[kDay] > 2 || digits[kMonth] > 2) return NL_DATE_SYNTAX;
    if (digits[kYear] == 2) {
        value[kYear] += value[kYear] < 69 ? 2000 : 1900;
    } else if (digits[kYear] != 4) {
        return NL_DATE_SYNTAX;
    }
    if (!nlIsValidDate(value[kYear], value[kMonth], value[kDay])) return NL_DATE_RANGE;
    setDate(out, value[kYear], value[kMonth], value[kDay]);
    return NL_DATE_OK;
}

int nlCompareDateTime(const nlDateTime& a, const nlDateTime& b) {
    const long ka[6] = {a.year, a.month, a.day, a.hour, a.minute, a.second};
    const long kb[6] = {b.year, b.month, b.day, b.hour, b.minute, b.second};
    for (int i = 0; i < 6; ++i) {
        if (ka[i] != kb[i]) return ka[i] < kb[i] ? -1 : 1;
    }
    return 0;
}

int nlRelativeDate(const nlDateTime& today, long days, nlDateTime* out) {
    // Beyond the span of years 1..9999 either way; checked first so the
    // subtraction below cannot overflow.
    const long kMaxSpan = 3660000;
    if (!nlIsValidDate(today.year, today.month, today.day)) return NL_DATE_RANGE;
    if (days > kMaxSpan || days < -kMaxSpan) return NL_DATE_RANGE;
    long y;
    int m, d;
    civilFromDays(daysFromCivil(today.year, today.month, today.day) - days, &y, &m, &d);
    if (y < 1 || y > 9999) return NL_DATE_RANGE;
    setDate(out, y, m, d);
    return NL_DATE_OK;
}

int nlParseDateAnswer(const char* answer, nlDateTime* out) {
    if (answer == nullptr) return NL_DATE_SYNTAX;
    const char* p = skipBlanks(answer);
    if (*p != '+') return nlParseDate(p, out);
    ++p;
    long days = 0;
    int digits = 0;
    for (; isdigit(static_cast<unsigned char>(*p)); ++p) {
        if (++digits > 7) return NL_DATE_RANGE;  // more than any calendar span
        days = days * 10 + (*p - '0');
    }
    if (digits == 0 || *skipBlanks(p) != '\0') return NL_DATE_SYNTAX;
    nlDateTime today;
    nlToday(&today);
    return nlRelativeDate(today, days, out);
}

void nlNow(nlDateTime* out) {
    struct tm local;
    localNow(&local);
    setDate(out, local.tm_year + 1900L, local.tm_mon + 1, local.tm_mday);
    out->hour = static_cast<uint8_t>(local.tm_hour);
    out->minute = static_cast<uint8_t>(local.tm_min);
    out->second = static_cast<uint8_t>(local.tm_sec > 59 ? 59 : local.tm_sec);
}

void nlToday(nlDateTime* out) {
    nlNow(out);
    out->hour = out->minute = out->second = 0;
}

size_t nlFormatDate(const nlDateTime& value, char* out, size_t size) {
    if (out == nullptr || size == 0) return 0;
    char text[64];
    size_t o = 0;
    for (const char* p = date_fmt_str; *p && o + 5 < sizeof text; ++p) {
        int n = 0;
        if (*p == '%' && p[1] != '\0') {
            ++p;
            if (*p == 'd')
                n = snprintf(text + o, 3, "%02d", value.day);
            else if (*p == 'm')
                n = snprintf(text + o, 3, "%02d", value.month);
            else if (*p == 'Y')
                n = snprintf(text + o, 5, "%04d", value.year % 10000);
            else if (*p == 'y')
                n = snprintf(text + o, 3, "%02d", value.year % 100);
            else
                text[o + n++] = *p;
        } else {
            text[o + n++] = *p;
        }
        o += static_cast<size_t>(n);
    }
    text[o] = '\0';
    if (o >= size) {
        out[0] = '\0';
        return 0;
    }
    memcpy(out, text, o + 1);
    return o;
}

size_t nlFormatTime(const nlDateTime& value, char* out, size_t size) {
    if (out == nullptr || size == 0) return 0;
    int hour = value.hour;
    const char* mark = "";
    const char* gap = "";
    char gapText[2] = "";
    if (time_fmt_str[0] == '%' && time_fmt_str[1] == 'I') {
        hour = hour % 12 == 0 ? 12 : hour % 12;
        const char* p = strstr(time_fmt_str, "%p");
        if (p != nullptr) {
            mark = value.hour < 12 ? am_str : pm_str;
            // What stands between "%S" and "%p" (nothing or one character).
            const char* s = strstr(time_fmt_str, "%S");
            if (s != nullptr && p == s + 3) {
                gapText[0] = s[2];
                gap = gapText;
            }
        }
    }
    char text[32];
    int n = snprintf(text, sizeof text, "%2.2d%c%2.2d%c%2.2d%s%s", hour, time_sep, value.minute,
                     time_sep, value.second, gap, mark);
    if (n < 0 || static_cast<size_t>(n) >= size) {
        out[0] = '\0';
        return 0;
    }
    memcpy(out, text, static_cast<size_t>(n) + 1);
    return static_cast<size_t>(n);
}
