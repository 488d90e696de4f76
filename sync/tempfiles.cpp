// Temporary names and private files; see tempfiles.h.
#include "sync/tempfiles.h"

#include <errno.h>
#include <fcntl.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <string>

UtTempNameFn utTempName = utDefaultTempName;

namespace {

bool isWritableDirectory(const char* dir) {
    struct stat st;
    return dir != nullptr && *dir != '\0' && stat(dir, &st) == 0 && S_ISDIR(st.st_mode) &&
           access(dir, W_OK | X_OK) == 0;
}

// A random source good enough for names: the exclusive creation of every
// file catches the rare clash, the randomness only makes guessing hard.
uint64_t nextRandom() {
    static uint64_t state = 0;
    if (state == 0) {
        struct timeval now;
        gettimeofday(&now, nullptr);
        state = (static_cast<uint64_t>(now.tv_sec) << 20) ^ static_cast<uint64_t>(now.tv_usec) ^
                (static_cast<uint64_t>(getpid()) << 40) ^ 0x9E3779B97F4A7C15ULL;
    }
    state ^= state << 13;
    state ^= state >> 7;
    state ^= state << 17;
    return state;
}

}  // namespace

char* utDefaultTempName(const char* prefix) {
    static const char letters[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
    const char* env = getenv("TMPDIR");
    std::string dir = isWritableDirectory(env) ? env : "/tmp";
    if (!isWritableDirectory(dir.c_str())) return nullptr;
    if (dir.size() > 1 && dir.back() == '/') dir.pop_back();
    std::string head = dir + "/" + std::string(prefix ? prefix : "").substr(0, 5);
    for (int attempt = 0; attempt < 100; ++attempt) {
        std::string name = head;
        uint64_t r = nextRandom();
        for (int i = 0; i < 6; ++i, r /= 62) name += letters[r % 62];
        struct stat st;
        if (lstat(name.c_str(), &st) == 0 || errno != ENOENT) continue;
        char* result = static_cast<char*>(malloc(name.size() + 1));
        if (result != nullptr) memcpy(result, name.c_str(), name.size() + 1);
        return result;
    }
    return nullptr;
}

FILE* utCreatePrivateFile(const char* path) {
    // Read and write: the C library refuses a "w+" stream on a descriptor
    // opened for writing only.
    int fd = open(path, O_CREAT | O_EXCL | O_RDWR | O_NOFOLLOW, 0600);
    if (fd < 0) return nullptr;
    FILE* stream = fdopen(fd, "w+");
    if (stream == nullptr) {
        int saved = errno;
        close(fd);
        unlink(path);
        errno = saved;
    }
    return stream;
}
