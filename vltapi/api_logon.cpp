// Session entry points: log-on, log-off, password change, session
// information and options.
#include <string.h>
#include <time.h>

#include <mutex>
#include <set>

#include "vltapi/api_internal.h"
#include "vltapi/passwords.h"

using namespace vlt;

namespace {

constexpr size_t kOptionStringMax = 4096;

// Writes the store's warning about who else may read the repository to the
// error log, once per process and repository.
void warnAboutAccess(const Store& store) {
    std::string warning = store.accessWarning();
    if (warning.empty()) return;
    static std::mutex mu;
    static std::set<std::string> warned;
    std::lock_guard<std::mutex> lk(mu);
    if (warned.insert(warning).second) clientLog("warning: " + warning);
}

bool given(const char* s) {
    return s && *s;
}

// Lengths, and the user-name fields that this server does not take.
Rc checkInput(const rvkInitExIn& in) {
    if (!fits(in.nodeName, RVK_NODE_NAME_MAX) || !fits(in.ownerName, RVK_OWNER_NAME_MAX) ||
        !fits(in.password, RVK_PASSWORD_MAX) || !fits(in.appType, RVK_APP_TYPE_MAX) ||
        !fits(in.optFile, RVK_PATH_LEN - 1) || !fits(in.options, kOptionStringMax))
        return RVK_RC_STRING_TOO_LONG;
    if (given(in.userName) || given(in.userPassword)) return RVK_RC_INVALID_ARGUMENT;
    return RVK_RC_OK;
}

// The caller's option file (or the set-up's) with the caller's options.
Rc logOnOptions(const rvkInitExIn& in, const Environment& env, Options& o) {
    std::string optPath = given(in.optFile) ? in.optFile : env.optFile;
    if (Rc rc = loadOptions(optPath, in.options, o)) return rc;
    if (!o.asNode.empty()) {
        clientLog("log-on: -ASNODE (acting for another node) is not supported");
        return RVK_RC_NOT_SUPPORTED;
    }
    if (o.repository.empty()) {
        clientLog("log-on: option file " + optPath + " names no REPOSITORY");
        return RVK_RC_NO_REPOSITORY;
    }
    return RVK_RC_OK;
}

// The caller's password, or with GENERATE the one kept for the node.
Rc logOnPassword(const rvkInitExIn& in, const Options& o, const std::string& nodeName,
                 std::string& password) {
    if (given(in.password)) {
        password = in.password;
        return RVK_RC_OK;
    }
    if (o.passwordAccess != RVK_PASSWD_GENERATE) return RVK_RC_NO_PASSWORD;
    std::string err;
    Rc rc = readStoredPassword(passwordDirectory(o), nodeName, password, err);
    if (rc) clientLog("log-on of node " + nodeName + ": " + err);
    return rc;
}

// Opens the node's store and checks the node's password there.
Rc authenticate(Session& s, const Options& o, const std::string& nodeName,
                const std::string& password) {
    std::string err;
    // A database server that checks passwords itself is reached with the
    // node's own credentials; it refuses a wrong password here.
    if (Rc rc = openNodeStore(o.repository, o.busyTimeoutMs, nodeName, password, s.store, err)) {
        clientLog("log-on of node " + nodeName + ": " + err);
        return rc;
    }
    if (Rc rc = s.store->readSettings(s.settings))
        return storeFailure(s, rc, "log-on: read settings");
    warnAboutAccess(*s.store);
    bool found = false, ok = false, stale = false;
    if (Rc rc = s.store->findNode(nodeName, s.node, found))
        return storeFailure(s, rc, "log-on: find node");
    if (found) {
        if (Rc rc = checkNodePassword(s.node, password, ok, stale)) return rc;
    }
    if (!ok) {
        clientLog("log-on refused for node " + nodeName + ": unknown node or wrong password");
        return RVK_RC_AUTH_FAILURE;
    }
    // A hash of an older kind or cost is made anew now that the password is
    // known to be right; if that fails the log-on goes on with the old one.
    if (stale && upgradeNodePassword(*s.store, s.node, password, err))
        clientLog("log-on of node " + nodeName + ": password hash not renewed: " + err);
    // A set time of 0 is a password the administrator expired.
    s.passwordExpired =
        s.node.pwSetTime == 0 ||
        (s.settings.passExpDays > 0 && static_cast<int64_t>(time(nullptr)) - s.node.pwSetTime >
                                           static_cast<int64_t>(s.settings.passExpDays) * 86400);
    return RVK_RC_OK;
}

void fillInitOut(const ServerSettings& st, rvkInitExOut* out) {
    out->userNameAuthorities = RVK_AUTH_NODE;
    out->infoRC = 0;
    copyTruncated(out->serverName, st.serverName);
    out->serverVer = static_cast<uint16_t>(st.serverVer);
    out->serverRel = static_cast<uint16_t>(st.serverRel);
    out->serverLev = static_cast<uint16_t>(st.serverLev);
    out->serverSubLev = static_cast<uint16_t>(st.serverSubLev);
}

Rc logOn(uint32_t* handle, const rvkInitExIn& in, rvkInitExOut* out) {
    *handle = 0;
    Environment env = environment();
    if (!env.setUp) return RVK_RC_NOT_SET_UP;
    if (Rc rc = checkInput(in)) return rc;
    Options o;
    if (Rc rc = logOnOptions(in, env, o)) return rc;
    std::string nodeName = upper(given(in.nodeName) ? in.nodeName : o.nodeName);
    if (nodeName.empty()) return RVK_RC_NO_NODE_NAME;
    std::string password;
    if (Rc rc = logOnPassword(in, o, nodeName, password)) return rc;

    auto s = std::make_shared<Session>();
    if (Rc rc = authenticate(*s, o, nodeName, password)) return rc;
    s->options = o;
    s->options.nodeName = nodeName;
    s->apiDir = env.apiDir;
    s->owner = str(in.ownerName);
    s->appType = str(in.appType);
    uint32_t h = 0;
    if (Rc rc = addSession(s, h)) return rc;
    *handle = h;
    if (out) fillInitOut(s->settings, out);
    return s->passwordExpired ? RVK_RC_PASSWD_EXPIRED : RVK_RC_OK;
}

}  // namespace

extern "C" int16_t rvkInitEx(uint32_t* handle, rvkInitExIn* in, rvkInitExOut* out) {
    RVK_ENTRY(InitEx);
    if (!handle || !in || !out) return RVK_RC_NULL_POINTER;
    *handle = 0;
    if (in->stVersion != RVK_INITEXIN_VERSION || out->stVersion != RVK_INITEXOUT_VERSION)
        return RVK_RC_BAD_STVERSION;
    if (in->apiVersionEx && in->apiVersionEx->stVersion != RVK_APIVERSIONEX_VERSION)
        return RVK_RC_BAD_STVERSION;
    return logOn(handle, *in, out);
}

extern "C" int16_t rvkInit(uint32_t* handle, rvkApiVersion* clientVersion, char* nodeName,
                           char* ownerName, char* password, char* appType, char* optFile,
                           char* options) {
    RVK_ENTRY(Init);
    if (!handle) return RVK_RC_NULL_POINTER;
    *handle = 0;
    if (clientVersion && clientVersion->stVersion != RVK_APIVERSION_VERSION)
        return RVK_RC_BAD_STVERSION;
    rvkInitExIn in = {RVK_INITEXIN_VERSION,
                      nullptr,
                      nodeName,
                      ownerName,
                      password,
                      nullptr,
                      nullptr,
                      appType,
                      optFile,
                      options};
    return logOn(handle, in, nullptr);
}

extern "C" int16_t rvkTerminate(uint32_t handle) {
    RVK_ENTRY(Terminate);
    auto s = removeSession(handle);
    if (!s) return RVK_RC_INVALID_HANDLE;
    std::lock_guard<std::mutex> lk(s->mu);
    s->reset();
    s->store.reset();
    s->closed = true;
    return RVK_RC_OK;
}

extern "C" int16_t rvkChangePW(uint32_t handle, char* oldPW, char* newPW) {
    RVK_ENTRY(ChangePW);
    SessionRef s(handle, true);
    if (s.rc()) return s.rc();
    if (!oldPW || !newPW) return RVK_RC_NULL_POINTER;
    if (!fits(oldPW, RVK_PASSWORD_MAX) || !fits(newPW, RVK_PASSWORD_MAX))
        return RVK_RC_STRING_TOO_LONG;
    if (s->state != State::Idle) return RVK_RC_WRONG_STATE;
    std::string oldPassword(oldPW), newPassword(newPW);
    if (!validPassword(newPassword) || newPassword == oldPassword) return RVK_RC_PASSWORD_INVALID;
    Store& store = *s->store;
    if (Rc rc = store.begin(true)) return storeFailure(*s, rc, "change password: begin");
    NodeRecord node;
    bool found = false, ok = false;
    Rc rc = store.findNode(s->node.name, node, found);
    bool stale = false;  // the new password gets a new hash anyway
    if (rc == RVK_RC_OK && found) rc = checkNodePassword(node, oldPassword, ok, stale);
    if (rc == RVK_RC_OK && !ok) rc = RVK_RC_AUTH_FAILURE;
    if (rc == RVK_RC_OK) rc = setNodePassword(node, newPassword);
    if (rc == RVK_RC_OK) rc = store.updateNode(node);
    if (rc == RVK_RC_OK) rc = store.setServerPassword(node.name, newPassword);
    if (rc == RVK_RC_OK) {
        rc = logPasswordEvent(store, node.name, "Password changed by the node");
    }
    // With GENERATE the kept password changes with it: the file first, so
    // that a failure there leaves the repository unchanged; it is put back
    // if the repository then fails.
    bool fileWritten = false;
    std::string err;
    if (rc == RVK_RC_OK && s->options.passwordAccess == RVK_PASSWD_GENERATE) {
        rc = writeStoredPassword(passwordDirectory(s->options), node.name, newPassword, err);
        if (rc) clientLog("change password: " + err);
        fileWritten = rc == RVK_RC_OK;
    }
    if (rc == RVK_RC_OK) {
        rc = store.commit();
        if (rc) storeFailure(*s, rc, "change password: commit");
    }
    if (rc) {
        store.rollback();
        if (fileWritten)
            writeStoredPassword(passwordDirectory(s->options), node.name, oldPassword, err);
        return rc;
    }
    s->node = node;
    s->passwordExpired = false;
    return RVK_RC_OK;
}

namespace {

// The answer of a session query: the session (also one whose password has
// expired) and the caller's record are checked, `fill` writes a zeroed
// record of that version, and the caller gets it only when `fill` succeeded.
template <typename Record, typename Fill>
Rc answerSessionQuery(uint32_t handle, Record* out, uint16_t version, Fill fill) {
    SessionRef s(handle, true);
    if (s.rc()) return s.rc();
    if (Rc rc = checkRecord(out, version)) return rc;
    auto r = rvkRecord<Record>(version);
    if (Rc rc = fill(*s, r)) return rc;
    *out = r;
    return RVK_RC_OK;
}

Rc fillSessInfo(Session& s, rvkSessInfo& r) {
    // Outside a transaction the settings are read afresh, so that a change
    // by the administrator shows at once.
    if (s.state == State::Idle) {
        if (Rc rc = s.store->readSettings(s.settings))
            return storeFailure(s, rc, "session information");
    }
    const ServerSettings& st = s.settings;
    copyTruncated(r.serverHost, st.serverHost);
    r.serverPort = static_cast<uint16_t>(st.serverPort);
    dateToRvk(nowDate(), &r.serverDate);
    copyTruncated(r.serverType, st.serverType);
    r.serverVer = static_cast<int16_t>(st.serverVer);
    r.serverRel = static_cast<int16_t>(st.serverRel);
    r.serverLev = static_cast<int16_t>(st.serverLev);
    r.serverSubLev = static_cast<int16_t>(st.serverSubLev);
    copyTruncated(r.nodeType, s.appType);
    r.fsDelim = '/';
    r.hlDelim = '/';
    r.compression = s.options.compression ? 1 : 0;
    r.archDel = s.node.archDel ? 1 : 0;
    r.backDel = s.node.backDel ? 1 : 0;
    r.maxBytesPerTxn = st.maxBytesPerTxn;
    r.maxObjPerTxn = st.maxObjPerTxn;
    copyTruncated(r.id, s.node.name);
    copyTruncated(r.owner, s.owner);
    copyTruncated(r.confFile, s.options.optFile);
    r.opNoTrace = 1;
    copyTruncated(r.domainName, st.domain);
    copyTruncated(r.policySetName, st.policySet);
    dateToRvk(st.created, &r.polActDate);
    copyTruncated(r.dfltMCName, st.mgmtClass);
    r.backRetention = static_cast<uint16_t>(st.backRetention);
    r.archRetention = static_cast<uint16_t>(st.archRetention);
    copyTruncated(r.serverName, st.serverName);
    return RVK_RC_OK;
}

Rc fillSessOptions(Session& s, rvkSessOptions& r) {
    const Options& o = s.options;
    copyTruncated(r.apiDir, s.apiDir);
    copyTruncated(r.optFile, o.optFile);
    copyTruncated(r.serverName, o.serverName.empty() ? s.settings.serverName : o.serverName);
    r.commMethod = 0;
    copyTruncated(r.serverAddress, o.repository);
    copyTruncated(r.nodeName, s.node.name);
    r.compression = o.compression ? 1 : 0;
    r.compressAlways = 1;
    r.passwordAccess = static_cast<uint8_t>(o.passwordAccess);
    return RVK_RC_OK;
}

}  // namespace

extern "C" int16_t rvkQuerySessInfo(uint32_t handle, rvkSessInfo* info) {
    RVK_ENTRY(QuerySessInfo);
    return answerSessionQuery(handle, info, RVK_SESSINFO_VERSION, fillSessInfo);
}

extern "C" int16_t rvkQuerySessOptions(uint32_t handle, rvkSessOptions* options) {
    RVK_ENTRY(QuerySessOptions);
    return answerSessionQuery(handle, options, RVK_SESSOPTIONS_VERSION, fillSessOptions);
}
