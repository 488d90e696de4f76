// How vltadm reads a new node password: never from its command line, where
// ps and the shell history would show it. On a terminal it asks twice with
// the echo off; otherwise it takes the first line of standard input, and a
// second line, when there is one, must repeat it.
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <termios.h>
#include <unistd.h>

#include <string>

#include "vltapi/vltadm.h"

namespace vlt {

namespace {

// Longer lines are read to their end and reported as too long.
constexpr size_t kLineMax = 1024;

struct termios gSaved;
volatile sig_atomic_t gEchoOff = 0;

// A signal while the echo is off puts the terminal back first.
void restoreAndRaise(int sig) {
    if (gEchoOff) tcsetattr(STDIN_FILENO, TCSANOW, &gSaved);
    signal(sig, SIG_DFL);
    raise(sig);
}

// One line of `in` without its line end (and a CR before it). False at end
// of input before any character.
bool readLine(FILE* in, std::string& line) {
    line.clear();
    int c;
    bool any = false;
    while ((c = fgetc(in)) != EOF) {
        any = true;
        if (c == '\n') break;
        if (line.size() <= kLineMax) line += static_cast<char>(c);
    }
    if (!line.empty() && line.back() == '\r') line.pop_back();
    return any;
}

void wipe(std::string& s) {
    if (!s.empty()) explicit_bzero(&s[0], s.size());
    s.clear();
}

// Prompts on standard error and reads a line from the terminal on standard
// input with the echo off.
bool askNoEcho(const char* prompt, std::string& line) {
    // The echo goes off before the prompt shows: what is typed after the
    // prompt is never echoed, and the flush drops nothing typed for it.
    struct termios quiet;
    bool changed = tcgetattr(STDIN_FILENO, &gSaved) == 0;
    if (changed) {
        quiet = gSaved;
        quiet.c_lflag &= static_cast<tcflag_t>(~(ECHO | ECHOE | ECHOK | ECHONL));
        gEchoOff = 1;
        for (int sig : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) signal(sig, restoreAndRaise);
        changed = tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet) == 0;
    }
    fputs(prompt, stderr);
    fflush(stderr);
    bool got = readLine(stdin, line);
    if (changed) tcsetattr(STDIN_FILENO, TCSADRAIN, &gSaved);
    gEchoOff = 0;
    for (int sig : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) signal(sig, SIG_DFL);
    fputc('\n', stderr);
    return got;
}

}  // namespace

std::string readNewPassword(const std::string& node, std::string& pw) {
    std::string first, second;
    std::string problem;
    if (isatty(STDIN_FILENO)) {
        std::string prompt = "New password for node " + node + ": ";
        if (!askNoEcho(prompt.c_str(), first)) {
            problem = "no password was entered";
        } else if (!askNoEcho("Enter it again: ", second)) {
            problem = "the password was not entered again";
        } else if (first != second) {
            problem = "the two entries differ";
        }
    } else if (!readLine(stdin, first)) {
        problem = "no password on standard input (give it as its first line)";
    } else if (readLine(stdin, second) && first != second) {
        problem = "the second line of standard input differs from the first";
    }
    if (problem.empty()) pw = first;
    wipe(first);
    wipe(second);
    return problem;
}

}  // namespace vlt
