// One printf conversion of a message text, read the one way that both the
// message repository (checking a catalog text before it formats with it) and
// the catalog compiler (tools/mkcat, encoding the texts) read it. The piece
// depends on nothing else, so that the compiler links it alone.
#ifndef ZEBO_COMMON_NLS_NLSCONV_H
#define ZEBO_COMMON_NLS_NLSCONV_H

#include <stddef.h>

#include <string>

// Most digits of a width or precision in a catalog text. The longest message
// is a few thousand characters; a wider field only pads, and a width of a
// billion would keep sprintf padding for seconds on every use.
enum { NL_MAX_FIELD_DIGITS = 4 };

struct NlConversion {
    bool positional = false;  // a leading "N$" names the argument
    int argument = 0;         // its N
    std::string spec;         // as written, without "N$": "%-10.3ls"
    int stars = 0;            // "*" for width or precision: an int argument each
    bool longField = false;   // a width or precision of too many digits
    std::string length;       // the length modifier: "", "h", "l", "ll", ...
    char conv = 0;            // the conversion letter; 0 at the end of the text
    // The argument the conversion takes: s string or pointer, w wide string,
    // i int, u unsigned int, f double, l long or long long; 0 for one that
    // the repository never formats (%n, an unknown letter or length).
    char letter = 0;
};

// Reads the conversion that starts at text[*pos] == '%' (not "%%") and
// moves *pos past it.
void nlScanConversion(const std::string& text, size_t* pos, NlConversion* out);

#endif
