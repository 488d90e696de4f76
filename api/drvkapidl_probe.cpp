// Test-only program: loads the client library that the dynamic linker finds
// (the tests choose it through LD_LIBRARY_PATH) and reports what Setup did.
// Run in a child process so that a test can load a library other than the
// one the test binary itself uses.
//
// Output: "rc=<Setup's result> loaded=<0|1> cleanups=<calls of Cleanup>
// nulls=<null table pointers> versionKept=<0|1> closed=<0|1>", where closed
// tells that the library given as first argument is no longer in the process.
#include <dlfcn.h>
#include <stdio.h>

#include "api/drvkapidl.h"

namespace {

int cleanups = 0;

class CountingLoader : public DRvkApiDL {
  public:
    int Cleanup() override {
        ++cleanups;
        return DRvkApiDL::Cleanup();
    }
};

}  // namespace

int main(int argc, char** argv) {
    auto versionBefore = DRvkApi::m_fnrvkQueryApiVersionExP;
    CountingLoader loader;
    int rc = loader.Setup();
    int nulls = 0;
#define DRVK_COUNT_NULL(Name) \
    if (!DRvkApi::m_fnrvk##Name##P) ++nulls;
    RVK_ENTRY_POINTS(DRVK_COUNT_NULL)
#undef DRVK_COUNT_NULL
    int closed = 1;
    if (argc > 1) {
        void* h = dlopen(argv[1], RTLD_NOW | RTLD_NOLOAD);
        if (h) {
            closed = 0;
            dlclose(h);
        }
    }
    printf("rc=%d loaded=%d cleanups=%d nulls=%d versionKept=%d closed=%d\n", rc,
           DRvkApiDL::m_hKoruDll ? 1 : 0, cleanups, nulls,
           DRvkApi::m_fnrvkQueryApiVersionExP == versionBefore ? 1 : 0, closed);
    return 0;
}
