#include "demo/rmanhandle.h"

#include <stdio.h>

namespace demo {

namespace {

// %u packs the set number and its stamp into eight characters of this
// alphabet: three for the set, five for the stamp.
const char kBase32[] = "0123456789abcdefghijklmnopqrstuv";

std::string base32(uint64_t value, int digits) {
    std::string out(static_cast<size_t>(digits), '0');
    for (int i = digits - 1; i >= 0; --i) {
        out[static_cast<size_t>(i)] = kBase32[value % 32];
        value /= 32;
    }
    return out;
}

const char* omfKindCode(PieceKind kind) {
    switch (kind) {
        case PieceKind::Level0:
            return "nnnd0";
        case PieceKind::Level1:
            return "nnnd1";
        case PieceKind::ArchiveLog:
            return "annnn";
        case PieceKind::ControlFile:
            return "ncsnf";
    }
    return "nnndf";
}

}  // namespace

uint32_t rmanStamp(const DemoTime& t) {
    uint64_t v = static_cast<uint64_t>(t.year - 1988) * 12 + static_cast<uint64_t>(t.month - 1);
    v = v * 31 + static_cast<uint64_t>(t.day - 1);
    v = v * 24 + static_cast<uint64_t>(t.hour);
    v = v * 60 + static_cast<uint64_t>(t.minute);
    v = v * 60 + static_cast<uint64_t>(t.second);
    return static_cast<uint32_t>(v);
}

std::string pieceHandle(HandleStyle style, const std::string& database, uint32_t set, int piece,
                        uint32_t stamp, PieceKind kind) {
    char buf[160];
    switch (style) {
        case HandleStyle::DbSetPieceStamp:
            snprintf(buf, sizeof buf, "%s_%u_%d_%u", database.c_str(), set, piece, stamp);
            break;
        case HandleStyle::Unique:
            // One copy of each piece: %c is always 1 here.
            snprintf(buf, sizeof buf, "%s%s_%d_1", base32(set, 3).c_str(), base32(stamp, 5).c_str(),
                     piece);
            break;
        case HandleStyle::OraPrefix:
            snprintf(buf, sizeof buf, "ORA_%s_%s%u_s%u_p%d", database.c_str(),
                     kind == PieceKind::ArchiveLog ? "al" : "df", stamp, set, piece);
            break;
    }
    return buf;
}

std::string autobackupHandle(uint64_t dbid, const DemoTime& day, int sequence) {
    char buf[64];
    snprintf(buf, sizeof buf, "c-%llu-%s-%02x", static_cast<unsigned long long>(dbid),
             compactDate(day).c_str(), static_cast<unsigned>(sequence & 0xff));
    return buf;
}

std::string diskPieceHandle(const std::string& database, PieceKind kind, const DemoTime& start,
                            uint64_t unique) {
    static const char kAlnum[] = "0123456789abcdefghijklmnopqrstuvwxyz";
    std::string tail;
    for (int i = 0; i < 8; ++i) {
        tail += kAlnum[unique % 36];
        unique /= 36;
    }
    char buf[256];
    snprintf(buf, sizeof buf,
             "/u01/app/oracle/fast_recovery_area/%s/backupset/%04d_%02d_%02d/"
             "o1_mf_%s_TAG%sT%02d%02d%02d_%s_.bkp",
             database.c_str(), start.year, start.month, start.day, omfKindCode(kind),
             compactDate(start).c_str(), start.hour, start.minute, start.second, tail.c_str());
    return buf;
}

}  // namespace demo
