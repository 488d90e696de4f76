// The node-key cipher: an 8-byte key made from a node name, and one 8-byte
// block enciphered or deciphered with it. The cipher is triple DES from
// libcrypto; its 24-byte key is expanded from the 8-byte key with SHA-256,
// so that the three DES keys are independent. Nothing here is home-made
// cryptography: the key only keeps a password file from being plain text.
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <string.h>

#include <string>

#include "vltapi/api_internal.h"

using namespace vlt;

namespace {

bool sha256(const std::string& data, unsigned char out[32]) {
    unsigned int len = 0;
    return EVP_Digest(data.data(), data.size(), out, &len, EVP_sha256(), nullptr) == 1 && len == 32;
}

Rc cipherBlock(const unsigned char* key8, const unsigned char* in, unsigned char* out,
               bool encrypt) {
    unsigned char expanded[32];
    std::string material("rvk-block-key");
    material.append(reinterpret_cast<const char*>(key8), 8);
    if (!sha256(material, expanded)) return RVK_RC_CRYPTO_FAILURE;
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
    unsigned char digest[32];
    if (!sha256("rvk-node-key:" + upper(nodeName), digest)) return RVK_RC_CRYPTO_FAILURE;
    memcpy(key, digest, 8);
    OPENSSL_cleanse(digest, sizeof digest);
    return RVK_RC_OK;
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
