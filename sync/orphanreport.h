// The report of -OUTfile=PATH: an exact record of the orphans found and of
// what each deletion pass did, for scripts and for the administrator's
// records. Leaving the pick list with Q after a run with -OUTfile is a dry
// run that leaves the exact list of what would be offered for deletion.
//
// Tab-separated, one header line, then one line per record:
//   kind  pass  outcome  object_id  inserted  size  name
// "orphan" lines (pass and outcome empty) in pick-list order, then after
// each deletion pass one "deletion" line per picked entry with the pass's
// number and the outcome: committed, rolled back, failed or not attempted.
// The object id is the server's 64-bit identifier in decimal, as
// "vltadm list" shows it; the insertion time is ISO 8601
// (2024-01-10T03:04:05, the server's local time); the size is the server's
// estimate in bytes. A name's backslashes, tabs and line ends are written as
// \\, \t, \n and \r so that every record stays on its line.
//
// A PATH that ends in ".json" gets the same content as one JSON document:
//   {"orphans": [{"object_id", "inserted", "size", "name"}...],
//    "passes": [{"pass": 1, "entries": [{... "outcome"}...]}...]}
//
// The file is always written whole, to a new file beside PATH that is then
// renamed over it, so a reader sees the old report or the new one, never a
// half-written one.
#ifndef ZEBO_SYNC_ORPHANREPORT_H
#define ZEBO_SYNC_ORPHANREPORT_H

#include <string>
#include <vector>

#include "catalogs/zebo_names.h"
#include "sync/deletepass.h"
#include "sync/objectfacts.h"
#include "sync/orphan.h"

enum {
    REPORT_CANNOT_WRITE = MSG_REPORT_NOT_WRITTEN
};  // message and code: the report cannot be written

// Every object name written to the report passes through here. Names are
// shown as in the pick list and the trace (control characters and the
// backslash escaped, visible.h), which also keeps a TSV name on one field
// of one line.
std::string reportName(const std::string& name);

class UtReport {
  public:
    explicit UtReport(const std::string& path);

    const std::string& path() const { return path_; }
    bool json() const { return json_; }

    // Whether the report can be written at all: the path is not a folder
    // and a file can be made beside it. False with the reason.
    bool check(std::string* reason) const;

    // The orphans as the pick list shows them first.
    void setOrphans(SyncList* syncList);
    // A pass's outcomes, when the administrator said yes.
    void addPass(const UtDeletePass& pass);

    // The whole report, as text.
    std::string render() const;
    // Writes it beside the path and renames it over the path. False with the
    // reason; the path then keeps what it held before.
    bool write(std::string* reason) const;

  private:
    std::string path_;
    bool json_;
    std::vector<UtObjectFacts> orphans_;
    std::vector<std::vector<UtDeleteEntry>> passes_;
};

// Shows message 2638 with the path and the reason.
void utShowReportFailure(const std::string& path, const std::string& reason);

#endif
