// vltadm: the administrator's tool for a VLT repository. It creates the
// repository, registers nodes and their passwords, changes server settings,
// loads and lists backup objects and shows the activity log. It works on
// the repository named by REPOSITORY in the client option file.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <iostream>
#include <string>
#include <vector>

#include "rvkapi.h"
#include "vltapi/options.h"
#include "vltapi/passwords.h"
#include "vltapi/store.h"
#include "vltapi/util.h"
#include "vltapi/vltadm.h"

#ifndef RVK_DEFAULT_API_DIR
#define RVK_DEFAULT_API_DIR "/opt/marlo/vlt/client/api/bin"
#endif
#ifndef VLTADM_VERSION
#define VLTADM_VERSION "unknown"
#endif

using namespace vlt;

namespace {

const char* const kUsage =
    "usage: vltadm [-c OPTION_FILE] COMMAND\n"
    "commands:\n"
    "  init                          create the repository named by REPOSITORY\n"
    "  show                          show the server settings\n"
    "  set KEY VALUE                 change a server setting (for example maxobjpertxn 256)\n"
    "  node add NODE                 register a node\n"
    "  node passwd NODE              set a node's password\n"
    "                                (the password is asked for twice on a terminal, else\n"
    "                                read from the first line of standard input)\n"
    "  node set NODE backdel|archdel yes|no\n"
    "                                allow or forbid the node to delete its objects\n"
    "  node expire NODE              make the node change its password at its next log-on\n"
    "  node list                     list the nodes\n"
    "  load NODE [OWNER]             load objects from standard input, one per line:\n"
    "                                file space, high-level name, low-level name,\n"
    "                                date \"YYYY-MM-DD HH:MM:SS\", size in bytes, tab-separated\n"
    "  list NODE                     list a node's objects: id, file space, high-level name,\n"
    "                                low-level name, date, size, state\n"
    "  count NODE                    count a node's objects\n"
    "  actlog                        show the activity log\n"
    "  copy FROM_OPTIONS TO_OPTIONS  copy the repository of one option file into a new one\n"
    "                                named by another (SQLite to PostgreSQL, for example)\n"
    "The option file is -c FILE, else $RVKI_CONFIG, else $RVKI_DIR/rvk.opt, "
    "else " RVK_DEFAULT_API_DIR "/rvk.opt.\n";

int usage(const std::string& problem) {
    if (!problem.empty()) fprintf(stderr, "vltadm: %s\n", problem.c_str());
    fputs(kUsage, stderr);
    return 2;
}

int fail(const std::string& text) {
    fprintf(stderr, "vltadm: %s\n", text.c_str());
    return 1;
}

std::string defaultOptionFile() {
    const char* cfg = getenv("RVKI_CONFIG");
    if (cfg && *cfg) return cfg;
    const char* dir = getenv("RVKI_DIR");
    std::string d = dir && *dir ? dir : RVK_DEFAULT_API_DIR;
    if (!d.empty() && d.back() == '/') d.pop_back();
    return d + "/rvk.opt";
}

bool validNodeName(const std::string& n) {
    if (n.empty() || n.size() > RVK_NODE_NAME_MAX) return false;
    for (unsigned char c : n)
        if (!(isalnum(c) || c == '.' || c == '-' || c == '_')) return false;
    return true;
}

struct Context {
    Options options;
    std::unique_ptr<Store> store;
};

int openRepository(Context& c) {
    if (c.options.repository.empty())
        return fail("option file " + c.options.optFile + " names no REPOSITORY");
    std::string err;
    if (openStore(c.options.repository, c.options.busyTimeoutMs, c.store, err)) {
        if (!isServerRepository(c.options.repository) &&
            access(c.options.repository.c_str(), F_OK) != 0)
            err += " (create it with: vltadm -c " + c.options.optFile + " init)";
        return fail(err);
    }
    std::string warning = c.store->accessWarning();
    if (!warning.empty()) fprintf(stderr, "vltadm: warning: %s\n", warning.c_str());
    return 0;
}

// The password of `node add` and `node passwd`; see readNewPassword.
int enterPassword(const std::string& node, std::string& pw) {
    std::string problem = readNewPassword(node, pw);
    if (!problem.empty()) return fail(problem + "; nothing was changed");
    if (!validPassword(pw)) return fail("a password needs 1 to 64 printable characters");
    return 0;
}

// The old forms with the password as an argument.
int refusePasswordArgument(const std::string& command, const std::string& node) {
    fprintf(stderr,
            "vltadm: a password is not taken on the command line, where ps and the shell "
            "history show it\n"
            "use: vltadm node %s %s\n"
            "     (asks for the password on a terminal; otherwise reads it from the first line of "
            "standard input, for example: printf '%%s\\n' \"$PW\" | vltadm node %s %s)\n",
            command.c_str(), node.c_str(), command.c_str(), node.c_str());
    return 2;
}

int findNode(Context& c, const std::string& nameIn, NodeRecord& n) {
    std::string name = upper(nameIn);
    bool found = false;
    if (c.store->findNode(name, n, found)) return fail(c.store->lastError());
    if (!found)
        return fail("node " + name + " is not registered in repository " + c.options.repository);
    return 0;
}

void logActivity(Store& s, const std::string& node, const std::string& text) {
    ActLogRecord a;
    a.date = nowDate();
    a.node = node;
    a.msgId = "ADMIN";
    a.text = text;
    s.appendActLog(a);
}

// Writes the node's password file when the library keeps passwords.
int storePasswordFile(Context& c, const std::string& node, const std::string& pw) {
    if (c.options.passwordAccess != RVK_PASSWD_GENERATE) return 0;
    std::string err;
    if (writeStoredPassword(passwordDirectory(c.options), node, pw, err)) return fail(err);
    return 0;
}

int cmdInit(Context& c) {
    if (c.options.repository.empty())
        return fail("option file " + c.options.optFile + " names no REPOSITORY");
    ServerSettings s;
    if (!c.options.serverName.empty()) s.serverName = c.options.serverName;
    std::string err;
    if (createStore(c.options.repository, s, err)) return fail(err);
    printf("vltadm: created repository %s\n", c.options.repository.c_str());
    return 0;
}

int cmdShow(Context& c) {
    if (int rc = openRepository(c)) return rc;
    ServerSettings s;
    if (c.store->readSettings(s)) return fail(c.store->lastError());
    for (auto& kv : settingsList(s)) printf("%s\t%s\n", kv.first.c_str(), kv.second.c_str());
    return 0;
}

int cmdSet(Context& c, const std::string& key, const std::string& value) {
    if (int rc = openRepository(c)) return rc;
    if (upper(key) == "CREATED") return fail("CREATED is kept by the repository itself");
    ServerSettings s;
    std::string bad = applySetting(s, key, value);
    if (!bad.empty()) return fail(bad);
    if (c.store->begin(true) || c.store->writeSetting(upper(key), value))
        return fail(c.store->lastError());
    logActivity(*c.store, "", "Setting " + upper(key) + " changed to " + value);
    if (c.store->commit()) return fail(c.store->lastError());
    return 0;
}

int cmdNodeAdd(Context& c, const std::string& nameIn) {
    std::string name = upper(nameIn);
    if (!validNodeName(name))
        return fail("node name '" + nameIn +
                    "' must have 1 to 63 letters, digits, '.', '-' or '_'");
    if (int rc = openRepository(c)) return rc;
    NodeRecord n;
    bool found = false;
    if (c.store->findNode(name, n, found)) return fail(c.store->lastError());
    if (found) return fail("node " + name + " is already registered");
    std::string pw;
    if (int rc = enterPassword(name, pw)) return rc;
    // Looked up again inside the transaction: another vltadm may have
    // registered it while the password was typed.
    if (c.store->begin(true)) return fail(c.store->lastError());
    if (c.store->findNode(name, n, found)) return fail(c.store->lastError());
    if (found) return fail("node " + name + " is already registered");
    n = NodeRecord();
    n.name = name;
    if (setNodePassword(n, pw)) return fail("the crypto library failed");
    if (c.store->insertNode(n)) return fail(c.store->lastError());
    if (c.store->setServerPassword(name, pw)) return fail(c.store->lastError());
    logActivity(*c.store, name, "Node registered");
    if (c.store->commit()) return fail(c.store->lastError());
    return storePasswordFile(c, name, pw);
}

int cmdNodePasswd(Context& c, const std::string& nameIn) {
    if (int rc = openRepository(c)) return rc;
    NodeRecord n;
    if (int rc = findNode(c, nameIn, n)) return rc;
    std::string pw;
    if (int rc = enterPassword(n.name, pw)) return rc;
    if (c.store->begin(true)) return fail(c.store->lastError());
    if (int rc = findNode(c, nameIn, n)) return rc;  // afresh, inside the transaction
    if (setNodePassword(n, pw)) return fail("the crypto library failed");
    if (c.store->updateNode(n)) return fail(c.store->lastError());
    if (c.store->setServerPassword(n.name, pw)) return fail(c.store->lastError());
    logActivity(*c.store, n.name, "Password set by the administrator");
    if (c.store->commit()) return fail(c.store->lastError());
    return storePasswordFile(c, n.name, pw);
}

int cmdNodeSet(Context& c, const std::string& nameIn, const std::string& what,
               const std::string& value) {
    std::string w = upper(what), v = upper(value);
    if ((w != "BACKDEL" && w != "ARCHDEL") || (v != "YES" && v != "NO"))
        return usage("node set NODE backdel|archdel yes|no");
    if (int rc = openRepository(c)) return rc;
    if (c.store->begin(true)) return fail(c.store->lastError());
    NodeRecord n;
    if (int rc = findNode(c, nameIn, n)) return rc;
    (w == "BACKDEL" ? n.backDel : n.archDel) = v == "YES";
    if (c.store->updateNode(n)) return fail(c.store->lastError());
    logActivity(*c.store, n.name, w + " set to " + v);
    if (c.store->commit()) return fail(c.store->lastError());
    return 0;
}

int cmdNodeExpire(Context& c, const std::string& nameIn) {
    if (int rc = openRepository(c)) return rc;
    if (c.store->begin(true)) return fail(c.store->lastError());
    NodeRecord n;
    if (int rc = findNode(c, nameIn, n)) return rc;
    n.pwSetTime = 0;  // "never set": expired whatever PASSEXP says
    if (c.store->updateNode(n)) return fail(c.store->lastError());
    logActivity(*c.store, n.name, "Password expired by the administrator");
    if (c.store->commit()) return fail(c.store->lastError());
    return 0;
}

int cmdNodeList(Context& c) {
    if (int rc = openRepository(c)) return rc;
    std::vector<NodeRecord> nodes;
    if (c.store->listNodes(nodes)) return fail(c.store->lastError());
    for (auto& n : nodes)
        printf("%s\tbackdel=%s\tarchdel=%s\tpassword set %s\n", n.name.c_str(),
               n.backDel ? "yes" : "no", n.archDel ? "yes" : "no",
               n.pwSetTime ? formatDate(dateFromTime(n.pwSetTime)).c_str() : "never (expired)");
    return 0;
}

int cmdLoad(Context& c, const std::string& nameIn, const std::string& owner) {
    if (owner.size() > RVK_OWNER_NAME_MAX)
        return fail("the owner name is longer than 65 characters");
    if (int rc = openRepository(c)) return rc;
    NodeRecord n;
    if (int rc = findNode(c, nameIn, n)) return rc;
    ServerSettings s;
    if (c.store->readSettings(s)) return fail(c.store->lastError());
    std::ios::sync_with_stdio(false);
    std::string err;
    uint64_t loaded = 0;
    if (loadObjects(*c.store, n, owner, s.mgmtClass, std::cin, isatty(2) != 0, err, loaded))
        return fail(err);
    if (isatty(1))
        printf("vltadm: %llu objects loaded for node %s\n", (unsigned long long)loaded,
               n.name.c_str());
    return 0;
}

int cmdList(Context& c, const std::string& nameIn) {
    if (int rc = openRepository(c)) return rc;
    NodeRecord n;
    if (int rc = findNode(c, nameIn, n)) return rc;
    std::ios::sync_with_stdio(false);
    std::string err;
    if (listObjects(*c.store, n, std::cout, err)) return fail(err);
    std::cout.flush();
    return std::cout ? 0 : fail("cannot write the listing");
}

int cmdCount(Context& c, const std::string& nameIn) {
    if (int rc = openRepository(c)) return rc;
    NodeRecord n;
    if (int rc = findNode(c, nameIn, n)) return rc;
    uint64_t count = 0;
    if (c.store->countObjects(n.id, count)) return fail(c.store->lastError());
    printf("%llu\n", (unsigned long long)count);
    return 0;
}

int cmdActlog(Context& c) {
    if (int rc = openRepository(c)) return rc;
    Rc rc = c.store->listActLog([](const ActLogRecord& a) {
        printf("%s\t%s\t%s\t%s\n", formatDate(a.date).c_str(), a.node.c_str(), a.msgId.c_str(),
               a.text.c_str());
    });
    return rc ? fail(c.store->lastError()) : 0;
}

int cmdCopy(const std::string& fromFile, const std::string& toFile) {
    Options from, to;
    std::string err;
    if (readOptionFile(fromFile, from, err) || readOptionFile(toFile, to, err)) return fail(err);
    if (from.repository.empty() || to.repository.empty())
        return fail("both option files must name a REPOSITORY");
    if (copyRepository(from, to, err)) return fail(err);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    std::string optFile;
    if (!args.empty() && (args[0] == "-h" || args[0] == "--help")) {
        fputs(kUsage, stdout);
        return 0;
    }
    if (!args.empty() && args[0] == "--version") {
        fputs("vltadm " VLTADM_VERSION "\n", stdout);
        return 0;
    }
    if (!args.empty() && args[0] == "-c") {
        if (args.size() < 2) return usage("-c needs an option file");
        optFile = args[1];
        args.erase(args.begin(), args.begin() + 2);
    }
    if (args.empty()) return usage("no command given");
    // A copy names both option files itself.
    if (args[0] == "copy" && args.size() == 3) return cmdCopy(args[1], args[2]);
    if (optFile.empty()) optFile = defaultOptionFile();
    Context c;
    std::string err;
    if (readOptionFile(optFile, c.options, err)) return fail(err);

    const std::string& cmd = args[0];
    size_t n = args.size();
    if (cmd == "init" && n == 1) return cmdInit(c);
    if (cmd == "show" && n == 1) return cmdShow(c);
    if (cmd == "set" && n == 3) return cmdSet(c, args[1], args[2]);
    if (cmd == "node" && n >= 2) {
        if ((args[1] == "add" || args[1] == "passwd") && n == 4)
            return refusePasswordArgument(args[1], args[2]);
        if (args[1] == "add" && n == 3) return cmdNodeAdd(c, args[2]);
        if (args[1] == "passwd" && n == 3) return cmdNodePasswd(c, args[2]);
        if (args[1] == "set" && n == 5) return cmdNodeSet(c, args[2], args[3], args[4]);
        if (args[1] == "expire" && n == 3) return cmdNodeExpire(c, args[2]);
        if (args[1] == "list" && n == 2) return cmdNodeList(c);
        return usage("unknown or incomplete node command");
    }
    if (cmd == "load" && (n == 2 || n == 3)) return cmdLoad(c, args[1], n == 3 ? args[2] : "");
    if (cmd == "list" && n == 2) return cmdList(c, args[1]);
    if (cmd == "count" && n == 2) return cmdCount(c, args[1]);
    if (cmd == "actlog" && n == 1) return cmdActlog(c);
    return usage("unknown command or wrong number of arguments: " + cmd);
}
