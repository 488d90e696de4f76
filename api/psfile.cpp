#include <errno.h>
#include <string.h>
#include <sys/stat.h>

#include "api/psfs.h"
#include "api/psrc.h"
#include "common/ut/trace.h"

int psCreateDirectory(const char* path) {
    TRACE(TR_FILEOPS, "Enter %s\n", "psCreateDirectory()");
    const char* last = strrchr(path, '/');
    if (!last || path[0] != '/') {
        TRACE(TR_FILEOPS, "Invalid full path name: %s\n", path);
        TRACE(TR_FILEOPS, "Exit %s, rc = %d\n", "psCreateDirectory()", PS_RC_INVALID_PATH);
        return PS_RC_INVALID_PATH;
    }
    size_t dirLen = static_cast<size_t>(last - path);  // up to, not with, the last "/"
    if (dirLen > 0 && dirLen - 1 >= DS_PATH_MAX) {
        TRACE(TR_FILEOPS, "The directory path: %s is too long.\n   DS_PATH_MAX=%d\n", path,
              DS_PATH_MAX);
        TRACE(TR_FILEOPS, "Exit %s, rc = %d\n", "psCreateDirectory()", PS_RC_PATH_TOO_LONG);
        return PS_RC_PATH_TOO_LONG;
    }
    // Only the directory part is walked; the name after the last "/" is a file.
    char dir[DS_PATH_MAX + 2];
    memcpy(dir, path, dirLen + 1);
    dir[dirLen + 1] = '\0';

    int rc = 0;
    for (size_t i = 1; i <= dirLen && rc == 0; ++i) {
        if (dir[i] != '/') continue;
        dir[i] = '\0';
        struct stat st;
        if (stat(dir, &st) == 0) {
            if (!S_ISDIR(st.st_mode)) {
                TRACE(TR_FILEOPS, "The file: %s already exists but is not a directory.\n", dir);
                rc = PS_RC_NOT_A_DIRECTORY;
            }
        } else if (errno == ENOENT) {
            TRACE(TR_FILEOPS, "Creating directory: %s\n", dir);
            if (mkdir(dir, 0775) != 0) {
                TRACE(TR_FILEOPS, "Could not create the directory: %s\n   errno=%d from mkdir()\n",
                      dir, errno);
                rc = PS_RC_NOT_A_DIRECTORY;
            }
        } else {
            TRACE(TR_FILEOPS, "Unable to check the directory: %s\n   errno=%d from stat()\n", dir,
                  errno);
            rc = PS_RC_INTERNAL;
        }
        dir[i] = '/';
    }
    TRACE(TR_FILEOPS, "Exit %s, rc = %d\n", "psCreateDirectory()", rc);
    return rc;
}

int psIsAFile(const char* path, int* isFileP) {
    TRACE(TR_FILEOPS, "Enter %s\n", "psIsAFile()");
    *isFileP = 0;
    int rc = 0;
    struct stat st;
    if (stat(path, &st) == 0) {
        *isFileP = S_ISREG(st.st_mode) ? 1 : 0;
    } else if (errno != ENOENT) {
        TRACE(TR_FILEOPS, "Unable to check the path: %s\n   errno=%d from stat()\n", path, errno);
        rc = PS_RC_INTERNAL;
    }
    TRACE(TR_FILEOPS, "Exit %s, rc = %d\n", "psIsAFile()", rc);
    return rc;
}
