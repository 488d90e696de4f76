// Whole runs of zebosync in the situations where a live backup could be
// offered for deletion, or where the administrator could be left unsure of
// what was deleted: errors in the SQL*Plus output, handles wider than its
// lines, implausible results, failures in the middle of a deletion. The
// report of -OUTfile is read as a script would.
#include <gtest/gtest.h>

#include "sync/syncrun_testutil.h"
#include "testing/testutil.h"

namespace {

using agenttest::shellQuoted;

using GuardRunTest = syncrun::RunTest;

// The names of the orphans in a tab-separated report (its layout is tested
// in orphanreport_test.cpp).
std::vector<std::string> orphans(const std::string& report) {
    std::vector<std::string> out;
    for (const std::string& line : zebotest::lines(report))
        if (line.compare(0, 7, "orphan\t") == 0) out.push_back(line.substr(line.rfind('/') + 1));
    return out;
}

TEST_F(GuardRunTest, ErrorsInTheSpoolEndTheRunLikeAFailedQuery) {
    // A user who logs on but does not own the catalog: SQL*Plus ends with
    // status 0 and spools ORA-00942. Which lines are errors, and the words
    // of the message, are tested in spoolerrors_test.cpp.
    syncrun::Scratch scratch(6, {1}, 5);
    scratch.addGuest("reader", "readerpw");
    zebotest::RunResult r =
        zebotest::run(scratch.command(), "reader\nreaderpw\nCAT1\n\n\n+\no\ny\n");
    EXPECT_EQ(255, r.status) << r.out;
    EXPECT_NE(std::string::npos, r.out.find("ORA-00942: table or view does not exist")) << r.out;
    EXPECT_NE(std::string::npos, r.out.find("QEV2630E")) << r.out;
    EXPECT_EQ(std::string::npos, r.out.find("Command: ")) << "no pick list";
    EXPECT_EQ("1 2 3 4 5 6", scratch.onServer());
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
    EXPECT_EQ(std::vector<std::string>{"piece3"}, orphans(zebotest::readFile(report)));
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

// What each failed call leaves is tested in-process (deletefiles_test.cpp),
// and that the report, the activity log and the summary agree with the
// server by the fault matrix (testing/faults); this run checks the
// summary's words after a failed commit.
TEST_F(GuardRunTest, TheSummaryTellsWhatAFailedCommitLeft) {
    // The second commit fails: 1 and 2 are gone, 3 and 4 rolled back, 5
    // never tried.
    syncrun::Scratch scratch(6, {6}, 2);
    zebotest::RunResult r = zebotest::run(scratch.command("RVK_FAULTS=rvkEndTxn@2=130"),
                                          syncrun::Scratch::catalogAnswers() + "+\no\ny\nq\n");
    EXPECT_EQ(130, r.status) << r.out;
    EXPECT_EQ("3 4 5 6", scratch.onServer());
    EXPECT_NE(std::string::npos,
              r.out.find("QEV2634I Marked for deletion: 5 objects, 15,000 bytes in all."))
        << r.out;
    EXPECT_NE(std::string::npos,
              r.out.find("QEV2635I 2 objects were deleted from the VLT Server and committed.\n"
                         "QEV2636W 2 deletions were rolled back; those objects are still on the "
                         "VLT Server.\n"
                         "QEV2637W 1 marked objects were not deleted"))
        << r.out;
}

TEST_F(GuardRunTest, DryRunReportsAndUnwritableReports) {
    syncrun::Scratch scratch(4, {2}, 5);
    // JSON by its name (its layout: orphanreport_test.cpp); Q leaves: the
    // exact list, nothing deleted.
    std::string json = scratch.path("orphans.json");
    zebotest::RunResult r = zebotest::run(scratch.command() + " -OUTfile=" + shellQuoted(json),
                                          syncrun::Scratch::catalogAnswers() + "q\n");
    EXPECT_EQ(0, r.status) << r.out;
    EXPECT_EQ("1 2 3 4", scratch.onServer());
    std::string text = zebotest::readFile(json);
    EXPECT_EQ(0u, text.find("{\n  \"orphans\": [\n    {\"object_id\": ")) << text;
    EXPECT_EQ(3u, zebotest::occurrences(text, "\"name\": \"/koruorc/db1/piece"));
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

}  // namespace
