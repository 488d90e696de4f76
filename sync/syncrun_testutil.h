// Support for tests that run the zebosync program itself: a scratch
// installation with a repository of the client library (node NODE1, its
// password file), a simulated recovery catalog CAT1 and a number of backup
// objects "/koruorc/db1/piece<n>", of which the catalog lists some; the
// rest are the orphans that the pick list shows, in the order of n.
//
// The repository is an SQLite file, or, with VLT_TEST_PG naming the tests'
// PostgreSQL cluster, a fresh database of it (agenttest::Install): CTest
// runs every test of a suite that runs the program both ways, the second
// time as "pg.*" (sync/CMakeLists.txt names those suites).
#ifndef ZEBO_SYNC_SYNCRUN_TESTUTIL_H
#define ZEBO_SYNC_SYNCRUN_TESTUTIL_H

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "agent/agent_testutil.h"

namespace syncrun {

class Scratch {
  public:
    // `objects` pieces on the server, those numbered in `cataloged` also in
    // the catalog; the server allows `maxObjPerTxn` objects per transaction.
    // With an owner, the objects belong to it and zebo.opt names it
    // (ZEBO_OWNER). The trace goes to trace.out with the three ORCLEVEL
    // classes on.
    Scratch(int objects, const std::vector<int>& cataloged, int maxObjPerTxn,
            const std::string& owner = "");

    // Whether the programs that a run needs are built.
    static bool programsBuilt();

    // A shell command that runs "zebosync syncdb" in the scratch folder,
    // with `environment` ("NAME=value ...") added. With `exec` the shell
    // becomes zebosync, so that a signal sent to the shell's process reaches
    // the program.
    std::string command(const std::string& environment = "", bool exec = false) const;

    // Adds objects to the server ("fs<TAB>hl<TAB>ll<TAB>date<TAB>size" lines)
    // and pieces to the catalog ("handle<TAB>date" lines).
    void load(const std::string& objects, const std::string& pieces) const;
    // Rewrites zebo.opt with these trace flags (the trace file stays).
    void traceFlags(const std::string& flags) const;
    std::string folder() const;  // the scratch folder

    // The answers to the catalog and date prompts, before the pick list.
    static std::string catalogAnswers();

    // Backup pieces of 2024-01-10: objects "/koruorc/db1/<handle>" when
    // `onServer`, and the handles in the catalog when `cataloged`.
    void addPieces(const std::vector<std::string>& handles, bool onServer, bool cataloged);
    // A catalog user who can log on but does not own the catalog.
    void addGuest(const std::string& user, const std::string& password);
    // A file of the scratch folder.
    std::string path(const std::string& name) const { return install_.path(name); }

    std::string onServer() const;  // numbers of the pieces left, "1 3 4"
    std::string trace() const;
    std::string activityLog() const;
    std::string errorLog() const;  // zeboerror.log of RVKI_LOG

  private:
    agenttest::Install install_;
};

// Transaction calls of utDeleteFiles in a trace, as letters: B begin,
// D delete, E end ("BDDEBDE").
std::string transactionCalls(const std::string& trace);

// Runs of the built program: they need zebosync and its test tools.
class RunTest : public ::testing::Test {
  protected:
    void SetUp() override {
        if (!Scratch::programsBuilt()) GTEST_SKIP() << "zebosync or its tools not built";
    }
};

}  // namespace syncrun

#endif
