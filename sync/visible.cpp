// Control characters made visible; see visible.h.
#include "sync/visible.h"

#include <stdio.h>
#include <string.h>

namespace {

void escapeByte(unsigned char c, std::string* out) {
    char hex[5];
    snprintf(hex, sizeof hex, "\\x%02x", c);
    out->append(hex);
}

// Length of the well-formed UTF-8 character at s (1 to 4), or 0.
size_t utf8Length(const unsigned char* s) {
    unsigned char c = s[0];
    size_t n = c >= 0xf0 && c <= 0xf4 ? 4 : c >= 0xe0 ? 3 : c >= 0xc2 && c < 0xe0 ? 2 : 0;
    if (c >= 0xf5) n = 0;
    for (size_t i = 1; i < n; ++i)
        if ((s[i] & 0xc0) != 0x80) return 0;
    // Overlong forms and surrogates are not characters either.
    if (n == 3 && ((c == 0xe0 && s[1] < 0xa0) || (c == 0xed && s[1] >= 0xa0))) return 0;
    if (n == 4 && ((c == 0xf0 && s[1] < 0x90) || (c == 0xf4 && s[1] >= 0x90))) return 0;
    return n;
}

}  // namespace

std::string utVisibleText(const char* text) {
    std::string out;
    if (text == nullptr) return out;
    const unsigned char* s = reinterpret_cast<const unsigned char*>(text);
    out.reserve(strlen(text));
    while (*s != '\0') {
        unsigned char c = *s;
        if (c < 0x20 || c == 0x7f) {
            escapeByte(c, &out);
            ++s;
        } else if (c == '\\') {
            out.append("\\\\");
            ++s;
        } else if (c < 0x80) {
            out.push_back(static_cast<char>(c));
            ++s;
        } else if (size_t n = utf8Length(s)) {
            bool c1 = c == 0xc2 && s[1] <= 0x9f;
            for (size_t i = 0; i < n; ++i) {
                if (c1)
                    escapeByte(s[i], &out);
                else
                    out.push_back(static_cast<char>(s[i]));
            }
            s += n;
        } else {
            if (c <= 0x9f)
                escapeByte(c, &out);
            else
                out.push_back(static_cast<char>(c));
            ++s;
        }
    }
    return out;
}
