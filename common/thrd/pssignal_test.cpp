#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <unistd.h>

#include <thread>

#include "common/thrd/psmutex.h"
#include "common/thrd/psthread.h"
#include "common/ut/trace.h"

namespace {

// Signal tests change the process's signal arrangement, so each runs in a
// child process of its own; the child's trace goes to standard error.

void traceToStderr(const char* classes) {
    trcInit(4, 0, 0);
    trSetFlags(classes, 1);
    trSetFlags("-TIMESTAMP -PREFIX", 1);
    trOpen("STDERR", 0);
}

void shutdownChild() {
    traceToStderr("THREAD");
    psThreadingInit(1);
    psSignalSets sets;
    if (psSignalSetup(&sets) != 0) _exit(2);
    int rc = -5;
    std::thread waiter([&] { rc = psWaitShutdown(&sets); });
    kill(getpid(), SIGTERM);  // blocked everywhere: only sigwait takes it
    waiter.join();
    _exit(rc == 0 && bInSignalExit == 1 ? 0 : 1);
}

void crashChild() {
    struct rlimit none = {0, 0};
    setrlimit(RLIMIT_CORE, &none);
    traceToStderr("GENERAL");
    psSignalSets sets;
    psSignalSetup(&sets);
    std::thread crasher([] { pthread_kill(pthread_self(), SIGSEGV); });
    crasher.join();
    _exit(0);
}

void* sleeperThread(void* finished) {
    psThreadDelay(1000);   // long enough to be traced
    psThreadDelay(60000);  // ended by the stop
    *static_cast<bool*>(finished) = true;
    return nullptr;
}

void stopChild() {
    traceToStderr("THREAD THREAD_STATUS");
    psThreadingInit(1);
    psSignalSets sets;
    psSignalSetup(&sets);
    bool finished = false;
    pthread_t sleeper;
    pthread_create(&sleeper, nullptr, sleeperThread, &finished);
    usleep(1200 * 1000);  // not traced: only the sleeper's delays show
    if (psThreadStop(sleeper) != 0) _exit(3);
    pthread_join(sleeper, nullptr);
    _exit(finished ? 1 : 0);
}

class SignalTest : public ::testing::Test {
  protected:
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(SignalTest, ShutdownSignalIsCollectedByTheWaitingThread) {
    EXPECT_EXIT(shutdownChild(), ::testing::ExitedWithCode(0),
                "KORU shutting down, signal SIGTERM \\(15\\) ");
}

TEST_F(SignalTest, FatalSignalInAnyThreadAborts) {
    EXPECT_EXIT(crashChild(), ::testing::KilledBySignal(SIGABRT),
                "Unknown thread, fatal error, signal 11");
}

TEST_F(SignalTest, StopEndsOnlyTheStoppedThread) {
    EXPECT_EXIT(stopChild(), ::testing::ExitedWithCode(0),
                "delaying for 1000 milliseconds.\nThread [0-9]+ awakened.\n"
                "(.|\n)*terminating on signal 10");
}

}  // namespace
