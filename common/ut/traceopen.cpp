// Private trace files; see traceopen.h.
#include "common/ut/traceopen.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

FILE* trOpenPrivate(const char* path, const char* mode) {
    int flags = O_NOFOLLOW | O_CLOEXEC;
    if (strcmp(mode, "r+") == 0)
        flags |= O_RDWR;
    else if (strcmp(mode, "w+") == 0)
        flags |= O_RDWR | O_CREAT;  // emptied only once it is known to be ours
    else
        flags |= O_WRONLY | O_APPEND | O_CREAT;
    int fd = open(path, flags, 0600);
    if (fd < 0) return nullptr;

    struct stat st;
    int problem = 0;
    // Three of the cases below report errno: each names its own condition.
    // NOLINTBEGIN(bugprone-branch-clone)
    if (fstat(fd, &st) != 0)
        problem = errno;
    else if (S_ISCHR(st.st_mode) || S_ISFIFO(st.st_mode))
        problem = 0;  // a device or a pipe holds nothing that others could read later
    else if (!S_ISREG(st.st_mode))
        problem = EINVAL;
    else if (st.st_uid != geteuid())
        problem = EPERM;
    else if ((st.st_mode & 077) != 0 && fchmod(fd, st.st_mode & 0700) != 0)
        problem = errno;
    else if (strcmp(mode, "w+") == 0 && S_ISREG(st.st_mode) && ftruncate(fd, 0) != 0)
        problem = errno;
    // NOLINTEND(bugprone-branch-clone)
    FILE* stream = problem == 0 ? fdopen(fd, mode) : nullptr;
    if (stream == nullptr) {
        if (problem == 0) problem = errno;
        close(fd);
        errno = problem;
        return nullptr;
    }
    // Trace lines are written through a buffer of this size; the writer
    // flushes failure lines at once (tracewrite.cpp). The buffer is given
    // here because the C library ignores the size of one it allocates itself
    // and writes a page at a time: a million-key trace then made some 80,000
    // write calls. One trace file is open at a time, so one buffer serves.
    static char buffer[1 << 20];
    setvbuf(stream, buffer, _IOFBF, sizeof buffer);
    return stream;
}
