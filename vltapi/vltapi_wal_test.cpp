// The SQLite store's write-ahead log is written through a buffer
// (sqlite_walbuffer.h). A commit that returned must be in the file even
// when its process dies at once, and a commit whose log cannot be written
// must fail and leave the repository as it was.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <functional>

#include "rvkapi.h"
#include "vltapi/vltapi_testenv.h"

using namespace vltest;

namespace {

// Runs `body` in a child process that logs on as node1 first; the child's
// exit status, or 128 + the signal that ended it.
int inChild(const Repo& repo, const std::function<int(uint32_t)>& body) {
    pid_t pid = fork();
    if (pid == 0) {
        uint32_t h = 0;
        if (setUp(repo.optFile()) != RVK_RC_OK || logOn(&h, "node1", "pw-one") != RVK_RC_OK)
            _exit(90);
        _exit(body(h));
    }
    int status = -1;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

size_t deletionLines(const Repo& repo) {
    size_t n = 0;
    for (auto& line : repo.actlog()) n += line.find("Deleted backup object") != std::string::npos;
    return n;
}

class Wal : public ::testing::Test {
  protected:
    // Every 40th of 20,000 objects: each deletion changes pages of its own,
    // so a transaction of 256 writes more log than the buffer holds.
    void SetUp() override {
        repo.load("node1", objectLines("/fs", 20000));
        uint32_t h = 0;
        ASSERT_EQ(setUp(repo.optFile()), RVK_RC_OK);
        ASSERT_EQ(logOn(&h, "node1", "pw-one"), RVK_RC_OK);
        auto all = ids(query(h, "/fs", "*", "*"));
        // The children start the library afresh.
        rvkCleanUp(RVK_MULTITHREAD);
        ASSERT_EQ(all.size(), 20000u);
        for (size_t i = 0; i < all.size(); i += 40) picked.push_back(all[i]);
    }

    Repo repo{"", Repo::Kind::Sqlite};
    std::vector<uint64_t> picked;
};

TEST_F(Wal, CommittedDeletionsSurviveTheProcessKilledRightAfter) {
    int rc = inChild(repo, [&](uint32_t h) {
        uint16_t reason = 0;
        for (size_t at = 0; at < picked.size(); at += 256) {
            std::vector<uint64_t> batch(
                picked.begin() + static_cast<long>(at),
                picked.begin() + static_cast<long>(std::min(at + 256, picked.size())));
            if (deleteInTxn(h, batch, RVK_VOTE_COMMIT, &reason) != RVK_RC_OK) return 3;
        }
        // No log-off, no close: nothing gets a later chance to write.
        raise(SIGKILL);
        return 4;
    });
    EXPECT_EQ(rc, 128 + SIGKILL);
    EXPECT_EQ(repo.count("node1"), 20000u - 500u);
    EXPECT_EQ(deletionLines(repo), 500u);
}

TEST_F(Wal, ACommitWhoseLogCannotBeWrittenFailsAndChangesNothing) {
    int rc = inChild(repo, [&](uint32_t h) {
        // The log may not grow by more than a page from here on.
        struct stat st;
        if (stat((repo.repository() + "-wal").c_str(), &st) != 0) return 5;
        signal(SIGXFSZ, SIG_IGN);
        struct rlimit limit;
        limit.rlim_cur = limit.rlim_max = static_cast<rlim_t>(st.st_size) + 4096;
        if (setrlimit(RLIMIT_FSIZE, &limit) != 0) return 6;
        std::vector<uint64_t> batch(picked.begin(), picked.begin() + 256);
        uint16_t reason = 0;
        int16_t end = deleteInTxn(h, batch, RVK_VOTE_COMMIT, &reason);
        if (end != RVK_RC_CHECK_REASON_CODE || reason == 0) return 7;
        return 0;
    });
    EXPECT_EQ(rc, 0) << "7: the commit did not fail as it should";
    EXPECT_EQ(repo.count("node1"), 20000u);
    EXPECT_EQ(deletionLines(repo), 0u);

    // The repository takes the same deletions afterwards.
    rc = inChild(repo, [&](uint32_t h) {
        uint16_t reason = 0;
        std::vector<uint64_t> batch(picked.begin(), picked.begin() + 256);
        return deleteInTxn(h, batch, RVK_VOTE_COMMIT, &reason) == RVK_RC_OK ? 0 : 8;
    });
    EXPECT_EQ(rc, 0);
    EXPECT_EQ(repo.count("node1"), 20000u - 256u);
}

}  // namespace
