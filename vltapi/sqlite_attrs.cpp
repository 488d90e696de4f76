#include "vltapi/sqlite_attrs.h"

#include <stdint.h>

namespace vlt {

const char* const kAttrsColumn =
    "attrs BLOB GENERATED ALWAYS AS (printf('%d,%d,%d,%d,%d,%d,%d,%d,', type, state, has_data, "
    "ins_date, deact_date, size, length(CAST(owner AS BLOB)), length(CAST(mc AS BLOB))) || owner "
    "|| mc || info) VIRTUAL";

const char* const kNameIndex =
    "CREATE INDEX objects_name ON objects(node_id, fs_id, hl, ll, id, state, type, ins_date, "
    "deact_date, attrs)";

namespace {

// One decimal number and its comma; `p` moves past them. At most 19 digits,
// so that no value wraps.
bool number(const char*& p, const char* end, int64_t& v) {
    bool negative = p < end && *p == '-';
    if (negative) ++p;
    const char* digits = p;
    uint64_t u = 0;
    while (p < end && *p >= '0' && *p <= '9' && p - digits < 19) u = u * 10 + (*p++ - '0');
    if (p == digits || p == end || *p != ',') return false;
    ++p;
    v = static_cast<int64_t>(negative ? 0 - u : u);
    return true;
}

}  // namespace

bool unpackAttrs(const char* p, size_t n, ObjectRecord& o) {
    const char* end = p + n;
    int64_t v[8];
    for (int64_t& x : v)
        if (!number(p, end, x)) return false;
    const int64_t ownerLen = v[6], mcLen = v[7];
    if (ownerLen < 0 || mcLen < 0 || ownerLen + mcLen > end - p) return false;
    o.type = static_cast<int>(v[0]);
    o.state = static_cast<int>(v[1]);
    o.hasData = v[2] != 0;
    o.insDate = v[3];
    o.deactDate = v[4];
    o.size = static_cast<uint64_t>(v[5]);
    o.owner.assign(p, static_cast<size_t>(ownerLen));
    p += ownerLen;
    o.mc.assign(p, static_cast<size_t>(mcLen));
    p += mcLen;
    o.info.assign(p, static_cast<size_t>(end - p));
    return true;
}

}  // namespace vlt
