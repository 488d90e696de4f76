// Object groups on the server: a group leader object and its members. Each
// operation runs in a transaction of its own and votes ABORT as soon as one
// of its steps fails. The synchronisation run does not use them.
#include <string.h>

#include "api/backupquery.h"
#include "api/drvkapi.h"
#include "common/ut/trace.h"

namespace {

// Open leaders of one name that a single groupAdd cleans up at most.
const int kMaxLeftovers = 64;

unsigned long hiOf(const rvkU64& v) {
    return v.hi;
}
unsigned long loOf(const rvkU64& v) {
    return v.lo;
}

// The operation's own name inside fnNameP ("DRvkApi::groupX()", with three
// colons for groupAssign): what follows the last colon, up to "(".
struct OpName {
    const char* text;
    int length;
};
OpName opNameOf(const char* fnNameP) {
    const char* textP = strrchr(fnNameP, ':') + 1;
    return {textP, static_cast<int>(strcspn(textP, "("))};
}

// Begins the transaction of the group operation fnNameP; a refusal is traced
// together with the operation's exit.
int beginGroupTxn(DRvkApi* apiP, ApiStatusObj* statusP, uint32_t handle, const char* fnNameP) {
    int rc = apiP->drvkBeginTxn(statusP, handle);
    if (rc != 0) {
        OpName op = opNameOf(fnNameP);
        TRACE(TR_API, "rvkBeginTxn for %.*s failed with %d\n", op.length, op.text, rc);
        TRACE(TR_API, "Exit %s, rc = %d\n", fnNameP, rc);
    }
    return rc;
}

// Ends the transaction of the group operation fnNameP with `vote`; returns
// rc, or when that is 0 the failure of the end (its reason code if it has
// one).
int endGroupTxn(DRvkApi* apiP, ApiStatusObj* statusP, uint32_t handle, const char* fnNameP,
                uint8_t vote, int rc) {
    uint16_t reason = 0;
    int endRc = apiP->drvkEndTxnEx(statusP, handle, vote, &reason, nullptr);
    if (endRc != 0 || reason != 0) {
        OpName op = opNameOf(fnNameP);
        TRACE(TR_API, "rvkEndTxnEx for %.*s failed with %d, reason %d\n", op.length, op.text, endRc,
              reason);
        if (rc == 0) rc = endRc == RVK_RC_CHECK_REASON_CODE ? reason : endRc;
    } else {
        TRACE(TR_API, "rvkEndTxn successful\n");
    }
    return rc;
}

// The records of one group handler call.
void fillGroupRecords(rvkGroupHandlerIn* inP, rvkGroupHandlerOut* outP, uint8_t action,
                      uint32_t handle, uint8_t groupType, rvkU64 leaderId, rvkObjName* leaderNameP,
                      uint32_t numMembers, rvkU64* memberIdsP) {
    memset(inP, 0, sizeof *inP);
    memset(outP, 0, sizeof *outP);
    inP->stVersion = RVK_GROUPIN_VERSION;
    inP->handle = handle;
    inP->groupType = groupType;
    inP->actionType = action;
    inP->leaderObjId = leaderId;
    inP->objName = leaderNameP;
    inP->numMembers = numMembers;
    inP->memberObjIds = memberIdsP;
    outP->stVersion = RVK_GROUPOUT_VERSION;
}

// Leaders of the name still open from an earlier run, at most
// kMaxLeftovers of them, into `ids`; returns how many.
int findOpenLeaders(DRvkApi* apiP, ApiStatusObj* statusP, uint32_t handle, rvkObjName* leaderNameP,
                    rvkU64 ids[kMaxLeftovers]) {
    int found = 0;
    BackupQuery query(BackupQuery::wrapped(apiP, statusP), handle);
    if (query.begin(leaderNameP, RVK_STATE_ACTIVE) != 0) return 0;
    while (query.next() == RVK_RC_MORE_DATA) {
        const rvkQryRespBackup& resp = query.object();
        TRACE(TR_API, "Found open group leader %s%s%s ID %lu %lu\n", resp.objName.fs,
              resp.objName.hl, resp.objName.ll, hiOf(resp.objId), loOf(resp.objId));
        if (found < kMaxLeftovers) ids[found++] = resp.objId;
    }
    query.end();
    return found;
}

// Stores the new leader object inside the open transaction; the vote that
// the transaction's end is to cast goes to *voteP.
int sendLeader(DRvkApi* apiP, ApiStatusObj* statusP, uint32_t handle, uint8_t groupType,
               rvkObjName* leaderNameP, uint8_t* voteP) {
    *voteP = RVK_VOTE_ABORT;
    rvkGroupHandlerIn in;
    rvkGroupHandlerOut out;
    fillGroupRecords(&in, &out, RVK_GROUP_OPEN, handle, groupType, rvkU64{0, 0}, leaderNameP, 0,
                     nullptr);
    int rc = apiP->drvkGroupHandler(statusP, &in, &out);
    if (rc != 0) {
        TRACE(TR_API, "GroupHandler Open returned %d, Voting ABORT\n", rc);
        return rc;
    }
    rvkMcBindKey mcKey;
    memset(&mcKey, 0, sizeof mcKey);
    mcKey.stVersion = RVK_MCBINDKEY_VERSION;
    rvkObjAttr attr;
    memset(&attr, 0, sizeof attr);
    attr.stVersion = RVK_OBJATTR_VERSION;
    if ((rc = apiP->drvkBindMC(statusP, handle, leaderNameP, RVK_SEND_BACKUP, &mcKey)) != 0) {
        TRACE(TR_API, "GroupHandler bindMC returned %d, Voting ABORT\n", rc);
    } else if ((rc = apiP->drvkSendObj(statusP, handle, RVK_SEND_BACKUP, nullptr, leaderNameP,
                                       &attr, nullptr)) != 0) {
        TRACE(TR_API, "GroupHandler sendObj returned %d, Voting ABORT\n", rc);
    } else if ((rc = apiP->drvkEndSendObj(statusP, handle)) != 0) {
        TRACE(TR_API, "GroupHandler endSendObj returned %d, Voting ABORT\n", rc);
    } else {
        *voteP = RVK_VOTE_COMMIT;
    }
    return rc;
}

}  // namespace

int DRvkApi::groupAction(ApiStatusObj* statusP, const char* fnNameP, const char* actionNameP,
                         uint8_t action, uint32_t handle, uint8_t groupType, rvkU64 leaderId,
                         rvkObjName* leaderNameP, uint32_t numMembers, rvkU64* memberIdsP) {
    TRACE(TR_API, "Enter %s\n", fnNameP);
    int rc = beginGroupTxn(this, statusP, handle, fnNameP);
    if (rc != 0) return rc;
    rvkGroupHandlerIn in;
    rvkGroupHandlerOut out;
    fillGroupRecords(&in, &out, action, handle, groupType, leaderId, leaderNameP, numMembers,
                     memberIdsP);
    uint8_t vote = RVK_VOTE_COMMIT;
    rc = drvkGroupHandler(statusP, &in, &out);
    if (rc != 0) {
        TRACE(TR_API, "GroupHandler %s returned %d, Voting ABORT\n", actionNameP, rc);
        vote = RVK_VOTE_ABORT;
    }
    rc = endGroupTxn(this, statusP, handle, fnNameP, vote, rc);
    TRACE(TR_API, "Exit %s, rc = %d\n", fnNameP, rc);
    return rc;
}

int DRvkApi::groupAssign(ApiStatusObj* statusP, uint32_t handle, uint8_t groupType, rvkU64 leaderId,
                         uint32_t numMembers, rvkU64* memberIdsP) {
    return groupAction(statusP, "DRvkApi:::groupAssign()", "Assign", RVK_GROUP_ASSIGN, handle,
                       groupType, leaderId, nullptr, numMembers, memberIdsP);
}

int DRvkApi::groupRemove(ApiStatusObj* statusP, uint32_t handle, uint8_t groupType, rvkU64 leaderId,
                         uint32_t numMembers, rvkU64* memberIdsP) {
    return groupAction(statusP, "DRvkApi::groupRemove()", "Remove", RVK_GROUP_REMOVE, handle,
                       groupType, leaderId, nullptr, numMembers, memberIdsP);
}

int DRvkApi::groupClose(ApiStatusObj* statusP, uint32_t handle, uint8_t groupType, rvkU64 leaderId,
                        rvkObjName* leaderNameP) {
    return groupAction(statusP, "DRvkApi::groupClose()", "Close", RVK_GROUP_CLOSE, handle,
                       groupType, leaderId, leaderNameP, 0, nullptr);
}

int DRvkApi::groupDelete(ApiStatusObj* statusP, uint32_t handle, rvkU64 leaderId) {
    static const char* const fn = "DRvkApi::groupDelete()";
    TRACE(TR_API, "Enter %s\n", fn);
    int rc = beginGroupTxn(this, statusP, handle, fn);
    if (rc != 0) return rc;
    rvkDelInfo delInfo = {RVK_DELINFO_VERSION, leaderId.hi, leaderId.lo};
    uint8_t vote = RVK_VOTE_COMMIT;
    rc = drvkDeleteObj(statusP, handle, RVK_DEL_BACKUP_ID, delInfo);
    if (rc != 0) {
        TRACE(TR_API, "rvkDeleteObj for  group ID %lu %lu failed with %d\n", hiOf(leaderId),
              loOf(leaderId), rc);
        vote = RVK_VOTE_ABORT;
    }
    rc = endGroupTxn(this, statusP, handle, fn, vote, rc);
    TRACE(TR_API, "Exit %s, rc = %d\n", fn, rc);
    return rc;
}

int DRvkApi::groupAdd(ApiStatusObj* statusP, uint32_t handle, uint8_t groupType,
                      rvkObjName* leaderNameP, rvkU64* leaderIdP) {
    static const char* const fn = "DRvkApi::groupAdd()";
    TRACE(TR_API, "Enter %s\n", fn);
    if (leaderIdP) memset(leaderIdP, 0, sizeof *leaderIdP);

    // Leaders of this name still open from an earlier run are removed first.
    rvkU64 leftovers[kMaxLeftovers];
    int found = findOpenLeaders(this, statusP, handle, leaderNameP, leftovers);
    for (int i = 0; i < found; ++i) {
        TRACE(TR_API, "Deleting open group leader %s%s%s\n", leaderNameP->fs, leaderNameP->hl,
              leaderNameP->ll);
        if (groupDelete(statusP, handle, leftovers[i]) == 0) {
            TRACE(TR_API, "Successfully deleted group ID %lu %lu\n", hiOf(leftovers[i]),
                  loOf(leftovers[i]));
        }
    }

    int rc = beginGroupTxn(this, statusP, handle, fn);
    if (rc != 0) return rc;
    uint8_t vote = RVK_VOTE_ABORT;
    rc = sendLeader(this, statusP, handle, groupType, leaderNameP, &vote);
    uint16_t reason = 0;
    int endRc = drvkEndTxnEx(statusP, handle, vote, &reason, leaderIdP);
    if (endRc != 0 || reason != 0) {
        TRACE(TR_API, "rvkEndTxn for groupOpen failed with %d, reason %d\n", endRc, reason);
        if (rc == 0) rc = endRc == RVK_RC_CHECK_REASON_CODE ? reason : endRc;
    } else {
        TRACE(TR_API, "rvkEndTxn successful\n");
    }
    TRACE(TR_API, "Exit %s, rc = %d\n", fn, rc);
    return rc;
}
