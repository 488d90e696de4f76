// vltadm copy: moves a repository into a new one, for example from the
// embedded SQLite file to a PostgreSQL database, with every node, password
// hash, file space, object (ids and states as they are), object data and
// activity-log row, in one transaction, and checks the counts afterwards.
#include <stdio.h>

#include <map>

#include "rvkapi.h"
#include "vltapi/pg_secret.h"
#include "vltapi/vltadm.h"

namespace vlt {
namespace {

struct Copier {
    Store& from;
    Store& to;
    std::string err;
    uint64_t fileSpaces = 0, objects = 0, logRows = 0;
    std::vector<std::string> resetNeeded;

    bool failed(Rc rc, Store& s) {
        if (rc) err = s.lastError();
        return rc != 0;
    }

    // A node whose hash the target's server cannot take over keeps its
    // hash but gets no server password: the administrator sets a new one.
    bool node(NodeRecord n, int64_t& newId) {
        int64_t oldId = n.id;
        if (failed(to.insertNode(n), to)) return false;
        newId = n.id;
        std::string secret;
        if (to.checksPasswords()) {
            if (scramSecretFromHash(n, secret)) {
                if (failed(to.setServerSecret(n.name, secret), to)) return false;
            } else {
                resetNeeded.push_back(n.name);
            }
        }
        return fileSpacesOf(oldId, newId);
    }

    bool fileSpacesOf(int64_t oldNode, int64_t newNode) {
        std::vector<FsRecord> list;
        if (failed(from.listFileSpaces(oldNode, list), from)) return false;
        std::map<int64_t, int64_t> fsIds;
        for (FsRecord fs : list) {
            int64_t oldId = fs.id;
            fs.nodeId = newNode;
            if (failed(to.insertFileSpace(fs), to)) return false;
            fsIds[oldId] = fs.id;
            ++fileSpaces;
        }
        return objectsOf(oldNode, newNode, fsIds);
    }

    bool objectsOf(int64_t oldNode, int64_t newNode, const std::map<int64_t, int64_t>& fsIds) {
        ObjectQuery q;
        q.nodeId = oldNode;
        std::unique_ptr<ObjectCursor> cur;
        if (failed(from.openObjects(q, cur), from)) return false;
        ObjectRecord o;
        bool have = false;
        while (true) {
            if (failed(cur->next(o, have), from)) return false;
            if (!have) break;
            auto fs = fsIds.find(o.fsId);
            if (fs == fsIds.end()) {
                err = "object " + std::to_string(o.id) + " belongs to no file space of its node";
                return false;
            }
            o.nodeId = newNode;
            o.fsId = fs->second;
            if (failed(to.insertObjectAsIs(o), to)) return false;
            if (o.hasData && !data(o.id)) return false;
            ++objects;
        }
        return true;
    }

    bool data(uint64_t id) {
        std::string chunk;
        bool found = true;
        for (uint32_t seq = 0; found; ++seq) {
            if (failed(from.readData(id, seq, chunk, found), from)) return false;
            if (found && failed(to.appendData(id, seq, chunk.data(), chunk.size()), to))
                return false;
        }
        return true;
    }

    bool actlog() {
        Rc rc = RVK_RC_OK;
        Rc src = from.listActLog([&](const ActLogRecord& a) {
            if (rc == RVK_RC_OK) rc = to.appendActLog(a);
            ++logRows;
        });
        return !failed(src, from) && !failed(rc, to);
    }
};

// Node, object and log counts of a repository, to compare after the copy.
std::string census(Store& s, std::string& err) {
    std::vector<NodeRecord> nodes;
    if (s.listNodes(nodes)) {
        err = s.lastError();
        return "";
    }
    std::string out = std::to_string(nodes.size()) + " nodes";
    for (auto& n : nodes) {
        uint64_t count = 0;
        if (s.countObjects(n.id, count)) {
            err = s.lastError();
            return "";
        }
        out += ", " + n.name + " " + std::to_string(count);
    }
    uint64_t rows = 0;
    if (s.listActLog([&](const ActLogRecord&) { ++rows; })) {
        err = s.lastError();
        return "";
    }
    return out + ", " + std::to_string(rows) + " log rows";
}

}  // namespace

int copyRepository(const Options& fromOpt, const Options& toOpt, std::string& err) {
    std::unique_ptr<Store> from, to;
    if (openStore(fromOpt.repository, fromOpt.busyTimeoutMs, from, err)) return 1;
    ServerSettings settings;
    if (from->readSettings(settings)) {
        err = from->lastError();
        return 1;
    }
    if (createStore(toOpt.repository, settings, err)) return 1;
    if (openStore(toOpt.repository, toOpt.busyTimeoutMs, to, err)) return 1;
    std::vector<NodeRecord> nodes;
    if (from->begin(false) || from->listNodes(nodes) || to->begin(true)) {
        err = from->lastError() + " " + to->lastError();
        return 1;
    }
    to->prepareBulkLoad();
    Copier c{*from, *to, "", 0, 0, 0, {}};
    for (const NodeRecord& n : nodes) {
        int64_t newId = 0;
        if (!c.node(n, newId)) break;
    }
    if (c.err.empty()) c.actlog();
    if (c.err.empty() && to->commit()) c.err = to->lastError();
    from->rollback();
    if (!c.err.empty()) {
        to->rollback();
        err = "copy failed, " + toOpt.repository + " holds no nodes or objects: " + c.err;
        return 1;
    }
    std::string before = census(*from, err), after = census(*to, err);
    if (before.empty() || after.empty()) return 1;
    if (before != after) {
        err = "the copy does not match: " + fromOpt.repository + " has " + before + ", " +
              toOpt.repository + " has " + after;
        return 1;
    }
    printf(
        "vltadm: copied %zu nodes, %llu file spaces, %llu objects and %llu activity log rows "
        "to %s\n",
        nodes.size(), (unsigned long long)c.fileSpaces, (unsigned long long)c.objects,
        (unsigned long long)c.logRows, toOpt.repository.c_str());
    for (const std::string& n : c.resetNeeded)
        printf(
            "vltadm: node %s keeps its objects, but its password cannot be carried over: set "
            "it with: vltadm -c %s node passwd %s\n",
            n.c_str(), toOpt.optFile.c_str(), n.c_str());
    return 0;
}

}  // namespace vlt
