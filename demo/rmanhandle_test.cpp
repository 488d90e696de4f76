#include "demo/rmanhandle.h"

#include <gtest/gtest.h>

#include <regex>

namespace {

using demo::DemoTime;
using demo::HandleStyle;
using demo::PieceKind;

DemoTime at(int y, int mo, int d, int h = 0, int mi = 0, int s = 0) {
    DemoTime t;
    t.year = y;
    t.month = mo;
    t.day = d;
    t.hour = h;
    t.minute = mi;
    t.second = s;
    return t;
}

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

TEST(RmanHandle, FormatsOfTheDatabases) {
    const uint32_t stamp = demo::rmanStamp(at(2026, 6, 12, 21, 0, 4));
    EXPECT_EQ("PROD_48213_2_" + std::to_string(stamp),
              demo::pieceHandle(HandleStyle::DbSetPieceStamp, "PROD", 48213, 2, stamp,
                                PieceKind::Level0));
    EXPECT_EQ(
        "ORA_FINDB_df" + std::to_string(stamp) + "_s9120_p1",
        demo::pieceHandle(HandleStyle::OraPrefix, "FINDB", 9120, 1, stamp, PieceKind::Level1));
    EXPECT_EQ(
        "ORA_FINDB_al" + std::to_string(stamp) + "_s9121_p1",
        demo::pieceHandle(HandleStyle::OraPrefix, "FINDB", 9121, 1, stamp, PieceKind::ArchiveLog));
    // %U: set 9061 = 8*1024 + 27*32 + 5 -> "8r5"; the stamp's low 25 bits in
    // five base-32 digits.
    const std::string u = demo::pieceHandle(HandleStyle::Unique, "HRDB", 9061, 1,
                                            32 * 32 * 32 * 32 + 31, PieceKind::Level1);
    EXPECT_EQ("8r51000v_1_1", u);
    EXPECT_NE(u, demo::pieceHandle(HandleStyle::Unique, "HRDB", 9062, 1, 32 * 32 * 32 * 32 + 31,
                                   PieceKind::Level1));

    EXPECT_EQ("c-2837461950-20260612-00",
              demo::autobackupHandle(2837461950ull, at(2026, 6, 12), 0));
    EXPECT_EQ("c-2837461950-20260612-0a",
              demo::autobackupHandle(2837461950ull, at(2026, 6, 12, 23), 10));
    EXPECT_EQ("c-1093847562-20260101-ff",
              demo::autobackupHandle(1093847562ull, at(2026, 1, 1), 255));
}

TEST(RmanHandle, DiskPiecesHaveManagedNames) {
    const std::string h =
        demo::diskPieceHandle("HRDB", PieceKind::Level1, at(2026, 6, 13, 3, 0, 12), 123456789);
    EXPECT_TRUE(std::regex_match(
        h, std::regex("/u01/app/oracle/fast_recovery_area/HRDB/backupset/2026_06_13/"
                      "o1_mf_nnnd1_TAG20260613T030012_[0-9a-z]{8}_\\.bkp")))
        << h;
    EXPECT_NE(
        h, demo::diskPieceHandle("HRDB", PieceKind::Level1, at(2026, 6, 13, 3, 0, 12), 123456790));
}

}  // namespace
