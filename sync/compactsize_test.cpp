// Sizes in four characters for the pick list.
#include "sync/compactsize.h"

#include <gtest/gtest.h>

#include "common/unx/nlsfmt.h"

namespace {

TEST(CompactSizeTest, FourCharactersAtMostInEveryUnit) {
    const std::pair<uint64_t, const char*> cases[] = {
        {0, "0B"},
        {999, "999B"},
        {1000, "1.0K"},  // would round to 1000: the
                         // next unit
        {1024, "1.0K"},
        {10137, "9.9K"},
        {10189, "10K"},
        {1022976, "999K"},
        {1023488, "1.0M"},
        {9876543210ull, "9.2G"},
        {~0ull, "16E"},
    };
    for (const auto& c : cases) {
        std::string shown = utCompactSize(c.first);
        EXPECT_EQ(c.second, shown) << c.first;
        EXPECT_LE(shown.size(), 4u) << c.first;
    }
    nlSetNumberFormat(5);  // 1.000,00
    EXPECT_EQ("2,5M", utCompactSize(2621440));
    nlSetNumberFormat(1);
}

}  // namespace
