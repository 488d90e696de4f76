#include "common/thrd/psmutex.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <string.h>

#include <thread>

#include "common/thrd/psthread.h"

namespace {

class LockTest : public ::testing::Test {
  protected:
    void SetUp() override { psThreadingInit(1); }
    void TearDown() override {
        bInSignalExit = 0;
        psThreadingInit(0);
    }
};

// Runs f on a second thread and returns its result.
template <typename F>
int onOtherThread(F f) {
    int rc = -99;
    std::thread t([&] { rc = f(); });
    t.join();
    return rc;
}

TEST_F(LockTest, SingleThreadedAndSignalExitTakeNoLock) {
    pthread_mutex_t garbage;
    memset(&garbage, 0x5a, sizeof garbage);
    psThreadingInit(0);
    EXPECT_EQ(0, psMutexLock(&garbage));
    EXPECT_EQ(0, psMutexUnlock(&garbage));
    EXPECT_EQ(0, psMutexDestroy(&garbage));

    psThreadingInit(1);
    pthread_mutex_t held;
    ASSERT_EQ(0, psMutexInit(&held));
    ASSERT_EQ(0, psMutexLock(&held));
    bInSignalExit = 1;  // a lock held by a dying thread must not block the exit
    EXPECT_EQ(0, psMutexLock(&held));
    EXPECT_EQ(0, psMutexDestroy(&held));
    bInSignalExit = 0;
    EXPECT_EQ(0, psMutexUnlock(&held));
    EXPECT_EQ(0, psMutexDestroy(&held));
}

TEST_F(LockTest, DeadlockIsReportedAs936) {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_ERRORCHECK);
    pthread_mutex_t m;
    ASSERT_EQ(0, pthread_mutex_init(&m, &attributes));
    ASSERT_EQ(0, psMutexLock(&m));
    EXPECT_EQ(RC_DEADLOCK, psMutexLock(&m));
    EXPECT_EQ(EPERM, onOtherThread([&] { return psMutexUnlock(&m); }));
    EXPECT_EQ(0, psMutexUnlock(&m));
    pthread_mutex_destroy(&m);
    pthread_mutexattr_destroy(&attributes);
}

TEST_F(LockTest, WrapperCountsHoldsOfItsOwner) {
    pkMutex* m = pkMutexCreate();
    ASSERT_NE(nullptr, m);
    for (int i = 0; i < 3; i++) ASSERT_EQ(0, pkMutexAcquire(m));
    EXPECT_EQ(3u, m->count);
    EXPECT_TRUE(pthread_equal(m->owner, pthread_self()));

    // Another thread neither takes it nor releases it.
    EXPECT_EQ(EBUSY, onOtherThread([&] { return pkMutexTry(m); }));
    EXPECT_EQ(0, onOtherThread([&] { return pkMutexRelease(m); }));
    EXPECT_EQ(3u, m->count);

    for (int i = 0; i < 2; i++) ASSERT_EQ(0, pkMutexRelease(m));
    EXPECT_EQ(EBUSY, onOtherThread([&] { return pkMutexTry(m); }));
    ASSERT_EQ(0, pkMutexRelease(m));
    EXPECT_EQ(0u, m->count);
    EXPECT_EQ(0, pkMutexRelease(m)) << "a release without a hold does nothing";

    EXPECT_EQ(0, onOtherThread([&] {
                  int rc = pkMutexAcquire(m);
                  return rc ? rc : pkMutexRelease(m);
              }));
    ASSERT_EQ(0, pkMutexTry(m));
    ASSERT_EQ(0, pkMutexTry(m));
    EXPECT_EQ(2u, m->count);
    EXPECT_EQ(EBUSY, pkMutexDestroy(m)) << "a held wrapper is not freed";
    pkMutexRelease(m);
    pkMutexRelease(m);
    EXPECT_EQ(0, pkMutexDestroy(m));
}

TEST_F(LockTest, WrapperWorksWhenThreadingIsSwitchedOnLater) {
    psThreadingInit(0);
    pkMutex* m = pkMutexCreate();
    ASSERT_NE(nullptr, m);
    psThreadingInit(1);
    ASSERT_EQ(0, pkMutexAcquire(m));
    EXPECT_EQ(EBUSY, onOtherThread([&] { return pkMutexTry(m); }));
    pkMutexRelease(m);
    EXPECT_EQ(0, pkMutexDestroy(m));
}

}  // namespace
