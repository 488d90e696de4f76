// Date format models of the SQL*Plus simulator: the session's NLS_DATE_FORMAT
// ("MM/DD/YYYY:hh24:mi:ss", "DD-MON-RR", ...) used to read date literals in
// queries and to show DATE columns.
//
// Reading is lenient the way the database is: numbers may have fewer digits
// than the element (3/7/2011 for MM/DD/YYYY), any run of punctuation matches
// a punctuation element, and a literal may stop early (the missing elements
// take their defaults: the current year and month, day 1, midnight).
//
// Dates are kept in the catalog as canonical text "YYYY-MM-DD HH:MM:SS",
// which sorts in time order.
#ifndef ZEBO_TOOLS_SQLPLUS_ORADATE_H
#define ZEBO_TOOLS_SQLPLUS_ORADATE_H

#include <string>
#include <vector>

namespace sqlsim {

class DateFormat {
  public:
    // Parses a format model. False (with *error set to the ORA- text) when an
    // element is not recognised.
    bool parse(const std::string& model, std::string* error);

    // Reads a literal into canonical text. False with *error set to the
    // ORA- text when it does not fit the model or names an invalid date.
    bool read(const std::string& literal, std::string* canonical, std::string* error) const;

    // Shows a canonical date in this format.
    std::string show(const std::string& canonical) const;

  private:
    struct Fields {
        int year, month, day, hour, minute, second;
    };
    struct Element {
        enum Kind {
            YEAR4,
            YEAR2,
            RR,
            MONTH,
            MON,
            MONTHNAME,
            DAY,
            HH24,
            HH12,
            MI,
            SS,
            AMPM,
            PUNCT,
            TEXT
        };
        Kind kind;
        std::string text;  // PUNCT and TEXT: the characters; others: the spelling's case
        int Fields::*field = nullptr;  // a number element: the field it reads and shows
    };
    std::vector<Element> elements_;
};

// Whether the text is a canonical date (also checks the calendar).
bool isCanonicalDate(const std::string& text);

}  // namespace sqlsim

#endif
