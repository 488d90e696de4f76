// What the report and the deletion record keep of an orphan: its identifier,
// insertion time, size estimate and full name, without the record's fixed
// buffers, so that keeping every orphan of a long list stays cheap.
#ifndef ZEBO_SYNC_OBJECTFACTS_H
#define ZEBO_SYNC_OBJECTFACTS_H

#include <stdint.h>
#include <string.h>

#include <string>

#include "sync/orphan.h"

struct UtObjectFacts {
    uint64_t id;  // high half, low half
    uint16_t year;
    uint8_t month, day, hour, minute, second;
    uint64_t size;  // the server's size estimate in bytes
    std::string name;
};

inline UtObjectFacts utObjectFacts(const OrphanRecord& r) {
    return {(static_cast<uint64_t>(r.objIdHi) << 32) | r.objIdLo,
            r.insYear,
            r.insMonth,
            r.insDay,
            r.insHour,
            r.insMinute,
            r.insSecond,
            (static_cast<uint64_t>(r.sizeHi) << 32) | r.sizeLo,
            std::string(r.name, strnlen(r.name, sizeof r.name))};
}

#endif
