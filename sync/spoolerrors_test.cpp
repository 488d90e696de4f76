// Errors in the SQL*Plus spool: which lines are errors, and what a spool
// with them shows and leaves behind.
#include "sync/spoolerrors.h"

#include <gtest/gtest.h>

#include <string>

#include "sync/syncdb_testutil.h"
#include "testing/testutil.h"

namespace {

TEST(SpoolErrorsTest, ErrorLinesAreTheOnesSqlPlusAndTheDatabaseWrite) {
    const std::pair<const char*, bool> cases[] = {
        {"ORA-00942: table or view does not exist", true},
        {"ORA-01017: invalid username/password; logon denied\n", true},
        {"SP2-0734: unknown command beginning \"selct\"", true},
        {"ERROR at line 1:", true},
        {"ERROR:", true},
        {"ERROR:                                                                          \n",
         true},
        // Handles, and lines that only look a little like errors.
        {"ORA_FINDB_df1236807628_s21754_p1", false},
        {"ORA-0094: short code", false},
        {"ORA-009421 six digits", false},
        {"ORA-00942 no colon", false},
        {"SP2-07345: five digits", false},
        {" ORA-00942: not at the start", false},
        {"ERROR", false},
        {"ERRORS:", false},
        {"ERROR: text after it", false},
        {"8rargapm_1_1", false},
        {"", false},
    };
    for (const auto& c : cases) EXPECT_EQ(c.second, utIsSpoolErrorLine(c.first)) << c.first;
}

TEST(SpoolErrorsTest, ASpoolWithErrorsIsReportedWithoutThePasswordAndRemoved) {
    synctest::initMessages();
    zebotest::TempDir dir;
    CatalogConnection connection = {"rman", "s3cret-pw", "prodcat"};
    std::string clean = dir.file("clean.out");
    zebotest::writeFile(clean, "\nSession altered.\n\nORA_FINDB_df1_s2_p1\n\n1 row selected.\n");
    EXPECT_EQ(0, utCheckSpool(&connection, clean.c_str()));
    EXPECT_TRUE(zebotest::fileExists(clean)) << "the load reads it next";

    std::string spool = dir.file("errors.out");
    std::string text;
    for (int i = 1; i <= 7; ++i)
        text += "select handle\n       *\nERROR at line " + std::to_string(i) +
                ":\nORA-00942: table or view does not exist" + std::string(40, ' ') + "\n";
    zebotest::writeFile(spool, text);
    std::vector<std::string> found;
    EXPECT_EQ(14u, utFindSpoolErrors(spool.c_str(), 3, &found));
    EXPECT_EQ(
        (std::vector<std::string>{"ERROR at line 1:", "ORA-00942: table or view does not exist",
                                  "ERROR at line 2:"}),
        found);

    testing::internal::CaptureStdout();
    EXPECT_EQ(SPOOL_QUERY_FAILED, utCheckSpool(&connection, spool.c_str()));
    std::string shown = testing::internal::GetCapturedStdout();
    EXPECT_EQ(static_cast<size_t>(SPOOL_ERRORS_SHOWN), [&] {
        size_t n = 0;
        for (const std::string& line : zebotest::lines(shown))
            if (utIsSpoolErrorLine(line.c_str())) ++n;
        return n;
    }());
    EXPECT_NE(std::string::npos, shown.find("QEV2630E")) << shown;
    EXPECT_NE(std::string::npos, shown.find("rman")) << shown;
    EXPECT_NE(std::string::npos, shown.find("\"prodcat\"")) << shown;
    EXPECT_EQ(std::string::npos, shown.find("s3cret-pw")) << shown;
    EXPECT_FALSE(zebotest::fileExists(spool));
}

// A large spool is read in blocks of 1 MB: lines that run over a block's end
// (an error line, a handle line longer than a block) are still read whole.
TEST(SpoolErrorsTest, LinesOverBlockBoundariesAreReadWhole) {
    zebotest::TempDir dir;
    std::string spool = dir.file("large.out");
    const std::string error = "ORA-00942: table or view does not exist";
    std::string text;
    const size_t errorAt = (1u << 20) - 10;  // 10 bytes before the first block ends
    while (text.size() + 81 <= errorAt) text += "c-1234-8638-1" + std::string(67, ' ') + "\n";
    text += std::string(errorAt - text.size() - 1, 'x') + "\n";
    text += error + "\n";
    text += "E" + std::string(3u << 20, 'x') + "\n";  // an 'E' line of three blocks
    text += "ERROR:" + std::string(75, ' ');          // last, without a line end
    zebotest::writeFile(spool, text);
    std::vector<std::string> found;
    EXPECT_EQ(2u, utFindSpoolErrors(spool.c_str(), 5, &found));
    EXPECT_EQ((std::vector<std::string>{error, "ERROR:"}), found);
}

}  // namespace
