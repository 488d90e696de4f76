// Test support: a fixture that returns the process's trace object to its
// state after creation before and after every test.
#ifndef ZEBO_COMMON_UT_TRACETEST_H
#define ZEBO_COMMON_UT_TRACETEST_H

#include <gtest/gtest.h>

#include "common/ut/trace.h"

class TraceTest : public ::testing::Test {
  protected:
    void SetUp() override { clean(); }
    void TearDown() override { clean(); }
    static void clean() {
        trcInit(4, 0, 0);  // every trace test runs as client type 4
        trReset(1);
        trSetSegSize(0);
        trSetConsoleAllowed(1);
        trSetConsoleRoutine(nullptr, nullptr);
        trSetThreadIdRoutine(nullptr);
    }
};

#endif
