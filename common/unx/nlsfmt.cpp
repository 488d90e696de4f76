// Layout selection for dates, times and numbers, and the current date and
// time as texts for trace and message prefixes.
#include "common/unx/nlsfmt.h"

#include <langinfo.h>
#include <stdio.h>
#include <string.h>
#include <time.h>

#include "common/unx/nlsseam.h"
#include "common/unx/psenv.h"

int date_fmt = 1;
int time_fmt = 1;
int number_fmt = 1;
char date_fmt_str[16] = NL_DEFAULT_DATE_FMT;
char time_fmt_str[16] = NL_DEFAULT_TIME_FMT;
char date_sep = '/';
char time_sep = ':';
char thousand_sep = ',';
char decimal_sep = '.';
char subsecond_sep = '.';
char am_str[6] = "";
char pm_str[6] = "";

namespace {

// Longest locale format still considered: three "%X" fields, two separators
// and a "%p" with its separator fit; anything longer is not a plain layout.
const size_t kMaxLocaleFormat = 14;

void setString(char* dest, size_t size, const char* src) {
    snprintf(dest, size, "%s", src);
}

// Reads "%X" at fmt[*pos]; returns the letter and advances, or 0.
char readField(const char* fmt, size_t* pos) {
    if (fmt[*pos] != '%' || fmt[*pos + 1] == '\0') return 0;
    char letter = fmt[*pos + 1];
    *pos += 2;
    return letter;
}

// Reads one separator character: anything but '%', a digit (the date parser
// could not tell it from the numbers) and the end.
bool readSeparator(const char* fmt, size_t* pos) {
    char c = fmt[*pos];
    if (c == '\0' || c == '%' || (c >= '0' && c <= '9')) return false;
    ++*pos;
    return true;
}

// The locale's separator text reduced to one byte: a single byte as it is, a
// no-break space (U+00A0, U+202F in UTF-8, as fr_FR uses) as a blank, and
// anything else (empty or another multibyte text) as "none" (0).
char localeSeparator(const char* text) {
    if (text[0] != '\0' && text[1] == '\0') return text[0];
    if (strcmp(text, "\xc2\xa0") == 0 || strcmp(text, "\xe2\x80\xaf") == 0) return ' ';
    return 0;
}

}  // namespace

bool nlAcceptDateFormat(const char* fmt) {
    size_t len = strlen(fmt);
    if (len == 0 || len > kMaxLocaleFormat) return false;
    bool seenDay = false, seenMonth = false, seenYear = false;
    size_t pos = 0;
    for (int field = 0; field < 3; ++field) {
        if (field > 0 && !readSeparator(fmt, &pos)) return false;
        bool* seen = nullptr;
        switch (readField(fmt, &pos)) {
            case 'd':
                seen = &seenDay;
                break;
            case 'm':
                seen = &seenMonth;
                break;
            case 'y':
            case 'Y':
                seen = &seenYear;
                break;
            default:
                return false;
        }
        if (*seen) return false;
        *seen = true;
    }
    // After the three fields a literal (a closing ".") may follow: it is
    // printed as it stands and the typed dates are read by the fields alone.
    // Another conversion (a weekday) is not a plain layout.
    return strchr(fmt + pos, '%') == nullptr;
}

bool nlAcceptTimeFormat(const char* fmt) {
    size_t len = strlen(fmt);
    if (len == 0 || len > kMaxLocaleFormat) return false;
    size_t pos = 0;
    // Hour, minutes and seconds in this order: the time texts of the program
    // always print them so.
    char hour = readField(fmt, &pos);
    if (hour != 'H' && hour != 'I') return false;
    if (!readSeparator(fmt, &pos) || readField(fmt, &pos) != 'M') return false;
    if (!readSeparator(fmt, &pos) || readField(fmt, &pos) != 'S') return false;
    if (fmt[pos] == '\0') return true;
    // "%p" only after a 12-hour hour; it may follow the seconds directly (as in
    // the program's own "%I:%M:%S%p") or after one separator.
    if (hour != 'I') return false;
    if (fmt[pos] != '%') ++pos;
    return readField(fmt, &pos) == 'p' && fmt[pos] == '\0';
}

void nlSetDateFormat(int number) {
    static const char* const kLayouts[] = {NL_DEFAULT_DATE_FMT, "%m/%d/%Y", "%d-%m-%Y",
                                           "%Y-%m-%d",          "%d.%m.%Y", "%Y.%m.%d"};
    date_fmt = number;
    if (number < 0 || number > 5) return;
    const char* fmt = kLayouts[number];
    if (number == 0) {
        const char* locale = nlLangInfoSeam(D_FMT);
        if (nlAcceptDateFormat(locale)) fmt = locale;
    }
    setString(date_fmt_str, sizeof date_fmt_str, fmt);
    date_sep = date_fmt_str[2];
}

void nlSetTimeFormat(int number) {
    static const char* const kLayouts[] = {NL_DEFAULT_TIME_FMT, "%H:%M:%S", "%H,%M,%S", "%H.%M.%S",
                                           "%I:%M:%S%p"};
    if (number < 0 || number > 4) number = 1;
    time_fmt = number;
    const char* fmt = kLayouts[number];
    const char* am = number == 4 ? "AM" : "";
    const char* pm = number == 4 ? "PM" : "";
    if (number == 0) {
        const char* locale = nlLangInfoSeam(T_FMT);
        if (nlAcceptTimeFormat(locale)) {
            if (strstr(locale, "%p") == nullptr) {
                fmt = locale;
            } else {
                // A 12-hour time needs both indicators, and they must fit
                // whole: a cut or missing one would make times ambiguous.
                const char* lam = nlLangInfoSeam(AM_STR);
                const char* lpm = nlLangInfoSeam(PM_STR);
                size_t na = strlen(lam), np = strlen(lpm);
                if (na > 0 && np > 0 && na < sizeof am_str && np < sizeof pm_str) {
                    fmt = locale;
                    am = lam;
                    pm = lpm;
                }
            }
        }
    }
    setString(time_fmt_str, sizeof time_fmt_str, fmt);
    setString(am_str, sizeof am_str, am);
    setString(pm_str, sizeof pm_str, pm);
    time_sep = time_fmt_str[2];
}

void nlSetNumberFormat(int number) {
    // Layout 2 deliberately uses the comma for both separators.
    static const char kPairs[7][2] = {{0, 0},     {',', '.'}, {',', ','}, {' ', ','},
                                      {' ', '.'}, {'.', ','}, {'\'', ','}};
    if (number >= 7) number = 1;
    number_fmt = number;
    if (number >= 1) {
        thousand_sep = kPairs[number][0];
        decimal_sep = kPairs[number][1];
    } else {
        char thou = localeSeparator(nlLangInfoSeam(THOUSEP));
        char radix = localeSeparator(nlLangInfoSeam(RADIXCHAR));
        thousand_sep = thou ? thou : ',';
        decimal_sep = radix ? radix : '.';
    }
    subsecond_sep = decimal_sep;
}

size_t nlFormatNumber64(uint64_t value, char* out, size_t size) {
    char digits[21];
    int n = snprintf(digits, sizeof digits, "%llu", static_cast<unsigned long long>(value));
    size_t len = static_cast<size_t>(n) + (static_cast<size_t>(n) - 1) / 3;
    if (out == nullptr || size == 0) return 0;
    if (len >= size) {
        out[0] = '\0';
        return 0;
    }
    size_t o = 0;
    for (int i = 0; i < n; ++i) {
        if (i > 0 && (n - i) % 3 == 0) out[o++] = thousand_sep;
        out[o++] = digits[i];
    }
    out[o] = '\0';
    return o;
}

namespace {

// strftime's "%p" follows LC_TIME at the moment of the call, which need not
// be the locale (or the fixed "AM"/"PM") the layout was chosen with, so the
// indicator is put into the format before formatting.
void withAmPm(const char* fmt, int hour, char* out, size_t size) {
    const char* mark = hour < 12 ? am_str : pm_str;
    size_t o = 0;
    for (size_t i = 0; fmt[i] != '\0' && o + 1 < size; ++i) {
        if (fmt[i] == '%' && fmt[i + 1] == 'p') {
            for (const char* m = mark; *m && o + 2 < size; ++m) {
                if (*m == '%') out[o++] = '%';
                out[o++] = *m;
            }
            ++i;
        } else {
            out[o++] = fmt[i];
        }
    }
    out[o] = '\0';
}

void copyOut(char* dest, size_t size, const char* src) {
    if (dest != nullptr && size > 0) setString(dest, size, src);
}

}  // namespace

namespace {

// The texts of the last second asked for, per thread: the trace stamps
// every line with them, and localtime_r and strftime would otherwise be the
// dearest part of a trace line. Kept with the layouts they were made with.
struct SecondTexts {
    time_t secs = -1;
    char dateFormat[sizeof date_fmt_str] = "";
    char timeFormat[sizeof time_fmt_str] = "";
    char date[16] = "";
    char time[16] = "";
};

thread_local SecondTexts lastSecond;

void formatSecond(time_t secs, SecondTexts* out) {
    struct tm local;
    if (localtime_r(&secs, &local) == nullptr) memset(&local, 0, sizeof local);
    if (strftime(out->date, sizeof out->date, date_fmt_str, &local) == 0) out->date[0] = '\0';
    // Two-digit-year dates are padded so prefixes line up a little better.
    if (strlen(out->date) < 9) strcat(out->date, " ");
    char fmt[32];
    withAmPm(time_fmt_str, local.tm_hour, fmt, sizeof fmt);
    if (strftime(out->time, sizeof out->time, fmt, &local) == 0) out->time[0] = '\0';
    out->secs = secs;
    memcpy(out->dateFormat, date_fmt_str, sizeof out->dateFormat);
    memcpy(out->timeFormat, time_fmt_str, sizeof out->timeFormat);
}

}  // namespace

void nlDateTimeNow(char* dateText, size_t dateSize, char* timeText, size_t timeSize,
                   unsigned long* milliseconds) {
    struct timespec now;
    psClock(&now);
    SecondTexts& last = lastSecond;
    if (last.secs != now.tv_sec || strcmp(last.dateFormat, date_fmt_str) != 0 ||
        strcmp(last.timeFormat, time_fmt_str) != 0)
        formatSecond(now.tv_sec, &last);
    copyOut(dateText, dateSize, last.date);
    copyOut(timeText, timeSize, last.time);
    if (milliseconds != nullptr) *milliseconds = static_cast<unsigned long>(now.tv_nsec / 1000000);
}
