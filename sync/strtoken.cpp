// Multibyte-aware tokenizer; see strtoken.h.
#include "sync/strtoken.h"

#include <stdlib.h>
#include <string.h>
#include <wchar.h>

namespace {

// Length in bytes of the character at p (at least 1 for a non-NUL byte),
// and the character itself in *wc. An invalid or cut sequence is one byte
// that matches no separator (*wc = WEOF). `mbMax` is the locale's
// MB_CUR_MAX, asked once per call of the tokenizer rather than per
// character: the C library answers it through a function call.
size_t charAt(const char* p, wchar_t* wc, size_t mbMax) {
    if (*p == '\0') {
        *wc = L'\0';
        return 0;
    }
    if (mbMax == 1) {
        *wc = static_cast<wchar_t>(static_cast<unsigned char>(*p));
        return 1;
    }
    mbstate_t state;
    memset(&state, 0, sizeof state);
    // At most one character's bytes are looked at: a NUL ends an
    // incomplete sequence as an invalid one, so nothing past it is read.
    size_t n = mbrtowc(wc, p, mbMax, &state);
    if (n == static_cast<size_t>(-1) || n == static_cast<size_t>(-2) || n == 0) {
        *wc = static_cast<wchar_t>(WEOF);
        return 1;
    }
    return n;
}

bool isSeparator(wchar_t wc, const char* separators, size_t mbMax) {
    if (wc == static_cast<wchar_t>(WEOF)) return false;
    for (const char* s = separators; *s;) {
        wchar_t sep;
        size_t n = charAt(s, &sep, mbMax);
        if (sep == wc) return true;
        s += n;
    }
    return false;
}

}  // namespace

char* utStrTok(char* text, const char* separators, char** saveP) {
    char* p = text != nullptr ? text : *saveP;
    if (p == nullptr) return nullptr;
    const size_t mbMax = MB_CUR_MAX;
    wchar_t wc;
    size_t n;
    // Skip the separators in front of the token.
    while ((n = charAt(p, &wc, mbMax)) != 0 && isSeparator(wc, separators, mbMax)) p += n;
    if (n == 0) {
        *saveP = p;
        return nullptr;
    }
    char* token = p;
    while ((n = charAt(p, &wc, mbMax)) != 0 && !isSeparator(wc, separators, mbMax)) p += n;
    if (n == 0) {
        *saveP = p;
    } else {
        // Separators are cut at their first byte; the rest of a multibyte
        // separator is skipped with it.
        *p = '\0';
        *saveP = p + n;
    }
    return token;
}
