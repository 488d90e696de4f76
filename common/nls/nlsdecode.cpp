#include "common/nls/nlsdecode.h"

#include <ctype.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "common/unx/psenv.h"

const char kNlDefaultText[] = "QES1111M Error retrieving message %d from rvkclientV3.cat.\n";

namespace {

const char kTrailerMark = 0x12;
const char kEscapedNul = 0x10;
const size_t kPrefixLength = 9;

// The ordered form is stored with 0x10 for every NUL. Byte 0 (the form) is
// always decoded; header bytes 1 to 3 only where the mask in byte 1 says so
// (bit 3-i for byte 1+i, tested against the mask as it was read); from byte
// 4 on every 0x10 is a NUL.
void decodeOrdered(std::string* body, size_t start) {
    std::string& b = *body;
    if (start >= b.size()) return;
    if (b[start] == kEscapedNul) b[start] = 0;
    unsigned char mask = start + 1 < b.size() ? static_cast<unsigned char>(b[start + 1]) : 0;
    for (size_t i = 0; i < 3 && start + 1 + i < b.size(); ++i) {
        if (b[start + 1 + i] == kEscapedNul && ((mask >> (3 - i)) & 1)) b[start + 1 + i] = 0;
    }
    for (size_t k = start + 4; k < b.size(); ++k) {
        if (b[k] == kEscapedNul) b[k] = 0;
    }
}

// Skips a width or precision written as digits; false when it has more
// digits than NL_MAX_FIELD_DIGITS.
bool skipFieldDigits(const char** p) {
    size_t digits = strspn(*p, "0123456789");
    *p += digits;
    return digits <= NL_MAX_FIELD_DIGITS;
}

// One printf conversion and nothing else, with `stars` "*" and a conversion
// that fits the insert type; anything else could make sprintf read
// arguments that were never passed.
bool specMatches(const char* spec, int stars, int type) {
    const char* p = spec;
    if (*p++ != '%') return false;
    while (*p && strchr("-+ #0'", *p)) ++p;
    int seen = 0;
    if (*p == '*') {
        ++seen;
        ++p;
    } else if (!skipFieldDigits(&p)) {
        return false;
    }
    if (*p == '.') {
        ++p;
        if (*p == '*') {
            ++seen;
            ++p;
        } else if (!skipFieldDigits(&p)) {
            return false;
        }
    }
    std::string length;
    while (*p && strchr("hl", *p)) length.push_back(*p++);
    char conv = *p;
    if (conv == 0 || p[1] != 0 || seen != stars) return false;
    bool shortOrNone = length.empty() || length == "h" || length == "hh";
    switch (type) {
        case 0:
            return (conv == 's' && (length.empty() || length == "l")) ||
                   (conv == 'p' && length.empty());
        case 1:
            return strchr("dic", conv) && shortOrNone && !(conv == 'c' && !length.empty());
        case 2:
            return strchr("ouxX", conv) && shortOrNone;
        case 3:
            return strchr("eEfFgGaA", conv) && (length.empty() || length == "l");
        default:
            return false;
    }
}

// Reads a NUL-terminated string at *pos within the body; advances past it.
bool takeString(const char* body, size_t length, size_t* pos, const char** out) {
    if (*pos >= length) return false;
    const void* nul = memchr(body + *pos, 0, length - *pos);
    if (!nul) return false;
    *out = body + *pos;
    *pos = static_cast<size_t>(static_cast<const char*>(nul) - body) + 1;
    return true;
}

}  // namespace

size_t nlBodyStart(const NLSMsg* msg) {
    return nlSeverityPrefixed(msg->severity) ? kPrefixLength : 0;
}

bool nlParseOrdered(const char* body, size_t length, nlOrderedView* v) {
    if (length < 6 || body[0] != 0) return false;
    // The count byte is read signed on purpose: a negative count is none.
    int n = static_cast<signed char>(body[5]);  // NOLINT(bugprone-signed-char-misuse)
    if (n < 0) n = 0;
    if (n > NL_MAX_INSERTS) return false;
    v->n = n;
    size_t pos = 6;
    if (pos + static_cast<size_t>(n) > length) return false;
    bool slotUsed[NL_MAX_INSERTS] = {};
    for (int k = 0; k < n; ++k) {
        int slot = static_cast<unsigned char>(body[pos++]);
        if (slot < 1 || slot > n || slotUsed[slot - 1]) return false;
        slotUsed[slot - 1] = true;
        v->order[k] = static_cast<unsigned char>(slot);
    }
    for (int j = 0; j < n; ++j) {
        if (pos + 2 > length) return false;
        v->stars[j] = static_cast<unsigned char>(body[pos++]);
        v->type[j] = static_cast<unsigned char>(body[pos++]);
        if (v->stars[j] > 2 || v->type[j] > 3) return false;
        if (!takeString(body, length, &pos, &v->spec[j])) return false;
        if (!specMatches(v->spec[j], v->stars[j], v->type[j])) return false;
    }
    for (int j = 0; j <= n; ++j) {
        if (!takeString(body, length, &pos, &v->piece[j])) return false;
    }
    return true;
}

nlDecodeStatus nlDecodeCatalogText(unsigned number, const char* text, NLSMsg** out) {
    *out = nullptr;
    if (strcmp(text, kNlDefaultText) == 0) return NL_DECODE_MISSING;
    size_t len = strlen(text);

    // The digit run starts at position 3; it is scanned from position 4, so
    // that a longer number moves the letter beyond position 7.
    size_t letterPos = 4;
    while (letterPos < len && isdigit(static_cast<unsigned char>(text[letterPos]))) ++letterPos;
    if (letterPos >= len) return NL_DECODE_CORRUPTED;
    char letter = text[letterPos];
    if (letter < 'E' || letter > 'Z') return NL_DECODE_CORRUPTED;
    if (letter == 'M') return NL_DECODE_RETIRED;
    int severity = nlSeverityOfLetter(letter);
    if (severity < 0) return NL_DECODE_CORRUPTED;

    // Trailer: 0x12 among the last seven characters, searched from the end.
    size_t bodyEnd = len;
    const char* trailer = "";
    for (size_t k = len; k > 0 && k + 7 > len; --k) {
        if (text[k - 1] == kTrailerMark) {
            bodyEnd = k - 1;
            trailer = text + k;
            break;
        }
    }

    std::string work;
    if (nlSeverityPrefixed(severity)) {
        // The stored prefix always has nine characters: a number of more than
        // four digits loses its leading digits.
        if (letterPos < 7 || bodyEnd < letterPos + 2) return NL_DECODE_CORRUPTED;
        size_t drop = letterPos - 7;
        work.assign(text, 3);
        work.append(text + 3 + drop, bodyEnd - 3 - drop);
    } else if (letterPos + 2 <= bodyEnd) {
        work.assign(text + letterPos + 2, bodyEnd - letterPos - 2);
    }
    if (work.size() > 0xFFF0) return NL_DECODE_CORRUPTED;
    size_t start = nlSeverityPrefixed(severity) ? kPrefixLength : 0;
    if (work.size() > start && work[start] != 0x01) {
        decodeOrdered(&work, start);
        nlOrderedView view;
        if (!nlParseOrdered(work.data() + start, work.size() - start, &view))
            return NL_DECODE_CORRUPTED;
    }
    // The display code page is the catalog's own on this platform, so the
    // conversion that msgReposCodepage asks for leaves the body as it is.

    NLSMsg* msg = static_cast<NLSMsg*>(psAllocator.mallocFn(sizeof(NLSMsg) + work.size() + 20));
    if (!msg) return NL_DECODE_NO_MEMORY;
    memset(msg, 0, sizeof(NLSMsg));
    msg->number = static_cast<unsigned short>(number);
    msg->severity = static_cast<unsigned char>(severity);
    strncpy(msg->trailer, trailer, sizeof msg->trailer - 1);
    msg->length = static_cast<unsigned short>(work.size());
    memcpy(msg->body, work.data(), work.size());
    msg->body[work.size()] = 0;
    *out = msg;
    return NL_DECODE_OK;
}
