#include "agent/session.h"

#include <gtest/gtest.h>
#include <string.h>

#include <string>

#include "agent/agent_testutil.h"
#include "agent/optfile.h"
#include "agent/pswdfile.h"
#include "testing/testutil.h"

namespace {

using agenttest::EnvSetting;

// Set-up and log-on against a real repository. The retry on -50 and the
// failures of single calls are driven by fault injection, which needs a
// process of its own: sync/entry_test.cpp runs those through zebosync.
class SessionTest : public ::testing::Test {
  protected:
    SessionTest()
        : env_({{"ZEBO_AGENT_DIR", install_.agentDir()}, {"ZEBO_OPTFILE", install_.zeboOpt()}}) {
        agenttest::openMessages();
        EXPECT_EQ(0, agenttest::loadClientLibrary());
    }
    ~SessionTest() override {
        if (context_.rvkHandle) gRvkApiObjP->drvkTerminate(RvkApiStatusObjP, context_.rvkHandle);
    }
    void readOptions(bool withNode) {
        install_.writeZeboOpt("", withNode);
        ASSERT_EQ(0, zeboReadOptions(&context_));
    }
    std::string errorLog() const { return zebotest::readFile(install_.path("log/zeboerror.log")); }

    agenttest::Install install_;
    EnvSetting env_;
    AgentContext context_ = AgentContext();
};

TEST_F(SessionTest, LogOnWithThePasswordFileTakesTheServersLimit) {
    install_.adm("set maxobjpertxn 7");
    readOptions(true);
    ASSERT_EQ(0, psDoRvkSetUp(&context_));
    EXPECT_EQ(1, context_.apiCleanUpDue);
    ASSERT_EQ(0, pszeboUpdatePswd(agenttest::nodePassword(), &context_));

    ASSERT_EQ(0, zeboSession(&context_));
    EXPECT_NE(0u, context_.rvkHandle);
    EXPECT_EQ(7u, context_.maxObjPerTxn);
}

TEST_F(SessionTest, MissingOrWrongPasswordFile) {
    readOptions(true);
    ASSERT_EQ(0, psDoRvkSetUp(&context_));
    // No file: the session ends before any log-on, which would have owed
    // the API's clean-up.
    context_.apiCleanUpDue = 0;
    EXPECT_EQ(168, zeboSession(&context_));
    EXPECT_EQ(0u, context_.rvkHandle);
    EXPECT_EQ(0, context_.apiCleanUpDue);
    EXPECT_EQ(0u, std::string(context_.errorText).find("QEV2519E")) << context_.errorText;

    // A wrong password is reported twice: the agent's error text carries
    // the code, the log has the API's text.
    ASSERT_EQ(0, pszeboUpdatePswd("not-the-password", &context_));
    EXPECT_EQ(137, zeboSession(&context_));
    EXPECT_EQ(1, context_.apiCleanUpDue);
    EXPECT_EQ(0u, context_.rvkHandle);
    std::string text = context_.errorText;
    EXPECT_NE(std::string::npos, text.find("(rc = 137)")) << text;
    EXPECT_NE(std::string::npos, errorLog().find("==> " + text.substr(0, text.find(" (rc"))))
        << errorLog();
    EXPECT_EQ(std::string::npos, errorLog().find("QEV2661E")) << "the file itself is whole";

    // A file cut inside a record gives a wrong password too, and the log
    // names the file.
    ASSERT_EQ(0, pszeboUpdatePswd(agenttest::nodePassword(), &context_));
    std::string file = install_.path("ZEBO.NODE1");
    zebotest::writeFile(file, zebotest::readFile(file).substr(0, 52));
    EXPECT_EQ(137, zeboSession(&context_));
    EXPECT_NE(std::string::npos,
              errorLog().find("QEV2661E The password file " + file + " is damaged"))
        << errorLog();
}

TEST_F(SessionTest, WithoutNodeOrOwnerNoPasswordFileIsRead) {
    readOptions(false);
    ASSERT_EQ(1, context_.nodeFromApi);
    ASSERT_EQ(0, psDoRvkSetUp(&context_));
    // The client options ask for a password and none is given: the API's
    // refusal, not the missing password file, ends the log-on.
    int16_t rc = zeboSession(&context_);
    EXPECT_NE(0, rc);
    EXPECT_NE(168, rc);
    EXPECT_EQ(std::string::npos, std::string(context_.errorText).find("QEV2519E"));
}

}  // namespace
