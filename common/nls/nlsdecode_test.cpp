#include "common/nls/nlsdecode.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>

#include "common/nls/nlssignature.h"

namespace {

struct Decoded {
    nlDecodeStatus status;
    int severity = -1;
    std::string body;
    std::string trailer;
};

Decoded decode(const std::string& text, unsigned number = 7) {
    NLSMsg* msg = nullptr;
    Decoded d;
    d.status = nlDecodeCatalogText(number, text.c_str(), &msg);
    if (msg) {
        d.severity = msg->severity;
        d.body.assign(msg->body, msg->length);
        d.trailer = msg->trailer;
        EXPECT_EQ(number, msg->number);
        EXPECT_EQ(nullptr, msg->next);
        free(msg);
    }
    return d;
}

// An ordered body as the compiler writes it: "%1$s-%2$d".
const std::string kOrdered(
    "\x10\x06\x10\x10\x10\x02\x01\x02"
    "\x10\x10%s\x10"
    "\x10\x01%d\x10"
    "\x10-\x10\x10");

TEST(NlsDecode, PrefixIsKeptOnlyForPrefixedLetters) {
    Decoded e = decode("QEV2522E \x01Out of memory.\n");
    EXPECT_EQ(NL_DECODE_OK, e.status);
    EXPECT_EQ(NL_SEV_E, e.severity);
    EXPECT_EQ("QEV2522E \x01Out of memory.\n", e.body);

    const char* letters = "ZTRKIWESL";
    for (int sev = 0; sev < NL_SEVERITY_COUNT; ++sev) {
        Decoded d = decode(std::string("QES0001") + letters[sev] + " \x01x");
        EXPECT_EQ(sev, d.severity) << letters[sev];
        EXPECT_EQ(nlSeverityPrefixed(sev) ? 11u : 2u, d.body.size()) << letters[sev];
    }
    // Five-digit numbers keep a nine-character prefix: the digit at position 3 is dropped.
    EXPECT_EQ("QES2345W \x01text", decode("QES12345W \x01text", 12345).body);
    EXPECT_EQ("\x01text", decode("QES12345T \x01text", 12345).body);
    // A text of a letter and nothing else has an empty body.
    Decoded empty = decode("QES0007Z");
    EXPECT_EQ(NL_DECODE_OK, empty.status);
    EXPECT_EQ("", empty.body);
}

TEST(NlsDecode, TrailerOnlyAmongTheLastSevenCharacters) {
    Decoded d = decode(
        "QES0001I \x01text\x12"
        "ABCDEF");
    EXPECT_EQ("ABCDEF", d.trailer);
    EXPECT_EQ("QES0001I \x01text", d.body);

    Decoded far = decode("QES0001I \x01te\x12xt1234567");  // eight from the end
    EXPECT_EQ("", far.trailer);
    EXPECT_EQ("QES0001I \x01te\x12xt1234567", far.body);

    Decoded last = decode("QES0001Z \x01text\x12");
    EXPECT_EQ("", last.trailer);
    EXPECT_EQ("\x01text", last.body);
}

TEST(NlsDecode, OrderedBodyRestoresNulsByTheHeaderMask) {
    Decoded d = decode("QES0001Z " + kOrdered);
    ASSERT_EQ(NL_DECODE_OK, d.status);
    std::string want("\0\x06\0\0\0\x02\x01\x02\0\0%s\0\0\x01%d\0\0-\0\0", 22);
    EXPECT_EQ(want, d.body);

    // Mask 0x04 clears byte 2 only; byte 3 stays 0x10; byte 4 is always
    // cleared. A mask byte that is 0x10 itself is never cleared.
    std::string masked = kOrdered;
    masked[1] = 0x04;
    d = decode("QES0001Z " + masked);
    ASSERT_EQ(NL_DECODE_OK, d.status);
    EXPECT_EQ(std::string("\0\x04\0\x10\0", 5), d.body.substr(0, 5));
    masked[1] = 0x10;
    d = decode("QES0001E " + masked);
    ASSERT_EQ(NL_DECODE_OK, d.status);
    EXPECT_EQ(std::string("QES0001E \0\x10\x10\x10\0", 14), d.body.substr(0, 14));

    // Well-formed: star width, wide string, double, unsigned hex.
    std::string good(
        "\x10\x06\x10\x10\x10\x03\x03\x02\x01"
        "\x01\x01%*d\x10"
        "\x10\x10%-5ls\x10"
        "\x10\x03%.2f\x10"
        "\x10\x10\x10\x10");
    EXPECT_EQ(NL_DECODE_OK, decode("QES0001Z " + good).status);
}

TEST(NlsDecode, BadLettersDefaultTextAndBrokenBodies) {
    const std::string h("QES0001Z \x10\x06\x10\x10\x10");  // prefix and ordered header
    struct Case {
        const char* what;
        std::string text;
        nlDecodeStatus status;
    } cases[] = {
        {"letter M", "QES0001M \x01retired", NL_DECODE_RETIRED},
        {"unknown letter", "QES0001Q \x01x", NL_DECODE_CORRUPTED},
        {"F: in range, not a severity", "QES0001F \x01x", NL_DECODE_CORRUPTED},
        {"lower case", "QES0001e \x01x", NL_DECODE_CORRUPTED},
        {"A: before E", "QES0001A \x01x", NL_DECODE_CORRUPTED},
        {"no letter", "QES0001", NL_DECODE_CORRUPTED},
        {"prefix only", "QES", NL_DECODE_CORRUPTED},
        {"prefix too short", "QES12E \x01x", NL_DECODE_CORRUPTED},
        {"no room for the prefix", "QES0001E", NL_DECODE_CORRUPTED},
        {"default text", kNlDefaultText, NL_DECODE_MISSING},
        {"default text and more", std::string(kNlDefaultText) + " ", NL_DECODE_RETIRED},
        {"no 0x01: read as ordered", "QES0001E plain text", NL_DECODE_CORRUPTED},
        {"too short", "QES0001Z \x10\x06\x10", NL_DECODE_CORRUPTED},
        {"17 inserts", h + "\x11", NL_DECODE_CORRUPTED},
        {"order list cut", h + "\x03\x01", NL_DECODE_CORRUPTED},
        {"slot out of range", h + "\x01\x02\x10\x10%s\x10\x10\x10", NL_DECODE_CORRUPTED},
        {"slot twice", h + "\x02\x01\x01\x10\x10%s\x10\x10\x10%s\x10\x10\x10\x10",
         NL_DECODE_CORRUPTED},
        {"string spec for an int", h + "\x01\x01\x10\x01%s\x10\x10\x10", NL_DECODE_CORRUPTED},
        {"two conversions", h + "\x01\x01\x10\x10%s%s\x10\x10\x10", NL_DECODE_CORRUPTED},
        {"star not counted", h + "\x01\x01\x10\x01%*d\x10\x10\x10", NL_DECODE_CORRUPTED},
        {"%n", h + "\x01\x01\x10\x01%n\x10\x10\x10", NL_DECODE_CORRUPTED},
        {"long int", h + "\x01\x01\x10\x01%ld\x10\x10\x10", NL_DECODE_CORRUPTED},
        {"type 4", h + "\x01\x01\x10\x04%d\x10\x10\x10", NL_DECODE_CORRUPTED},
        {"last piece missing", h + "\x01\x01\x10\x10%s\x10\x10", NL_DECODE_CORRUPTED},
    };
    for (const Case& c : cases) EXPECT_EQ(c.status, decode(c.text).status) << c.what;
}

// A width of a billion from a damaged catalog kept sprintf padding for
// seconds on every use of the message: fields of more than four digits are
// refused in both forms, the largest one still works.
TEST(NlsDecode, WidthsAndPrecisionsOfMoreThanFourDigitsAreRefused) {
    const std::string h("QES0001Z \x10\x06\x10\x10\x10\x01\x01\x10\x10");
    EXPECT_EQ(NL_DECODE_OK, decode(h + "%-9999.9999s\x10\x10\x10").status);
    EXPECT_EQ(NL_DECODE_OK, decode(h + "%00009s\x10\x10\x10").status);  // zeros are flags
    EXPECT_EQ(NL_DECODE_CORRUPTED, decode(h + "%10000s\x10\x10\x10").status);
    EXPECT_EQ(NL_DECODE_CORRUPTED, decode(h + "%.10000s\x10\x10\x10").status);
    EXPECT_EQ(NL_DECODE_CORRUPTED, decode(h + "%01338318887s\x10\x10\x10").status);

    for (const char* text : {"QES0001E \x01%1338318887d", "QES0001E \x01%.99999f"}) {
        NLSMsg* msg = nullptr;
        ASSERT_EQ(NL_DECODE_OK, nlDecodeCatalogText(1, text, &msg)) << text;
        std::string sig;
        EXPECT_FALSE(nlMessageSignature(msg, &sig)) << text;
        free(msg);
    }
    NLSMsg* msg = nullptr;
    ASSERT_EQ(NL_DECODE_OK, nlDecodeCatalogText(1, "QES0001E \x01%9999d", &msg));
    std::string sig;
    EXPECT_TRUE(nlMessageSignature(msg, &sig));
    EXPECT_EQ("i", sig);
    free(msg);
}

}  // namespace
