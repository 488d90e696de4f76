// The simulated recovery catalogs: one SQLite file per connect string in the
// folder named by SQLPLUS_SIM_DIR, holding the catalog's users and the table
// rc_backup_piece (handle, completion_time as "YYYY-MM-DD HH:MM:SS"),
// indexed on completion_time.
//
// User names compare without regard to case, passwords exactly.
#ifndef ZEBO_TOOLS_SQLPLUS_SIMCATALOG_H
#define ZEBO_TOOLS_SQLPLUS_SIMCATALOG_H

#include <stdio.h>

#include <functional>
#include <string>
#include <vector>

struct sqlite3;

namespace sqlsim {

// SQLPLUS_SIM_DIR, or empty when it is not set.
std::string catalogFolder();

// The file of a connect string: lower case, every character but letters,
// digits, ".", "_" and "-" turned into "_", ".db" appended. An empty connect
// string names the catalog "default".
std::string catalogPath(const std::string& folder, const std::string& connect);

// One condition of a query's where clause: column, operator (= != < <= > >=)
// and the value to compare with (null: the condition is never true).
struct Condition {
    std::string column;
    std::string op;
    std::string value;
    bool isNull = false;
};

class Catalog {
  public:
    Catalog() = default;
    ~Catalog();
    Catalog(const Catalog&) = delete;
    Catalog& operator=(const Catalog&) = delete;

    // Opens an existing catalog for reading; false when there is none.
    bool open(const std::string& path);
    // Opens the catalog for writing, creating its file and tables if needed.
    bool create(const std::string& path, std::string* error);

    // Adds (or replaces) a user. An owner owns the catalog's tables; a guest
    // (owner false) may log on but sees no rc_backup_piece (ORA-00942), as a
    // database user who is not the recovery catalog's owner.
    bool addUser(const std::string& user, const std::string& password, std::string* error,
                 bool owner = true);
    // Whether the user may log on with the password; *owner tells which kind.
    bool checkLogon(const std::string& user, const std::string& password, bool* owner);

    // Reads lines "handle<TAB>YYYY-MM-DD HH:MM:SS" (or a date alone, meaning
    // midnight) and stores them in one transaction: all or none. Returns the
    // number stored, or -1 with *error naming the bad line.
    long load(FILE* in, std::string* error);

    // Streams the rows of rc_backup_piece that meet every condition; `row`
    // gets the selected columns' texts in order. Columns and the order-by
    // column must be columns of the table (the caller checks the names).
    bool select(const std::vector<std::string>& columns, const std::vector<Condition>& where,
                const std::string& orderBy, bool descending,
                const std::function<void(const char* const* values)>& row, std::string* error);

  private:
    bool exec(const char* sql, std::string* error);
    sqlite3* db_ = nullptr;
};

}  // namespace sqlsim

#endif
