// The installation key: a secret of 32 random bytes in the file
// "vltapi.key" of the API directory, mode 0600. The node keys of the cipher
// calls are made from it and the node name, so that a password file
// enciphered here cannot be read with the public library on another
// machine, nor by a local user who cannot read the key file.
//
// The file is made at installation or, when it is missing, at its first
// use: written under a temporary name and linked into place, so that two
// processes starting at once end up with the same key and nobody ever
// reads a half-written one. A key file that group or others may read, that
// is not a regular file, or whose size is not 32 bytes is refused.
#ifndef VLTAPI_INSTKEY_H
#define VLTAPI_INSTKEY_H

#include <stddef.h>

#include <string>

#include "vltapi/store.h"

namespace vlt {

constexpr const char kInstallKeyName[] = "vltapi.key";
constexpr size_t kInstallKeySize = 32;

// <apiDir>/vltapi.key
std::string installKeyPath(const std::string& apiDir);

// Reads the key of `path` into `key`, making the file first when it is
// missing. RVK_RC_OK, or RVK_RC_CRYPTO_FAILURE with `err` saying why.
Rc loadInstallKey(const std::string& path, std::string& key, std::string& err);

}  // namespace vlt

#endif
