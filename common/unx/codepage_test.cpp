#include "common/unx/codepage.h"

#include <gtest/gtest.h>
#include <iconv.h>

#include <set>
#include <string>

namespace {

TEST(CodePageTest, ConversionRules) {
    struct Case {
        int cp;
        long c;
        int expected;
    };
    // Table lookups are checked by TablesRoundTrip; these are the rules around them.
    const Case cases[] = {
        {367, 'A', 'A'},     {367, 31, -2},     {367, 127, -2},    {367, 0xE9, -2},
        {819, 0xE9, 0xE9},   {819, 0x80, -2},   {819, 0x100, -2},  {819, 0x20AC, -2},
        {437, 0x2591, 0xB0}, {437, 0xFFFF, -2}, {437, 0x263A, -2}, {850, 0x3B1, -2},
        {1252, 'A', -1},     {0, 'A', -1},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(cpWideToByte(c.cp, static_cast<wchar_t>(c.c)), c.expected)
            << "code page " << c.cp << ", U+" << std::hex << c.c;
    }
    EXPECT_EQ(cpByteToWide(437, 0x9B), 0xA2);
    EXPECT_EQ(cpByteToWide(850, 0x9B), 0xF8);
    EXPECT_EQ(cpByteToWide(367, 0x80), 0xFFFF);
    EXPECT_EQ(cpByteToWide(1252, 0x41), -1);
    EXPECT_EQ(CodePageId, 367);
}

// Every byte a table maps to a printable character converts back to itself,
// and the ASCII half is the same in every table.
TEST(CodePageTest, TablesRoundTrip) {
    for (int cp : {437, 850, 819, 367}) {
        const uint16_t* table = cpTable(cp);
        ASSERT_NE(table, nullptr);
        std::set<uint16_t> upper;
        for (int b = 0; b < 256; ++b) {
            if (b < 128) {
                EXPECT_EQ(table[b], b) << cp << " byte " << b;
            }
            if (b >= 128 && table[b] != 0xFFFF) {
                EXPECT_TRUE(upper.insert(table[b]).second) << cp << " duplicate at " << b;
            }
            int back = cpWideToByte(cp, static_cast<wchar_t>(table[b]));
            bool control = b < 32 || b == 127 || (cp == 819 && b >= 128 && b < 160);
            if (table[b] == 0xFFFF || control) {
                EXPECT_EQ(back, -2) << cp << " byte " << b;
            } else {
                EXPECT_EQ(back, b) << cp << " byte " << b;
            }
        }
        EXPECT_EQ(upper.size(), cp == 367 ? 0u : 128u) << cp;
    }
}

// The committed tables are what the system's iconv makes of each byte (the
// same conversion as gen_codepages.sh, which wrote them, done in-process):
// UTF-16BE of the byte, or 0xFFFF where the code page defines none.
TEST(CodePageTest, CommittedTablesMatchIconv) {
    const struct {
        int cp;
        const char* charset;
    } pages[] = {{437, "CP437"}, {850, "CP850"}, {819, "ISO-8859-1"}, {367, "US-ASCII"}};
    for (const auto& page : pages) {
        iconv_t cd = iconv_open("UTF-16BE", page.charset);
        if (cd == reinterpret_cast<iconv_t>(-1)) GTEST_SKIP() << "iconv lacks " << page.charset;
        const uint16_t* table = cpTable(page.cp);
        ASSERT_NE(table, nullptr);
        for (int b = 0; b < 256; ++b) {
            char in = static_cast<char>(b);
            unsigned char out[4] = {};
            char* inP = &in;
            char* outP = reinterpret_cast<char*>(out);
            size_t inLeft = 1, outLeft = sizeof out;
            iconv(cd, nullptr, nullptr, nullptr, nullptr);
            size_t rc = iconv(cd, &inP, &inLeft, &outP, &outLeft);
            unsigned expected = rc != static_cast<size_t>(-1) && sizeof out - outLeft == 2
                                    ? (unsigned{out[0]} << 8 | out[1])
                                    : 0xFFFFu;
            EXPECT_EQ(table[b], expected) << page.charset << " byte " << b;
        }
        iconv_close(cd);
    }
}

}  // namespace
