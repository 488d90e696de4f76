// Events, and the functions this server does not offer (access rules and
// object groups): those answer RVK_RC_NOT_SUPPORTED after checking their
// arguments, and never pretend to have done anything.
#include <string.h>

#include "vltapi/api_internal.h"

using namespace vlt;

namespace {
constexpr size_t kEventTextMax = 8192;
}

extern "C" int16_t rvkLogEventEx(uint32_t handle, rvkLogEventIn* in, rvkLogEventOut* out) {
    RVK_ENTRY(LogEventEx);
    SessionRef s(handle);
    if (s.rc()) return s.rc();
    if (Rc rc = checkRecord(in, RVK_LOGEVENTIN_VERSION, &rvkLogEventIn::message)) return rc;
    if (out && out->stVersion != RVK_LOGEVENTOUT_VERSION) return RVK_RC_BAD_STVERSION;
    if (in->severity > RVK_SEV_SEVERE || in->logType > RVK_LOG_BOTH) return RVK_RC_INVALID_ARGUMENT;
    if (strnlen(in->appMsgId, sizeof in->appMsgId) >= sizeof in->appMsgId ||
        !fits(in->message, kEventTextMax))
        return RVK_RC_STRING_TOO_LONG;
    int64_t now = nowDate();
    std::string text = in->message;
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
    if (in->logType == RVK_LOG_CLIENT || in->logType == RVK_LOG_BOTH)
        clientLog(s->node.name + ": " + text);
    if (in->logType == RVK_LOG_SERVER || in->logType == RVK_LOG_BOTH) {
        ActLogRecord a;
        a.date = now;
        a.node = s->node.name;
        a.severity = static_cast<int>(in->severity);
        a.msgId = in->appMsgId;
        a.text = text;
        // A transaction holds the write lock on this connection: the event
        // waits for its end instead of becoming part of it.
        if (s->store->inTransaction()) {
            s->pendingEvents.push_back(a);
        } else if (Rc rc = s->store->appendActLog(a)) {
            return storeFailure(*s, rc, "log event");
        }
    }
    if (out) dateToRvk(now, &out->serverDate);
    return RVK_RC_OK;
}

extern "C" int16_t rvkSetAccess(uint32_t handle, uint8_t accessType, rvkObjName* objName,
                                char* node, char* owner) {
    RVK_ENTRY(SetAccess);
    (void)accessType;
    (void)node;
    (void)owner;
    SessionRef s(handle);
    if (s.rc()) return s.rc();
    if (!objName) return RVK_RC_NULL_POINTER;
    return RVK_RC_NOT_SUPPORTED;
}

extern "C" int16_t rvkQueryAccess(uint32_t handle, rvkAccessRule** rules, uint16_t* numRules) {
    RVK_ENTRY(QueryAccess);
    SessionRef s(handle);
    if (s.rc()) return s.rc();
    if (!rules || !numRules) return RVK_RC_NULL_POINTER;
    *rules = nullptr;
    *numRules = 0;
    return RVK_RC_NOT_SUPPORTED;
}

extern "C" int16_t rvkDeleteAccess(uint32_t handle, uint32_t ruleNumber) {
    RVK_ENTRY(DeleteAccess);
    (void)ruleNumber;
    SessionRef s(handle);
    if (s.rc()) return s.rc();
    return RVK_RC_NOT_SUPPORTED;
}

extern "C" int16_t rvkGroupHandler(rvkGroupHandlerIn* in, rvkGroupHandlerOut* out) {
    RVK_ENTRY(GroupHandler);
    if (!in || !out) return RVK_RC_NULL_POINTER;
    if (in->stVersion != RVK_GROUPIN_VERSION || out->stVersion != RVK_GROUPOUT_VERSION)
        return RVK_RC_BAD_STVERSION;
    SessionRef s(in->handle);
    if (s.rc()) return s.rc();
    return RVK_RC_NOT_SUPPORTED;
}
