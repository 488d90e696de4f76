// Turns a catalog source entry into the catalog text that the message
// repository reads through catgets, and catalog texts into a gencat input
// file (.msg).
//
// Catalog text of one message: the nine-character prefix ("QEV2603E "; more
// digits for numbers above 9999), then the body, then optionally 0x12 and a
// trailer of at most six characters.
//   printf form:  0x01, then the printf format.
//   ordered form: a byte block in which every NUL is written as 0x10:
//       0           form 0
//       1..4        header: mask 0x06 and three reserved zero bytes. The mask
//                   tells the reader that the zero bytes at 2 and 3 were
//                   written as 0x10 (byte 4 and everything after it is always
//                   decoded).
//       5           n, the number of inserts (at most 15, so that it can never
//                   be mistaken for 0x10)
//       6..5+n      order list: for the caller's k-th argument, the number of
//                   the insert slot (1..n) where it is shown
//       then        n descriptors: leading int arguments (0..2, one per "*"),
//                   insert type (0 string or pointer, 1 signed, 2 unsigned,
//                   3 double), conversion spec without "N$", NUL
//       then        text piece 0, NUL, and after insert j text piece j, NUL.
//
// Thread safety: plain functions on values.
#ifndef ZEBO_TOOLS_MKCAT_CATENCODE_H
#define ZEBO_TOOLS_MKCAT_CATENCODE_H

#include <string>
#include <vector>

#include "tools/mkcat/catsource.h"

// Longest ordered-form text piece: the repository copies each piece through
// a scratch block of this many bytes (NUL included).
const size_t kCatMaxPiece = 2301;
// Longest printf-form result that the repository formats without cutting.
const size_t kCatMaxPrintf = 4859;
// Most inserts in an ordered text.
const int kCatMaxInserts = 15;
// A width or precision has at most NL_MAX_FIELD_DIGITS digits
// (common/nls/nlsconv.h): the repository refuses a wider field.

// One insert of a text.
struct CatInsert {
    int argument = 0;  // the caller's argument it shows (1..n), in text order
    std::string spec;  // conversion without the "N$", e.g. "%-10s"
    int stars = 0;     // "*" width and precision: leading int arguments
    int type = 0;      // 0 string/pointer, 1 signed, 2 unsigned, 3 double
    char sig = 's';    // signature letter, see catSignature
};

// Splits a text into its literal pieces and inserts, in text order
// (pieces.size() == inserts.size() + 1; "%%" becomes "%" in ordered pieces
// and stays "%%" in printf pieces).
bool catSplitInserts(const std::string& text, CatForm form, std::vector<CatInsert>* inserts,
                     std::vector<std::string>* pieces, std::string* err);

// The types of the caller's arguments in the caller's order, one letter
// each: s string or pointer, w wide string, i int (also "*" and %c),
// u unsigned int, f double, l long or long long (printf form only).
bool catSignature(const CatEntry& entry, std::string* sig, std::string* err);

// The catalog text of an entry (never contains NUL).
bool catEncodeEntry(const std::string& prefix, const CatEntry& entry, std::string* out,
                    std::string* err);

// One catalog text written for gencat: backslash, control bytes and line
// feeds as escapes; bytes from 0x80 up as they are (gencat runs in a UTF-8
// locale and takes them as the characters they encode).
std::string catGencatEscape(const std::string& bytes);

// The whole gencat input for a source: set 1, one line per message.
bool catWriteMsgFile(const CatSource& source, std::string* out, std::string* err);

// The manifest: one line per message, "number letter signature" ("-" for no
// arguments); tools that show every message with sample inserts read it.
bool catWriteManifest(const CatSource& source, std::string* out, std::string* err);

// The rows of the program's signature table (C++ initialisers,
// "{number, "letters"},", one line per message) that the message repository
// checks every catalog text against; see common/nls/nlssignature.h.
bool catWriteSignatures(const CatSource& source, std::string* out, std::string* err);

// Checks a translation against its base: the same messages, letters and
// argument signatures. Returns false with every difference in *err.
bool catCheckTranslation(const CatSource& base, const CatSource& translation, std::string* err);

#endif
