// The fault matrix: a deleting run of zebosync in which each call of the
// client library fails in turn, at every place where the run makes it, with
// the codes the library really answers for that call. Whatever fails, the
// run must end with a documented status and without a sanitizer report,
// and the server, its activity log, the report file and the summary on the
// screen must agree on what was deleted (faultcheck.h).
//
// The normal form gives each place one code, taking the call's codes in
// turn; ZEBO_FAULTS_LONG=1 tries every code at every place, with more
// objects.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <map>
#include <string>
#include <vector>

#include "testing/faults/faultcheck.h"
#include "testing/testutil.h"

namespace {

using faultcheck::Pieces;

struct Fault {
    int rc;
    int reason;  // for a refused commit (2302): the transaction is rolled back
};

// The calls of a deleting run that answer a code, with the codes the
// library gives for them: -50 repository unreachable, 113 no such session,
// 115 wrong state, 128 repository error, 130 busy, 137 log-on refused,
// 124 object not found, 123 too many operations for one transaction,
// 125 deletion not allowed, 121 and 2 the end of a query, 2302 a commit
// that failed for the reason given.
const std::map<std::string, std::vector<Fault>> kCodes = {
    {"rvkSetUp", {{112, 0}, {110, 0}}},
    {"rvkInitEx", {{137, 0}, {-50, 0}, {130, 0}, {128, 0}}},
    {"rvkQuerySessOptions", {{113, 0}, {-50, 0}}},
    {"rvkQuerySessInfo", {{-50, 0}, {113, 0}, {128, 0}}},
    {"rvkBeginQuery", {{-50, 0}, {130, 0}, {2, 0}, {128, 0}}},
    {"rvkGetNextQObj", {{-50, 0}, {128, 0}, {121, 0}}},
    {"rvkEndQuery", {{113, 0}, {-50, 0}}},
    {"rvkBeginTxn", {{130, 0}, {-50, 0}, {128, 0}, {113, 0}, {115, 0}}},
    {"rvkDeleteObj", {{130, 0}, {124, 0}, {-50, 0}, {128, 0}, {123, 0}, {125, 0}}},
    {"rvkEndTxn", {{2302, 130}, {-50, 0}, {2302, 128}, {113, 0}, {115, 0}}},
    {"rvkTerminate", {{113, 0}, {-50, 0}}},
    {"rvkCleanUp", {{114, 0}}},
};

bool longForm() {
    const char* v = getenv("ZEBO_FAULTS_LONG");
    return v && *v && std::string(v) != "0";
}

// How often a clean run calls each entry point, from its API trace.
std::map<std::string, int> callCounts(const std::string& trace) {
    std::map<std::string, int> counts;
    for (const std::string& line : zebotest::lines(trace)) {
        size_t at = line.find("Enter DRvkApi::drvk");
        if (at == std::string::npos) continue;
        std::string name = line.substr(at + 19);
        counts["rvk" + name.substr(0, name.find('('))]++;
    }
    return counts;
}

class FaultMatrixTest : public syncrun::RunTest {
  protected:
    // Runs zebosync with `faults`, marking every orphan and confirming;
    // checks it against what the server held before (`server`, and
    // `logged` deletions in its log); puts back what it deleted, so that
    // both stay true for the next run. Returns the run's exit status.
    int deletingRun(syncrun::Scratch& scratch, const std::string& faults, const Pieces& orphans) {
        std::string report = scratch.path("report.tsv");
        unlink(report.c_str());
        zebotest::RunResult r =
            zebotest::run(scratch.command(faults.empty() ? "" : "RVK_FAULTS=" + faults) +
                              " -OUTfile=" + agenttest::shellQuoted(report),
                          syncrun::Scratch::catalogAnswers() + "+\no\ny\nq\n");
        EXPECT_FALSE(faultcheck::sanitizerReport(r.err)) << r.err;
        Pieces gone = faultcheck::expectOneStory(scratch, server_, logged_, orphans, r.out,
                                                 faultcheck::readReport(report));
        faultcheck::reload(scratch, gone);
        logged_ += gone.size();
        if (::testing::Test::HasFailure()) ADD_FAILURE() << r.out << r.err;
        return r.status;
    }

    Pieces server_;      // the pieces on the server before each run
    size_t logged_ = 0;  // deletions in the activity log before each run

    void runMatrix() {
        const bool all = longForm();
        const int objects = all ? 60 : 12;
        syncrun::Scratch scratch(objects, {1, 2}, all ? 7 : 3);
        Pieces orphans;
        for (int n = 3; n <= objects; ++n) orphans.insert(n);
        server_ = faultcheck::onServer(scratch);
        logged_ = 0;

        scratch.traceFlags("ORCLEVEL0 API");
        ASSERT_EQ(0, deletingRun(scratch, "", orphans)) << "the run without faults";
        std::map<std::string, int> counts = callCounts(scratch.trace());
        ASSERT_EQ(1, counts["rvkInitEx"]) << scratch.trace();
        scratch.traceFlags("ORCLEVEL0");
        for (const auto& call : counts)
            if (!kCodes.count(call.first))
                printf("fault matrix: %s (%d calls) answers no code\n", call.first.c_str(),
                       call.second);

        int runs = 0;
        for (const auto& call : kCodes) {
            const std::vector<Fault>& codes = call.second;
            EXPECT_GT(counts[call.first], 0) << call.first << " is not called";
            for (int place = 1; place <= counts[call.first]; ++place) {
                for (size_t i = 0; i < codes.size(); ++i) {
                    if (!all && i != (place - 1) % codes.size()) continue;
                    const Fault& f = codes[i];
                    std::string faults = call.first + "@" + std::to_string(place) + "=" +
                                         std::to_string(f.rc) +
                                         (f.reason ? ":" + std::to_string(f.reason) : "");
                    SCOPED_TRACE(faults);
                    int status = deletingRun(scratch, faults, orphans);
                    // The failing call's code (for a refused commit, its
                    // reason) modulo 256; 0 when the run got past it; 115
                    // when a call that failed without a word (the end of
                    // the query) left the session in a state in which the
                    // next call is refused.
                    int code = (f.reason ? f.reason : f.rc) & 0xff;
                    EXPECT_TRUE(status == 0 || status == code || status == 115)
                        << "exit status " << status;
                    ++runs;
                    if (::testing::Test::HasFailure()) return;
                }
            }
        }
        printf("fault matrix: %d runs with a failing call\n", runs);
    }
};

TEST_F(FaultMatrixTest, EveryFailingCallLeavesOneStory) {
    runMatrix();
}

}  // namespace
