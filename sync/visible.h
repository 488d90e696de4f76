// Names as they may reach a terminal or a trace: object names come from the
// server and may hold any byte, and a control character written raw can
// retitle the terminal, change its colours, move the cursor or print lines
// that look like the program's own. utVisibleText writes every control
// character as a visible escape; everything else stays as it is.
//
// Escaped: C0 (0x00 to 0x1f), DEL (0x7f) and C1 (U+0080 to U+009F, written
// in UTF-8 as 0xc2 0x80 to 0xc2 0x9f, or a lone byte 0x80 to 0x9f that
// belongs to no UTF-8 character), each byte as "\x" and two lower-case hex
// digits; the backslash itself as "\\", so that no name can pass for the
// escaped form of another. Bytes of other UTF-8 characters, and bytes from
// 0xa0 up that belong to no UTF-8 character (Latin-1 letters), are kept.
//
// Only for showing: matching and deletion always use the raw name.
#ifndef ZEBO_SYNC_VISIBLE_H
#define ZEBO_SYNC_VISIBLE_H

#include <string>

std::string utVisibleText(const char* text);

#endif
