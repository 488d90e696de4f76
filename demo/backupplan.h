// A few months of RMAN backups of a handful of databases, as a backup
// administrator would have scheduled them, and the state that the Recovery
// Catalog and the VLT Server are left in afterwards.
//
// Every database runs the same week: archived-log backups at 06:00 and
// 14:00, a nightly incremental backup at 21:00 (level 0 on Sundays, level 1
// otherwise) followed by its archived logs, and a control-file autobackup
// after each job. All of that goes through the agent to the VLT Server. On
// Saturdays an extra level 1 backup goes to the fast recovery area on disk:
// the catalog lists those pieces, the server never sees them.
//
// Then the catalog forgets some server pieces, which is what zebosync exists
// for: a clean-up of the first database that removed the catalog records of
// a run of days while the media manager kept the objects, and records that
// went away one by one (expired and deleted after a crosscheck that could
// not reach the server). Those pieces are the orphans.
//
// The plan is a pure function of its options: the same seed gives the same
// pieces, so a test can know the answer beforehand.
#ifndef ZEBO_DEMO_BACKUPPLAN_H
#define ZEBO_DEMO_BACKUPPLAN_H

#include <stdint.h>

#include <string>
#include <vector>

#include "demo/demotime.h"
#include "demo/rmanhandle.h"

namespace demo {

struct DemoDatabase {
    std::string name;  // DB_NAME; the object's high-level name is "/" + name
    uint64_t dbid = 0;
    HandleStyle style = HandleStyle::DbSetPieceStamp;
    int startOffsetMinutes = 0;  // staggers the databases' jobs
    uint32_t firstSet = 1;       // number of the first backup set of the plan
    double sizeScale = 1.0;      // size of the database relative to the others
};

struct BackupPiece {
    std::string database;
    std::string handle;
    PieceKind kind = PieceKind::Level1;
    DemoTime completed;  // completion in the catalog, insertion on the server
    uint64_t bytes = 0;
    int dayIndex = 0;       // day of the job, counted from the plan's first day
    bool onServer = true;   // written through the agent to the VLT Server
    bool inCatalog = true;  // still listed in the Recovery Catalog
};

struct PlanOptions {
    std::vector<DemoDatabase> databases;
    DemoTime firstDay;
    int days = 150;
    uint64_t seed = 20260612;
    // Share of the other server pieces whose catalog records went away one
    // by one (0 to 1).
    double scatteredLoss = 0.0;
    // Days (from the first day) of the clean-up that lost the first
    // database's records; no such window when lostWindowDays is 0.
    int lostWindowStart = 0;
    int lostWindowDays = 0;
    // Saturday backups to disk (catalog only).
    bool diskBackups = false;
};

// The three databases of the demonstration's agent node, one per handle
// style: PROD, HRDB, FINDB.
std::vector<DemoDatabase> agentDatabases();

// The database of another node that shares the server: DWH.
std::vector<DemoDatabase> otherNodeDatabases();

// The options of the demonstration: the agent's databases over `days` days
// that end the day before `today`, orphans between 5 and 10 percent.
PlanOptions demoPlanOptions(const DemoTime& today, int days);

// Every piece of the plan, in the order the jobs wrote them.
std::vector<BackupPiece> planBackups(const PlanOptions& options);

}  // namespace demo

#endif
