// The names that RMAN gives backup pieces, as the demonstration's databases
// are configured to write them. The handle is what the Recovery Catalog
// keeps in rc_backup_piece and what the agent stores as the low-level name
// of the piece's object on the VLT Server, so the two sides of the demo
// agree on it character for character.
//
// Formats used (each database has its own FORMAT setting):
//   %d_%s_%p_%t              PROD_48213_1_1236470823
//   %U (%u_%p_%c)            a1vkq3m7_1_1
//   ORA_%d_df%t_s%s_p%p      ORA_FINDB_df1236470823_s9120_p1 (al for logs)
//   %F (control autobackup)  c-2837461950-20260612-02
//   OMF pieces on disk       /u01/app/oracle/fast_recovery_area/PROD/backupset/
//                            2026_06_13/o1_mf_nnnd0_TAG20260613T030012_k7x2m9qd_.bkp
#ifndef ZEBO_DEMO_RMANHANDLE_H
#define ZEBO_DEMO_RMANHANDLE_H

#include <stdint.h>

#include <string>

#include "demo/demotime.h"

namespace demo {

enum class PieceKind { Level0, Level1, ArchiveLog, ControlFile };

enum class HandleStyle {
    DbSetPieceStamp,  // %d_%s_%p_%t
    Unique,           // %U
    OraPrefix,        // ORA_%d_df%t_s%s_p%p / ORA_%d_al%t_s%s_p%p
};

// RMAN's backup-set stamp (%t): the time counted in a calendar of 31-day
// months from 1988-01-01 00:00:00, so that it grows with time and fits in
// 32 bits for more than a century.
uint32_t rmanStamp(const DemoTime& t);

// The handle of piece `piece` (from 1) of backup set `set` with stamp
// `stamp`, for a piece of `kind` other than ControlFile.
std::string pieceHandle(HandleStyle style, const std::string& database, uint32_t set, int piece,
                        uint32_t stamp, PieceKind kind);

// A control-file autobackup: "c-" dbid "-" YYYYMMDD "-" two lower-case hex
// digits of the day's sequence (0-255).
std::string autobackupHandle(uint64_t dbid, const DemoTime& day, int sequence);

// A piece that RMAN wrote to the fast recovery area on disk under an
// Oracle-managed name; `unique` supplies its eight random characters.
std::string diskPieceHandle(const std::string& database, PieceKind kind, const DemoTime& start,
                            uint64_t unique);

}  // namespace demo

#endif
