#include <errno.h>
#include <gtest/gtest.h>
#include <sys/time.h>

#include <thread>

#include "common/thrd/psmutex.h"
#include "common/thrd/psthread.h"

namespace {

TEST(DeadlineTest, CarriesMillisecondsIntoSecondsExactly) {
    struct Case {
        long sec, usec;
        unsigned long ms;
        long wantSec, wantNsec;
    } cases[] = {{100, 900000, 1500, 102, 400000000},
                 {100, 500000, 500, 101, 0},
                 {100, 999999, 999, 101, 998999000},
                 {7, 0, 0, 7, 0}};
    for (const Case& c : cases) {
        struct timespec d = pkDeadline(c.sec, c.usec, c.ms);
        EXPECT_EQ(c.wantSec, d.tv_sec) << c.sec << " " << c.usec << " " << c.ms;
        EXPECT_EQ(c.wantNsec, d.tv_nsec) << c.sec << " " << c.usec << " " << c.ms;
    }
}

class ConditionTest : public ::testing::Test {
  protected:
    void SetUp() override {
        psThreadingInit(1);
        m = pkMutexCreate();
        ASSERT_NE(nullptr, m);
        ASSERT_EQ(0, pkConditionCreate(&c, m));
    }
    void TearDown() override {
        EXPECT_EQ(0, pkConditionDestroy(&c));
        EXPECT_EQ(0, pkMutexDestroy(m));
        psThreadingInit(0);
    }
    // Another thread signals after `delay` milliseconds, the way callers do:
    // the switch is set under the guarding wrapper.
    std::thread signalLater(unsigned long delay) {
        return std::thread([this, delay] {
            psThreadDelay(delay);
            pkMutexAcquire(m);
            c.signalled = 1;
            pkConditionSignal(&c);
            pkMutexRelease(m);
        });
    }
    pkMutex* m = nullptr;
    pkCondition c;
};

TEST_F(ConditionTest, WaitRequiresTheWrapper) {
    EXPECT_EQ(-1, pkConditionWait(&c));
    EXPECT_EQ(-1, pkConditionTimedWait(&c, 10));
}

TEST_F(ConditionTest, WaitReturnsOwningTheWrapperWithItsHolds) {
    ASSERT_EQ(0, pkMutexAcquire(m));
    ASSERT_EQ(0, pkMutexAcquire(m));
    std::thread signaller = signalLater(30);
    EXPECT_EQ(0, pkConditionWait(&c));
    EXPECT_EQ(1, c.signalled);
    EXPECT_TRUE(pthread_equal(m->owner, pthread_self()));
    EXPECT_EQ(2u, m->count);
    signaller.join();
    // Both holds are released and the wrapper is free for others.
    pkMutexRelease(m);
    pkMutexRelease(m);
    std::thread other([this] {
        EXPECT_EQ(0, pkMutexTry(m));
        pkMutexRelease(m);
    });
    other.join();
}

TEST_F(ConditionTest, TimedWaitExpiresOrIsSignalled) {
    ASSERT_EQ(0, pkMutexAcquire(m));
    struct timeval before, after;
    gettimeofday(&before, nullptr);
    EXPECT_EQ(RC_TIMED_OUT, pkConditionTimedWait(&c, 50));
    gettimeofday(&after, nullptr);
    long waited = (after.tv_sec - before.tv_sec) * 1000 + (after.tv_usec - before.tv_usec) / 1000;
    EXPECT_GE(waited, 49);
    EXPECT_TRUE(pthread_equal(m->owner, pthread_self()));

    std::thread signaller = signalLater(10);
    EXPECT_EQ(0, pkConditionTimedWait(&c, 10000));
    EXPECT_EQ(1, c.signalled);
    EXPECT_EQ(1u, m->count);
    signaller.join();

    // A signal given before the wait is not waited for.
    EXPECT_EQ(0, pkConditionWait(&c));
    EXPECT_EQ(0, pkConditionTimedWait(&c, 5000));
    pkMutexRelease(m);
}

}  // namespace
