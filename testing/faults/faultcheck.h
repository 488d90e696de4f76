// What a deleting run of zebosync left behind, read from every place that
// records it: the server's objects, its activity log, the report file
// (-OUTfile) and the summary on the screen. The fault matrix and the kill
// tests use it to check that all of them tell one story: the objects gone
// from the server are exactly those that a committed transaction deleted.
//
// Objects are the pieces of syncrun::Scratch ("/koruorc/db1/piece<n>"),
// known here by their numbers.
#ifndef ZEBO_TESTING_FAULTS_FAULTCHECK_H
#define ZEBO_TESTING_FAULTS_FAULTCHECK_H

#include <map>
#include <set>
#include <string>
#include <vector>

#include "sync/syncrun_testutil.h"

namespace faultcheck {

using Pieces = std::set<int>;

// The pieces on the server now.
Pieces onServer(const syncrun::Scratch& scratch);

// The pieces that the activity log names as deleted, one entry per log
// line, in the log's order (a piece loaded again and deleted again counts
// twice).
std::vector<int> loggedDeletions(const syncrun::Scratch& scratch);

// Loads the pieces again, so that the next run finds the same orphans.
void reload(syncrun::Scratch& scratch, const Pieces& pieces);

// The report file: the orphans listed and, per outcome ("committed",
// "rolled back", "failed", "not attempted"), the pieces of every deletion
// pass. `present` is false when the file does not exist.
struct Report {
    bool present = false;
    Pieces orphans;
    std::map<std::string, Pieces> outcomes;
};
Report readReport(const std::string& path);

// The deletion summary on the screen (QEV2635I, QEV2636W, QEV2637W), summed
// over the passes; -1 where the screen shows none.
struct Summary {
    long committed = -1;
    long rolledBack = -1;
    long notDeleted = -1;
};
Summary readSummary(const std::string& screen);

// Whether a sanitizer reported anything on standard error.
bool sanitizerReport(const std::string& err);

// Checks one run: `before` were on the server and `logBefore` deletions in
// the log when it started; `picked` are the orphans it was to delete. The
// objects gone are exactly those the new log lines name, each once, and
// exactly those the report and the summary call committed; everything else
// the report names is still there. Returns the pieces gone.
Pieces expectOneStory(const syncrun::Scratch& scratch, const Pieces& before, size_t logBefore,
                      const Pieces& picked, const std::string& screen, const Report& report);

}  // namespace faultcheck

#endif
