#include "tools/mkcat/catencode.h"

#include <gtest/gtest.h>

namespace {

CatEntry entry(unsigned number, char letter, CatForm form, const std::string& text) {
    CatEntry e;
    e.number = number;
    e.letter = letter;
    e.form = form;
    e.text = text;
    return e;
}

std::string encode(const std::string& prefix, const CatEntry& e) {
    std::string out, err;
    EXPECT_TRUE(catEncodeEntry(prefix, e, &out, &err)) << err;
    return out;
}

TEST(CatEncode, OrderedFormLaysOutOrderListDescriptorsAndPieces) {
    // The translation shows the caller's second argument first.
    std::string got = encode("QES", entry(7, 'E', CatForm::Ordered, "%2$s in %1$-5d 100%%!"));
    std::string want(
        "QES0007E "
        "\x10\x06\x10\x10\x10"  // form 0, header
        "\x02"                  // two inserts
        "\x02\x01"              // argument 1 -> slot 2, argument 2 -> slot 1
        "\x10\x10%s\x10"        // slot 1: no stars, string
        "\x10\x01%-5d\x10"      // slot 2: no stars, signed
        "\x10"                  // piece 0 (empty)
        " in \x10"              // piece 1
        " 100%!\x10");          // piece 2: "%%" is a plain "%" here
    EXPECT_EQ(want, got);
}

TEST(CatEncode, PrintfFormLongNumbersTrailerAndRaw) {
    EXPECT_EQ("QEV0002Z \x01%s\n", encode("QEV", entry(2, 'Z', CatForm::Printf, "%s\n")));
    EXPECT_EQ(
        "QES12345I \x01"
        "10%%",
        encode("QES", entry(12345, 'I', CatForm::Printf, "10%%")));
    CatEntry t = entry(9, 'W', CatForm::Ordered, "x");
    t.trailer = "ABC";
    EXPECT_EQ(std::string("QES0009W \x10\x06\x10\x10\x10\x10x\x10\x12"
                          "ABC"),
              encode("QES", t));
    EXPECT_EQ("anything \x01", encode("QES", entry(9, 0, CatForm::Raw, "anything \x01")));
}

TEST(CatEncode, RefusesInsertsTheRepositoryCannotFormat) {
    struct Case {
        CatForm form;
        const char* text;
        const char* expected;
    } cases[] = {
        {CatForm::Ordered, "%s", "must name its argument"},
        {CatForm::Ordered, "%1$s %1$s", "exactly once"},
        {CatForm::Ordered, "%1$s %3$s", "exactly once"},
        {CatForm::Ordered, "%1$ld", "int-sized"},
        {CatForm::Printf, "%2$s", "positional"},
        {CatForm::Printf, "%n", "unsupported conversion"},
        {CatForm::Printf, "%Ls", "bad length"},
        {CatForm::Printf, "tail %", "without a conversion"},
        {CatForm::Printf, "%10000d", "more than 4 digits"},
        {CatForm::Ordered, "%1$.10000s", "more than 4 digits"},
        {CatForm::Ordered,
         "%1$d%2$d%3$d%4$d%5$d%6$d%7$d%8$d%9$d%10$d%11$d%12$d%13$d%14$d%15$d%16$d", "more than 15"},
    };
    for (const Case& c : cases) {
        std::string out, err;
        EXPECT_FALSE(catEncodeEntry("QES", entry(1, 'E', c.form, c.text), &out, &err)) << c.text;
        EXPECT_NE(std::string::npos, err.find(c.expected)) << c.text << " gave: " << err;
    }
    std::string out, err;
    EXPECT_FALSE(catEncodeEntry(
        "QES", entry(1, 'E', CatForm::Ordered, std::string(kCatMaxPiece + 1, 'a')), &out, &err));
}

TEST(CatEncode, SignatureFollowsTheCallersOrder) {
    std::string sig, err;
    ASSERT_TRUE(catSignature(entry(1, 'E', CatForm::Ordered, "%2$*d then %1$s"), &sig, &err));
    EXPECT_EQ("sii", sig);
    ASSERT_TRUE(catSignature(entry(1, 'E', CatForm::Printf, "%c %5d %lu %ls %.*f %p"), &sig, &err));
    EXPECT_EQ("iilwifs", sig);
    ASSERT_TRUE(catSignature(entry(1, 'E', CatForm::Printf, "no inserts 50%%"), &sig, &err));
    EXPECT_EQ("", sig);
}

TEST(CatEncode, TranslationCheckNamesEveryDifference) {
    CatSource base, de;
    base.prefix = de.prefix = "QEV";
    base.entries = {entry(1, 'E', CatForm::Ordered, "%1$s in %2$d"),
                    entry(2, 'I', CatForm::Printf, "x"), entry(3, 'E', CatForm::Printf, "%s")};
    de.entries = {entry(1, 'E', CatForm::Ordered, "%2$d: %1$s"),
                  entry(2, 'I', CatForm::Printf, "y"), entry(3, 'E', CatForm::Printf, "%s")};
    std::string err;
    EXPECT_TRUE(catCheckTranslation(base, de, &err)) << err;

    de.entries[0].text = "%2$s: %1$d";  // argument types swapped
    de.entries[1].letter = 'W';
    de.entries.pop_back();
    de.entries.push_back(entry(4, 'E', CatForm::Printf, "extra"));
    EXPECT_FALSE(catCheckTranslation(base, de, &err));
    EXPECT_NE(std::string::npos, err.find("arguments \"is\" differ from the base's \"si\"")) << err;
    EXPECT_NE(std::string::npos, err.find("message 2 (line 0): severity letter")) << err;
    EXPECT_NE(std::string::npos, err.find("message 3 is not translated")) << err;
    EXPECT_NE(std::string::npos, err.find("message 4 is not in the base")) << err;
}

TEST(CatEncode, TooManyOrTooFewConversionsAreRefusedAndTheProgramTableFollowsTheBase) {
    CatSource base, de;
    base.prefix = de.prefix = "QEV";
    base.entries = {entry(2595, 'Z', CatForm::Printf, "help line"),
                    entry(2603, 'E', CatForm::Ordered, "%1$s in %2$s")};
    de.entries = {entry(2595, 'Z', CatForm::Printf, "%s%s%s%s%s"),
                  entry(2603, 'E', CatForm::Ordered, "%1$s")};
    std::string err;
    EXPECT_FALSE(catCheckTranslation(base, de, &err));
    EXPECT_NE(std::string::npos, err.find("message 2595 (line 0): arguments \"sssss\" differ"))
        << err;
    EXPECT_NE(std::string::npos, err.find("message 2603 (line 0): arguments \"s\" differ")) << err;

    std::string rows;
    ASSERT_TRUE(catWriteSignatures(base, &rows, &err)) << err;
    EXPECT_NE(std::string::npos, rows.find("\n{2595, \"\"},\n{2603, \"ss\"},\n")) << rows;
    base.entries.push_back(entry(2604, 'E', CatForm::Printf, "%n"));
    EXPECT_FALSE(catWriteSignatures(base, &rows, &err));
}

TEST(CatEncode, GencatFileEscapesMarkersAndKeepsUtf8) {
    EXPECT_EQ("a\\\\b\\n\\001\\020\\022\\011\xc3\xa9",
              catGencatEscape("a\\b\n\x01\x10\x12\t\xc3\xa9"));
    CatSource src;
    src.prefix = "QEV";
    src.entries = {entry(2, 'Z', CatForm::Printf, "%s\n"),
                   entry(2603, 'E', CatForm::Ordered, "%1$s in %2$s")};
    std::string msg, manifest, err;
    ASSERT_TRUE(catWriteMsgFile(src, &msg, &err)) << err;
    EXPECT_NE(std::string::npos, msg.find("\n$set 1\n2 QEV0002Z \\001%s\\n\n2603 QEV2603E \\020"));
    ASSERT_TRUE(catWriteManifest(src, &manifest, &err)) << err;
    EXPECT_EQ("2 Z s\n2603 E ss\n", manifest);
}

}  // namespace
