// Statement parameters and result columns of the SQLite repository, bound and
// read by the C++ type of the field: a record's binder or reader is the list
// of its fields in column order. A std::string is text; wrap bytes in
// BlobIn / BlobOut.
#ifndef VLTAPI_SQLITE_FIELDS_H
#define VLTAPI_SQLITE_FIELDS_H

#include <sqlite3.h>
#include <stdint.h>

#include <string>

namespace vlt {

struct BlobIn {
    const std::string& bytes;
};
struct BlobOut {
    std::string& bytes;
};

inline void bindParam(sqlite3_stmt* s, int i, int64_t v) {
    sqlite3_bind_int64(s, i, v);
}
inline void bindParam(sqlite3_stmt* s, int i, uint64_t v) {
    sqlite3_bind_int64(s, i, static_cast<int64_t>(v));
}
inline void bindParam(sqlite3_stmt* s, int i, int v) {
    sqlite3_bind_int(s, i, v);
}
inline void bindParam(sqlite3_stmt* s, int i, bool v) {
    sqlite3_bind_int(s, i, v ? 1 : 0);
}
inline void bindParam(sqlite3_stmt* s, int i, const std::string& v) {
    sqlite3_bind_text(s, i, v.data(), static_cast<int>(v.size()), SQLITE_TRANSIENT);
}
inline void bindParam(sqlite3_stmt* s, int i, BlobIn v) {
    sqlite3_bind_blob(s, i, v.bytes.data(), static_cast<int>(v.bytes.size()), SQLITE_TRANSIENT);
}

// Binds the values, in order, to ?1, ?2, ... of a statement.
template <typename... Values>
void bindAll(sqlite3_stmt* s, const Values&... values) {
    int i = 0;
    (bindParam(s, ++i, values), ...);
}

// A binder for the values, for the statement runners. It refers to the
// values: it is for the expression that makes it.
template <typename... Values>
auto params(const Values&... values) {
    return [&values...](sqlite3_stmt* s) { bindAll(s, values...); };
}

// Reads a text or blob column into `out`, reusing its buffer: a cursor that
// reads a million rows into one record allocates nothing per row.
inline void colInto(sqlite3_stmt* s, int i, std::string& out, bool blob) {
    const void* p = blob ? sqlite3_column_blob(s, i) : sqlite3_column_text(s, i);
    if (p == nullptr) {
        out.clear();
        return;
    }
    out.assign(static_cast<const char*>(p), static_cast<size_t>(sqlite3_column_bytes(s, i)));
}

inline void readColumn(sqlite3_stmt* s, int i, int64_t& v) {
    v = sqlite3_column_int64(s, i);
}
inline void readColumn(sqlite3_stmt* s, int i, uint64_t& v) {
    v = static_cast<uint64_t>(sqlite3_column_int64(s, i));
}
inline void readColumn(sqlite3_stmt* s, int i, int& v) {
    v = sqlite3_column_int(s, i);
}
inline void readColumn(sqlite3_stmt* s, int i, bool& v) {
    v = sqlite3_column_int(s, i) != 0;
}
inline void readColumn(sqlite3_stmt* s, int i, std::string& v) {
    colInto(s, i, v, false);
}
inline void readColumn(sqlite3_stmt* s, int i, BlobOut v) {
    colInto(s, i, v.bytes, true);
}

// Reads columns 0, 1, ... of the current row into the fields, in order.
template <typename... Fields>
void readColumns(sqlite3_stmt* s, Fields&&... fields) {
    int i = 0;
    (readColumn(s, i++, fields), ...);
}

}  // namespace vlt

#endif
