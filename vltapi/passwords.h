// Node passwords: salted Argon2id hashes in the repository, and the
// password files of PASSWORDACCESS GENERATE.
//
// A node's hash is kept in libargon2's encoded form ("$argon2id$v=19$m=...,
// t=...,p=...$salt$hash"), which names its own cost; the salt field stays
// empty. Repositories made before hold salted PBKDF2-HMAC-SHA256 hashes of
// 20,000 iterations: they are still accepted, and a successful log-on
// replaces them (and any Argon2id hash of another cost) with a hash of the
// current cost.
//
// The cost is t=2 passes over 19 MiB, one lane: a log-on spends well under
// half a second on it. Only the test programs set RVK_TEST_FAST_HASH=1,
// which makes new hashes nearly free; such a hash is of another cost, so a
// log-on without the variable replaces it.
//
// A password file holds the node's password on its first line. It must be
// a regular file owned by the user and readable by nobody else (mode 0600);
// the library refuses any other, as it refuses a password it cannot trust.
#ifndef VLTAPI_PASSWORDS_H
#define VLTAPI_PASSWORDS_H

#include <stdint.h>

#include <string>

#include "vltapi/store.h"

namespace vlt {

// The iterations of the hashes that repositories made before Argon2id hold.
constexpr int kLegacyPasswordIterations = 20000;

// 1 to RVK_PASSWORD_MAX printable characters.
bool validPassword(const std::string& pw);

// Fills the node's hash for `pw` at the current cost and sets its set time.
Rc setNodePassword(NodeRecord& n, const std::string& pw);

// Checks `pw` against the node's hash (either kind). `stale` tells that the
// hash is not of the current kind and cost and should be made anew.
Rc checkNodePassword(const NodeRecord& n, const std::string& pw, bool& ok, bool& stale);

// Notes a change to the node's password in the activity log (message id
// "SESSION"), inside the caller's write transaction.
Rc logPasswordEvent(Store& store, const std::string& node, const char* text);

// After a successful log-on with a stale hash: hashes `pw` anew in a write
// transaction of its own, unless the hash changed meanwhile, keeping the
// set time, and notes it in the activity log. `n` gets the new record.
Rc upgradeNodePassword(Store& store, NodeRecord& n, const std::string& pw, std::string& err);

// <dir>/rvkpw.<NODE>
std::string passwordFilePath(const std::string& dir, const std::string& node);

// RVK_RC_NO_STORED_PASSWORD when there is no file; RVK_RC_PASSWORD_STORE_ERROR
// when it is unusable. `err` says why.
Rc readStoredPassword(const std::string& dir, const std::string& node, std::string& pw,
                      std::string& err);

// Writes the file atomically with mode 0600.
Rc writeStoredPassword(const std::string& dir, const std::string& node, const std::string& pw,
                       std::string& err);

}  // namespace vlt

#endif
