// Benchmark client of the library, used by bench_vltapi.sh; it works only
// through the public header and the program's query cursor, like the
// program.
//   vltapi_bench query OPTFILE NODE PASSWORD    iterate every active object
//   vltapi_bench delete OPTFILE NODE PASSWORD   query every active object, as the
//                                               program does before it deletes, then
//                                               delete the object ids read from
//                                               standard input (one per line) in
//                                               transactions of the server maximum;
//                                               says how long the deletion took
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include <string>
#include <vector>

#include "api/backupquery.h"
#include "rvkapi.h"

namespace {

int fail(const char* what, int16_t rc) {
    char msg[RVK_MSG_MAX];
    rvkRCMsg(0, rc, msg);
    fprintf(stderr, "vltapi_bench: %s: %d %s\n", what, rc, msg);
    return 1;
}

int logOn(const char* opt, const char* node, const char* pw, uint32_t* h) {
    rvkEnvSetUp env;
    memset(&env, 0, sizeof env);
    env.stVersion = RVK_ENVSETUP_VERSION;
    snprintf(env.optFile, sizeof env.optFile, "%s", opt);
    if (int16_t rc = rvkSetUp(RVK_MULTITHREAD, &env)) return fail("rvkSetUp", rc);
    rvkInitExIn in;
    memset(&in, 0, sizeof in);
    in.stVersion = RVK_INITEXIN_VERSION;
    in.nodeName = const_cast<char*>(node);
    in.password = const_cast<char*>(pw);
    in.appType = const_cast<char*>("bench");
    rvkInitExOut out;
    memset(&out, 0, sizeof out);
    out.stVersion = RVK_INITEXOUT_VERSION;
    if (int16_t rc = rvkInitEx(h, &in, &out)) return fail("rvkInitEx", rc);
    return 0;
}

int query(uint32_t h) {
    rvkObjName name = BackupQuery::objectName("*", "/*", "/*", RVK_OBJ_FILE);
    BackupQuery query(BackupQuery::library(), h);
    if (int rc = query.begin(&name, RVK_STATE_ACTIVE))
        return fail("rvkBeginQuery", static_cast<int16_t>(rc));
    unsigned long long n = 0, bytes = 0;
    while (query.next() == RVK_RC_MORE_DATA) {
        const rvkQryRespBackup& resp = query.object();
        ++n;
        bytes +=
            (static_cast<unsigned long long>(resp.sizeEstimate.hi) << 32) | resp.sizeEstimate.lo;
    }
    int rc = query.lastRc();
    if (rc != RVK_RC_FINISHED && rc != RVK_RC_NO_MATCH)
        return fail("rvkGetNextQObj", static_cast<int16_t>(rc));
    query.end();
    printf("queried %llu objects, %llu bytes\n", n, bytes);
    return 0;
}

double seconds() {
    timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) / 1e9;
}

int remove(uint32_t h) {
    if (int rc = query(h)) return rc;
    rvkSessInfo info;
    memset(&info, 0, sizeof info);
    info.stVersion = RVK_SESSINFO_VERSION;
    if (int16_t rc = rvkQuerySessInfo(h, &info)) return fail("rvkQuerySessInfo", rc);
    std::vector<unsigned long long> ids;
    char line[64];
    while (fgets(line, sizeof line, stdin)) ids.push_back(strtoull(line, nullptr, 10));
    size_t done = 0, txns = 0;
    double start = seconds();
    while (done < ids.size()) {
        if (int16_t rc = rvkBeginTxn(h)) return fail("rvkBeginTxn", rc);
        size_t end = done + info.maxObjPerTxn < ids.size() ? done + info.maxObjPerTxn : ids.size();
        for (; done < end; ++done) {
            rvkDelInfo d;
            d.stVersion = RVK_DELINFO_VERSION;
            d.objIdHi = static_cast<uint32_t>(ids[done] >> 32);
            d.objIdLo = static_cast<uint32_t>(ids[done]);
            if (int16_t rc = rvkDeleteObj(h, RVK_DEL_BACKUP_ID, d)) return fail("rvkDeleteObj", rc);
        }
        uint16_t reason = 0;
        if (int16_t rc = rvkEndTxn(h, RVK_VOTE_COMMIT, &reason))
            return fail("rvkEndTxn", rc ? rc : reason);
        ++txns;
    }
    printf("deleted %zu objects in %zu transactions of at most %u; the deletion took %.2f s\n",
           ids.size(), txns, info.maxObjPerTxn, seconds() - start);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5 || (strcmp(argv[1], "query") != 0 && strcmp(argv[1], "delete") != 0)) {
        fprintf(stderr, "usage: vltapi_bench query|delete OPTFILE NODE PASSWORD\n");
        return 2;
    }
    uint32_t h = 0;
    if (logOn(argv[2], argv[3], argv[4], &h)) return 1;
    int rc = strcmp(argv[1], "query") == 0 ? query(h) : remove(h);
    rvkTerminate(h);
    rvkCleanUp(RVK_MULTITHREAD);
    return rc;
}
