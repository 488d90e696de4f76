#include "tools/sqlplus/simsql.h"

#include <ctype.h>
#include <string.h>

namespace sqlsim {

namespace {

bool isNameChar(char c) {
    return isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '$' || c == '#';
}

bool tokenize(const std::vector<std::string>& lines, std::vector<SqlToken>* tokens,
              SqlError* error) {
    static const char* const kTwoChar[] = {">=", "<=", "<>", "!=", "^="};
    for (size_t n = 0; n < lines.size(); ++n) {
        const std::string& s = lines[n];
        size_t i = 0;
        while (i < s.size()) {
            char c = s[i];
            if (isspace(static_cast<unsigned char>(c))) {
                ++i;
                continue;
            }
            if (s.compare(i, 2, "--") == 0) break;
            SqlToken t;
            t.line = static_cast<int>(n + 1);
            t.column = static_cast<int>(i);
            if (c == '\'') {
                t.kind = SqlToken::STRING;
                ++i;
                for (;;) {
                    if (i >= s.size()) {
                        *error = {"ORA-01756: quoted string not properly terminated", t.line,
                                  t.column};
                        return false;
                    }
                    if (s[i] == '\'' && i + 1 < s.size() && s[i + 1] == '\'') {
                        t.text += '\'';
                        i += 2;
                    } else if (s[i] == '\'') {
                        ++i;
                        break;
                    } else {
                        t.text += s[i++];
                    }
                }
            } else if (c == '"') {
                size_t end = s.find('"', i + 1);
                if (end == std::string::npos) {
                    *error = {"ORA-01740: missing double quote in identifier", t.line, t.column};
                    return false;
                }
                t.kind = SqlToken::WORD;
                t.text = s.substr(i + 1, end - i - 1);
                i = end + 1;
            } else if (isalpha(static_cast<unsigned char>(c))) {
                t.kind = SqlToken::WORD;
                while (i < s.size() && isNameChar(s[i]))
                    t.text += static_cast<char>(toupper(static_cast<unsigned char>(s[i++])));
            } else if (isdigit(static_cast<unsigned char>(c))) {
                t.kind = SqlToken::NUMBER;
                while (i < s.size() && (isdigit(static_cast<unsigned char>(s[i])) || s[i] == '.'))
                    t.text += s[i++];
            } else {
                t.kind = SqlToken::SYMBOL;
                for (const char* two : kTwoChar)
                    if (s.compare(i, 2, two) == 0) t.text = two;
                if (t.text.empty()) {
                    if (!strchr(",()*=<>.+-/", c)) {
                        *error = {"ORA-00911: invalid character", t.line, t.column};
                        return false;
                    }
                    t.text = std::string(1, c);
                }
                i += t.text.size();
            }
            tokens->push_back(t);
        }
    }
    SqlToken end;
    end.line = static_cast<int>(lines.empty() ? 1 : lines.size());
    end.column = static_cast<int>(lines.empty() ? 0 : lines.back().size());
    tokens->push_back(end);
    return true;
}

class Parser {
  public:
    Parser(const std::vector<SqlToken>& tokens, SqlError* error) : t_(tokens), error_(error) {}

    bool statement(SqlStatement* st) {
        const SqlToken& first = peek();
        if (isWord("SELECT")) return select(st);
        if (isWord("ALTER")) return alter(st);
        if (isWord("COMMIT") || isWord("ROLLBACK")) {
            st->kind = isWord("COMMIT") ? SqlStatement::COMMIT : SqlStatement::ROLLBACK;
            next();
            if (isWord("WORK")) next();
            return end();
        }
        return fail("ORA-00900: invalid SQL statement", first);
    }

  private:
    bool select(SqlStatement* st) {
        st->kind = SqlStatement::SELECT;
        next();
        if (isSymbol("*")) {
            st->star = next();
        } else {
            for (;;) {
                if (peek().kind != SqlToken::WORD || isWord("FROM"))
                    return fail("ORA-00936: missing expression", peek());
                st->columns.push_back(next());
                if (!isSymbol(",")) break;
                next();
            }
        }
        if (!isWord("FROM"))
            return fail("ORA-00923: FROM keyword not found where expected", peek());
        next();
        if (peek().kind != SqlToken::WORD) return fail("ORA-00903: invalid table name", peek());
        st->table = next();
        if (isWord("WHERE")) {
            do {
                next();
                SqlCondition c;
                if (peek().kind != SqlToken::WORD)
                    return fail("ORA-00936: missing expression", peek());
                c.column = next();
                static const char* const kOps[] = {"=", "!=", "<>", "^=", "<", "<=", ">", ">="};
                bool known = false;
                for (const char* op : kOps) known = known || isSymbol(op);
                if (!known) return fail("ORA-00920: invalid relational operator", peek());
                c.op = next().text;
                if (c.op == "<>" || c.op == "^=") c.op = "!=";
                if (peek().kind != SqlToken::STRING && peek().kind != SqlToken::NUMBER)
                    return fail("ORA-00936: missing expression", peek());
                c.literal = next();
                st->where.push_back(c);
            } while (isWord("AND"));
        }
        if (isWord("ORDER")) {
            next();
            if (!isWord("BY")) return fail("ORA-00924: missing BY keyword", peek());
            next();
            if (peek().kind != SqlToken::WORD) return fail("ORA-00936: missing expression", peek());
            st->orderBy = next();
            if (isWord("ASC") || isWord("DESC")) st->descending = next().text == "DESC";
        }
        return end();
    }

    bool alter(SqlStatement* st) {
        st->kind = SqlStatement::ALTER_SESSION;
        next();
        if (!isWord("SESSION")) return fail("ORA-00940: invalid ALTER command", peek());
        next();
        if (!isWord("SET")) return fail("ORA-00922: missing or invalid option", peek());
        next();
        if (peek().kind != SqlToken::WORD)
            return fail("ORA-00922: missing or invalid option", peek());
        st->parameter = next();
        if (!isSymbol("=")) return fail("ORA-00922: missing or invalid option", peek());
        next();
        if (peek().kind == SqlToken::END || peek().kind == SqlToken::SYMBOL)
            return fail("ORA-00922: missing or invalid option", peek());
        st->value = next();
        return end();
    }

    bool end() {
        return peek().kind == SqlToken::END ||
               fail("ORA-00933: SQL command not properly ended", peek());
    }

    bool fail(const char* text, const SqlToken& at) {
        *error_ = {text, at.line, at.column};
        return false;
    }
    const SqlToken& peek() const { return t_[i_]; }
    const SqlToken& next() { return t_[i_ + 1 < t_.size() ? i_++ : i_]; }
    bool isWord(const char* w) const { return peek().kind == SqlToken::WORD && peek().text == w; }
    bool isSymbol(const char* s) const {
        return peek().kind == SqlToken::SYMBOL && peek().text == s;
    }

    const std::vector<SqlToken>& t_;
    SqlError* error_;
    size_t i_ = 0;
};

}  // namespace

bool parseSql(const std::vector<std::string>& lines, SqlStatement* statement, SqlError* error) {
    std::vector<SqlToken> tokens;
    if (!tokenize(lines, &tokens, error)) return false;
    return Parser(tokens, error).statement(statement);
}

}  // namespace sqlsim
