// Splitting text into tokens at a set of separator characters, one
// character at a time in the current locale's multibyte encoding. A byte
// that equals a separator but belongs to a longer character (a trail byte
// of a double-byte code) is part of the token, not a separator. A byte
// sequence that is not a valid character counts as one ordinary character,
// so that a damaged line still yields its tokens.
//
// The tokenizer keeps its position in the caller's save pointer, so it is
// reentrant; it writes a NUL behind each token, like strtok.
#ifndef ZEBO_SYNC_STRTOKEN_H
#define ZEBO_SYNC_STRTOKEN_H

// The first token of `text` (when text is not null) or the next token after
// the position in *saveP (when text is null), with the separators in
// `separators` skipped before it and the first separator after it replaced
// by a NUL. Null when no token is left.
char* utStrTok(char* text, const char* separators, char** saveP);

#endif
