// The node-key cipher and the installation key it depends on.
#include <gtest/gtest.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <string>

#include "rvkapi.h"
#include "vltapi/vltapi_testenv.h"

using namespace vltest;

namespace {

class Cipher : public ::testing::Test {
  protected:
    void TearDown() override { rvkCleanUp(RVK_MULTITHREAD); }
    // Sets the library up with `dir` as its API directory.
    void install(const zebotest::TempDir& dir) { ASSERT_EQ(setUp(dir.file("rvk.opt")), 0); }
    std::string keyFile(const zebotest::TempDir& dir) { return dir.file("vltapi.key"); }
    static int16_t key(unsigned char* k, const char* node) {
        return rvkCreateDesKeyEx(k, const_cast<char*>(node));
    }
    zebotest::TempDir first, second;
};

TEST_F(Cipher, RoundTripWithANodeKey) {
    install(first);
    unsigned char k1[8], k1upper[8], k2[8];
    ASSERT_EQ(key(k1, "node1"), RVK_RC_OK);
    ASSERT_EQ(key(k1upper, "NODE1"), RVK_RC_OK);
    ASSERT_EQ(key(k2, "node2"), RVK_RC_OK);
    EXPECT_EQ(memcmp(k1, k1upper, 8), 0);
    EXPECT_NE(memcmp(k1, k2, 8), 0);

    unsigned char plain[8] = {'s', 'e', 'c', 'r', 'e', 't', 0, 0}, c1[8], c2[8], back[8];
    ASSERT_EQ(rvkEncryptEx(k1, plain, c1), RVK_RC_OK);
    EXPECT_NE(memcmp(plain, c1, 8), 0);
    ASSERT_EQ(rvkEncryptEx(k2, plain, c2), RVK_RC_OK);
    EXPECT_NE(memcmp(c1, c2, 8), 0);
    ASSERT_EQ(rvkDecryptEx(k1, c1, back), RVK_RC_OK);
    EXPECT_EQ(memcmp(plain, back, 8), 0);
    ASSERT_EQ(rvkDecryptEx(k2, c1, back), RVK_RC_OK);
    EXPECT_NE(memcmp(plain, back, 8), 0);
    unsigned char again[8];
    ASSERT_EQ(rvkEncryptEx(k1, plain, again), RVK_RC_OK);
    EXPECT_EQ(memcmp(c1, again, 8), 0);  // one block, one key: always the same
    ASSERT_EQ(key(k2, ""), RVK_RC_OK);
    EXPECT_EQ(rvkEncryptEx(nullptr, plain, c1), RVK_RC_NULL_POINTER);
}

TEST_F(Cipher, AnotherInstallationCannotDecipher) {
    install(first);
    unsigned char k[8], plain[8] = {'p', 'w', '-', 'o', 'n', 'e', 0, 0}, c[8], back[8];
    ASSERT_EQ(key(k, "node1"), RVK_RC_OK);
    ASSERT_EQ(rvkEncryptEx(k, plain, c), RVK_RC_OK);
    struct stat st;
    ASSERT_EQ(stat(keyFile(first).c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);
    EXPECT_EQ(st.st_size, 32);
    rvkCleanUp(RVK_MULTITHREAD);

    // The same node on another machine: its key, and even the first
    // installation's node key carried over, give something else.
    install(second);
    unsigned char k2[8];
    ASSERT_EQ(key(k2, "node1"), RVK_RC_OK);
    EXPECT_NE(memcmp(k, k2, 8), 0);
    ASSERT_EQ(rvkDecryptEx(k2, c, back), RVK_RC_OK);
    EXPECT_NE(memcmp(plain, back, 8), 0);
    ASSERT_EQ(rvkDecryptEx(k, c, back), RVK_RC_OK);
    EXPECT_NE(memcmp(plain, back, 8), 0);
    EXPECT_NE(zebotest::readFile(keyFile(first)), zebotest::readFile(keyFile(second)));
    rvkCleanUp(RVK_MULTITHREAD);

    // Back home the block deciphers again: the key file is kept.
    install(first);
    ASSERT_EQ(rvkDecryptEx(k, c, back), RVK_RC_OK);
    EXPECT_EQ(memcmp(plain, back, 8), 0);
}

TEST_F(Cipher, UnusableKeyFilesAreRefusedAndLeaveTheOutputAlone) {
    install(first);
    zebotest::writeFile(first.file("elsewhere"), std::string(32, 'k'), 0600);
    struct Case {
        const char* what;
        std::function<void()> make;
    } cases[] = {
        {"readable by others",
         [&] { zebotest::writeFile(keyFile(first), std::string(32, 'k'), 0644); }},
        {"short", [&] { zebotest::writeFile(keyFile(first), std::string(31, 'k'), 0600); }},
        {"symlink", [&] { ASSERT_EQ(symlink("elsewhere", keyFile(first).c_str()), 0); }},
        {"directory", [&] { ASSERT_EQ(mkdir(keyFile(first).c_str(), 0700), 0); }},
    };
    for (auto& c : cases) {
        SCOPED_TRACE(c.what);
        unlink(keyFile(first).c_str());
        rmdir(keyFile(first).c_str());
        c.make();
        unsigned char k[8] = {0}, block[8] = {1, 2, 3, 4, 5, 6, 7, 8}, out[8];
        memset(out, 0xAA, sizeof out);
        EXPECT_EQ(key(k, "node1"), RVK_RC_CRYPTO_FAILURE);
        EXPECT_EQ(rvkEncryptEx(k, block, out), RVK_RC_CRYPTO_FAILURE);
        EXPECT_EQ(rvkDecryptEx(k, block, out), RVK_RC_CRYPTO_FAILURE);
        EXPECT_EQ(std::string(8, '\xAA'), std::string(reinterpret_cast<char*>(out), 8));
    }
    std::string log = zebotest::readFile(first.file("rvkerror.log"));
    EXPECT_NE(log.find("vltapi.key: may be read by others"), std::string::npos) << log;
    // An API directory that cannot take the file.
    rvkCleanUp(RVK_MULTITHREAD);
    ASSERT_EQ(setUp(first.file("no/such/rvk.opt")), 0);
    unsigned char k[8];
    EXPECT_EQ(key(k, "node1"), RVK_RC_CRYPTO_FAILURE);
}

TEST_F(Cipher, ProcessesStartingTogetherShareOneKey) {
    // Each child makes the node key in a fresh installation at the same
    // moment and reports it through a pipe.
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    const int kChildren = 6;
    for (int i = 0; i < kChildren; ++i) {
        if (fork() == 0) {
            close(fds[0]);
            unsigned char k[8];
            int ok = setUp(first.file("rvk.opt")) == 0 && key(k, "node1") == 0;
            if (!ok) memset(k, 0, sizeof k);
            ssize_t n = write(fds[1], k, sizeof k);
            _exit(ok && n == 8 ? 0 : 1);
        }
    }
    close(fds[1]);
    std::string keys;
    char buf[64];
    ssize_t n;
    while ((n = read(fds[0], buf, sizeof buf)) > 0) keys.append(buf, static_cast<size_t>(n));
    close(fds[0]);
    for (int i = 0; i < kChildren; ++i) {
        int status = 0;
        wait(&status);
        EXPECT_EQ(WEXITSTATUS(status), 0);
    }
    ASSERT_EQ(keys.size(), 8u * kChildren);
    for (int i = 1; i < kChildren; ++i) EXPECT_EQ(keys.substr(0, 8), keys.substr(8 * i, 8));
    // No temporary file is left beside the key.
    EXPECT_EQ(zebotest::run("ls -A '" + first.path() + "'").out, "vltapi.key\n");
}

}  // namespace
