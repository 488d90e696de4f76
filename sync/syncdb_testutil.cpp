// Test support for the synchronisation; see syncdb_testutil.h.
#include "sync/syncdb_testutil.h"

#include <dlfcn.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

#include "common/nls/nls.h"
#include "testing/testutil.h"

namespace synctest {

namespace {
const std::string& errorLogPath() {
    static const std::string path = "/tmp/zebo_sync_tests_" + std::to_string(getpid()) + ".log";
    return path;
}

}  // namespace

void initMessages() {
    static bool done = false;
    if (done) return;
    done = true;
    atexit([] { unlink(errorLogPath().c_str()); });
    nlsObject_t* obj = newNlsGlobalObject(nullptr, 0);
    nlSetPrefix(obj, "QEV");
    nlInit("zebo.cat", 10, errorLogPath().c_str(), zebotest::catalogDir().c_str(),
           errorLogPath().c_str(), 0, 'D', 100, 'S', NL_APP_AGENT, 1, 1, 1, nullptr, "zebo.cat");
}

void preloadClientLibrary() {
#if defined(__SANITIZE_ADDRESS__)
    static void* handle = dlopen((zebotest::libDir() + "/libApiQZ.so").c_str(), RTLD_NOW);
    (void)handle;  // kept open for the rest of the process
#endif
}

}  // namespace synctest
