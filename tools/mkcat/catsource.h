// The readable source of one message catalog in one language, as kept in the
// repository (catalogs/<language>/<name>.src), and its parser.
//
// Layout of a source file (UTF-8):
//
//   # A comment runs from "#" at the start of a line to its end.
//   prefix QEV                       three upper-case letters, once, first
//
//   2522 MSG_NO_MEMORY E printf "There is not enough system memory to complete command.\n"
//   2603 MSG_BAD_KEYWORD E ordered "Unknown keyword %1$s in the option file %2$s.\n"
//   0475 Z printf
//       "Line one of a long text,\n"
//       "line two.\n"
//   0477 I ordered trailer "ABC" "Text with a trailer.\n"
//   raw 9001 "QES9001Q written to the catalog exactly as it stands"
//
// An entry is a message number, optionally its name, its severity letter
// (Z T R K I W E S L M), its form and its text. The text is one or more double-quoted pieces, on
// the entry's line or on the lines that follow, joined like C string
// literals. Escapes: \n \t \\ \" and \ooo (three octal digits).
//
// Forms:
//   printf   the text is a printf format applied to the caller's arguments in
//            their order ("%s", "%d", "%5.2f", ...).
//   ordered  every insert names the caller's argument it shows: "%2$s" shows
//            the second argument. A translation puts the inserts in whatever
//            order its language wants; the caller's order never changes.
//   raw      (test catalogs) the whole catalog text, prefix included, is
//            written as given; nothing is checked or added.
//
// Names: a name is an upper-case C identifier of at least two characters
// (letters, digits, "_"), unique in its file. The program calls a message by
// its name: mkcat --names writes a header of constants (name = number) from
// the American English source, so a text seen on the screen leads through its
// name in the source to every call site. The English source names every
// message (--names refuses an entry without one). A translation may leave the
// names out and takes them from its base; a name it does give must be the
// base's, so that the two files cannot drift apart under the same number.
//
// Arguments of a message: the American English source (en_US) declares them.
// The inserts of its text, in the caller's order, are the arguments that the
// program passes with that message, one letter per argument (see
// catSignature in catencode.h), and the program is written against that
// text. Every other language is compiled with the English source as its base
// (--base) and refused unless each message takes exactly the same arguments:
// no more, no fewer, of the same kinds. The same signatures are compiled
// into the program (mkcat --signatures), where the message repository
// checks every catalog text it reads, so that a catalog compiled by other
// means cannot make it read arguments that were never passed either. A
// second, hand-kept declaration per message was not added: it would be one
// more list to keep in step with the English texts, which already say it.
//
// Thread safety: plain functions on values.
#ifndef ZEBO_TOOLS_MKCAT_CATSOURCE_H
#define ZEBO_TOOLS_MKCAT_CATSOURCE_H

#include <string>
#include <vector>

enum class CatForm { Printf, Ordered, Raw };

struct CatEntry {
    unsigned number = 0;
    std::string name;  // symbolic name, empty when the entry gives none
    char letter = 0;   // severity letter; 0 for raw entries
    CatForm form = CatForm::Printf;
    std::string text;     // escapes resolved
    std::string trailer;  // up to six characters, empty when none
    int line = 0;         // line of the entry's header, for diagnostics
};

struct CatSource {
    std::string prefix;  // three letters, e.g. "QEV"
    std::vector<CatEntry> entries;
};

// Parses a whole source text. On failure returns false and sets *err to
// "file:line: reason". Message numbers must be unique and within 1..65535.
bool catParseSource(const std::string& text, const std::string& fileName, CatSource* out,
                    std::string* err);

// Reads and parses a file.
bool catReadSource(const std::string& path, CatSource* out, std::string* err);

#endif
