// A node's SCRAM secret made from the library's own password hash, for
// copying a repository to PostgreSQL without knowing the passwords.
//
// The library's hash is PBKDF2-HMAC-SHA256 of the password with the node's
// salt and iteration count, 32 bytes long: exactly SCRAM-SHA-256's "salted
// password". The server's secret (stored key and server key) follows from
// it, so the node keeps its password. The server prepares a password
// (SASLprep) before hashing it: for passwords of printable ASCII, the only
// kind vltadm and rvkChangePW produce from a keyboard, that changes nothing.
#ifndef VLTAPI_PG_SECRET_H
#define VLTAPI_PG_SECRET_H

#include <string>

#include "vltapi/store.h"

namespace vlt {

// False when the node's hash is of another kind (it cannot become a
// secret: the node's password must then be set again).
bool scramSecretFromHash(const NodeRecord& n, std::string& secret);

}  // namespace vlt

#endif
