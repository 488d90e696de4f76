#include "agent/zeboinit.h"

#include <gtest/gtest.h>
#include <string.h>

#include <string>

#include "agent/agent_testutil.h"
#include "agent/zebotrace.h"
#include "common/ut/testflags.h"
#include "common/ut/trace.h"
#include "testing/testutil.h"

namespace {

using agenttest::EnvSetting;
using agenttest::setSlot;
using zebotest::readFile;

TEST(ZeboInitTest, FormatNumbersOutOfTheirOwnRangeBecomeOne) {
    struct Case {
        const char* value;
        int date, time, number;
    } cases[] = {
        {"", 0, 0, 0},  {"0", 0, 0, 0}, {"4", 4, 4, 4},  {"5", 5, 1, 5},
        {"6", 1, 1, 6}, {"7", 1, 1, 1}, {"-1", 1, 1, 1}, {"2x", 2, 2, 2},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.value);
        AgentContext context;
        memset(&context, 0, sizeof context);
        setSlot(&context, OPT_ZEBO_DATE_FMT, c.value);
        setSlot(&context, OPT_ZEBO_TIME_FMT, c.value);
        setSlot(&context, OPT_ZEBO_NUM_FMT, c.value);
        ZeboFormats formats = zeboClampFormats(&context);
        EXPECT_EQ(c.date, formats.dateFmt);
        EXPECT_EQ(c.time, formats.timeFmt);
        EXPECT_EQ(c.number, formats.numberFmt);
    }
}

// The trace settings drive the process's one trace facility: every test
// ends the trace object again, which switches every class off.
class TraceSettingsTest : public ::testing::Test {
  protected:
    TraceSettingsTest()
        : env_({{"ZEBO_AGENT_DIR", dir_.path()}, {"ZEBO_OPTFILE", dir_.file("zebo.opt")}}) {
        agenttest::openMessages();
        zebotest::writeFile(dir_.file("zebo.opt"), "RVKI_LOG " + dir_.path() + "\n");
        memset(&context_, 0, sizeof context_);
        trcClass = new ZeboTrace();
    }
    ~TraceSettingsTest() override {
        zeboEndTrace();
        TEST_SYNCDBNORMAN = TestFlag();
        TEST_TEST = TestFlag();
    }

    zebotest::TempDir dir_;
    EnvSetting env_;
    AgentContext context_;
};

TEST_F(TraceSettingsTest, FlagsCountOnlyWithATraceFile) {
    setSlot(&context_, OPT_ZEBO_TRACE_FLAGS, "ORCLEVEL1 MEM");
    setSlot(&context_, OPT_ZEBO_TEST_FLAGS, "syncdbnorman");
    zeboSetTrace(&context_);
    EXPECT_EQ(0, TR_ORCLEVEL1);
    EXPECT_EQ(0, trIsActive());
    // Test flags do not need a trace file, and take the agent's table.
    EXPECT_EQ(1, TEST_SYNCDBNORMAN.set);

    setSlot(&context_, OPT_ZEBO_TRACE_FILE, dir_.file("agent.trc"));
    setSlot(&context_, OPT_ZEBO_TRACE_MAX, "5");
    zeboSetTrace(&context_);
    EXPECT_EQ(1, TR_ORCLEVEL1);
    EXPECT_EQ(1, TR_MEM);
    EXPECT_EQ(0, TR_ORCLEVEL2);
    TraceSizes sizes;
    trGetSizes(&sizes);
    EXPECT_EQ(5u, sizes.traceMax);
    EXPECT_TRUE(zebotest::fileExists(dir_.file("agent.trc")));
}

TEST_F(TraceSettingsTest, TraceFileThatCannotBeOpenedIsLoggedAndIgnored) {
    setSlot(&context_, OPT_ZEBO_TRACE_FILE, dir_.file("no/such/dir/agent.trc"));
    setSlot(&context_, OPT_ZEBO_TRACE_FLAGS, "ORCLEVEL0");
    zeboSetTrace(&context_);
    EXPECT_EQ(0, TR_ORCLEVEL0);
    EXPECT_NE(std::string::npos, readFile(dir_.file("zeboerror.log")).find("QEV0003E"));
}

TEST_F(TraceSettingsTest, BannerDumpsTheOptionsInItsOwnOrder) {
    ASSERT_EQ(0, agenttest::loadClientLibrary());
    setSlot(&context_, OPT_ZEBO_TRACE_FILE, dir_.file("agent.trc"));
    setSlot(&context_, OPT_ZEBO_TRACE_FLAGS, "ORCLEVEL0");
    setSlot(&context_, OPT_ZEBO_TEST_FLAGS, "TEST");
    setSlot(&context_, OPT_ZEBO_MGMT_CLASS_2, "mc2");
    setSlot(&context_, OPT_ZEBO_DATE_FMT, "3");
    setSlot(&context_, OPT_ZEBO_LANGUAGE, "de_DE");
    zeboSetTrace(&context_);
    zeboTraceBanner(&context_);
    std::string trace = readFile(dir_.file("agent.trc"));
    size_t traceFlags = trace.find(" ZEBO_TRACE_FLAGS   : ORCLEVEL0\n");
    size_t testFlags = trace.find(" ZEBO_TEST_FLAGS    : TEST\n");
    size_t mgmt = trace.find(" ZEBO_MGMT_CLASS_2  : mc2\n");
    ASSERT_NE(std::string::npos, traceFlags);
    ASSERT_NE(std::string::npos, testFlags);
    ASSERT_NE(std::string::npos, mgmt);
    EXPECT_LT(traceFlags, testFlags);
    EXPECT_LT(testFlags, mgmt);
    EXPECT_NE(std::string::npos, trace.find(" ZEBO_DATE_FORMAT   : 3\n"));
    EXPECT_NE(std::string::npos, trace.find(" ZEBO_LANGUAGE      : de_DE\n\n"));

    // Without the prefix class neither part is written.
    trcClass->setFlags("-PREFIX");
    size_t before = readFile(dir_.file("agent.trc")).size();
    zeboTraceBanner(&context_);
    std::string after = readFile(dir_.file("agent.trc"));
    EXPECT_EQ(std::string::npos, after.find("Tracing started for", before));
    EXPECT_EQ(std::string::npos, after.find("RVKI_DIR", before));
}

}  // namespace
