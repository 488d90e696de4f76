// Date values: parsing a date typed in the user's layout, comparing,
// calendar arithmetic for relative dates, today's date from the clock seam,
// and the date and time texts in the chosen layouts (see nlsfmt.h).
//
// Thread safety: all functions are reentrant; they read the layout globals,
// which are set once at start-up.
#ifndef ZEBO_COMMON_UNX_NLSDATE_H
#define ZEBO_COMMON_UNX_NLSDATE_H

#include <stddef.h>
#include <stdint.h>

// A calendar date and time of day, local time. month 1..12, day 1..31.
struct nlDateTime {
    uint16_t year;
    uint8_t month, day, hour, minute, second;
};

// Results of the parsers.
enum {
    NL_DATE_OK = 0,
    NL_DATE_SYNTAX = 1,  // not three numbers with one separator between them
    NL_DATE_RANGE = 2,   // month, day or year out of range, or no such day
};

// Parses a date typed in the user's layout: three numbers in the order of the
// first three conversions of date_fmt_str, each pair separated by exactly one
// character that is not a digit (any such character is taken, not only
// date_sep, so "3-7-2011" reads like "3/7/2011", and a blank works for
// locales that separate with blanks). Blanks around the whole text are
// ignored. Day and month have one or two digits.
// The year has four digits (1 to 9999) or two: 00..68 mean 2000..2068 and
// 69..99 mean 1969..1999, the same window that strptime's %y uses, so a date
// the program printed with "%y" reads back as the same day.
// On success fills *out with the time 00:00:00 and returns NL_DATE_OK;
// otherwise returns NL_DATE_SYNTAX or NL_DATE_RANGE and leaves *out alone.
int nlParseDate(const char* text, nlDateTime* out);

// -1, 0 or 1 as a is before, equal to or after b, by year, month, day, hour,
// minute and second.
int nlCompareDateTime(const nlDateTime& a, const nlDateTime& b);

// The date `days` days BEFORE today: the "+N" answer to a date prompt means
// "N days ago" (a from-date of "+30" syncs the last thirty days); a negative
// number counts forward. The result's time is 00:00:00, like a typed date, so
// "+0" equals today's date typed in full. Returns NL_DATE_OK, or
// NL_DATE_RANGE (out untouched) when today is not a valid date or the result
// falls outside the years 1 to 9999.
int nlRelativeDate(const nlDateTime& today, long days, nlDateTime* out);

// An answer to a date prompt: "+N" (N decimal digits only) is nlRelativeDate
// from nlToday, anything else goes to nlParseDate.
int nlParseDateAnswer(const char* answer, nlDateTime* out);

// Today's local date with the time 00:00:00 (clock seam, see nlsseam.h).
void nlToday(nlDateTime* out);
// The current local date and time.
void nlNow(nlDateTime* out);

// Whether the date is a real calendar day (Gregorian leap years).
bool nlIsValidDate(int year, int month, int day);

// The date in date_fmt_str, the time as "%2.2d%c%2.2d%c%2.2d" with time_sep
// (a 12-hour hour and am_str/pm_str when the layout uses "%p"). Return the
// length, or 0 (and an empty text when size > 0) when it does not fit.
size_t nlFormatDate(const nlDateTime& value, char* out, size_t size);
size_t nlFormatTime(const nlDateTime& value, char* out, size_t size);

#endif
