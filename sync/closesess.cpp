#include "sync/closesess.h"

#include "api/drvkapi.h"
#include "common/nls/nls.h"
#include "common/ut/trace.h"

void closeSess(AgentContext* context) {
    static const char kName[] = "closeSess()";
    TRACE(TR_ORCLEVEL1, " %s: Enter\n", kName);
    nlFreeRepository();
    if (context && context->apiCleanUpDue == 1 && gRvkApiObjP) {
        gRvkApiObjP->drvkCleanUp(RvkApiStatusObjP, RVK_MULTITHREAD);
    }
    TRACE(TR_ORCLEVEL1, " %s: Exit - OK\n", kName);
}
