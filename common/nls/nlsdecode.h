// Decoding one catalog text into a parsed message, and reading the layout of
// an ordered-form body. Pure functions on memory: the catalog reader and the
// formatter build on them, and tests drive every corner without a catalog.
//
// Catalog text: "QES0101E " (three letters, the digits of the number, the
// severity letter, a blank), the body, and optionally 0x12 with a trailer of
// at most six characters among the last seven. The body is either 0x01 and
// a printf format (form 1), or the ordered form written with 0x10 for every
// NUL (see tools/mkcat/catencode.h for the byte layout).
//
// Thread safety: none needed.
#ifndef ZEBO_COMMON_NLS_NLSDECODE_H
#define ZEBO_COMMON_NLS_NLSDECODE_H

#include <stddef.h>

#include "common/nls/nlsconv.h"
#include "common/nls/nlsobject.h"

// catgets returns this text when a message is missing; a catalog text equal
// to it counts as missing too.
extern const char kNlDefaultText[];

enum nlDecodeStatus {
    NL_DECODE_OK,
    NL_DECODE_MISSING,    // the default text
    NL_DECODE_CORRUPTED,  // bad letter, short prefix or broken ordered body
    NL_DECODE_RETIRED,    // letter M: no text, no error
    NL_DECODE_NO_MEMORY,
};

// Parses `text` into a fresh NLSMsg (allocated with psAllocator, links
// null; released with its freeFn).
nlDecodeStatus nlDecodeCatalogText(unsigned number, const char* text, NLSMsg** out);

// Where the form byte of a stored body starts: after the nine-character
// prefix for K I W E S, at 0 otherwise.
size_t nlBodyStart(const NLSMsg* msg);

enum { NL_MAX_INSERTS = 15 };

// NL_MAX_FIELD_DIGITS (nlsconv.h) bounds a width or precision.

// The ordered form after decoding.
struct nlOrderedView {
    int n;                                  // inserts
    unsigned char order[NL_MAX_INSERTS];    // caller's k-th argument -> slot
    unsigned char stars[NL_MAX_INSERTS];    // per slot: leading int arguments
    unsigned char type[NL_MAX_INSERTS];     // per slot: 0 string, 1 int, 2 unsigned, 3 double
    const char* spec[NL_MAX_INSERTS];       // per slot: one printf conversion
    const char* piece[NL_MAX_INSERTS + 1];  // text pieces 0..n
};

// Reads a decoded ordered body of `length` bytes (form byte included).
// False when anything lies outside the body or a conversion does not match
// its type: such a message is treated as corrupted, never formatted.
bool nlParseOrdered(const char* body, size_t length, nlOrderedView* view);

#endif
