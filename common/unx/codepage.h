// Single-byte code pages: 437 and 850 (PC code pages), 819 (ISO 8859-1) and
// 367 (US-ASCII), as tables of the character that each byte stands for, and
// the conversion of one wide character to a byte of the display code page.
// The tables come from gen_codepages.sh (see there).
//
// Thread safety: the tables are constant; CodePageId is set at start-up.
#ifndef ZEBO_COMMON_UNX_CODEPAGE_H
#define ZEBO_COMMON_UNX_CODEPAGE_H

#include <stdint.h>
#include <wchar.h>

// The display code page in use; US-ASCII until someone sets another.
extern int CodePageId;

constexpr int CP_UNKNOWN = -1;          // no table for the code page
constexpr int CP_NOT_CONVERTIBLE = -2;  // the character has no acceptable byte

// The 256-entry table of a code page, null when there is none. Bytes the code
// page does not define hold 0xFFFF.
const uint16_t* cpTable(int codePage);

// The byte for c, or CP_UNKNOWN / CP_NOT_CONVERTIBLE. Control characters are
// never produced: 367 takes only 32..126; 819 refuses below 32, 127 and
// 128..159; 437 and 850 refuse below 32 and 127 and find characters above 126
// in the upper half of their table. 0xFFFF is never convertible.
int cpWideToByte(int codePage, wchar_t c);

// The character a byte stands for (0xFFFF when undefined), or CP_UNKNOWN.
int cpByteToWide(int codePage, unsigned char b);

#endif
