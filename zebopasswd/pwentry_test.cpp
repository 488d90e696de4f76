#include "zebopasswd/pwentry.h"

#include <gtest/gtest.h>
#include <stdio.h>

#include <string>

namespace {

// pwEnterTwice on lines of a script (the non-terminal path).
PwEntryResult enter(const std::string& input, std::string* password) {
    std::string text = input;
    FILE* in = fmemopen(text.empty() ? nullptr : &text[0], text.size(), "r");
    if (!in) in = fopen("/dev/null", "r");
    char buffer[PW_BUFFER_SIZE];
    memset(buffer, '?', sizeof buffer);
    PwEntryResult result = pwEnterTwice(in, false, buffer);
    fclose(in);
    *password = std::string(buffer, strnlen(buffer, sizeof buffer));
    return result;
}

TEST(PwEntryTest, TwoEqualLinesGiveThePasswordAndAnythingElseWipesIt) {
    const std::string max(64, 'm');
    struct Case {
        std::string input;
        PwEntryResult result;
        std::string password;
    } cases[] = {
        {"pw\npw\n", PW_OK, "pw"},
        {"pw\r\npw\r\n", PW_OK, "pw"},
        {"pw\npw", PW_OK, "pw"},  // the last line needs no line feed
        {" a b \n a b \n", PW_OK, " a b "},
        {max + "\n" + max + "\n", PW_OK, max},
        {max + "x\n" + max + "x\n", PW_TOO_LONG, ""},
        {"pw\npW\n", PW_DIFFERENT, ""},
        {"pw\npw2\n", PW_DIFFERENT, ""},
        {"pw2\npw\n", PW_DIFFERENT, ""},
        {"pw\n", PW_NO_INPUT, ""},
        {"", PW_NO_INPUT, ""},
        {"\n\n", PW_EMPTY, ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.input);
        std::string password;
        EXPECT_EQ(c.result, enter(c.input, &password));
        EXPECT_EQ(c.password, password);
    }
}

}  // namespace
