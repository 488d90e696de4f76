#include "agent/zebomem.h"

#include <gtest/gtest.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <utility>

#include "api/api_testutil.h"
#include "testing/seam.h"
#include "testing/testutil.h"

namespace {

std::string hex(const void* p) {
    char buf[32];
    snprintf(buf, sizeof buf, "<%x>", static_cast<unsigned>(reinterpret_cast<uintptr_t>(p)));
    return buf;
}

// The number of lines of `text` that contain `what`.
int linesWith(const std::string& text, const std::string& what) {
    int n = 0;
    for (const std::string& line : zebotest::lines(text)) n += line.find(what) != std::string::npos;
    return n;
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
    }
    zebotest::ScopedSeam<PsAllocator> allocator_{psAllocator,
                                                 {testMalloc, testCalloc, testRealloc, free}};
};

TEST_F(ZeboMemTest, EveryAllocationAndReleaseLeavesAPairedTraceLine) {
    TraceToFile trace({&TR_MEM});
    void* m = MALLOC("a.cpp", 10, 100);
    char* c = static_cast<char*>(CALLOC("b.cpp", 20, 4, 25));
    ASSERT_NE(m, nullptr);
    ASSERT_NE(c, nullptr);
    for (int i = 0; i < 100; ++i) EXPECT_EQ(c[i], 0) << i;
    const std::string mAddr = hex(m), cAddr = hex(c);
    void* r = REALLOC("c.cpp", 30, &m, 5000);
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(r, m);
    const std::string rAddr = hex(r);
    FREE(&m, "d.cpp", 40);
    FREE(&c, "e.cpp", 50);
    EXPECT_EQ(m, nullptr);
    EXPECT_EQ(c, nullptr);

    // Each call's line names the block by its address: every release pairs
    // with an allocation.
    const std::pair<std::string, const char*> calls[] = {{mAddr, "a.cpp(10)"},
                                                         {cAddr, "b.cpp(20)"},
                                                         {rAddr, "c.cpp(30)"},
                                                         {rAddr, "d.cpp(40)"},
                                                         {cAddr, "e.cpp(50)"}};
    std::string text = trace.finish();
    for (const auto& call : calls) {
        EXPECT_EQ(1, linesWith(text, call.first + " in ==> " + call.second)) << call.second;
    }
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
    FREE(static_cast<void**>(nullptr), nullptr, 7);
    EXPECT_EQ(gCalls, 0);  // a null slot is not an allocation from nothing
    EXPECT_EQ(none, nullptr);

    // One line per refusal; a missing file name is printed as the null text.
    std::string text = trace.finish();
    EXPECT_EQ(7, linesWith(text, "ERROR: Tried to ")) << text;
    EXPECT_EQ(1, linesWith(text, trNullString + std::string("(7).")));
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
    EXPECT_EQ(3, linesWith(trace.finish(), "ERROR: Failed to "));
}

TEST_F(ZeboMemTest, TypedSlotsKeepTheirContentsAndAClassOffTracesNothing) {
    TraceToFile quiet({});
    int* numbers = static_cast<int*>(MALLOC(__FILE__, __LINE__, 4 * sizeof(int)));
    ASSERT_NE(numbers, nullptr);
    numbers[3] = 7;
    ASSERT_NE(REALLOC(__FILE__, __LINE__, &numbers, 400 * sizeof(int)), nullptr);
    EXPECT_EQ(numbers[3], 7);
    FREE(&numbers, __FILE__, __LINE__);
    EXPECT_EQ(numbers, nullptr);
    EXPECT_EQ(0, linesWith(quiet.finish(), __FILE__));
}

}  // namespace
