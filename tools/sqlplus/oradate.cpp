#include "tools/sqlplus/oradate.h"

#include <ctype.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <time.h>

namespace sqlsim {

namespace {

const char* const kMonths[] = {"JANUARY",   "FEBRUARY", "MARCH",    "APRIL",
                               "MAY",       "JUNE",     "JULY",     "AUGUST",
                               "SEPTEMBER", "OCTOBER",  "NOVEMBER", "DECEMBER"};

bool leapYear(int y) {
    return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
}

int daysInMonth(int y, int m) {
    static const int days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return m == 2 && leapYear(y) ? 29 : days[m - 1];
}

bool startsWithNoCase(const std::string& s, size_t at, const char* word) {
    return strncasecmp(s.c_str() + at, word, strlen(word)) == 0;
}

bool isPunct(char c) {
    return c != '"' && !isalnum(static_cast<unsigned char>(c));
}

// Upper, capitalised or lower case, as the element is spelt in the model.
std::string inCaseOf(const std::string& spelling, std::string word) {
    bool upper1 = isupper(static_cast<unsigned char>(spelling[0]));
    bool upper2 = spelling.size() > 1 && isupper(static_cast<unsigned char>(spelling[1]));
    for (size_t i = 0; i < word.size(); ++i) {
        bool up = i == 0 ? upper1 : upper1 && upper2;
        word[i] = static_cast<char>(up ? toupper(word[i]) : tolower(word[i]));
    }
    return word;
}

}  // namespace

bool DateFormat::parse(const std::string& model, std::string* error) {
    static const struct {
        const char* name;
        Element::Kind kind;
        int Fields::*field;
    } kNames[] = {{"HH24", Element::HH24, &Fields::hour}, {"HH12", Element::HH12, &Fields::hour},
                  {"HH", Element::HH12, &Fields::hour},   {"YYYY", Element::YEAR4, &Fields::year},
                  {"RRRR", Element::RR, &Fields::year},   {"YY", Element::YEAR2, &Fields::year},
                  {"RR", Element::RR, &Fields::year},     {"MONTH", Element::MONTHNAME, nullptr},
                  {"MON", Element::MON, nullptr},         {"MM", Element::MONTH, &Fields::month},
                  {"MI", Element::MI, &Fields::minute},   {"DD", Element::DAY, &Fields::day},
                  {"SS", Element::SS, &Fields::second},   {"AM", Element::AMPM, nullptr},
                  {"PM", Element::AMPM, nullptr}};
    std::vector<Element> elements;
    size_t i = 0;
    while (i < model.size()) {
        if (model[i] == '"') {
            size_t end = model.find('"', i + 1);
            if (end == std::string::npos) break;
            elements.push_back({Element::TEXT, model.substr(i + 1, end - i - 1)});
            i = end + 1;
            continue;
        }
        if (isPunct(model[i])) {
            size_t end = i;
            while (end < model.size() && isPunct(model[end])) ++end;
            elements.push_back({Element::PUNCT, model.substr(i, end - i)});
            i = end;
            continue;
        }
        if (startsWithNoCase(model, i, "FX") || startsWithNoCase(model, i, "FM")) {
            i += 2;  // modifiers of exactness and padding: accepted, not applied
            continue;
        }
        bool known = false;
        for (const auto& n : kNames) {
            if (startsWithNoCase(model, i, n.name)) {
                elements.push_back({n.kind, model.substr(i, strlen(n.name)), n.field});
                i += strlen(n.name);
                known = true;
                break;
            }
        }
        if (!known) break;
    }
    if (i < model.size()) {
        *error = "ORA-01821: date format not recognized";
        return false;
    }
    elements_ = elements;
    return true;
}

bool DateFormat::read(const std::string& literal, std::string* canonical,
                      std::string* error) const {
    if (literal.empty()) {  // the empty string is NULL: it matches no date
        canonical->clear();
        return true;
    }
    time_t now = time(nullptr);
    struct tm today;
    localtime_r(&now, &today);
    Fields f = {today.tm_year + 1900, today.tm_mon + 1, 1, 0, 0, 0};
    int pm = -1;
    bool hour12 = false;
    size_t at = 0;
    for (const Element& e : elements_) {
        while (at < literal.size() && literal[at] == ' ' && e.kind != Element::PUNCT) ++at;
        if (at >= literal.size()) break;  // a short literal: the rest keeps its defaults
        switch (e.kind) {
            case Element::PUNCT:
                while (at < literal.size() && isPunct(literal[at])) ++at;
                continue;
            case Element::TEXT:
                if (!startsWithNoCase(literal, at, e.text.c_str())) {
                    *error = "ORA-01861: literal does not match format string";
                    return false;
                }
                at += e.text.size();
                continue;
            case Element::MON:
            case Element::MONTHNAME: {
                size_t end = at;
                while (end < literal.size() && isalpha(static_cast<unsigned char>(literal[end])))
                    ++end;
                std::string word = literal.substr(at, end - at);
                int found = 0;
                for (int m = 0; m < 12 && !found; ++m)
                    if ((word.size() == 3 || word.size() == strlen(kMonths[m])) &&
                        strncasecmp(word.c_str(), kMonths[m], word.size()) == 0)
                        found = m + 1;
                if (!found) {
                    *error = "ORA-01843: not a valid month";
                    return false;
                }
                f.month = found;
                at = end;
                continue;
            }
            case Element::AMPM:
                if (startsWithNoCase(literal, at, "AM") || startsWithNoCase(literal, at, "PM")) {
                    pm = toupper(literal[at]) == 'P';
                    at += 2;
                } else if (startsWithNoCase(literal, at, "A.M.") ||
                           startsWithNoCase(literal, at, "P.M.")) {
                    pm = toupper(literal[at]) == 'P';
                    at += 4;
                } else {
                    *error = "ORA-01855: AM/A.M. or PM/P.M. required";
                    return false;
                }
                continue;
            default:
                break;
        }
        // A number: at most 4 digits for a year, 2 for the other elements.
        size_t most = e.kind == Element::YEAR4 || e.kind == Element::RR ? 4 : 2;
        size_t end = at;
        while (end < literal.size() && end - at < most &&
               isdigit(static_cast<unsigned char>(literal[end])))
            ++end;
        if (end == at) {
            *error = "ORA-01858: a non-numeric character was found where a numeric was expected";
            return false;
        }
        int value = atoi(literal.substr(at, end - at).c_str());
        // Two digits of a year: YY keeps the current century, RR takes the
        // nearer one (00 to 49: 2000s).
        if (e.kind == Element::YEAR2)
            value += f.year / 100 * 100;
        else if (e.kind == Element::RR && end - at <= 2)
            value += value < 50 ? 2000 : 1900;
        if (e.kind == Element::HH12) hour12 = true;
        f.*e.field = value;
        if (e.kind == Element::MONTH && (value < 1 || value > 12)) {
            *error = "ORA-01843: not a valid month";
            return false;
        }
        at = end;
    }
    // cppcheck-suppress knownConditionTrueFalse ; the loop above can stop early
    while (at < literal.size() && literal[at] == ' ') ++at;
    if (at < literal.size()) {
        *error = "ORA-01830: date format picture ends before converting entire input string";
        return false;
    }
    if (hour12) {
        if (f.hour < 1 || f.hour > 12) {
            *error = "ORA-01849: hour must be between 1 and 12";
            return false;
        }
        f.hour = f.hour % 12 + (pm == 1 ? 12 : 0);
    }
    const char* bad = nullptr;
    if (f.year < 1 || f.year > 9999)
        bad = "ORA-01841: (full) year must be between -4713 and +9999, and not be 0";
    else if (f.day < 1 || f.day > daysInMonth(f.year, f.month))
        bad = "ORA-01847: day of month must be between 1 and last day of month";
    else if (f.hour > 23)
        bad = "ORA-01850: hour must be between 0 and 23";
    else if (f.minute > 59)
        bad = "ORA-01851: minutes must be between 0 and 59";
    else if (f.second > 59)
        bad = "ORA-01852: seconds must be between 0 and 59";
    if (bad) {
        *error = bad;
        return false;
    }
    char buf[80];
    snprintf(buf, sizeof buf, "%04d-%02d-%02d %02d:%02d:%02d", f.year, f.month, f.day, f.hour,
             f.minute, f.second);
    *canonical = buf;
    return true;
}

std::string DateFormat::show(const std::string& canonical) const {
    Fields f = {};
    if (sscanf(canonical.c_str(), "%d-%d-%d %d:%d:%d", &f.year, &f.month, &f.day, &f.hour,
               &f.minute, &f.second) != 6 ||
        f.month < 1 || f.month > 12)
        return canonical;
    std::string out;
    char buf[16];
    for (const Element& e : elements_) {
        switch (e.kind) {
            case Element::PUNCT:
            case Element::TEXT:
                out += e.text;
                continue;
            case Element::MON:
                out += inCaseOf(e.text, std::string(kMonths[f.month - 1], 3));
                continue;
            case Element::MONTHNAME:
                out += inCaseOf(e.text, kMonths[f.month - 1]);
                continue;
            case Element::AMPM:
                out += inCaseOf(e.text, f.hour < 12 ? "AM" : "PM");
                continue;
            default:
                break;
        }
        // A number: four digits for YYYY and RRRR, else two.
        int value = f.*e.field;
        bool fourDigits = e.kind == Element::YEAR4 || (e.kind == Element::RR && e.text.size() == 4);
        if (e.kind == Element::YEAR2 || (e.kind == Element::RR && !fourDigits)) value %= 100;
        if (e.kind == Element::HH12) value = value % 12 ? value % 12 : 12;
        snprintf(buf, sizeof buf, fourDigits ? "%04d" : "%02d", value);
        out += buf;
    }
    return out;
}

bool isCanonicalDate(const std::string& text) {
    static const char kShape[] = "9999-99-99 99:99:99";
    if (text.size() != sizeof kShape - 1) return false;
    for (size_t i = 0; i < text.size(); ++i)
        if (kShape[i] == '9' ? !isdigit(static_cast<unsigned char>(text[i])) : text[i] != kShape[i])
            return false;
    int y, mo, d, h, mi, s;
    sscanf(text.c_str(), "%d-%d-%d %d:%d:%d", &y, &mo, &d, &h, &mi, &s);
    return y >= 1 && mo >= 1 && mo <= 12 && d >= 1 && d <= daysInMonth(y, mo) && h <= 23 &&
           mi <= 59 && s <= 59;
}

}  // namespace sqlsim
