#include "tools/mkcat/catencode.h"

#include <stdio.h>
#include <string.h>

#include <cctype>
#include <map>
#include <set>

#include "common/nls/nlsconv.h"

namespace {

std::string where(const CatEntry& e) {
    return "message " + std::to_string(e.number) + " (line " + std::to_string(e.line) + "): ";
}

// The insert type of an accepted conversion: 0 string, 1 signed, 2
// unsigned, 3 floating point.
int insertType(char conv) {
    switch (conv) {
        case 's':
        case 'p':
            return 0;
        case 'c':
        case 'd':
        case 'i':
            return 1;
        case 'o':
        case 'u':
        case 'x':
        case 'X':
            return 2;
        default:
            return 3;
    }
}

// Why a conversion is refused.
std::string refusal(const NlConversion& c) {
    switch (insertType(c.conv)) {
        case 0:
            return std::string("bad length for %") + c.conv;
        case 1:
        case 2:
            if (c.conv != 'c') return "ordered-form integers are int-sized (no l, ll, j, z or t)";
            return "bad length for %c";
        default:
            if (strchr("eEfFgGaA", c.conv)) return "bad length for a floating-point insert";
            return std::string("unsupported conversion %") + c.conv;
    }
}

// Reads one conversion starting at text[*pos] == '%' (not "%%"). Fills the
// insert (spec, stars, type, sig, argument for the ordered form).
bool readConversion(const std::string& text, size_t* pos, CatForm form, CatInsert* ins,
                    std::string* err) {
    NlConversion c;
    nlScanConversion(text, pos, &c);
    if (c.positional && form != CatForm::Ordered) {
        *err = "positional insert in a printf-form text; use the ordered form";
        return false;
    }
    if (!c.positional && form == CatForm::Ordered) {
        *err = "an ordered-form insert must name its argument, e.g. %1$s";
        return false;
    }
    if (c.longField) {
        *err = "width or precision of more than 4 digits";
        return false;
    }
    if (c.conv == 0) {
        *err = "insert without a conversion letter";
        return false;
    }
    // Long integers only in printf texts: the ordered form passes ints.
    if (c.letter == 0 || (c.letter == 'l' && form != CatForm::Printf)) {
        *err = refusal(c);
        return false;
    }
    ins->argument = c.argument;
    ins->stars = c.stars;
    ins->type = insertType(c.conv);
    ins->sig = c.letter;
    ins->spec = c.spec;
    return true;
}

void putByte(std::string* out, int value) {
    // Inside the ordered block every NUL is written as 0x10.
    out->push_back(value == 0 ? '\x10' : static_cast<char>(value));
}

void putText(std::string* out, const std::string& text) {
    *out += text;
    out->push_back('\x10');
}

}  // namespace

bool catSplitInserts(const std::string& text, CatForm form, std::vector<CatInsert>* inserts,
                     std::vector<std::string>* pieces, std::string* err) {
    inserts->clear();
    pieces->assign(1, std::string());
    size_t pos = 0;
    while (pos < text.size()) {
        if (text[pos] != '%') {
            pieces->back().push_back(text[pos++]);
            continue;
        }
        if (pos + 1 < text.size() && text[pos + 1] == '%') {
            pieces->back() += form == CatForm::Ordered ? "%" : "%%";
            pos += 2;
            continue;
        }
        CatInsert ins;
        if (!readConversion(text, &pos, form, &ins, err)) return false;
        inserts->push_back(ins);
        pieces->emplace_back();
    }
    if (form != CatForm::Ordered) return true;
    int n = static_cast<int>(inserts->size());
    if (n > kCatMaxInserts) {
        *err = "more than " + std::to_string(kCatMaxInserts) + " inserts";
        return false;
    }
    std::set<int> used;
    for (const CatInsert& ins : *inserts) {
        if (ins.argument < 1 || ins.argument > n || !used.insert(ins.argument).second) {
            *err = "the inserts must name each argument 1.." + std::to_string(n) + " exactly once";
            return false;
        }
    }
    for (const std::string& piece : *pieces) {
        if (piece.size() > kCatMaxPiece) {
            *err = "a text piece is longer than " + std::to_string(kCatMaxPiece) + " bytes";
            return false;
        }
    }
    return true;
}

bool catSignature(const CatEntry& entry, std::string* sig, std::string* err) {
    sig->clear();
    if (entry.form == CatForm::Raw) return true;
    std::vector<CatInsert> inserts;
    std::vector<std::string> pieces;
    std::string why;
    if (!catSplitInserts(entry.text, entry.form, &inserts, &pieces, &why)) {
        *err = where(entry) + why;
        return false;
    }
    std::map<int, const CatInsert*> byArgument;
    for (size_t i = 0; i < inserts.size(); ++i) {
        int key = entry.form == CatForm::Ordered ? inserts[i].argument : static_cast<int>(i);
        byArgument[key] = &inserts[i];
    }
    for (const auto& kv : byArgument) {
        sig->append(static_cast<size_t>(kv.second->stars), 'i');
        sig->push_back(kv.second->sig);
    }
    return true;
}

bool catEncodeEntry(const std::string& prefix, const CatEntry& entry, std::string* out,
                    std::string* err) {
    out->clear();
    if (entry.form == CatForm::Raw) {
        *out = entry.text;
        return true;
    }
    char head[16];
    snprintf(head, sizeof head, "%s%04u%c ", prefix.c_str(), entry.number, entry.letter);
    *out = head;
    std::vector<CatInsert> inserts;
    std::vector<std::string> pieces;
    std::string why;
    if (!catSplitInserts(entry.text, entry.form, &inserts, &pieces, &why)) {
        *err = where(entry) + why;
        return false;
    }
    if (entry.form == CatForm::Printf) {
        if (entry.text.size() > kCatMaxPrintf) {
            *err = where(entry) + "printf-form text longer than " + std::to_string(kCatMaxPrintf);
            return false;
        }
        out->push_back('\x01');
        *out += entry.text;
    } else {
        int n = static_cast<int>(inserts.size());
        putByte(out, 0);     // form 0
        putByte(out, 0x06);  // mask: bytes 2 and 3 are written as 0x10
        putByte(out, 0);     // reserved
        putByte(out, 0);     // reserved
        putByte(out, 0);     // reserved
        putByte(out, n);
        std::vector<int> order(static_cast<size_t>(n) + 1, 0);
        for (int j = 1; j <= n; ++j) order[static_cast<size_t>(inserts[j - 1].argument)] = j;
        for (int k = 1; k <= n; ++k) putByte(out, order[static_cast<size_t>(k)]);
        for (const CatInsert& ins : inserts) {
            putByte(out, ins.stars);
            putByte(out, ins.type);
            putText(out, ins.spec);
        }
        for (const std::string& piece : pieces) putText(out, piece);
    }
    if (!entry.trailer.empty()) {
        out->push_back('\x12');
        *out += entry.trailer;
    }
    return true;
}

std::string catGencatEscape(const std::string& bytes) {
    std::string out;
    for (char ch : bytes) {
        unsigned char c = static_cast<unsigned char>(ch);
        if (c == '\\') {
            out += "\\\\";
        } else if (c == '\n') {
            out += "\\n";
        } else if (c < 0x20 || c == 0x7f) {
            char oct[8];
            snprintf(oct, sizeof oct, "\\%03o", c);
            out += oct;
        } else {
            out.push_back(ch);
        }
    }
    return out;
}

bool catWriteMsgFile(const CatSource& source, std::string* out, std::string* err) {
    *out = "$ Generated by mkcat: do not edit; edit the .src file instead.\n$set 1\n";
    for (const CatEntry& e : source.entries) {
        std::string text;
        if (!catEncodeEntry(source.prefix, e, &text, err)) return false;
        if (text.find('\0') != std::string::npos) {
            *err = where(e) + "NUL byte in catalog text";
            return false;
        }
        *out += std::to_string(e.number) + " " + catGencatEscape(text) + "\n";
    }
    return true;
}

bool catWriteManifest(const CatSource& source, std::string* out, std::string* err) {
    out->clear();
    for (const CatEntry& e : source.entries) {
        if (e.form == CatForm::Raw) continue;
        std::string sig;
        if (!catSignature(e, &sig, err)) return false;
        *out += std::to_string(e.number) + " " + std::string(1, e.letter) + " " +
                (sig.empty() ? "-" : sig) + "\n";
    }
    return true;
}

bool catWriteSignatures(const CatSource& source, std::string* out, std::string* err) {
    *out = "// Generated by mkcat: do not edit; edit the .src file instead.\n";
    for (const CatEntry& e : source.entries) {
        if (e.form == CatForm::Raw) continue;
        std::string sig;
        if (!catSignature(e, &sig, err)) return false;
        *out += "{" + std::to_string(e.number) + ", \"" + sig + "\"},\n";
    }
    return true;
}

bool catCheckTranslation(const CatSource& base, const CatSource& translation, std::string* err) {
    std::map<unsigned, const CatEntry*> baseByNumber, transByNumber;
    for (const CatEntry& e : base.entries) baseByNumber[e.number] = &e;
    for (const CatEntry& e : translation.entries) transByNumber[e.number] = &e;
    std::string problems;
    if (base.prefix != translation.prefix)
        problems += "prefix " + translation.prefix + " differs from " + base.prefix + "\n";
    for (const auto& kv : baseByNumber) {
        auto it = transByNumber.find(kv.first);
        if (it == transByNumber.end()) {
            problems += "message " + std::to_string(kv.first) + " is not translated\n";
            continue;
        }
        const CatEntry& b = *kv.second;
        const CatEntry& t = *it->second;
        if (b.letter != t.letter) problems += where(t) + "severity letter differs from the base\n";
        if (!t.name.empty() && t.name != b.name)
            problems += where(t) + "name " + t.name + " differs from the base's " + b.name + "\n";
        std::string sb, st, why;
        if (!catSignature(b, &sb, &why) || !catSignature(t, &st, &why)) {
            problems += why + "\n";
        } else if (sb != st) {
            problems +=
                where(t) + "arguments \"" + st + "\" differ from the base's \"" + sb + "\"\n";
        }
    }
    for (const auto& kv : transByNumber) {
        if (!baseByNumber.count(kv.first))
            problems += "message " + std::to_string(kv.first) + " is not in the base catalog\n";
    }
    if (problems.empty()) return true;
    *err = problems;
    return false;
}
