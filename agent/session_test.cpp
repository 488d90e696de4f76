#include "agent/session.h"

#include <gtest/gtest.h>
#include <string.h>

#include <string>

#include "agent/agent_testutil.h"
#include "agent/optfile.h"
#include "agent/pswdfile.h"
#include "common/ut/traceclasses.h"
#include "testing/fakeserver.h"
#include "testing/testutil.h"

namespace {

using agenttest::EnvSetting;

// Set-up and log-on against a real repository; the failures of single
// calls against the in-process server.
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

using Call = zebotest::FakeServer::Call;

// The session on the in-process server, the node found by the API (so no
// password file is read), with one call failing: its code, and the trace.
struct FakeSession {
    explicit FakeSession(Call call, int from, int16_t failRc, int to = 0) {
        agenttest::openMessages();
        server.fail(call, from, failRc, to);
        context.nodeFromApi = 1;
        rc = zeboSession(&context);
        trace = tracing.finish();
    }
    zebotest::TempDir dir;
    EnvSetting env{{"ZEBO_AGENT_DIR", dir.path()}};
    zebotest::FakeServer server;
    AgentContext context = AgentContext();
    TraceToFile tracing{&TR_ORCLEVEL0, &TR_ORCLEVEL1, &TR_ORCLEVEL2};
    int16_t rc = 0;
    std::string trace;
};

TEST(SessionFailureTest, LogOnIsRetriedOnlyWhileTheServerIsUnreachable) {
    FakeSession unreachable(Call::InitEx, 1, RVK_RC_COMM_FAILURE, 5);
    EXPECT_EQ(RVK_RC_COMM_FAILURE, unreachable.rc);
    EXPECT_EQ(5, unreachable.server.calls(Call::InitEx));
    EXPECT_EQ(1, unreachable.context.apiCleanUpDue);
    EXPECT_EQ(0u, unreachable.context.rvkHandle);
    EXPECT_NE(std::string::npos, std::string(unreachable.context.errorText).find("(rc = -50)"));
    EXPECT_NE(std::string::npos,
              zebotest::readFile(unreachable.dir.file("zeboerror.log")).find("==> RVK0050E"));
    EXPECT_NE(std::string::npos, unreachable.trace.find("retry = 4, node = , owner = , rc = -50"));

    FakeSession fifth(Call::InitEx, 1, RVK_RC_COMM_FAILURE, 4);
    EXPECT_EQ(0, fifth.rc);
    EXPECT_EQ(5, fifth.server.calls(Call::InitEx));
    EXPECT_EQ(7u, fifth.context.rvkHandle);

    FakeSession refused(Call::InitEx, 1, RVK_RC_AUTH_FAILURE);
    EXPECT_EQ(RVK_RC_AUTH_FAILURE, refused.rc);
    EXPECT_EQ(1, refused.server.calls(Call::InitEx));
    EXPECT_NE(std::string::npos, refused.trace.find("Exit - rvkInit() failed, rvkHandle = 0"));
}

TEST(SessionFailureTest, OnlyTheSessionInformationIsNeeded) {
    FakeSession noOptions(Call::QuerySessOptions, 1, RVK_RC_SERVER_BUSY);
    EXPECT_EQ(0, noOptions.rc);
    EXPECT_EQ(4u, noOptions.context.maxObjPerTxn);
    size_t at = noOptions.trace.find("RVKQUERYSESSOPTIONS() failed. rvkHandle = 7, rc = 130");
    EXPECT_NE(std::string::npos, at);
    EXPECT_NE(std::string::npos, noOptions.trace.find("zeboSession(): Exit - OK", at));

    FakeSession noInfo(Call::QuerySessInfo, 1, RVK_RC_INVALID_HANDLE);
    EXPECT_EQ(RVK_RC_INVALID_HANDLE, noInfo.rc);
    EXPECT_EQ(7u, noInfo.context.rvkHandle) << "the session stays for the caller to end";
    EXPECT_NE(std::string::npos,
              noInfo.trace.find("RVKQUERYSESSINFO() failed, rvkHandle = 7, rc = 113"));
}

}  // namespace
