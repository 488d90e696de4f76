#include "vltapi/passwords.h"

#include <argon2.h>
#include <errno.h>
#include <fcntl.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/rand.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include "rvkapi.h"
#include "vltapi/util.h"

namespace vlt {

bool validPassword(const std::string& pw) {
    if (pw.empty() || pw.size() > RVK_PASSWORD_MAX) return false;
    for (unsigned char c : pw)
        if (c < 0x20 || c == 0x7f) return false;
    return true;
}

namespace {

constexpr char kArgon2Prefix[] = "$argon2id$";
constexpr size_t kSaltSize = 16;
constexpr size_t kHashSize = 32;

struct Argon2Cost {
    uint32_t passes, memoryKiB, lanes;
};

Argon2Cost currentCost() {
    const char* fast = getenv("RVK_TEST_FAST_HASH");
    if (fast && strcmp(fast, "1") == 0) return {1, 64, 1};
    return {2, 19456, 1};
}

// "$argon2id$v=19$m=19456,t=2,p=1$": how a hash of that cost starts.
std::string costPrefix(const Argon2Cost& c) {
    return std::string(kArgon2Prefix) + "v=" + std::to_string(ARGON2_VERSION_NUMBER) +
           "$m=" + std::to_string(c.memoryKiB) + ",t=" + std::to_string(c.passes) +
           ",p=" + std::to_string(c.lanes) + "$";
}

Rc pbkdf2(const std::string& pw, const std::string& salt, int iterations, std::string& out) {
    unsigned char buf[kHashSize];
    if (PKCS5_PBKDF2_HMAC(pw.data(), static_cast<int>(pw.size()),
                          reinterpret_cast<const unsigned char*>(salt.data()),
                          static_cast<int>(salt.size()), iterations, EVP_sha256(), sizeof buf,
                          buf) != 1)
        return RVK_RC_CRYPTO_FAILURE;
    out.assign(reinterpret_cast<char*>(buf), sizeof buf);
    OPENSSL_cleanse(buf, sizeof buf);
    return RVK_RC_OK;
}

Rc hashPassword(NodeRecord& n, const std::string& pw) {
    unsigned char salt[kSaltSize];
    if (RAND_bytes(salt, sizeof salt) != 1) return RVK_RC_CRYPTO_FAILURE;
    Argon2Cost c = currentCost();
    std::string encoded(
        argon2_encodedlen(c.passes, c.memoryKiB, c.lanes, kSaltSize, kHashSize, Argon2_id), '\0');
    int r = argon2id_hash_encoded(c.passes, c.memoryKiB, c.lanes, pw.data(), pw.size(), salt,
                                  sizeof salt, kHashSize, &encoded[0], encoded.size());
    OPENSSL_cleanse(salt, sizeof salt);
    if (r == ARGON2_MEMORY_ALLOCATION_ERROR) return RVK_RC_NO_MEMORY;
    if (r != ARGON2_OK) return RVK_RC_CRYPTO_FAILURE;
    encoded.resize(strlen(encoded.c_str()));
    n.pwSalt.clear();
    n.pwHash = encoded;
    n.pwIterations = 0;
    return RVK_RC_OK;
}

}  // namespace

Rc setNodePassword(NodeRecord& n, const std::string& pw) {
    if (Rc rc = hashPassword(n, pw)) return rc;
    n.pwSetTime = static_cast<int64_t>(time(nullptr));
    return RVK_RC_OK;
}

Rc checkNodePassword(const NodeRecord& n, const std::string& pw, bool& ok, bool& stale) {
    ok = false;
    stale = true;
    if (n.pwHash.compare(0, sizeof kArgon2Prefix - 1, kArgon2Prefix) == 0) {
        int r = argon2id_verify(n.pwHash.c_str(), pw.data(), pw.size());
        if (r == ARGON2_MEMORY_ALLOCATION_ERROR) return RVK_RC_NO_MEMORY;
        // Any other failure (a mismatch, a damaged hash) is a wrong password.
        ok = r == ARGON2_OK;
        std::string current = costPrefix(currentCost());
        stale = n.pwHash.compare(0, current.size(), current) != 0;
        return RVK_RC_OK;
    }
    if (n.pwIterations <= 0 || n.pwHash.size() != kHashSize) return RVK_RC_OK;
    std::string hash;
    if (Rc rc = pbkdf2(pw, n.pwSalt, n.pwIterations, hash)) return rc;
    ok = CRYPTO_memcmp(hash.data(), n.pwHash.data(), hash.size()) == 0;
    OPENSSL_cleanse(&hash[0], hash.size());
    return RVK_RC_OK;
}

Rc logPasswordEvent(Store& store, const std::string& node, const char* text) {
    ActLogRecord a;
    a.date = nowDate();
    a.node = node;
    a.msgId = "SESSION";
    a.text = text;
    return store.appendActLog(a);
}

Rc upgradeNodePassword(Store& store, NodeRecord& n, const std::string& pw, std::string& err) {
    NodeRecord fresh = n;
    if (Rc rc = hashPassword(fresh, pw)) {
        err = "cannot hash the password";
        return rc;
    }
    NodeRecord now;
    bool found = false;
    Rc rc = store.begin(true);
    if (rc == RVK_RC_OK) rc = store.findNode(n.name, now, found);
    // A password changed meanwhile by someone else stays as it is.
    if (rc == RVK_RC_OK && (!found || now.pwHash != n.pwHash || now.pwSalt != n.pwSalt)) {
        store.rollback();
        return RVK_RC_OK;
    }
    if (rc == RVK_RC_OK) rc = store.updateNode(fresh);
    if (rc == RVK_RC_OK) {
        rc = logPasswordEvent(store, n.name, "Password hash renewed at log-on");
    }
    if (rc == RVK_RC_OK) rc = store.commit();
    if (rc) {
        err = store.lastError();
        if (store.inTransaction()) store.rollback();
        return rc;
    }
    n = fresh;
    return RVK_RC_OK;
}

std::string passwordFilePath(const std::string& dir, const std::string& node) {
    std::string d = dir.empty() ? "." : dir;
    if (d.back() != '/') d += '/';
    return d + "rvkpw." + node;
}

Rc readStoredPassword(const std::string& dir, const std::string& node, std::string& pw,
                      std::string& err) {
    std::string path = passwordFilePath(dir, node);
    int fd = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) {
        err = "password file " + path + ": " + strerror(errno);
        return errno == ENOENT ? RVK_RC_NO_STORED_PASSWORD : RVK_RC_PASSWORD_STORE_ERROR;
    }
    struct stat st;
    Rc rc = RVK_RC_OK;
    if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        err = "password file " + path + " is not a regular file";
        rc = RVK_RC_PASSWORD_STORE_ERROR;
    } else if (st.st_uid != geteuid() || (st.st_mode & 077) != 0) {
        err = "password file " + path + " must belong to this user and have mode 0600";
        rc = RVK_RC_PASSWORD_STORE_ERROR;
    }
    char buf[RVK_PASSWORD_MAX + 3];
    ssize_t n = 0;
    if (rc == RVK_RC_OK) {
        n = read(fd, buf, sizeof buf);
        if (n < 0) {
            err = "password file " + path + ": " + strerror(errno);
            rc = RVK_RC_PASSWORD_STORE_ERROR;
        }
    }
    close(fd);
    if (rc) return rc;
    std::string text(buf, static_cast<size_t>(n));
    OPENSSL_cleanse(buf, sizeof buf);
    size_t nl = text.find('\n');
    if (nl != std::string::npos) text.resize(nl);
    if (!validPassword(text)) {
        err = "password file " + path + " holds no valid password";
        return RVK_RC_PASSWORD_STORE_ERROR;
    }
    pw = text;
    return RVK_RC_OK;
}

Rc writeStoredPassword(const std::string& dir, const std::string& node, const std::string& pw,
                       std::string& err) {
    std::string path = passwordFilePath(dir, node);
    // A missing folder (one level) is made, private to its owner.
    if (!dir.empty() && mkdir(dir.c_str(), 0700) != 0 && errno != EEXIST) {
        err = "cannot make password folder " + dir + ": " + strerror(errno);
        return RVK_RC_PASSWORD_STORE_ERROR;
    }
    // A new file of its own (exclusive, mode 0600) renamed over the old one:
    // nothing planted at either name is followed or written to.
    std::string tmp = path + ".XXXXXX";
    int fd = mkstemp(&tmp[0]);
    if (fd < 0) {
        err = "cannot write password file " + path + ": " + strerror(errno);
        return RVK_RC_PASSWORD_STORE_ERROR;
    }
    std::string text = pw + "\n";
    bool ok = fchmod(fd, 0600) == 0 &&
              write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size()) &&
              fsync(fd) == 0;
    int saved = errno;
    ok = (close(fd) == 0) && ok;
    if (ok && rename(tmp.c_str(), path.c_str()) != 0) {
        saved = errno;
        ok = false;
    }
    if (!ok) {
        unlink(tmp.c_str());
        err = "cannot write password file " + path + ": " + strerror(saved);
        return RVK_RC_PASSWORD_STORE_ERROR;
    }
    return RVK_RC_OK;
}

}  // namespace vlt
