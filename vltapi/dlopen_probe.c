/* Test helper: loads the client library the way the program does
 * (dlopen by bare name, RTLD_NOW) from a program that links neither SQLite
 * nor libcrypto, and looks up the 43 entry points.
 * Usage: vltapi_dlopen_probe [LIBRARY]. Prints "missing NAME" for each
 * absent entry point and "found N"; exit 0 when all are there, 3 when some
 * are missing, 2 when the library cannot be loaded. */
#include <dlfcn.h>
#include <stdio.h>
#include <string.h>

#include "include/rvkapi.h"

#define NAME_OF(Name) "rvk" #Name,
static const char* const kNames[] = {RVK_ENTRY_POINTS(NAME_OF)};
#undef NAME_OF

int main(int argc, char** argv) {
    const char* lib = argc > 1 ? argv[1] : "libApiQZ.so";
    void* h = dlopen(lib, RTLD_NOW);
    if (!h) {
        printf("cannot load %s: %s\n", lib, dlerror());
        return 2;
    }
    int found = 0;
    for (size_t i = 0; i < sizeof kNames / sizeof kNames[0]; ++i) {
        if (dlsym(h, kNames[i]))
            ++found;
        else
            printf("missing %s\n", kNames[i]);
    }
    printf("found %d\n", found);
    void* ver = dlsym(h, "rvkQueryApiVersionEx");
    if (ver) {
        rvkApiVersionEx v;
        memset(&v, 0, sizeof v);
        v.stVersion = RVK_APIVERSIONEX_VERSION;
        ((void (*)(rvkApiVersionEx*))ver)(&v);
        printf("version %u.%u.%u.%u\n", v.version, v.release, v.level, v.subLevel);
    }
    return found == (int)(sizeof kNames / sizeof kNames[0]) ? 0 : 3;
}
