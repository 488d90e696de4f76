// ProcessAnswer: entry numbers and ranges typed at the pick list.
//
// The answer is cut into tokens at blanks, tabs, newlines and the characters
// "+-:,". What a token means depends on the character after it:
//   ':'  the token starts a range;
//   '+'  the token ends a range and every entry of it is marked;
//   '-'  the same, clearing the marks;
//   else the token's entry has its mark flipped.
// A range without a start is the single entry. After a range the start and
// end are 0, not "unset", so a later "9+" in the same answer marks 1 to 9.
//
// Kept deliberately: the character after a token is found by adding up the
// token lengths plus one separator each, not by looking behind the token.
// Two separators in a row therefore shift the reading: in "3::7+" the
// character taken as following "7" is the "7" itself, so entry 7 is flipped
// instead of 3 to 7 being marked. Answers have always been read this way.
#include <ctype.h>
#include <stdint.h>
#include <string.h>

#include "common/ut/trace.h"
#include "sync/pkmarks.h"

namespace {

const char* const answerSeparators = " +-:,\t\n";

// The token's leading decimal digits, at most INT32_MAX; 0 without digits.
int64_t tokenValue(const char* token, size_t length) {
    int64_t value = 0;
    for (size_t i = 0; i < length && isdigit(static_cast<unsigned char>(token[i])); ++i) {
        value = value * 10 + (token[i] - '0');
        if (value > INT32_MAX) value = INT32_MAX;
    }
    return value;
}

// A range is walked only as far as the list goes, so an answer costs time
// in proportion to the list, never to the numbers typed ("1:99999999+").
// The part past the end leaves one out-of-range trace line, for its first
// number, instead of one line per number.
void markRange(SyncList* list, int64_t start, int64_t end, int32_t count, int mode,
               PkCursor* cursor) {
    if (start < 1) start = 1;
    int64_t last = end < count ? end : count;
    for (int64_t number = start; number <= last; ++number)
        pkHighlightEntry(list, static_cast<int32_t>(number), count, mode, cursor);
    if (end > count && end >= start) {
        int64_t firstPast = start > count ? start : static_cast<int64_t>(count) + 1;
        pkHighlightEntry(list, static_cast<int32_t>(firstPast), count, mode, cursor);
    }
}

}  // namespace

void ProcessAnswer(SyncList* list, const char* answer, int32_t count, PkCursor* cursor) {
    static const char* const fn = "ProcessAnswer()";
    TRACE(TR_ORCLEVEL1, " %s: Enter\n", fn);
    TRACE(TR_ORCLEVEL2, " %s: Answer = '%s'\n", fn, answer);
    int64_t start = -1;
    size_t position = 0;  // where the character after the token is read
    const char* p = answer;
    for (;;) {
        p += strspn(p, answerSeparators);
        if (*p == '\0') break;
        size_t length = strcspn(p, answerSeparators);
        int64_t value = tokenValue(p, length);
        p += length;
        position += length;
        char follower = answer[position];
        position += 1;

        if (follower == ':') {
            start = value;
        } else if (follower == '+' || follower == '-') {
            int64_t end = value;
            if (start == -1) start = end;
            markRange(list, start, end, count, follower == '+' ? PK_MARK_SET : PK_MARK_CLEAR,
                      cursor);
            start = 0;
        } else if (value > 0) {
            pkHighlightEntry(list, static_cast<int32_t>(value), count, PK_MARK_FLIP, cursor);
        }
    }
    TRACE(TR_ORCLEVEL1, " %s: Exit - OK\n\n", fn);
}
