#include "demo/backupplan.h"

#include <gtest/gtest.h>
#include <stdio.h>

#include <map>
#include <set>

#include "demo/demo_testutil.h"

namespace {

using demo::BackupPiece;
using demo::DemoTime;
using demo::PieceKind;

using demotest::at;

std::vector<BackupPiece> demoPlan(int days = 150) {
    return demo::planBackups(demo::demoPlanOptions(at(2026, 11, 21), days));
}

TEST(BackupPlan, SameSeedSamePiecesOtherSeedOthers) {
    demo::PlanOptions o = demo::demoPlanOptions(at(2026, 11, 21), 60);
    std::vector<BackupPiece> a = demo::planBackups(o), b = demo::planBackups(o);
    ASSERT_EQ(a.size(), b.size());
    for (size_t i = 0; i < a.size(); ++i) {
        EXPECT_EQ(a[i].handle, b[i].handle);
        EXPECT_EQ(a[i].bytes, b[i].bytes);
        EXPECT_EQ(a[i].inCatalog, b[i].inCatalog);
    }
    o.seed += 1;
    std::vector<BackupPiece> c = demo::planBackups(o);
    size_t same = 0;
    for (size_t i = 0; i < a.size() && i < c.size(); ++i) same += a[i].handle == c[i].handle;
    EXPECT_LT(same, a.size() / 2);
}

// What the demonstration promises: a few thousand server objects of three
// databases over the whole period, every handle once, all completed before
// today, between 5 and 10 percent of them unknown to the catalog, and
// catalog-only pieces on disk.
TEST(BackupPlan, DemonstrationDataIsRealistic) {
    const std::vector<BackupPiece> pieces = demoPlan();
    std::set<std::string> handles;
    std::map<std::string, int> serverPerDb;
    int onServer = 0, orphans = 0, diskOnly = 0;
    const int64_t first = demo::secondsOf(at(2026, 11, 21)) - 150 * 86400;
    const int64_t today = demo::secondsOf(at(2026, 11, 21));
    for (const BackupPiece& p : pieces) {
        EXPECT_TRUE(handles.insert(p.handle).second) << "twice: " << p.handle;
        EXPECT_GE(demo::secondsOf(p.completed), first) << p.handle;
        EXPECT_LT(demo::secondsOf(p.completed), today) << p.handle;
        EXPECT_GT(p.bytes, 0u);
        EXPECT_EQ(0u, p.bytes % 8192);
        if (p.onServer) {
            ++onServer;
            ++serverPerDb[p.database];
            if (!p.inCatalog) ++orphans;
        } else {
            ++diskOnly;
            EXPECT_TRUE(p.inCatalog) << p.handle;
            EXPECT_EQ('/', p.handle[0]);
        }
    }
    EXPECT_GT(onServer, 2500);
    EXPECT_LT(onServer, 6000);
    EXPECT_EQ(3u, serverPerDb.size());
    EXPECT_GE(orphans * 100, onServer * 5) << orphans << " of " << onServer;
    EXPECT_LE(orphans * 100, onServer * 10) << orphans << " of " << onServer;
    EXPECT_GT(diskOnly, 20);
}

// The week of every database: three control-file autobackups a day with
// sequences 00 to 02, level 0 backups only on Sundays, a disk backup only
// on Saturdays.
TEST(BackupPlan, EveryDayFollowsTheSchedule) {
    const std::vector<BackupPiece> pieces = demoPlan(28);
    std::map<std::string, int> autobackupsPerDbDay;
    for (const BackupPiece& p : pieces) {
        const DemoTime jobDay =
            demo::fromDayNumber(demo::dayNumber(at(2026, 11, 21)) - 28 + p.dayIndex);
        switch (p.kind) {
            case PieceKind::ControlFile: {
                const std::string key = p.database + demo::compactDate(jobDay);
                const int seq = autobackupsPerDbDay[key]++;
                char tail[8];
                snprintf(tail, sizeof tail, "-%02x", seq);
                EXPECT_NE(std::string::npos, p.handle.find(demo::compactDate(jobDay) + tail))
                    << p.handle;
                break;
            }
            case PieceKind::Level0:
                EXPECT_EQ(0, demo::weekday(jobDay)) << p.handle;
                break;
            default:
                if (!p.onServer) {
                    EXPECT_EQ(6, demo::weekday(jobDay)) << p.handle;
                }
                break;
        }
    }
    EXPECT_EQ(3u * 28, autobackupsPerDbDay.size());
    for (const auto& e : autobackupsPerDbDay) EXPECT_EQ(3, e.second) << e.first;
}

// The clean-up window loses every piece of the first database on its days,
// and nothing of the others except the scattered losses; without losses
// configured the catalog lists every piece.
TEST(BackupPlan, CatalogLossesFollowTheOptions) {
    demo::PlanOptions o = demo::demoPlanOptions(at(2026, 11, 21), 60);
    o.scatteredLoss = 0;
    int windowPieces = 0;
    for (const BackupPiece& p : demo::planBackups(o)) {
        const bool inWindow =
            p.dayIndex >= o.lostWindowStart && p.dayIndex < o.lostWindowStart + o.lostWindowDays;
        if (p.onServer && p.database == "PROD" && inWindow) {
            ++windowPieces;
            EXPECT_FALSE(p.inCatalog) << p.handle;
        } else {
            EXPECT_TRUE(p.inCatalog) << p.handle;
        }
    }
    EXPECT_GT(windowPieces, o.lostWindowDays * 6);

    o.lostWindowDays = 0;
    o.scatteredLoss = 1.0;
    for (const BackupPiece& p : demo::planBackups(o))
        EXPECT_EQ(!p.onServer, p.inCatalog) << p.handle;
}

}  // namespace
