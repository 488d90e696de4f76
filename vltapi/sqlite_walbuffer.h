// A file layer between SQLite and the system's own that gathers the writes
// to a repository's write-ahead log into large ones.
//
// SQLite writes each page of a commit to the log as two writes, the frame's
// header and the page. Deleting 100,000 objects in transactions of 256
// makes some 135,000 such writes, and the kernel's work per write was a
// tenth of the deletion's time. This layer keeps the log's writes in memory
// while they follow one another, and writes them out in a few large pieces
// before anything can depend on them being in the file:
// - before the log is synced (a commit is durable only after that),
//   read, truncated, measured or closed;
// - before the connection touches the shared-memory index through which
//   other connections learn of new frames (a commit is published there
//   after its frames are written).
// A failed write out fails the operation that asked for it, as the
// system's own write would have: a commit whose frames cannot be written
// fails and rolls back. Every other file, and every other call, goes to
// the system's layer unchanged.
#ifndef VLTAPI_SQLITE_WALBUFFER_H
#define VLTAPI_SQLITE_WALBUFFER_H

namespace vlt {

// The name to open a repository with (sqlite3_open_v2's zVfs). The layer
// is registered on the first call; when it cannot be, the result is null:
// SQLite's default layer then serves, only slower.
const char* walBufferVfsName();

}  // namespace vlt

#endif
