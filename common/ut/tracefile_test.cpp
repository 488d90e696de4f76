#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <thread>

#include "common/thrd/psmutex.h"
#include "common/ut/tracetest.h"
#include "testing/testutil.h"
#include "zebo_config.h"

namespace {

using zebotest::fileSize;
using zebotest::readFile;
using zebotest::TempDir;

// Opening `name` as the trace file, with the API class on and a maximum
// length of `max` MB, fails with its message.
void expectRefused(const std::string& name, unsigned long max) {
    ASSERT_EQ(0, trSetFlags("API", 1));
    trSetMax(max);
    testing::internal::CaptureStdout();
    EXPECT_EQ(426, trOpen(name.c_str(), 0));
    EXPECT_EQ("Unable to open trace output file " + name + "\n",
              testing::internal::GetCapturedStdout());
}

class TraceFileTest : public TraceTest {
  protected:
    void SetUp() override {
        TraceTest::SetUp();
        // Bare lines: no time stamp, no source prefix.
        ASSERT_EQ(0, trSetFlags("API -TIMESTAMP -PREFIX", 1));
    }
    // Writes numbered lines of `width` bytes (newline included).
    static void writeLines(int from, int count, size_t width) {
        std::string fill(width - 6, 'x');
        for (int i = from; i < from + count; i++) TRACE(TR_API, "%04d %s\n", i, fill.c_str());
    }
    static std::string line(int i, size_t width) {
        char number[8];
        snprintf(number, sizeof number, "%04d ", i);
        return number + std::string(width - 6, 'x') + "\n";
    }
    static unsigned long positionField(const std::string& text) {
        return strtoul(text.substr(12, 12).c_str(), nullptr, 10);
    }
    TempDir dir;
};

TEST_F(TraceFileTest, WrappingFileRestartsBehindItsHeader) {
    std::string name = dir.file("trace.out");
    trSetMax(1);
    ASSERT_EQ(0, trOpen(name.c_str(), 0));
    const size_t width = 1000;
    writeLines(0, 1100, width);
    trClose(0);

    std::string text = readFile(name);
    std::string header = "VLT Trace   ";
    ASSERT_EQ(header, text.substr(0, 12));
    std::string rest = "1          Corvane 5.5.0.05   Build date: " ZEBO_BUILD_DATE "\n\n";
    ASSERT_EQ(rest, text.substr(24, rest.size()));
    size_t start = 24 + rest.size();
    EXPECT_LE(text.size(), 1048576u);

    // The old end carries the marker right after the last line that fitted;
    // the line after it was written at the start of data.
    size_t marker = text.find("\nContinued at beginning of file\n\n");
    ASSERT_NE(std::string::npos, marker);
    EXPECT_GT(marker + 2 * width + 17, 1048576u);
    int lastBefore = atoi(text.substr(marker - width, 4).c_str());
    EXPECT_GT(lastBefore, 1000);
    EXPECT_EQ(line(lastBefore, width), text.substr(marker - width, width));
    EXPECT_EQ(line(lastBefore + 1, width), text.substr(start, width));

    // The header keeps the position of the end of data, where close wrote.
    unsigned long position = positionField(text);
    EXPECT_EQ(line(1099, width), text.substr(position - width, width));
    EXPECT_EQ("\nEND OF DATA - close\n\n", text.substr(position, 22));
}

TEST_F(TraceFileTest, ThreadsWritingAcrossTheWrapKeepLinesWhole) {
    psThreadingInit(1);
    std::string name = dir.file("threads.out");
    trSetMax(1);
    ASSERT_EQ(0, trOpen(name.c_str(), 0));
    const size_t width = 2000;
    auto writer = [width](int from) { writeLines(from, 400, width); };
    std::thread a(writer, 0), b(writer, 5000);
    a.join();
    b.join();
    trClose(0);
    psThreadingInit(0);

    // Every line between the markers is one whole line of either thread.
    std::string text = readFile(name);
    size_t end = positionField(text);
    size_t at = text.find("\n\n") + 2;
    int whole = 0;
    while (at < end) {
        int number = atoi(text.substr(at, 4).c_str());
        ASSERT_EQ(line(number, width), text.substr(at, width)) << "at offset " << at;
        at += width;
        whole++;
    }
    EXPECT_EQ(end, at);
    EXPECT_GT(whole, 10);
}

TEST_F(TraceFileTest, NextRunContinuesUnlessTheMaximumShrank) {
    std::string name = dir.file("trace.out");
    trSetMax(2);
    ASSERT_EQ(0, trOpen(name.c_str(), 0));
    writeLines(0, 10, 100);
    trClose(0);
    unsigned long saved = positionField(readFile(name));

    // Same maximum: written on at the saved position, earlier lines kept.
    ASSERT_EQ(0, trOpen(name.c_str(), 0));
    writeLines(10, 1, 100);
    trClose(0);
    std::string text = readFile(name);
    EXPECT_EQ("BEGINNING NEW TRACE\n\n" + line(10, 100), text.substr(saved, 21 + 100));
    EXPECT_NE(std::string::npos, text.find(line(0, 100)));
    EXPECT_EQ("2         ", text.substr(24, 10));

    // A smaller maximum starts a new file.
    trSetMax(1);
    ASSERT_EQ(0, trOpen(name.c_str(), 0));
    trClose(0);
    text = readFile(name);
    EXPECT_EQ(std::string::npos, text.find(line(0, 100)));
    EXPECT_EQ("1         ", text.substr(24, 10));
    EXPECT_LT(text.size(), 200u);
}

TEST_F(TraceFileTest, SegmentsAreFilesOfTheirOwn) {
    std::string name = dir.file("seg.out");
    trSetMax(10);
    trSetSegSize(3);
    ASSERT_EQ(0, trOpen(name.c_str(), 0));
    EXPECT_EQ(name + ".1", trFilePath());
    // Write until the trace has gone round to the first segment again.
    const size_t width = 4096;
    bool reachedLast = false;
    for (int i = 0; i < 4000; i++) {
        writeLines(i, 1, width);
        if (name + ".4" == trFilePath()) reachedLast = true;
        if (reachedLast && name + ".1" == trFilePath()) break;
    }
    ASSERT_TRUE(reachedLast);
    ASSERT_EQ(name + ".1", trFilePath());
    trClose(0);

    for (int seg = 2; seg <= 3; seg++) {
        std::string text = readFile(name + "." + std::to_string(seg));
        EXPECT_GT(text.size(), 3u * 1048576 - 2 * width);
        EXPECT_LE(text.size(), 3u * 1048576);
        EXPECT_NE(std::string::npos,
                  text.find("Continued from end of segment " + std::to_string(seg - 1)));
        EXPECT_NE(std::string::npos,
                  text.find("Continued at beginning of segment " + std::to_string(seg + 1)));
    }
    std::string last = readFile(name + ".4");
    EXPECT_GT(last.size(), 1048576u - 2 * width);
    EXPECT_LE(last.size(), 1048576u);
    EXPECT_NE(std::string::npos, last.find("Continued at beginning of segment 1"));
    std::string first = readFile(name + ".1");
    EXPECT_NE(std::string::npos, first.find("Continued from end of segment 4\n\n"));
    EXPECT_EQ(std::string::npos, first.find("BEGINNING NEW TRACE"));
    EXPECT_FALSE(zebotest::fileExists(name + ".5"));
}

TEST_F(TraceFileTest, SizeArithmetic) {
    TraceSizes s;
    trSetMax(2000);  // above 1000 MB: split into segments of 1000
    trGetSizes(&s);
    EXPECT_EQ(1000u, s.segSize);
    EXPECT_EQ(2, s.segCount);
    EXPECT_EQ(1000u, s.lastSegSize);
    std::string name = dir.file("big.out");
    ASSERT_EQ(0, trOpen(name.c_str(), 0));
    EXPECT_EQ(name + ".1", trFilePath());
    EXPECT_TRUE(zebotest::fileExists(name + ".1"));
    trReset(1);
    trSetSegSize(0);

    trSetMax(10);
    trSetSegSize(25);  // never more than TRACEMAX
    trGetSizes(&s);
    EXPECT_EQ(10u, s.segSize);
    EXPECT_EQ(1, s.segCount);

    trReset(0);
    trSetSegSize(0);
    trSetSegSize(5);  // no TRACEMAX yet: the count is unknown
    trGetSizes(&s);
    EXPECT_EQ(-1, s.segCount);
    EXPECT_EQ(5u, s.lastSegSize);
    trSetMax(12);  // recomputed from the segment size
    trGetSizes(&s);
    EXPECT_EQ(3, s.segCount);
    EXPECT_EQ(2u, s.lastSegSize);
}

TEST_F(TraceFileTest, PlainFileIsAppendedWithAHeaderPerOpen) {
    std::string name = dir.file("plain.out");
    const std::string header =
        "VLT Trace   Corvane 5.5.0.05  \nBuild Date: " ZEBO_BUILD_DATE "\nBEGINNING NEW TRACE\n\n";
    ASSERT_EQ(0, trOpen(name.c_str(), 0));
    TRACE(TR_API, "first %d\n", 1);
    trClose(0);
    ASSERT_EQ(0, trOpen(name.c_str(), 0));
    TRACE(TR_API, "second\n");
    trClose(0);
    EXPECT_EQ(header + "first 1\n" + header + "second\n", readFile(name));
}

// The announcement names the maximum also for a file that does not wrap;
// the option display shows the settings in force.
TEST_F(TraceFileTest, AnnouncementAndOptionDisplayShowTheSettings) {
    std::string name = dir.file("announced.out");
    ASSERT_EQ(0, trOpen(name.c_str(), 1));
    trClose(0);
    std::string text = readFile(name);
    EXPECT_NE(std::string::npos, text.find("Tracing to file: " + name +
                                           "\n"
                                           "Tracefile maximum length set to 0 MB.\n"
                                           "----------------"))
        << text;

    trSetMax(10);
    trSetSegSize(3);
    testing::internal::CaptureStdout();
    trShowOptions();
    EXPECT_EQ("  TRACEFILE:    " + name + "\n  TRACEMAX :    10\n  TRACESEGSIZE: 3\n",
              testing::internal::GetCapturedStdout());
}

TEST_F(TraceFileTest, NamesAreUnquotedAndMadeFull) {
    char old[1024];
    ASSERT_NE(nullptr, getcwd(old, sizeof old));
    ASSERT_EQ(0, chdir(dir.path().c_str()));
    int rc = trOpen("\"rel.trc\"", 0);
    int changedBack = chdir(old);
    ASSERT_EQ(0, rc);
    ASSERT_EQ(0, changedBack);
    EXPECT_EQ(dir.file("rel.trc"), trGivenName());
    EXPECT_TRUE(zebotest::fileExists(dir.file("rel.trc")));
    trClose(0);

    for (std::string bad : {std::string(), std::string("''"), std::string(1024, 'a')}) {
        testing::internal::CaptureStdout();
        EXPECT_EQ(-1, trOpen(bad.c_str(), 0));
        EXPECT_EQ("Invalid trace file name\n", testing::internal::GetCapturedStdout());
    }
}

TEST_F(TraceFileTest, TraceIsPrivateAndNeverWrittenThroughALinkOrIntoAnotherUsersFile) {
    std::string target = dir.file("target");
    std::string link = dir.file("link.trc");
    zebotest::writeFile(target, "untouched", 0644);
    ASSERT_EQ(0, symlink(target.c_str(), link.c_str()));
    std::string foreign = dir.file("foreign.trc");
    zebotest::writeFile(foreign, "theirs", 0644);
    bool root = geteuid() == 0;
    if (root) {
        ASSERT_EQ(0, chown(foreign.c_str(), 65534, 65534));
    }
    for (unsigned long max : {0ul, 1ul}) {
        SCOPED_TRACE(max);
        // New, and an own file of an earlier run that others could read.
        std::string fresh = dir.file("fresh" + std::to_string(max) + ".trc");
        std::string old = dir.file("old" + std::to_string(max) + ".trc");
        zebotest::writeFile(old, "", 0644);
        for (const std::string& name : {fresh, old}) {
            ASSERT_EQ(0, trSetFlags("API", 1));
            trSetMax(max);
            ASSERT_EQ(0, trOpen(name.c_str(), 0));
            trClose(0);
            struct stat st;
            ASSERT_EQ(0, stat(name.c_str(), &st));
            EXPECT_EQ(0600u, st.st_mode & 07777) << name;
        }
        for (const std::string& name : {link, root ? foreign : link}) expectRefused(name, max);
        EXPECT_EQ("untouched", readFile(target));
        EXPECT_EQ("theirs", readFile(foreign));
    }
}

TEST_F(TraceFileTest, OpenFailureResetsTheTrace) {
    std::string name = dir.file("missing/trace.out");
    for (unsigned long max : {0ul, 1ul}) {
        expectRefused(name, max);
        EXPECT_EQ(0, TR_API);
        EXPECT_EQ(0, trIsActive());
    }
}

// Lines wait in the stream's buffer; a failure line brings them and itself
// to the file at once, and a flush leaves a wrapping file as writing every
// line through would: the header's position at the end mark behind the last
// line.
TEST_F(TraceFileTest, FailureLinesAndFlushesBringBufferedLinesToTheFile) {
    ASSERT_EQ(0, trSetFlags("API ERROR -TIMESTAMP -PREFIX", 1));
    std::string plain = dir.file("plain.out");
    ASSERT_EQ(0, trOpen(plain.c_str(), 0));
    const size_t header = fileSize(plain);
    TRACE(TR_API, "first\n");
    EXPECT_EQ(header, fileSize(plain));
    TRACE(TR_ERROR, "failed\n");
    EXPECT_EQ("first\nfailed\n", readFile(plain).substr(header));
    trClose(0);

    std::string wrapping = dir.file("wrap.out");
    trSetMax(1);
    ASSERT_EQ(0, trOpen(wrapping.c_str(), 0));
    for (int round = 0; round < 2; ++round) {
        writeLines(round * 10, 10, 100);
        trFlush();
        std::string text = readFile(wrapping);
        const std::string end = "\nEND OF DATA\n\n";
        ASSERT_GE(text.size(), end.size());
        EXPECT_EQ(end, text.substr(text.size() - end.size()));
        EXPECT_EQ(text.size() - end.size(), positionField(text));
        EXPECT_EQ(line(round * 10 + 9, 100), text.substr(text.size() - end.size() - 100, 100));
    }
    trClose(0);
}

TEST_F(TraceFileTest, WriteFailureDisablesTracing) {
    for (unsigned long max : {0ul, 1ul}) {
        ASSERT_EQ(0, trSetFlags("API", 1));
        trSetMax(max);
        ASSERT_EQ(0, trOpen("/dev/full", 0));
        ASSERT_EQ(1, trIsActive());
        testing::internal::CaptureStdout();
        TRACE(TR_API, "lost\n");
        EXPECT_EQ("Unable to write to trace file /dev/full. Tracing disabled.\n",
                  testing::internal::GetCapturedStdout());
        EXPECT_EQ(0, trIsActive());
        EXPECT_EQ(0, TR_API);
        TRACE(TR_API, "ignored\n");  // and the program goes on
    }
}

}  // namespace
