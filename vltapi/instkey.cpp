#include "vltapi/instkey.h"

#include <errno.h>
#include <fcntl.h>
#include <openssl/crypto.h>
#include <openssl/rand.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "rvkapi.h"

namespace vlt {

namespace {

std::string failure(const std::string& path, const std::string& what, int error) {
    return "installation key " + path + ": " + what +
           (error ? ": " + std::string(strerror(error)) : "");
}

// Writes a new key under a temporary name and links it to `path`. A key
// linked there meanwhile by another process wins: link() never replaces.
Rc createKey(const std::string& path, std::string& err) {
    std::string tmp = path + ".XXXXXX";
    int fd = mkstemp(&tmp[0]);  // O_EXCL, mode 0600
    if (fd < 0) {
        err = failure(path, "cannot be created", errno);
        return RVK_RC_CRYPTO_FAILURE;
    }
    unsigned char secret[kInstallKeySize];
    bool ok = RAND_bytes(secret, sizeof secret) == 1 && fchmod(fd, 0600) == 0 &&
              write(fd, secret, sizeof secret) == static_cast<ssize_t>(sizeof secret) &&
              fsync(fd) == 0;
    int saved = errno;
    OPENSSL_cleanse(secret, sizeof secret);
    ok = close(fd) == 0 && ok;
    if (ok && link(tmp.c_str(), path.c_str()) != 0 && errno != EEXIST) {
        saved = errno;
        ok = false;
    }
    unlink(tmp.c_str());
    if (!ok) {
        err = failure(path, "cannot be created", saved);
        return RVK_RC_CRYPTO_FAILURE;
    }
    return RVK_RC_OK;
}

}  // namespace

std::string installKeyPath(const std::string& apiDir) {
    std::string dir = apiDir.empty() ? "." : apiDir;
    if (dir.back() != '/') dir += '/';
    return dir + kInstallKeyName;
}

Rc loadInstallKey(const std::string& path, std::string& key, std::string& err) {
    int fd = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0 && errno == ENOENT) {
        if (Rc rc = createKey(path, err)) return rc;
        fd = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    }
    if (fd < 0) {
        err = failure(path, "cannot be opened", errno);
        return RVK_RC_CRYPTO_FAILURE;
    }
    struct stat st;
    Rc rc = RVK_RC_OK;
    unsigned char buf[kInstallKeySize + 1];
    if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        err = failure(path, "is not a regular file", 0);
        rc = RVK_RC_CRYPTO_FAILURE;
    } else if ((st.st_mode & 077) != 0) {
        // A key that others can read protects nothing: refuse it rather
        // than encipher passwords that anyone could read back.
        err = failure(path, "may be read by others; it must have mode 0600", 0);
        rc = RVK_RC_CRYPTO_FAILURE;
    } else if (read(fd, buf, sizeof buf) != static_cast<ssize_t>(kInstallKeySize)) {
        err = failure(path, "does not hold 32 bytes", 0);
        rc = RVK_RC_CRYPTO_FAILURE;
    } else {
        key.assign(reinterpret_cast<char*>(buf), kInstallKeySize);
    }
    OPENSSL_cleanse(buf, sizeof buf);
    close(fd);
    return rc;
}

}  // namespace vlt
