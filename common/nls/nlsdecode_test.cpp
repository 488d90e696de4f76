#include "common/nls/nlsdecode.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>

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

    Decoded z = decode("QEV0002Z \x01%s\n");
    EXPECT_EQ(NL_SEV_Z, z.severity);
    EXPECT_EQ("\x01%s\n", z.body);

    const char* letters = "ZTRKIWESL";
    for (int sev = 0; sev < NL_SEVERITY_COUNT; ++sev) {
        Decoded d = decode(std::string("QES0001") + letters[sev] + " \x01x");
        EXPECT_EQ(sev, d.severity) << letters[sev];
        EXPECT_EQ(nlSeverityPrefixed(sev) ? 11u : 2u, d.body.size()) << letters[sev];
    }
}

TEST(NlsDecode, LongNumbersKeepANineCharacterPrefix) {
    Decoded d = decode("QES12345W \x01text", 12345);
    EXPECT_EQ(NL_DECODE_OK, d.status);
    EXPECT_EQ("QES2345W \x01text", d.body);  // the digit at position 3 is dropped
    EXPECT_EQ("\x01text", decode("QES12345T \x01text", 12345).body);
}

TEST(NlsDecode, BadLettersShortTextsAndTheDefaultText) {
    EXPECT_EQ(NL_DECODE_RETIRED, decode("QES0001M \x01retired").status);
    EXPECT_EQ(NL_DECODE_CORRUPTED, decode("QES0001Q \x01unknown letter").status);
    EXPECT_EQ(NL_DECODE_CORRUPTED, decode("QES0001F \x01in range, not a severity").status);
    EXPECT_EQ(NL_DECODE_CORRUPTED, decode("QES0001e \x01lower case").status);
    EXPECT_EQ(NL_DECODE_CORRUPTED, decode("QES0001A \x01"
                                          "before E")
                                       .status);
    EXPECT_EQ(NL_DECODE_CORRUPTED, decode("QES0001").status);
    EXPECT_EQ(NL_DECODE_CORRUPTED, decode("QES").status);
    EXPECT_EQ(NL_DECODE_CORRUPTED, decode("QES12E \x01prefix too short").status);
    EXPECT_EQ(NL_DECODE_CORRUPTED, decode("QES0001E").status);  // no room for the prefix
    EXPECT_EQ(NL_DECODE_MISSING, decode(kNlDefaultText).status);
    // The default text with anything added is a real message.
    EXPECT_EQ(NL_DECODE_RETIRED, decode(std::string(kNlDefaultText) + " ").status);
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
}

TEST(NlsDecode, BrokenOrderedBodiesAreCorrupted) {
    struct Case {
        const char* what;
        std::string body;
    } cases[] = {
        {"too short", std::string("\x10\x06\x10", 3)},
        {"17 inserts", std::string("\x10\x06\x10\x10\x10\x11")},
        {"order list cut", std::string("\x10\x06\x10\x10\x10\x03\x01")},
        {"slot out of range", std::string("\x10\x06\x10\x10\x10\x01\x02\x10\x10%s\x10\x10\x10")},
        {"slot twice", std::string("\x10\x06\x10\x10\x10\x02\x01\x01\x10\x10%s\x10\x10\x10%s"
                                   "\x10\x10\x10\x10")},
        {"string spec for an int", std::string("\x10\x06\x10\x10\x10\x01\x01\x10\x01%s\x10\x10"
                                               "\x10")},
        {"two conversions", std::string("\x10\x06\x10\x10\x10\x01\x01\x10\x10%s%s\x10\x10\x10")},
        {"star not counted", std::string("\x10\x06\x10\x10\x10\x01\x01\x10\x01%*d\x10\x10\x10")},
        {"%n", std::string("\x10\x06\x10\x10\x10\x01\x01\x10\x01%n\x10\x10\x10")},
        {"long int", std::string("\x10\x06\x10\x10\x10\x01\x01\x10\x01%ld\x10\x10\x10")},
        {"type 4", std::string("\x10\x06\x10\x10\x10\x01\x01\x10\x04%d\x10\x10\x10")},
        {"last piece missing", std::string("\x10\x06\x10\x10\x10\x01\x01\x10\x10%s\x10\x10")},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(NL_DECODE_CORRUPTED, decode("QES0001Z " + c.body).status) << c.what;
    }
    // A body that does not start with 0x01 is read as the ordered form.
    EXPECT_EQ(NL_DECODE_CORRUPTED, decode("QES0001E plain text").status);
    // Well-formed: star width, wide string, double, unsigned hex.
    std::string good(
        "\x10\x06\x10\x10\x10\x03\x03\x02\x01"
        "\x01\x01%*d\x10"
        "\x10\x10%-5ls\x10"
        "\x10\x03%.2f\x10"
        "\x10\x10\x10\x10");
    EXPECT_EQ(NL_DECODE_OK, decode("QES0001Z " + good).status);
}

TEST(NlsDecode, NoMemoryForTheMessage) {
    nlMsgAlloc = [](size_t) -> void* { return nullptr; };
    EXPECT_EQ(NL_DECODE_NO_MEMORY, decode("QEV2522E \x01Out of memory.\n").status);
    nlMsgAlloc = malloc;
}

}  // namespace
