#include "agent/zebomem.h"

#include <gtest/gtest.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <initializer_list>
#include <string>

#include "api/api_testutil.h"
#include "testing/testutil.h"

namespace {

std::string hex(const void* p) {
    char buf[32];
    snprintf(buf, sizeof buf, "%x", static_cast<unsigned>(reinterpret_cast<uintptr_t>(p)));
    return buf;
}

// Every line of `expected` is somewhere in `text`.
void expectLines(const std::string& text, std::initializer_list<std::string> expected) {
    for (const std::string& line : expected) EXPECT_NE(std::string::npos, text.find(line)) << line;
}

// An allocator whose calls fail while `failing` is set, and which counts
// every call that reaches it.
int gCalls = 0;
bool gFailing = false;
void* testMalloc(size_t n) {
    return ++gCalls, gFailing ? nullptr : malloc(n);
}
void* testCalloc(size_t c, size_t n) {
    return ++gCalls, gFailing ? nullptr : calloc(c, n);
}
void* testRealloc(void* p, size_t n) {
    return ++gCalls, gFailing ? nullptr : realloc(p, n);
}

class ZeboMemTest : public ::testing::Test {
  protected:
    void SetUp() override {
        gCalls = 0;
        gFailing = false;
        ZeboAllocator counting = {testMalloc, testCalloc, testRealloc, free};
        zeboSetAllocator(&counting);
    }
    void TearDown() override { zeboSetAllocator(nullptr); }
};

TEST_F(ZeboMemTest, EveryAllocationAndReleaseLeavesAPairedTraceLine) {
    TraceToFile trace({&TR_MEM});
    void* m = MALLOC("a.cpp", 10, 100);
    char* c = static_cast<char*>(CALLOC("b.cpp", 20, 4, 25));
    ASSERT_NE(m, nullptr);
    ASSERT_NE(c, nullptr);
    for (int i = 0; i < 100; ++i) EXPECT_EQ(c[i], 0) << i;
    std::string mAddr = hex(m), cAddr = hex(c);
    void* r = REALLOC("c.cpp", 30, &m, 5000);
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(r, m);
    std::string rAddr = hex(r);
    FREE(&m, "d.cpp", 40);
    FREE(&c, "e.cpp", 50);
    EXPECT_EQ(m, nullptr);
    EXPECT_EQ(c, nullptr);

    expectLines(
        trace.finish(),
        {"MALLOC()ed <100> bytes at address: <" + mAddr + "> in ==> a.cpp(10).\n",
         "CALLOC()ed <4> elements of size <25> at address <" + cAddr + "> in ==> b.cpp(20).\n",
         "REALLOC()ed memory to <5000> bytes at address: <" + rAddr + "> in ==> c.cpp(30).\n",
         "FREE()ing memory at address <" + rAddr + "> in ==> d.cpp(40).\n",
         "FREE()ing memory at address <" + cAddr + "> in ==> e.cpp(50).\n"});
}

TEST_F(ZeboMemTest, RefusedCallsAllocateNothingAndSayWhy) {
    TraceToFile trace({&TR_MEM});
    void* none = nullptr;
    EXPECT_EQ(MALLOC("a.cpp", 1, 0), nullptr);
    EXPECT_EQ(CALLOC("a.cpp", 2, 0, 8), nullptr);
    EXPECT_EQ(CALLOC("a.cpp", 3, 8, 0), nullptr);
    EXPECT_EQ(REALLOC("a.cpp", 4, &none, 64), nullptr);
    EXPECT_EQ(REALLOC("a.cpp", 5, static_cast<void**>(nullptr), 64), nullptr);
    FREE(&none, "a.cpp", 6);
    FREE(static_cast<void**>(nullptr), "a.cpp", 7);
    EXPECT_EQ(gCalls, 0);  // a null slot is not an allocation from nothing
    EXPECT_EQ(none, nullptr);

    expectLines(trace.finish(),
                {"ERROR: Tried to MALLOC() <0> bytes in ==> a.cpp(1).\n",
                 "ERROR: Tried to CALLOC() <0> elements in ==> a.cpp(2).\n",
                 "ERROR: Tried to CALLOC() elements of size <0> in ==> a.cpp(3).\n",
                 "ERROR: Tried to REALLOC() <64> bytes with NULL pointer in ==> a.cpp(4).\n",
                 "ERROR: Tried to free NULL pointer in ==> a.cpp(6).\n",
                 "ERROR: Tried to free NULL pointer in ==> a.cpp(7).\n"});
}

TEST_F(ZeboMemTest, FailedAllocationsReturnNullAndAFailedReallocLosesTheBlock) {
    void* block = MALLOC("a.cpp", 1, 16);
    ASSERT_NE(block, nullptr);
    void* slot = block;
    TraceToFile trace({&TR_MEM});
    gFailing = true;
    EXPECT_EQ(MALLOC("f.cpp", 11, 32), nullptr);
    EXPECT_EQ(CALLOC("f.cpp", 12, 3, 7), nullptr);
    EXPECT_EQ(REALLOC("f.cpp", 13, &slot, 1 << 20), nullptr);
    EXPECT_EQ(slot, nullptr);  // kept deliberately: the caller's hold is gone
    free(block);

    expectLines(trace.finish(),
                {"ERROR: Failed to malloc() <32> bytes ==> f.cpp(11).\n",
                 "ERROR: Failed to calloc() <3> elements of size <7> in ==> f.cpp(12).\n",
                 "ERROR: Failed to realloc() <1048576> bytes in ==>  f.cpp(13).\n"});
}

TEST_F(ZeboMemTest, MissingFileNameAndClassOffAndTypedSlots) {
    {
        TraceToFile trace({&TR_MEM});
        FREE(static_cast<void**>(nullptr), nullptr, 9);
        expectLines(trace.finish(), {std::string("ERROR: Tried to free NULL pointer in ==> ") +
                                     trNullString + "(9).\n"});
    }
    TraceToFile quiet({});
    int* numbers = static_cast<int*>(MALLOC(__FILE__, __LINE__, 4 * sizeof(int)));
    ASSERT_NE(numbers, nullptr);
    numbers[3] = 7;
    ASSERT_NE(REALLOC(__FILE__, __LINE__, &numbers, 400 * sizeof(int)), nullptr);
    EXPECT_EQ(numbers[3], 7);
    FREE(&numbers, __FILE__, __LINE__);
    EXPECT_EQ(numbers, nullptr);
    EXPECT_EQ(std::string::npos, quiet.finish().find("MALLOC()ed"));
}

}  // namespace
