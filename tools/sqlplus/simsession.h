// One run of the SQL*Plus simulator: the logon to a simulated recovery
// catalog, then the script's lines (and, when the script ends without quit
// or exit, lines from standard input, as SQL*Plus goes on interactively).
//
// Output goes line by line to the spool file (while spooling) and to the
// terminal, unless "set termout off" is in force for a script's commands.
// Spooled lines are padded to the line size (trimspool off), terminal lines
// are trimmed (trimout on), as SQL*Plus does by default.
#ifndef ZEBO_TOOLS_SQLPLUS_SIMSESSION_H
#define ZEBO_TOOLS_SQLPLUS_SIMSESSION_H

#include <stdio.h>

#include <string>
#include <vector>

#include "tools/sqlplus/oradate.h"
#include "tools/sqlplus/simcatalog.h"
#include "tools/sqlplus/simsql.h"

namespace sqlsim {

class Session {
  public:
    explicit Session(bool silent);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    // Logs on with "user/password@connect" (a missing password is read from
    // standard input). False after the error lines (ORA-01017, ORA-12154).
    bool logon(const std::string& text);

    // Runs commands; returns the exit status of quit/exit, or -1 when the
    // lines end without one.
    int runScript(const std::vector<std::string>& lines);
    int runInteractive(FILE* in);

    // Closes the spool file and says goodbye.
    void disconnect();

  private:
    int command(const std::string& raw);
    void addSql(const std::string& line);
    void runSql();
    void select(const SqlStatement& st);
    bool checkColumn(const SqlToken& name, std::string* column);
    void set(const std::vector<std::string>& words);
    void spool(const std::vector<std::string>& words);
    int exitStatus(const std::vector<std::string>& words);
    void sqlError(const SqlError& error);
    void record(const std::string& text);
    void line(const std::string& text);

    bool silent_;
    bool fromScript_ = false;
    std::string connect_;
    Catalog catalog_;
    bool owner_ = false;  // the user owns the catalog's tables
    DateFormat dateFormat_;
    FILE* spool_ = nullptr;
    std::string spoolPath_;
    // SQL being entered, and the last statement (run again by "/").
    std::vector<std::string> sql_;
    bool inSql_ = false;
    // Settings.
    bool termout_ = true;
    bool heading_ = true;
    bool trimout_ = true;
    bool trimspool_ = false;
    int linesize_ = 80;
    int pagesize_ = 14;
    int feedback_ = 1;   // the smallest row count reported; 0: none
    char recsep_ = 'W';  // W: after wrapped records, E: after each, O: never
    char recsepchar_ = ' ';
    char sqlTerminator_ = ';';  // 0: off
};

}  // namespace sqlsim

#endif
