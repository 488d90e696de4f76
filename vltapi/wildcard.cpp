#include "vltapi/wildcard.h"

namespace vlt {

bool hasWildcard(const std::string& p) {
    return p.find_first_of("*?") != std::string::npos;
}

// Iterative matcher with one back-track point: linear in practice, and no
// recursion that a long pattern of stars could blow up.
bool wildcardMatch(const std::string& p, const std::string& t) {
    // A name followed by one "*" (a query's usual "/*") is a prefix test.
    const size_t firstWild = p.find_first_of("*?");
    if (firstWild + 1 == p.size() && p[firstWild] == '*')
        return t.size() >= firstWild && t.compare(0, firstWild, p, 0, firstWild) == 0;
    size_t pi = 0, ti = 0, starP = std::string::npos, starT = 0;
    while (ti < t.size()) {
        if (pi < p.size() && (p[pi] == '?' || p[pi] == t[ti])) {
            ++pi;
            ++ti;
        } else if (pi < p.size() && p[pi] == '*') {
            starP = pi++;
            starT = ti;
        } else if (starP != std::string::npos) {
            pi = starP + 1;
            ti = ++starT;
        } else {
            return false;
        }
    }
    while (pi < p.size() && p[pi] == '*') ++pi;
    return pi == p.size();
}

}  // namespace vlt
