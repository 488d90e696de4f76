// Whole runs of zebosync that delete orphans: answers on standard input, the
// result read from the server's repository, its activity log and the trace.
// A failed call ends the run, so what the pick list kept after it is never
// seen: the server, the logs and the exit status are what count. The
// failures of single calls are tested in-process (deletefiles_test.cpp,
// getpicklist_test.cpp); a run for the query and one for a deletion check
// that their codes become the exit status.
#include <gtest/gtest.h>

#include "sync/syncrun_testutil.h"
#include "testing/testutil.h"

namespace {

using DeleteRunTest = syncrun::RunTest;

TEST_F(DeleteRunTest, PickedOrphansGoInTransactionsOfTheServersMaximum) {
    // Pieces 6 and 7 are in the catalog; 1 to 5 are orphans.
    syncrun::Scratch scratch(7, {6, 7}, 2);
    zebotest::RunResult r =
        zebotest::run(scratch.command(), syncrun::Scratch::catalogAnswers() + "1:5+\no\ny\n");
    EXPECT_EQ(0, r.status) << r.out << r.err;
    EXPECT_EQ("BDDEBDDEBDE", syncrun::transactionCalls(scratch.trace()));
    EXPECT_EQ("6 7", scratch.onServer());
    std::string log = scratch.activityLog();
    EXPECT_EQ(5u, zebotest::occurrences(log, "Deleted backup object")) << log;
    for (int n = 1; n <= 5; ++n)
        EXPECT_NE(std::string::npos, log.find("/koruorc/db1/piece" + std::to_string(n) + "\n"));
    EXPECT_NE(std::string::npos, r.out.find("QEV2599I")) << "the list became empty";
    // Standard output is a pipe here: what the program wrote is flushed
    // before SQL*Plus runs, so the query's notice comes before its output.
    size_t sqlplus = r.out.find("SQL*Plus simulator");
    ASSERT_NE(std::string::npos, sqlplus) << r.out;
    EXPECT_LT(r.out.find("QEV2581I"), sqlplus) << r.out;
}

TEST_F(DeleteRunTest, NothingPickedBeginsAndCommitsOneEmptyTransaction) {
    syncrun::Scratch scratch(4, {}, 2);
    zebotest::RunResult r =
        zebotest::run(scratch.command(), syncrun::Scratch::catalogAnswers() + "o\ny\nq\n");
    EXPECT_EQ(0, r.status) << r.err;
    EXPECT_EQ("BE", syncrun::transactionCalls(scratch.trace()));
    EXPECT_EQ("1 2 3 4", scratch.onServer());
}

TEST_F(DeleteRunTest, AFailedDeletionAbortsAndBecomesTheExitStatus) {
    // All five in one transaction; the library fails the third deletion
    // with "server busy" (130).
    syncrun::Scratch scratch(5, {}, 10);
    zebotest::RunResult r = zebotest::run(scratch.command("RVK_FAULTS=rvkDeleteObj@3=130"),
                                          syncrun::Scratch::catalogAnswers() + "+\no\ny\nq\n");
    EXPECT_EQ(130, r.status) << r.out << r.err;
    EXPECT_EQ("BDDDE", syncrun::transactionCalls(scratch.trace()));
    EXPECT_EQ("1 2 3 4 5", scratch.onServer());
    std::string trace = scratch.trace();
    EXPECT_NE(std::string::npos, trace.find("Deleted file '/koruorc/db1/piece2'"));
    EXPECT_EQ(std::string::npos, trace.find("Deleted file '/koruorc/db1/piece3'"));
    EXPECT_NE(std::string::npos, trace.find("RVKDELETEOBJ() failed rc = 130"));
    EXPECT_EQ(0u, zebotest::occurrences(scratch.activityLog(), "Deleted backup object"));
    EXPECT_NE(std::string::npos, scratch.errorLog().find(" ==> ")) << "API text in the error log";
}

TEST_F(DeleteRunTest, AQueryTheServerRefusesEndsTheRunWithItsCode) {
    syncrun::Scratch scratch(3, {}, 10);
    zebotest::RunResult r = zebotest::run(scratch.command("RVK_FAULTS=rvkBeginQuery@1=130"),
                                          syncrun::Scratch::catalogAnswers());
    EXPECT_EQ(130, r.status) << r.out << r.err;
    EXPECT_NE(std::string::npos, scratch.trace().find("RVKBEGINQUERY() failed rc = 130"));
    EXPECT_EQ("1 2 3", scratch.onServer());
}

}  // namespace
