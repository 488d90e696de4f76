// Black-box runs of the built zebosync: command line, start-up and exit
// status as a shell sees them, with the real catalogs, option files and
// client library.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "agent/agent_testutil.h"
#include "agent/pswdfile.h"
#include "testing/testutil.h"

namespace {

using agenttest::shellQuoted;
using zebotest::readFile;
using zebotest::RunResult;

class ZebosyncTest : public ::testing::Test {
  protected:
    // Runs zebosync in the scratch installation; `env` goes in front of the
    // program ("NAME=value ...").
    RunResult zebosync(const std::string& args, const std::string& env = "") {
        return zebotest::run(install_.shellPrefix() + env + " " + zebotest::binDir() +
                             "/zebosync " + args);
    }
    std::string optArg() { return "-ZEBO_OPTfile=" + shellQuoted(install_.zeboOpt()); }
    std::string trace() { return readFile(install_.path("trace.out")); }

    agenttest::Install install_;
};

// The position of `text` in `out` at or after `from`, failing the test when
// it is missing.
size_t expectAt(const std::string& out, const std::string& text, size_t from = 0) {
    size_t at = out.find(text, from);
    EXPECT_NE(std::string::npos, at) << "missing \"" << text << "\" in:\n" << out;
    return at == std::string::npos ? from : at;
}

TEST_F(ZebosyncTest, CommandLineErrorsEndWithTheirMessagesAndTheUsage) {
    struct Case {
        const char* args;
        int status;
        std::vector<std::string> sequence;  // in this order
    } cases[] = {
        {"", 3, {"QEV0100E", "Usage: zebosync"}},
        {"syn", 3, {"QEV0102E", "\nsyn\n", "Usage: zebosync"}},
        {"SYNCdbx", 3, {"QEV0102E", "\nSYNCdbx\n", "Usage: zebosync"}},
        {"syncdb -numcat=3", 4, {"QEV0103E", "Usage: zebosync"}},
        {"SyncDB -NUMCATalogs=3", 4, {"QEV0103E", "Usage: zebosync"}},
        {"SYNC -NUMCATALOGS=3x", 4, {"QEV2622E", "Usage: zebosync"}},
        {"HELP -optfile=", 4, {"QEV0105E", "Usage: zebosync"}},
        {"help -ZEBO_OPTFILE", 4, {"QEV0105E", "Usage: zebosync"}},
        {"HELP -bogus=1", 4, {"QEV0104E", "\n-bogus=1\n", "Usage: zebosync"}},
        {"HELP -OU=x", 4, {"QEV0104E", "\n-OU=x\n", "Usage: zebosync"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.args);
        RunResult r = zebosync(c.args);
        EXPECT_EQ(c.status, r.status);
        size_t at = 0;
        for (const std::string& text : c.sequence) at = expectAt(r.out, text, at);
        EXPECT_EQ(std::string::npos, r.out.find("QEV2534E"));
    }
}

TEST_F(ZebosyncTest, AcceptedCommandsRunTheWholeStartUp) {
    install_.writeZeboOpt("ZEBO_TRACE_FILE " + install_.path("trace.out") +
                          "\nZEBO_TRACE_FLAGS ORCLEVEL1\n");
    RunResult help = zebosync("HELP " + optArg() + " -OUTfile=/x");
    EXPECT_EQ(0, help.status) << help.out;
    size_t at = expectAt(help.out, "catalog synchronisation utility");
    expectAt(help.out, "Usage: zebosync", at);
    EXPECT_EQ(std::string::npos, help.out.find("QEV0102E"));
    // The option dump of the trace banner and the clean exit.
    at = expectAt(trace(), " ZEBO_NODE          : NODE1\n");
    at = expectAt(trace(), "closeSess(): Exit - OK", at);
    expectAt(trace(), "main: Exit - OK", at);

    for (const char* command : {"SHOWENVironment", "showenv", "PASSW", "ShowSessInfo"}) {
        SCOPED_TRACE(command);
        RunResult r = zebosync(std::string(command) + " " + optArg());
        EXPECT_EQ(0, r.status);
        expectAt(r.out, "Usage: zebosync", expectAt(r.out, "QEV0102E"));
    }
    // Without the option the inherited ZEBO_OPTFILE is used as it stands.
    RunResult inherited = zebosync("HELP", "ZEBO_OPTFILE=" + shellQuoted(install_.zeboOpt()));
    EXPECT_EQ(0, inherited.status) << inherited.out;
}

TEST_F(ZebosyncTest, OptionFileProblemsEndWith2534CutToEightBits) {
    RunResult r = zebosync("HELP -ZEBO_OPTFILE=/a/b=c");
    EXPECT_EQ(2534 & 0xff, r.status);
    // The screen names the log that holds the message with the cause.
    std::string logPath = install_.agentDir() + "/zeboerror.log";
    expectAt(r.out, logPath, expectAt(r.out, "QEV2534E"));
    // Only the first "=" splits: the whole rest is the path.
    std::string log = readFile(logPath);
    expectAt(log, "QEV2615E");
    expectAt(log, "/a/b=c");

    // A bad line of a readable file goes to the same log, whatever RVKI_LOG
    // the file names: it is not known yet.
    install_.writeZeboOpt("ZEBO_COLOUR blue\n");
    r = zebosync("SYNCdb " + optArg());
    EXPECT_EQ(2534 & 0xff, r.status);
    expectAt(r.out, logPath, expectAt(r.out, "QEV2534E"));
    expectAt(readFile(logPath), "ZEBO_COLOUR");
}

TEST_F(ZebosyncTest, ClientLibraryFailuresGiveTheirCodes) {
    install_.writeZeboOpt();
    RunResult noLibrary = zebosync("HELP " + optArg(), "LD_LIBRARY_PATH=");
    EXPECT_EQ(104, noLibrary.status);
    expectAt(noLibrary.out, "QEV0156E");

    // A negative code reaches the shell as its low eight bits.
    RunResult setUp = zebosync("HELP " + optArg(), "RVK_FAULTS=rvkSetUp@1=-50");
    EXPECT_EQ(-50 & 0xff, setUp.status);
    size_t at = expectAt(setUp.out, "-----\n");
    expectAt(setUp.out, "RVK", at);
    EXPECT_EQ(std::string::npos, setUp.out.find("Usage: zebosync"));
}

// The session's failures are tested in-process (agent/session_test.cpp);
// this run is the glue: the log-on's code becomes the exit status.
TEST_F(ZebosyncTest, SyncDbEndsWithTheCodeOfALogOnTheServerKeepsRefusing) {
    install_.writeZeboOpt("ZEBO_TRACE_FILE " + install_.path("trace.out") +
                          "\nZEBO_TRACE_FLAGS ORCLEVEL0 ORCLEVEL1 ORCLEVEL2\n");
    // The node's password file, made with the installation's key.
    AgentContext context = install_.passwordContext();
    ASSERT_EQ(0, pszeboUpdatePswd(agenttest::nodePassword(), &context));
    RunResult r = zebosync("SYNCdb " + optArg(), "RVK_FAULTS=rvkInitEx@1-5=-50");
    EXPECT_EQ(-50 & 0xff, r.status);
    expectAt(trace(), "retry = 4, node = NODE1, owner = , rc = -50");
}

}  // namespace
