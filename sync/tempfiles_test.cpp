// Temporary names: where they are made and that they name nothing yet.
#include "sync/tempfiles.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <set>
#include <string>

#include "testing/testutil.h"

namespace {

TEST(TempName, MadeInTmpdirWithAShortPrefixAndNeverTaken) {
    zebotest::TempDir dir;
    const char* old = getenv("TMPDIR");
    std::string saved = old ? old : "";
    setenv("TMPDIR", dir.path().c_str(), 1);
    std::set<std::string> names;
    for (int i = 0; i < 50; ++i) {
        char* name = utTempName("SQLOUT");
        ASSERT_NE(nullptr, name);
        std::string n = name;
        free(name);
        EXPECT_EQ(dir.path() + "/SQLOU", n.substr(0, dir.path().size() + 6));
        EXPECT_EQ(dir.path().size() + 12, n.size());
        EXPECT_TRUE(names.insert(n).second) << n;
        // Taken names are skipped: the next call must not return this one.
        zebotest::writeFile(n, "");
    }
    // A TMPDIR that is no directory falls back to /tmp.
    setenv("TMPDIR", dir.file("missing").c_str(), 1);
    char* name = utTempName("VLTO");
    ASSERT_NE(nullptr, name);
    EXPECT_EQ(0, std::string(name).rfind("/tmp/VLTO", 0));
    free(name);
    if (old)
        setenv("TMPDIR", saved.c_str(), 1);
    else
        unsetenv("TMPDIR");
}

}  // namespace
