// Answers typed at the pick list and at the confirmation before deletion,
// read one line at a time through the synchronisation's console line reader
// (consoleline.h), which tests point at a stream of their own.
//
// Unlike the catalog prompts, these readers tell an empty line from the end
// of input: the pick list redraws on an empty line but must leave when the
// input is closed, or it would redraw for ever.
#ifndef ZEBO_SYNC_ANSWER_H
#define ZEBO_SYNC_ANSWER_H

// Reads one answer (leading blanks and the newline dropped, at most size - 1
// characters). Returns its length, or -1 at end of input (the answer is then
// empty). REQUIRES: size >= 1.
int utReadAnswer(char* answer, int size);

// Shows the question `msgNumber`, flushes standard output and reads the
// answer: true only for one of the yes words, in any letter case. End of
// input counts as no.
bool utAskYesNo(unsigned msgNumber);

#endif
