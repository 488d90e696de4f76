#include "common/nls/nlsconv.h"

#include <ctype.h>
#include <stdlib.h>

namespace {

char letterOf(char conv, const std::string& length) {
    bool word = length.empty() || length == "h" || length == "hh";
    bool wide = length == "l" || length == "ll" || length == "j" || length == "z" ||
                length == "t" || length == "q";
    switch (conv) {
        case 's':
            return length.empty() ? 's' : length == "l" ? 'w' : 0;
        case 'p':
            return length.empty() ? 's' : 0;
        case 'c':
            return length.empty() ? 'i' : 0;
        case 'd':
        case 'i':
            return word ? 'i' : wide ? 'l' : 0;
        case 'o':
        case 'u':
        case 'x':
        case 'X':
            return word ? 'u' : wide ? 'l' : 0;
        case 'e':
        case 'E':
        case 'f':
        case 'F':
        case 'g':
        case 'G':
        case 'a':
        case 'A':
            return length.empty() || length == "l" ? 'f' : 0;
        default:
            return 0;
    }
}

bool isDigit(const std::string& text, size_t p) {
    return p < text.size() && isdigit(static_cast<unsigned char>(text[p]));
}

}  // namespace

void nlScanConversion(const std::string& text, size_t* pos, NlConversion* out) {
    *out = NlConversion();
    size_t p = *pos + 1;
    size_t q = p;
    while (isDigit(text, q)) ++q;
    if (q > p && q < text.size() && text[q] == '$') {
        out->positional = true;
        out->argument = atoi(text.substr(p, q - p).c_str());
        p = q + 1;
    }
    out->spec = "%";
    while (p < text.size() && std::string("-+ #0'").find(text[p]) != std::string::npos)
        out->spec.push_back(text[p++]);
    for (int part = 0; part < 2; ++part) {
        if (part == 1) {
            if (p >= text.size() || text[p] != '.') break;
            out->spec.push_back(text[p++]);
        }
        if (p < text.size() && text[p] == '*') {
            ++out->stars;
            out->spec.push_back(text[p++]);
            continue;
        }
        size_t digits = 0;
        for (; isDigit(text, p); ++digits) out->spec.push_back(text[p++]);
        if (digits > NL_MAX_FIELD_DIGITS) out->longField = true;
    }
    while (p < text.size() && std::string("hlLjztq").find(text[p]) != std::string::npos)
        out->length.push_back(text[p++]);
    out->spec += out->length;
    if (p < text.size()) {
        out->conv = text[p++];
        out->spec.push_back(out->conv);
        out->letter = letterOf(out->conv, out->length);
    }
    *pos = p;
}
