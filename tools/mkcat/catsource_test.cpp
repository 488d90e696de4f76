#include "tools/mkcat/catsource.h"

#include <gtest/gtest.h>

#include "tools/mkcat/catencode.h"
#include "tools/mkcat/catnames.h"

namespace {

CatSource parseOk(const std::string& text) {
    CatSource src;
    std::string err;
    EXPECT_TRUE(catParseSource(text, "t.src", &src, &err)) << err;
    return src;
}

std::string parseError(const std::string& text) {
    CatSource src;
    std::string err;
    EXPECT_FALSE(catParseSource(text, "t.src", &src, &err));
    return err;
}

TEST(CatSource, EntriesWithContinuationsEscapesAndTrailer) {
    CatSource src = parseOk(
        "# comment line\n"
        "prefix QEV\n"
        "\n"
        "0002 Z printf \"%s\\n\"   # trailing comment\n"
        "475 Z printf\n"
        "    \"line one,\\t\"\n"
        "    \"line \\\"two\\\" \\\\ end\\n\"\n"
        "2603 E ordered trailer \"ABC\" \"Schl\xc3\xbcssel %1$s in %2$s\"\n"
        "raw 9001 \"QEV9001Q \\001x\"\n");
    EXPECT_EQ("QEV", src.prefix);
    ASSERT_EQ(4u, src.entries.size());
    EXPECT_EQ(2u, src.entries[0].number);
    EXPECT_EQ('Z', src.entries[0].letter);
    EXPECT_EQ("%s\n", src.entries[0].text);
    EXPECT_EQ("line one,\tline \"two\" \\ end\n", src.entries[1].text);
    EXPECT_EQ(CatForm::Ordered, src.entries[2].form);
    EXPECT_EQ("ABC", src.entries[2].trailer);
    EXPECT_EQ(8, src.entries[2].line);
    EXPECT_EQ(CatForm::Raw, src.entries[3].form);
    EXPECT_EQ("QEV9001Q \x01x", src.entries[3].text);
}

TEST(CatSource, RefusesMalformedSources) {
    struct Case {
        const char* text;
        const char* expected;  // part of the error
    } cases[] = {
        {"2 Z printf \"x\"\n", "no prefix"},
        {"prefix QE\n", "three upper-case"},
        {"prefix QEV\nprefix QES\n", "given once"},
        {"prefix QEV\n\"orphan\"\n", "without an entry"},
        {"prefix QEV\n70000 Z printf \"x\"\n", "message number"},
        {"prefix QEV\n0 Z printf \"x\"\n", "message number"},
        {"prefix QEV\n5 Q printf \"x\"\n", "severity letter"},
        {"prefix QEV\n5 E fancy \"x\"\n", "printf or ordered"},
        {"prefix QEV\n5 E printf\n6 E printf \"x\"\n", "has no text"},
        {"prefix QEV\n5 E printf \"open\n", "t.src:2: unterminated"},
        {"prefix QEV\n5 E printf \"bad \\q\"\n", "unknown escape"},
        {"prefix QEV\n5 E printf \"ctl \\020\"\n", "control character"},
        {"prefix QEV\n5 E printf \"bad \xc3(\"\n", "UTF-8"},
        {"prefix QEV\n5 E printf trailer \"TOOLONG\" \"x\"\n", "1 to 6"},
        {"prefix QEV\n5 E printf \"x\"\n05 E printf \"y\"\n", "defined twice"},
        {"prefix QEV\n5 MSG_A E printf \"x\"\n6 MSG_A E printf \"y\"\n", "MSG_A given twice"},
        {"prefix QEV\n5 Msg E printf \"x\"\n", "severity letter"},
    };
    for (const Case& c : cases) {
        std::string err = parseError(c.text);
        EXPECT_NE(std::string::npos, err.find(c.expected)) << c.text << " gave: " << err;
    }
    // A NUL byte in a string, even a raw one, would cut the catalog text.
    std::string nul = std::string("prefix QEV\nraw 9 \"QEV0009E a") + '\0' + "b\"\n";
    EXPECT_NE(std::string::npos, parseError(nul).find("t.src:2: NUL byte")) << parseError(nul);
}

// Names lead from a text to its call sites: the English source names every
// message, and a translation that names one differently is refused.
TEST(CatSource, NamesBecomeConstantsAndTranslationsKeepThem) {
    CatSource en = parseOk(
        "prefix QEV\n"
        "0002 MSG_LINE Z printf \"%s\\n\"\n"
        "2603 MSG_BAD_KEYWORD E ordered \"Keyword %1$s\\n\"\n");
    EXPECT_EQ("MSG_LINE", en.entries[0].name);
    std::string header, err;
    ASSERT_TRUE(catWriteNameHeader(en, "en.src", "GUARD_H", &header, &err)) << err;
    EXPECT_NE(std::string::npos, header.find("#ifndef GUARD_H"));
    EXPECT_NE(std::string::npos, header.find("    MSG_LINE = 2,\n    MSG_BAD_KEYWORD = 2603,\n"));

    CatSource unnamed = parseOk("prefix QEV\n0002 MSG_LINE Z printf \"a\"\n0003 E printf \"b\"\n");
    EXPECT_FALSE(catWriteNameHeader(unnamed, "u.src", "G", &header, &err));
    EXPECT_NE(std::string::npos, err.find("u.src:3: message 3 has no name")) << err;

    CatSource de = parseOk(
        "prefix QEV\n0002 Z printf \"%s\\n\"\n2603 E ordered \"Schl\303\274ssel %1$s\\n\"\n");
    EXPECT_TRUE(catCheckTranslation(en, de, &err)) << err;
    de.entries[1].name = "MSG_OTHER";
    EXPECT_FALSE(catCheckTranslation(en, de, &err));
    EXPECT_NE(std::string::npos, err.find("MSG_OTHER differs from the base's MSG_BAD_KEYWORD"));
}

}  // namespace
