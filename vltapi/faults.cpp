#include "vltapi/faults.h"

#include <stdio.h>
#include <stdlib.h>

#include <atomic>
#include <mutex>
#include <string>
#include <vector>

namespace vlt {
namespace {

#define VLT_FN_NAME(Name) "rvk" #Name,
const char* const kNames[] = {RVK_ENTRY_POINTS(VLT_FN_NAME)};
#undef VLT_FN_NAME
static_assert(sizeof kNames / sizeof kNames[0] == static_cast<size_t>(Fn::Count),
              "one name per entry point");

struct Rule {
    int fn;
    uint64_t from, to;
    int16_t rc;
    uint16_t reason;
};

std::once_flag gOnce;
std::vector<Rule> gRules;
std::atomic<uint64_t> gCounts[static_cast<size_t>(Fn::Count)];
bool gActive = false;

// Parses one "name@N=rc" or "name@N-M=rc"; false when malformed.
bool parseRule(const std::string& item, Rule& r) {
    size_t at = item.find('@'), eq = item.find('=');
    if (at == std::string::npos || eq == std::string::npos || eq < at) return false;
    std::string name = item.substr(0, at);
    r.fn = -1;
    for (size_t i = 0; i < static_cast<size_t>(Fn::Count); ++i)
        if (name == kNames[i]) r.fn = static_cast<int>(i);
    if (r.fn < 0) return false;
    std::string range = item.substr(at + 1, eq - at - 1), rc = item.substr(eq + 1);
    char* end = nullptr;
    r.from = strtoull(range.c_str(), &end, 10);
    if (end == range.c_str()) return false;
    r.to = r.from;
    if (*end == '-') {
        const char* second = end + 1;
        r.to = strtoull(second, &end, 10);
        if (end == second) return false;
    }
    if (*end != '\0' || r.from < 1 || r.to < r.from) return false;
    long v = strtol(rc.c_str(), &end, 10);
    if (rc.empty() || end == rc.c_str() || v < -32768 || v > 32767) return false;
    r.rc = static_cast<int16_t>(v);
    r.reason = 0;
    if (*end == ':') {
        const char* reason = end + 1;
        unsigned long why = strtoul(reason, &end, 10);
        if (end == reason || why > 65535) return false;
        r.reason = static_cast<uint16_t>(why);
    }
    return *end == '\0';
}

void load() {
    const char* env = getenv("RVK_FAULTS");
    if (!env || !*env) return;
    std::string text(env);
    size_t pos = 0;
    while (pos <= text.size()) {
        size_t comma = text.find(',', pos);
        std::string item =
            text.substr(pos, comma == std::string::npos ? std::string::npos : comma - pos);
        pos = comma == std::string::npos ? text.size() + 1 : comma + 1;
        // Blanks around items are allowed.
        while (!item.empty() && (item.front() == ' ' || item.front() == '\t')) item.erase(0, 1);
        while (!item.empty() && (item.back() == ' ' || item.back() == '\t')) item.pop_back();
        if (item.empty()) continue;
        Rule r;
        if (parseRule(item, r))
            gRules.push_back(r);
        else
            fprintf(stderr, "libApiQZ: RVK_FAULTS: ignoring malformed entry '%s'\n", item.c_str());
    }
    gActive = !gRules.empty();
}

}  // namespace

bool faultFires(Fn fn, int16_t* rc, uint16_t* reason) {
    std::call_once(gOnce, load);
    if (!gActive) return false;
    size_t i = static_cast<size_t>(fn);
    uint64_t n = gCounts[i].fetch_add(1) + 1;
    for (const Rule& r : gRules) {
        if (r.fn == static_cast<int>(i) && n >= r.from && n <= r.to) {
            *rc = r.rc;
            if (reason) *reason = r.reason;
            return true;
        }
    }
    return false;
}

}  // namespace vlt
