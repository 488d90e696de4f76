#include "vltapi/session.h"

#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include <map>

#include "rvkapi.h"
#include "vltapi/util.h"

namespace vlt {
namespace {

constexpr size_t kMaxSessions = 1024;

std::mutex gEnvMutex;
Environment gEnv;

std::mutex gTableMutex;
std::map<uint32_t, std::shared_ptr<Session>> gSessions;
uint32_t gNextHandle = 1;

}  // namespace

Environment environment() {
    std::lock_guard<std::mutex> lk(gEnvMutex);
    return gEnv;
}

void setEnvironment(const Environment& env) {
    std::lock_guard<std::mutex> lk(gEnvMutex);
    gEnv = env;
}

void clearEnvironment() {
    std::lock_guard<std::mutex> lk(gEnvMutex);
    gEnv = Environment();
}

void clientLog(const std::string& text) {
    Environment env = environment();
    if (!env.setUp || env.logDir.empty()) return;
    std::string path = env.logDir + "/" + env.logName;
    // Never through a symlink planted at the log's name.
    int fd = open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0644);
    if (fd < 0) return;
    std::string line =
        formatDate(nowDate()) + " libApiQZ[" + std::to_string(getpid()) + "]: " + text + "\n";
    // One write per line: appends of several processes do not interleave.
    if (write(fd, line.data(), line.size()) < 0) {
        // Nothing to do: the log is best effort.
    }
    close(fd);
}

void Session::endTransaction() {
    if (store && store->inTransaction()) store->rollback();
    send = SendState();
    txnOps = 0;
    txnBytes = 0;
    txnFailure = 0;
    state = State::Idle;
    std::vector<ActLogRecord> events;
    events.swap(pendingEvents);
    for (auto& e : events) {
        if (store && store->appendActLog(e) != RVK_RC_OK)
            clientLog("activity log: " + store->lastError());
    }
}

void Session::reset() {
    query = QueryState();
    get = GetState();
    endTransaction();
}

Rc addSession(const std::shared_ptr<Session>& s, uint32_t& handle) {
    std::lock_guard<std::mutex> lk(gTableMutex);
    if (gSessions.size() >= kMaxSessions) return RVK_RC_TOO_MANY_SESSIONS;
    // Handles are not reused while the process lives (0 is never a handle).
    handle = gNextHandle++;
    if (gNextHandle == 0) gNextHandle = 1;
    s->handle = handle;
    gSessions[handle] = s;
    return RVK_RC_OK;
}

std::shared_ptr<Session> removeSession(uint32_t handle) {
    std::lock_guard<std::mutex> lk(gTableMutex);
    auto it = gSessions.find(handle);
    if (it == gSessions.end()) return nullptr;
    auto s = it->second;
    gSessions.erase(it);
    return s;
}

std::vector<std::shared_ptr<Session>> removeAllSessions() {
    std::lock_guard<std::mutex> lk(gTableMutex);
    std::vector<std::shared_ptr<Session>> all;
    all.reserve(gSessions.size());
    for (auto& kv : gSessions) all.push_back(kv.second);
    gSessions.clear();
    return all;
}

SessionRef::SessionRef(uint32_t handle, bool allowExpired) {
    {
        std::lock_guard<std::mutex> lk(gTableMutex);
        auto it = gSessions.find(handle);
        if (it != gSessions.end()) s_ = it->second;
    }
    if (!s_) {
        rc_ = RVK_RC_INVALID_HANDLE;
        return;
    }
    lock_ = std::unique_lock<std::mutex>(s_->mu);
    if (s_->closed)
        rc_ = RVK_RC_INVALID_HANDLE;
    else if (s_->passwordExpired && !allowExpired)
        rc_ = RVK_RC_PASSWD_EXPIRED;
}

Rc SessionRef::rcIn(State state) const {
    if (rc_) return rc_;
    return s_->state == state ? RVK_RC_OK : RVK_RC_WRONG_STATE;
}

Rc storeFailure(Session& s, Rc rc, const char* what) {
    clientLog(std::string(what) + ": node " + s.node.name + ": " +
              (s.store ? s.store->lastError() : "") + " (rc " + std::to_string(rc) + ")");
    return rc;
}

}  // namespace vlt
