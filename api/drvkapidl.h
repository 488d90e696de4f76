// DRvkApiDL: the concrete API object. It opens the client library
// "libApiQZ.so" at run time, by its bare name so that the dynamic linker's
// ordinary search finds it, and resolves the library's 43 entry points into
// the wrapper's table (DRvkApi).
//
// The table is published only when every entry point was found: a library
// that lacks one (an older or foreign one) is closed again and nothing is
// taken from it. The handle is static: the library is loaded at most once per
// process, whatever number of objects exist, and it outlives the object that
// loaded it until Cleanup closes it.
//
// Setup and Cleanup run on the main thread, before and after all server
// work; nothing here is locked.
#ifndef ZEBO_API_DRVKAPIDL_H
#define ZEBO_API_DRVKAPIDL_H

#include "api/drvkapi.h"

class DRvkApiDL : public DRvkApi {
  public:
    // Empty node, password and option file, no password callback.
    DRvkApiDL();
    DRvkApiDL(const char* nodeP, const char* passwordP, const char* optFileP,
              RvkPwCallback pwCallback);
    DRvkApiDL(const char* logDirP, const char* nodeP, const char* passwordP, const char* optFileP,
              RvkPwCallback pwCallback);
    // Leaves the library loaded: only Cleanup closes it.
    ~DRvkApiDL() override;

    // 0 when loaded (now or before); 104 when the library cannot be opened
    // or lacks an entry point.
    int Setup() override;
    // Closes the library and clears the table; always 0.
    int Cleanup() override;

    static void* m_hKoruDll;
};

#endif
