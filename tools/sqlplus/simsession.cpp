#include "tools/sqlplus/simsession.h"

#include <ctype.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include <algorithm>

namespace sqlsim {

namespace {

// First words that start a SQL statement; anything else is a SQL*Plus command.
const char* const kSqlWords[] = {"SELECT", "ALTER",  "INSERT",  "UPDATE",    "DELETE",
                                 "CREATE", "DROP",   "WITH",    "COMMIT",    "ROLLBACK",
                                 "GRANT",  "REVOKE", "MERGE",   "TRUNCATE",  "COMMENT",
                                 "RENAME", "LOCK",   "EXPLAIN", "SAVEPOINT", "ANALYZE"};

// SET options that are accepted and have no effect here.
const char* const kQuietSettings[] = {
    "ECHO",   "VERIFY",    "TIMING",        "SERVEROUTPUT", "NEWPAGE",  "TAB",       "WRAP",
    "COLSEP", "ARRAYSIZE", "LONG",          "NULL",         "NUMWIDTH", "TIME",      "AUTOCOMMIT",
    "DEFINE", "SQLPROMPT", "SQLBLANKLINES", "SHOWMODE",     "EMBEDDED", "UNDERLINE", "FLUSH",
    "PAUSE",  "SCAN",      "ESCAPE",        "CONCAT"};

std::string upper(std::string s) {
    for (char& c : s) c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
    return s;
}

// Words are separated by blanks; a word in double quotes may hold blanks
// (a file name such as "/tmp/a b/x.out"), and the quotes are dropped.
std::vector<std::string> splitWords(const std::string& s) {
    std::vector<std::string> words;
    size_t i = 0;
    while (i < s.size()) {
        while (i < s.size() && isspace(static_cast<unsigned char>(s[i]))) ++i;
        if (i < s.size() && s[i] == '"') {
            size_t end = s.find('"', i + 1);
            if (end == std::string::npos) end = s.size();
            words.push_back(s.substr(i + 1, end - i - 1));
            i = end + 1;
            continue;
        }
        size_t start = i;
        while (i < s.size() && !isspace(static_cast<unsigned char>(s[i]))) ++i;
        if (i > start) words.push_back(s.substr(start, i - start));
    }
    return words;
}

// Whether `word` abbreviates the command or option `name` with at least
// `least` characters, as SQL*Plus allows.
bool abbreviates(const std::string& word, const char* name, size_t least) {
    std::string w = upper(word);
    if (!w.empty() && w.back() == ';') w.pop_back();
    return w.size() >= least && w.size() <= strlen(name) && strncmp(w.c_str(), name, w.size()) == 0;
}

std::string trimRight(const std::string& s) {
    size_t end = s.find_last_not_of(" \t\r");
    return end == std::string::npos ? "" : s.substr(0, end + 1);
}

void writeLine(FILE* f, const std::string& text, bool trim) {
    size_t n = text.size();
    if (trim)
        while (n > 0 && text[n - 1] == ' ') --n;
    fwrite(text.data(), 1, n, f);
    fputc('\n', f);
}

bool readLine(FILE* in, std::string* text) {
    text->clear();
    int c;
    while ((c = fgetc(in)) != EOF && c != '\n') text->push_back(static_cast<char>(c));
    if (!text->empty() && text->back() == '\r') text->pop_back();
    return c != EOF || !text->empty();
}

}  // namespace

Session::Session(bool silent) : silent_(silent) {
    std::string ignored;
    dateFormat_.parse("DD-MON-RR", &ignored);
}

Session::~Session() {
    if (spool_) fclose(spool_);
}

bool Session::logon(const std::string& text) {
    std::string user, password;
    size_t slash = text.find('/');
    size_t at = text.rfind('@');
    if (at == std::string::npos || (slash != std::string::npos && at < slash)) at = text.size();
    connect_ = at < text.size() ? text.substr(at + 1) : "";
    if (slash != std::string::npos && slash < at) {
        user = text.substr(0, slash);
        password = text.substr(slash + 1, at - slash - 1);
    } else {
        user = text.substr(0, at);
        if (!silent_) printf("Enter password: ");
        fflush(stdout);
        readLine(stdin, &password);
    }
    user = trimRight(user.substr(std::min(user.size(), user.find_first_not_of(' '))));
    std::string folder = catalogFolder();
    if (folder.empty())
        fprintf(stderr,
                "sqlplus (simulator): SQLPLUS_SIM_DIR is not set; it names the folder of "
                "the simulated recovery catalogs\n");
    if (folder.empty() || !catalog_.open(catalogPath(folder, connect_))) {
        printf(
            "ERROR:\nORA-12154: cannot resolve the connect string \"%s\" to a recovery "
            "catalog\n\n",
            connect_.c_str());
        return false;
    }
    if (!catalog_.checkLogon(user, password, &owner_)) {
        printf("ERROR:\nORA-01017: invalid username/password; logon denied\n\n");
        return false;
    }
    if (!silent_)
        printf("Connected to recovery catalog \"%s\".\n\n",
               connect_.empty() ? "default" : connect_.c_str());
    return true;
}

int Session::runScript(const std::vector<std::string>& lines) {
    fromScript_ = true;
    for (const std::string& l : lines) {
        int status = command(l);
        if (status >= 0) return status;
    }
    // SQL left unterminated at the end of a script stays in the buffer.
    inSql_ = false;
    fromScript_ = false;
    return -1;
}

int Session::runInteractive(FILE* in) {
    std::string text;
    for (;;) {
        if (!silent_) {
            if (inSql_)
                printf("%3d  ", static_cast<int>(sql_.size() + 1));
            else
                printf("SQL> ");
        }
        fflush(stdout);
        if (!readLine(in, &text)) break;
        int status = command(text);
        if (status >= 0) return status;
    }
    if (!silent_) printf("\n");
    return 0;
}

void Session::disconnect() {
    if (spool_) fclose(spool_);
    spool_ = nullptr;
    if (!silent_)
        printf("Disconnected from recovery catalog \"%s\".\n",
               connect_.empty() ? "default" : connect_.c_str());
    fflush(stdout);
}

int Session::command(const std::string& raw) {
    std::string text = trimRight(raw);
    if (inSql_) {
        addSql(text);
        return -1;
    }
    std::vector<std::string> words = splitWords(text);
    if (words.empty()) return -1;
    const std::string& first = words[0];
    if (first.compare(0, 2, "--") == 0 || abbreviates(first, "REMARK", 3)) return -1;
    if (first == "/" && words.size() == 1) {
        if (!sql_.empty()) runSql();
        return -1;
    }
    std::string keyword = upper(first);
    if (!keyword.empty() && keyword.back() == ';') keyword.pop_back();
    for (const char* w : kSqlWords) {
        if (keyword == w) {
            sql_.clear();
            inSql_ = true;
            addSql(text);
            return -1;
        }
    }
    if (abbreviates(first, "SPOOL", 3)) {
        spool(words);
    } else if (abbreviates(first, "SET", 3)) {
        set(words);
    } else if (abbreviates(first, "QUIT", 4) || abbreviates(first, "EXIT", 4)) {
        return exitStatus(words);
    } else if (abbreviates(first, "PROMPT", 3)) {
        size_t start = text.find_first_not_of(" \t", text.find(first) + first.size());
        line(start == std::string::npos ? "" : text.substr(start));
    } else {
        line("SP2-0734: unknown command beginning \"" + text.substr(0, 10) +
             "...\" - rest of line ignored.");
    }
    return -1;
}

void Session::addSql(const std::string& line) {
    const std::string& text = line;
    if (text == "/") {
        inSql_ = false;
        runSql();
    } else if (text.empty()) {
        inSql_ = false;  // a blank line ends the entry; the statement stays in the buffer
    } else if (sqlTerminator_ && text.back() == sqlTerminator_) {
        sql_.push_back(text.substr(0, text.size() - 1));
        inSql_ = false;
        runSql();
    } else {
        sql_.push_back(text);
    }
}

void Session::runSql() {
    SqlStatement st;
    SqlError error;
    if (!parseSql(sql_, &st, &error)) {
        sqlError(error);
        return;
    }
    switch (st.kind) {
        case SqlStatement::SELECT:
            select(st);
            return;
        case SqlStatement::ALTER_SESSION:
            if (st.parameter.text == "NLS_DATE_FORMAT") {
                DateFormat format;
                std::string text;
                if (st.value.kind != SqlToken::STRING) {
                    sqlError(
                        {"ORA-00922: missing or invalid option", st.value.line, st.value.column});
                    return;
                }
                if (!format.parse(st.value.text, &text)) {
                    sqlError({text, st.value.line, st.value.column});
                    return;
                }
                dateFormat_ = format;
            }
            line("");
            line("Session altered.");
            line("");
            return;
        case SqlStatement::COMMIT:
        case SqlStatement::ROLLBACK:
            line("");
            line(st.kind == SqlStatement::COMMIT ? "Commit complete." : "Rollback complete.");
            line("");
            return;
    }
}

bool Session::checkColumn(const SqlToken& name, std::string* column) {
    if (name.text == "HANDLE" || name.text == "COMPLETION_TIME") {
        *column = name.text == "HANDLE" ? "handle" : "completion_time";
        return true;
    }
    sqlError({"ORA-00904: \"" + name.text + "\": invalid identifier", name.line, name.column});
    return false;
}

void Session::select(const SqlStatement& st) {
    if (st.table.text != "RC_BACKUP_PIECE" || !owner_) {
        sqlError({"ORA-00942: table or view does not exist", st.table.line, st.table.column});
        return;
    }
    std::vector<std::string> columns;
    if (st.columns.empty()) columns = {"handle", "completion_time"};
    for (const SqlToken& c : st.columns) {
        columns.emplace_back();
        if (!checkColumn(c, &columns.back())) return;
    }
    std::vector<Condition> where;
    for (const SqlCondition& c : st.where) {
        Condition cond;
        if (!checkColumn(c.column, &cond.column)) return;
        cond.op = c.op;
        cond.value = c.literal.text;
        if (cond.column == "completion_time") {
            std::string error;  // set only when the literal is refused
            if (c.literal.kind == SqlToken::NUMBER)
                error = "ORA-00932: inconsistent datatypes: expected DATE got NUMBER";
            else
                dateFormat_.read(c.literal.text, &cond.value, &error);
            if (!error.empty()) {
                sqlError({error, c.literal.line, c.literal.column});
                return;
            }
        }
        cond.isNull = c.literal.kind == SqlToken::STRING && cond.value.empty();
        where.push_back(cond);
    }
    std::string order;
    if (st.orderBy.kind != SqlToken::END && !checkColumn(st.orderBy, &order)) return;

    long rows = 0;
    std::string text, error;
    bool ok = catalog_.select(
        columns, where, order, st.descending,
        [&](const char* const* values) {
            if (rows++ == 0 && pagesize_ > 0 && heading_) {
                std::string names, rules;
                for (size_t i = 0; i < columns.size(); ++i) {
                    names += (i ? " " : "") + upper(columns[i]);
                    rules += (i ? " " : "") + std::string(columns[i].size(), '-');
                }
                line("");
                record(names);
                record(rules);
            }
            text.clear();
            for (size_t i = 0; i < columns.size(); ++i) {
                if (i) text += ' ';
                text += columns[i] == "completion_time" ? dateFormat_.show(values[i]) : values[i];
            }
            record(text);
        },
        &error);
    if (!ok) {
        line("ERROR:");
        line("ORA-00600: internal error code, arguments: [" + error + "]");
        line("");
        return;
    }
    if (feedback_ == 0) return;
    if (rows == 0) {
        line("");
        line("no rows selected");
        line("");
    } else if (rows >= feedback_) {
        line("");
        line(rows == 1 ? "1 row selected." : std::to_string(rows) + " rows selected.");
        line("");
    }
}

// One record: padded to the line size, wrapped onto further lines when
// longer, followed by the record separator line when it applies.
void Session::record(const std::string& text) {
    const size_t width = static_cast<size_t>(linesize_);
    std::string piece;
    for (size_t at = 0; at == 0 || at < text.size(); at += width) {
        piece.assign(text, at, width);
        piece.resize(width, ' ');
        line(piece);
    }
    if (recsep_ == 'E' || (recsep_ == 'W' && text.size() > width))
        line(std::string(width, recsepchar_));
}

void Session::line(const std::string& text) {
    if (spool_) writeLine(spool_, text, trimspool_);
    if (!fromScript_ || termout_) writeLine(stdout, text, trimout_);
}

void Session::sqlError(const SqlError& error) {
    size_t n = static_cast<size_t>(error.line - 1);
    line(n < sql_.size() ? sql_[n] : "");
    line(std::string(static_cast<size_t>(error.column), ' ') + "*");
    line("ERROR at line " + std::to_string(error.line) + ":");
    line(error.text);
    line("");
}

void Session::spool(const std::vector<std::string>& words) {
    if (words.size() == 1) {
        line(spool_ ? "currently spooling to " + spoolPath_ : "not spooling currently");
        return;
    }
    std::string arg = words[1];
    if (upper(arg) == "OFF" || upper(arg) == "OUT") {
        if (!spool_) line("not spooling currently");
        if (spool_) fclose(spool_);
        spool_ = nullptr;
        return;
    }
    if (spool_) fclose(spool_);
    spool_ = nullptr;
    // A name without an extension gets ".lst", as SQL*Plus gives it.
    size_t slash = arg.rfind('/');
    if (arg.find('.', slash == std::string::npos ? 0 : slash + 1) == std::string::npos)
        arg += ".lst";
    const char* mode = "w";
    if (words.size() > 2) {
        if (abbreviates(words[2], "APPEND", 3)) mode = "a";
        struct stat st;
        if (abbreviates(words[2], "CREATE", 3) && stat(arg.c_str(), &st) == 0) {
            line("SP2-0771: File \"" + arg + "\" already exists.");
            return;
        }
    }
    spool_ = fopen(arg.c_str(), mode);
    if (!spool_) {
        line("SP2-0606: Cannot create SPOOL file \"" + arg + "\"");
        return;
    }
    setvbuf(spool_, nullptr, _IOFBF, 1 << 20);
    spoolPath_ = arg;
}

void Session::set(const std::vector<std::string>& words) {
    for (size_t i = 1; i < words.size();) {
        const std::string& name = words[i++];
        const std::string value = upper(i < words.size() ? words[i++] : "");
        char* end = nullptr;
        long number = strtol(value.c_str(), &end, 10);
        bool isNumber = !value.empty() && *end == '\0';
        bool good = true;
        auto onOff = [&](bool* flag) {
            good = value == "ON" || value == "OFF";
            if (good) *flag = value == "ON";
        };
        if (abbreviates(name, "TERMOUT", 4)) {
            onOff(&termout_);
        } else if (abbreviates(name, "HEADING", 3)) {
            onOff(&heading_);
        } else if (abbreviates(name, "TRIMSPOOL", 5)) {
            onOff(&trimspool_);
        } else if (abbreviates(name, "TRIMOUT", 4)) {
            onOff(&trimout_);
        } else if (abbreviates(name, "LINESIZE", 3)) {
            good = isNumber && number >= 1 && number <= 32767;
            if (good) linesize_ = static_cast<int>(number);
        } else if (abbreviates(name, "PAGESIZE", 5)) {
            good = isNumber && number >= 0 && number <= 50000;
            if (good) pagesize_ = static_cast<int>(number);
        } else if (abbreviates(name, "FEEDBACK", 4)) {
            good = value == "ON" || value == "OFF" || (isNumber && number >= 0);
            if (good) feedback_ = value == "ON" ? 1 : value == "OFF" ? 0 : static_cast<int>(number);
        } else if (abbreviates(name, "RECSEPCHAR", 10)) {
            good = value.size() == 1;
            if (good) recsepchar_ = words[i - 1][0];
        } else if (abbreviates(name, "RECSEP", 6)) {
            good =
                abbreviates(value, "WRAPPED", 2) || abbreviates(value, "EACH", 2) || value == "OFF";
            if (good) recsep_ = value == "OFF" ? 'O' : value[0];
        } else if (abbreviates(name, "SQLTERMINATOR", 4)) {
            good = value == "ON" || value == "OFF" || value.size() == 1;
            if (good) sqlTerminator_ = value == "ON" ? ';' : value == "OFF" ? 0 : value[0];
        } else {
            bool quiet = false;
            for (const char* s : kQuietSettings) quiet = quiet || abbreviates(name, s, 3);
            if (!quiet) {
                line("SP2-0158: unknown SET option \"" + name + "\"");
                return;
            }
        }
        if (!good) {
            line("SP2-0268: " + name + " option \"" + value + "\" is not valid");
            return;
        }
    }
}

int Session::exitStatus(const std::vector<std::string>& words) {
    if (words.size() < 2) return 0;
    std::string v = upper(words[1]);
    if (!v.empty() && v.back() == ';') v.pop_back();
    if (v == "FAILURE") return 1;
    if (v == "WARNING") return 2;
    if (!v.empty() && isdigit(static_cast<unsigned char>(v[0]))) return atoi(v.c_str()) & 255;
    return 0;
}

}  // namespace sqlsim
