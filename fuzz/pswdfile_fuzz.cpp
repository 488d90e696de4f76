// The node's password file as a damaged disk or another user could leave
// it, read through the program's reader with the real client library's key
// and cipher. The first input byte chooses the check: odd bytes read the
// rest of the input as the file; even ones write the rest as a password
// with the program's writer and read it back.
//
// Invariants: the password read is a string inside its 65-byte buffer,
// never longer than the lengths its records state (each digit taken as 0
// to 8 characters, 64 in all); and a password of up to 64 characters
// without a NUL that the program wrote reads back unchanged.
#include <dlfcn.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "agent/pswdfile.h"
#include "api/drvkapidl.h"
#include "common/nls/nls.h"
#include "fuzz/fuzzcheck.h"

namespace {

AgentContext gContext;
std::string gFile;

int quiet(const char*) {
    return 0;
}

// The characters that the records of a file promise, as the reader counts
// them: the header is read like a line of at most 39 characters.
size_t promised(const std::string& file) {
    size_t at = file.find('\n');
    at = at == std::string::npos || at >= ZEBO_PSWD_HEADER_SIZE ? ZEBO_PSWD_HEADER_SIZE : at + 1;
    size_t total = 0;
    while (at < file.size()) {
        int count = static_cast<unsigned char>(file[at]) - '0';
        total += count < 0 ? 0 : count > 8 ? 8 : static_cast<size_t>(count);
        at += 9;
    }
    return total < ZEBO_PSWD_BUFFER_SIZE - 1 ? total : ZEBO_PSWD_BUFFER_SIZE - 1;
}

std::string readPassword() {
    char password[ZEBO_PSWD_BUFFER_SIZE];
    memset(password, '?', sizeof password);
    FUZZ_CHECK(psReadPswd(password, &gContext) == 0, "a readable file was refused");
    FUZZ_CHECK(memchr(password, '\0', sizeof password) != nullptr, "password unterminated");
    return password;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    std::string base = fuzzMakeScratchDir("zebo-fuzz-pswd");
    const char* dir = base.c_str();
    mkdir((base + "/api").c_str(), 0700);
    mkdir((base + "/pw").c_str(), 0700);
    setenv("ZEBO_AGENT_DIR", base.c_str(), 1);
    static const nlOutputRoutine routines[NL_SEVERITY_COUNT] = {quiet, quiet, quiet, quiet, quiet,
                                                                quiet, quiet, quiet, quiet};
    newNlsGlobalObject(routines, 0);
    nlInit("zebo.cat", 10, nullptr, ZEBO_FUZZ_CATALOGS, nullptr, 0, 'D', 100, 'S', NL_APP_AGENT, 1,
           1, 1, nullptr, nullptr);

    // The library is opened by its full path; the loader then finds it by
    // its bare name.
    if (dlopen(ZEBO_FUZZ_LIBDIR "/libApiQZ.so", RTLD_NOW) == nullptr) {
        fprintf(stderr, "%s\n", dlerror());
        abort();
    }
    gRvkApiObjP = new DRvkApiDL();
    rvkEnvSetUp env;
    memset(&env, 0, sizeof env);
    env.stVersion = RVK_ENVSETUP_VERSION;
    snprintf(env.apiDir, sizeof env.apiDir, "%s/api", dir);
    snprintf(env.logDir, sizeof env.logDir, "%s", dir);
    snprintf(env.logName, sizeof env.logName, "zeboerror.log");
    if (gRvkApiObjP->Setup() != 0 ||
        gRvkApiObjP->drvkSetUp(RvkApiStatusObjP, RVK_MULTITHREAD, &env) != 0) {
        fprintf(stderr, "the client library could not be set up\n");
        abort();
    }
    snprintf(gContext.optValue[OPT_ZEBO_NODE], ZEBO_OPT_VALUE_SIZE, "NODE1");
    snprintf(gContext.optValue[OPT_ZEBO_PSWDPATH], ZEBO_OPT_VALUE_SIZE, "%s/pw", dir);
    gFile = base + "/pw/ZEBO.NODE1";
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1) return 0;
    std::string rest = fuzzText(data + 1, size - 1);
    if (data[0] % 2 == 0) {
        std::string password = rest.substr(0, strlen(rest.c_str()));
        if (password.size() > ZEBO_PSWD_BUFFER_SIZE - 1) return 0;
        FUZZ_CHECK(pszeboUpdatePswd(password.c_str(), &gContext) == 0, "write failed");
        std::string back = readPassword();
        FUZZ_CHECK(back == password, "'%s' read back as '%s'", password.c_str(), back.c_str());
        return 0;
    }
    FILE* file = fopen(gFile.c_str(), "wb");
    if (file == nullptr) abort();
    fwrite(rest.data(), 1, rest.size(), file);
    fclose(file);
    std::string back = readPassword();
    FUZZ_CHECK(back.size() <= promised(rest), "%zu characters from records promising %zu",
               back.size(), promised(rest));
    return 0;
}
