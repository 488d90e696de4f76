// Test flags: undocumented switches that alter one behaviour each, set from
// a word list (NAME, NAME:number, NAME:"text", ALL) and looked up by name in
// a table. Each flag is a global record TEST_<NAME>. The client runtime's
// table (TestClassTable) and the agent's (AgentTestClassTable) share the
// parser.
//
// Thread safety: none; flags are set at start-up before threads exist.
#ifndef ZEBO_COMMON_UT_TESTFLAGS_H
#define ZEBO_COMMON_UT_TESTFLAGS_H

struct TestFlag {
    unsigned char set;  // 1 = on
    int number;         // from NAME:number
    char* text;         // owned copy of NAME:"text", or null
};

struct TestFlagRow {
    const char* name;  // upper case
    TestFlag* flag;
};

#define TEST_FLAG(name, global) extern TestFlag TEST_##global;
#include "common/ut/testflaglist.h"
#undef TEST_FLAG

// The agent's own flags.
extern TestFlag TEST_BUFFERORACLEDATA;
extern TestFlag TEST_ORACLEDATA;
extern TestFlag TEST_ORACLEDELAY;
extern TestFlag TEST_SYNCDBNORMAN;
extern TestFlag TEST_TEST;

// Both end with a null row.
extern TestFlagRow TestClassTable[];
extern TestFlagRow AgentTestClassTable[];

// The row index of `name` (compared in upper case), or -1.
int testFlagLookup(const char* name, const TestFlagRow* table);

// Parses a word list into the client table (testFlagsSet) or a given table.
// 0, or -1 for an unknown name or a bad number; flags set by earlier words
// stay set.
int testFlagsSet(const char* words);
int testFlagsSetTable(const char* words, TestFlagRow* table);

// Prints the rows of a table with their values (standard output).
void testFlagsShow(const TestFlagRow* table);

// Clears the records of the rows through NWSKIPTRUSTEECHECK (the trace
// object does so when it is created); later rows keep what they have.
void testFlagsClearAtTraceInit();

#endif
