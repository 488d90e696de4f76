// The wrapper's calls for a backup query; see backupquery.h.
#include "api/backupquery.h"

#include "api/drvkapi.h"

BackupQuery::Calls BackupQuery::wrapped(DRvkApi* apiP, ApiStatusObj* statusP) {
    return {[apiP, statusP](uint32_t handle, uint8_t queryType, void* queryDataP) {
                return apiP->drvkBeginQuery(statusP, handle, queryType, queryDataP);
            },
            [apiP, statusP](uint32_t handle, rvkDataBlk* blockP) {
                return apiP->drvkGetNextQObj(statusP, handle, blockP);
            },
            [apiP, statusP](uint32_t handle) { return apiP->drvkEndQuery(statusP, handle); }};
}
