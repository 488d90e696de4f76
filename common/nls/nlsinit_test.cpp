// Opening the catalogs in the user's language, against the compiled
// catalogs and the locales generated into the build tree.
#include <locale.h>
#include <stdlib.h>

#include <string>

#include "common/nls/nlscatalog.h"
#include "common/nls/nlstestutil.h"
#include "common/unx/nlsfmt.h"
#include "common/ut/instr.h"
#include "common/ut/testflags.h"
#include "common/ut/trace.h"
#include "common/ut/traceclasses.h"
#include "zebo_config.h"

namespace {

const char kGerman2522[] =
    "QEV2522E Für die Ausführung des Befehls ist nicht genügend Systemspeicher vorhanden.\n";
const char kEnglish2522[] = "QEV2522E There is not enough system memory to complete command.\n";

class NlsInitTest : public NlsTest {
  protected:
    void TearDown() override {
        if (!savedLocpath.empty()) setenv("LOCPATH", savedLocpath.c_str(), 1);
        if (tracing) {
            TR_NLS = 0;
            trClose(1);
        }
        NlsTest::TearDown();
    }

    // Locales named by a bare language ("de") or an unknown one ("xx"):
    // links to generated locales in a folder of their own, searched first.
    void useLocaleAliases() {
        savedLocpath = getenv("LOCPATH");
        std::string dir = tmp.file("locales");
        zebotest::run("mkdir -p '" + dir + "' && ln -s '" + savedLocpath + "/en_US.UTF-8' '" + dir +
                      "/xx' && ln -s '" + savedLocpath + "/de_DE.UTF-8' '" + dir + "/de'");
        setenv("LOCPATH", (dir + ":" + savedLocpath).c_str(), 1);
    }

    std::string traceNls() {
        trcInit(4, 0, 0);
        std::string path = tmp.file("trace.out");
        EXPECT_EQ(0, trOpen(path.c_str(), 0));
        TR_NLS = 1;
        tracing = true;
        return path;
    }

    std::string savedLocpath;
    bool tracing = false;
};

TEST_F(NlsInitTest, GermanLocaleShowsGermanTextsWithInsertsInGermanOrder) {
    setLang("de_DE.UTF-8");
    ASSERT_EQ(0, init("zebo.cat", catalogs()));
    EXPECT_STREQ("de_DE.UTF-8", rvkLocale);
    EXPECT_STREQ("de_DE.UTF-8", localeField);
    nlMsg(2603, "TRACEFILE", "/opt/zebo.opt");
    nlMsg(476, "Instrumentation", "/tmp/rvkinstr.report.p42", "Permission denied");
    ASSERT_EQ(2u, captured().size()) << output();
    EXPECT_EQ(NL_SEV_E, captured()[0].first);
    EXPECT_EQ(
        "QEV2603E In der Optionsdatei /opt/zebo.opt steht das unbekannte Schlüsselwort "
        "TRACEFILE. Korrigieren oder entfernen Sie diese Zeile.\n",
        captured()[0].second);
    EXPECT_EQ(
        "QEV0476E Die Berichtsdatei /tmp/rvkinstr.report.p42 für Instrumentation konnte nicht "
        "geöffnet werden (Permission denied). Es wird kein Bericht geschrieben.\n",
        captured()[1].second);
    EXPECT_EQ(kGerman2522, nlsText(2522));
    // The English-only lookup reads the English catalog and its own cache.
    unsigned long reads = nlCatalogReads;
    EXPECT_EQ(kEnglish2522, nlsEnglish(2522));
    EXPECT_EQ(kEnglish2522, nlsEnglish(2522));
    EXPECT_EQ(kGerman2522, nlsText(2522));
    EXPECT_EQ(reads + 1, nlCatalogReads);
    // Errors shown went to the error log as well.
    std::string log = zebotest::readFile(errorLog());
    EXPECT_NE(std::string::npos, log.find("steht das unbekannte Schlüsselwort TRACEFILE.")) << log;
}

TEST_F(NlsInitTest, BareLanguageNamesUseTheirFolderAndUnknownOnesEnglish) {
    useLocaleAliases();
    std::string trace = traceNls();
    setLang("xx");
    ASSERT_EQ(0, init("zebo.cat", catalogs()));
    EXPECT_STREQ("xx", rvkLocale);
    EXPECT_EQ(kEnglish2522, nlsText(2522));
    EXPECT_TRUE(captured().empty()) << output();  // English was found: no warning
    trClose(0);
    EXPECT_NE(std::string::npos,
              zebotest::readFile(trace).find(
                  "Language specification \"xx\" not found, substituting US English"));

    nlFreeRepository();
    setLang("de");
    ASSERT_EQ(0, init("zebo.cat", catalogs()));
    EXPECT_EQ(kGerman2522, nlsText(2522));
}

TEST_F(NlsInitTest, LanguageWithoutCatalogWarnsAndFallsBackToEnglish) {
    setLang("fr_FR.UTF-8");
    ASSERT_EQ(0, init("zebo.cat", catalogs()));
    ASSERT_EQ(1u, captured().size());
    EXPECT_EQ(NL_SEV_W, captured()[0].first);
    EXPECT_EQ("QES0102W Unable to open the message repository " + catalogs() +
                  "/fr_FR/zebo.cat. The American English repository will be used instead.\n",
              captured()[0].second);
    EXPECT_STREQ("en_US", rvkLocale);
    EXPECT_STREQ("en_US", localeField);
    EXPECT_EQ(kEnglish2522, nlsText(2522));
}

TEST_F(NlsInitTest, PlainLocalesAreEnglishWithoutWarningUnlessALocaleWasChosen) {
    for (const char* lang : {"C", "C.UTF-8", "POSIX"}) {
        nlFreeRepository();
        setLang(lang);
        ASSERT_EQ(0, init("zebo.cat", catalogs())) << lang;
        EXPECT_STREQ("en_US", rvkLocale) << lang;
        EXPECT_EQ(kEnglish2522, nlsText(2522)) << lang;
    }
    EXPECT_TRUE(captured().empty()) << output();
    // A locale already chosen is used without asking the system.
    nlFreeRepository();
    snprintf(rvkLocale, sizeof rvkLocale, "de");
    ASSERT_EQ(0, init("zebo.cat", catalogs()));
    EXPECT_EQ(kGerman2522, nlsText(2522));
}

TEST_F(NlsInitTest, MissingEnglishCatalogFailsWithQES0101E) {
    EXPECT_EQ(610, init("nosuch.cat", catalogs()));
    ASSERT_EQ(1u, captured().size());
    EXPECT_EQ(NL_SEV_E, captured()[0].first);
    EXPECT_EQ("QES0101E Unable to open English message repository 'nosuch.cat'.\n",
              captured()[0].second);
    nlMsg(2522);
    EXPECT_EQ(1u, captured().size());
}

TEST_F(NlsInitTest, RefusesEmptyAndOverlongArguments) {
    std::string longName(1280, 'f');
    std::string longDir(1024, 'd');
    EXPECT_EQ(610, init("", catalogs()));
    EXPECT_EQ(610, init(longName.c_str(), catalogs()));
    EXPECT_EQ(610, init("zebo.cat", longDir));
    ASSERT_TRUE(newNlsGlobalObject(nullptr, 0));
    EXPECT_EQ(610, nlInit("zebo.cat", 10, longName.c_str(), catalogs().c_str(), nullptr, 0, 'D',
                          100, 'S', NL_APP_AGENT, 1, 1, 1, nullptr, nullptr));
    EXPECT_TRUE(captured().empty()) << output();
    // A path of exactly 1279 characters is still accepted as a name.
    EXPECT_EQ(610, init(std::string(1279, 'f').c_str(), catalogs()));
    EXPECT_EQ(1u, captured().size());  // refused only because it does not exist
}

TEST_F(NlsInitTest, SilentApplicationLogsButShowsNothingAndOnlyQueriesTheLocale) {
    setLang("de_DE.UTF-8");
    setlocale(LC_ALL, "C");
    ASSERT_EQ(0, init("zebo.cat", catalogs(), NL_APP_SILENT));
    EXPECT_STREQ("en_US", rvkLocale);  // the locale was queried ("C"), not set
    nlMsg(2522);
    nlMsg(131);
    EXPECT_TRUE(captured().empty()) << output();
    EXPECT_NE(std::string::npos, zebotest::readFile(errorLog()).find(kEnglish2522));
}

TEST_F(NlsInitTest, Message476FromTheClientAndTheAgentCatalogAndTheInstrumentation) {
    ASSERT_EQ(0, init(nullptr, catalogs(), 1));  // a client reads the runtime catalog
    nlMsg(476, "Instrumentation", "/x/rvkinstr.report.p7", "No such file or directory");
    ASSERT_EQ(1u, captured().size());
    EXPECT_EQ(
        "QES0476E Instrumentation: the report file /x/rvkinstr.report.p7 could not be "
        "opened (No such file or directory). No report is written.\n",
        captured()[0].second);

    nlFreeRepository();
    captured().clear();
    auto engineRoutine = instrShowMessage476;
    ASSERT_EQ(0, init("zebo.cat", catalogs()));
    ASSERT_NE(engineRoutine, instrShowMessage476);
    instrShowMessage476("Instrumentation", "/r/rvkinstr.report.p1", "Permission denied");
    ASSERT_EQ(1u, captured().size());
    EXPECT_EQ(NL_SEV_E, captured()[0].first);
    EXPECT_EQ(0u, captured()[0].second.find("QEV0476E Instrumentation: the report file "
                                            "/r/rvkinstr.report.p1 could not be opened"));
    nlFreeRepository();
    EXPECT_EQ(engineRoutine, instrShowMessage476);
}

TEST_F(NlsInitTest, SecondInitOnlyRefreshesTheFormatsAndCodePageSwitches) {
    setLang("de_DE.UTF-8");
    ASSERT_EQ(0, init("zebo.cat", catalogs()));
    EXPECT_EQ(1, msgReposCodepage);
    EXPECT_EQ(0, logMsgCodepage);
    TEST_ANSINLSREPOS.set = 1;
    TEST_OEMLOGMSGS.set = 1;
    TEST_OEMDISPLAY.set = 1;
    EXPECT_EQ(0, nlInit("other.cat", 10, nullptr, "/nowhere", nullptr, 0, 'D', 100, 'S',
                        NL_APP_AGENT, 4, 1, 1, nullptr, nullptr));
    TEST_ANSINLSREPOS.set = TEST_OEMLOGMSGS.set = TEST_OEMDISPLAY.set = 0;
    EXPECT_EQ(0, msgReposCodepage);
    EXPECT_EQ(1, logMsgCodepage);
    EXPECT_EQ(1, displayCodepage);
    EXPECT_EQ(4, date_fmt);
    EXPECT_EQ(kGerman2522, nlsText(2522));
    EXPECT_TRUE(captured().empty()) << output();
}

TEST(NlsLanguageDir, DerivesTheCatalogFolderFromTheLocaleName) {
    struct Case {
        const char* locale;
        const char* folder;
    } cases[] = {
        {"de", "de_DE"},
        {"Ja", "Ja_JP"},
        {"ja", "ja_JP"},
        {"JA", "en_US"},
        {"xx", "en_US"},
        {"fr_FR.UTF-8", "fr_FR"},
        {"zh_TW.BIG5", "Zh_TW"},
        {"zh_TW.UTF-8", "zh_TW"},
        {"pt.UTF-8", "pt_BR"},
        {"de_DE@euro", "de_DE@euro"},
        {"", ""},
    };
    for (const Case& c : cases) {
        char out[64];
        nlLanguageDir(c.locale, out, sizeof out);
        EXPECT_STREQ(c.folder, out) << c.locale;
    }
}

}  // namespace
