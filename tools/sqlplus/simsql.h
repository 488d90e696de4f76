// The SQL that the SQL*Plus simulator understands, read into a statement:
//
//   SELECT * | column [, column ...] FROM table
//       [WHERE column op literal [AND column op literal ...]]
//       [ORDER BY column [ASC | DESC]]
//   ALTER SESSION SET parameter = value
//   COMMIT, ROLLBACK
//
// Names are checked against the catalog by the caller; this layer only
// reads the text. Errors carry the ORA- text and where in the statement the
// database would point (line from 1, column from 0).
#ifndef ZEBO_TOOLS_SQLPLUS_SIMSQL_H
#define ZEBO_TOOLS_SQLPLUS_SIMSQL_H

#include <string>
#include <vector>

namespace sqlsim {

struct SqlToken {
    enum Kind { WORD, STRING, NUMBER, SYMBOL, END } kind = END;
    std::string text;  // a word in upper case (a quoted name as written); a string unquoted
    int line = 1;
    int column = 0;
};

struct SqlError {
    std::string text;
    int line = 1;
    int column = 0;
};

struct SqlCondition {
    SqlToken column;
    std::string op;  // = != < <= > >=
    SqlToken literal;
};

struct SqlStatement {
    enum Kind { SELECT, ALTER_SESSION, COMMIT, ROLLBACK } kind = SELECT;
    // SELECT: columns (empty for *), table, conditions, order.
    std::vector<SqlToken> columns;
    SqlToken star;
    SqlToken table;
    std::vector<SqlCondition> where;
    SqlToken orderBy;  // END when there is none
    bool descending = false;
    // ALTER SESSION SET parameter = value
    SqlToken parameter;
    SqlToken value;
};

// Reads the statement held in `lines` (without its terminator). False with
// *error set when it is not one of the forms above.
bool parseSql(const std::vector<std::string>& lines, SqlStatement* statement, SqlError* error);

}  // namespace sqlsim

#endif
