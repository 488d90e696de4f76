// Answer readers; see answer.h.
#include "sync/answer.h"

#include <stdio.h>

#include "common/nls/nls.h"
#include "common/unx/yesno.h"
#include "sync/consoleline.h"

namespace {

// The stream the console line reader uses now.
FILE* consoleStream() {
    FILE* in = zeboSetConsoleInput(nullptr);
    zeboSetConsoleInput(in);
    return in != nullptr ? in : stdin;
}

}  // namespace

int utReadAnswer(char* answer, int size) {
    int length = zeboReadConsoleLine(answer, static_cast<size_t>(size));
    if (length > 0) return length;
    // An empty answer is either an empty line or nothing at all; only the
    // stream's state tells them apart.
    FILE* in = consoleStream();
    return feof(in) || ferror(in) ? -1 : 0;
}

bool utAskYesNo(unsigned msgNumber) {
    enum { ANSWER_SIZE = 64 };
    nlMsg(msgNumber);
    fflush(stdout);
    char answer[ANSWER_SIZE];
    if (utReadAnswer(answer, sizeof answer) <= 0) return false;
    return nlIsYesWord(answer);
}
