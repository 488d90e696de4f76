#include <errno.h>
#include <inttypes.h>
#include <stdio.h>
#include <string.h>
#include <sys/statvfs.h>

#include "api/psfs.h"
#include "api/psrc.h"
#include "common/ut/trace.h"

int psGetDiskSpaceInfo(char* fileName, uint64_t* freeBytes, uint64_t* diskSize) {
    TRACE(TR_FILEOPS, "Enter %s\n", "psGetDiskSpaceInfo()");
    *freeBytes = 0;
    *diskSize = 0;
    int rc = 0;
    char* slash = strrchr(fileName, '/');
    if (!slash) {
        TRACE(TR_FILEOPS,
              "Internal error. Unable to locate a directory delimiter in the fully qualified file "
              "name.\n  fileName     : %s\n  DIR_DELIMITER: %c\n",
              fileName, '/');
        rc = PS_RC_INTERNAL;
    } else {
        // Cut just behind the delimiter so that "/file" queries "/".
        char kept = slash[1];
        slash[1] = '\0';
        TRACE(TR_FILEOPS, "Calling statvfs( %s )\n", fileName);
        struct statvfs vfsBuf;
        if (statvfs(fileName, &vfsBuf) != 0) {
            TRACE(TR_FILEOPS, "statvfs( %s ) failed, errno = %d\n", fileName, errno);
            rc = PS_RC_FS_QUERY_FAILED;
        } else {
            TRACE(TR_FILEOPS,
                  "statvfs() was successful.\n  vfsBuf.f_bavail: %u\n  vfsBuf.f_frsize: %u\n  "
                  "vfsBuf.f_blocks: %u\n  vfsBuf.f_bfree : %u\n",
                  static_cast<unsigned>(vfsBuf.f_bavail), static_cast<unsigned>(vfsBuf.f_frsize),
                  static_cast<unsigned>(vfsBuf.f_blocks), static_cast<unsigned>(vfsBuf.f_bfree));
            *freeBytes = static_cast<uint64_t>(vfsBuf.f_bavail) * vfsBuf.f_frsize;
            *diskSize = static_cast<uint64_t>(vfsBuf.f_blocks) * vfsBuf.f_frsize;
        }
        slash[1] = kept;
    }
    if (TR_FILEOPS) {
        char freeText[24], sizeText[24];
        snprintf(freeText, sizeof freeText, "%" PRIu64, *freeBytes);
        snprintf(sizeText, sizeof sizeText, "%" PRIu64, *diskSize);
        TRACE(TR_FILEOPS,
              "Exit %s, rc = %d\n  freeDiskBytes64: %s\n  diskSize64     : %s\n  fileName       : "
              "%s\n",
              "psGetDiskSpaceInfo()", rc, freeText, sizeText, fileName);
    }
    return rc;
}

int psGetDiskSize(char* fileName, uint64_t* diskSize) {
    uint64_t freeBytes = 0;
    return psGetDiskSpaceInfo(fileName, &freeBytes, diskSize);
}

int psGetFreeDiskBytes(char* fileName, uint64_t* freeBytes) {
    uint64_t diskSize = 0;
    return psGetDiskSpaceInfo(fileName, freeBytes, &diskSize);
}
