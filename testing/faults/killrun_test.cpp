// Kill tests: zebosync ended with SIGKILL at random moments of a run over
// thousands of orphans: while SQL*Plus queries the catalog and the handles
// are loaded, while the pick list waits for an answer, and in the middle of
// deleting. Nothing can clean up after SIGKILL, so afterwards the repository
// must be whole, every object that is gone must be one that a committed
// transaction deleted (and logged), no temporary file may be readable by
// others, and the next run must work.
//
// The moments come from a seeded generator; the seed is printed, and
// ZEBO_KILL_SEED repeats a sequence. ZEBO_KILLS sets the number of kills
// (10; 100 with ZEBO_FAULTS_LONG=1).
#include <dirent.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <chrono>
#include <random>
#include <string>
#include <thread>

#include "testing/faults/faultcheck.h"
#include "testing/testutil.h"

namespace {

using faultcheck::Pieces;

unsigned long setting(const char* name, unsigned long otherwise) {
    const char* v = getenv(name);
    return v && *v ? strtoul(v, nullptr, 10) : otherwise;
}

// zebosync started in a process group of its own, its answers on a pipe and
// its output in a file.
class Program {
  public:
    Program(const std::string& command, const std::string& out) {
        int p[2];
        if (pipe(p) != 0) return;
        // The shell sends the output to the file; `command` ends in an exec,
        // so the program keeps the shell's process id.
        const std::string line = command + " >" + agenttest::shellQuoted(out) + " 2>&1";
        pid_ = fork();
        if (pid_ == 0) {
            setpgid(0, 0);
            dup2(p[0], STDIN_FILENO);
            close(p[1]);
            execl("/bin/sh", "sh", "-c", line.c_str(), static_cast<char*>(nullptr));
            _exit(127);
        }
        setpgid(pid_, pid_);
        close(p[0]);
        input_ = p[1];
    }
    ~Program() { kill(SIGKILL); }

    void answer(const std::string& text) {
        if (write(input_, text.data(), text.size()) < 0) ADD_FAILURE() << "answers not written";
    }
    bool running() {
        if (pid_ > 0 && !ended_) ended_ = waitpid(pid_, &status_, WNOHANG) == pid_;
        return pid_ > 0 && !ended_;
    }
    // Kills the program and whatever it started (SQL*Plus); returns its wait
    // status.
    int kill(int signo) {
        if (pid_ <= 0) return status_;
        if (running()) {
            ::kill(pid_, signo);
            waitpid(pid_, &status_, 0);
        }
        ::kill(-pid_, SIGKILL);
        close(input_);
        pid_ = -1;
        return status_;
    }

  private:
    pid_t pid_ = -1;
    int input_ = -1;
    int status_ = -1;
    bool ended_ = false;
};

// Reads a growing trace file and counts the lines that hold `what`.
class TraceWatch {
  public:
    TraceWatch(const std::string& path, const std::string& what) : path_(path), what_(what) {}
    size_t count() {
        FILE* f = fopen(path_.c_str(), "r");
        if (!f) return 0;
        fseek(f, offset_, SEEK_SET);
        char buf[65536];
        size_t n;
        while ((n = fread(buf, 1, sizeof buf, f)) > 0) {
            offset_ += static_cast<long>(n);
            partial_.append(buf, n);
            size_t end;
            while ((end = partial_.find('\n')) != std::string::npos) {
                if (partial_.substr(0, end).find(what_) != std::string::npos) ++hits_;
                partial_.erase(0, end + 1);
            }
        }
        fclose(f);
        return hits_;
    }

  private:
    std::string path_;
    std::string what_;
    long offset_ = 0;
    std::string partial_;
    size_t hits_ = 0;
};

// Waits until the trace holds `what` `times` times, while the run lasts.
bool reach(Program& run, const std::string& trace, const std::string& what, size_t times) {
    TraceWatch watch(trace, what);
    for (int i = 0; i < 120000; ++i) {
        if (watch.count() >= times) return true;
        if (!run.running()) return false;
        std::this_thread::sleep_for(std::chrono::microseconds(500));
    }
    return false;
}

// Temporary files of the run (script, spool, listing) that others may read.
std::string readableTemporaries(const std::string& dir) {
    std::string found;
    DIR* d = opendir(dir.c_str());
    if (!d) return "no folder " + dir;
    while (dirent* e = readdir(d)) {
        std::string name = e->d_name;
        if (name.compare(0, 4, "SQLI") && name.compare(0, 4, "SQLO") && name.compare(0, 4, "VLTO"))
            continue;
        struct stat st;
        if (stat((dir + "/" + name).c_str(), &st) == 0 && (st.st_mode & 077) != 0)
            found += name + " ";
    }
    closedir(d);
    return found;
}

// The repository passes its own integrity check: SQLite's, or on
// PostgreSQL the server's count agrees with the objects listed.
void expectWholeRepository(const syncrun::Scratch& scratch, const Pieces& onServer) {
    const char* pg = getenv("VLT_TEST_PG");
    if (pg && *pg) {
        zebotest::RunResult r =
            zebotest::run(zebotest::binDir() + "/vltadm -c " +
                          agenttest::shellQuoted(scratch.path("rvk.opt")) + " count NODE1");
        EXPECT_EQ(0, r.status) << r.err;
        EXPECT_EQ(static_cast<long>(onServer.size()), atol(r.out.c_str())) << r.out;
        return;
    }
    zebotest::RunResult r = zebotest::run(
        "sqlite3 " + agenttest::shellQuoted(scratch.path("repo.db")) + " 'PRAGMA integrity_check'");
    EXPECT_EQ("ok\n", r.out) << r.err;
}

using KillRunTest = syncrun::RunTest;

TEST_F(KillRunTest, SigkillAtRandomMomentsLeavesOnlyCommittedDeletions) {
    const bool longForm = setting("ZEBO_FAULTS_LONG", 0) != 0;
    const unsigned long kills = setting("ZEBO_KILLS", longForm ? 100 : 10);
    const unsigned seed =
        static_cast<unsigned>(setting("ZEBO_KILL_SEED", static_cast<unsigned long>(time(nullptr))));
    printf("kill tests: %lu kills, seed %u (ZEBO_KILL_SEED=%u repeats them)\n", kills, seed, seed);
    RecordProperty("kill_seed", std::to_string(seed));
    std::mt19937 random(seed);

    const int batch = 1500;
    int loaded = batch + 2;
    syncrun::Scratch scratch(loaded, {1, 2}, 10);
    scratch.traceFlags("ORCLEVEL0 ORCLEVEL1");
    const std::string catalog = syncrun::Scratch::catalogAnswers();

    for (unsigned long k = 0; k < kills; ++k) {
        Pieces before = faultcheck::onServer(scratch);
        if (before.size() < batch / 2 + 2u) {
            Pieces more;
            for (int i = 0; i < batch; ++i) more.insert(++loaded);
            faultcheck::reload(scratch, more);
            before = faultcheck::onServer(scratch);
        }
        const int phase = static_cast<int>(random() % 3);
        const size_t orphans = before.size() - 2;
        // Not too close to the end, or the run may finish before the kill.
        const size_t deletions = 1 + random() % (orphans * 4 / 5);
        const int pauseUs = static_cast<int>(random() % 200000);
        SCOPED_TRACE("kill " + std::to_string(k + 1) + ", phase " + std::to_string(phase));

        const std::string trace = scratch.path("trace.out");
        unlink(trace.c_str());
        Program run(scratch.command("", true), scratch.path("out"));
        bool reached = false;
        if (phase == 0) {
            // Somewhere in the catalog query, the loading of the handles
            // or the examination of the server's objects.
            run.answer(catalog);
            reached = reach(run, trace, "zeboQueryCatalog(): Enter", 1);
            std::this_thread::sleep_for(std::chrono::microseconds(pauseUs));
        } else if (phase == 1) {
            run.answer(catalog + "+\n");
            reached = reach(run, trace, "pkPickHandle(): Enter", 1);
            std::this_thread::sleep_for(std::chrono::microseconds(pauseUs / 10));
        } else {
            run.answer(catalog + "+\no\ny\nq\n");
            reached = reach(run, trace, "Calling RVKDELETEOBJ()", deletions);
        }
        int status = run.kill(SIGKILL);
        if (WIFSIGNALED(status)) {
            EXPECT_TRUE(reached) << zebotest::readFile(scratch.path("out"));
        } else {
            // On a loaded machine the run may end before the watch sees the
            // moment come; then it must have ended well.
            EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0)
                << zebotest::readFile(scratch.path("out"));
            printf("kill %lu came too late: the run had ended\n", k + 1);
        }

        Pieces after = faultcheck::onServer(scratch);
        expectWholeRepository(scratch, after);
        std::vector<int> logged = faultcheck::loggedDeletions(scratch);
        Pieces gone;
        for (int n = 1; n <= loaded; ++n)
            if (!after.count(n)) gone.insert(n);
        EXPECT_EQ(gone, Pieces(logged.begin(), logged.end()));
        EXPECT_EQ(gone.size(), logged.size()) << "an object logged twice";
        EXPECT_EQ("", readableTemporaries(scratch.folder()));
        static const char* const phases[] = {"catalog query", "pick list", "deletion"};
        printf("kill %lu during the %s: %zu of %zu objects gone\n", k + 1, phases[phase],
               before.size() - after.size(), before.size());
        if (HasFailure()) return;
    }

    // The next run works and deletes every orphan left.
    Pieces before = faultcheck::onServer(scratch);
    size_t logBefore = faultcheck::loggedDeletions(scratch).size();
    Pieces picked = before;
    picked.erase(1);
    picked.erase(2);
    std::string report = scratch.path("report.tsv");
    zebotest::RunResult r =
        zebotest::run(scratch.command() + " -OUTfile=" + agenttest::shellQuoted(report),
                      catalog + "+\no\ny\nq\n");
    EXPECT_EQ(0, r.status) << r.out << r.err;
    EXPECT_EQ(Pieces({1, 2}), faultcheck::onServer(scratch));
    faultcheck::expectOneStory(scratch, before, logBefore, picked, r.out,
                               faultcheck::readReport(report));
    expectWholeRepository(scratch, {1, 2});
}

}  // namespace
