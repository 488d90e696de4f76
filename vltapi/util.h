// Small helpers of the client library and its admin tool: bounded copies
// into the API's fixed fields, upper-casing of node names, and the server's
// date values.
//
// Dates are kept as one integer YYYYMMDDhhmmss in the server's local time:
// they sort and compare as numbers, and no time-zone arithmetic is needed.
#ifndef VLTAPI_UTIL_H
#define VLTAPI_UTIL_H

#include <stddef.h>
#include <stdint.h>

#include <string>

#include "rvkapi.h"

namespace vlt {

// Copies `src` into `dst` of `size` bytes with NUL. Returns false (and
// leaves an empty string) when it does not fit.
bool copyField(char* dst, size_t size, const std::string& src);

// Copies as much as fits, always terminating.
void copyTruncated(char* dst, size_t size, const std::string& src);

// The two copies into a character array field of a record.
template <size_t N>
bool copyField(char (&dst)[N], const std::string& src) {
    return copyField(dst, N, src);
}
template <size_t N>
void copyTruncated(char (&dst)[N], const std::string& src) {
    copyTruncated(dst, N, src);
}

// The C string or "" for NULL.
std::string str(const char* s);

// Length of a C string but at most `limit` + 1, so that over-long or
// unterminated input is caught without reading further.
size_t boundedLen(const char* s, size_t limit);

std::string upper(std::string s);
std::string trim(const std::string& s);

// Date values.
int64_t nowDate();
int64_t dateFromRvk(const rvkDate& d);  // 0 for an all-zero date
void dateToRvk(int64_t v, rvkDate* d);  // all zero for 0
bool validDate(int64_t v);
// Parses "YYYY-MM-DD HH:MM:SS" strictly (a real calendar day). Returns 0 on error.
int64_t parseDateText(const std::string& text);
std::string formatDate(int64_t v);  // "YYYY-MM-DD HH:MM:SS", "" for 0
int64_t dateFromTime(int64_t unixSeconds);

uint64_t u64FromRvk(const rvkU64& v);
rvkU64 u64ToRvk(uint64_t v);

}  // namespace vlt

#endif
