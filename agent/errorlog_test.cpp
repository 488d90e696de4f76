#include "agent/errorlog.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "agent/agent_testutil.h"
#include "testing/testutil.h"

namespace {

using agenttest::EnvSetting;

// True when `line` is "<date> <time> TID<pid>" followed by `rest`: two
// non-empty words without blanks before the process id.
bool stampedLine(const std::string& line, const std::string& pid, const std::string& rest) {
    std::string tail = " TID<" + pid + ">" + rest;
    if (line.size() <= tail.size() || line.compare(line.size() - tail.size(), tail.size(), tail))
        return false;
    std::string stamp = line.substr(0, line.size() - tail.size());
    size_t blank = stamp.find(' ');
    return blank != 0 && blank != std::string::npos && blank + 1 < stamp.size() &&
           stamp.find(' ', blank + 1) == std::string::npos;
}
using zebotest::readFile;
using zebotest::writeFile;

class ErrorLogTest : public ::testing::Test {
  protected:
    ErrorLogTest()
        : env_({{"ZEBO_AGENT_DIR", dir_.file("agent")}, {"ZEBO_OPTFILE", dir_.file("zebo.opt")}}) {
        agenttest::openMessages();
        mkdir(dir_.file("agent").c_str(), 0755);
        mkdir(dir_.file("log").c_str(), 0755);
    }
    std::string logName() {
        char path[ZEBO_LOG_PATH_SIZE];
        EXPECT_EQ(0, zeboGetErrorLogName(path));
        return path;
    }

    zebotest::TempDir dir_;
    EnvSetting env_;
};

TEST_F(ErrorLogTest, LogIsFoundThroughRvkiLogOrTheAgentDirectory) {
    writeFile(dir_.file("zebo.opt"), "RVKI_LOG " + dir_.file("log") + "\n");
    EXPECT_EQ(dir_.file("log/zeboerror.log"), logName());
    writeFile(dir_.file("zebo.opt"), "RVKI_LOG " + dir_.file("log") + "/\n");
    EXPECT_EQ(dir_.file("log/zeboerror.log"), logName());
    writeFile(dir_.file("zebo.opt"), "ZEBO_NODE n\n");
    EXPECT_EQ(dir_.file("agent/zeboerror.log"), logName());
    // A directory that cannot take the log: the current directory instead.
    writeFile(dir_.file("zebo.opt"), "RVKI_LOG " + dir_.file("missing") + "\n");
    EXPECT_EQ("zeboerror.log", logName());
    // So does a key given with an empty value.
    writeFile(dir_.file("zebo.opt"), "RVKI_LOG \"\"\n");
    EXPECT_EQ("zeboerror.log", logName());
}

TEST_F(ErrorLogTest, BothOutputsStampTheirLinesWithTheirOwnSpacing) {
    writeFile(dir_.file("zebo.opt"), "RVKI_LOG " + dir_.file("log") + "\n");
    const std::string pid = std::to_string(getpid());
    zeboErrorMsg("rate 100%s done");
    psNonNlsErrorMsg(" %s: Error - Could not initialize Trace Object.", "main");

    std::string agentLog = readFile(dir_.file("log/zeboerror.log"));
    ASSERT_EQ('\n', agentLog.back());
    EXPECT_TRUE(stampedLine(agentLog.substr(0, agentLog.size() - 1), pid, " ==> rate 100%s done"))
        << agentLog;
    struct stat status;
    ASSERT_EQ(0, stat(dir_.file("log/zeboerror.log").c_str(), &status));
    EXPECT_EQ(0600u, status.st_mode & 0777);

    // The fallback ignores RVKI_LOG and uses the agent directory.
    std::string fallback = readFile(dir_.file("agent/zeboerror.log"));
    ASSERT_EQ('\n', fallback.back());
    EXPECT_TRUE(stampedLine(fallback.substr(0, fallback.size() - 1), pid,
                            "  ==>   main: Error - Could not initialize Trace Object."))
        << fallback;
}

TEST_F(ErrorLogTest, TwoProcessesAppendingAtOnceNeverTearALine) {
    // zeboErrorMsg writes through psAppendLocked; calling it directly keeps
    // the two writers close enough together that a missing lock shows.
    const std::string log = dir_.file("log/zeboerror.log");
    const int kLines = 2000;
    const std::string body(1000, '#');
    pid_t children[2];
    for (int child = 0; child < 2; ++child) {
        children[child] = fork();
        ASSERT_GE(children[child], 0);
        if (children[child] == 0) {
            std::string line = "writer" + std::to_string(child) + " " + body + "\n";
            for (int i = 0; i < kLines; ++i) psAppendLocked(log.c_str(), line.c_str());
            _exit(0);
        }
    }
    for (pid_t child : children) {
        int status = -1;
        ASSERT_EQ(child, waitpid(child, &status, 0));
        ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    std::vector<std::string> lines = zebotest::lines(readFile(log));
    ASSERT_EQ(2u * kLines, lines.size());
    int perWriter[2] = {0, 0};
    for (const std::string& line : lines) {
        ASSERT_TRUE(line == "writer0 " + body || line == "writer1 " + body) << line.substr(0, 80);
        ++perWriter[line[6] - '0'];
    }
    EXPECT_EQ(kLines, perWriter[0]);
    EXPECT_EQ(kLines, perWriter[1]);
}

TEST(AppendLockedTest, EmptyPathAndUnopenableFileAreIgnored) {
    zebotest::TempDir dir;
    psAppendLocked("", "nothing\n");
    psAppendLocked(dir.file("no/such/dir/log").c_str(), "nothing\n");
    EXPECT_FALSE(zebotest::fileExists(dir.file("no")));
    psAppendLocked(dir.file("log").c_str(), "one\n");
    psAppendLocked(dir.file("log").c_str(), "two\n");
    EXPECT_EQ("one\ntwo\n", readFile(dir.file("log")));
}

}  // namespace
