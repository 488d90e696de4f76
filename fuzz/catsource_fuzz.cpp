// The catalog compiler's source reader (tools/mkcat), and what it hands on:
// every entry of a source that parses is encoded as the catalog text that
// the program reads, and the program's decoder must take that text back.
//
// Invariants: a refused source is named in the error with a line and a
// reason; an accepted one has a three-letter prefix, unique numbers within
// 1..65535 and trailers of at most six characters; each of its entries
// that encodes decodes again (retired ones as retired), and the decoded
// message consumes the same arguments as the compiler declared for it.
#include <ctype.h>
#include <stdlib.h>
#include <string.h>

#include <set>
#include <string>

#include "common/nls/nlsdecode.h"
#include "common/nls/nlssignature.h"
#include "fuzz/fuzzcheck.h"
#include "tools/mkcat/catencode.h"
#include "tools/mkcat/catsource.h"

namespace {

void checkEntry(const std::string& prefix, const CatEntry& entry) {
    std::string text, err;
    if (!catEncodeEntry(prefix, entry, &text, &err)) {
        FUZZ_CHECK(!err.empty(), "entry %u refused without a reason", entry.number);
        return;
    }
    FUZZ_CHECK(text.find('\0') == std::string::npos,
               "entry %u (line %d, form %d) encodes a NUL at %zu of %zu", entry.number, entry.line,
               static_cast<int>(entry.form), text.find('\0'), text.size());
    // The decoder sees exactly the encoded bytes: a read past them is an
    // overrun that AddressSanitizer reports.
    char* copy = static_cast<char*>(malloc(text.size() + 1));
    memcpy(copy, text.c_str(), text.size() + 1);
    NLSMsg* msg = nullptr;
    nlDecodeStatus status = nlDecodeCatalogText(entry.number, copy, &msg);
    if (entry.form == CatForm::Raw) {
        // A raw entry is whatever the test catalog wants: any verdict, but
        // a message only with success.
        FUZZ_CHECK((status == NL_DECODE_OK) == (msg != nullptr), "raw %u: status %d", entry.number,
                   status);
    } else if (entry.letter == 'M') {
        FUZZ_CHECK(status == NL_DECODE_RETIRED || status == NL_DECODE_MISSING,
                   "retired %u decodes as %d", entry.number, status);
    } else if (text == kNlDefaultText) {
        FUZZ_CHECK(status == NL_DECODE_MISSING, "default text %u decodes as %d", entry.number,
                   status);
    } else {
        FUZZ_CHECK(status == NL_DECODE_OK && msg != nullptr,
                   "compiled entry %u (line %d) does not decode: status %d, text '%s'",
                   entry.number, entry.line, status, text.c_str());
        FUZZ_CHECK(strlen(msg->trailer) <= 6, "trailer of %u too long", entry.number);
        std::string declared, decodedSig;
        if (catSignature(entry, &declared, &err)) {
            FUZZ_CHECK(nlMessageSignature(msg, &decodedSig),
                       "entry %u: the repository refuses the compiled text", entry.number);
            FUZZ_CHECK(declared == decodedSig, "entry %u: compiled '%s', decoded '%s'",
                       entry.number, declared.c_str(), decodedSig.c_str());
        }
    }
    free(msg);
    free(copy);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    CatSource source;
    std::string err;
    bool ok = catParseSource(fuzzText(data, size), "fuzz.src", &source, &err);
    if (!ok) {
        // "fuzz.src:12: reason", or "fuzz.src: reason" for the file as a whole.
        FUZZ_CHECK(err.compare(0, 9, "fuzz.src:") == 0, "error names no file: '%s'", err.c_str());
        size_t digits = strspn(err.c_str() + 9, "0123456789");
        size_t reason = digits == 0 ? 9 : 9 + digits + 1;
        FUZZ_CHECK((digits == 0 || err[9 + digits] == ':') && reason + 1 < err.size() &&
                       err[reason] == ' ',
                   "error names no line or reason: '%s'", err.c_str());
        return 0;
    }
    FUZZ_CHECK(source.prefix.size() == 3 && isupper((unsigned char)source.prefix[0]) &&
                   isupper((unsigned char)source.prefix[1]) &&
                   isupper((unsigned char)source.prefix[2]),
               "prefix '%s'", source.prefix.c_str());
    std::set<unsigned> numbers;
    for (const CatEntry& entry : source.entries) {
        FUZZ_CHECK(entry.number >= 1 && entry.number <= 65535, "number %u", entry.number);
        FUZZ_CHECK(numbers.insert(entry.number).second, "number %u twice", entry.number);
        FUZZ_CHECK(entry.trailer.size() <= 6, "trailer of %u", entry.number);
        FUZZ_CHECK(entry.form == CatForm::Raw
                       ? entry.letter == 0
                       : strchr("ZTRKIWESLM", entry.letter) != nullptr && entry.letter != 0,
                   "letter %d of %u", entry.letter, entry.number);
        checkEntry(source.prefix, entry);
    }
    return 0;
}
