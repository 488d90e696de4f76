// Console line reader; see consoleline.h.
#include "sync/consoleline.h"

#include <string.h>

#include "common/ut/trace.h"

namespace {
FILE* consoleIn = nullptr;  // null: stdin
}

FILE* zeboSetConsoleInput(FILE* in) {
    FILE* old = consoleIn;
    consoleIn = in;
    return old;
}

int zeboReadConsoleLine(char* answer, size_t size) {
    FILE* in = consoleIn != nullptr ? consoleIn : stdin;
    char line[CONSOLE_LINE_MAX + 1];
    answer[0] = '\0';
    // Whoever waits with the program, at the screen or on the trace file,
    // sees everything up to the question.
    trFlush();
    fflush(stdout);
    if (fgets(line, sizeof line, in) == nullptr) return 0;

    size_t length = strlen(line);
    if (length > 0 && line[length - 1] == '\n') {
        line[--length] = '\0';
    } else if (length == CONSOLE_LINE_MAX) {
        int c;
        while ((c = fgetc(in)) != EOF && c != '\n') {
        }
    }
    const char* start = line + strspn(line, " \t");
    length = strlen(start);
    if (length > size - 1) length = size - 1;
    memcpy(answer, start, length);
    answer[length] = '\0';
    return static_cast<int>(length);
}
