// The repository object: creation, the lock with its deferred reports,
// output by severity, and release.
#include "common/nls/nlsobject.h"

#include <nl_types.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "common/nls/nls.h"
#include "common/ut/trace.h"

char rvkLocale[1024];
char Language[1024];
int actualNLSCode = 0;
int msgReposCodepage = 1;
int logMsgCodepage = 0;
int displayCodepage = 0;
int ScheduleMode = 0;
pkMutex* nls_mutex = nullptr;

namespace {

nlsObject_t* gNlsObject = nullptr;

int nlDefaultOutput(const char* text) {
    fputs(text, stdout);
    return 0;
}

struct SeverityRow {
    char letter;
    bool prefixed;
    int apiClass;  // what structured callers are told
};

// Indexed by severity code.
const SeverityRow kSeverities[NL_SEVERITY_COUNT] = {
    {'Z', false, 0}, {'T', false, 7}, {'R', false, 0}, {'K', true, 0},  {'I', true, 2},
    {'W', true, 3},  {'E', true, 4},  {'S', true, 5},  {'L', false, 0},
};

}  // namespace

int nlSeverityOfLetter(char letter) {
    for (int i = 0; i < NL_SEVERITY_COUNT; ++i) {
        if (kSeverities[i].letter == letter) return i;
    }
    return -1;
}

bool nlSeverityPrefixed(int severity) {
    return severity >= 0 && severity < NL_SEVERITY_COUNT && kSeverities[severity].prefixed;
}

int nlSeverityClass(int severity) {
    return severity >= 0 && severity < NL_SEVERITY_COUNT ? kSeverities[severity].apiClass : 0;
}

nlsObject_t* newNlsGlobalObject(const nlOutputRoutine routines[NL_SEVERITY_COUNT], int codePage) {
    if (gNlsObject) return gNlsObject;
    nlsObject_t* obj = static_cast<nlsObject_t*>(calloc(1, sizeof(nlsObject_t)));
    if (!obj) return nullptr;
    actualNLSCode = codePage;
    for (int i = 0; i < NL_SEVERITY_COUNT; ++i)
        obj->output[i] = routines && routines[i] ? routines[i] : nlDefaultOutput;
    strcpy(obj->prefix, "QES");
    obj->userRing = nullptr;
    obj->englishRing = nullptr;
    obj->userCat = NL_CAT_NOT_OPEN;
    obj->englishCat = NL_CAT_NOT_OPEN;
    gNlsObject = obj;
    return obj;
}

nlsObject_t* nlGetGlobalObject() {
    return gNlsObject;
}

void nlSetPrefix(nlsObject_t* obj, const char* prefix) {
    if (!obj || !prefix) return;
    snprintf(obj->prefix, sizeof obj->prefix, "%s", prefix);
}

const char* nlGetPrefix(const nlsObject_t* obj) {
    return obj ? obj->prefix : "";
}

void nlFreeRepository() {
    nlsObject_t* obj = gNlsObject;
    if (!obj) return;
    {
        NlsLock lock(obj);
        obj->FlushCache();
        if (obj->userCat != NL_CAT_NOT_OPEN && obj->userCat != obj->englishCat)
            catclose(obj->userCat);
        if (obj->englishCat != NL_CAT_NOT_OPEN) catclose(obj->englishCat);
        obj->userCat = obj->englishCat = NL_CAT_NOT_OPEN;
        obj->pendingSet = 0;
    }
    free(obj->userFile);
    free(obj->englishFile);
    gNlsObject = nullptr;
    free(obj);
    rvkLocale[0] = 0;
    Language[0] = 0;
    nlReleaseHooks();
}

NlsLock::NlsLock(nlsObject_t* obj) : obj_(obj), held_(false) {
    if (!nls_mutex) return;
    if (pkMutexAcquire(nls_mutex) != 0) {
        TRACE(TR_NLS, "Unable to acquire NLS mutex\n");
        return;
    }
    held_ = true;
}

NlsLock::~NlsLock() {
    std::string text;
    int severity = 0, log = 0;
    if (obj_ && obj_->pendingSet) {
        text = obj_->errorBuffer;
        severity = obj_->pendingSeverity;
        log = obj_->pendingLog;
        obj_->pendingSet = 0;
    }
    if (held_ && pkMutexRelease(nls_mutex) != 0) TRACE(TR_NLS, "Unable to release NLS mutex\n");
    if (text.empty()) return;
    if (log) nlAppendErrorLog(text.c_str());
    nlDispatch(obj_, severity, text.c_str());
}

void nlSetPending(nlsObject_t* obj, int severity, int log, const char* fmt, ...) {
    va_list args;
    va_start(args, fmt);
    vsnprintf(obj->errorBuffer, sizeof obj->errorBuffer, fmt, args);
    va_end(args);
    obj->pendingSet = 1;
    obj->pendingSeverity = severity;
    obj->pendingLog = log;
}

void nlDispatch(nlsObject_t* obj, int severity, const char* text) {
    if (!obj || obj->applicationType == NL_APP_SILENT) return;
    if (severity < 0 || severity >= NL_SEVERITY_COUNT) severity = 0;
    // The routine gets a copy: it may keep, change or free nothing of ours.
    std::string copy(text);
    obj->output[severity](copy.c_str());
}
