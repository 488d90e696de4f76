// The progress line on a terminal: rewritten in place at most four times a
// second, and cleared at the end. (Without a terminal nothing is written:
// the whole runs of guards_run_test.cpp check their output for it.)
#include "sync/progress.h"

#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>

#include <string>

#include "sync/syncdb_testutil.h"
#include "testing/seam.h"

namespace {

struct timespec fakeNow = {1000, 0};

class ProgressTest : public ::testing::Test {
  protected:
    void SetUp() override {
        synctest::initMessages();
        out = open_memstream(&buffer, &size);
    }
    void TearDown() override {
        fclose(out);
        free(buffer);
    }
    std::string written() {
        fflush(out);
        return std::string(buffer, size);
    }
    void advance(long milliseconds) {
        fakeNow.tv_nsec += milliseconds * 1000000L;
        fakeNow.tv_sec += fakeNow.tv_nsec / 1000000000L;
        fakeNow.tv_nsec %= 1000000000L;
    }

    zebotest::ScopedSeam<UtIsTerminalFn> terminal{utProgressIsTerminal, [] { return true; }};
    zebotest::ScopedSeam<UtProgressClockFn> clock{utProgressClock,
                                                  [](struct timespec* now) { *now = fakeNow; }};
    char* buffer = nullptr;
    size_t size = 0;
    FILE* out = nullptr;
};

TEST_F(ProgressTest, OnATerminalTheLineIsRewrittenAndCleared) {
    {
        UtProgress progress(PROGRESS_EXAMINING, out);
        const std::string first = "\rExamining objects on the VLT Server: 0";
        EXPECT_EQ(first, written());
        advance(100);
        progress.update(500);
        EXPECT_EQ(first, written()) << "not yet a quarter of a second";
        advance(200);
        progress.update(12345);
        EXPECT_EQ(first + "\rExamining objects on the VLT Server: 12,345", written());
        advance(5000);
        progress.update(7);  // a shorter line blanks what is left of the longer one
        std::string text = written();
        EXPECT_EQ("\rExamining objects on the VLT Server: 7     ", text.substr(text.rfind('\r')))
            << text;
    }
    // Cleared when the step ends: blanks over the line, the cursor at its start.
    std::string text = written();
    std::string tail = text.substr(text.rfind('\r', text.size() - 2));
    EXPECT_EQ("\r" + std::string(tail.size() - 2, ' ') + "\r", tail);
    EXPECT_GE(tail.size(), std::string("Examining objects on the VLT Server: 7").size() + 2);
}

}  // namespace
