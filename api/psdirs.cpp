#include "api/psdirs.h"

#include <stdlib.h>
#include <string.h>

#include "api/psrc.h"
#include "common/ut/trace.h"
#include "zebo_config.h"

namespace {

// The value of an environment variable, null when unset or empty.
const char* envValue(const char* name) {
    const char* v = getenv(name);
    return (v && *v) ? v : nullptr;
}

// "" when `dir` ends in "/", else "/".
const char* slashFor(const char* dir) {
    size_t n = strlen(dir);
    return (n && dir[n - 1] == '/') ? "" : "/";
}

// buffer = head + tail, or 1702 and an empty buffer when that text and its
// terminator do not fit.
int join(char* buffer, size_t size, const char* head, const char* tail) {
    size_t a = strlen(head), b = strlen(tail);
    if (a + b + 1 > size) {
        if (size) buffer[0] = '\0';
        return PS_RC_BUFFER_TOO_SMALL;
    }
    memcpy(buffer, head, a);
    memcpy(buffer + a, tail, b + 1);
    return 0;
}

}  // namespace

int psGetAgentDir(char* buffer, size_t size) {
    // The agent directory has no variable of its own: the fixed one is used.
    int rc = join(buffer, size, ZEBO_AGENT_DIR, "");
    TRACE(TR_GENERAL, "psGetAgentDir() rc = %d\n", rc);
    return rc;
}

int psGetAgentConfig(char* buffer, size_t size) {
    char dir[1025];
    int rc = psGetAgentDir(dir, sizeof dir);
    if (rc == 0) {
        char name[16];
        strcpy(name, slashFor(dir));
        strcat(name, "zebo.opt");
        rc = join(buffer, size, dir, name);
    }
    TRACE(TR_GENERAL, "psGetAgentConfig() rc = %d\n", rc);
    return rc;
}

int psGetKORUApiDir(char* buffer, size_t size) {
    const char* dir = envValue("RVKI_DIR");
    int rc = dir ? join(buffer, size, dir, slashFor(dir)) : join(buffer, size, ZEBO_API_DIR, "");
    TRACE(TR_GENERAL, "psGetKORUApiDir() rc = %d\n", rc);
    return rc;
}

int psGetKORUApiLog(char* buffer, size_t size) {
    const char* dir = envValue("RVKI_LOG");
    int rc = dir ? join(buffer, size, dir, slashFor(dir)) : psGetAgentDir(buffer, size);
    TRACE(TR_GENERAL, "psGetKORUApiLog() rc = %d\n", rc);
    return rc;
}

int psGetKORUApiConfig(char* buffer, size_t size) {
    const char* file = envValue("RVKI_CONFIG");
    int rc = 0;
    if (file) {
        rc = join(buffer, size, file, "");
    } else {
        char dir[1025];
        rc = psGetAgentDir(dir, sizeof dir);
        if (rc == 0) rc = join(buffer, size, dir, "rvk.opt");
    }
    TRACE(TR_GENERAL, "psGetKORUApiConfig() rc = %d\n", rc);
    return rc;
}
