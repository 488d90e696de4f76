#include "agent/agentenv.h"

#include <stdlib.h>
#include <string.h>

#include "api/psdirs.h"
#include "api/psrc.h"
#include "common/ut/trace.h"
#include "zebo_config.h"

namespace {

// buffer = head + tail, or 1702 and an empty buffer when it does not fit.
int joinText(char* buffer, size_t size, const char* head, const char* tail) {
    size_t a = strlen(head), b = strlen(tail);
    if (a + b + 1 > size) {
        if (buffer && size) buffer[0] = '\0';
        return PS_RC_BUFFER_TOO_SMALL;
    }
    memcpy(buffer, head, a);
    memcpy(buffer + a, tail, b + 1);
    return 0;
}

}  // namespace

int psGetEnv(const char* name, char* buffer, size_t size) {
    if (!name || !*name || !buffer || size == 0) return 0;
    buffer[0] = '\0';
    const char* value = getenv(name);
    if (!value || !*value) return 0;
    size_t length = strlen(value);
    if (length >= size) return 0;
    memcpy(buffer, value, length + 1);
    return 1;
}

int zeboGetAgentDir(char* buffer, size_t size) {
    char overrideDir[1025];
    if (psGetEnv(ZEBO_AGENT_DIR_VARIABLE, overrideDir, sizeof overrideDir)) {
        int rc = joinText(buffer, size, overrideDir, "");
        TRACE(TR_GENERAL, "zeboGetAgentDir() rc = %d (from %s)\n", rc, ZEBO_AGENT_DIR_VARIABLE);
        return rc;
    }
    return psGetAgentDir(buffer, size);
}

int zeboGetApiDir(char* buffer, size_t size) {
    return joinText(buffer, size, ZEBO_API_DIR, "");
}

int zeboGetDefaultOptFile(char* buffer, size_t size) {
    char dir[1025];
    int rc = zeboGetAgentDir(dir, sizeof dir);
    if (rc != 0) {
        if (buffer && size) buffer[0] = '\0';
        return rc;
    }
    size_t n = strlen(dir);
    return joinText(buffer, size, dir, (n && dir[n - 1] == '/') ? "zebo.opt" : "/zebo.opt");
}

int zeboConfigHook(char* slot, size_t size) {
    (void)slot;
    (void)size;
    return 0;
}
