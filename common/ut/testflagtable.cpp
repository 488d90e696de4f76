// The test-flag records and the two tables that name them.
#include "common/ut/testflags.h"

#define TEST_FLAG(name, global) TestFlag TEST_##global = {0, 0, nullptr};
#include "common/ut/testflaglist.h"
#undef TEST_FLAG

TestFlag TEST_BUFFERORACLEDATA = {0, 0, nullptr};
TestFlag TEST_ORACLEDATA = {0, 0, nullptr};
TestFlag TEST_ORACLEDELAY = {0, 0, nullptr};
TestFlag TEST_SYNCDBNORMAN = {0, 0, nullptr};
TestFlag TEST_TEST = {0, 0, nullptr};

// Sorted alphabetically but for a few rows that stand where they always
// stood; lookup is linear, so the order only shows in the display.
TestFlagRow TestClassTable[] = {
#define TEST_FLAG(name, global) {#name, &TEST_##global},
#include "common/ut/testflaglist.h"
#undef TEST_FLAG
    {nullptr, nullptr},
};

TestFlagRow AgentTestClassTable[] = {
    {"BUFFERORACLEDATA", &TEST_BUFFERORACLEDATA},
    {"ORACLEDATA", &TEST_ORACLEDATA},
    {"ORACLEDELAY", &TEST_ORACLEDELAY},
    {"SYNCDBNORMAN", &TEST_SYNCDBNORMAN},
    {"TEST", &TEST_TEST},
    {nullptr, nullptr},
};
