// Whole runs of zebosync against what another local user, a hostile object
// name or an interruption could do: directory names that hold shell syntax,
// signals while SQL*Plus runs and while a deletion transaction is open, and
// control characters in object names.
#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "sync/syncrun_testutil.h"
#include "testing/testutil.h"

namespace {

using agenttest::shellQuoted;

using SecurityRunTest = syncrun::RunTest;

std::vector<std::string> entries(const std::string& dir) {
    std::vector<std::string> names;
    if (DIR* d = opendir(dir.c_str())) {
        while (dirent* e = readdir(d))
            if (e->d_name[0] != '.') names.push_back(e->d_name);
        closedir(d);
    }
    return names;
}

// A run of a shell command in the background: answers on a pipe, output to
// a file.
struct Background {
    pid_t pid = -1;
    int input = -1;

    Background(const std::string& command, const std::string& answers, const std::string& out) {
        int p[2];
        if (pipe(p) != 0) return;
        pid = fork();
        if (pid == 0) {
            dup2(p[0], 0);
            int fd = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            dup2(fd, 1);
            dup2(fd, 2);
            execl("/bin/sh", "sh", "-c", command.c_str(), static_cast<char*>(nullptr));
            _exit(127);
        }
        close(p[0]);
        input = p[1];
        if (write(input, answers.data(), answers.size()) < 0) ADD_FAILURE() << "answers";
    }

    // The raw wait status, or -1 after `seconds` (the process is then killed).
    int wait(int seconds) {
        close(input);
        for (int i = 0; i < seconds * 100; ++i) {
            int status;
            if (waitpid(pid, &status, WNOHANG) == pid) return status;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
        return -1;
    }
};

// Polls `ready` every 10 ms for at most 10 seconds.
template <typename Ready>
bool eventually(Ready ready) {
    for (int i = 0; i < 1000; ++i) {
        if (ready()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

pid_t firstChild(pid_t pid) {
    std::string path =
        "/proc/" + std::to_string(pid) + "/task/" + std::to_string(pid) + "/children";
    std::string text = zebotest::readFile(path);
    return text.empty() ? 0 : static_cast<pid_t>(atol(text.c_str()));
}

// Whether the process is gone or only waits to be reaped (by whoever
// inherited it).
// Traces the run's entries and exits and gives it a temporary folder of its
// own, named `name`, whose path is returned.
std::string tracedWithPrivateTmp(syncrun::Scratch& scratch, const std::string& name = "tmp") {
    scratch.traceFlags("ORCLEVEL0 ORCLEVEL1");
    std::string tmp = scratch.folder() + "/" + name;
    EXPECT_EQ(0, mkdir(tmp.c_str(), 0700));
    return tmp;
}

bool ended(pid_t pid) {
    std::string stat = zebotest::readFile("/proc/" + std::to_string(pid) + "/stat");
    size_t paren = stat.rfind(')');
    return paren == std::string::npos || stat.compare(paren + 1, 3, " Z ") == 0;
}

TEST_F(SecurityRunTest, TemporaryDirectoryNamesAreNeverCommands) {
    for (std::string name : {"a;touch PWNED;b", "a b"}) {
        syncrun::Scratch scratch(3, {1}, 10);
        std::string tmp = tracedWithPrivateTmp(scratch, name);
        zebotest::RunResult r = zebotest::run(scratch.command("TMPDIR=" + shellQuoted(tmp)),
                                              syncrun::Scratch::catalogAnswers() + "q\n");
        EXPECT_EQ(0, r.status) << name << r.out << r.err;
        EXPECT_FALSE(zebotest::fileExists(scratch.folder() + "/PWNED")) << name;
        // The catalog was read: piece1 is listed there, 2 and 3 are orphans.
        EXPECT_EQ(std::string::npos, r.out.find("/koruorc/db1/piece1")) << name << r.out;
        EXPECT_NE(std::string::npos, r.out.find("/koruorc/db1/piece2")) << name << r.out;
        EXPECT_TRUE(entries(tmp).empty()) << name << ": " << entries(tmp).front();
    }
}

TEST_F(SecurityRunTest, SignalsDuringTheCatalogQueryLeaveNothingBehind) {
    for (int signo : {SIGINT, SIGTERM, SIGHUP}) {
        SCOPED_TRACE("signal " + std::to_string(signo));
        syncrun::Scratch scratch(2, {}, 10);
        std::string tmp = tracedWithPrivateTmp(scratch);
        Background run(scratch.command("SQLPLUS_SIM_DELAY=30 TMPDIR=" + shellQuoted(tmp), true),
                       syncrun::Scratch::catalogAnswers(), scratch.folder() + "/out");
        pid_t sqlplus = 0;
        ASSERT_TRUE(eventually([&] {
            sqlplus = firstChild(run.pid);
            return sqlplus != 0 && entries(tmp).size() == 2;  // script and spool
        })) << zebotest::readFile(scratch.folder() + "/out");
        kill(run.pid, signo);
        int status = run.wait(10);
        ASSERT_TRUE(WIFEXITED(status)) << status;
        EXPECT_EQ(128 + signo, WEXITSTATUS(status));
        EXPECT_TRUE(entries(tmp).empty()) << entries(tmp).front();
        EXPECT_TRUE(eventually([&] { return ended(sqlplus); })) << "SQL*Plus goes on";
    }
}

TEST_F(SecurityRunTest, SignalsAtThePickListEndTheRunWithTheirStatus) {
    for (int signo : {SIGINT, SIGTERM, SIGHUP}) {
        SCOPED_TRACE("signal " + std::to_string(signo));
        syncrun::Scratch scratch(2, {}, 10);
        std::string tmp = tracedWithPrivateTmp(scratch);
        std::string out = scratch.folder() + "/out";
        Background run(scratch.command("TMPDIR=" + shellQuoted(tmp), true),
                       syncrun::Scratch::catalogAnswers(), out);
        ASSERT_TRUE(eventually([&] {
            return zebotest::readFile(out).find("Command: ") != std::string::npos;
        })) << zebotest::readFile(out);
        kill(run.pid, signo);
        int status = run.wait(10);
        ASSERT_TRUE(WIFEXITED(status)) << status;
        EXPECT_EQ(128 + signo, WEXITSTATUS(status));
        EXPECT_TRUE(entries(tmp).empty()) << entries(tmp).front();
        EXPECT_EQ("1 2", scratch.onServer());
    }
}

TEST_F(SecurityRunTest, ASignalDuringDeletionAbortsTheOpenTransaction) {
    // Every object in one transaction. The trace goes into a pipe of one
    // page that this test stops reading once the first deletion is traced,
    // so the run cannot get far before the signal lands.
    const int objects = 300;
    syncrun::Scratch scratch(objects, {}, 1000);
    std::string fifo = scratch.folder() + "/trace.pipe";
    ASSERT_EQ(0, mkfifo(fifo.c_str(), 0600));
    int trace = open(fifo.c_str(), O_RDONLY | O_NONBLOCK);
    ASSERT_LE(0, trace);
    fcntl(trace, F_SETPIPE_SZ, 4096);
    zebotest::writeFile(
        scratch.folder() + "/zebo.opt",
        zebotest::readFile(scratch.folder() + "/zebo.opt") + "ZEBO_TRACE_FILE " + fifo + "\n");
    Background run(scratch.command("", true), syncrun::Scratch::catalogAnswers() + "+\no\ny\n",
                   scratch.folder() + "/out");

    std::string seen;
    auto readSome = [&] {
        char buffer[4096];
        ssize_t n = read(trace, buffer, sizeof buffer);
        if (n > 0) seen.append(buffer, static_cast<size_t>(n));
        return n;
    };
    ASSERT_TRUE(eventually([&] {
        readSome();
        return seen.find("Calling RVKDELETEOBJ()") != std::string::npos;
    })) << zebotest::readFile(scratch.folder() + "/out");
    kill(run.pid, SIGTERM);
    // The run may be waiting to write its trace: read on until it has gone
    // (end of file: no writer left).
    eventually([&] { return readSome() == 0; });
    int status = run.wait(10);
    close(trace);

    ASSERT_TRUE(WIFEXITED(status)) << status;
    EXPECT_EQ(128 + SIGTERM, WEXITSTATUS(status));
    EXPECT_NE(std::string::npos, seen.find("aborting the transaction"))
        << seen.substr(seen.size() - 500);
    // The administrator is told before the run ends.
    EXPECT_NE(std::string::npos,
              zebotest::readFile(scratch.folder() + "/out").find("were rolled back"));
    // Nothing of the open transaction was committed.
    std::string onServer = scratch.onServer();
    EXPECT_EQ(objects, std::count(onServer.begin(), onServer.end(), ' ') + 1);
}

TEST_F(SecurityRunTest, ControlCharactersInNamesAreShownEscapedAndMatchedRaw) {
    syncrun::Scratch scratch(0, {}, 10);
    const std::vector<std::string> names = {"\x1b]0;TITLE\x07", "red\x1b[31m", "cr\rfake",
                                            "c1\xc2\x9b"
                                            "2J",
                                            "keep\x1b[0m"};
    std::string objects;
    for (const std::string& n : names)
        objects += "/koruorc\t/db1\t/" + n + "\t2024-01-10 03:04:05\t1000\n";
    // The catalog lists the last one under its raw name: it is no orphan.
    scratch.load(objects, "keep\x1b[0m\t2024-01-10 03:04:05\n");
    zebotest::RunResult r =
        zebotest::run(scratch.command(), syncrun::Scratch::catalogAnswers() + "+\no\ny\nq\n");
    EXPECT_EQ(0, r.status) << r.out << r.err;

    for (const char* raw : {"\x1b]0;", "\x07", "\x1b[31m", "\r", "\xc2\x9b"})
        EXPECT_EQ(std::string::npos, r.out.find(raw)) << "raw bytes reach the terminal";
    for (const char* shown :
         {"/koruorc/db1/\\x1b]0;TITLE\\x07", "red\\x1b[31m", "cr\\x0dfake", "c1\\xc2\\x9b2J"})
        EXPECT_NE(std::string::npos, r.out.find(shown)) << shown;
    EXPECT_EQ(std::string::npos, r.out.find("keep")) << "matched by its raw name";

    std::string trace = scratch.trace();
    EXPECT_EQ(std::string::npos, trace.find('\x1b'));
    EXPECT_NE(std::string::npos,
              trace.find("Deleted file '/koruorc/db1/\\x1b]0;TITLE\\x07' from Vlt Server"));
    zebotest::RunResult list =
        zebotest::run(zebotest::binDir() + "/vltadm -c " +
                      shellQuoted(scratch.folder() + "/rvk.opt") + " list NODE1");
    EXPECT_NE(std::string::npos, list.out.find("/keep\x1b[0m")) << list.out;
    EXPECT_EQ(std::string::npos, list.out.find("TITLE")) << list.out;
}

}  // namespace
