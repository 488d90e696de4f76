// The node-key cipher: an 8-byte key made from a node name, and one 8-byte
// block enciphered or deciphered with it. The cipher is triple DES from
// libcrypto; its 24-byte key is expanded from the 8-byte key with SHA-256,
// so that the three DES keys are independent. Nothing here is home-made
// cryptography.
//
// Both steps also take the installation key (instkey.h): the node key is an
// HMAC of the node name under it, and the block key expansion mixes it in
// again. A caller that ignores a failed key creation and enciphers with an
// all-zero key therefore still gets nothing that another installation could
// decipher: without the installation key every call fails.
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <string.h>

#include <string>

#include "vltapi/api_internal.h"
#include "vltapi/instkey.h"

using namespace vlt;

namespace {

bool sha256(const std::string& data, unsigned char out[32]) {
    unsigned int len = 0;
    return EVP_Digest(data.data(), data.size(), out, &len, EVP_sha256(), nullptr) == 1 && len == 32;
}

// The installation key of the API directory; a failure goes to the client
// error log.
Rc installKey(std::string& key) {
    std::string err;
    Rc rc = loadInstallKey(installKeyPath(apiDirectory()), key, err);
    if (rc) clientLog("cipher: " + err);
    return rc;
}

void cleanse(std::string& s) {
    if (!s.empty()) OPENSSL_cleanse(&s[0], s.size());
}

Rc cipherBlock(const unsigned char* key8, const unsigned char* in, unsigned char* out,
               bool encrypt) {
    std::string secret;
    if (Rc rc = installKey(secret)) return rc;
    unsigned char expanded[32];
    std::string material("rvk-block-key");
    material += secret;
    material.append(reinterpret_cast<const char*>(key8), 8);
    bool digested = sha256(material, expanded);
    cleanse(material);
    cleanse(secret);
    if (!digested) return RVK_RC_CRYPTO_FAILURE;
    Rc rc = RVK_RC_CRYPTO_FAILURE;
    EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
    unsigned char result[16];
    int n = 0;
    if (ctx &&
        EVP_CipherInit_ex(ctx, EVP_des_ede3_ecb(), nullptr, expanded, nullptr, encrypt ? 1 : 0) ==
            1 &&
        EVP_CIPHER_CTX_set_padding(ctx, 0) == 1 && EVP_CipherUpdate(ctx, result, &n, in, 8) == 1 &&
        n == 8) {
        memcpy(out, result, 8);
        rc = RVK_RC_OK;
    }
    EVP_CIPHER_CTX_free(ctx);
    OPENSSL_cleanse(expanded, sizeof expanded);
    OPENSSL_cleanse(result, sizeof result);
    return rc;
}

}  // namespace

extern "C" int16_t rvkCreateDesKeyEx(unsigned char* key, char* nodeName) {
    RVK_ENTRY(CreateDesKeyEx);
    if (!key || !nodeName) return RVK_RC_NULL_POINTER;
    if (!fits(nodeName, RVK_NODE_NAME_MAX)) return RVK_RC_STRING_TOO_LONG;
    std::string secret;
    if (Rc rc = installKey(secret)) return rc;
    std::string name = "rvk-node-key:" + upper(nodeName);
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int len = 0;
    bool ok = HMAC(EVP_sha256(), secret.data(), static_cast<int>(secret.size()),
                   reinterpret_cast<const unsigned char*>(name.data()), name.size(), digest,
                   &len) != nullptr &&
              len >= 8;
    cleanse(secret);
    if (ok) memcpy(key, digest, 8);
    OPENSSL_cleanse(digest, sizeof digest);
    return ok ? RVK_RC_OK : RVK_RC_CRYPTO_FAILURE;
}

extern "C" int16_t rvkEncryptEx(unsigned char* key, unsigned char* plain, unsigned char* cipher) {
    RVK_ENTRY(EncryptEx);
    if (!key || !plain || !cipher) return RVK_RC_NULL_POINTER;
    return cipherBlock(key, plain, cipher, true);
}

extern "C" int16_t rvkDecryptEx(unsigned char* key, unsigned char* cipher, unsigned char* plain) {
    RVK_ENTRY(DecryptEx);
    if (!key || !cipher || !plain) return RVK_RC_NULL_POINTER;
    return cipherBlock(key, cipher, plain, false);
}
