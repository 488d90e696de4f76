// sqlplus: the SQL*Plus simulator that the tests and the demo put on PATH in
// place of the real program, plus the modes that prepare its catalogs.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <string>
#include <vector>

#include "tools/sqlplus/readyspool.h"
#include "tools/sqlplus/simcatalog.h"
#include "tools/sqlplus/simsession.h"

namespace {

const char kUsage[] =
    "SQL*Plus simulator for zebosync tests and demo (a stand-in, not the real SQL*Plus).\n"
    "It runs the scripts that zebosync writes against simulated recovery catalogs:\n"
    "SQLite files in the folder named by the environment variable SQLPLUS_SIM_DIR.\n"
    "\n"
    "Usage:\n"
    "  sqlplus [-L] [-S] [user/password@connect] [@script]\n"
    "      Without a logon argument the script's first line is the logon.\n"
    "      -L  one logon attempt: a failed logon exits with status 1\n"
    "      -S  no banner, prompts or goodbye\n"
    "  sqlplus --sim-create CONNECT USER PASSWORD\n"
    "      Creates the catalog CONNECT if needed and adds (or replaces) a user.\n"
    "  sqlplus --sim-guest CONNECT USER PASSWORD\n"
    "      Adds a user who can log on but does not own the catalog: its query of\n"
    "      rc_backup_piece fails with ORA-00942, and SQL*Plus still ends with 0.\n"
    "  sqlplus --sim-load CONNECT\n"
    "      Adds the backup pieces read from standard input, one per line,\n"
    "      \"handle<TAB>YYYY-MM-DD HH:MM:SS\", in one transaction.\n"
    "  sqlplus --sim-help\n"
    "      This text.\n"
    "\n"
    "SQLPLUS_SIM_DELAY=N makes the simulator wait N seconds after its logon, as a\n"
    "slow catalog would (tests interrupt a run meanwhile).\n"
    "\n"
    "SQLPLUS_SIM_READY_SPOOL=FILE (benchmarks): a run keeps a copy of its spool in\n"
    "FILE; once FILE exists, a run puts it in place of the spool after its logon\n"
    "and runs nothing else.\n"
    "\n"
    "A catalog's file is $SQLPLUS_SIM_DIR/<connect>.db, the connect string in lower\n"
    "case with characters other than letters, digits, '.', '_' and '-' turned into\n"
    "'_'; an empty connect string names the catalog \"default\".\n"
    "\n"
    "Script commands: spool FILE [append|replace|create], spool off; set termout,\n"
    "linesize, pagesize, heading, feedback, recsep, recsepchar, sqlterminator,\n"
    "trimout, trimspool (other set options are accepted and ignored); prompt;\n"
    "remark; quit or exit [status]. SQL: select from rc_backup_piece (columns\n"
    "handle and completion_time) with where conditions joined by and, and order\n"
    "by; alter session set NLS_DATE_FORMAT='...'; commit; rollback.\n";

bool readScript(const std::string& path, std::vector<std::string>* lines) {
    std::ifstream in(path);
    size_t slash = path.rfind('/');
    if (!in && path.find('.', slash == std::string::npos ? 0 : slash + 1) == std::string::npos)
        in.open(path + ".sql");
    if (!in) return false;
    std::string line;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        lines->push_back(line);
    }
    return true;
}

bool readLine(std::string* text) {
    char buf[4096];
    if (!fgets(buf, sizeof buf, stdin)) return false;
    *text = buf;
    while (!text->empty() && (text->back() == '\n' || text->back() == '\r')) text->pop_back();
    return true;
}

int createCatalog(const char* connect, const char* user, const char* password, bool owner) {
    std::string folder = sqlsim::catalogFolder();
    if (folder.empty()) {
        fprintf(stderr, "sqlplus --sim-create: SQLPLUS_SIM_DIR is not set\n");
        return 1;
    }
    mkdir(folder.c_str(), 0755);
    std::string path = sqlsim::catalogPath(folder, connect);
    sqlsim::Catalog catalog;
    std::string error;
    if (!catalog.create(path, &error) || !catalog.addUser(user, password, &error, owner)) {
        fprintf(stderr, "sqlplus --sim-create: %s\n", error.c_str());
        return 1;
    }
    printf("Catalog %s: user %s can log on.\n", path.c_str(), user);
    return 0;
}

int loadCatalog(const char* connect) {
    std::string folder = sqlsim::catalogFolder();
    std::string path = sqlsim::catalogPath(folder, connect);
    struct stat st;
    if (folder.empty() || stat(path.c_str(), &st) != 0) {
        fprintf(stderr, "sqlplus --sim-load: no catalog %s; make it with --sim-create\n",
                path.c_str());
        return 1;
    }
    sqlsim::Catalog catalog;
    std::string error;
    long stored = catalog.create(path, &error) ? catalog.load(stdin, &error) : -1;
    if (stored < 0) {
        fprintf(stderr, "sqlplus --sim-load: %s; nothing loaded\n", error.c_str());
        return 1;
    }
    printf("%ld backup pieces loaded into %s.\n", stored, path.c_str());
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        fputs(kUsage, stdout);
        return 1;
    }
    std::string mode = argv[1];
    if (mode == "--sim-help") {
        fputs(kUsage, stdout);
        return 0;
    }
    if (mode == "--sim-create" || mode == "--sim-guest" || mode == "--sim-load") {
        if (mode != "--sim-load" && argc == 5)
            return createCatalog(argv[2], argv[3], argv[4], mode == "--sim-create");
        if (mode == "--sim-load" && argc == 3) return loadCatalog(argv[2]);
        fputs(kUsage, stderr);
        return 1;
    }

    bool silent = false, oneAttempt = false, haveLogon = false;
    std::string logon, script;
    for (int i = 1; i < argc && script.empty(); ++i) {
        std::string arg = argv[i];
        if (arg[0] == '-' && !haveLogon) {
            if (arg == "-L" || arg == "-l") {
                oneAttempt = true;
            } else if (arg == "-S" || arg == "-s" || arg == "-silent") {
                silent = true;
            } else {
                printf("SP2-0306: Invalid option \"%s\".\n\n", arg.c_str());
                fputs(kUsage, stdout);
                return 1;
            }
        } else if (arg[0] == '@') {
            script = arg.substr(1);  // later arguments belong to the script
        } else if (!haveLogon) {
            logon = arg;
            haveLogon = true;
        }
    }
    std::vector<std::string> lines;
    if (!script.empty() && !readScript(script, &lines)) {
        printf("SP2-0310: unable to open file \"%s\"\n", script.c_str());
        return 1;
    }
    if (!silent) printf("\nSQL*Plus simulator for zebosync tests and demo\n\n");
    if (!haveLogon && !lines.empty()) {
        logon = lines.front();  // the script's first line is its logon
        lines.erase(lines.begin());
    } else if (!haveLogon) {
        if (!silent) printf("Enter user-name: ");
        fflush(stdout);
        readLine(&logon);
    }
    sqlsim::Session session(silent);
    bool in = session.logon(logon);
    for (int attempt = 1; !in && !oneAttempt && attempt < 3; ++attempt) {
        printf("Enter user-name: ");
        fflush(stdout);
        if (!readLine(&logon)) break;
        in = session.logon(logon);
    }
    if (!in) {
        printf("SP2-0751: Unable to connect to the recovery catalog, exiting SQL*Plus\n");
        return 1;
    }
    if (const char* delay = getenv("SQLPLUS_SIM_DELAY")) sleep(static_cast<unsigned>(atoi(delay)));
    const char* ready = getenv("SQLPLUS_SIM_READY_SPOOL");
    std::string target = ready ? sqlsim::spoolTarget(lines) : "";
    if (!target.empty() && sqlsim::handOverSpool(ready, target)) {
        session.disconnect();
        return 0;
    }
    int status = session.runScript(lines);
    if (status < 0) status = session.runInteractive(stdin);
    session.disconnect();
    if (!target.empty() && status == 0) sqlsim::keepSpool(target, ready);
    return status;
}
