// The catalog query: the script as SQL*Plus gets it, the private and
// exclusive creation of the files that hold the password, the shell
// command's failure, and the default dates in the user's layout.
#include "sync/catquery.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "common/unx/nlsfmt.h"
#include "common/ut/testflags.h"
#include "sync/sqlplusrun.h"
#include "sync/syncdb_testutil.h"
#include "testing/seam.h"
#include "testing/testutil.h"

namespace {

using zebotest::TempDir;

// What the seam saw: the arguments, and the script and the spool file as
// they stood when SQL*Plus would have started.
std::vector<std::string> seenArgs;
std::string seenScript;
mode_t seenMode;
mode_t seenSpoolMode;
int commandStatus;
std::string spoolPath;

mode_t modeOf(const std::string& path) {
    struct stat st;
    return lstat(path.c_str(), &st) == 0 ? st.st_mode & 07777 : 0;
}

int fakeSqlPlus(const char* const* argv) {
    seenArgs.assign(argv, argv + 3);
    std::string path = seenArgs[2].substr(1);
    seenScript = zebotest::readFile(path);
    seenMode = modeOf(path);
    seenSpoolMode = modeOf(spoolPath);
    return commandStatus;
}

class CatalogQueryTest : public ::testing::Test {
  protected:
    void SetUp() override {
        synctest::initMessages();
        zeboRunCommand = fakeSqlPlus;
        seenArgs.clear();
        spoolPath = spool;
        commandStatus = 0;
        strcpy(conn.user, "rman");
        strcpy(conn.password, "s3cret");
        conn.connect[0] = '\0';
    }
    void TearDown() override {
        zeboRunCommand = utRunProgram;
        TEST_SYNCDBNORMAN.set = 0;
    }
    int16_t query() { return zeboQueryCatalog(&conn, script.c_str(), spool.c_str(), &from, &to); }

    TempDir dir;
    std::string script = dir.file("SQLIab.sql");
    std::string spool = dir.file("SQLOab_1.out");
    CatalogConnection conn = {};
    nlDateTime from = {2011, 3, 7, 0, 0, 0};
    nlDateTime to = {2023, 12, 31, 0, 0, 0};
};

TEST_F(CatalogQueryTest, ScriptIsPrivateAndRemovedAfterTheRun) {
    ASSERT_EQ(0, query());
    EXPECT_EQ((std::vector<std::string>{"sqlplus", "-L", "@" + script}), seenArgs);
    EXPECT_EQ(
        "rman/s3cret@\n"
        "spool " +
            spool +
            "\n"
            "set term off \n"
            "set heading on\n"
            "set pagesize 0\n"
            "set linesize 80\n"
            "set recsep off\n"
            "set sqlterminator on\n"
            "alter session set NLS_DATE_FORMAT='MM/DD/YYYY:hh24:mi:ss';\n"
            "select handle from rc_backup_piece where completion_time >='3/7/2011:00:00:00' "
            "and completion_time <='12/31/2023:23:59:59';\n"
            "quit\n"
            "spool off",
        seenScript);
    EXPECT_EQ(0600u, seenMode);
    // The spool is the program's own before SQL*Plus writes into it.
    EXPECT_EQ(0600u, seenSpoolMode);
    EXPECT_FALSE(zebotest::fileExists(script));
    EXPECT_TRUE(zebotest::fileExists(spool));
    unlink(spool.c_str());

    // A failing SQL*Plus is reported, and neither the password nor the
    // spool stays behind.
    commandStatus = 1 << 8;
    testing::internal::CaptureStdout();
    EXPECT_EQ(2533, query());
    EXPECT_NE(std::string::npos, testing::internal::GetCapturedStdout().find("QEV2533E"));
    EXPECT_FALSE(zebotest::fileExists(script));
    EXPECT_FALSE(zebotest::fileExists(spool));
}

TEST_F(CatalogQueryTest, AnyDirectoryNameReachesSqlPlusAsOneArgument) {
    // Shell syntax and blanks stay in the argument; the spool line quotes a
    // name with a blank so that SQL*Plus takes it whole.
    for (std::string name : {"a;touch PWNED;b", "a b", "$(id)`id`|x&"}) {
        std::string sub = dir.file(name);
        ASSERT_EQ(0, mkdir(sub.c_str(), 0700)) << name;
        script = sub + "/SQLIab.sql";
        spool = spoolPath = sub + "/SQLOab_1.out";
        ASSERT_EQ(0, query()) << name;
        ASSERT_EQ(3u, seenArgs.size());
        EXPECT_EQ("@" + script, seenArgs[2]);
        bool blank = name.find(' ') != std::string::npos;
        EXPECT_NE(std::string::npos,
                  seenScript.find("\nspool " + (blank ? "\"" + spool + "\"" : spool) + "\n"))
            << seenScript;
        unlink(spool.c_str());
    }

    // A name that no script line can carry is refused, and named.
    std::string bad = dir.file("q\"uote");
    ASSERT_EQ(0, mkdir(bad.c_str(), 0700));
    script = bad + "/SQLIab.sql";
    spool = bad + "/SQLOab_1.out";
    seenArgs.clear();
    testing::internal::CaptureStdout();
    EXPECT_EQ(2575, query());
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(std::string::npos, out.find("QEV2660E")) << out;
    EXPECT_NE(std::string::npos, out.find(bad)) << out;
    EXPECT_TRUE(seenArgs.empty());
    EXPECT_FALSE(zebotest::fileExists(script));
}

TEST_F(CatalogQueryTest, NeverWritesThroughALinkPlantedAtTheName) {
    std::string target = dir.file("target");
    zebotest::writeFile(target, "untouched");
    ASSERT_EQ(0, symlink(target.c_str(), script.c_str()));
    testing::internal::CaptureStdout();
    EXPECT_EQ(2575, query());
    EXPECT_NE(std::string::npos, testing::internal::GetCapturedStdout().find(script));
    EXPECT_TRUE(seenArgs.empty());
    EXPECT_EQ("untouched", zebotest::readFile(target));

    // Without SQL*Plus the spool file is made empty, privately; the same
    // protection holds for it.
    unlink(script.c_str());
    TEST_SYNCDBNORMAN.set = 1;
    ASSERT_EQ(0, query());
    EXPECT_TRUE(seenArgs.empty());
    struct stat st;
    ASSERT_EQ(0, stat(spool.c_str(), &st));
    EXPECT_EQ(0, st.st_size);
    EXPECT_EQ(0600u, st.st_mode & 0777);
    EXPECT_TRUE(zebotest::fileExists(script));

    // A link planted at the spool's name is refused before SQL*Plus runs,
    // and the script with the password goes.
    TEST_SYNCDBNORMAN.set = 0;
    unlink(script.c_str());
    unlink(spool.c_str());
    ASSERT_EQ(0, symlink(target.c_str(), spool.c_str()));
    testing::internal::CaptureStdout();
    EXPECT_EQ(2575, query());
    EXPECT_NE(std::string::npos, testing::internal::GetCapturedStdout().find(spool));
    EXPECT_TRUE(seenArgs.empty());
    EXPECT_FALSE(zebotest::fileExists(script));
    EXPECT_EQ("untouched", zebotest::readFile(target));
}

TEST(DefaultDateRange, FollowsTheOrderOfTheUserLayout) {
    zebotest::FixedClock clock(1709812800);  // 2024-03-07 12:00 UTC
    char from[UT_DATE_TEXT_SIZE];
    char to[UT_DATE_TEXT_SIZE];
    struct Case {
        int layout;
        const char* from;
        const char* to;
    } cases[] = {
        {1, "01/01/1990", "03/07/2024"},
        {2, "01-01-1990", "07-03-2024"},
        {3, "1990-01-01", "2024-03-07"},
        {4, "01.01.1990", "07.03.2024"},
    };
    for (const Case& c : cases) {
        nlSetDateFormat(c.layout);
        utDefaultDateRange(from, to);
        EXPECT_STREQ(c.from, from) << date_fmt_str;
        EXPECT_STREQ(c.to, to) << date_fmt_str;
        // What the prompts offer must read back as the same day.
        nlDateTime parsed;
        ASSERT_EQ(0, nlParseDate(to, &parsed)) << to;
        EXPECT_EQ(2024, parsed.year);
        EXPECT_EQ(3, parsed.month);
        EXPECT_EQ(7, parsed.day);
    }
    nlSetDateFormat(1);
}

}  // namespace
