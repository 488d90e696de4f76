// The tokenizer: runs of separators, and characters whose bytes look like
// a separator's.
#include "sync/strtoken.h"

#include <gtest/gtest.h>
#include <locale.h>

#include <string>
#include <vector>

namespace {

std::vector<std::string> tokens(std::string text, const char* separators) {
    std::vector<std::string> out;
    char* save = nullptr;
    for (char* t = utStrTok(&text[0], separators, &save); t != nullptr;
         t = utStrTok(nullptr, separators, &save))
        out.push_back(t);
    return out;
}

TEST(StrTok, SplitsAtRunsOfSeparators) {
    EXPECT_EQ((std::vector<std::string>{"abc", "def"}), tokens("  abc, def\n", " ,\n\t"));
    EXPECT_EQ((std::vector<std::string>{}), tokens(" ,\t\n", " ,\n\t"));
    EXPECT_EQ((std::vector<std::string>{"x"}), tokens("x", " "));
}

TEST(StrTok, WorksCharacterByCharacter) {
    std::string old = setlocale(LC_CTYPE, nullptr);
    ASSERT_NE(nullptr, setlocale(LC_CTYPE, "ja_JP.UTF-8"));
    // The ideographic comma separates; the full stop shares its first two
    // bytes and must not.
    const char* comma = "\xe3\x80\x81";
    std::string stop = "\xe3\x80\x82";
    EXPECT_EQ((std::vector<std::string>{"a" + stop + "b", "c"}),
              tokens("a" + stop + "b" + comma + "c", comma));
    // A broken sequence is an ordinary character.
    EXPECT_EQ((std::vector<std::string>{"\xe3x", "y"}), tokens("\xe3x y", " "));
    setlocale(LC_CTYPE, old.c_str());
}

}  // namespace
