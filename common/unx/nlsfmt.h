// Locale formats: the date, time and number layouts chosen by number (the
// agent's ZEBO_DATE_FMT, ZEBO_TIME_FMT, ZEBO_NUM_FMT), or for layout 0 the
// current locale's own layout when it is simple enough. The chosen layouts
// live in process globals used by trace prefixes, messages and the pick list.
//
// Thread safety: the setters write the globals without a lock; they are meant
// to run once at start-up (message repository initialisation) before other
// threads exist. Everything else only reads the globals.
#ifndef ZEBO_COMMON_UNX_NLSFMT_H
#define ZEBO_COMMON_UNX_NLSFMT_H

#include <stddef.h>
#include <stdint.h>

// Layout numbers as configured.
extern int date_fmt;
extern int time_fmt;
extern int number_fmt;

// The strftime formats in use ("%m/%d/%Y" and "%H:%M:%S" until a setter runs).
extern char date_fmt_str[16];
extern char time_fmt_str[16];

// Separators. date_sep and time_sep are the third character of their format;
// subsecond_sep always equals decimal_sep.
extern char date_sep;
extern char time_sep;
extern char thousand_sep;
extern char decimal_sep;
extern char subsecond_sep;

// AM and PM texts, empty unless a 12-hour layout is in use (at most 5 chars).
extern char am_str[6];
extern char pm_str[6];

#define NL_DEFAULT_DATE_FMT "%m/%d/%Y"
#define NL_DEFAULT_TIME_FMT "%H:%M:%S"

// Date layouts 0 (the locale's, if acceptable) to 5. A number outside 0..5 is
// stored in date_fmt but leaves the format and separator as they were.
void nlSetDateFormat(int number);
// Time layouts 0 (the locale's, if acceptable) to 4. Any other number is
// clamped to 1 ("%H:%M:%S").
void nlSetTimeFormat(int number);
// Number layouts 1 to 6 are fixed separator pairs; 7 or more is clamped to 1;
// 0 and negative numbers take the locale's THOUSEP and RADIXCHAR.
void nlSetNumberFormat(int number);

// Whether a locale date format (D_FMT) or time format (T_FMT) is simple enough
// for layout 0: at most 14 characters, nothing but "%X" fields with one
// character between them. Dates: m, d and y or Y, each once, in any order.
// Times: H or I, then M, then S (the order every time text is printed in),
// and "%p" only after an I-based hour, directly or after one character.
// Anything after the last field (a weekday, a time zone) refuses the format.
bool nlAcceptDateFormat(const char* fmt);
bool nlAcceptTimeFormat(const char* fmt);

// Writes value with thousand_sep between groups of three digits. Returns the
// length, or 0 (and an empty text when size > 0) when it does not fit.
size_t nlFormatNumber64(uint64_t value, char* out, size_t size);

// The current date and time as texts in the chosen layouts (each field at
// most 15 characters plus NUL) and the milliseconds of the current second.
// Used for trace line prefixes, message time stamps and the error logs.
void nlDateTimeNow(char* dateText, size_t dateSize, char* timeText, size_t timeSize,
                   unsigned long* milliseconds);

#endif
