#include "vltapi/pg_secret.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/sha.h>

namespace vlt {

static std::string base64(const unsigned char* data, size_t len) {
    std::string out(4 * ((len + 2) / 3) + 1, '\0');
    int n = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(&out[0]), data, static_cast<int>(len));
    out.resize(static_cast<size_t>(n));
    return out;
}

bool scramSecretFromHash(const NodeRecord& n, std::string& secret) {
    if (n.pwIterations <= 0 || n.pwHash.size() != 32 || n.pwSalt.empty()) return false;
    const unsigned char* salted = reinterpret_cast<const unsigned char*>(n.pwHash.data());
    unsigned char clientKey[32], storedKey[32], serverKey[32];
    unsigned int len = 0;
    static const char kClient[] = "Client Key", kServer[] = "Server Key";
    if (!HMAC(EVP_sha256(), salted, 32, reinterpret_cast<const unsigned char*>(kClient),
              sizeof kClient - 1, clientKey, &len) ||
        !HMAC(EVP_sha256(), salted, 32, reinterpret_cast<const unsigned char*>(kServer),
              sizeof kServer - 1, serverKey, &len))
        return false;
    SHA256(clientKey, sizeof clientKey, storedKey);
    secret = "SCRAM-SHA-256$" + std::to_string(n.pwIterations) + ":" +
             base64(reinterpret_cast<const unsigned char*>(n.pwSalt.data()), n.pwSalt.size()) +
             "$" + base64(storedKey, sizeof storedKey) + ":" + base64(serverKey, sizeof serverKey);
    return true;
}

}  // namespace vlt
