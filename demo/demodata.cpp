// demodata: writes the data of the zebosync demonstration into a folder, in
// the layouts that the loading tools read:
//
//   server-objects.tsv      the agent node's objects, for "vltadm load":
//                           file space, "/" DB, "/" handle, insertion date, size
//   other-node-objects.tsv  the objects of another node on the same server
//   catalog-pieces.tsv      the Recovery Catalog's pieces, for
//                           "sqlplus --sim-load": handle, completion time
//   orphans.txt             the full names (file space, "/" DB, "/" handle) of
//                           the server objects that the catalog does not list
//
// and a short summary per database on standard output.
//
//   demodata --out DIR [--today YYYY-MM-DD] [--days N] [--seed N] [--fs NAME]
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "demo/backupplan.h"

namespace {

const char kUsage[] =
    "usage: demodata --out DIR [--today YYYY-MM-DD] [--days N] [--seed N] [--fs NAME]\n"
    "  Writes server-objects.tsv, other-node-objects.tsv, catalog-pieces.tsv and\n"
    "  orphans.txt into DIR: RMAN backups of N days (default 150) ending the day\n"
    "  before --today (default: today).\n";

struct Arguments {
    std::string out;
    demo::DemoTime today;
    int days = 150;
    uint64_t seed = 20260612;
    std::string fs = "/koruorc";
};

bool number(const char* text, uint64_t max, uint64_t* value) {
    if (!*text) return false;
    char* end = nullptr;
    unsigned long long v = strtoull(text, &end, 10);
    if (*end || v > max) return false;
    *value = v;
    return true;
}

bool parseArguments(int argc, char** argv, Arguments* a) {
    time_t now = time(nullptr);
    struct tm local;
    localtime_r(&now, &local);
    a->today.year = local.tm_year + 1900;
    a->today.month = local.tm_mon + 1;
    a->today.day = local.tm_mday;
    for (int i = 1; i < argc; i += 2) {
        if (i + 1 >= argc) return false;
        const std::string name = argv[i];
        const char* value = argv[i + 1];
        uint64_t n = 0;
        if (name == "--out") {
            a->out = value;
        } else if (name == "--today") {
            if (!demo::parseDate(value, &a->today)) return false;
        } else if (name == "--days") {
            if (!number(value, 3650, &n) || n < 7) return false;
            a->days = static_cast<int>(n);
        } else if (name == "--seed") {
            if (!number(value, UINT64_MAX, &n)) return false;
            a->seed = n;
        } else if (name == "--fs") {
            if (value[0] != '/' || !value[1]) return false;
            a->fs = value;
        } else {
            return false;
        }
    }
    return !a->out.empty();
}

std::string objectName(const std::string& fs, const demo::BackupPiece& p) {
    return fs + "/" + p.database + "/" + p.handle;
}

void writeServerLine(std::ofstream& f, const std::string& fs, const demo::BackupPiece& p) {
    f << fs << "\t/" << p.database << "\t/" << p.handle << "\t" << demo::formatDateTime(p.completed)
      << "\t" << p.bytes << "\n";
}

struct Counts {
    int onServer = 0, inCatalog = 0, orphans = 0, diskOnly = 0;
};

// Another node's database on the same server, over at most the last 30
// days: objects that the run must leave alone.
std::vector<demo::BackupPiece> otherNodePieces(const demo::PlanOptions& options,
                                               const Arguments& args) {
    demo::PlanOptions other = options;
    other.databases = demo::otherNodeDatabases();
    other.scatteredLoss = 0;
    other.lostWindowDays = 0;
    other.diskBackups = false;
    other.days = args.days < 30 ? args.days : 30;
    other.firstDay = demo::fromDayNumber(demo::dayNumber(args.today) - other.days);
    return demo::planBackups(other);
}

// Writes the four files and counts the pieces of each database. Null, or
// the format of the message that says what failed.
const char* writeFiles(const Arguments& args, const std::vector<demo::BackupPiece>& pieces,
                       const std::vector<demo::BackupPiece>& otherPieces,
                       std::map<std::string, Counts>* counts) {
    std::ofstream server(args.out + "/server-objects.tsv");
    std::ofstream otherServer(args.out + "/other-node-objects.tsv");
    std::ofstream catalog(args.out + "/catalog-pieces.tsv");
    std::ofstream orphans(args.out + "/orphans.txt");
    if (!server || !otherServer || !catalog || !orphans) return "demodata: cannot write into %s\n";
    for (const demo::BackupPiece& p : pieces) {
        Counts& c = (*counts)[p.database];
        if (p.onServer) {
            writeServerLine(server, args.fs, p);
            ++c.onServer;
        }
        if (p.inCatalog) {
            catalog << p.handle << "\t" << demo::formatDateTime(p.completed) << "\n";
            ++c.inCatalog;
        }
        if (p.onServer && !p.inCatalog) {
            orphans << objectName(args.fs, p) << "\n";
            ++c.orphans;
        }
        if (!p.onServer) ++c.diskOnly;
    }
    for (const demo::BackupPiece& p : otherPieces) writeServerLine(otherServer, args.fs, p);
    server.close();
    otherServer.close();
    catalog.close();
    orphans.close();
    if (!server || !otherServer || !catalog || !orphans)
        return "demodata: writing into %s failed\n";
    return nullptr;
}

void printCounts(const char* name, const Counts& c) {
    printf("  %-8s %10d %11d %9d %10d\n", name, c.onServer, c.inCatalog, c.orphans, c.diskOnly);
}

void printSummary(const demo::PlanOptions& options, const Arguments& args,
                  const std::map<std::string, Counts>& counts, size_t otherObjects) {
    printf("RMAN backups from %s to %s:\n",
           demo::formatDateTime(options.firstDay).substr(0, 10).c_str(),
           demo::formatDateTime(demo::fromDayNumber(demo::dayNumber(args.today) - 1))
               .substr(0, 10)
               .c_str());
    printf("  %-8s %10s %11s %9s %10s\n", "database", "on server", "in catalog", "orphans",
           "disk only");
    Counts total;
    for (const auto& entry : counts) {
        const Counts& c = entry.second;
        printCounts(entry.first.c_str(), c);
        total.onServer += c.onServer;
        total.inCatalog += c.inCatalog;
        total.orphans += c.orphans;
        total.diskOnly += c.diskOnly;
    }
    printCounts("total", total);
    printf("  another node's database on the same server: %zu objects\n", otherObjects);
}

}  // namespace

int main(int argc, char** argv) {
    Arguments args;
    if (!parseArguments(argc, argv, &args)) {
        fputs(kUsage, stderr);
        return 2;
    }
    demo::PlanOptions options = demo::demoPlanOptions(args.today, args.days);
    options.seed = args.seed;
    std::vector<demo::BackupPiece> pieces = demo::planBackups(options);
    std::vector<demo::BackupPiece> otherPieces = otherNodePieces(options, args);
    std::map<std::string, Counts> counts;
    if (const char* failure = writeFiles(args, pieces, otherPieces, &counts)) {
        fprintf(stderr, failure, args.out.c_str());
        return 1;
    }
    printSummary(options, args, counts, otherPieces.size());
    return 0;
}
