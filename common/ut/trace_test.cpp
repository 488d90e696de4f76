#include <errno.h>
#include <stdio.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "common/ut/tracetest.h"
#include "testing/testutil.h"

namespace {

using zebotest::readFile;

class TraceLineTest : public TraceTest {
  protected:
    void SetUp() override {
        TraceTest::SetUp();
        ASSERT_EQ(0, trSetFlags("API -TIMESTAMP -PREFIX", 1));
        name = dir.file("lines.out");
        ASSERT_EQ(0, trOpen(name.c_str(), 0));
    }
    // What was traced after the plain file's header.
    std::string body() {
        trClose(0);
        std::string text = readFile(name);
        size_t start = text.find("BEGINNING NEW TRACE\n\n");
        return start == std::string::npos ? text : text.substr(start + 21);
    }
    zebotest::TempDir dir;
    std::string name;
};

TEST_F(TraceLineTest, PrefixesInTheirOrder) {
    TR_CLIENTTYPE = 1;
    TRACE(TR_API, "x\n");  // the client tag alone has no separator
    TR_PID = 1;
    TR_PREFIX = 1;
    unsigned line = __LINE__ + 1;
    EXPECT_EQ(6, trPrintf(__FILE__, line, "hello\n"));
    char expected[256];
    snprintf(expected, sizeof expected,
             "[ctCLAPI     ]x\n[%.6u] [ctCLAPI     ]: trace_test.cpp      (%4u): hello\n",
             (unsigned)getpid(), line);
    EXPECT_EQ(expected, body());
}

TEST_F(TraceLineTest, TimestampHasMilliseconds) {
    TR_TIMESTAMP = 1;
    TRACE(TR_API, "stamped\n");
    // "<date> <time>.<milliseconds> : " with the date and time in the user's layouts.
    std::string text = body();
    const std::string tail = " : stamped\n";
    ASSERT_GT(text.size(), tail.size() + 4);
    size_t end = text.size() - tail.size();
    EXPECT_EQ(tail, text.substr(end));
    EXPECT_EQ('.', text[end - 4]) << text;
    EXPECT_EQ(std::string::npos, text.substr(end - 3, 3).find_first_not_of("0123456789")) << text;
    EXPECT_NE(std::string::npos, text.substr(1, end - 5).find(' ')) << text;
}

TEST_F(TraceLineTest, ThreadIdentityRoutineMayAddAFirstLine) {
    TR_TID = 1;
    TRACE(TR_API, "default\n");
    trSetThreadIdRoutine([](char* id, size_t idSize, char* first, size_t firstSize) {
        snprintf(id, idSize, "<worker> ");
        snprintf(first, firstSize, "worker started\n");
    });
    TRACE(TR_API, "custom\n");
    char expected[128];
    snprintf(expected, sizeof expected, "TID<%d> : default\nworker started\n<worker> : custom\n",
             (int)gettid());
    EXPECT_EQ(expected, body());
}

TEST_F(TraceLineTest, DisabledClassEvaluatesNoArgumentAndErrnoSurvives) {
    int calls = 0;
    auto count = [&calls] { return ++calls; };
    TRACE(TR_NLS, "%d\n", count());
    EXPECT_EQ(0, calls);
    errno = EACCES;
    TRACE(TR_API, "%d\n", count());
    EXPECT_EQ(EACCES, errno);
    EXPECT_EQ(1, calls);
    EXPECT_EQ("1\n", body());
}

TEST_F(TraceLineTest, OverlongTextIsCutToTheLineBuffer) {
    std::string longText(6000, 'y');
    EXPECT_EQ(4860, trPrintf(__FILE__, __LINE__, "%s", longText.c_str()));
    EXPECT_EQ(std::string(4860, 'y'), body());
}

TEST_F(TraceLineTest, DumpShowsHexAndCharacters) {
    const unsigned char bytes[] = {'A', 'b', ' ', 0x01, 0xff, '~', '0', 'z', 'Q', 'R'};
    trDump(bytes, sizeof bytes, 8);
    trDump(bytes, 0, 8);
    std::vector<std::string> lines = zebotest::lines(body());
    ASSERT_EQ(12u, lines.size());
    EXPECT_EQ(0u, lines[1].find("Dumping Memory Range 0x"));
    EXPECT_NE(std::string::npos, lines[1].find(" (10 Bytes)"));
    char address[32];
    snprintf(address, sizeof address, "%08lX: ", (unsigned long)bytes);
    EXPECT_EQ(std::string(address) + "41 62 20 01 FF 7E 30 7A     Ab...~0z", lines[3]);
    snprintf(address, sizeof address, "%08lX: ", (unsigned long)(bytes + 8));
    EXPECT_EQ(std::string(address) + "51 52 " + std::string(18, ' ') + "    QR", lines[4]);
    EXPECT_EQ("", lines[5]);
    EXPECT_EQ("", lines[6]);
    EXPECT_NE(std::string::npos, lines[8].find(" (0 Bytes)"));
}

TEST_F(TraceTest, StandardStreamsAndStatus) {
    testing::internal::CaptureStdout();
    trShowStatus();
    EXPECT_EQ("Current trace classes enabled: None\nTracing not active.\n",
              testing::internal::GetCapturedStdout());

    ASSERT_EQ(0, trSetFlags("-TIMESTAMP -PREFIX api", 1));
    ASSERT_EQ(0, trSetFlagsTables("ORCLEVEL0", 1, AgentClassTable, AgentAggregateTable));
    testing::internal::CaptureStdout();
    ASSERT_EQ(0, trOpen("stdout", 0));
    TRACE(TR_API, "to the console\n");
    trShowStatus();
    trSetConsoleAllowed(0);
    EXPECT_EQ(0, trIsActive());
    TRACE(TR_API, "held back\n");
    EXPECT_EQ(
        "Tracing to stdout\nto the console\n"
        "Current trace classes enabled: API ORCLEVEL0\n"
        "Tracing is active to standard output.\n",
        testing::internal::GetCapturedStdout());
}

TEST_F(TraceTest, ConsoleRoutineTakesTheLines) {
    static std::vector<std::string> calls;
    calls.clear();
    static int refuse = 0;
    trOutputRoutine routine = [](int op, const char* text, void*) {
        calls.push_back(std::to_string(op) + (text ? text : ""));
        return refuse;
    };
    trSetConsoleRoutine(routine, nullptr);
    ASSERT_EQ(0, trSetFlags("-TIMESTAMP -PREFIX API", 1));
    ASSERT_EQ(0, trOpen("Console", 0));
    TRACE(TR_API, "line\n");
    trClose(0);
    EXPECT_EQ((std::vector<std::string>{"0", "1line\n", "2"}), calls);

    refuse = 1;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    ASSERT_EQ(0, trOpen("CONSOLE", 0));
    TRACE(TR_API, "fallback\n");
    trClose(0);
    EXPECT_EQ("Tracing to stderr\n", testing::internal::GetCapturedStdout());
    EXPECT_EQ("fallback\n", testing::internal::GetCapturedStderr());
}

}  // namespace
