// Control characters made visible: the cases that can reach a terminal, and
// the characters that must stay as they are.
#include "sync/visible.h"

#include <gtest/gtest.h>

namespace {

TEST(VisibleText, EscapesEveryControlCharacterAndNothingElse) {
    struct Case {
        const char* raw;
        const char* shown;
    } cases[] = {
        {"plain/name_1.bak", "plain/name_1.bak"},
        {"\x1b]0;title\x07", "\\x1b]0;title\\x07"},  // retitles a terminal
        {"a\rb\nc\td", "a\\x0db\\x0ac\\x09d"},       // fake lines
        {"\x01\x1f\x7f", "\\x01\\x1f\\x7f"},         // C0 ends, DEL
        {"c1\xc2\x80\xc2\x9b"
         "2J",
         "c1\\xc2\\x80\\xc2\\x9b2J"},  // C1 in UTF-8
        {"lone\x9b"
         "2J",
         "lone\\x9b2J"},  // C1 as a bare byte
        {"caf\xc3\xa9 \xc2\xa0\xe2\x82\xac", "caf\xc3\xa9 \xc2\xa0\xe2\x82\xac"},  // é, NBSP, €
        {"latin1 \xe9t\xe9", "latin1 \xe9t\xe9"},  // not UTF-8: kept
        {"back\\x1b", "back\\\\x1b"},              // cannot pass for an escape
        {"", ""},
    };
    for (const Case& c : cases) EXPECT_EQ(c.shown, utVisibleText(c.raw)) << c.shown;
    EXPECT_EQ("", utVisibleText(nullptr));
}

}  // namespace
