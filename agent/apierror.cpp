#include "agent/apierror.h"

#include <stdio.h>
#include <string.h>

#include "agent/agentctx.h"
#include "api/drvkapi.h"

int zeboBuildErrorText(uint32_t handle, int withCode, int rc, char* buffer) {
    char message[RVK_MSG_MAX + 1] = "";
    int lookup = -1;
    if (gRvkApiObjP) {
        lookup =
            gRvkApiObjP->drvkRCMsg(RvkApiStatusObjP, handle, static_cast<int16_t>(rc), message);
        message[RVK_MSG_MAX] = '\0';
    }
    size_t n = strlen(message);
    while (n > 0 && (message[n - 1] == '\n' || message[n - 1] == ' ')) message[--n] = '\0';
    if (message[0] == '\0') {
        snprintf(buffer, ZEBO_ERROR_TEXT_SIZE, "VLT API error, rc = %d", rc);
    } else if (withCode == 1) {
        snprintf(buffer, ZEBO_ERROR_TEXT_SIZE, "%.1000s (rc = %d)", message, rc);
    } else {
        snprintf(buffer, ZEBO_ERROR_TEXT_SIZE, "%s", message);
    }
    return lookup;
}
