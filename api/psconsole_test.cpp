#include "api/psconsole.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <string>
#include <thread>

#include "testing/testutil.h"

namespace {

int slaveFd = -1;
volatile sig_atomic_t interrupts = 0;
volatile sig_atomic_t echoOffAtInterrupt = 0;

void countInterrupt(int) {
    struct termios t;
    if (tcgetattr(slaveFd, &t) == 0 && !(t.c_lflag & ECHO)) echoOffAtInterrupt = 1;
    interrupts = interrupts + 1;
}

bool within(std::function<bool()> cond) {
    for (int i = 0; i < 500; ++i) {
        if (cond()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

// The console is the slave side of a pseudo-terminal; the test types on the
// master side and watches the slave's settings.
class ConsoleTest : public ::testing::Test {
  protected:
    void SetUp() override {
        master_ = posix_openpt(O_RDWR | O_NOCTTY);
        ASSERT_GE(master_, 0);
        ASSERT_EQ(0, grantpt(master_));
        ASSERT_EQ(0, unlockpt(master_));
        slavePath_ = ptsname(master_);
        slaveFd = open(slavePath_.c_str(), O_RDWR | O_NOCTTY);
        ASSERT_GE(slaveFd, 0);
        psConsolePath = slavePath_.c_str();
        struct sigaction sa = {};
        sa.sa_handler = countInterrupt;
        sigaction(SIGINT, &sa, &oldInt_);
        interrupts = 0;
        echoOffAtInterrupt = 0;
    }
    void TearDown() override {
        sigaction(SIGINT, &oldInt_, nullptr);
        psConsolePath = "/dev/tty";
        close(slaveFd);
        close(master_);
    }
    bool echoOn() {
        struct termios t;
        return tcgetattr(slaveFd, &t) == 0 && (t.c_lflag & ECHO);
    }
    void type(const std::string& s) {
        ASSERT_EQ((ssize_t)s.size(), write(master_, s.data(), s.size()));
    }
    std::string echoed() {
        std::string out;
        char buf[256];
        fcntl(master_, F_SETFL, O_NONBLOCK);
        for (ssize_t n; (n = read(master_, buf, sizeof buf)) > 0;) out.append(buf, n);
        return out;
    }

    // Runs `wait` on a thread of its own, returning once echo is off.
    std::thread start(std::function<void()> wait) {
        std::thread t(std::move(wait));
        EXPECT_TRUE(within([&] { return !echoOn(); }));
        return t;
    }

    int master_ = -1;
    std::string slavePath_;
    struct sigaction oldInt_;
};

TEST_F(ConsoleTest, EnterKeyWaitRunsWithEchoOffAndEndsOnInterrupt) {
    int rc = -1;
    std::thread waiter = start([&] { rc = psWaitForEnterKey(); });
    type("secret\n");
    waiter.join();
    EXPECT_EQ(0, rc);
    EXPECT_TRUE(echoOn());
    EXPECT_EQ(std::string::npos, echoed().find("secret"));
    EXPECT_EQ(0, interrupts);

    // Ctrl-C ends the wait and reaches the program only once echo is back.
    waiter = start([&] { rc = psWaitForEnterKey(); });
    pthread_kill(waiter.native_handle(), SIGINT);
    waiter.join();
    EXPECT_EQ(0, rc);
    EXPECT_EQ(1, interrupts);
    EXPECT_EQ(0, echoOffAtInterrupt);
    EXPECT_TRUE(echoOn());
}

TEST_F(ConsoleTest, SpecifiedKeysIgnoreOtherKeysAndInterrupts) {
    signed char key = 0;
    std::thread waiter = start([&] { key = psWaitForSpecifedKeys("yn"); });
    type("abc\n");  // canonical input: keys arrive with the line end
    pthread_kill(waiter.native_handle(), SIGINT);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(0, interrupts);  // held back while waiting
    type("xny\n");
    waiter.join();
    EXPECT_EQ('n', key);
    EXPECT_EQ(1, interrupts);
    EXPECT_EQ(0, echoOffAtInterrupt);
}

TEST_F(ConsoleTest, LineReaderCutsToSizeAndConvertsCase) {
    char buf[5];
    int len = -2;
    std::thread reader = start([&] { len = psReadLineNoEcho(buf, 4, 1); });
    type("abcdef\n");
    reader.join();
    EXPECT_EQ(4, len);
    EXPECT_STREQ("ABCD", buf);
    // The rest of the long line was consumed: the next read gets the next line.
    reader = start([&] { len = psReadLineNoEcho(buf, 4, 0); });
    type("Pw\n");
    reader.join();
    EXPECT_EQ(2, len);
    EXPECT_STREQ("Pw", buf);
    EXPECT_EQ(std::string::npos, echoed().find("Pw"));

    reader = start([&] { len = psReadLineNoEcho(buf, 4, 0); });
    pthread_kill(reader.native_handle(), SIGINT);
    reader.join();
    EXPECT_EQ(0, len);
    EXPECT_TRUE(within([&] { return interrupts == 1; }));
    EXPECT_EQ(0, echoOffAtInterrupt);
}

TEST_F(ConsoleTest, UnusableConsoleFailsAndLeavesTheInterruptHandler) {
    char buf[8];
    psConsolePath = "/nonexistent/tty";
    EXPECT_EQ(419, psWaitForEnterKey());
    EXPECT_EQ(0, psWaitForSpecifedKeys("y"));
    EXPECT_EQ(-1, psReadLineNoEcho(buf, 7, 0));
    psConsolePath = "/dev/null";  // not a terminal: no settings to read
    EXPECT_EQ(419, psWaitForEnterKey());
    EXPECT_EQ(-1, psReadLineNoEcho(buf, 7, 0));
    struct sigaction now;
    sigaction(SIGINT, nullptr, &now);
    EXPECT_EQ(countInterrupt, now.sa_handler);
    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    EXPECT_FALSE(sigismember(&mask, SIGINT));
}

TEST_F(ConsoleTest, SizeFollowsRedirectionAndWindow) {
    zebotest::TempDir dir;
    int file = open(dir.file("out").c_str(), O_WRONLY | O_CREAT, 0644);
    // Standard output is pointed at `fd` just for the query.
    auto sizeWith = [](int fd, bool* redirected) {
        fflush(stdout);
        int saved = dup(STDOUT_FILENO);
        dup2(fd, STDOUT_FILENO);
        int rows = 0, cols = 0;
        *redirected = psIsStdoutRedirected();
        psGetConsoleSize(&rows, &cols);
        dup2(saved, STDOUT_FILENO);
        close(saved);
        return std::make_pair(rows, cols);
    };
    bool redirected = false;
    EXPECT_EQ(std::make_pair(23, 1024), sizeWith(file, &redirected));
    EXPECT_TRUE(redirected);
    close(file);
    struct winsize ws = {};
    ws.ws_row = 40;
    ws.ws_col = 100;
    ioctl(slaveFd, TIOCSWINSZ, &ws);
    EXPECT_EQ(std::make_pair(39, 99), sizeWith(slaveFd, &redirected));
    EXPECT_FALSE(redirected);
    ws.ws_row = ws.ws_col = 0;  // size unknown
    ioctl(slaveFd, TIOCSWINSZ, &ws);
    EXPECT_EQ(std::make_pair(23, 79), sizeWith(slaveFd, &redirected));
}

}  // namespace
