// Return-code texts and the two message entry points.
#include "vltapi/messages.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "rvkapi.h"
#include "vltapi/faults.h"
#include "vltapi/util.h"

namespace vlt {
namespace {

struct Text {
    int16_t rc;
    char severity;  // I, W or E
    const char* text;
};

const Text kTexts[] = {
    {RVK_RC_OK, 'I', "The call completed successfully."},
    {RVK_RC_NO_MATCH, 'I', "No object matched the query."},
    {RVK_RC_PASSWD_EXPIRED, 'E',
     "The node's password has expired. Change it (rvkChangePW, or vltadm node passwd) before any "
     "other work."},
    {RVK_RC_NO_MEMORY, 'E', "The library ran out of memory."},
    {RVK_RC_NULL_POINTER, 'E', "A required pointer argument is NULL."},
    {RVK_RC_BAD_STVERSION, 'E',
     "A record's structure version (stVersion) is not the one this library expects."},
    {RVK_RC_INVALID_ARGUMENT, 'E', "An argument has a value that is not allowed for this call."},
    {RVK_RC_STRING_TOO_LONG, 'E', "A name or other string is longer than its field allows."},
    {RVK_RC_INVALID_HANDLE, 'E', "The session handle does not belong to an open session."},
    {RVK_RC_NOT_SET_UP, 'E', "The API environment is not set up: call rvkSetUp first."},
    {RVK_RC_WRONG_STATE, 'E',
     "The call is not allowed now: a query, transaction, object send or object read is open, or "
     "none is."},
    {RVK_RC_OPTFILE_UNREADABLE, 'E',
     "The option file cannot be read. Check RVKI_CONFIG, RVKI_DIR or the option file named at "
     "set-up."},
    {RVK_RC_OPTION_INVALID, 'E',
     "The options hold an unknown keyword or a value that is not allowed; the client error log "
     "names the line."},
    {RVK_RC_NO_REPOSITORY, 'E', "The option file names no REPOSITORY."},
    {RVK_RC_NO_NODE_NAME, 'E',
     "No node name was given at log-on and the options have no NODENAME."},
    {RVK_RC_NO_PASSWORD, 'E', "No password was given at log-on and PASSWORDACCESS is PROMPT."},
    {RVK_RC_FINISHED, 'I', "The query has no more objects."},
    {RVK_RC_PASSWORD_INVALID, 'E',
     "The new password is not valid: it needs 1 to 64 printable characters and must differ from "
     "the old one."},
    {RVK_RC_TXN_LIMIT, 'E',
     "The transaction already holds the server's maximum number of objects per transaction."},
    {RVK_RC_OBJ_NOT_FOUND, 'E', "The object id does not name an object of this node."},
    {RVK_RC_DELETE_NOT_ALLOWED, 'E', "This node is not allowed to delete backup objects."},
    {RVK_RC_NOT_SUPPORTED, 'E', "This function is not supported by this server."},
    {RVK_RC_FS_NOT_REGISTERED, 'E', "The file space is not registered for this node."},
    {RVK_RC_REPOSITORY_ERROR, 'E',
     "The server's repository reported an error; the client error log has the details."},
    {RVK_RC_REPOSITORY_VERSION, 'E', "The repository is not a repository of this server version."},
    {RVK_RC_SERVER_BUSY, 'E',
     "The repository stayed locked by another session longer than the busy time-out."},
    {RVK_RC_BUFFER_TOO_SMALL, 'E', "The caller's buffer is too small for the record."},
    {RVK_RC_WILDCARD_NOT_ALLOWED, 'E',
     "A wildcard character (* or ?) is not allowed in this name."},
    {RVK_RC_NAME_EXISTS, 'E', "An active object of that name exists already."},
    {RVK_RC_CRYPTO_FAILURE, 'E',
     "The crypto library reported a failure, or the installation key vltapi.key of the API "
     "directory is missing and cannot be made, or is unusable."},
    {RVK_RC_PASSWORD_STORE_ERROR, 'E',
     "The stored password file cannot be used: it is unreadable, not a regular file, or not "
     "private to its owner."},
    {RVK_RC_TOO_MANY_SESSIONS, 'E', "Too many sessions are open in this process."},
    {RVK_RC_AUTH_FAILURE, 'E',
     "Authentication failed: the node name or the password is not valid."},
    {RVK_RC_UNKNOWN_RC, 'E', "The return code is not one of this library's codes."},
    {RVK_RC_NO_STORED_PASSWORD, 'E',
     "No password is stored for the node: with PASSWORDACCESS GENERATE store one with "
     "vltadm node passwd; an agent that logs on with its own node name keeps it in its "
     "password file (zebopasswd)."},
    {RVK_RC_FS_ALREADY_REGISTERED, 'W', "The file space is already registered."},
    {RVK_RC_MORE_DATA, 'I', "More data is available."},
    {RVK_RC_CHECK_REASON_CODE, 'W',
     "The transaction was not committed; the reason code tells why."},
    {RVK_RC_COMM_FAILURE, 'E', "No connection to the server: the repository cannot be opened."},
};

std::string format(const Text& t) {
    char id[16];
    snprintf(id, sizeof id, "RVK%04d%c ", abs(t.rc), t.severity);
    return id + std::string(t.text);
}

}  // namespace

std::string rcText(int16_t rc, bool& known) {
    for (const Text& t : kTexts) {
        if (t.rc == rc) {
            known = true;
            return format(t);
        }
    }
    known = false;
    char buf[96];
    snprintf(buf, sizeof buf, "RVK%04dE Return code %d is not one of this library's codes.",
             RVK_RC_UNKNOWN_RC, rc);
    return buf;
}

}  // namespace vlt

extern "C" int16_t rvkRCMsg(uint32_t handle, int16_t rc, char* msg) {
    RVK_ENTRY(RCMsg);
    (void)handle;  // texts do not depend on the session
    if (!msg) return RVK_RC_NULL_POINTER;
    bool known = false;
    vlt::copyTruncated(msg, RVK_MSG_MAX, vlt::rcText(rc, known));
    return known ? RVK_RC_OK : RVK_RC_UNKNOWN_RC;
}

extern "C" int16_t rvkRCMsgEx(int16_t rc, rvkMsgBuffer* msg) {
    RVK_ENTRY(RCMsgEx);
    if (!msg || !msg->buffer) return RVK_RC_NULL_POINTER;
    if (msg->stVersion != RVK_MSGBUFFER_VERSION) return RVK_RC_BAD_STVERSION;
    if (msg->bufferSize == 0) return RVK_RC_BUFFER_TOO_SMALL;
    bool known = false;
    std::string text = vlt::rcText(rc, known);
    vlt::copyTruncated(msg->buffer, msg->bufferSize, text);
    msg->msgLength = static_cast<uint32_t>(text.size());
    return known ? RVK_RC_OK : RVK_RC_UNKNOWN_RC;
}
