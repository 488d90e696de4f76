// Wildcard names of queries: "*" matches any sequence of characters (the
// delimiter "/" included), "?" exactly one character; everything else
// matches itself, case-sensitively.
#ifndef VLTAPI_WILDCARD_H
#define VLTAPI_WILDCARD_H

#include <string>

namespace vlt {

bool hasWildcard(const std::string& pattern);
bool wildcardMatch(const std::string& pattern, const std::string& text);

}  // namespace vlt

#endif
