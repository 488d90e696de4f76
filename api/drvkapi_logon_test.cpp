#include <gtest/gtest.h>

#include <string>

#include "api/api_testutil.h"
#include "api/drvkapidl.h"
#include "api/repo_testutil.h"

namespace {

// What the password callback was asked, and what it answers.
struct CallbackScript {
    int calls = 0;
    int lastReason = 0;
    int lastAccess = -1;
    std::string lastNode;
    std::string answer;
    int32_t result = 0;
} script;

int32_t scriptedCallback(int reason, int access, const char*, const char* node, char* out,
                         int outSize, char*) {
    ++script.calls;
    script.lastReason = reason;
    script.lastAccess = access;
    script.lastNode = node;
    snprintf(out, outSize, "%s", script.answer.c_str());
    return script.result;
}

// A repository with node ORANODE (password "secret"), the library loaded.
class LogonTest : public RepositoryTest {
  protected:
    void SetUp() override {
        script = CallbackScript();
        RepositoryTest::SetUp();
    }
    // Logs on with the given password and logs off again; the log-on's code.
    int tryPassword(const char* password) {
        DRvkApiDL api("ORANODE", password, "", nullptr);
        uint32_t handle = 0;
        int rc = api.Logon(&status_, &handle);
        api.Logoff(&status_, handle);
        return rc;
    }
};

TEST_F(LogonTest, GivenPasswordLogsOnAndSessionInformationIsFilled) {
    DRvkApiDL api("ORANODE", "secret", "", nullptr);
    rvkSessInfo info;
    uint32_t handle = 0;
    TraceToFile trace({&TR_API});
    ASSERT_EQ(0, api.Logon(&status_, &info, &handle, nullptr, nullptr));
    std::string text = trace.finish();
    EXPECT_NE(0u, handle);
    EXPECT_STREQ("ORANODE", info.id);
    EXPECT_EQ(7u, info.maxObjPerTxn);
    EXPECT_STREQ("ZEBO Linux86", info.nodeType);
    EXPECT_EQ(0, script.calls);
    EXPECT_NE(std::string::npos, text.find("RVKINITEX() was successful."));
    EXPECT_NE(std::string::npos, text.find("rvkSessInfo:\n  stVersion        3\n"));
    EXPECT_NE(std::string::npos, text.find("  maxObjPerTxn     7\n  id               ORANODE\n"));

    // A file space registered twice is no error.
    char fs[] = "/oracle";
    auto reg = rvkRecord<rvkRegFSData>(RVK_REGFSDATA_VERSION);
    reg.fsName = fs;
    EXPECT_EQ(0, api.registerFilespace(&status_, handle, &reg));
    EXPECT_EQ(0, api.registerFilespace(&status_, handle, &reg));
    EXPECT_EQ(0, api.Logoff(&status_, handle));
}

TEST_F(LogonTest, CallbackSuppliesAMissingPasswordOnce) {
    DRvkApiDL api("ORANODE", "", "", scriptedCallback);
    uint32_t handle = 0;
    script.answer = "secret";
    ASSERT_EQ(0, api.Logon(&status_, &handle));
    EXPECT_EQ(1, script.calls);
    EXPECT_EQ(137, script.lastReason);
    EXPECT_EQ(RVK_PASSWD_PROMPT, script.lastAccess);
    EXPECT_EQ("ORANODE", script.lastNode);
    api.Logoff(&status_, handle);
    // The password used is kept: the next log-on needs no callback.
    ASSERT_EQ(0, api.Logon(&status_, &handle));
    EXPECT_EQ(1, script.calls);
    api.Logoff(&status_, handle);

    // A wrong password typed in is not asked for again.
    DRvkApiDL wrong("ORANODE", "", "", scriptedCallback);
    script.answer = "guess";
    EXPECT_EQ(137, wrong.Logon(&status_, &handle));
    EXPECT_EQ(0u, handle);
    EXPECT_EQ(2, script.calls);

    // No answer: cancelled (101) or no password (137); no callback at all
    // behaves like one that gives no answer.
    script.answer = "";
    script.result = 101;
    EXPECT_EQ(101, DRvkApiDL("ORANODE", "", "", scriptedCallback).Logon(&status_, &handle));
    script.result = 0;
    EXPECT_EQ(137, DRvkApiDL("ORANODE", "", "", scriptedCallback).Logon(&status_, &handle));
    EXPECT_EQ(137, DRvkApiDL("ORANODE", "", "", nullptr).Logon(&status_, &handle));
}

TEST_F(LogonTest, RefusedKeptPasswordIsAskedForOnce) {
    // The library keeps the password, but has none stored for the node.
    writeOptions("GENERATE");
    DRvkApiDL api("ORANODE", "", "", scriptedCallback);
    uint32_t handle = 0;
    script.answer = "secret";
    TraceToFile trace({&TR_API});
    ASSERT_EQ(0, api.Logon(&status_, &handle));
    std::string text = trace.finish();
    EXPECT_EQ(1, script.calls);
    EXPECT_EQ(RVK_PASSWD_GENERATE, script.lastAccess);
    EXPECT_NE(std::string::npos, text.find("RVKINITEX() failed, rc = 168"));
    api.Logoff(&status_, handle);

    script.answer = "guess";
    script.calls = 0;
    DRvkApiDL wrong("ORANODE", "", "", scriptedCallback);
    EXPECT_EQ(137, wrong.Logon(&status_, &handle));
    EXPECT_EQ(1, script.calls);
}

TEST_F(LogonTest, NewPasswordIsSetAndBaseOptionsReachTheLibrary) {
    RvkApiSetupInfo setup = {0, nullptr, "-COMPRESSION=YES"};
    DRvkApi::SetSetupData(&setup);
    DRvkApiDL api;
    rvkSessInfo info;
    uint32_t handle = 0;
    RvkApiLogonInfo logon = {&info,    &handle,  "ORANODE", "X",    nullptr,
                             "secret", "fresh1", nullptr,   nullptr};
    TraceToFile trace({&TR_API});
    ASSERT_EQ(0, api.Logon(&status_, &logon));
    std::string text = trace.finish();
    EXPECT_EQ(1, info.compression);
    EXPECT_NE(std::string::npos, text.find("RVKCHANGEPW() was successful.\n"));
    // A one-character as-node name is not passed on.
    EXPECT_NE(std::string::npos, text.find("  szOptions         : -COMPRESSION=YES\n"));
    api.Logoff(&status_, handle);
    EXPECT_EQ(137, tryPassword("secret"));
    EXPECT_EQ(0, tryPassword("fresh1"));

    // Acting for another node is refused by this server; the option shows it went.
    DRvkApiDL other("ORANODE", "fresh1", "", nullptr);
    TraceToFile trace2({&TR_API});
    EXPECT_EQ(RVK_RC_NOT_SUPPORTED, other.Logon(&status_, nullptr, &handle, nullptr, "OTHER"));
    EXPECT_NE(std::string::npos, trace2.finish().find("-COMPRESSION=YES -ASNODE=OTHER\n"));
}

}  // namespace
