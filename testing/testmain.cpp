// The main of every test binary. It prepares the environment that child
// processes and the code under test expect: the locales generated into the
// build tree, the built programs and test programs on PATH, and the client
// library on the library path of children.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

#include "testing/testutil.h"
#include "zebo_config.h"

int main(int argc, char** argv) {
    // The client library is loaded by its bare name. The dynamic linker reads
    // LD_LIBRARY_PATH only at start-up (and under the sanitizers the run path
    // of the test binary is not consulted for dlopen), so the test binary
    // starts itself once more with the build's lib/ on the path.
    const char* ldNow = getenv("LD_LIBRARY_PATH");
    if (!ldNow || std::string(ldNow).find(zebotest::libDir()) == std::string::npos) {
        std::string ld = zebotest::libDir();
        if (ldNow && *ldNow) ld += std::string(":") + ldNow;
        setenv("LD_LIBRARY_PATH", ld.c_str(), 1);
        execv("/proc/self/exe", argv);
        // If that fails the tests still run; only in-process loads may miss.
    }
    setenv("LOCPATH", ZEBO_BINARY_DIR "/locales", 1);
    std::string path = zebotest::testBinDir() + ":" + zebotest::binDir();
    if (const char* old = getenv("PATH")) path += std::string(":") + old;
    setenv("PATH", path.c_str(), 1);
    // Tests decide their own language; an inherited one must not leak in.
    unsetenv("LC_ALL");
    unsetenv("LC_MESSAGES");
    setenv("LANG", "C", 1);
    // Node password hashes of a nearly free cost, for the tests and every
    // program they start: tests log on hundreds of times. The client library
    // reads this variable only to choose the cost of new hashes; a hash so
    // made is renewed at the first log-on without it.
    setenv("RVK_TEST_FAST_HASH", "1", 1);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
