#include "api/drvkapidl.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>

#include "api/api_testutil.h"
#include "testing/testutil.h"
#include "zebo_config.h"

namespace {

#if defined(__SANITIZE_ADDRESS__)
// Under AddressSanitizer dlopen is intercepted, and the run path that the
// bare-name open relies on is then looked up for the sanitizer's runtime
// instead of for this program. Loading the library by its full path first
// lets the bare name find it already in the process, as it would otherwise
// find it on the run path.
class ClientLibraryPreload : public ::testing::Environment {
  public:
    void SetUp() override {
        handle_ = dlopen((zebotest::libDir() + "/libApiQZ.so").c_str(), RTLD_NOW);
    }
    void TearDown() override {
        if (handle_) dlclose(handle_);
    }

  private:
    void* handle_ = nullptr;
};
::testing::Environment* const preload =
    ::testing::AddGlobalTestEnvironment(new ClientLibraryPreload);
#endif

// Runs the load probe with the given library path; returns its report.
std::string probe(const std::string& libDir) {
    std::string lib = libDir + "/libApiQZ.so";
    zebotest::RunResult r = zebotest::run("LD_LIBRARY_PATH='" + libDir + "' '" +
                                          zebotest::testBinDir() + "/api_loadprobe' '" + lib + "'");
    EXPECT_EQ(0, r.status) << r.err;
    return r.out;
}

TEST(DRvkApiDLTest, CallBeforeSetupStopsInTheFallback) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            DRvkApiDL api;
            ApiStatusObj status = {};
            api.drvkBeginTxn(&status, 1);
        },
        "Assertion");
}

TEST(DRvkApiDLTest, SetupResolvesEveryNameOnceAndCleanupClearsAllButOne) {
    TraceToFile trace({&TR_API});
    DRvkApiDL api;
    ASSERT_EQ(0, api.Setup());
    void* handle = DRvkApiDL::m_hKoruDll;
    ASSERT_NE(nullptr, handle);
    // Each slot holds the address of its own name.
#define DRVK_CHECK_SLOT(Name)                                                                 \
    EXPECT_EQ(dlsym(handle, "rvk" #Name), reinterpret_cast<void*>(DRvkApi::m_fnrvk##Name##P)) \
        << "rvk" #Name;
    RVK_ENTRY_POINTS(DRVK_CHECK_SLOT)
#undef DRVK_CHECK_SLOT

    // A second object shares the handle and loads nothing.
    DRvkApiDL other("NODE", "pw", "/opt/file", nullptr);
    EXPECT_EQ(0, other.Setup());
    EXPECT_EQ(handle, DRvkApiDL::m_hKoruDll);

    auto version = DRvkApi::m_fnrvkQueryApiVersionExP;
    EXPECT_EQ(0, api.Cleanup());
    EXPECT_EQ(nullptr, DRvkApiDL::m_hKoruDll);
    int nulls = 0;
#define DRVK_COUNT_NULL(Name) \
    if (!DRvkApi::m_fnrvk##Name##P) ++nulls;
    RVK_ENTRY_POINTS(DRVK_COUNT_NULL)
#undef DRVK_COUNT_NULL
    EXPECT_EQ(42, nulls);
    EXPECT_EQ(version, DRvkApi::m_fnrvkQueryApiVersionExP);

    // Nothing loaded: still clears and succeeds.
    EXPECT_EQ(0, other.Cleanup());
    std::string text = trace.finish();
    size_t first = text.find("Calling dlopen()\n");
    EXPECT_NE(std::string::npos, first);
    EXPECT_EQ(std::string::npos, text.find("Calling dlopen()\n", first + 1));
    EXPECT_NE(std::string::npos, text.find("VLT API already loaded\n"));
    EXPECT_NE(std::string::npos, text.find("VLT API is not loaded\n"));
    EXPECT_NE(std::string::npos, text.find("Enter & Exit DRvkApiDL::DRvkApiDL()\n"));
}

TEST(DRvkApiDLTest, LibraryLackingANameIsClosedAndNothingIsTaken) {
    EXPECT_EQ("rc=104 loaded=0 cleanups=1 nulls=42 versionKept=1 closed=1\n",
              probe(ZEBO_BINARY_DIR "/testlib/missing"));
    // No library at all: the lookups fail on the null handle, with the same end.
    zebotest::TempDir empty;
    EXPECT_EQ("rc=104 loaded=0 cleanups=1 nulls=42 versionKept=1 closed=1\n", probe(empty.path()));
    EXPECT_EQ("rc=0 loaded=1 cleanups=0 nulls=0 versionKept=0 closed=0\n",
              probe(zebotest::libDir()));
}

}  // namespace
