#include <stdio.h>
#include <stdlib.h>

#include <istream>
#include <map>
#include <ostream>

#include "rvkapi.h"
#include "vltapi/util.h"
#include "vltapi/vltadm.h"
#include "vltapi/wildcard.h"

namespace vlt {
namespace {

// Splits at tabs.
void splitTabs(const std::string& line, std::vector<std::string>& out) {
    out.clear();
    size_t start = 0;
    for (;;) {
        size_t tab = line.find('\t', start);
        if (tab == std::string::npos) {
            out.push_back(line.substr(start));
            return;
        }
        out.push_back(line.substr(start, tab - start));
        start = tab + 1;
    }
}

// Checks one line's fields; "" when good.
std::string checkLine(const std::vector<std::string>& f, int64_t& date, uint64_t& size) {
    if (f.size() != 5)
        return "expected 5 tab-separated fields (file space, high-level name, low-level name, "
               "date, size), found " +
               std::to_string(f.size());
    if (f[0].empty()) return "the file space name is empty";
    if (f[0].size() > RVK_FS_NAME_MAX) return "the file space name is longer than 1024 characters";
    if (f[1].size() > RVK_HL_NAME_MAX) return "the high-level name is longer than 1024 characters";
    if (f[2].empty()) return "the low-level name is empty";
    if (f[2].size() > RVK_LL_NAME_MAX) return "the low-level name is longer than 256 characters";
    for (int i = 0; i < 3; ++i)
        if (hasWildcard(f[i])) return "names must not contain the wildcard characters * or ?";
    date = parseDateText(f[3]);
    if (date == 0)
        return "the insertion date '" + f[3] +
               "' is not a valid date of the form YYYY-MM-DD HH:MM:SS";
    if (f[4].empty() || f[4].size() > 19 ||
        f[4].find_first_not_of("0123456789") != std::string::npos ||
        (f[4].size() == 19 && f[4] > "9223372036854775807"))
        return "the size '" + f[4] +
               "' is not a whole number of bytes from 0 to 9223372036854775807";
    size = strtoull(f[4].c_str(), nullptr, 10);
    return "";
}

using FsIds = std::map<std::string, int64_t>;

// The node's file spaces, by name.
bool readFsIds(Store& store, int64_t nodeId, FsIds& fsIds) {
    std::vector<FsRecord> existing;
    if (store.listFileSpaces(nodeId, existing)) return false;
    for (auto& f : existing) fsIds[f.name] = f.id;
    return true;
}

// Inserts the object of one line's fields into `o`'s node, registering
// its file space when it is new. The reason it failed, or "".
std::string loadLine(Store& store, const std::vector<std::string>& fields, const std::string& at,
                     FsIds& fsIds, ObjectRecord& o) {
    int64_t date = 0;
    uint64_t size = 0;
    std::string bad = checkLine(fields, date, size);
    if (!bad.empty()) return at + bad;
    auto it = fsIds.find(fields[0]);
    if (it == fsIds.end()) {
        FsRecord fs;
        fs.nodeId = o.nodeId;
        fs.name = fields[0];
        fs.regDate = nowDate();
        if (store.insertFileSpace(fs)) return store.lastError();
        it = fsIds.emplace(fs.name, fs.id).first;
    }
    o.fsId = it->second;
    o.hl = fields[1];
    o.ll = fields[2];
    o.insDate = date;
    o.size = size;
    if (store.insertObject(o)) return at + store.lastError();
    return "";
}

}  // namespace

int loadObjects(Store& store, const NodeRecord& node, const std::string& owner,
                const std::string& mgmtClass, std::istream& in, bool progress, std::string& err,
                uint64_t& loaded) {
    loaded = 0;
    FsIds fsIds;
    if (!readFsIds(store, node.id, fsIds)) {
        err = store.lastError();
        return 1;
    }
    store.prepareBulkLoad();
    if (store.begin(true)) {
        err = store.lastError();
        return 1;
    }
    ObjectRecord o;
    o.nodeId = node.id;
    o.type = RVK_OBJ_FILE;
    o.owner = owner;
    o.mc = mgmtClass;
    auto fail = [&](const std::string& text) {
        store.rollback();
        if (progress) fputc('\n', stderr);
        err = text + "; nothing was loaded";
        loaded = 0;
        return 1;
    };
    std::string line;
    std::vector<std::string> fields;
    for (uint64_t lineNo = 1; std::getline(in, line); ++lineNo) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.empty()) continue;
        splitTabs(line, fields);
        std::string bad =
            loadLine(store, fields, "line " + std::to_string(lineNo) + ": ", fsIds, o);
        if (!bad.empty()) return fail(bad);
        ++loaded;
        if (progress && loaded % 65536 == 0)
            fprintf(stderr, "\rvltadm: %llu objects loaded", (unsigned long long)loaded);
    }
    if (in.bad()) return fail("error reading standard input");
    if (store.commit()) {
        err = store.lastError() + "; nothing was loaded";
        loaded = 0;
        return 1;
    }
    if (progress && loaded >= 65536)
        fprintf(stderr, "\rvltadm: %llu objects loaded\n", (unsigned long long)loaded);
    return 0;
}

int listObjects(Store& store, const NodeRecord& node, std::ostream& out, std::string& err) {
    std::vector<FsRecord> fileSpaces;
    if (store.listFileSpaces(node.id, fileSpaces)) {
        err = store.lastError();
        return 1;
    }
    std::map<int64_t, std::string> names;
    for (auto& f : fileSpaces) names[f.id] = f.name;
    // One read transaction: the listing is one consistent picture.
    if (store.begin(false)) {
        err = store.lastError();
        return 1;
    }
    ObjectQuery q;
    q.nodeId = node.id;
    std::unique_ptr<ObjectCursor> cursor;
    if (store.openObjects(q, cursor)) {
        err = store.lastError();
        store.rollback();
        return 1;
    }
    ObjectRecord o;
    bool have = false;
    std::string line;
    Rc rc;
    while ((rc = cursor->next(o, have)) == RVK_RC_OK && have) {
        line = std::to_string(o.id);
        line += '\t';
        line += names[o.fsId];
        line += '\t';
        line += o.hl;
        line += '\t';
        line += o.ll;
        line += '\t';
        line += formatDate(o.insDate);
        line += '\t';
        line += std::to_string(o.size);
        line += '\t';
        line += o.state == RVK_STATE_ACTIVE ? "active" : "inactive";
        line += '\n';
        out << line;
    }
    std::string why = rc ? store.lastError() : "";
    cursor.reset();
    store.rollback();
    if (rc) {
        err = why;
        return 1;
    }
    if (!out) {
        err = "cannot write the listing";
        return 1;
    }
    return 0;
}

}  // namespace vlt
