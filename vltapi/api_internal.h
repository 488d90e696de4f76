// Helpers shared by the entry-point files.
#ifndef VLTAPI_API_INTERNAL_H
#define VLTAPI_API_INTERNAL_H

#include <string>

#include "rvkapi.h"
#include "vltapi/faults.h"
#include "vltapi/session.h"
#include "vltapi/util.h"

namespace vlt {

// Reads the option file and applies an option string; a failure is written
// to the client error log.
Rc loadOptions(const std::string& optFile, const char* optString, Options& o);

// The API directory: rvkSetUp's, else as rvkSetUp would choose it
// (RVKI_DIR, else the install folder).
std::string apiDirectory();

// RVK_RC_NULL_POINTER for a missing record, RVK_RC_BAD_STVERSION for one of
// another structure version, else 0.
template <typename Record>
Rc checkRecord(const Record* r, uint16_t version) {
    if (!r) return RVK_RC_NULL_POINTER;
    return r->stVersion == version ? RVK_RC_OK : RVK_RC_BAD_STVERSION;
}

// The same for a record that must carry a pointer (`required`): a record
// without it is as good as none, whatever its version.
template <typename Record, typename Pointer>
Rc checkRecord(const Record* r, uint16_t version, Pointer Record::*required) {
    if (r && !(r->*required)) return RVK_RC_NULL_POINTER;
    return checkRecord(r, version);
}

// Checks a NUL-terminated string argument against a maximum length.
inline bool fits(const char* s, size_t max) {
    return s == nullptr || boundedLen(s, max) <= max;
}

// Starts one counted operation of the open transaction (delete, send,
// rename, update): checks the state and the server's maximum, and takes the
// repository's write lock at the first one. A failure dooms the transaction.
Rc beginTxnOperation(Session& s);

// Records the first failure of the open transaction and returns rc.
Rc failTxn(Session& s, Rc rc);

// Checks an object name for use as an exact name (no wildcards, lengths).
Rc checkExactName(const rvkObjName& n);

// The node's file space of that name, or RVK_RC_FS_NOT_REGISTERED.
Rc findFs(Session& s, const std::string& name, FsRecord& fs);

}  // namespace vlt

#endif
