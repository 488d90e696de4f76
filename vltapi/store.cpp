// Server settings by name, and the choice of the storage implementation.
#include "vltapi/store.h"

#include <stdlib.h>

#include "rvkapi.h"
#include "vltapi/pg_conn.h"
#include "vltapi/pg_store.h"
#include "vltapi/util.h"

namespace vlt {

static bool parseInt(const std::string& v, long lo, long hi, long& out) {
    if (v.empty()) return false;
    char* end = nullptr;
    long n = strtol(v.c_str(), &end, 10);
    if (*end != '\0' || n < lo || n > hi) return false;
    out = n;
    return true;
}

std::string applySetting(ServerSettings& s, const std::string& keyIn, const std::string& v) {
    std::string key = upper(keyIn);
    long n = 0;
    auto text = [&](std::string& field, size_t max) -> std::string {
        if (v.empty() || v.size() > max)
            return key + " needs a text of 1 to " + std::to_string(max) + " characters";
        field = v;
        return "";
    };
    auto number = [&](int& field, long lo, long hi) -> std::string {
        if (!parseInt(v, lo, hi, n))
            return key + " needs a whole number from " + std::to_string(lo) + " to " +
                   std::to_string(hi);
        field = static_cast<int>(n);
        return "";
    };
    if (key == "MAXOBJPERTXN") {
        if (!parseInt(v, 1, 65000, n)) return "MAXOBJPERTXN needs a whole number from 1 to 65000";
        s.maxObjPerTxn = static_cast<uint32_t>(n);
        return "";
    }
    if (key == "MAXBYTESPERTXN") {
        if (!parseInt(v, 0, 2147483647L, n))
            return "MAXBYTESPERTXN needs a whole number from 0 to 2147483647";
        s.maxBytesPerTxn = static_cast<uint32_t>(n);
        return "";
    }
    if (key == "SERVERNAME") return text(s.serverName, RVK_SERVER_NAME_MAX);
    if (key == "SERVERHOST") return text(s.serverHost, RVK_HOST_NAME_MAX);
    if (key == "SERVERPORT") return number(s.serverPort, 0, 65535);
    if (key == "SERVERTYPE") return text(s.serverType, RVK_SERVER_TYPE_MAX);
    if (key == "SERVERVERSION") {
        int a, b, c, d;
        char extra;
        if (sscanf(v.c_str(), "%d.%d.%d.%d%c", &a, &b, &c, &d, &extra) != 4 || a < 0 || b < 0 ||
            c < 0 || d < 0 || a > 32767 || b > 32767 || c > 32767 || d > 32767)
            return "SERVERVERSION needs the form V.R.L.S";
        s.serverVer = a;
        s.serverRel = b;
        s.serverLev = c;
        s.serverSubLev = d;
        return "";
    }
    if (key == "DOMAIN") return text(s.domain, RVK_DOMAIN_NAME_MAX);
    if (key == "POLICYSET") return text(s.policySet, RVK_PS_NAME_MAX);
    if (key == "MGMTCLASS") return text(s.mgmtClass, RVK_MC_NAME_MAX);
    if (key == "BACKRETENTION") return number(s.backRetention, 0, 65535);
    if (key == "ARCHRETENTION") return number(s.archRetention, 0, 65535);
    if (key == "PASSEXP") return number(s.passExpDays, 0, 9999);
    if (key == "CREATED") {
        if (!parseInt(v, 0, 2147483647L, n) && v.size() != 14) return "CREATED needs a date value";
        s.created = strtoll(v.c_str(), nullptr, 10);
        return "";
    }
    return "unknown setting " + keyIn;
}

std::vector<std::pair<std::string, std::string>> settingsList(const ServerSettings& s) {
    char ver[64];
    snprintf(ver, sizeof ver, "%d.%d.%d.%d", s.serverVer, s.serverRel, s.serverLev, s.serverSubLev);
    return {
        {"SERVERNAME", s.serverName},
        {"SERVERHOST", s.serverHost},
        {"SERVERPORT", std::to_string(s.serverPort)},
        {"SERVERTYPE", s.serverType},
        {"SERVERVERSION", ver},
        {"MAXOBJPERTXN", std::to_string(s.maxObjPerTxn)},
        {"MAXBYTESPERTXN", std::to_string(s.maxBytesPerTxn)},
        {"DOMAIN", s.domain},
        {"POLICYSET", s.policySet},
        {"MGMTCLASS", s.mgmtClass},
        {"BACKRETENTION", std::to_string(s.backRetention)},
        {"ARCHRETENTION", std::to_string(s.archRetention)},
        {"PASSEXP", std::to_string(s.passExpDays)},
        {"CREATED", std::to_string(s.created)},
    };
}

Rc Store::deleteNodeObject(int64_t nodeId, uint64_t id, ObjectRecord& o, bool& found) {
    if (Rc rc = findObject(id, o, found)) return rc;
    if (!found || o.nodeId != nodeId) {
        found = false;
        return RVK_RC_OK;
    }
    return deleteObject(id, found);
}

bool isServerRepository(const std::string& repository) {
    return isPgRepository(repository);
}

Rc openStore(const std::string& repository, int busyTimeoutMs, std::unique_ptr<Store>& out,
             std::string& err) {
    if (isPgRepository(repository)) return openPgStore(repository, busyTimeoutMs, "", "", out, err);
    return openSqliteStore(repository, busyTimeoutMs, out, err);
}

Rc openNodeStore(const std::string& repository, int busyTimeoutMs, const std::string& node,
                 const std::string& password, std::unique_ptr<Store>& out, std::string& err) {
    if (isPgRepository(repository))
        return openPgStore(repository, busyTimeoutMs, node, password, out, err);
    return openSqliteStore(repository, busyTimeoutMs, out, err);
}

Rc createStore(const std::string& repository, const ServerSettings& initial, std::string& err) {
    if (isPgRepository(repository)) return createPgStore(repository, initial, err);
    return createSqliteStore(repository, initial, err);
}

}  // namespace vlt
