// Environment entry points: set-up, clean-up, versions, client options.
#include <stdlib.h>
#include <string.h>

#include "vltapi/api_internal.h"

#ifndef RVK_DEFAULT_API_DIR
#define RVK_DEFAULT_API_DIR "/opt/marlo/vlt/client/api/bin"
#endif

namespace vlt {

Rc loadOptions(const std::string& optFile, const char* optString, Options& o) {
    std::string err;
    Rc rc = readOptionFile(optFile, o, err);
    if (rc == RVK_RC_OK && optString && *optString) rc = applyOptionString(optString, o, err);
    if (rc) clientLog(err);
    return rc;
}

static std::string pick(const char* given, const char* envName, const std::string& fallback) {
    if (given && *given) return given;
    const char* e = envName ? getenv(envName) : nullptr;
    if (e && *e) return e;
    return fallback;
}

static std::string stripSlash(std::string s) {
    if (s.size() > 1 && s.back() == '/') s.pop_back();
    return s;
}

std::string apiDirectory() {
    Environment env = environment();
    if (env.setUp) return env.apiDir;
    return stripSlash(pick(nullptr, "RVKI_DIR", RVK_DEFAULT_API_DIR));
}

}  // namespace vlt

using namespace vlt;

extern "C" int16_t rvkSetUp(uint8_t multiThread, rvkEnvSetUp* env) {
    RVK_ENTRY(SetUp);
    (void)multiThread;  // the library is always thread-safe
    if (env) {
        if (env->stVersion != RVK_ENVSETUP_VERSION) return RVK_RC_BAD_STVERSION;
        if (!fits(env->apiDir, RVK_PATH_LEN - 1) || !fits(env->optFile, RVK_PATH_LEN - 1) ||
            !fits(env->logDir, RVK_PATH_LEN - 1) || !fits(env->logName, RVK_LOGNAME_LEN - 1))
            return RVK_RC_STRING_TOO_LONG;
    }
    Environment e;
    e.setUp = true;
    e.apiDir = stripSlash(pick(env ? env->apiDir : nullptr, "RVKI_DIR", RVK_DEFAULT_API_DIR));
    e.optFile = pick(env ? env->optFile : nullptr, "RVKI_CONFIG", e.apiDir + "/rvk.opt");
    e.logDir = stripSlash(pick(env ? env->logDir : nullptr, "RVKI_LOG", e.apiDir));
    e.logName = pick(env ? env->logName : nullptr, nullptr, "rvkerror.log");
    setEnvironment(e);
    return RVK_RC_OK;
}

extern "C" int16_t rvkCleanUp(uint8_t multiThread) {
    RVK_ENTRY(CleanUp);
    (void)multiThread;
    for (auto& s : removeAllSessions()) {
        std::lock_guard<std::mutex> lk(s->mu);
        s->reset();
        s->store.reset();
        s->closed = true;
    }
    clearEnvironment();
    return RVK_RC_OK;
}

extern "C" void rvkQueryApiVersion(rvkApiVersion* v) {
    int16_t ignored;
    if (faultFires(Fn::QueryApiVersion, &ignored)) return;
    if (!v || (v->stVersion != RVK_APIVERSION_VERSION && v->stVersion != 0)) return;
    v->stVersion = RVK_APIVERSION_VERSION;
    v->version = RVK_API_VERSION;
    v->release = RVK_API_RELEASE;
    v->level = RVK_API_LEVEL;
}

extern "C" void rvkQueryApiVersionEx(rvkApiVersionEx* v) {
    int16_t ignored;
    if (faultFires(Fn::QueryApiVersionEx, &ignored)) return;
    if (!v) return;
    // A caller that zeroes the record without setting the version still gets
    // the answer: version 0 is taken as the current one.
    if (v->stVersion != RVK_APIVERSIONEX_VERSION && v->stVersion != 0) return;
    v->stVersion = RVK_APIVERSIONEX_VERSION;
    v->version = RVK_API_VERSION;
    v->release = RVK_API_RELEASE;
    v->level = RVK_API_LEVEL;
    v->subLevel = RVK_API_SUBLEVEL;
}

extern "C" int16_t rvkQueryCliOptions(rvkCliOptions* out) {
    RVK_ENTRY(QueryCliOptions);
    if (Rc rc = checkRecord(out, RVK_CLIOPTIONS_VERSION)) return rc;
    Environment env = environment();
    if (!env.setUp) return RVK_RC_NOT_SET_UP;
    Options o;
    if (Rc rc = loadOptions(env.optFile, nullptr, o)) return rc;
    auto r = rvkRecord<rvkCliOptions>(RVK_CLIOPTIONS_VERSION);
    if (!copyField(r.apiDir, env.apiDir) || !copyField(r.optFile, env.optFile) ||
        !copyField(r.serverName, o.serverName) || !copyField(r.serverAddress, o.repository) ||
        !copyField(r.nodeName, o.nodeName))
        return RVK_RC_STRING_TOO_LONG;
    r.commMethod = 0;
    r.compression = o.compression ? 1 : 0;
    r.compressAlways = 1;
    r.passwordAccess = static_cast<uint8_t>(o.passwordAccess);
    *out = r;
    return RVK_RC_OK;
}
