#include "common/unx/yesno.h"

#include <gtest/gtest.h>

namespace {

TEST(YesNoTest, WordsInAnyCase) {
    for (const char* yes : {"yes", "Y", "ye", "Yup", "t", "On", "youbetcha", "oui", "si", "JA", "1",
                            "cool", "10-4", "way", "Bodacious", "sure", " yes\n"}) {
        EXPECT_TRUE(nlIsYesWord(yes)) << yes;
        EXPECT_FALSE(nlIsNoWord(yes)) << yes;
    }
    for (const char* no : {"no", "N", "nope", "false", "f", "off", "of", "nowayman", "non", "nein",
                           "0", "uncool", "negative", "bogus"}) {
        EXPECT_TRUE(nlIsNoWord(no)) << no;
        EXPECT_FALSE(nlIsYesWord(no)) << no;
    }
}

TEST(YesNoTest, OnlyWholeSingleWords) {
    // Parts of words, neighbouring words together, and empty answers.
    for (const char* other :
         {"es", "YESS", "ye y", "yes sure", "", "  ", "no way", "O", "10", "-", "YES\tNO"}) {
        EXPECT_FALSE(nlIsYesWord(other)) << "'" << other << "'";
        EXPECT_FALSE(nlIsNoWord(other)) << "'" << other << "'";
    }
    EXPECT_FALSE(nlIsYesWord(nullptr));
    EXPECT_FALSE(nlIsNoWord(nullptr));
}

}  // namespace
