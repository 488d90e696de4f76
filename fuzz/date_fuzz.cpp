// Dates typed at the date prompts, in every layout the parser knows: the
// three fields in each of their six orders, a four- or two-digit year, and
// the separators of the fixed layouts. The first input byte picks the
// layout, the rest is the typed text.
//
// Invariants: the parser accepts exactly the texts that an independent
// reading accepts (three digit groups, one non-digit between them, blanks
// around), gives the same day, leaves its output alone on failure, and a
// date it printed in the layout reads back as the same day.
#include <ctype.h>
#include <string.h>

#include <string>
#include <vector>

#include "common/unx/nlsdate.h"
#include "common/unx/nlsfmt.h"
#include "fuzz/fuzzcheck.h"

namespace {

const char* const kOrders[6] = {"mdy", "dmy", "ymd", "ydm", "myd", "dym"};
const char kSeparators[] = "/-. ";

void setLayout(uint8_t pick) {
    const char* order = kOrders[pick % 6];
    char year = (pick / 6) % 2 ? 'y' : 'Y';
    char sep = kSeparators[(pick / 12) % 4];
    char fmt[16];
    int n = 0;
    for (int i = 0; i < 3; ++i) {
        if (i > 0) fmt[n++] = sep;
        fmt[n++] = '%';
        fmt[n++] = order[i] == 'y' ? year : order[i];
    }
    fmt[n] = '\0';
    FUZZ_CHECK(nlAcceptDateFormat(fmt), "layout %s", fmt);
    memcpy(date_fmt_str, fmt, sizeof fmt);
    date_sep = sep;
}

// The independent reading: 0 and the day, 1 syntax, 2 range.
int reference(const std::string& text, long* year, long* month, long* day) {
    size_t p = 0, end = text.size();
    while (p < end && isspace(static_cast<unsigned char>(text[p]))) ++p;
    while (end > p && isspace(static_cast<unsigned char>(text[end - 1]))) --end;
    std::vector<std::string> groups;
    while (true) {
        size_t start = p;
        while (p < end && isdigit(static_cast<unsigned char>(text[p]))) ++p;
        if (p == start) return NL_DATE_SYNTAX;
        groups.push_back(text.substr(start, p - start));
        if (p == end) break;
        ++p;  // one separator, which must not be a digit (it is not: the run stopped)
        if (groups.size() == 3) return NL_DATE_SYNTAX;
    }
    if (groups.size() != 3) return NL_DATE_SYNTAX;
    long value[3] = {0, 0, 0};
    for (int i = 0; i < 3; ++i) {
        char field = date_fmt_str[3 * i + 1];
        const std::string& g = groups[i];
        if (g.size() > 4) return NL_DATE_SYNTAX;
        long v = strtol(g.c_str(), nullptr, 10);
        if (field == 'y' || field == 'Y') {
            if (g.size() == 2) {
                v += v < 69 ? 2000 : 1900;
            } else if (g.size() != 4) {
                return NL_DATE_SYNTAX;
            }
            value[0] = v;
        } else {
            if (g.size() > 2) return NL_DATE_SYNTAX;
            value[field == 'm' ? 1 : 2] = v;
        }
    }
    *year = value[0];
    *month = value[1];
    *day = value[2];
    return nlIsValidDate(value[0], value[1], value[2]) ? NL_DATE_OK : NL_DATE_RANGE;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1) return 0;
    setLayout(data[0]);
    std::string typed = fuzzText(data + 1, size - 1);
    typed = typed.substr(0, strlen(typed.c_str()));  // what a C string shows

    nlDateTime got;
    memset(&got, 0xA5, sizeof got);
    nlDateTime untouched = got;
    int rc = nlParseDate(typed.c_str(), &got);
    long year = 0, month = 0, day = 0;
    int want = reference(typed, &year, &month, &day);
    FUZZ_CHECK(rc == want, "layout %s, text '%s': parser %d, reference %d", date_fmt_str,
               typed.c_str(), rc, want);
    if (rc != NL_DATE_OK) {
        FUZZ_CHECK(memcmp(&got, &untouched, sizeof got) == 0, "output changed on failure");
        return 0;
    }
    FUZZ_CHECK(got.year == year && got.month == month && got.day == day && got.hour == 0 &&
                   got.minute == 0 && got.second == 0,
               "'%s' read as %d-%d-%d", typed.c_str(), got.year, got.month, got.day);

    // A two-digit year prints only the years of its window back the same.
    bool twoDigits = strchr(date_fmt_str, 'y') != nullptr;
    if (twoDigits && (got.year < 1969 || got.year > 2068)) return 0;
    char printed[64];
    size_t n = nlFormatDate(got, printed, sizeof printed);
    FUZZ_CHECK(n > 0 && n == strlen(printed), "no text for %d-%d-%d", got.year, got.month, got.day);
    nlDateTime again;
    FUZZ_CHECK(nlParseDate(printed, &again) == NL_DATE_OK && nlCompareDateTime(got, again) == 0,
               "'%s' printed as '%s' does not read back", typed.c_str(), printed);
    return 0;
}
