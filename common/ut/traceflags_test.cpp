#include <errno.h>
#include <string.h>

#include "common/ut/tracetest.h"

namespace {

using TraceFlagsTest = TraceTest;

// Names of the classes of a table whose switch is in the given state.
std::string classesIn(const TraceClassRow* table, unsigned char state) {
    std::string names;
    for (const TraceClassRow* row = table; row->name; row++)
        if (*row->flag == state) names += std::string(row->name) + " ";
    return names;
}

TEST_F(TraceFlagsTest, FirstSettingTurnsOnThePrefixOnce) {
    EXPECT_EQ(0, trSetFlags("API", 0));
    EXPECT_EQ(1, TR_PREFIX);
    EXPECT_EQ(1, TR_TIMESTAMP);
    EXPECT_EQ(0, trSetFlags("-PREFIX", 0));
    EXPECT_EQ(0, trSetFlags("NLS", 0));
    EXPECT_EQ(0, TR_PREFIX) << "defaults are applied only by the first setting";
}

TEST_F(TraceFlagsTest, AllNeverTouchesTimestampAndPrefix) {
    ASSERT_EQ(0, trSetFlags("-TIMESTAMP", 0));  // PREFIX on, TIMESTAMP off
    ASSERT_EQ(0, trSetFlags("ALL -NLS", 0));
    EXPECT_EQ("NLS TIMESTAMP ", classesIn(ClassTable, 0));
    EXPECT_EQ(1, TR_PREFIX);
    EXPECT_EQ(1, TR_ALL);

    ASSERT_EQ(0, trSetFlags("-ALL", 0));
    EXPECT_EQ("PREFIX ", classesIn(ClassTable, 1));
    EXPECT_EQ(0, TR_ALL);
}

TEST_F(TraceFlagsTest, NegatedAggregateSwitchesEveryMemberOff) {
    ASSERT_EQ(0, trSetFlags("ALL", 0));
    ASSERT_EQ(0, trSetFlags("-SERVICE", 0));
    // SERVICE begins with ALL: applied switched off, so is every other member.
    EXPECT_EQ("TIMESTAMP PREFIX ", classesIn(ClassTable, 1));

    ASSERT_EQ(0, trSetFlags("ALL_API", 0));
    EXPECT_EQ(1, TR_API_DETAIL);
    ASSERT_EQ(0, trSetFlags("-ALL_API", 0));
    EXPECT_EQ(0, TR_API);
    EXPECT_EQ(0, TR_API_DETAIL);
}

TEST_F(TraceFlagsTest, AggregatesNestAndNegateInsideTheirLists) {
    ASSERT_EQ(0, trSetFlags("SERVICE", 0));
    EXPECT_EQ(0, TR_NLS);
    EXPECT_EQ(0, TR_DEBUG);
    EXPECT_EQ(1, TR_API);
    EXPECT_EQ(1, TR_TIMESTAMP);

    trReset(0);
    ASSERT_EQ(0, trSetFlags("develop", 0));  // SERVICE -TIMESTAMP
    EXPECT_EQ(0, TR_TIMESTAMP);
    EXPECT_EQ(1, TR_SESSION);

    trReset(0);
    ASSERT_EQ(0, trSetFlags("ALL_PROC", 0));  // ALL_BACK ALL_FILE ALL_SESS
    EXPECT_EQ(
        "DIROPS FILEOPS INCR SESSION TXN POLICY VERBADMIN VERBINFO TIMESTAMP PREFIX SESSVERB "
        "FIOATTRIBS PFM PFM_DETAIL VERBDETAIL C2C ",
        classesIn(ClassTable, 1));
}

TEST_F(TraceFlagsTest, UnknownWordFailsAfterEarlierWords) {
    testing::internal::CaptureStdout();
    errno = 1234;
    EXPECT_EQ(-1, trSetFlags("api -foo nls", 0));
    EXPECT_EQ(1234, errno);
    EXPECT_EQ("Invalid trace flag: FOO\n", testing::internal::GetCapturedStdout());
    EXPECT_EQ(1, TR_API);
    EXPECT_EQ(0, TR_NLS) << "words after the unknown one are not applied";

    testing::internal::CaptureStdout();
    EXPECT_EQ(-1, trSetFlags("BAR", 1));
    EXPECT_EQ("", testing::internal::GetCapturedStdout());
}

TEST_F(TraceFlagsTest, AgentTablesUseTheSameParser) {
    ASSERT_EQ(0, trSetFlagsTables("DETAILED", 0, AgentClassTable, AgentAggregateTable));
    EXPECT_EQ(1, TR_ALL) << "the aggregate DETAILED is ALL";
    EXPECT_EQ(1, TR_ORCLEVEL2);
    EXPECT_EQ(1, TR_MEM);
    EXPECT_EQ(0, TR_COMM) << "client-only classes are not in the agent's table";

    trReset(0);
    ASSERT_EQ(0, trSetFlagsTables("SERVICE", 0, AgentClassTable, AgentAggregateTable));
    EXPECT_EQ(1, TR_ORCLEVEL0);
    EXPECT_EQ(1, TR_API);
    EXPECT_EQ(0, TR_NLS);
    EXPECT_EQ(0, TR_MEM);
    EXPECT_EQ(0, TR_MUTEX);

    testing::internal::CaptureStdout();
    EXPECT_EQ(-1, trSetFlagsTables("orclevel1 COMM", 0, AgentClassTable, AgentAggregateTable));
    EXPECT_EQ("Invalid trace flag: COMM\n", testing::internal::GetCapturedStdout());
}

}  // namespace
