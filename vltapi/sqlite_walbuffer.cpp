#include "vltapi/sqlite_walbuffer.h"

#include <sqlite3.h>
#include <stdlib.h>
#include <string.h>

#include <mutex>

namespace vlt {
namespace {

// Gathered writes go out in pieces the system layer takes in one call: it
// writes at most 128 KB less a byte at a time.
constexpr int kPiece = 64 * 1024;
// A transaction of 256 deletions writes some 700 KB of log.
constexpr int kBufferSize = 1024 * 1024;

struct BufferedFile {
    sqlite3_file base;   // what SQLite sees; must come first
    sqlite3_file* real;  // the system layer's file, stored right behind this one
    bool isLog;
    BufferedFile* log;  // of a database file: its open log
    BufferedFile* db;   // of a log: its database file, when it is one of ours
    char* buf;
    int len;
    int cap;
    sqlite3_int64 start;  // the file offset of buf[0]
    int failed;           // a write out that nobody could be told of yet
};

sqlite3_vfs* gSystem = nullptr;
sqlite3_vfs gVfs;
sqlite3_io_methods gMethods[3];  // for system files of versions 1 to 3

constexpr size_t realOffset() {
    return (sizeof(BufferedFile) + 7) & ~static_cast<size_t>(7);
}

BufferedFile* asBuffered(sqlite3_file* p) {
    return reinterpret_cast<BufferedFile*>(p);
}
sqlite3_file* realOf(sqlite3_file* p) {
    return asBuffered(p)->real;
}

bool isOurs(const sqlite3_file* p) {
    return p && p->pMethods >= &gMethods[0] && p->pMethods <= &gMethods[2];
}

// Writes out what the log holds, in order; the buffer is empty afterwards,
// also after a failure (the frames are lost, and the operation that asked
// for them fails: their commit is not durable, nor published).
int flush(BufferedFile* f) {
    int rc = SQLITE_OK;
    for (int at = 0; at < f->len && rc == SQLITE_OK; at += kPiece) {
        int n = f->len - at < kPiece ? f->len - at : kPiece;
        rc = f->real->pMethods->xWrite(f->real, f->buf + at, n, f->start + at);
    }
    f->len = 0;
    if (rc == SQLITE_OK && f->failed) rc = f->failed;
    f->failed = SQLITE_OK;
    return rc;
}

int flushOf(sqlite3_file* p) {
    return flush(asBuffered(p));
}

int xClose(sqlite3_file* p) {
    BufferedFile* f = asBuffered(p);
    int rc = flush(f);
    if (f->db) f->db->log = nullptr;
    if (f->log) f->log->db = nullptr;
    int closed = f->real->pMethods->xClose(f->real);
    free(f->buf);
    f->buf = nullptr;
    return rc != SQLITE_OK ? rc : closed;
}

int xRead(sqlite3_file* p, void* out, int n, sqlite3_int64 off) {
    if (int rc = flushOf(p)) return rc;
    return realOf(p)->pMethods->xRead(realOf(p), out, n, off);
}

int xWrite(sqlite3_file* p, const void* data, int n, sqlite3_int64 off) {
    BufferedFile* f = asBuffered(p);
    sqlite3_file* real = f->real;
    if (!f->isLog) return real->pMethods->xWrite(real, data, n, off);
    if (f->len > 0 && (off != f->start + f->len || n > f->cap - f->len)) {
        if (int rc = flush(f)) return rc;
    }
    if (!f->buf && n <= kBufferSize) {
        f->buf = static_cast<char*>(malloc(kBufferSize));
        f->cap = f->buf ? kBufferSize : 0;
    }
    if (n > f->cap) {
        if (int rc = flush(f)) return rc;
        return real->pMethods->xWrite(real, data, n, off);
    }
    if (f->len == 0) f->start = off;
    memcpy(f->buf + f->len, data, static_cast<size_t>(n));
    f->len += n;
    return SQLITE_OK;
}

int xTruncate(sqlite3_file* p, sqlite3_int64 size) {
    if (int rc = flushOf(p)) return rc;
    return realOf(p)->pMethods->xTruncate(realOf(p), size);
}

int xSync(sqlite3_file* p, int flags) {
    if (int rc = flushOf(p)) return rc;
    return realOf(p)->pMethods->xSync(realOf(p), flags);
}

int xFileSize(sqlite3_file* p, sqlite3_int64* size) {
    if (int rc = flushOf(p)) return rc;
    return realOf(p)->pMethods->xFileSize(realOf(p), size);
}

int xLock(sqlite3_file* p, int level) {
    return realOf(p)->pMethods->xLock(realOf(p), level);
}

int xUnlock(sqlite3_file* p, int level) {
    return realOf(p)->pMethods->xUnlock(realOf(p), level);
}

int xCheckReservedLock(sqlite3_file* p, int* out) {
    return realOf(p)->pMethods->xCheckReservedLock(realOf(p), out);
}

int xFileControl(sqlite3_file* p, int op, void* arg) {
    return realOf(p)->pMethods->xFileControl(realOf(p), op, arg);
}

int xSectorSize(sqlite3_file* p) {
    return realOf(p)->pMethods->xSectorSize(realOf(p));
}

int xDeviceCharacteristics(sqlite3_file* p) {
    return realOf(p)->pMethods->xDeviceCharacteristics(realOf(p));
}

// The shared-memory index belongs to the database file. Before the
// connection changes it, its log's frames are put in the file.
int flushLogOf(sqlite3_file* p) {
    BufferedFile* log = asBuffered(p)->log;
    return log ? flush(log) : SQLITE_OK;
}

int xShmMap(sqlite3_file* p, int page, int size, int extend, void volatile** out) {
    return realOf(p)->pMethods->xShmMap(realOf(p), page, size, extend, out);
}

int xShmLock(sqlite3_file* p, int offset, int n, int flags) {
    if (int rc = flushLogOf(p)) return rc;
    return realOf(p)->pMethods->xShmLock(realOf(p), offset, n, flags);
}

// A barrier cannot fail: a failed write out here is kept for the log's
// next operation. The store syncs every commit, which writes the frames out
// before this point, so the buffer is empty here in practice.
void xShmBarrier(sqlite3_file* p) {
    BufferedFile* log = asBuffered(p)->log;
    if (log) {
        int rc = flush(log);
        if (rc != SQLITE_OK) log->failed = rc;
    }
    realOf(p)->pMethods->xShmBarrier(realOf(p));
}

int xShmUnmap(sqlite3_file* p, int deleteFlag) {
    return realOf(p)->pMethods->xShmUnmap(realOf(p), deleteFlag);
}

int xFetch(sqlite3_file* p, sqlite3_int64 off, int n, void** out) {
    if (int rc = flushOf(p)) return rc;
    return realOf(p)->pMethods->xFetch(realOf(p), off, n, out);
}

int xUnfetch(sqlite3_file* p, sqlite3_int64 off, void* page) {
    return realOf(p)->pMethods->xUnfetch(realOf(p), off, page);
}

int xOpen(sqlite3_vfs*, const char* name, sqlite3_file* p, int flags, int* outFlags) {
    BufferedFile* f = asBuffered(p);
    memset(f, 0, sizeof *f);
    f->real = reinterpret_cast<sqlite3_file*>(reinterpret_cast<char*>(p) + realOffset());
    int rc = gSystem->xOpen(gSystem, name, f->real, flags, outFlags);
    if (rc != SQLITE_OK) {
        if (f->real->pMethods) f->real->pMethods->xClose(f->real);
        p->pMethods = nullptr;
        return rc;
    }
    int version = f->real->pMethods->iVersion;
    p->pMethods = &gMethods[(version < 1 ? 1 : version > 3 ? 3 : version) - 1];
    if ((flags & SQLITE_OPEN_WAL) && name) {
        sqlite3_file* main = sqlite3_database_file_object(name);
        f->isLog = true;
        if (isOurs(main)) {
            f->db = asBuffered(main);
            f->db->log = f;
        }
    }
    return SQLITE_OK;
}

void registerLayer() {
    gSystem = sqlite3_vfs_find(nullptr);
    if (!gSystem) return;
    const sqlite3_io_methods all = {3,
                                    xClose,
                                    xRead,
                                    xWrite,
                                    xTruncate,
                                    xSync,
                                    xFileSize,
                                    xLock,
                                    xUnlock,
                                    xCheckReservedLock,
                                    xFileControl,
                                    xSectorSize,
                                    xDeviceCharacteristics,
                                    xShmMap,
                                    xShmLock,
                                    xShmBarrier,
                                    xShmUnmap,
                                    xFetch,
                                    xUnfetch};
    for (int v = 1; v <= 3; ++v) {
        gMethods[v - 1] = all;
        gMethods[v - 1].iVersion = v;
    }
    gVfs = *gSystem;
    gVfs.pNext = nullptr;
    gVfs.zName = "vlt-walbuffer";
    gVfs.szOsFile = static_cast<int>(realOffset()) + gSystem->szOsFile;
    gVfs.xOpen = xOpen;
    if (sqlite3_vfs_register(&gVfs, 0) != SQLITE_OK) gSystem = nullptr;
}

}  // namespace

const char* walBufferVfsName() {
    static std::once_flag once;
    std::call_once(once, registerLayer);
    return gSystem ? gVfs.zName : nullptr;
}

}  // namespace vlt
