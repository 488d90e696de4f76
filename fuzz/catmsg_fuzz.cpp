// The message repository's decoder and formatter on catalog texts as a
// damaged or hostile catalog could hold them. Input: two bytes of message
// number, one byte choosing the arguments the program passes, then the
// catalog text. The text is handed over in a block of exactly its size, so
// AddressSanitizer reports any read past it, by the decoder, the ordered-body
// reader or the formatter.
//
// Invariants: a decoded message keeps its number, a NUL-terminated body of
// the stated length and a trailer of at most six characters; an ordered
// body that the reader accepts has every descriptor and piece inside the
// body; a formatted text is a proper string.
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>

#include "common/nls/nls.h"
#include "common/nls/nlscatalog.h"
#include "common/nls/nlsdecode.h"
#include "common/nls/nlssignature.h"
#include "fuzz/fuzzcheck.h"

namespace {

const char* gText = nullptr;  // what the catalog returns for every number

char* fuzzCatgets(nl_catd, int, int, const char*) {
    return const_cast<char*>(gText);
}

int quiet(const char*) {
    return 0;
}

// The argument lists the program passes, by signature letter.
const char* const kSignatures[] = {"",   "s",  "i",  "u",   "f",   "l",   "w",
                                   "ss", "si", "is", "iis", "sss", "suf", "ssss"};
const size_t kSignatureCount = sizeof kSignatures / sizeof kSignatures[0];

char* formatWith(unsigned number, size_t which) {
    const long long l = 123456789012LL;
    switch (which) {
        case 0:
            return nlFormatText(number);
        case 1:
            return nlFormatText(number, "str");
        case 2:
            return nlFormatText(number, -7);
        case 3:
            return nlFormatText(number, 9u);
        case 4:
            return nlFormatText(number, 2.5);
        case 5:
            return nlFormatText(number, l);
        case 6:
            return nlFormatText(number, L"wide");
        case 7:
            return nlFormatText(number, "a", "b");
        case 8:
            return nlFormatText(number, "a", 3);
        case 9:
            return nlFormatText(number, 3, "a");
        case 10:
            return nlFormatText(number, 4, 5, "a");
        case 11:
            return nlFormatText(number, "a", "b", "c");
        case 12:
            return nlFormatText(number, "a", 8u, 1.25);
        default:
            return nlFormatText(number, "a", "b", "c", "d");
    }
}

void checkDecoded(unsigned number, nlDecodeStatus status, NLSMsg* msg) {
    FUZZ_CHECK((status == NL_DECODE_OK) == (msg != nullptr), "status %d with message %p", status,
               static_cast<void*>(msg));
    if (msg == nullptr) return;
    FUZZ_CHECK(msg->number == static_cast<unsigned short>(number), "number %u kept as %u", number,
               msg->number);
    FUZZ_CHECK(
        memchr(msg->trailer, '\0', sizeof msg->trailer) != nullptr && strlen(msg->trailer) <= 6,
        "trailer");
    FUZZ_CHECK(msg->body[msg->length] == '\0', "body of %u bytes not terminated", msg->length);
    size_t start = nlBodyStart(msg);
    FUZZ_CHECK(start <= msg->length, "body starts at %zu of %u", start, msg->length);
    if (start < msg->length && msg->body[start] == 0) {
        nlOrderedView view;
        if (nlParseOrdered(msg->body + start, msg->length - start, &view)) {
            const char* lo = msg->body + start;
            const char* hi = msg->body + msg->length;
            FUZZ_CHECK(view.n >= 0 && view.n <= NL_MAX_INSERTS, "%d inserts", view.n);
            for (int i = 0; i < view.n; ++i) {
                FUZZ_CHECK(view.spec[i] >= lo && view.spec[i] < hi, "spec %d outside", i);
                FUZZ_CHECK(view.order[i] >= 1 && view.order[i] <= view.n, "order %d", i);
            }
            for (int i = 0; i <= view.n; ++i)
                FUZZ_CHECK(view.piece[i] >= lo && view.piece[i] <= hi, "piece %d outside", i);
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    static const nlOutputRoutine routines[NL_SEVERITY_COUNT] = {quiet, quiet, quiet, quiet, quiet,
                                                                quiet, quiet, quiet, quiet};
    newNlsGlobalObject(routines, 0);
    if (nlInit(nullptr, 10, nullptr, ZEBO_FUZZ_CATALOGS, nullptr, 0, 'D', 100, 'S', NL_APP_AGENT, 1,
               1, 1, nullptr, nullptr) != 0) {
        fprintf(stderr, "no English catalog under %s\n", ZEBO_FUZZ_CATALOGS);
        abort();
    }
    nlCatgetsSeam = fuzzCatgets;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 3) return 0;
    unsigned number = data[0] | (data[1] << 8);
    size_t which = data[2] % kSignatureCount;
    size_t length = strnlen(reinterpret_cast<const char*>(data + 3), size - 3);
    char* text = static_cast<char*>(malloc(length + 1));
    memcpy(text, data + 3, length);
    text[length] = '\0';

    NLSMsg* msg = nullptr;
    checkDecoded(number, nlDecodeCatalogText(number, text, &msg), msg);
    free(msg);

    // The repository keeps parsed messages: a fresh number every time makes
    // it read this text rather than a cached one.
    static unsigned next = 0;
    unsigned formatted = 1 + next++ % 65000;
    nlSignature row = {static_cast<unsigned short>(formatted), kSignatures[which]};
    nlSetSignatures(&row, 1);
    gText = text;
    char* out = formatWith(formatted, which);
    if (out != nullptr) {
        FUZZ_CHECK(strlen(out) < 1 << 20, "formatted text too long");
        free(out);
    }
    gText = nullptr;
    nlSetSignatures(nullptr, 0);
    free(text);
    return 0;
}
