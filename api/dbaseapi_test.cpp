#include "api/dbaseapi.h"

#include <gtest/gtest.h>

#include "api/api_testutil.h"
#include "testing/seam.h"

namespace {

// The clock hands out a scripted series of times.
std::vector<ApiTimeVal> script;
size_t next = 0;
void scriptedClock(struct timespec* now) {
    ApiTimeVal t = script.at(next++);
    now->tv_sec = t.sec;
    now->tv_nsec = static_cast<long>(t.usec) * 1000;
}

class PlainApi : public DBaseApi {
  public:
    PlainApi() : DBaseApi("VLT") {}
    int Setup() override { return 0; }
    int Cleanup() override { return 0; }
    int Init(ApiStatusObj*, int*) override { return 0; }
    int Term(ApiStatusObj*) override { return 0; }
};

class DBaseApiTest : public ::testing::Test {
  protected:
    void play(std::vector<ApiTimeVal> times) {
        script = std::move(times);
        next = 0;
    }
    zebotest::ScopedSeam<PsClockFn> clock_{psClock, scriptedClock};
    ApiStatusObj rec_ = {};
    PlainApi api_;
};

TEST_F(DBaseApiTest, StopwatchBorrowsAcrossTheSecondAndDropsPartialMilliseconds) {
    play({{10, 900000}, {11, 100000}, {20, 0}, {20, 999}, {100, 0}, {101, 500000}});
    api_.StartApiCall(&rec_);
    EXPECT_EQ(1, rec_.inApiCall);
    api_.EndApiCall(&api_, &rec_);
    EXPECT_EQ(0, rec_.inApiCall);
    EXPECT_EQ(0, rec_.elapsedSec);
    EXPECT_EQ(200000, rec_.elapsedUsec);
    EXPECT_EQ(200.0, rec_.totalTime);

    // Shorter than a millisecond: nothing is added.
    api_.StartApiCall(&rec_);
    api_.EndApiCall(&api_, &rec_);
    EXPECT_EQ(200.0, rec_.totalTime);

    // The family-name form adds seconds to the same total.
    api_.StartApiCall(&rec_);
    api_.EndApiCall(&rec_, "VLT");
    EXPECT_DOUBLE_EQ(201.5, rec_.totalTime);
}

TEST_F(DBaseApiTest, WrapperTotalIsMillisecondsYetReportedAsSeconds) {
    TraceToFile trace({&TR_PERFORMANCE, &TR_API});
    play({{100, 0}, {101, 500000}, {200, 600000}, {203, 100000}});
    api_.StartApiCall(&rec_);
    api_.EndApiCall(&api_, &rec_);
    api_.StartApiCall(&rec_);
    api_.EndApiCall(&api_, &rec_);
    EXPECT_EQ(4000.0, rec_.totalTime);
    api_.LogApiStatus(&rec_);
    std::string text = trace.finish();
    EXPECT_NE(std::string::npos, text.find("Elapsed milliseconds 1500, for VLT Api call \n"));
    EXPECT_NE(std::string::npos,
              text.find("elapsed milliseconds 2500, total time 4000 for VLT Apis \n"));
    EXPECT_NE(std::string::npos,
              text.find("Performance stats: 4000 seconds spent in VLT API calls\n"));
}

TEST(FunctionNotLoadedTest, StopsTheProgramEvenInOptimisedBuilds) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(FunctionNotLoaded(), "Assertion");
}

}  // namespace
