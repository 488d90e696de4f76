#include "api/drvkapidl.h"

#include <dlfcn.h>
#include <errno.h>
#include <string.h>

#include "common/ut/trace.h"

void* DRvkApiDL::m_hKoruDll = nullptr;

namespace {

// One entry of the lookup list: the name in a fixed, zero-padded buffer and
// the address found for it.
struct LookupEntry {
    char name[35];
    void* address;
};

#define DRVK_NAME_OF(Name) "rvk" #Name,
const char* const kEntryNames[RVK_ENTRY_COUNT] = {RVK_ENTRY_POINTS(DRVK_NAME_OF)};
#undef DRVK_NAME_OF

}  // namespace

DRvkApiDL::DRvkApiDL() : DRvkApi("", "", "", nullptr) {
    TRACE(TR_API, "Enter & Exit %s\n", "DRvkApiDL::DRvkApiDL()");
}

DRvkApiDL::DRvkApiDL(const char* nodeP, const char* passwordP, const char* optFileP,
                     RvkPwCallback pwCallback)
    : DRvkApi(nodeP, passwordP, optFileP, pwCallback) {
    TRACE(TR_API, "Enter & Exit %s\n", "DRvkApiDL::DRvkApiDL()");
}

DRvkApiDL::DRvkApiDL(const char* logDirP, const char* nodeP, const char* passwordP,
                     const char* optFileP, RvkPwCallback pwCallback)
    : DRvkApi(logDirP, nodeP, passwordP, optFileP, pwCallback) {
    TRACE(TR_API, "Enter & Exit %s\n", "DRvkApiDL::DRvkApiDL()");
}

DRvkApiDL::~DRvkApiDL() {
    TRACE(TR_API, "Enter & Exit %s\n", "DRvkApiDL::~DRvkApiDL()");
}

int DRvkApiDL::Setup() {
    static const char* const fn = "DRvkApiDL::Setup()";
    TRACE(TR_API, "Enter %s\n", fn);
    if (m_hKoruDll) {
        TRACE(TR_API, "VLT API already loaded\n");
        return 0;
    }
    int rc = 0;
    errno = 0;
    TRACE(TR_API, "Calling dlopen()\n");
    // No directory in front: the library path, the linker cache and the
    // system directories decide which library is used.
    m_hKoruDll = dlopen("libApiQZ.so", RTLD_NOW);
    if (!m_hKoruDll) {
        rc = RC_API_NOT_LOADED;
        if (TR_API) {
            int err = errno;
            const char* why = dlerror();
            TRACE(TR_API, "ERROR: could not load the VLT API.\nerrno = %d, dlerror() returned %s\n",
                  err, why ? why : trNullString);
        }
    } else {
        TRACE(TR_API, "VLT API loaded successfully\n");
    }

    LookupEntry list[RVK_ENTRY_COUNT];
    memset(list, 0, sizeof list);
    for (int i = 0; i < RVK_ENTRY_COUNT; ++i) strcpy(list[i].name, kEntryNames[i]);
    bool complete = true;
    for (int i = 0; i < RVK_ENTRY_COUNT; ++i) {
        // With a failed open the handle is null and the lookup fails at once.
        list[i].address = dlsym(m_hKoruDll, list[i].name);
        if (!list[i].address) {
            Cleanup();  // virtual: a subclass's clean-up runs as well
            rc = RC_API_NOT_LOADED;
            complete = false;
            break;
        }
    }
    // All or nothing: a partial table is never published.
    if (complete && rc == 0) {
        void* addresses[RVK_ENTRY_COUNT];
        for (int i = 0; i < RVK_ENTRY_COUNT; ++i) addresses[i] = list[i].address;
        SetPointers(addresses);
    }
    TRACE(TR_API, "Exit %s, rc = %d\n", fn, rc);
    return rc;
}

int DRvkApiDL::Cleanup() {
    static const char* const fn = "DRvkApiDL::Cleanup()";
    TRACE(TR_API, "Enter %s\n", fn);
    if (m_hKoruDll) {
        dlclose(m_hKoruDll);
        m_hKoruDll = nullptr;
    } else {
        TRACE(TR_API, "VLT API is not loaded\n");
    }
    ClearPointers();
    TRACE(TR_API, "Exit %s, rc = %d\n", fn, 0);
    return 0;
}
