#include "tools/sqlplus/simcatalog.h"

#include <ctype.h>
#include <sqlite3.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include "tools/sqlplus/oradate.h"

namespace sqlsim {

namespace {

// Finalises a prepared statement when it goes out of scope.
struct Statement {
    sqlite3_stmt* stmt = nullptr;
    ~Statement() { sqlite3_finalize(stmt); }
};

std::string upper(std::string s) {
    for (char& c : s) c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
    return s;
}

}  // namespace

std::string catalogFolder() {
    const char* dir = getenv("SQLPLUS_SIM_DIR");
    return dir ? dir : "";
}

std::string catalogPath(const std::string& folder, const std::string& connect) {
    std::string name = connect.empty() ? "default" : connect;
    for (char& c : name) {
        c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
        if (!isalnum(static_cast<unsigned char>(c)) && c != '.' && c != '_' && c != '-') c = '_';
    }
    return folder + "/" + name + ".db";
}

Catalog::~Catalog() {
    sqlite3_close(db_);
}

bool Catalog::open(const std::string& path) {
    struct stat st;
    if (stat(path.c_str(), &st) != 0) return false;
    return sqlite3_open_v2(path.c_str(), &db_, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK;
}

bool Catalog::create(const std::string& path, std::string* error) {
    if (sqlite3_open_v2(path.c_str(), &db_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr) !=
        SQLITE_OK) {
        *error = "cannot create " + path + ": " + sqlite3_errmsg(db_);
        return false;
    }
    return exec(
        "CREATE TABLE IF NOT EXISTS rc_users(name TEXT PRIMARY KEY, password TEXT NOT NULL);"
        "CREATE TABLE IF NOT EXISTS rc_guests(name TEXT PRIMARY KEY, password TEXT NOT NULL);"
        "CREATE TABLE IF NOT EXISTS rc_backup_piece(handle TEXT NOT NULL,"
        " completion_time TEXT NOT NULL);"
        "CREATE INDEX IF NOT EXISTS rc_backup_piece_completion"
        " ON rc_backup_piece(completion_time);",
        error);
}

bool Catalog::exec(const char* sql, std::string* error) {
    char* message = nullptr;
    if (sqlite3_exec(db_, sql, nullptr, nullptr, &message) == SQLITE_OK) return true;
    *error = message ? message : sqlite3_errmsg(db_);
    sqlite3_free(message);
    return false;
}

bool Catalog::addUser(const std::string& user, const std::string& password, std::string* error,
                      bool owner) {
    // A user is either an owner or a guest: adding it as one drops the other.
    std::string name = upper(user);
    for (const char* sql :
         {"DELETE FROM rc_users WHERE name = ?", "DELETE FROM rc_guests WHERE name = ?",
          owner ? "INSERT INTO rc_users(name, password) VALUES(?, ?)"
                : "INSERT INTO rc_guests(name, password) VALUES(?, ?)"}) {
        Statement s;
        if (sqlite3_prepare_v2(db_, sql, -1, &s.stmt, nullptr) != SQLITE_OK) {
            *error = sqlite3_errmsg(db_);
            return false;
        }
        sqlite3_bind_text(s.stmt, 1, name.c_str(), -1, SQLITE_TRANSIENT);
        if (sqlite3_bind_parameter_count(s.stmt) > 1)
            sqlite3_bind_text(s.stmt, 2, password.c_str(), -1, SQLITE_TRANSIENT);
        if (sqlite3_step(s.stmt) != SQLITE_DONE) {
            *error = sqlite3_errmsg(db_);
            return false;
        }
    }
    return true;
}

bool Catalog::checkLogon(const std::string& user, const std::string& password, bool* owner) {
    // Catalogs made before guests existed have no rc_guests table: the
    // statement then fails to prepare and the name is simply not a guest.
    std::string name = upper(user);
    for (const char* sql : {"SELECT password FROM rc_users WHERE name = ?",
                            "SELECT password FROM rc_guests WHERE name = ?"}) {
        Statement s;
        if (sqlite3_prepare_v2(db_, sql, -1, &s.stmt, nullptr) != SQLITE_OK) continue;
        sqlite3_bind_text(s.stmt, 1, name.c_str(), -1, SQLITE_TRANSIENT);
        if (sqlite3_step(s.stmt) != SQLITE_ROW) continue;
        const unsigned char* stored = sqlite3_column_text(s.stmt, 0);
        *owner = strstr(sql, "rc_users") != nullptr;
        return stored && password == reinterpret_cast<const char*>(stored);
    }
    return false;
}

long Catalog::load(FILE* in, std::string* error) {
    if (!exec("PRAGMA synchronous=OFF; BEGIN", error)) return -1;
    Statement s;
    if (sqlite3_prepare_v2(db_, "INSERT INTO rc_backup_piece(handle, completion_time) VALUES(?, ?)",
                           -1, &s.stmt, nullptr) != SQLITE_OK) {
        *error = sqlite3_errmsg(db_);
        exec("ROLLBACK", error);
        return -1;
    }
    char* line = nullptr;
    size_t capacity = 0;
    ssize_t length;
    long lineNumber = 0, stored = 0;
    bool ok = true;
    while (ok && (length = getline(&line, &capacity, in)) >= 0) {
        ++lineNumber;
        std::string text(line, static_cast<size_t>(length));
        while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
        if (text.empty()) continue;
        size_t tab = text.find('\t');
        std::string handle = text.substr(0, tab);
        std::string when = tab == std::string::npos ? "" : text.substr(tab + 1);
        if (when.size() == 10) when += " 00:00:00";
        if (handle.empty() || !isCanonicalDate(when)) {
            *error = "line " + std::to_string(lineNumber) +
                     ": expected \"handle<TAB>YYYY-MM-DD HH:MM:SS\"";
            ok = false;
            break;
        }
        sqlite3_bind_text(s.stmt, 1, handle.c_str(), static_cast<int>(handle.size()),
                          SQLITE_TRANSIENT);
        sqlite3_bind_text(s.stmt, 2, when.c_str(), static_cast<int>(when.size()), SQLITE_TRANSIENT);
        if (sqlite3_step(s.stmt) != SQLITE_DONE) {
            *error = sqlite3_errmsg(db_);
            ok = false;
        }
        sqlite3_reset(s.stmt);
        ++stored;
    }
    free(line);
    std::string ignored;
    if (!ok) {
        exec("ROLLBACK", &ignored);
        return -1;
    }
    return exec("COMMIT", error) ? stored : -1;
}

bool Catalog::select(const std::vector<std::string>& columns, const std::vector<Condition>& where,
                     const std::string& orderBy, bool descending,
                     const std::function<void(const char* const* values)>& row,
                     std::string* error) {
    std::string sql = "SELECT ";
    for (size_t i = 0; i < columns.size(); ++i) sql += (i ? ", " : "") + columns[i];
    sql += " FROM rc_backup_piece";
    for (size_t i = 0; i < where.size(); ++i)
        sql += (i ? " AND " : " WHERE ") + where[i].column + " " + where[i].op + " ?";
    if (!orderBy.empty()) sql += " ORDER BY " + orderBy + (descending ? " DESC" : "");
    Statement s;
    if (sqlite3_prepare_v2(db_, sql.c_str(), -1, &s.stmt, nullptr) != SQLITE_OK) {
        *error = sqlite3_errmsg(db_);
        return false;
    }
    for (size_t i = 0; i < where.size(); ++i) {
        int at = static_cast<int>(i + 1);
        if (where[i].isNull)
            sqlite3_bind_null(s.stmt, at);
        else
            sqlite3_bind_text(s.stmt, at, where[i].value.c_str(), -1, SQLITE_TRANSIENT);
    }
    std::vector<const char*> values(columns.size());
    int rc;
    while ((rc = sqlite3_step(s.stmt)) == SQLITE_ROW) {
        for (size_t i = 0; i < columns.size(); ++i) {
            const unsigned char* text = sqlite3_column_text(s.stmt, static_cast<int>(i));
            values[i] = text ? reinterpret_cast<const char*>(text) : "";
        }
        row(values.data());
    }
    if (rc != SQLITE_DONE) {
        *error = sqlite3_errmsg(db_);
        return false;
    }
    return true;
}

}  // namespace sqlsim
