// File-system helpers: free and total space of the file system that holds a
// file, creating the directories of a path, and testing for a regular file.
//
// All report by code (psrc.h) and trace line (file-operations class) only;
// none writes to the console.
#ifndef ZEBO_API_PSFS_H
#define ZEBO_API_PSFS_H

#include <stdint.h>

// Space of the file system of the directory part of `fileName` (a fully
// qualified name; it is cut behind its last "/" for the query and restored
// before return, which is why it is not const). Both outputs are 0 on
// failure. 0, 419 (no "/" in the name) or 401 (the query failed).
int psGetDiskSpaceInfo(char* fileName, uint64_t* freeBytes, uint64_t* diskSize);
int psGetDiskSize(char* fileName, uint64_t* diskSize);
int psGetFreeDiskBytes(char* fileName, uint64_t* freeBytes);

// Creates every missing directory of an absolute path with mode 0775. The
// last component is taken for a file name and is not created, so pass
// "/a/b/" to create "/a/b". 0, 424 (not absolute), 404 (directory part of
// DS_PATH_MAX characters or more), 403 (a component is not a directory or
// cannot be created) or 419 (its status cannot be read).
int psCreateDirectory(const char* path);

// *isFileP = 1 when `path` exists and is a regular file, else 0. A missing
// path is no error; any other failure to read its status gives 419.
int psIsAFile(const char* path, int* isFileP);

#endif
