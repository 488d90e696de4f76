#include "common/ut/instr.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <thread>

#include "common/thrd/psmutex.h"
#include "common/thrd/psthread.h"
#include "testing/seam.h"
#include "testing/testutil.h"

namespace {

using zebotest::occurrences;
using zebotest::readFile;

// A clock that moves only when a test says so.
long fakeSec = 1000, fakeUsec = 0;
void fakeClock(struct timespec* now) {
    now->tv_sec = fakeSec;
    now->tv_nsec = fakeUsec * 1000;
}
void advance(long ms) {
    fakeUsec += ms * 1000;
    fakeSec += fakeUsec / 1000000;
    fakeUsec %= 1000000;
}

// A category name as reports show it: padded with blanks to 21 characters.
std::string pad(const std::string& name) {
    return name + std::string(21 - name.size(), ' ');
}

class InstrTest : public ::testing::Test {
  protected:
    void SetUp() override {
        fakeSec = 1000;
        fakeUsec = 0;
        reportPath = dir.path() + "/rvkinstr.report.p" + std::to_string(getpid());
    }
    void TearDown() override { instrTerm(); }
    std::string report() { return readFile(reportPath); }
    // Opens the report at the folder's path plus `name` and starts the
    // client detail class; false when the report cannot be opened.
    bool startDetail(const char* name, int detail) {
        if (instrInit((dir.path() + name).c_str(), INSTR_CLASS_DETAIL, detail) != 0) return false;
        instrStart(INSTR_CLASS_DETAIL);
        return true;
    }
    zebotest::TempDir dir;
    std::string reportPath;
    zebotest::ScopedSeam<PsClockFn> clock_{psClock, fakeClock};
};

TEST_F(InstrTest, ReportAccountsNestedCategories) {
    ASSERT_EQ(
        0, instrInit((dir.path() + "/agent.log").c_str(), INSTR_CLASS_DETAIL | INSTR_CLASS_API, 0));
    EXPECT_EQ(reportPath, instrReportName());
    instrStart(INSTR_CLASS_DETAIL | INSTR_CLASS_API);
    advance(250);  // outside any category
    instrBegin(INSTR_FILE_IO);
    advance(2000);
    instrEnd(INSTR_FILE_IO);
    instrBegin(INSTR_FILE_IO);
    advance(1000);
    instrBegin(INSTR_COMPRESSION);  // suspends File I/O
    advance(500);
    instrEnd(INSTR_COMPRESSION);
    advance(500);
    instrReplace(INSTR_CRC);
    advance(100);
    instrEnd(INSTR_CRC);
    instrBegin(INSTR_API_SEND_DATA);
    advance(1000);
    instrEnd(INSTR_API_SEND_DATA);
    instrBegin(INSTR_DB_QUERY);  // DBOPS was not enabled
    advance(50);
    instrStop(INSTR_CLASS_DETAIL);
    instrStop(INSTR_CLASS_DETAIL);  // no longer active: nothing written

    std::string text = report();
    std::string banner =
        "=======================> C O M M E N C E  N E W  R E P O R T <=======================";
    EXPECT_EQ(0u, text.find("\n\n" + banner + "\n" + banner + "\n"));
    EXPECT_NE(std::string::npos, text.find("Instrumentation class: Client detail\n"));
    EXPECT_NE(std::string::npos, text.find("Completion status: Success\n"));
    EXPECT_NE(std::string::npos,
              text.find("Elapsed time =     5.400 sec\n"
                        "Section                  Actual(sec)\t\tAverage(msec)\tFrequency used\n"));
    EXPECT_NE(std::string::npos,
              text.find("File I/O                     3.500\t   1750.0\t\t\t        2\n"
                        "Compression                  0.500\t    500.0\t\t\t        1\n"
                        "CRC                          0.100\t    100.0\t\t\t        1\n"
                        "Other                        1.300\t   1300.0\t\t\t        1\n"));
    EXPECT_EQ(std::string::npos, text.find("API Send Data"));
    EXPECT_EQ(std::string::npos, text.find("DB Query"));
    EXPECT_NE(std::string::npos, text.find("Finished writing the instrumentation report\n"));
    EXPECT_EQ(text.find("Finished writing"), text.rfind("Finished writing"));

    instrStop(INSTR_CLASS_API);
    text = report();
    EXPECT_NE(std::string::npos, text.find("Instrumentation class: API\n"));
    EXPECT_NE(std::string::npos,
              text.find("API Send Data                1.000\t   1000.0\t\t\t        1\n"));
}

TEST_F(InstrTest, StackOverflowSuspendsTheEngine) {
    ASSERT_TRUE(startDetail("/", 0));
    for (int i = 0; i < 29; i++) instrBegin(INSTR_COMPUTE);
    std::string text = report();
    EXPECT_EQ(std::string::npos, text.find("ERROR")) << "29 nested categories fit";
    instrBegin(INSTR_CRC);
    advance(1000);
    instrEnd(INSTR_COMPUTE);  // ignored from now on
    instrStop(INSTR_CLASS_DETAIL);
    text = report();
    EXPECT_NE(std::string::npos, text.find("ERROR: Stack overflow detected, Thread: " +
                                           std::to_string(psThreadNumber()) +
                                           ", category being entered: " + pad("CRC") + "\n"));
    EXPECT_NE(std::string::npos, text.find("Instrumentation engine suspends operation.\n"));
    EXPECT_NE(std::string::npos, text.find("Completion status: Stack overflow\n"));
    EXPECT_NE(std::string::npos,
              text.find("Compute                      1.000\t     34.5\t\t\t       29\n"));
}

TEST_F(InstrTest, MismatchedEndSuspendsTheEngine) {
    ASSERT_TRUE(startDetail("/x", 1));
    instrBegin(INSTR_FILE_IO);
    instrEnd(INSTR_CRC);
    instrStop(INSTR_CLASS_DETAIL);
    std::string text = report();
    std::string tid = std::to_string(psThreadNumber());
    EXPECT_NE(std::string::npos, text.find("TID: " + tid + ", Begin: " + pad("File I/O") +
                                           ", Suspend: " + pad("Other")));
    EXPECT_NE(std::string::npos, text.find("ERROR: Invalid category detected, Thread: " + tid +
                                           ", category being ended: " + pad("CRC") +
                                           "\nCurrent category is: " + pad("File I/O") +
                                           "\nInstrumentation engine suspends operation.\n"));
    EXPECT_NE(std::string::npos, text.find("Completion status: Invalid category end call\n"));
}

TEST_F(InstrTest, SleepAndConditionWaitsAreAccounted) {
    zebotest::ScopedSeam<PsClockFn> realClock(psClock, psSystemClock);
    psThreadingInit(1);
    ASSERT_TRUE(startDetail("/x", 0));
    psThreadDelay(20);

    pkMutex* m = pkMutexCreate();
    pkCondition c;
    ASSERT_EQ(0, pkConditionCreate(&c, m));
    ASSERT_EQ(0, pkMutexAcquire(m));
    std::thread signaller([&] {
        psThreadDelay(20);  // gets a record of its own
        pkMutexAcquire(m);
        c.signalled = 1;
        pkConditionSignal(&c);
        pkMutexRelease(m);
    });
    EXPECT_EQ(0, pkConditionWait(&c));
    pkMutexRelease(m);
    signaller.join();
    pkConditionDestroy(&c);
    pkMutexDestroy(m);
    instrStop(INSTR_CLASS_DETAIL);
    psThreadingInit(0);

    std::string text = report();
    EXPECT_EQ(2u, occurrences(text, "\nSleep                    ")) << text;
    EXPECT_EQ(1u, occurrences(text, "\nThread Wait              ")) << text;
    EXPECT_EQ(2u, occurrences(text, "Detailed Instrumentation statistics for\n")) << text;
}

TEST_F(InstrTest, UnopenableReportLeavesInstrumentationOff) {
    static std::string shown;
    auto saved = instrShowMessage476;
    instrShowMessage476 = [](const char* what, const char* file, const char* reason) {
        shown = std::string(what) + "|" + file + "|" + reason;
    };
    std::string path = dir.path() + "/missing/x.log";
    EXPECT_EQ(-1, instrInit(path.c_str(), INSTR_CLASS_DETAIL, 0));
    EXPECT_EQ("Instrumentation|" + dir.path() + "/missing/rvkinstr.report.p" +
                  std::to_string(getpid()) + "|No such file or directory",
              shown);
    instrStart(INSTR_CLASS_DETAIL);  // nothing enabled: nothing happens
    instrBegin(INSTR_FILE_IO);
    instrStop(INSTR_CLASS_DETAIL);
    EXPECT_FALSE(zebotest::fileExists(dir.path() + "/missing"));
    instrShowMessage476 = saved;
}

}  // namespace
