#include "demo/rmanhandle.h"

#include <gtest/gtest.h>

#include "demo/demo_testutil.h"

namespace {

using demo::HandleStyle;
using demo::PieceKind;
using demotest::at;

// The stamp counts 31-day months: the last second of a 30-day month and the
// first of the next are 86,401 apart, and the value grows with time.
TEST(RmanHandle, StampCountsThirtyOneDayMonths) {
    EXPECT_EQ(0u, demo::rmanStamp(at(1988, 1, 1)));
    EXPECT_EQ(31u * 86400, demo::rmanStamp(at(1988, 2, 1)));
    EXPECT_EQ(1235728800u, demo::rmanStamp(at(2026, 6, 12, 10)));
    EXPECT_EQ(86401u,
              demo::rmanStamp(at(2026, 7, 1)) - demo::rmanStamp(at(2026, 6, 30, 23, 59, 59)));
    EXPECT_LT(demo::rmanStamp(at(2026, 12, 31, 23, 59, 59)), demo::rmanStamp(at(2027, 1, 1)));
}

// %U: set 9061 = 8*1024 + 27*32 + 5 -> "8r5"; the stamp's low 25 bits in five
// base-32 digits. Autobackup sequences are two hexadecimal digits.
TEST(RmanHandle, EncodedParts) {
    const uint32_t stamp = 32 * 32 * 32 * 32 + 31;
    const std::string u =
        demo::pieceHandle(HandleStyle::Unique, "HRDB", 9061, 1, stamp, PieceKind::Level1);
    EXPECT_EQ("8r51000v_1_1", u);
    EXPECT_NE(u, demo::pieceHandle(HandleStyle::Unique, "HRDB", 9062, 1, stamp, PieceKind::Level1));
    EXPECT_EQ("c-2837461950-20260612-0a",
              demo::autobackupHandle(2837461950ull, at(2026, 6, 12, 23), 10));
    EXPECT_EQ("c-1093847562-20260101-ff",
              demo::autobackupHandle(1093847562ull, at(2026, 1, 1), 255));
}

}  // namespace
