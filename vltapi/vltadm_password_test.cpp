// How vltadm takes a node password: never as an argument; from standard
// input when it is not a terminal; from a terminal without echo.
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "vltapi/vltapi_testenv.h"

using namespace vltest;

namespace {

class VltadmPassword : public ::testing::Test {
  protected:
    void TearDown() override { rvkCleanUp(RVK_MULTITHREAD); }
    // Whether `node` can log on with `password`.
    int16_t logOnWith(const char* node, const char* password) {
        EXPECT_EQ(setUp(repo.optFile()), RVK_RC_OK);
        uint32_t h = 0;
        int16_t rc = logOn(&h, node, password);
        if (h) rvkTerminate(h);
        rvkCleanUp(RVK_MULTITHREAD);
        return rc;
    }
    Repo repo;
};

TEST_F(VltadmPassword, PasswordAsAnArgumentIsRefusedWithTheNewForm) {
    auto add = repo.adm("node add node3 secret3", "secret3\n");
    EXPECT_EQ(add.status, 2);
    EXPECT_NE(add.err.find("not taken on the command line"), std::string::npos) << add.err;
    EXPECT_NE(add.err.find("use: vltadm node add node3\n"), std::string::npos) << add.err;
    auto passwd = repo.adm("node passwd node1 changed1", "changed1\n");
    EXPECT_EQ(passwd.status, 2);
    EXPECT_NE(passwd.err.find("use: vltadm node passwd node1\n"), std::string::npos) << passwd.err;
    // Neither changed anything.
    EXPECT_EQ(zebotest::lines(repo.adm("node list").out).size(), 2u);
    EXPECT_EQ(logOnWith("node1", "pw-one"), RVK_RC_OK);
    // The usage shows only the new forms.
    auto help = zebotest::run("'" + vltadmPath() + "' --help");
    EXPECT_NE(help.out.find("node add NODE "), std::string::npos) << help.out;
    EXPECT_EQ(help.out.find("PASSWORD"), std::string::npos) << help.out;
}

TEST_F(VltadmPassword, StandardInputGivesTheFirstLineAndASecondMustMatch) {
    // Each input with the complaint it brings, "" for an accepted one.
    const std::pair<const char*, const char*> cases[] = {
        {"one-line\n", ""},
        {"both-lines\nboth-lines\n", ""},
        {"no-line-end", ""},
        {"crlf-line\r\ncrlf-line\r\n", ""},
        {"first\nsecond\n", "differs from the first"},
        {"", "no password on standard input"},
        {"\n", "1 to 64 printable characters"},
        {"tab\there\n", "1 to 64 printable characters"},
    };
    for (const auto& [input, complaint] : cases) {
        SCOPED_TRACE(input);
        auto r = repo.adm("node passwd node2", input);
        std::string pw = std::string(input).substr(0, std::string(input).find_first_of("\r\n"));
        if (*complaint == '\0') {
            EXPECT_EQ(r.status, 0) << r.err;
            EXPECT_EQ(logOnWith("node2", pw.c_str()), RVK_RC_OK);
        } else {
            EXPECT_EQ(r.status, 1);
            EXPECT_NE(r.err.find(complaint), std::string::npos) << r.err;
        }
    }
    // Failures left the last good password in place.
    EXPECT_EQ(logOnWith("node2", "crlf-line"), RVK_RC_OK);
    auto added = repo.adm("node add node3", "third-pw\n");
    ASSERT_EQ(added.status, 0) << added.err;
    EXPECT_EQ(logOnWith("node3", "third-pw"), RVK_RC_OK);
    EXPECT_NE(repo.adm("node add node4", "").status, 0);
    EXPECT_EQ(zebotest::lines(repo.adm("node list").out).size(), 3u);
}

// Reads from the pty master until `text` has arrived (or 10 seconds).
bool readUntil(int fd, std::string& seen, const std::string& text) {
    for (int i = 0; i < 100 && seen.find(text) == std::string::npos; ++i) {
        struct pollfd p = {fd, POLLIN, 0};
        if (poll(&p, 1, 100) <= 0) continue;
        char buf[256];
        ssize_t n = read(fd, buf, sizeof buf);
        if (n <= 0) return false;
        seen.append(buf, static_cast<size_t>(n));
    }
    return seen.find(text) != std::string::npos;
}

TEST_F(VltadmPassword, TerminalAsksTwiceWithoutEcho) {
    int master = -1;
    pid_t pid = forkpty(&master, nullptr, nullptr, nullptr);
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        std::string adm = vltadmPath(), opt = repo.optFile();
        execl(adm.c_str(), adm.c_str(), "-c", opt.c_str(), "node", "passwd", "node1",
              static_cast<char*>(nullptr));
        _exit(127);
    }
    std::string seen;
    EXPECT_TRUE(readUntil(master, seen, "New password for node NODE1: ")) << seen;
    ASSERT_EQ(write(master, "typed-secret\n", 13), 13);
    EXPECT_TRUE(readUntil(master, seen, "Enter it again: ")) << seen;
    ASSERT_EQ(write(master, "typed-secret\n", 13), 13);
    readUntil(master, seen, "never-printed");  // to the end of the output
    int status = 0;
    if (waitpid(pid, &status, WNOHANG) != pid) {
        kill(pid, SIGKILL);  // still waiting for input: fail, do not hang
        waitpid(pid, &status, 0);
    }
    close(master);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << seen;
    EXPECT_EQ(seen.find("typed-secret"), std::string::npos) << seen;
    EXPECT_EQ(logOnWith("node1", "typed-secret"), RVK_RC_OK);
}

}  // namespace
