#include "zebopasswd/pwentry.h"

#include <string.h>

#include "api/psconsole.h"

namespace {

// One line of `in` into `line` (room: size bytes); the rest of a longer line
// is read and counted. Returns the full length, or -1 at end of input.
int readLine(FILE* in, char* line, int size) {
    int length = 0;
    int c = EOF;
    bool any = false;
    while ((c = fgetc(in)) != EOF) {
        any = true;
        if (c == '\n') break;
        if (length < size - 1) line[length] = static_cast<char>(c);
        ++length;
    }
    if (!any) return -1;
    int kept = length < size - 1 ? length : size - 1;
    // A script written on another system may end its lines with CR LF.
    if (kept > 0 && line[kept - 1] == '\r') {
        --kept;
        --length;
    }
    line[kept] = '\0';
    return length;
}

}  // namespace

int pwReadEntry(FILE* in, bool terminal, const char* prompt, char* buffer) {
    char line[PW_BUFFER_SIZE + 1];
    int length;
    if (terminal) {
        fputs(prompt, stdout);
        fflush(stdout);
        // One character more than allowed shows that the entry was too long.
        length = psReadLineNoEcho(line, PW_MAX_LENGTH + 1, 0);
        fputc('\n', stdout);
    } else {
        length = readLine(in, line, sizeof line);
    }
    if (length < 0) {
        buffer[0] = '\0';
        return -1;
    }
    if (length > PW_MAX_LENGTH) {
        explicit_bzero(line, sizeof line);
        buffer[0] = '\0';
        return PW_MAX_LENGTH + 1;
    }
    memcpy(buffer, line, static_cast<size_t>(length) + 1);
    explicit_bzero(line, sizeof line);
    return length;
}

PwEntryResult pwEnterTwice(FILE* in, bool terminal, char* password) {
    char again[PW_BUFFER_SIZE];
    PwEntryResult result = PW_OK;
    int first = pwReadEntry(in, terminal, "New password: ", password);
    if (first < 0) {
        result = PW_NO_INPUT;
    } else if (first > PW_MAX_LENGTH) {
        result = PW_TOO_LONG;
    } else if (first == 0) {
        result = PW_EMPTY;
    } else {
        int second = pwReadEntry(in, terminal, "Enter the password again: ", again);
        if (second < 0) {
            result = PW_NO_INPUT;
        } else if (second != first || strcmp(password, again) != 0) {
            result = PW_DIFFERENT;
        }
    }
    explicit_bzero(again, sizeof again);
    if (result != PW_OK) explicit_bzero(password, PW_BUFFER_SIZE);
    return result;
}
