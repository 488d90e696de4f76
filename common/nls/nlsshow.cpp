// nlsshow: shows every message of a catalog with sample inserts, in the
// language that LANG selects, so that a translation can be read through and
// checked for missing or broken messages.
//
//   nlsshow [--escaped] INSTALL_DIR CATALOG MANIFEST
//
// MANIFEST is the list that mkcat writes beside the catalog (number, letter,
// argument types). String inserts show as <1>, <2>, ... by their argument
// number, so moved inserts can be seen; numbers as 65, 66, ... (and a %c as
// A, B, ...). Every message is printed as "[number] text"; with --escaped
// line feeds in texts are written as "\n", one message per line. The exit status
// is 1 when any message could not be shown (or a retired one, letter M, was),
// 2 for bad arguments.
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "common/nls/nls.h"

namespace {

std::vector<std::string> gShown;

int capture(const char* text) {
    gShown.push_back(text);
    return 0;
}

const char* kStrings[] = {"<1>", "<2>", "<3>", "<4>", "<5>", "<6>", "<7>", "<8>"};

// The whole text of a message, as nlPrintf would show it.
char* formatMsg(unsigned number, ...) {
    va_list args;
    va_start(args, number);
    char* text = nlFormatMsg(nlGetGlobalObject(), number, args, nullptr);
    va_end(args);
    return text;
}

// Calls formatMsg with arguments built from the signature: 's' strings,
// 'i' and 'u' int-sized numbers. Other types cannot be shown here.
template <typename... A>
char* formatWith(unsigned number, const char* sig, int index, A... args) {
    if (*sig == 0) return formatMsg(number, args...);
    if constexpr (sizeof...(A) < 8) {
        if (*sig == 's') return formatWith(number, sig + 1, index + 1, args..., kStrings[index]);
        if (*sig == 'i' || *sig == 'u')
            return formatWith(number, sig + 1, index + 1, args..., 65 + index);
    }
    return nullptr;
}

std::string shown(const char* text, bool escaped) {
    std::string out;
    for (const char* p = text; *p; ++p) {
        if (escaped && *p == '\n')
            out += "\\n";
        else
            out.push_back(*p);
    }
    return out;
}

}  // namespace

int main(int argc, char** argv) {
    bool escaped = argc > 1 && strcmp(argv[1], "--escaped") == 0;
    if (escaped) {
        --argc;
        ++argv;
    }
    if (argc != 4) {
        fprintf(stderr, "usage: nlsshow [--escaped] INSTALL_DIR CATALOG MANIFEST\n");
        return 2;
    }
    nlOutputRoutine routines[NL_SEVERITY_COUNT] = {};
    for (nlOutputRoutine& r : routines) r = capture;
    if (!newNlsGlobalObject(routines, 0)) return 2;
    char locale[1024] = "";
    int rc = nlInit(argv[2], 10, nullptr, argv[1], nullptr, 0, 'D', 100, 'S', NL_APP_AGENT, 1, 1, 1,
                    locale, argv[2]);
    for (const std::string& s : gShown) fputs(s.c_str(), stdout);
    if (rc != 0) return 1;
    printf("Locale: %s\n", locale);

    std::ifstream in(argv[3]);
    if (!in) {
        fprintf(stderr, "nlsshow: cannot read %s\n", argv[3]);
        return 2;
    }
    int failures = 0;
    std::string line;
    while (std::getline(in, line)) {
        std::istringstream fields(line);
        unsigned number = 0;
        std::string letter, sig;
        if (!(fields >> number >> letter >> sig)) continue;
        if (sig == "-") sig.clear();
        gShown.clear();
        char* text = formatWith(number, sig.c_str(), 0);
        if (letter == "M") {
            // Retired: the repository must show nothing and report nothing.
            bool quiet = !text && gShown.empty();
            printf("[%u] %s\n", number, quiet ? "(retired)" : "RETIRED BUT SHOWN");
            failures += quiet ? 0 : 1;
        } else if (!text || !gShown.empty()) {
            ++failures;
            printf("[%u] NOT SHOWN (arguments %s)\n", number, sig.empty() ? "-" : sig.c_str());
            for (const std::string& s : gShown) fputs(s.c_str(), stdout);
        } else {
            printf("[%u] %s\n", number, shown(text, escaped).c_str());
        }
        free(text);
    }
    nlFreeRepository();
    return failures ? 1 : 0;
}
