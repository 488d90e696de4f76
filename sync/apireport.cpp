// Reporting failed server calls; see apireport.h.
#include "sync/apireport.h"

#include <string.h>

#include "agent/errorlog.h"
#include "api/drvkapi.h"
#include "catalogs/zebo_names.h"
#include "common/nls/nls.h"

void utApiText(uint32_t handle, int rc, char* text) {
    text[0] = '\0';
    gRvkApiObjP->drvkRCMsg(RvkApiStatusObjP, handle, static_cast<int16_t>(rc), text);
    text[RVK_MSG_MAX - 1] = '\0';
}

void utReportApiError(uint32_t handle, int rc, bool show) {
    char text[RVK_MSG_MAX];
    utApiText(handle, rc, text);
    zeboErrorMsg(text);
    if (show) {
        nlMsgFramed(MSG_LINE, text);
    }
}

void utReportText(const char* text) {
    zeboErrorMsg(text);
    nlMsgFramed(MSG_LINE, text);
}
