// Texts for the library's return codes, and the server's activity log.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "api/drvkapi.h"
#include "common/ut/trace.h"

namespace {

// Room for any text the library returns, with plenty to spare.
const int kMsgBufSize = 4916;
// LogApiError's first attempt: the prefix and the text share this much.
const int kLogRoom = 4861;

}  // namespace

int DRvkApi::AgtRvkRCMsg(ApiStatusObj* statusP, uint32_t handle, int rc, char* bufferP, int size,
                         int* lengthP) {
    TRACE(TR_API, "Enter %s\n", "DRvkApi::AgtRvkRCMsg()");
    char msg[kMsgBufSize];
    msg[0] = '\0';
    int msgRc = drvkRCMsg(statusP, handle, static_cast<int16_t>(rc), msg);
    if (size > 0) bufferP[0] = '\0';
    *lengthP = 0;
    if (msgRc == 0) {
        msg[kMsgBufSize - 1] = '\0';
        int full = static_cast<int>(strlen(msg));
        if (size > 0) snprintf(bufferP, static_cast<size_t>(size), "%s", msg);
        // The full length, not the copied one: the caller can tell that its
        // buffer was too small.
        *lengthP = full;
    }
    TRACE(TR_API, "Exit %s rc = %d\n", "DRvkApi::AgtRvkRCMsg()", msgRc);
    return msgRc;
}

int DRvkApi::GetApiError(ApiStatusObj* statusP, uint32_t handle, int rc, char* bufferP, int size,
                         int* lengthP) {
    TRACE(TR_API, "Enter %s\n", "DRvkApi::GetApiError()");
    if (rc == 0) {
        if (size > 0) bufferP[0] = '\0';
        *lengthP = 0;
        TRACE(TR_API, "Exit %s AgtRvkRCMsg rc = %d\n", "DRvkApi::GetApiError()", 0);
        return 0;
    }
    int msgRc = AgtRvkRCMsg(statusP, handle, rc, bufferP, size, lengthP);
    if (msgRc != 0 || *lengthP == 0) {
        int n = snprintf(bufferP, static_cast<size_t>(size > 0 ? size : 0),
                         "no text returned for KORU Api error %d", rc);
        *lengthP = n;
    }
    size_t used = size > 0 ? strlen(bufferP) : 0;
    if (static_cast<int>(used) + 1 < size) {
        bufferP[used] = '\n';
        bufferP[used + 1] = '\0';
    }
    *lengthP += 1;
    // Every error looked up here is recorded at the server as well.
    if (size > 0) writeKoruServerLog(statusP, handle, RVK_SEV_INFO, bufferP, "MSG");
    TRACE(TR_API, "Exit %s AgtRvkRCMsg rc = %d\n", "DRvkApi::GetApiError()", msgRc);
    return msgRc;
}

void DRvkApi::LogApiError(ApiStatusObj* statusP, uint32_t handle, int rc,
                          const char* functionNameP) {
    TRACE(TR_API, "Enter %s\n", "DRvkApi::LogApiError()");
    if (rc != 0) {
        char text[kMsgBufSize];
        // A function name is short; cutting a runaway one keeps room for the text.
        char fnName[256];
        snprintf(fnName, sizeof fnName, "%s", functionNameP ? functionNameP : "");
        int prefix = snprintf(text, sizeof text, "error %d returned from %s: ", rc, fnName);
        int room = kLogRoom - prefix;
        int length = 0;
        GetApiError(statusP, handle, rc, text + prefix, room, &length);

        char* heapP = nullptr;
        const char* finalP = text;
        if (length > static_cast<int>(strlen(text + prefix))) {
            TRACE(TR_API, "message was truncated, trying again\n");
            heapP = static_cast<char*>(
                malloc(static_cast<size_t>(prefix) + static_cast<size_t>(length) + 2));
            if (heapP) {
                memcpy(heapP, text, static_cast<size_t>(prefix));
                GetApiError(statusP, handle, rc, heapP + prefix, length + 2, &length);
                finalP = heapP;
            }
        }
        if (apiActivityLogSink) apiActivityLogSink(finalP);
        TRACE(TR_API, "%s", finalP);
        free(heapP);
    }
    TRACE(TR_API, "Exit %s\n", "DRvkApi::LogApiError()");
}

void DRvkApi::writeKoruServerLog(ApiStatusObj* statusP, uint32_t handle, uint32_t severity,
                                 char* textP, const char* appMsgIdP) {
    TRACE(TR_API, "Enter %s\n", "DRvkApi::writeKoruServerLog()");
    auto in = rvkRecord<rvkLogEventIn>(RVK_LOGEVENTIN_VERSION);
    auto out = rvkRecord<rvkLogEventOut>(RVK_LOGEVENTOUT_VERSION);
    in.severity = severity;
    snprintf(in.appMsgId, sizeof in.appMsgId, "%s", appMsgIdP ? appMsgIdP : "");
    in.logType = RVK_LOG_SERVER;
    in.message = textP;
    int rc = drvkLogEventEx(statusP, handle, &in, &out);
    TRACE(TR_API, "Exit %s, rvkLogEventEx rc = %d\n", "DRvkApi::writeKoruServerLog()", rc);
}
