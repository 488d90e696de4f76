// Whole runs of zebosync in the situations where a live backup could be
// offered for deletion, or where the administrator could be left unsure of
// what was deleted: errors in the SQL*Plus output, handles wider than its
// lines, implausible results, failures in the middle of a deletion, huge
// ranges with tracing on. The report of -OUTfile is read as a script would.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <sstream>

#include "sync/syncrun_testutil.h"
#include "testing/testutil.h"

namespace {

using agenttest::shellQuoted;

using GuardRunTest = syncrun::RunTest;

std::vector<std::string> fields(const std::string& line) {
    std::vector<std::string> out;
    std::istringstream in(line);
    for (std::string f; std::getline(in, f, '\t');) out.push_back(f);
    if (!line.empty() && line.back() == '\t') out.push_back("");
    return out;
}

// The report's records of one kind as "name outcome" (orphans: the name).
std::vector<std::string> records(const std::string& report, const std::string& kind) {
    std::vector<std::string> out;
    std::vector<std::string> lines = zebotest::lines(report);
    EXPECT_FALSE(lines.empty());
    if (lines.empty()) return out;
    EXPECT_EQ("kind\tpass\toutcome\tobject_id\tinserted\tsize\tname", lines[0]);
    for (size_t i = 1; i < lines.size(); ++i) {
        std::vector<std::string> f = fields(lines[i]);
        EXPECT_EQ(7u, f.size()) << lines[i];
        if (f.size() != 7 || f[0] != kind) continue;
        std::string name = f[6].substr(f[6].rfind('/') + 1);
        out.push_back(kind == "orphan" ? name : name + " " + f[2]);
    }
    return out;
}

TEST_F(GuardRunTest, ErrorsInTheSpoolEndTheRunLikeAFailedQuery) {
    // A user who logs on but does not own the catalog: SQL*Plus ends with
    // status 0 and spools ORA-00942.
    syncrun::Scratch scratch(6, {1}, 5);
    scratch.addGuest("reader", "readerpw");
    zebotest::RunResult r =
        zebotest::run(scratch.command(), "reader\nreaderpw\nCAT1\n\n\n+\no\ny\n");
    EXPECT_EQ(255, r.status) << r.out;
    EXPECT_NE(std::string::npos, r.out.find("ORA-00942: table or view does not exist")) << r.out;
    EXPECT_NE(std::string::npos, r.out.find("QEV2630E")) << r.out;
    EXPECT_NE(std::string::npos, r.out.find("as user reader with the connect string \"CAT1\""));
    EXPECT_EQ(std::string::npos, r.out.find("readerpw\"")) << "no password in the message";
    EXPECT_EQ(std::string::npos, r.out.find("Command: ")) << "no pick list";
    EXPECT_EQ("1 2 3 4 5 6", scratch.onServer());

    // A stand-in that spools what SQL*Plus writes after other failures and
    // still ends with 0.
    const char* spools[] = {
        "ERROR:\nORA-01017: invalid username/password; logon denied\n\n",
        "SP2-0734: unknown command beginning \"selct hand...\" - rest of line ignored.\n",
        "piece1\nselect handle from rc_backup_piece\n       *\nERROR at line 1:\n"
        "ORA-00904: \"HANDLE\": invalid identifier\n",
    };
    for (const char* spool : spools) {
        SCOPED_TRACE(spool);
        std::string bin = scratch.path("standin");
        mkdir(bin.c_str(), 0755);
        zebotest::writeFile(scratch.path("standin.out"), spool);
        zebotest::writeFile(bin + "/sqlplus",
                            "#!/bin/sh\nscript=${2#@}\n"
                            "spool=$(sed -n 's/^spool //p' \"$script\" | head -n 1)\n"
                            "cat " +
                                shellQuoted(scratch.path("standin.out")) +
                                " > \"$spool\"\nexit 0\n",
                            0755);
        r = zebotest::run(scratch.command("PATH=" + shellQuoted(bin) + ":\"$PATH\""),
                          syncrun::Scratch::catalogAnswers() + "+\no\ny\n");
        EXPECT_EQ(255, r.status) << r.out;
        EXPECT_NE(std::string::npos, r.out.find("QEV2630E")) << r.out;
        EXPECT_EQ(std::string::npos, r.out.find("Command: ")) << r.out;
        EXPECT_EQ("1 2 3 4 5 6", scratch.onServer());
    }
}

TEST_F(GuardRunTest, HandlesWiderThanTheSpoolLineMatchTheirObjects) {
    // The server keeps low-level names of up to 256 characters; the catalog
    // also holds a handle of 1,024 between them.
    syncrun::Scratch scratch(3, {1, 2}, 5);
    std::vector<std::string> wide;
    for (size_t length : {79, 80, 81, 160, 161, 240, 255}) {
        std::string handle = "w" + std::to_string(length) + "_";
        handle += std::string(length - handle.size(), static_cast<char>('a' + length % 26));
        wide.push_back(handle);
    }
    scratch.addPieces({wide[0], wide[1]}, true, true);
    scratch.addPieces({std::string(1024, 'k')}, false, true);
    scratch.addPieces({"short", wide[2], wide[3], wide[4], wide[5], wide[6]}, true, true);
    // Objects named like a line of a wide handle: each line is a key of its
    // own as well, so they are hidden. An extra key can hide an orphan; it
    // can never make one.
    scratch.addPieces({wide[2].substr(0, 80), wide[4].substr(80, 80)}, true, false);

    std::string report = scratch.path("orphans.tsv");
    zebotest::RunResult r = zebotest::run(scratch.command() + " -OUTfile=" + shellQuoted(report),
                                          syncrun::Scratch::catalogAnswers() + "q\n");
    EXPECT_EQ(0, r.status) << r.out;
    EXPECT_EQ(std::vector<std::string>{"piece3"}, records(zebotest::readFile(report), "orphan"));
    EXPECT_EQ(std::string::npos, r.out.find("QEV2632W")) << r.out;
}

TEST_F(GuardRunTest, ImplausibleResultsWarnBeforeTheList) {
    struct Case {
        int objects;
        std::vector<int> cataloged;
        const char* warning;  // "" for none
    } const cases[] = {
        {3,
         {},
         "QEV2631W The Oracle Recovery Catalog listed no backup piece at all, so all 3 "
         "of the 3 objects"},
        {3, {1}, "QEV2632W 2 of the 3 objects examined are listed, more than half."},
        {4, {1, 2}, ""},
    };
    for (const Case& c : cases) {
        syncrun::Scratch scratch(c.objects, c.cataloged, 5);
        zebotest::RunResult r =
            zebotest::run(scratch.command(), syncrun::Scratch::catalogAnswers() + "q\n");
        EXPECT_EQ(0, r.status) << r.out;
        size_t warned = r.out.find(c.warning[0] ? c.warning : "QEV263");
        if (c.warning[0] == '\0') {
            EXPECT_EQ(std::string::npos, warned) << r.out;
            continue;
        }
        ASSERT_NE(std::string::npos, warned) << r.out;
        EXPECT_LT(warned, r.out.find("Command: ")) << "before the pick list";
        EXPECT_EQ(std::string::npos, r.out.find("Press Enter")) << "no wait without a terminal";
        EXPECT_EQ(std::string::npos, r.out.find('\r')) << "no progress without a terminal";
    }
}

// What each failed call leaves is tested in-process (deletefiles_test.cpp);
// this run checks that the report, the summary and the trace tell the same
// story as the server after a failed commit.
TEST_F(GuardRunTest, ReportSummaryAndTraceAgreeWithTheServerAfterAFailedCommit) {
    // The second commit fails: 1 and 2 are gone, 3 and 4 rolled back, 5
    // never tried.
    syncrun::Scratch scratch(6, {6}, 2);
    std::string report = scratch.path("report.tsv");
    zebotest::RunResult r = zebotest::run(
        scratch.command("RVK_FAULTS=rvkEndTxn@2=130") + " -OUTfile=" + shellQuoted(report),
        syncrun::Scratch::catalogAnswers() + "+\no\ny\nq\n");
    EXPECT_EQ(130, r.status) << r.out;
    EXPECT_EQ("3 4 5 6", scratch.onServer());
    std::string text = zebotest::readFile(report);
    EXPECT_EQ((std::vector<std::string>{"piece1", "piece2", "piece3", "piece4", "piece5"}),
              records(text, "orphan"));
    EXPECT_EQ(
        (std::vector<std::string>{"piece1 committed", "piece2 committed", "piece3 rolled back",
                                  "piece4 rolled back", "piece5 not attempted"}),
        records(text, "deletion"))
        << text;
    EXPECT_NE(std::string::npos,
              r.out.find("QEV2634I Marked for deletion: 5 objects, 15,000 bytes in all."))
        << r.out;
    EXPECT_NE(std::string::npos,
              r.out.find("QEV2635I 2 objects were deleted from the VLT Server and committed.\n"
                         "QEV2636W 2 deletions were rolled back; those objects are still on the "
                         "VLT Server.\n"
                         "QEV2637W 1 marked objects were not deleted"))
        << r.out;
    std::string trace = scratch.trace();
    for (const char* piece : {"piece3", "piece4"})
        EXPECT_EQ(1u, zebotest::occurrences(trace, std::string("Rolled back: '/koruorc/db1/") +
                                                       piece + "' is still on the VLT Server"));
    EXPECT_EQ(std::string::npos, trace.find("Rolled back: '/koruorc/db1/piece5'"));
}

TEST_F(GuardRunTest, DryRunReportsAndUnwritableReports) {
    syncrun::Scratch scratch(4, {2}, 5);
    // JSON by its name; Q leaves: the exact list, nothing deleted.
    std::string json = scratch.path("orphans.json");
    zebotest::RunResult r = zebotest::run(scratch.command() + " -OUTfile=" + shellQuoted(json),
                                          syncrun::Scratch::catalogAnswers() + "q\n");
    EXPECT_EQ(0, r.status) << r.out;
    EXPECT_EQ("1 2 3 4", scratch.onServer());
    std::string text = zebotest::readFile(json);
    EXPECT_EQ(0u, text.find("{\n  \"orphans\": [\n    {\"object_id\": ")) << text;
    EXPECT_EQ(3u, zebotest::occurrences(text, "\"name\": \"/koruorc/db1/piece"));
    EXPECT_NE(std::string::npos,
              text.find("\"inserted\": \"2024-01-11T03:04:05\", \"size\": 1000"));
    EXPECT_NE(std::string::npos, text.find("\"passes\": []\n}\n"));
    EXPECT_EQ(std::string::npos, text.find("piece2\""));

    // A folder that does not exist, and a folder as the path: reported
    // before the catalog prompts, and the run ends.
    for (const std::string& bad : {scratch.path("missing/report.tsv"), scratch.path("")}) {
        r = zebotest::run(scratch.command() + " -OUTfile=" + shellQuoted(bad),
                          syncrun::Scratch::catalogAnswers() + "+\no\ny\n");
        EXPECT_EQ(2638 % 256, r.status) << r.out;
        EXPECT_NE(std::string::npos, r.out.find("QEV2638E The report file " + bad)) << r.out;
        EXPECT_EQ(std::string::npos, r.out.find("user name:")) << r.out;
        EXPECT_EQ("1 2 3 4", scratch.onServer());
    }
}

TEST_F(GuardRunTest, AHugeRangeWithTracingAnswersAtOnce) {
    // The scratch traces ORCLEVEL0 to ORCLEVEL2.
    syncrun::Scratch scratch(20, {}, 5);
    auto start = std::chrono::steady_clock::now();
    zebotest::RunResult r = zebotest::run(
        scratch.command(), syncrun::Scratch::catalogAnswers() + "1:99999999+\n500000:600000-\nq\n");
    auto took = std::chrono::steady_clock::now() - start;
    EXPECT_EQ(0, r.status) << r.out;
    EXPECT_LT(took, std::chrono::seconds(20));
    std::string trace = scratch.trace();
    EXPECT_LT(trace.size(), 2u * 1024 * 1024);
    EXPECT_EQ(1u, zebotest::occurrences(trace, "Value out of range Value: 21\n"));
    EXPECT_EQ(1u, zebotest::occurrences(trace, "Value out of range Value: 500000\n"));
    EXPECT_EQ(2u, zebotest::occurrences(trace, "Value out of range"));
}

}  // namespace
