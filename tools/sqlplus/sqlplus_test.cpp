#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "testing/testutil.h"
#include "tools/sqlplus/oradate.h"

namespace {

using zebotest::lines;
using zebotest::readFile;
using zebotest::RunResult;

// A folder of catalogs with the catalog "rcat" (user rman, password secret)
// and the simulator run with it.
class SqlPlusSim : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_EQ(sim("--sim-create rcat rman secret").status, 0); }
    RunResult sim(const std::string& args, const std::string& input = "") {
        return zebotest::run("SQLPLUS_SIM_DIR='" + dir.file("cat") + "' '" +
                                 zebotest::testBinDir() + "/sqlplus' " + args,
                             input);
    }
    void load(const std::string& rows) { ASSERT_EQ(sim("--sim-load rcat", rows).status, 0); }

    // The script as the synchronisation writes it, dates as M/D/YYYY.
    std::string script(const std::string& logon, const std::string& from, const std::string& to,
                       const std::string& table = "rc_backup_piece",
                       const std::string& afterQuit = "") {
        std::string text = logon + "\nspool " + spool +
                           "\nset term off \nset heading on\nset pagesize 0\nset linesize 80\n"
                           "set recsep off\nset sqlterminator on\n"
                           "alter session set NLS_DATE_FORMAT='MM/DD/YYYY:hh24:mi:ss';\n"
                           "select handle from " +
                           table + " where completion_time >='" + from +
                           ":00:00:00' and completion_time <='" + to + ":23:59:59';\nquit\n" +
                           afterQuit + "spool off";
        zebotest::writeFile(dir.file("SQLIquery.sql"), text);
        return "-L @" + dir.file("SQLIquery.sql");
    }

    zebotest::TempDir dir;
    std::string spool = dir.file("SQLOspool_1.out");
};

std::string padded(const std::string& s) {
    return s + std::string(80 - s.size(), ' ');
}

TEST_F(SqlPlusSim, SpoolsTheHandlesOfTheDateRangeInclusively) {
    std::string longHandle(170, 'L');
    longHandle[0] = 'X';
    load("before\t2011-03-06 23:59:59\nfirst\t2011-03-07 00:00:00\n" + longHandle +
         "\t2011-03-08 12:00:00\nlast\t2011-03-09 23:59:59\nafter\t2011-03-10 00:00:00\n");
    RunResult r = sim(script("rman/secret@rcat", "3/7/2011", "3/9/2011", "rc_backup_piece",
                             "prompt not reached\n"));
    EXPECT_EQ(r.status, 0) << r.out;
    // With term off nothing of the script's output reaches the terminal.
    EXPECT_EQ(r.out.find("Session altered."), std::string::npos) << r.out;
    EXPECT_EQ(r.out.find("first"), std::string::npos) << r.out;
    std::vector<std::string> expected = {"",
                                         "Session altered.",
                                         "",
                                         padded("first"),
                                         longHandle.substr(0, 80),
                                         longHandle.substr(80, 80),
                                         padded(longHandle.substr(160)),
                                         padded("last"),
                                         "",
                                         "3 rows selected.",
                                         ""};
    EXPECT_EQ(lines(readFile(spool)), expected);
}

TEST_F(SqlPlusSim, ThousandsOfRowsAreAllWrittenWithoutSpoolOff) {
    std::string rows;
    for (int i = 0; i < 5000; ++i) rows += "piece_" + std::to_string(i) + "\t2012-01-15 08:30:00\n";
    load(rows);
    RunResult r = sim(script("rman/secret@rcat", "1/1/1990", "12/31/2012"));
    ASSERT_EQ(r.status, 0) << r.out;
    std::vector<std::string> spooled = lines(readFile(spool));
    ASSERT_EQ(spooled.size(), 3u + 5000u + 3u);
    EXPECT_EQ(spooled[3], padded("piece_0"));
    EXPECT_EQ(spooled[5002], padded("piece_4999"));
    EXPECT_EQ(spooled[5004], "5000 rows selected.");
}

TEST_F(SqlPlusSim, SpoolsIntoTheFileThatTheCallerCreatedEvenUnderANameWithABlank) {
    load("only\t2011-03-07 10:00:00\n");
    std::string folder = dir.file("a b");
    ASSERT_EQ(0, mkdir(folder.c_str(), 0700));
    std::string path = folder + "/SQLOx_1.out";
    zebotest::writeFile(path, "", 0600);
    chmod(path.c_str(), 0600);  // whatever the umask
    struct stat before;
    ASSERT_EQ(0, stat(path.c_str(), &before));
    spool = "\"" + path + "\"";
    RunResult r = sim(script("rman/secret@rcat", "3/7/2011", "3/7/2011"));
    EXPECT_EQ(r.status, 0) << r.out;
    EXPECT_NE(std::string::npos, readFile(path).find(padded("only"))) << readFile(path);
    struct stat after;
    ASSERT_EQ(0, stat(path.c_str(), &after));
    EXPECT_EQ(before.st_ino, after.st_ino);
    EXPECT_EQ(0600u, after.st_mode & 07777);
}

TEST_F(SqlPlusSim, LogonFailuresExitWithStatusOne) {
    RunResult wrong = sim(script("rman/Secret@rcat", "3/7/2011", "3/9/2011"));
    EXPECT_EQ(wrong.status, 1);
    EXPECT_NE(wrong.out.find("ERROR:\nORA-01017: invalid username/password; logon denied\n"),
              std::string::npos)
        << wrong.out;
    EXPECT_FALSE(zebotest::fileExists(spool));

    RunResult unknown = sim(script("rman/secret@elsewhere", "3/7/2011", "3/9/2011"));
    EXPECT_EQ(unknown.status, 1);
    EXPECT_NE(unknown.out.find("ERROR:\nORA-12154: "), std::string::npos) << unknown.out;
    EXPECT_EQ(unknown.out.find("ORA-01017"), std::string::npos);

    // User names are not case-sensitive; the connect string names the file.
    EXPECT_EQ(sim(script("RMAN/secret@RCAT", "3/7/2011", "3/9/2011")).status, 0);
}

TEST_F(SqlPlusSim, NoRowsAndUnknownTableAreReportedInTheSpool) {
    load("old\t1999-12-31 23:59:59\n");
    ASSERT_EQ(sim(script("rman/secret@rcat", "1/1/2000", "12/31/2011")).status, 0);
    std::vector<std::string> none = {"", "Session altered.", "", "", "no rows selected", ""};
    EXPECT_EQ(lines(readFile(spool)), none);

    RunResult r = sim(script("rman/secret@rcat", "1/1/1990", "12/31/2011", "rc_backup_pieces"));
    EXPECT_EQ(r.status, 0);
    std::vector<std::string> spooled = lines(readFile(spool));
    ASSERT_EQ(spooled.size(), 8u);
    EXPECT_EQ(spooled[3].substr(0, 38), "select handle from rc_backup_pieces wh");
    EXPECT_EQ(spooled[4], std::string(19, ' ') + "*");  // under the table's name
    EXPECT_EQ(spooled[5], "ERROR at line 1:");
    EXPECT_EQ(spooled[6], "ORA-00942: table or view does not exist");

    // A user who does not own the catalog gets the same error for the real
    // table, with exit status 0; made a guest again, the owner loses it too.
    ASSERT_EQ(sim("--sim-guest rcat reader readpw").status, 0);
    load("piece1\t2011-01-01 00:00:00\n");
    r = sim(script("reader/readpw@rcat", "1/1/1990", "12/31/2011"));
    EXPECT_EQ(r.status, 0);
    spooled = lines(readFile(spool));
    ASSERT_EQ(spooled.size(), 8u);
    EXPECT_EQ(spooled[5], "ERROR at line 1:");
    EXPECT_EQ(spooled[6], "ORA-00942: table or view does not exist");
    EXPECT_EQ(sim(script("reader/wrong@rcat", "1/1/1990", "12/31/2011")).status, 1);
    ASSERT_EQ(sim("--sim-guest rcat rman secret").status, 0);
    ASSERT_EQ(sim(script("rman/secret@rcat", "1/1/1990", "12/31/2011")).status, 0);
    EXPECT_EQ(lines(readFile(spool))[6], "ORA-00942: table or view does not exist");
}

// A benchmark's ready spool: the first run keeps what it spooled; later runs
// hand that over unchanged even when the catalog has changed, but only
// after a good logon, and the kept copy outlives the spool's removal.
TEST_F(SqlPlusSim, ReadySpoolIsKeptOnceThenHandedOverAfterTheLogon) {
    load("first\t2011-03-07 00:00:00\n");
    std::string ready = dir.file("ready.out");
    std::string withReady = "SQLPLUS_SIM_READY_SPOOL='" + ready + "' ";
    auto readyRun = [&](const std::string& args) {
        return zebotest::run(withReady + "SQLPLUS_SIM_DIR='" + dir.file("cat") + "' '" +
                             zebotest::testBinDir() + "/sqlplus' " + args);
    };
    ASSERT_EQ(readyRun(script("rman/secret@rcat", "3/7/2011", "3/9/2011")).status, 0);
    std::string first = readFile(spool);
    ASSERT_NE(first.find("first"), std::string::npos) << first;
    EXPECT_EQ(readFile(ready), first);

    load("second\t2011-03-08 00:00:00\n");
    ASSERT_EQ(unlink(spool.c_str()), 0);
    EXPECT_EQ(readyRun(script("rman/wrong@rcat", "3/7/2011", "3/9/2011")).status, 1);
    struct stat st;
    EXPECT_NE(stat(spool.c_str(), &st), 0) << "a failed logon hands nothing over";
    ASSERT_EQ(readyRun(script("rman/secret@rcat", "3/7/2011", "3/9/2011")).status, 0);
    EXPECT_EQ(readFile(spool), first);
    ASSERT_EQ(unlink(spool.c_str()), 0);
    EXPECT_EQ(readFile(ready), first);
    // Without the variable the same script sees the changed catalog.
    ASSERT_EQ(sim(script("rman/secret@rcat", "3/7/2011", "3/9/2011")).status, 0);
    EXPECT_NE(readFile(spool).find("second"), std::string::npos);
}

TEST_F(SqlPlusSim, LoadingIsAllOrNothing) {
    RunResult bad = sim("--sim-load rcat", "good\t2011-01-01 00:00:00\nbad\t2011-02-30 00:00:00\n");
    EXPECT_EQ(bad.status, 1);
    EXPECT_NE(bad.err.find("line 2"), std::string::npos) << bad.err;
    ASSERT_EQ(sim(script("rman/secret@rcat", "1/1/1990", "12/31/2030")).status, 0);
    EXPECT_NE(readFile(spool).find("no rows selected"), std::string::npos);
}

// Date literals read with the session's format, as the query's filter sees them.
TEST(SqlPlusDates, LiteralsAreReadLenientlyAndCheckedAgainstTheCalendar) {
    // Per format, literals and what they read as: the canonical date or the
    // start of the ORA- text.
    struct Literal {
        const char* text;
        const char* result;
    };
    const std::pair<const char*, std::vector<Literal>> cases[] = {
        {"MM/DD/YYYY:hh24:mi:ss",
         {{"3/7/2011:00:00:00", "2011-03-07 00:00:00"},
          {"12/31/2011:23:59:59", "2011-12-31 23:59:59"},
          {"2/29/2012", "2012-02-29 00:00:00"},
          {"2/29/2011:00:00:00", "ORA-01847"},
          {"13/1/2011:00:00:00", "ORA-01843"},
          {"1/1/2011:24:00:00", "ORA-01850"},
          {"1/1/2011:00:00:00 x", "ORA-01830"},
          {"a/1/2011", "ORA-01858"}}},
        {"DD-MON-RR", {{"07-mar-11", "2011-03-07 00:00:00"}, {"07-MAR-75", "1975-03-07 00:00:00"}}},
        {"YYYY-MM-DD HH12:MI:SS AM",
         {{"2011-03-07 12:05:00 AM", "2011-03-07 00:05:00"},
          {"2011-03-07 01:05:00 PM", "2011-03-07 13:05:00"}}},
    };
    for (const auto& [formatText, literals] : cases) {
        sqlsim::DateFormat format;
        std::string error;
        ASSERT_TRUE(format.parse(formatText, &error)) << formatText;
        for (const Literal& l : literals) {
            std::string canonical, readError;
            if (format.read(l.text, &canonical, &readError))
                EXPECT_EQ(canonical, l.result) << l.text;
            else
                EXPECT_EQ(readError.rfind(l.result, 0), 0u) << l.text << ": " << readError;
        }
    }
    sqlsim::DateFormat format;
    std::string error;
    EXPECT_FALSE(format.parse("MM/DD/YYYY:hh24:mi:sx", &error));
    EXPECT_EQ(error, "ORA-01821: date format not recognized");
    ASSERT_TRUE(format.parse("Mon DD, YYYY hh24:mi", &error));
    EXPECT_EQ(format.show("2011-03-07 09:05:00"), "Mar 07, 2011 09:05");
}

}  // namespace
