// The agent option file as a user could write it, read with the program's
// parser into a fresh agent context.
//
// Invariants: the parser agrees with a reference reading of the file
// (pieces of at most 512 characters, comments, the keyword in any case,
// values without quotes and outer blanks, ZEBO_TEST_FLAGS as written, the
// first bad line ends the parse) on the result and on every slot; each slot
// stays a string of at most 511 characters; and a refused file leaves a
// line in the error log that names the file.
#include <ctype.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <string>

#include "agent/errorlog.h"
#include "agent/optfile.h"
#include "common/nls/nls.h"
#include "fuzz/fuzzcheck.h"

namespace {

const char kPath[] = "/etc/fuzz/zebo.opt";
char gLog[ZEBO_LOG_PATH_SIZE];

int quiet(const char*) {
    return 0;
}

std::string clean(const std::string& raw) {
    size_t p = 0;
    while (p < raw.size() && isspace(static_cast<unsigned char>(raw[p]))) ++p;
    std::string out;
    for (; p < raw.size() && out.size() < ZEBO_OPT_VALUE_SIZE - 1; ++p)
        if (raw[p] != '"') out += raw[p];
    while (!out.empty() && isspace(static_cast<unsigned char>(out.back()))) out.pop_back();
    return out;
}

// The expected slots and result.
int reference(const std::string& file, std::string slots[OPT_COUNT]) {
    size_t at = 0;
    while (at < file.size()) {
        size_t end = file.find('\n', at);
        end = end == std::string::npos ? file.size() : end + 1;
        if (end - at > ZEBO_OPT_LINE_MAX) end = at + ZEBO_OPT_LINE_MAX;
        std::string line = file.substr(at, end - at);
        at = end;
        line = line.substr(0, strlen(line.c_str()));
        if (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.pop_back();
        size_t first = 0;
        while (first < line.size() && isspace(static_cast<unsigned char>(line[first]))) ++first;
        if (first == line.size() || line[first] == '*') continue;
        size_t k = line.find_first_not_of(" ,\n\t");
        if (k == std::string::npos) continue;
        size_t kend = line.find_first_of(" ,\n\t", k);
        std::string keyword =
            line.substr(k, kend == std::string::npos ? std::string::npos : kend - k);
        for (char& c : keyword) c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
        int slot = -1;
        for (int i = 0; i < OPT_COUNT; ++i)
            if (keyword == optLookup[i]) slot = i;
        if (slot < 0) return ZEBO_RC_AGENT_FAILED;
        std::string rest = kend == std::string::npos ? "" : line.substr(kend + 1);
        if (rest.empty()) return ZEBO_RC_AGENT_FAILED;
        if (slot == OPT_ZEBO_TEST_FLAGS) {
            slots[slot] = rest.substr(0, ZEBO_OPT_VALUE_SIZE - 1);
            continue;
        }
        std::string value = clean(rest);
        if (value.empty()) return ZEBO_RC_AGENT_FAILED;
        slots[slot] = value;
    }
    return 0;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // The fallback error log lives in the agent directory: a folder of the
    // target's own.
    setenv("ZEBO_AGENT_DIR", fuzzMakeScratchDir("zebo-fuzz-opt").c_str(), 1);
    static const nlOutputRoutine routines[NL_SEVERITY_COUNT] = {quiet, quiet, quiet, quiet, quiet,
                                                                quiet, quiet, quiet, quiet};
    newNlsGlobalObject(routines, 0);
    if (nlInit("zebo.cat", 10, nullptr, ZEBO_FUZZ_CATALOGS, nullptr, 0, 'D', 100, 'S', NL_APP_AGENT,
               1, 1, 1, nullptr, nullptr) != 0)
        abort();
    psNonNlsErrorLogName(gLog);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string text = fuzzText(data, size);
    FILE* file = fmemopen(const_cast<char*>(text.data()), text.size(), "r");
    if (file == nullptr) return 0;  // fmemopen refuses an empty buffer
    AgentContext* context = static_cast<AgentContext*>(calloc(1, sizeof(AgentContext)));
    unlink(gLog);
    int lines = 0;
    int rc = zeboParseOptFile(context, file, kPath, &lines);
    fclose(file);

    std::string want[OPT_COUNT];
    int wantRc = reference(text, want);
    FUZZ_CHECK(rc == wantRc, "result %d, reference %d", rc, wantRc);
    for (int i = 0; i < OPT_COUNT; ++i) {
        const char* slot = context->optValue[i];
        FUZZ_CHECK(memchr(slot, '\0', ZEBO_OPT_VALUE_SIZE) != nullptr, "slot %d unterminated", i);
        FUZZ_CHECK(want[i] == slot, "%s: '%s', reference '%s'", optLookup[i], slot,
                   want[i].c_str());
    }
    if (rc != 0) {
        FILE* log = fopen(gLog, "r");
        FUZZ_CHECK(log != nullptr, "refused without an error log line");
        char line[4096] = "";
        size_t n = fread(line, 1, sizeof line - 1, log);
        line[n] = '\0';
        fclose(log);
        FUZZ_CHECK(strstr(line, kPath) != nullptr, "error does not name the file: %s", line);
    }
    free(context);
    return 0;
}
