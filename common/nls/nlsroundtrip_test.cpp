// The catalog compiler and the repository agree on the catalog layout: texts
// encoded by mkcat's encoder, served through the catalog reader seam, come
// out of the repository formatted as the source meant them.
#include <map>
#include <string>

#include "common/nls/nlscatalog.h"
#include "common/nls/nlsdecode.h"
#include "common/nls/nlssignature.h"
#include "common/nls/nlstestutil.h"
#include "tools/mkcat/catencode.h"

namespace {

std::map<int, std::string> gTexts;

char* fakeCatgets(nl_catd, int set, int number, const char* dflt) {
    auto it = gTexts.find(number);
    if (set != 1 || it == gTexts.end()) return const_cast<char*>(dflt);
    return const_cast<char*>(it->second.c_str());
}

class NlsRoundTripTest : public NlsTest {
  protected:
    void SetUp() override {
        NlsTest::SetUp();
        gTexts.clear();
        ASSERT_EQ(0, init("nlstest.cat", testCatalogs()));
        nlCatgetsSeam = fakeCatgets;
    }

    void add(unsigned number, char letter, CatForm form, const std::string& text,
             const std::string& trailer = "") {
        CatEntry e;
        e.number = number;
        e.letter = letter;
        e.form = form;
        e.text = text;
        e.trailer = trailer;
        std::string encoded, err;
        ASSERT_TRUE(catEncodeEntry("QEV", e, &encoded, &err)) << err;
        gTexts[static_cast<int>(number)] = encoded;
    }
};

TEST_F(NlsRoundTripTest, OrderedTextsComeOutAsWritten) {
    add(1, 'E', CatForm::Ordered, "%3$s|%1$*.*d|%2$X|100%%");
    EXPECT_EQ("QEV0001E z|  007|FF|100%", nlsText(1, 5, 3, 7, 255u, "z"));

    add(2, 'Z', CatForm::Ordered, "no inserts, 50%% done\n");
    EXPECT_EQ("no inserts, 50% done\n", nlsText(2));

    add(3, 'I', CatForm::Ordered, "", "TR");
    EXPECT_EQ("QEV0003I ", nlsText(3));

    add(4, 'W', CatForm::Ordered, "%2$s %1$+.3e %3$-3c|", "ABCDEF");
    EXPECT_EQ("QEV0004W b -1.500e+00 q  |", nlsText(4, -1.5, "b", 'q'));

    std::string eleven;
    for (int i = 11; i >= 1; --i) eleven += "%" + std::to_string(i) + "$d ";
    add(5, 'Z', CatForm::Ordered, eleven);
    EXPECT_EQ("11 10 9 8 7 6 5 4 3 2 1 ", nlsText(5, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11));
}

TEST_F(NlsRoundTripTest, PrintfTextsAndTheirStructuredInserts) {
    add(10, 'S', CatForm::Printf, "%c-%5.*s-%5.1f-%lu-%u-%p-%%-%d", "T1");
    void* ptr = reinterpret_cast<void*>(0x1234);
    EXPECT_EQ("QEV0010S A-   ab-  2.5-9-4-0x1234-%--3",
              nlsText(10, 'A', 2, "abc", 2.5, 9ul, 4u, ptr, -3));
    nlInsertResult r;
    nlMsgDesc desc = {10, 0, 0, nullptr};
    ASSERT_EQ(0,
              nlOrderInsert(nlGetGlobalObject(), &desc, &r, 'A', 2, "abc", 2.5, 9ul, 4u, ptr, -3));
    EXPECT_EQ(5, r.severityClass);  // S
    EXPECT_EQ(7, r.insertCount);    // a "*" is not an insert of its own
    ASSERT_EQ(4, r.itemCount);      // %c, %s and %f are counted only
    EXPECT_EQ(NL_ITEM_UNSIGNED, r.items[0].type);
    EXPECT_EQ(9u, r.items[0].value.u);
    EXPECT_EQ(NL_ITEM_UNSIGNED, r.items[1].type);
    EXPECT_EQ(4u, r.items[1].value.u);
    EXPECT_EQ(NL_ITEM_POINTER, r.items[2].type);
    EXPECT_EQ(ptr, r.items[2].value.p);
    EXPECT_EQ(NL_ITEM_INT, r.items[3].type);
    EXPECT_EQ(-3, r.items[3].value.i);
}

TEST_F(NlsRoundTripTest, TextsThatDoNotTakeTheProgramsArgumentsAreCorrupted) {
    // The program's own table: a translated help line with five inserts
    // would read five strings that were never passed.
    nlSelectSignatures("zebo.cat");
    add(2595, 'Z', CatForm::Printf, "%s%s%s%s%s");
    add(2603, 'E', CatForm::Ordered, "%2$s / %1$s");
    EXPECT_EQ("(null)", nlsText(2595));
    EXPECT_EQ("QEV2603E b / a", nlsText(2603, "a", "b"));

    const nlSignature table[] = {{30, "s"}, {31, "si"}, {32, ""}};
    nlSetSignatures(table, 3);
    struct Case {
        unsigned number;
        CatForm form;
        const char* text;
        bool used;
    } cases[] = {
        {30, CatForm::Printf, "%s", true},
        {30, CatForm::Printf, "%s and %s", false},  // too many
        {30, CatForm::Printf, "%d", false},         // another kind
        {31, CatForm::Printf, "%s", false},         // too few
        {31, CatForm::Ordered, "%2$d %1$s", true},
        {31, CatForm::Ordered, "%2$s %1$d", false},
        {32, CatForm::Printf, "plain", true},
        {33, CatForm::Printf, "not the program's", true},
        {33, CatForm::Printf, "not the program's %s", false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        nlFreeRepository();
        ASSERT_EQ(0, init("nlstest.cat", testCatalogs()));
        nlCatgetsSeam = fakeCatgets;
        nlSetSignatures(table, 3);
        add(c.number, 'E', c.form, c.text);
        captured().clear();
        std::string text = nlsText(c.number, "x", 7);
        EXPECT_EQ(c.used, text != "(null)") << text;
        EXPECT_EQ(c.used, output().find("is corrupted") == std::string::npos) << output();
    }
    // Conversions that the repository never formats, with or without a
    // table.
    nlSetSignatures(nullptr, 0);
    gTexts[34] = "QEV0034E \x01counted%n";
    gTexts[35] = "QEV0035E \x01positional %1$s";
    EXPECT_EQ("(null)", nlsText(34, nullptr));
    EXPECT_EQ("(null)", nlsText(35, "x"));
}

}  // namespace
