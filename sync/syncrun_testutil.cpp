// Support for tests that run zebosync; see syncrun_testutil.h.
#include "sync/syncrun_testutil.h"

#include <unistd.h>

#include <sstream>

#include "testing/testutil.h"

namespace syncrun {

using agenttest::shellQuoted;

Scratch::Scratch(int objects, const std::vector<int>& cataloged, int maxObjPerTxn,
                 const std::string& owner) {
    install_.adm("set maxobjpertxn " + std::to_string(maxObjPerTxn));
    std::string pieces;
    std::string handles;
    for (int n = 1; n <= objects; ++n) {
        std::string day = std::to_string(10 + n % 18);
        pieces += "/koruorc\t/db1\t/piece" + std::to_string(n) + "\t2024-01-" + day +
                  " 03:04:05\t" + std::to_string(n * 1000) + "\n";
        for (int c : cataloged)
            if (c == n) handles += "piece" + std::to_string(n) + "\t2024-01-" + day + " 03:04:05\n";
    }
    zebotest::RunResult r =
        zebotest::run(zebotest::binDir() + "/vltadm -c " + shellQuoted(install_.rvkOpt()) +
                          " load NODE1" + (owner.empty() ? "" : " " + shellQuoted(owner)),
                      pieces);
    EXPECT_EQ(0, r.status) << r.err;

    install_.writeZeboOpt("ZEBO_TRACE_FILE " + install_.path("trace.out") +
                          "\nZEBO_TRACE_FLAGS ORCLEVEL0 ORCLEVEL1 ORCLEVEL2\n" +
                          (owner.empty() ? "" : "ZEBO_OWNER " + owner + "\n"));
    std::string password = std::string(agenttest::nodePassword()) + "\n";
    r = zebotest::run(
        install_.shellPrefix() + "zebopasswd -ZEBO_OPTfile=" + shellQuoted(install_.zeboOpt()),
        password + password);
    EXPECT_EQ(0, r.status) << r.out << r.err;

    std::string sim = "SQLPLUS_SIM_DIR=" + shellQuoted(install_.path("")) + " ";
    r = zebotest::run(sim + "sqlplus --sim-create CAT1 rman rmanpw");
    EXPECT_EQ(0, r.status) << r.err;
    if (!handles.empty()) {
        r = zebotest::run(sim + "sqlplus --sim-load CAT1", handles);
        EXPECT_EQ(0, r.status) << r.err;
    }
}

void Scratch::addPieces(const std::vector<std::string>& handles, bool onServer, bool cataloged) {
    std::string objects;
    std::string pieces;
    for (const std::string& h : handles) {
        objects += "/koruorc\t/db1\t/" + h + "\t2024-01-10 03:04:05\t4096\n";
        pieces += h + "\t2024-01-10 03:04:05\n";
    }
    zebotest::RunResult r;
    if (onServer) {
        r = zebotest::run(
            zebotest::binDir() + "/vltadm -c " + shellQuoted(install_.rvkOpt()) + " load NODE1",
            objects);
        EXPECT_EQ(0, r.status) << r.err;
    }
    if (!cataloged) return;
    r = zebotest::run(
        "SQLPLUS_SIM_DIR=" + shellQuoted(install_.path("")) + " sqlplus --sim-load CAT1", pieces);
    EXPECT_EQ(0, r.status) << r.err;
}

void Scratch::addGuest(const std::string& user, const std::string& password) {
    zebotest::RunResult r = zebotest::run("SQLPLUS_SIM_DIR=" + shellQuoted(install_.path("")) +
                                          " sqlplus --sim-guest CAT1 " + user + " " + password);
    EXPECT_EQ(0, r.status) << r.err;
}

bool Scratch::programsBuilt() {
    for (const std::string& program :
         {zebotest::binDir() + "/zebosync", zebotest::binDir() + "/vltadm",
          zebotest::binDir() + "/zebopasswd", zebotest::testBinDir() + "/sqlplus"})
        if (access(program.c_str(), X_OK) != 0) return false;
    return true;
}

std::string Scratch::command(const std::string& environment, bool exec) const {
    // The trace keeps the SQL*Plus scripts (ORCLEVEL2), and they hold the
    // catalog password: keep them in the scratch folder, not in /tmp.
    return install_.shellPrefix() + (exec ? "exec env " : "") +
           "SQLPLUS_SIM_DIR=" + shellQuoted(install_.path("")) +
           " TMPDIR=" + shellQuoted(install_.path("")) + " " + environment +
           " zebosync syncdb -ZEBO_OPTfile=" + shellQuoted(install_.zeboOpt());
}

void Scratch::load(const std::string& objects, const std::string& pieces) const {
    zebotest::RunResult r = zebotest::run(
        zebotest::binDir() + "/vltadm -c " + shellQuoted(install_.rvkOpt()) + " load NODE1",
        objects);
    EXPECT_EQ(0, r.status) << r.err;
    r = zebotest::run(
        "SQLPLUS_SIM_DIR=" + shellQuoted(install_.path("")) + " sqlplus --sim-load CAT1", pieces);
    EXPECT_EQ(0, r.status) << r.err;
}

void Scratch::traceFlags(const std::string& flags) const {
    install_.writeZeboOpt("ZEBO_TRACE_FILE " + install_.path("trace.out") + "\nZEBO_TRACE_FLAGS " +
                          flags + "\n");
}

std::string Scratch::folder() const {
    return install_.path("");
}

std::string Scratch::catalogAnswers() {
    return "rman\nrmanpw\nCAT1\n\n\n";
}

std::string Scratch::onServer() const {
    zebotest::RunResult r = zebotest::run(zebotest::binDir() + "/vltadm -c " +
                                          shellQuoted(install_.rvkOpt()) + " list NODE1");
    EXPECT_EQ(0, r.status) << r.err;
    std::string numbers;
    for (const std::string& line : zebotest::lines(r.out)) {
        size_t at = line.find("/piece");
        if (at == std::string::npos) continue;
        std::string n = line.substr(at + 6, line.find('\t', at) - at - 6);
        numbers += (numbers.empty() ? "" : " ") + n;
    }
    return numbers;
}

std::string Scratch::trace() const {
    return zebotest::readFile(install_.path("trace.out"));
}

std::string Scratch::activityLog() const {
    return zebotest::run(zebotest::binDir() + "/vltadm -c " + shellQuoted(install_.rvkOpt()) +
                         " actlog")
        .out;
}

std::string Scratch::errorLog() const {
    return zebotest::readFile(install_.logDir() + "/zeboerror.log");
}

std::string transactionCalls(const std::string& trace) {
    std::string calls;
    std::istringstream text(trace);
    for (std::string line; std::getline(text, line);) {
        if (line.find("utDeleteFiles(): Calling RVKBEGINTXN()") != std::string::npos) calls += 'B';
        if (line.find("utDeleteFiles(): Calling RVKDELETEOBJ()") != std::string::npos) calls += 'D';
        if (line.find("utDeleteFiles(): Calling RVKENDTXN()") != std::string::npos) calls += 'E';
    }
    return calls;
}

}  // namespace syncrun
