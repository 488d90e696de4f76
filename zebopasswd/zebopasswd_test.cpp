// Black-box runs of the built zebopasswd against a scratch installation.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <regex>
#include <string>

#include "agent/agent_testutil.h"
#include "agent/pswdfile.h"
#include "testing/testutil.h"

namespace {

using agenttest::shellQuoted;
using zebotest::readFile;
using zebotest::RunResult;

class ZebopasswdTest : public ::testing::Test {
  protected:
    ZebopasswdTest() { install_.writeZeboOpt(); }

    RunResult zebopasswd(const std::string& args, const std::string& input,
                         const std::string& env = "") {
        return zebotest::run(
            install_.shellPrefix() + env + " " + zebotest::binDir() + "/zebopasswd " + args, input);
    }
    std::string optArg() { return "-ZEBO_OPTfile=" + shellQuoted(install_.zeboOpt()); }
    std::string twice(const std::string& password) { return password + "\n" + password + "\n"; }
    std::string passwordFile() { return install_.path("ZEBO.NODE1"); }

    agenttest::Install install_;
};

TEST_F(ZebopasswdTest, StoresAVerifiedPasswordThatTheAgentReadsBack) {
    RunResult r = zebopasswd(optArg(), twice(agenttest::nodePassword()));
    ASSERT_EQ(0, r.status) << r.out << r.err;
    EXPECT_NE(std::string::npos, r.out.find(passwordFile())) << r.out;
    // Twelve characters: the header and two records.
    EXPECT_EQ(57, zebotest::fileSize(passwordFile()));

    AgentContext context = install_.passwordContext();
    char password[ZEBO_PSWD_BUFFER_SIZE];
    ASSERT_EQ(0, psReadPswd(password, &context));
    EXPECT_STREQ(agenttest::nodePassword(), password);

    // The option file may also come from ZEBO_OPTFILE, and the option name
    // may be shortened as zebosync's.
    EXPECT_EQ(0, zebopasswd("", twice(agenttest::nodePassword()),
                            "ZEBO_OPTFILE=" + shellQuoted(install_.zeboOpt()))
                     .status);
    EXPECT_EQ(0, zebopasswd("-zebo_opt=" + shellQuoted(install_.zeboOpt()),
                            twice(agenttest::nodePassword()))
                     .status);
}

TEST_F(ZebopasswdTest, OldFileStaysWhenEntriesDifferOrTheLogOnFails) {
    ASSERT_EQ(0, zebopasswd(optArg(), twice(agenttest::nodePassword())).status);
    const std::string stored = readFile(passwordFile());

    RunResult differ = zebopasswd(optArg(), "one-password\nanother-one\n");
    EXPECT_EQ(1, differ.status);
    EXPECT_NE(std::string::npos, differ.err.find("differ")) << differ.err;

    RunResult wrong = zebopasswd(optArg(), twice("not-the-password"));
    EXPECT_EQ(1, wrong.status);
    EXPECT_NE(std::string::npos, wrong.err.find("log-on as node NODE1 failed")) << wrong.err;
    EXPECT_NE(std::string::npos, wrong.err.find("rc = 137")) << wrong.err;

    RunResult none = zebopasswd(optArg(), "");
    EXPECT_EQ(1, none.status);
    EXPECT_EQ(stored, readFile(passwordFile()));
}

TEST_F(ZebopasswdTest, NothingIsWrittenWithoutAUsableInstallationKey) {
    ASSERT_EQ(0, zebopasswd(optArg(), twice(agenttest::nodePassword())).status);
    const std::string stored = readFile(passwordFile());
    const std::string key = install_.path("vltapi.key");
    ASSERT_EQ(0, chmod(key.c_str(), 0640));
    RunResult r = zebopasswd(optArg(), twice(agenttest::nodePassword()));
    EXPECT_EQ(1, r.status);
    EXPECT_NE(std::string::npos, r.err.find("installation key vltapi.key")) << r.err;
    EXPECT_EQ(stored, readFile(passwordFile()));
    EXPECT_NE(std::string::npos,
              readFile(install_.logDir() + "/zeboerror.log").find("may be read by others"));
}

TEST_F(ZebopasswdTest, UnusableCommandLinesAndOptionFilesAreRefused) {
    for (const char* args : {"-x", "-ZEBO_OPTfile=", "-ZEBO=x", "a b"}) {
        SCOPED_TRACE(args);
        RunResult r = zebopasswd(args, twice("pw"));
        EXPECT_EQ(2, r.status);
        EXPECT_NE(std::string::npos, r.err.find("usage: zebopasswd [-ZEBO_OPTfile=PATH]"));
    }
    RunResult missing =
        zebopasswd("-ZEBO_OPTfile=" + shellQuoted(install_.path("none.opt")), twice("pw"));
    EXPECT_EQ(1, missing.status);
    EXPECT_NE(std::string::npos, missing.err.find(install_.path("none.opt"))) << missing.err;

    install_.writeZeboOpt("", false);
    RunResult noNode = zebopasswd(optArg(), twice("pw"));
    EXPECT_EQ(1, noNode.status);
    EXPECT_NE(std::string::npos, noNode.err.find("neither ZEBO_NODE nor ZEBO_OWNER"));
    EXPECT_FALSE(zebotest::fileExists(passwordFile()));
}

// --help and --version of the two admin tools: on standard output, status 0,
// before any option file is read (there is none here), and one version for
// both, since they are shipped together.
TEST_F(ZebopasswdTest, AdminToolsAnswerHelpAndVersion) {
    const std::string vltadm = zebotest::binDir() + "/vltadm";
    const std::regex versionLine("(zebopasswd|vltadm) ([0-9]+(\\.[0-9]+)+)\n");
    std::string versions[2];
    int i = 0;
    for (const std::string& tool : {zebotest::binDir() + "/zebopasswd", vltadm}) {
        SCOPED_TRACE(tool);
        RunResult help = zebotest::run("cd / && RVKI_CONFIG=/nonexistent " + tool + " --help");
        EXPECT_EQ(0, help.status);
        EXPECT_EQ("", help.err);
        EXPECT_EQ(0u, help.out.find("usage: ")) << help.out;
        RunResult version = zebotest::run("cd / && " + tool + " --version");
        EXPECT_EQ(0, version.status);
        EXPECT_EQ("", version.err);
        std::smatch m;
        ASSERT_TRUE(std::regex_match(version.out, m, versionLine)) << version.out;
        versions[i++] = m[2];
    }
    EXPECT_EQ(versions[0], versions[1]);
    EXPECT_NE(std::string::npos, zebotest::run(vltadm + " --help").out.find("node add NODE"));
    // Anything else is still a usage error on standard error.
    RunResult bad = zebopasswd("--versions", "");
    EXPECT_EQ(2, bad.status);
    EXPECT_EQ("", bad.out);
}

}  // namespace
