#include "api/psfs.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

#include "testing/testutil.h"

namespace {

bool isDir(const std::string& p) {
    struct stat st;
    return stat(p.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

TEST(PsCreateDirectoryTest, CreatesEveryDirectoryButTheLastComponent) {
    zebotest::TempDir t;
    std::string path = t.path() + "/one/two/three/file.txt";
    EXPECT_EQ(0, psCreateDirectory(path.c_str()));
    EXPECT_TRUE(isDir(t.file("one/two/three")));
    EXPECT_FALSE(zebotest::fileExists(path));
    struct stat st;
    ASSERT_EQ(0, stat(t.file("one").c_str(), &st));
    mode_t mask = umask(0);
    umask(mask);
    EXPECT_EQ(0775u & ~mask, st.st_mode & 0777);

    // Everything there already: nothing to do.
    EXPECT_EQ(0, psCreateDirectory(path.c_str()));
    // A trailing slash makes the last directory part of the path.
    EXPECT_EQ(0, psCreateDirectory((t.path() + "/one/four/").c_str()));
    EXPECT_TRUE(isDir(t.file("one/four")));
}

TEST(PsCreateDirectoryTest, RefusesBadPaths) {
    zebotest::TempDir t;
    zebotest::writeFile(t.file("plain"), "x");
    EXPECT_EQ(403, psCreateDirectory((t.path() + "/plain/sub/f").c_str()));
    EXPECT_FALSE(zebotest::fileExists(t.file("plain/sub")));
    EXPECT_EQ(424, psCreateDirectory("relative/dir/f"));
    EXPECT_EQ(424, psCreateDirectory("nodelimiter"));

    // 1022 characters between the leading "/" and the last "/" pass the
    // length check (and then fail on the file system), 1023 do not.
    std::string tooLong = "/" + std::string(1023, 'b') + "/f";
    EXPECT_EQ(404, psCreateDirectory(tooLong.c_str()));
    std::string justFits = "/" + std::string(1022, 'b') + "/f";
    EXPECT_NE(404, psCreateDirectory(justFits.c_str()));
}

TEST(PsIsAFileTest, TellsFilesFromDirectoriesAndMissingPaths) {
    zebotest::TempDir t;
    zebotest::writeFile(t.file("f"), "x");
    int isFile = -1;
    EXPECT_EQ(0, psIsAFile(t.file("f").c_str(), &isFile));
    EXPECT_EQ(1, isFile);
    EXPECT_EQ(0, psIsAFile(t.path().c_str(), &isFile));
    EXPECT_EQ(0, isFile);
    isFile = -1;
    EXPECT_EQ(0, psIsAFile(t.file("missing").c_str(), &isFile));
    EXPECT_EQ(0, isFile);
    // A file used as a directory is a failure, not a missing path.
    EXPECT_EQ(419, psIsAFile(t.file("f/x").c_str(), &isFile));
    EXPECT_EQ(0, isFile);
}

TEST(PsDiskSpaceTest, QueriesTheDirectoryAndRestoresTheName) {
    zebotest::TempDir t;
    std::string name = t.file("not-yet-there.dat");
    std::string buf = name;
    uint64_t freeBytes = 0, size = 0;
    EXPECT_EQ(0, psGetDiskSpaceInfo(&buf[0], &freeBytes, &size));
    EXPECT_EQ(name, buf);
    EXPECT_GT(size, 0u);
    EXPECT_LE(freeBytes, size);
    uint64_t one = 0;
    EXPECT_EQ(0, psGetDiskSize(&buf[0], &one));
    EXPECT_EQ(size, one);

    char noSlash[] = "file.dat";
    freeBytes = size = 7;
    EXPECT_EQ(419, psGetDiskSpaceInfo(noSlash, &freeBytes, &size));
    EXPECT_EQ(0u, freeBytes);
    EXPECT_EQ(0u, size);
    std::string missing = t.file("nodir/file.dat");
    EXPECT_EQ(401, psGetFreeDiskBytes(&missing[0], &freeBytes));
    EXPECT_EQ(t.file("nodir/file.dat"), missing);
}

}  // namespace
