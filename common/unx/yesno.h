// Yes and no words: the answers that count as "yes" or "no" to a question,
// in any letter case. The lists are kept word for word, jokes included,
// deliberately: users of the product have typed them for years.
//
// Thread safety: reentrant.
#ifndef ZEBO_COMMON_UNX_YESNO_H
#define ZEBO_COMMON_UNX_YESNO_H

extern const char* const nlYesWords;
extern const char* const nlNoWords;

// Whether the answer, upper-cased, is one of the words. Blanks around the
// answer are ignored; an answer that still contains white space is never a
// word (otherwise "ye y" would match the adjacent list entries " YE Y ").
bool nlIsYesWord(const char* answer);
bool nlIsNoWord(const char* answer);

#endif
