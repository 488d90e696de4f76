// Test support for the agent runtime and the programs built on it: a scratch
// installation in a temporary folder with a real repository of the client
// library, its option file rvk.opt, an agent directory whose language
// folders point at the built catalogs, and a writer for the agent option
// file zebo.opt. Header-only, so that the agent, sync and zebopasswd test
// binaries can all use it.
#ifndef ZEBO_AGENT_AGENT_TESTUTIL_H
#define ZEBO_AGENT_AGENT_TESTUTIL_H

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "agent/agentctx.h"
#include "api/api_testutil.h"
#include "api/drvkapidl.h"
#include "common/nls/nls.h"
#include "testing/testutil.h"

namespace agenttest {

// Opens the message repository on the built catalogs once per process,
// silently: tests read the texts through nlFormatText and the logs.
inline void openMessages() {
    static bool opened = false;
    if (opened) return;
    opened = true;
    nlsObject_t* nls = newNlsGlobalObject(nullptr, 0);
    nlSetPrefix(nls, "QEV");
    nlInit("zebo.cat", 10, "", zebotest::catalogDir().c_str(), "", 0, 'D', 100, 'S', NL_APP_SILENT,
           1, 1, 1, nullptr, "zebo.cat");
}

// Loads the built client library into the test process and makes the global
// API object. The library is opened by its full path first: a sanitizer
// build may open libraries on the program's behalf, and then the test
// binary's own library path is not searched for the bare name that the
// loader uses. Once loaded, the bare name finds it. Returns Setup's code.
inline int loadClientLibrary() {
    static void* preloaded = dlopen((zebotest::libDir() + "/libApiQZ.so").c_str(), RTLD_NOW);
    (void)preloaded;
    if (!gRvkApiObjP) gRvkApiObjP = new DRvkApiDL();
    return gRvkApiObjP->Setup();
}

// Sets the loaded client library up (cleaning up a set-up left by an
// earlier test) with `apiDir` as its installation and the log in `logDir`.
// Returns the set-up's code.
inline int setUpApi(const std::string& apiDir, const std::string& logDir) {
    gRvkApiObjP->drvkCleanUp(RvkApiStatusObjP, RVK_MULTITHREAD);
    rvkEnvSetUp env;
    memset(&env, 0, sizeof env);
    env.stVersion = RVK_ENVSETUP_VERSION;
    snprintf(env.apiDir, sizeof env.apiDir, "%s", apiDir.c_str());
    snprintf(env.logDir, sizeof env.logDir, "%s", logDir.c_str());
    snprintf(env.logName, sizeof env.logName, "zeboerror.log");
    return gRvkApiObjP->drvkSetUp(RvkApiStatusObjP, RVK_MULTITHREAD, &env);
}

// The node that every scratch repository knows, with a 12-character password.
inline const char* nodeName() {
    return "NODE1";
}
inline const char* nodePassword() {
    return "pw-one-12345";
}

// Single quotes around a text for /bin/sh.
inline std::string shellQuoted(const std::string& text) {
    std::string out = "'";
    for (char c : text) {
        if (c == '\'') {
            out += "'\\''";
        } else {
            out += c;
        }
    }
    return out + "'";
}

class Install {
  public:
    Install() {
        mkdir(agentDir().c_str(), 0755);
        mkdir(logDir().c_str(), 0755);
        for (const char* language : {"en_US", "de_DE"}) {
            std::string target = zebotest::catalogDir() + "/" + language;
            EXPECT_EQ(0, symlink(target.c_str(), (agentDir() + "/" + language).c_str()));
        }
        zebotest::writeFile(rvkOpt(), "REPOSITORY " + repository() +
                                          "\nSERVERNAME TESTSRV\nNODENAME " + nodeName() +
                                          "\nPASSWORDACCESS PROMPT\n");
        adm("init");
        adm(std::string("node add ") + nodeName(), std::string(nodePassword()) + "\n");
    }

    std::string path(const std::string& name) const { return dir_.file(name); }
    // An SQLite file, or with VLT_TEST_PG (the folder of the tests'
    // PostgreSQL cluster, testing/pgcluster.sh) a new database of it.
    std::string repository() const {
        const char* pg = getenv("VLT_TEST_PG");
        if (!pg || !*pg) return path("repo.db");
        static int serial = 0;
        std::string db = "agent" + std::to_string(getpid()) + "_" + std::to_string(++serial);
        setenv("PGPASSFILE", (std::string(pg) + "/pgpass").c_str(), 1);
        zebotest::RunResult r =
            zebotest::run(zebotest::sourceDir() + "/testing/pgcluster.sh sql " + shellQuoted(pg) +
                          " postgres 'CREATE DATABASE " + db + "'");
        EXPECT_EQ(0, r.status) << "the test cluster cannot make a database: " << r.err;
        return "postgresql://vltadmin@/" + db + "?host=" + pg + "/sock";
    }
    std::string agentDir() const { return dir_.file("agent"); }
    std::string logDir() const { return dir_.file("log"); }
    std::string rvkOpt() const { return dir_.file("rvk.opt"); }
    std::string zeboOpt() const { return dir_.file("zebo.opt"); }

    // A context that finds the node's password file in this installation,
    // with the client library loaded and set up on the installation's key.
    AgentContext passwordContext() const {
        EXPECT_EQ(0, loadClientLibrary());
        EXPECT_EQ(0, setUpApi(path(""), logDir()));
        AgentContext context = AgentContext();
        snprintf(context.optValue[OPT_ZEBO_NODE], ZEBO_OPT_VALUE_SIZE, "%s", nodeName());
        snprintf(context.optValue[OPT_ZEBO_PSWDPATH], ZEBO_OPT_VALUE_SIZE, "%s", path("").c_str());
        return context;
    }

    // Runs vltadm on the repository; the test fails when it fails.
    zebotest::RunResult adm(const std::string& args, const std::string& input = "") const {
        zebotest::RunResult r = zebotest::run(
            zebotest::binDir() + "/vltadm -c " + shellQuoted(rvkOpt()) + " " + args, input);
        EXPECT_EQ(0, r.status) << "vltadm " << args << ": " << r.err;
        return r;
    }

    // The lines every test option file starts with: the scratch directories,
    // the client option file and the node; `extra` follows.
    std::string optionLines(const std::string& extra = "", bool withNode = true) const {
        std::string text = "* written by the test\n";
        text += "RVKI_DIR " + dir_.path() + "\n";
        text += "RVKI_LOG " + logDir() + "\n";
        text += "RVKI_ORC_DIR " + agentDir() + "\n";
        text += "RVKI_ORC_CONFIG " + rvkOpt() + "\n";
        text += "ZEBO_PSWDPATH " + dir_.path() + "\n";
        if (withNode) text += std::string("ZEBO_NODE ") + nodeName() + "\n";
        return text + extra;
    }

    // Writes zebo.opt and returns its path.
    std::string writeZeboOpt(const std::string& extra = "", bool withNode = true) const {
        zebotest::writeFile(zeboOpt(), optionLines(extra, withNode));
        return zeboOpt();
    }

    // "cd <dir> && ZEBO_AGENT_DIR=<agent dir> " in front of a shell command,
    // so that a program finds the catalogs and leaves its logs here.
    std::string shellPrefix() const {
        return "cd " + shellQuoted(dir_.path()) + " && ZEBO_AGENT_DIR=" + shellQuoted(agentDir()) +
               " ";
    }

  private:
    zebotest::TempDir dir_;
};

// Sets environment variables for the length of a test.
using EnvSetting = EnvGuard;

}  // namespace agenttest

#endif
