// Node passwords: salted PBKDF2-HMAC-SHA256 hashes in the repository, and
// the password files of PASSWORDACCESS GENERATE.
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

constexpr int kPasswordIterations = 20000;

// 1 to RVK_PASSWORD_MAX printable characters.
bool validPassword(const std::string& pw);

// Fills the node's salt, hash, iterations and set time for `pw`.
Rc setNodePassword(NodeRecord& n, const std::string& pw);

// Compares `pw` with the node's hash in constant time.
Rc checkNodePassword(const NodeRecord& n, const std::string& pw, bool& ok);

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
