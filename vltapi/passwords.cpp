#include "vltapi/passwords.h"

#include <errno.h>
#include <fcntl.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/rand.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include "rvkapi.h"

namespace vlt {

bool validPassword(const std::string& pw) {
    if (pw.empty() || pw.size() > RVK_PASSWORD_MAX) return false;
    for (unsigned char c : pw)
        if (c < 0x20 || c == 0x7f) return false;
    return true;
}

static Rc derive(const std::string& pw, const std::string& salt, int iterations, std::string& out) {
    unsigned char buf[32];
    if (PKCS5_PBKDF2_HMAC(pw.data(), static_cast<int>(pw.size()),
                          reinterpret_cast<const unsigned char*>(salt.data()),
                          static_cast<int>(salt.size()), iterations, EVP_sha256(), sizeof buf,
                          buf) != 1)
        return RVK_RC_CRYPTO_FAILURE;
    out.assign(reinterpret_cast<char*>(buf), sizeof buf);
    OPENSSL_cleanse(buf, sizeof buf);
    return RVK_RC_OK;
}

Rc setNodePassword(NodeRecord& n, const std::string& pw) {
    unsigned char salt[16];
    if (RAND_bytes(salt, sizeof salt) != 1) return RVK_RC_CRYPTO_FAILURE;
    std::string s(reinterpret_cast<char*>(salt), sizeof salt), hash;
    if (Rc rc = derive(pw, s, kPasswordIterations, hash)) return rc;
    n.pwSalt = s;
    n.pwHash = hash;
    n.pwIterations = kPasswordIterations;
    n.pwSetTime = static_cast<int64_t>(time(nullptr));
    return RVK_RC_OK;
}

Rc checkNodePassword(const NodeRecord& n, const std::string& pw, bool& ok) {
    ok = false;
    if (n.pwIterations <= 0 || n.pwHash.size() != 32) return RVK_RC_OK;
    std::string hash;
    if (Rc rc = derive(pw, n.pwSalt, n.pwIterations, hash)) return rc;
    ok = CRYPTO_memcmp(hash.data(), n.pwHash.data(), hash.size()) == 0;
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
    std::string tmp = path + ".tmp." + std::to_string(getpid());
    int fd = open(tmp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0600);
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
