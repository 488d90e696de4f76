// Raw SQLite deletion by id on a repository file: what deleting N objects
// costs the database itself, with what the server must keep doing: one
// activity-log row per object, transactions of 256, every commit synced
// (WAL, synchronous FULL). scripts/bench.sh sets the program's deletion
// phase against it, on a fresh copy of the same repository.
//
//   delete_bench REPOSITORY IDS    (IDS: one object id a line)
//
// Prints "delete_s=... deleted=N".
#include <sqlite3.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

#include <string>
#include <vector>

namespace {

double now() {
    struct timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) / 1e9;
}

bool ok(sqlite3* db, int rc, const char* what) {
    if (rc == SQLITE_OK || rc == SQLITE_DONE || rc == SQLITE_ROW) return true;
    fprintf(stderr, "delete_bench: %s: %s\n", what, sqlite3_errmsg(db));
    return false;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        fprintf(stderr, "usage: delete_bench REPOSITORY IDS\n");
        return 2;
    }
    std::vector<long long> ids;
    FILE* f = fopen(argv[2], "r");
    if (!f) return 1;
    long long id;
    while (fscanf(f, "%lld", &id) == 1) ids.push_back(id);
    fclose(f);

    sqlite3* db = nullptr;
    if (sqlite3_open_v2(argv[1], &db, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK) return 1;
    if (!ok(db,
            sqlite3_exec(db, "PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL", nullptr,
                         nullptr, nullptr),
            "pragmas"))
        return 1;
    sqlite3_stmt* del = nullptr;
    sqlite3_stmt* log = nullptr;
    if (!ok(db,
            sqlite3_prepare_v2(db, "DELETE FROM objects WHERE id = ?1 RETURNING hl, ll", -1, &del,
                               nullptr),
            "prepare delete") ||
        !ok(db,
            sqlite3_prepare_v2(db,
                               "INSERT INTO actlog(date, node, severity, msg_id, text, obj_id) "
                               "VALUES(?1, 'BENCH', 0, 'DELETE', ?2, ?3)",
                               -1, &log, nullptr),
            "prepare log"))
        return 1;

    double t0 = now();
    unsigned long deleted = 0;
    std::string text;
    for (size_t i = 0; i < ids.size(); ++i) {
        if (i % 256 == 0 &&
            !ok(db, sqlite3_exec(db, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), "begin"))
            return 1;
        sqlite3_bind_int64(del, 1, ids[i]);
        int rc = sqlite3_step(del);
        if (!ok(db, rc, "delete")) return 1;
        if (rc == SQLITE_ROW) {
            text = "Deleted backup object " + std::to_string(ids[i]) + " " +
                   reinterpret_cast<const char*>(sqlite3_column_text(del, 0)) +
                   reinterpret_cast<const char*>(sqlite3_column_text(del, 1));
            ++deleted;
        }
        sqlite3_reset(del);
        sqlite3_bind_int64(log, 1, static_cast<long long>(time(nullptr)));
        sqlite3_bind_text(log, 2, text.c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_int64(log, 3, ids[i]);
        if (!ok(db, sqlite3_step(log), "log")) return 1;
        sqlite3_reset(log);
        if ((i % 256 == 255 || i + 1 == ids.size()) &&
            !ok(db, sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr), "commit"))
            return 1;
    }
    double t1 = now();
    sqlite3_finalize(del);
    sqlite3_finalize(log);
    sqlite3_close(db);
    printf("delete_s=%.3f deleted=%lu\n", t1 - t0, deleted);
    return 0;
}
