#include "tools/mkcat/catsource.h"

#include <string.h>

#include <cctype>
#include <fstream>
#include <set>
#include <sstream>

namespace {

struct Token {
    enum Kind { Word, String, End } kind = End;
    std::string text;
    int line = 0;
};

// Splits the source into words and quoted strings; comments are dropped.
class Lexer {
  public:
    Lexer(const std::string& text, const std::string& file) : s_(text), file_(file) {}

    bool next(Token* t, std::string* err) {
        skipBlanksAndComments();
        t->line = line_;
        t->text.clear();
        if (pos_ >= s_.size()) {
            t->kind = Token::End;
            return true;
        }
        if (s_[pos_] == '"') {
            t->kind = Token::String;
            return readString(&t->text, err);
        }
        t->kind = Token::Word;
        while (pos_ < s_.size() && !isspace(static_cast<unsigned char>(s_[pos_])) &&
               s_[pos_] != '"')
            t->text.push_back(s_[pos_++]);
        return true;
    }

    std::string where(int line) const { return file_ + ":" + std::to_string(line) + ": "; }

  private:
    void skipBlanksAndComments() {
        while (pos_ < s_.size()) {
            char c = s_[pos_];
            if (c == '\n') {
                ++line_;
                ++pos_;
            } else if (isspace(static_cast<unsigned char>(c))) {
                ++pos_;
            } else if (c == '#') {
                while (pos_ < s_.size() && s_[pos_] != '\n') ++pos_;
            } else {
                break;
            }
        }
    }

    bool readString(std::string* out, std::string* err) {
        int startLine = line_;
        ++pos_;  // opening quote
        while (pos_ < s_.size()) {
            char c = s_[pos_++];
            if (c == '"') return true;
            if (c == '\n') break;
            if (c == '\0') {
                // A catalog text ends at its first NUL: the rest would be
                // lost without a word, as "\000" would be.
                *err = where(line_) + "NUL byte in a string";
                return false;
            }
            if (c != '\\') {
                out->push_back(c);
                continue;
            }
            if (pos_ >= s_.size()) break;
            char e = s_[pos_++];
            // The escapes of one letter: \n, \t, \\ and \".
            static const char kLetters[] = "nt\\\"";
            static const char kCharacters[] = "\n\t\\\"";
            if (const char* letter = e ? strchr(kLetters, e) : nullptr) {
                out->push_back(kCharacters[letter - kLetters]);
                continue;
            }
            bool octal = e >= '0' && e <= '7' && pos_ + 1 < s_.size() && s_[pos_] >= '0' &&
                         s_[pos_] <= '7' && s_[pos_ + 1] >= '0' && s_[pos_ + 1] <= '7';
            if (!octal) {
                *err = where(line_) + "unknown escape \\" + std::string(1, e);
                return false;
            }
            int v = (e - '0') * 64 + (s_[pos_] - '0') * 8 + (s_[pos_ + 1] - '0');
            pos_ += 2;
            if (v == 0 || v > 255) {
                *err = where(line_) + "octal escape out of range (1..377)";
                return false;
            }
            out->push_back(static_cast<char>(v));
        }
        *err = where(startLine) + "unterminated string";
        return false;
    }

    const std::string& s_;
    std::string file_;
    size_t pos_ = 0;
    int line_ = 1;
};

bool parseNumber(const std::string& w, unsigned* out) {
    if (w.empty() || w.size() > 5) return false;
    unsigned v = 0;
    for (char c : w) {
        if (!isdigit(static_cast<unsigned char>(c))) return false;
        v = v * 10 + static_cast<unsigned>(c - '0');
    }
    if (v == 0 || v > 65535) return false;
    *out = v;
    return true;
}

// A message name: an upper-case identifier of two or more characters, so that
// it can never be taken for a one-letter severity.
bool isMessageName(const std::string& w) {
    if (w.size() < 2 || !isupper(static_cast<unsigned char>(w[0]))) return false;
    for (char c : w) {
        if (!isupper(static_cast<unsigned char>(c)) && !isdigit(static_cast<unsigned char>(c)) &&
            c != '_')
            return false;
    }
    return true;
}

// Texts must be valid UTF-8 without control characters other than line feed
// and tab: the catalog layout uses 0x01, 0x10 and 0x12 as markers.
bool checkText(const std::string& t, std::string* why) {
    size_t i = 0;
    while (i < t.size()) {
        unsigned char c = static_cast<unsigned char>(t[i]);
        if (c < 0x80) {
            if ((c < 0x20 && c != '\n' && c != '\t') || c == 0x7f) {
                *why = "control character in text";
                return false;
            }
            ++i;
            continue;
        }
        size_t more = (c & 0xE0) == 0xC0 ? 1 : (c & 0xF0) == 0xE0 ? 2 : (c & 0xF8) == 0xF0 ? 3 : 0;
        bool ok = more > 0;
        for (size_t k = 1; ok && k <= more; ++k)
            ok = i + k < t.size() && (static_cast<unsigned char>(t[i + k]) & 0xC0) == 0x80;
        if (!ok) {
            *why = "text is not valid UTF-8";
            return false;
        }
        i += more + 1;
    }
    return true;
}

}  // namespace

bool catParseSource(const std::string& text, const std::string& fileName, CatSource* out,
                    std::string* err) {
    Lexer lex(text, fileName);
    Token t;
    std::set<unsigned> seen;
    std::set<std::string> names;
    out->prefix.clear();
    out->entries.clear();
    if (!lex.next(&t, err)) return false;
    while (t.kind != Token::End) {
        if (t.kind != Token::Word) {
            *err = lex.where(t.line) + "text without an entry before it";
            return false;
        }
        if (t.text == "prefix") {
            int line = t.line;
            if (!lex.next(&t, err)) return false;
            bool ok = t.kind == Token::Word && t.text.size() == 3 && out->prefix.empty();
            for (char c : t.text) ok = ok && isupper(static_cast<unsigned char>(c));
            if (!ok) {
                *err = lex.where(line) + "prefix needs three upper-case letters, given once";
                return false;
            }
            out->prefix = t.text;
            if (!lex.next(&t, err)) return false;
            continue;
        }
        CatEntry e;
        e.line = t.line;
        bool raw = t.text == "raw";
        if (raw) {
            e.form = CatForm::Raw;
            if (!lex.next(&t, err)) return false;
        }
        if (t.kind != Token::Word || !parseNumber(t.text, &e.number)) {
            *err = lex.where(e.line) + "expected a message number (1..65535)";
            return false;
        }
        if (!raw) {
            if (!lex.next(&t, err)) return false;
            if (t.kind == Token::Word && isMessageName(t.text)) {
                if (!names.insert(t.text).second) {
                    *err = lex.where(e.line) + "name " + t.text + " given twice";
                    return false;
                }
                e.name = t.text;
                if (!lex.next(&t, err)) return false;
            }
            if (t.kind != Token::Word || t.text.size() != 1 ||
                std::string("ZTRKIWESLM").find(t.text[0]) == std::string::npos) {
                *err = lex.where(e.line) + "expected a severity letter (Z T R K I W E S L M)";
                return false;
            }
            e.letter = t.text[0];
            if (!lex.next(&t, err)) return false;
            if (t.kind == Token::Word && t.text == "printf") {
                e.form = CatForm::Printf;
            } else if (t.kind == Token::Word && t.text == "ordered") {
                e.form = CatForm::Ordered;
            } else {
                *err = lex.where(e.line) + "expected the form: printf or ordered";
                return false;
            }
        }
        if (!lex.next(&t, err)) return false;
        if (!raw && t.kind == Token::Word && t.text == "trailer") {
            if (!lex.next(&t, err)) return false;
            if (t.kind != Token::String || t.text.empty() || t.text.size() > 6) {
                *err = lex.where(e.line) + "trailer needs a text of 1 to 6 characters";
                return false;
            }
            e.trailer = t.text;
            if (!lex.next(&t, err)) return false;
        }
        if (t.kind != Token::String) {
            *err = lex.where(e.line) + "message " + std::to_string(e.number) + " has no text";
            return false;
        }
        while (t.kind == Token::String) {
            e.text += t.text;
            if (!lex.next(&t, err)) return false;
        }
        std::string why;
        if (!raw && (!checkText(e.text, &why) || !checkText(e.trailer, &why))) {
            *err = lex.where(e.line) + "message " + std::to_string(e.number) + ": " + why;
            return false;
        }
        if (!seen.insert(e.number).second) {
            *err = lex.where(e.line) + "message " + std::to_string(e.number) + " defined twice";
            return false;
        }
        out->entries.push_back(e);
    }
    if (out->prefix.empty()) {
        *err = fileName + ": no prefix line";
        return false;
    }
    return true;
}

bool catReadSource(const std::string& path, CatSource* out, std::string* err) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        *err = path + ": cannot be read";
        return false;
    }
    std::stringstream ss;
    ss << in.rdbuf();
    return catParseSource(ss.str(), path, out, err);
}
