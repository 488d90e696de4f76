#include "common/ut/testflags.h"

#include <gtest/gtest.h>
#include <string.h>

#include <string>

namespace {

class TestFlagsTest : public ::testing::Test {
  protected:
    void SetUp() override { clearAll(); }
    void TearDown() override { clearAll(); }
    static void clearAll() {
        for (TestFlagRow* table : {TestClassTable, AgentTestClassTable})
            for (TestFlagRow* row = table; row->name; row++) {
                free(row->flag->text);
                *row->flag = TestFlag{0, 0, nullptr};
            }
    }
};

TEST_F(TestFlagsTest, NamesAreMatchedInUpperCase) {
    EXPECT_EQ(0, testFlagsSet("clctimestamp"));
    EXPECT_EQ(1, TEST_CLC_TIMESTAMP.set);
    EXPECT_EQ(0, testFlagLookup("adpreopendelay", TestClassTable));
    EXPECT_EQ(-1, testFlagLookup("BLOCK", TestClassTable));
    EXPECT_EQ(-1, testFlagLookup("SYNCDBNORMAN", TestClassTable));
    EXPECT_EQ(3, testFlagLookup("SyncDbNorman", AgentTestClassTable));
}

TEST_F(TestFlagsTest, BadWordsFailTheListAfterEarlierWords) {
    EXPECT_EQ(-1, testFlagsSet("BLOCKLIMIT:12x"));
    EXPECT_EQ(0, TEST_BLOCKLIMIT.set);
    EXPECT_EQ(-1, testFlagsSet("TIMEOUT:99999999999999999999"));
    EXPECT_EQ(0, TEST_TIMEOUT.set);
    EXPECT_EQ(-1, testFlagsSet("MINPWLENGTH:8 FOO ANSIDISPLAY"));
    EXPECT_EQ(1, TEST_MINPWLENGTH.set);
    EXPECT_EQ(8, TEST_MINPWLENGTH.number);
    EXPECT_EQ(0, TEST_ANSIDISPLAY.set);
}

TEST_F(TestFlagsTest, QuotedTextKeepsBlanks) {
    ASSERT_EQ(0, testFlagsSet("APIDATAFILE:\"/tmp/a b.dat\"  TIMEOUT:-30 crc"));
    ASSERT_NE(nullptr, TEST_APIDATAFILE.text);
    EXPECT_STREQ("/tmp/a b.dat", TEST_APIDATAFILE.text);
    EXPECT_EQ(-30, TEST_TIMEOUT.number);
    EXPECT_EQ(nullptr, TEST_TIMEOUT.text);
    EXPECT_EQ(1, TEST_CRC.set);

    // Setting a flag again replaces its value.
    ASSERT_EQ(0, testFlagsSet("APIDATAFILE:7"));
    EXPECT_EQ(nullptr, TEST_APIDATAFILE.text);
    EXPECT_EQ(7, TEST_APIDATAFILE.number);

    // INSTRUMENT takes no value.
    ASSERT_EQ(0, testFlagsSet("INSTRUMENT:12x INSTRLOG:\"x\""));
    EXPECT_EQ(1, TEST_INSTRUMENT.set);
    EXPECT_EQ(0, TEST_INSTRUMENT.number);
    ASSERT_EQ(0, testFlagsSet("INSTRUMENT:\"a b\" NODATA"));
    EXPECT_EQ(nullptr, TEST_INSTRUMENT.text);
    EXPECT_EQ(1, TEST_NODATA.set);
}

TEST_F(TestFlagsTest, DisableConsistentRcIsCoupled) {
    ASSERT_EQ(0, testFlagsSet("SHOWALLCONSISTENTRC"));
    ASSERT_EQ(0, testFlagsSet("DISABLECONSISTENTRC"));
    EXPECT_EQ(1, TEST_IGNOREPRESCHEDULECMD.set);
    EXPECT_EQ(1, TEST_IGNOREPOSTSCHEDULECMD.set);
    EXPECT_EQ(0, TEST_SHOWALLCONSISTENTRC.set);
    // The coupling holds after every later word too.
    ASSERT_EQ(0, testFlagsSet("SHOWALLCONSISTENTRC"));
    EXPECT_EQ(0, TEST_SHOWALLCONSISTENTRC.set);
}

TEST_F(TestFlagsTest, AllSetsEveryRowOfItsTable) {
    ASSERT_EQ(0, testFlagsSetTable("all:\"t\"", AgentTestClassTable));
    for (TestFlagRow* row = AgentTestClassTable; row->name; row++) {
        EXPECT_EQ(1, row->flag->set) << row->name;
        EXPECT_STREQ("t", row->flag->text) << row->name;
        EXPECT_NE(TEST_SYNCDBNORMAN.text, TEST_TEST.text) << "each flag owns its copy";
    }
    EXPECT_EQ(0, TEST_CRC.set);
    EXPECT_EQ(-1, testFlagsSetTable("CLCTIMESTAMP", AgentTestClassTable));

    ASSERT_EQ(0, testFlagsSet("ALL:3"));
    EXPECT_EQ(3, TEST_WAITFORSNAPRESTOREFINISH.number);
    EXPECT_EQ(0, TEST_SHOWALLCONSISTENTRC.set) << "ALL sets DISABLECONSISTENTRC as well";
}

TEST_F(TestFlagsTest, TraceCreationClearsOnlyTheEarlyRows) {
    ASSERT_EQ(0, testFlagsSet("ALL:5"));
    testFlagsClearAtTraceInit();
    EXPECT_EQ(0, TEST_ADPREOPENDELAY.set);
    EXPECT_EQ(0, TEST_NWSKIPTRUSTEECHECK.set);
    EXPECT_EQ(0, TEST_NWSKIPTRUSTEECHECK.number);
    EXPECT_EQ(1, TEST_NWSSISIZE.set);
    EXPECT_EQ(1, TEST_OEMDISPLAY.set);
    EXPECT_EQ(5, TEST_WAITFORSNAPRESTOREFINISH.number);
}

}  // namespace
