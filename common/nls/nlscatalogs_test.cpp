// The shipped catalogs: every message the program shows exists in English
// and German, can be shown with its inserts, and follows the catalog's
// conventions; the pick list's rows and titles line up in both languages.
#include <stdio.h>
#include <string.h>

#include <map>
#include <set>
#include <sstream>
#include <string>

#include "common/nls/nlstestutil.h"

namespace {

// Every message number the program shows.
const std::set<unsigned> kProgramMessages = {
    2,    3,    4,    100,  102,  103,  104,  105,  131,  156,  201,  371,  475,  476,  2519, 2522,
    2525, 2529, 2530, 2531, 2533, 2534, 2540, 2541, 2542, 2543, 2544, 2552, 2553, 2575, 2576, 2580,
    2581, 2586, 2587, 2590, 2591, 2592, 2594, 2595, 2596, 2597, 2598, 2599, 2603, 2615, 2616, 2622,
    2623, 2630, 2631, 2632, 2633, 2634, 2635, 2636, 2637, 2638, 2639, 2640, 2660, 2661};
// Prompts: the answer is typed on the same line.
const std::set<unsigned> kPrompts = {371, 2540, 2541, 2542, 2543, 2544, 2598, 2633};
// Texts that the pick list cuts to the screen and shows through message 2.
// The progress lines (2639, 2640) are rewritten in place: no line feed either.
const std::set<unsigned> kPickListTexts = {2552, 2553, 2590, 2591, 2592,
                                           2595, 2596, 2597, 2639, 2640};

struct Shown {
    int status = -1;
    std::string locale;
    std::map<unsigned, std::string> texts;  // line feeds as "\n" escapes
    std::map<unsigned, char> letters;
};

// Runs nlsshow over zebo.cat in a language and collects what it shows.
Shown showAll(const std::string& lang) {
    std::string dir = zebotest::catalogDir();
    std::string cmd = "LANG=" + lang + " '" + zebotest::testBinDir() + "/nlsshow' --escaped '" +
                      dir + "' zebo.cat '" + dir + "/en_US/zebo.manifest'";
    zebotest::RunResult r = zebotest::run(cmd);
    Shown s;
    s.status = r.status;
    for (const std::string& line : zebotest::lines(r.out)) {
        if (line.rfind("Locale: ", 0) == 0) s.locale = line.substr(8);
        unsigned n = 0;
        int used = 0;
        if (sscanf(line.c_str(), "[%u] %n", &n, &used) == 1 && used > 0)
            s.texts[n] = line.substr(static_cast<size_t>(used));
    }
    std::istringstream manifest(zebotest::readFile(dir + "/en_US/zebo.manifest"));
    unsigned n;
    std::string letter, sig;
    while (manifest >> n >> letter >> sig) s.letters[n] = letter[0];
    EXPECT_EQ(0, r.status) << r.out << r.err;
    return s;
}

void checkConventions(const Shown& s, const std::string& lang) {
    std::set<unsigned> numbers;
    for (const auto& kv : s.texts) numbers.insert(kv.first);
    EXPECT_EQ(kProgramMessages, numbers) << lang;
    for (const auto& kv : s.texts) {
        unsigned n = kv.first;
        const std::string& t = kv.second;
        SCOPED_TRACE(lang + " message " + std::to_string(n) + ": " + t);
        EXPECT_EQ(std::string::npos, t.find("NOT SHOWN"));
        char letter = s.letters.at(n);
        char prefix[16];
        snprintf(prefix, sizeof prefix, "QEV%04u%c ", n, letter);
        if (letter == 'Z')
            EXPECT_NE(0u, t.find("QEV"));
        else
            EXPECT_EQ(0u, t.find(prefix));
        bool endsLine = t.size() >= 2 && t.compare(t.size() - 2, 2, "\\n") == 0;
        if (kPrompts.count(n)) {
            EXPECT_FALSE(endsLine);
            EXPECT_EQ(' ', t.back());
        } else if (kPickListTexts.count(n)) {
            EXPECT_FALSE(endsLine);
        } else {
            EXPECT_TRUE(endsLine);
        }
        // Errors say what to do or what failed, in full sentences.
        if (letter == 'E') {
            EXPECT_GT(t.size(), 30u);
        }
    }
}

TEST(NlsCatalogs, EveryProgramMessageShowsInEnglishAndInGermanWithInsertsMoved) {
    Shown en = showAll("en_US.UTF-8");
    EXPECT_EQ("en_US.UTF-8", en.locale);
    checkConventions(en, "en_US");
    EXPECT_EQ("QEV2522E There is not enough system memory to complete command.\\n", en.texts[2522]);
    EXPECT_EQ("<1>\\n", en.texts[2]);
    EXPECT_EQ(std::string(79, '-') + "\\n", en.texts[131]);
    EXPECT_EQ(
        "ZEB for Oracle: catalog synchronisation utility (zebosync)\\nVersion 65, Release 66, "
        "Level 67.68.69\\n(C) Copyright <6>, <7>. All rights reserved.\\n",
        en.texts[475]);
    // The usage names every command and option with its abbreviation.
    std::string usage = en.texts[2586] + en.texts[2587];
    for (const char* word :
         {"SHOWENVironment", "SHOWCLIOPtions", "SHOWSESSOPtions", "SHOWSESSINFO", "SHOWVERsions",
          "PASSWord", "SYNCdb", "HELP", "-ZEBO_OPTfile=", "-OUTfile=", "-NUMCATalogs="})
        EXPECT_NE(std::string::npos, usage.find(word)) << word;

    Shown de = showAll("de_DE.UTF-8");
    EXPECT_EQ("de_DE.UTF-8", de.locale);
    checkConventions(de, "de_DE");
    EXPECT_EQ(0u, de.texts[2603].find("QEV2603E In der Optionsdatei <2> steht das unbekannte "
                                      "Schlüsselwort <1>."));
    EXPECT_EQ(0u, de.texts[2616].find("QEV2616E In der Optionsdatei <2> hat das Schlüsselwort "
                                      "<1> keinen Wert."));
    EXPECT_EQ(0u, de.texts[476].find("QEV0476E Die Berichtsdatei <2> für <1> konnte nicht"));
    // Everything is translated but the texts that are pure layout.
    const std::set<unsigned> layoutOnly = {2, 131, 2590, 2594};
    for (unsigned n : kProgramMessages) {
        if (layoutOnly.count(n))
            EXPECT_EQ(en.texts[n], de.texts[n]) << n;
        else
            EXPECT_NE(en.texts[n], de.texts[n]) << n;
    }
}

// Display columns of a UTF-8 text up to byte `pos`.
size_t columns(const std::string& s, size_t pos) {
    size_t c = 0;
    for (size_t i = 0; i < pos && i < s.size(); ++i)
        if ((static_cast<unsigned char>(s[i]) & 0xC0) != 0x80) ++c;
    return c;
}

class NlsPickListLayoutTest : public NlsTest {};

TEST_F(NlsPickListLayoutTest, RowsAndTitlesLineUpInBothLanguages) {
    struct Lang {
        const char* lang;
        const char* size;
        const char* name;
    } langs[] = {{"en_US.UTF-8", "Size", "Object name"}, {"de_DE.UTF-8", "Größe", "Objektname"}};
    for (const Lang& l : langs) {
        SCOPED_TRACE(l.lang);
        nlFreeRepository();
        setLang(l.lang);
        ASSERT_EQ(0, init("zebo.cat", catalogs()));
        char* entry = nlFormatText(2590, "11/21/2024", "14:05:09", "9.5G", "/fs/piece");
        char* row = nlFormatText(2594, 'x', 12345, entry);
        char* title = nlFormatText(2592);
        ASSERT_TRUE(entry && row && title);
        std::string r(row), t(title), e(entry);
        // Eight columns before "| ", like the empty rows "        | ".
        EXPECT_EQ(0u, r.find("x 12345 | "));
        EXPECT_EQ(std::string("        | ").find('|'), r.find('|'));
        // The titles stand ten columns in, over their fields.
        size_t nameAt = e.find("/fs/piece");
        EXPECT_EQ(columns(t, t.find(l.name)), nameAt + 10);
        size_t sizeEnd = e.find("9.5G") + strlen("9.5G");
        EXPECT_EQ(columns(t, t.find(l.size)) + columns(l.size, strlen(l.size)), sizeEnd + 10);
        EXPECT_EQ(columns(t, t.find(l.lang[0] == 'e' ? "Time" : "Zeit")), e.find("14:05:09") + 10);
        // An 80-column terminal (79 reported) leaves 67 characters of the
        // entry text: at least 40 of them for the name.
        EXPECT_GE(67 - static_cast<int>(nameAt), 40);
        // Clearing marks must never read like deleting: not in the help.
        char* help = nlFormatText(2595);
        ASSERT_TRUE(help);
        EXPECT_EQ(std::string::npos, std::string(help).find("lösch")) << help;
        free(help);
        free(entry);
        free(row);
        free(title);
    }
}

}  // namespace
