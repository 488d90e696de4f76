// The prompts' line reader: blanks in front, the newline, over-long lines
// and the end of input, and the trace brought up to date before it waits.
#include "sync/consoleline.h"

#include <gtest/gtest.h>

#include <string>

#include "common/ut/tracetest.h"
#include "testing/testutil.h"

namespace {

TEST(ConsoleLine, ReadsOneAnswerPerLine) {
    FILE* in = tmpfile();
    ASSERT_NE(nullptr, in);
    std::string input = "  \t rman user \n\n" + std::string(1500, 'p') + "\nnext\nlast";
    fputs(input.c_str(), in);
    rewind(in);
    FILE* old = zeboSetConsoleInput(in);

    char answer[CONSOLE_LINE_MAX + 1];
    EXPECT_EQ(10, zeboReadConsoleLine(answer, sizeof answer));
    EXPECT_STREQ("rman user ", answer);
    EXPECT_EQ(0, zeboReadConsoleLine(answer, sizeof answer));
    // An over-long line is cut, and its rest is not the next answer.
    EXPECT_EQ(CONSOLE_LINE_MAX, zeboReadConsoleLine(answer, sizeof answer));
    EXPECT_EQ(std::string(CONSOLE_LINE_MAX, 'p'), answer);
    char small[5];
    EXPECT_EQ(4, zeboReadConsoleLine(small, sizeof small));
    EXPECT_STREQ("next", small);
    EXPECT_EQ(4, zeboReadConsoleLine(answer, sizeof answer));
    EXPECT_STREQ("last", answer);
    // End of input: empty answers, as often as asked.
    EXPECT_EQ(0, zeboReadConsoleLine(answer, sizeof answer));
    EXPECT_EQ(0, zeboReadConsoleLine(answer, sizeof answer));
    EXPECT_STREQ("", answer);

    zeboSetConsoleInput(old);
    fclose(in);
}

using ConsoleLineTrace = TraceTest;

// A trace line written before a question is in the file while the program
// waits for the answer, not only once the buffer fills.
TEST_F(ConsoleLineTrace, TheTraceIsOnDiskBeforeTheProgramWaits) {
    zebotest::TempDir dir;
    const std::string path = dir.file("trace.out");
    ASSERT_EQ(0, trSetFlags("API -TIMESTAMP -PREFIX", 1));
    ASSERT_EQ(0, trOpen(path.c_str(), 0));
    TRACE(TR_API, "before the question\n");
    EXPECT_EQ(std::string::npos, zebotest::readFile(path).find("before the question"));

    FILE* in = tmpfile();
    ASSERT_NE(nullptr, in);
    fputs("answer\n", in);
    rewind(in);
    FILE* old = zeboSetConsoleInput(in);
    char answer[CONSOLE_LINE_MAX + 1];
    EXPECT_EQ(6, zeboReadConsoleLine(answer, sizeof answer));
    zeboSetConsoleInput(old);
    fclose(in);
    EXPECT_NE(std::string::npos, zebotest::readFile(path).find("before the question\n"));
    trClose(0);
}

}  // namespace
