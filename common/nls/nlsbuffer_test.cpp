#include "common/nls/nlsbuffer.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>

#include "testing/seam.h"

namespace {

int gReallocCalls = 0;
int gFailAt = 0;  // fail the Nth reallocation (0: never)

void* countingRealloc(void* block, size_t size) {
    ++gReallocCalls;
    if (gReallocCalls == gFailAt) return nullptr;
    return realloc(block, size);
}

class NlsBufferTest : public ::testing::Test {
  protected:
    void SetUp() override {
        gReallocCalls = 0;
        gFailAt = 0;
    }
    zebotest::ScopedSeam<void* (*)(void*, size_t)> realloc_{psAllocator.reallocFn, countingRealloc};
};

TEST_F(NlsBufferTest, GrowsInWholeFourKilobyteStepsOnlyWhenFull) {
    nlsCharBuffer small(1);  // never below 4 KB
    EXPECT_EQ(4u, small.capacityKB());
    EXPECT_STREQ("", small.text());

    nlsCharBuffer buf;
    std::string a(4095, 'a');               // 4095 characters and the NUL fill 4 KB exactly
    ASSERT_TRUE(buf.append(a.c_str(), 0));  // a count of zero: up to the NUL
    EXPECT_EQ(4u, buf.capacityKB());
    EXPECT_EQ(2, gReallocCalls);        // the two constructors, no growth yet
    ASSERT_TRUE(buf.append("bcd", 1));  // one more needs a new block of 8 KB
    EXPECT_EQ(8u, buf.capacityKB());
    ASSERT_TRUE(buf.append(std::string(10000, 'c').c_str()));
    EXPECT_EQ(16u, buf.capacityKB());  // 14097 bytes needed: (14097 / 4096 + 1) * 4 KB
    EXPECT_EQ(14096u, buf.length());
    EXPECT_EQ(a + "b" + std::string(10000, 'c'), buf.text());
    EXPECT_EQ(20u, nlsCharBuffer(20).capacityKB());

    // The wide buffer counts characters, not bytes.
    nlsWcharBuffer wide;
    EXPECT_EQ(sizeof(wchar_t), wide.charSize());
    std::wstring w(1023, L'\u00e4');  // 1024 wide characters with the NUL: 4 KB
    ASSERT_TRUE(wide.append(w.c_str()));
    EXPECT_EQ(4u, wide.capacityKB());
    ASSERT_TRUE(wide.append(L"z"));
    EXPECT_EQ(8u, wide.capacityKB());
    EXPECT_EQ(1024u, wide.length());
    EXPECT_EQ(w + L"z", wide.text());
}

TEST_F(NlsBufferTest, FailedGrowthEmptiesTheBufferWhichCanStartAgain) {
    nlsCharBuffer buf;
    buf.append("kept until the failure");
    gFailAt = gReallocCalls + 1;
    EXPECT_FALSE(buf.append(std::string(5000, 'x').c_str()));
    EXPECT_TRUE(buf.failed());
    EXPECT_EQ(0u, buf.length());
    EXPECT_EQ(0u, buf.capacityKB());
    EXPECT_STREQ("", buf.text());
    EXPECT_TRUE(buf.append("again"));
    EXPECT_STREQ("again", buf.text());
    EXPECT_EQ(4u, buf.capacityKB());
}

}  // namespace
