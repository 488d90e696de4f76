#include "api/drvkapi.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "api/api_testutil.h"
#include "api/drvkapidl.h"
#include "api/repo_testutil.h"

namespace {

// The real library, loaded for each test; no repository.
class WrapperTest : public LibraryTest {};

TEST_F(WrapperTest, InitSetsUpOnceAndTermCleansUpOnce) {
    char prog[] = "/usr/bin/zebosync";
    char* argv[] = {prog, nullptr};
    RvkApiSetupInfo info = {1, argv, nullptr};
    DRvkApi::SetSetupData(&info);
    DRvkApiDL api("NODE", "", "/conf/dir/", nullptr);
    TraceToFile trace({&TR_API});
    int reason = -1;
    ASSERT_EQ(0, api.Init(&status_, &reason));
    EXPECT_EQ(1, DRvkApi::m_brvkSetUpDone);
    EXPECT_EQ(0, api.Init(&status_, nullptr));
    EXPECT_EQ(0, api.Term(&status_));
    EXPECT_EQ(0, DRvkApi::m_brvkSetUpDone);
    EXPECT_EQ(0, api.Term(&status_));
    DRvkApi::SetSetupData(nullptr);
    std::string text = trace.finish();
    // The directories lose one trailing slash, the option file keeps its own.
    EXPECT_NE(std::string::npos,
              text.find("   rvkiDir    : " + dir_.path() + "\n   rvkiLog    : " + dir_.path() +
                        "\n   rvkiConfig : /conf/dir/\n   argv[0]    : /usr/bin/zebosync\n"));
    EXPECT_NE(std::string::npos, text.find("rvkSetUp already done\n"));
    EXPECT_NE(std::string::npos, text.find("Enter DRvkApi::drvkCleanUp()"));
    EXPECT_NE(std::string::npos, text.find("rvkSetup not done, rvkCleanUp will not be done\n"));
}

TEST_F(WrapperTest, InitReportsWhichStepFailed) {
    setenv("RVKI_DIR", std::string(1400, 'd').c_str(), 1);
    int reason = 0;
    EXPECT_EQ(1702, loader_.Init(&status_, &reason));
    EXPECT_EQ(1, reason);
    EXPECT_EQ(0, DRvkApi::m_brvkSetUpDone);
    setenv("RVKI_DIR", "/api", 1);
    setenv("RVKI_LOG", std::string(1400, 'l').c_str(), 1);
    reason = 0;
    EXPECT_EQ(1702, loader_.Init(&status_, &reason));
    EXPECT_EQ(1, reason);
}

// Answers only a record that arrives with its first 6 bytes cleared and the
// rest as the caller left it (0xffff).
rvkApiVersionEx fakeVersion;
void reportFakeVersion(rvkApiVersionEx* v) {
    if (v->stVersion == 0 && v->version == 0 && v->release == 0 && v->level == 0xffff &&
        v->subLevel == 0xffff)
        *v = fakeVersion;
}

TEST_F(WrapperTest, CompatibilityNeedsLevel55000) {
    rvkApiVersionEx v;
    memset(&v, 0xff, sizeof v);
    EXPECT_EQ(0, loader_.checkCompatibility(&status_, &v));
    EXPECT_EQ(RVK_API_VERSION, v.version);
    EXPECT_EQ(RVK_API_LEVEL, v.level);

    auto real = DRvkApi::m_fnrvkQueryApiVersionExP;
    DRvkApi::m_fnrvkQueryApiVersionExP = reportFakeVersion;
    fakeVersion = {RVK_APIVERSIONEX_VERSION, 5, 5, 0, 9};
    memset(&v, 0xff, sizeof v);
    EXPECT_EQ(0, loader_.checkCompatibility(&status_, &v));
    EXPECT_EQ(9, v.subLevel);
    fakeVersion = {RVK_APIVERSIONEX_VERSION, 5, 4, 9, 9};
    memset(&v, 0xff, sizeof v);
    EXPECT_EQ(107, loader_.checkCompatibility(&status_, &v));
    DRvkApi::m_fnrvkQueryApiVersionExP = real;
}

TEST_F(WrapperTest, TerminateWithoutSessionCallsNothing) {
    // The library would answer 113 (no such session) for handle 0. Untraced,
    // a call leaves the stopwatch alone; traced, it runs.
    EXPECT_EQ(RVK_RC_INVALID_HANDLE, loader_.drvkTerminate(&status_, 12345));
    EXPECT_EQ(0u, status_.startTime.sec);
    TraceToFile trace({&TR_API});
    EXPECT_EQ(0, loader_.drvkTerminate(&status_, 0));
    EXPECT_EQ(0, loader_.Logoff(&status_, 0));
    EXPECT_EQ(0u, status_.startTime.sec);
    EXPECT_EQ(RVK_RC_INVALID_HANDLE, loader_.drvkTerminate(&status_, 12345));
    EXPECT_NE(0u, status_.startTime.sec);
}

TEST_F(WrapperTest, MessageTextIsCutButItsFullLengthReported) {
    char full[1024];
    int fullLen = 0;
    ASSERT_EQ(0,
              loader_.AgtRvkRCMsg(&status_, 0, RVK_RC_AUTH_FAILURE, full, sizeof full, &fullLen));
    ASSERT_GT(fullLen, 10);
    EXPECT_EQ(fullLen, static_cast<int>(strlen(full)));
    char small[10];
    int len = 0;
    EXPECT_EQ(0, loader_.AgtRvkRCMsg(&status_, 0, RVK_RC_AUTH_FAILURE, small, sizeof small, &len));
    EXPECT_EQ(std::string(full, 9), small);
    EXPECT_EQ(fullLen, len);

    // A code the library does not know: no text from it, a stand-in instead.
    EXPECT_NE(0, loader_.AgtRvkRCMsg(&status_, 0, 9999, full, sizeof full, &len));
    EXPECT_STREQ("", full);
    EXPECT_EQ(0, len);
    loader_.GetApiError(&status_, 0, 9999, full, sizeof full, &len);
    EXPECT_STREQ("no text returned for KORU Api error 9999\n", full);
    EXPECT_EQ(static_cast<int>(strlen(full)), len);
    EXPECT_EQ(0, loader_.GetApiError(&status_, 0, 0, full, sizeof full, &len));
    EXPECT_STREQ("", full);
    EXPECT_EQ(0, len);
}

// A library text longer than LogApiError's first buffer, and what reaches
// the server's activity log and the client's.
std::string longText;
std::vector<std::string> serverLog;
std::vector<std::string> activityLog;
int16_t longMessage(uint32_t, int16_t, char* msg) {
    strcpy(msg, longText.c_str());
    return 0;
}
int16_t recordEvent(uint32_t, rvkLogEventIn* in, rvkLogEventOut*) {
    if (std::string(in->appMsgId) == "MSG" && in->severity == 0 && in->logType == 0)
        serverLog.push_back(in->message);
    return 0;
}
void recordActivity(const char* text) {
    activityLog.push_back(text);
}

TEST_F(WrapperTest, LogApiErrorRetriesWithRoomForALongText) {
    apiActivityLogSink = recordActivity;
    activityLog.clear();
    loader_.LogApiError(&status_, 0, RVK_RC_AUTH_FAILURE, "zeboSession()");
    ASSERT_EQ(1u, activityLog.size());
    EXPECT_EQ(0u, activityLog[0].find("error 137 returned from zeboSession(): RVK0137E"));
    EXPECT_EQ('\n', activityLog[0].back());
    loader_.LogApiError(&status_, 0, 0, "zeboSession()");
    EXPECT_EQ(1u, activityLog.size());

    auto realMsg = DRvkApi::m_fnrvkRCMsgP;
    auto realEvent = DRvkApi::m_fnrvkLogEventExP;
    DRvkApi::m_fnrvkRCMsgP = longMessage;
    DRvkApi::m_fnrvkLogEventExP = recordEvent;
    longText = std::string(4880, 'x') + "END";
    serverLog.clear();
    activityLog.clear();
    TraceToFile trace({&TR_API});
    loader_.LogApiError(&status_, 7, RVK_RC_AUTH_FAILURE, "fn()");
    std::string text = trace.finish();
    DRvkApi::m_fnrvkRCMsgP = realMsg;
    DRvkApi::m_fnrvkLogEventExP = realEvent;
    apiActivityLogSink = nullptr;

    EXPECT_NE(std::string::npos, text.find("message was truncated, trying again\n"));
    ASSERT_EQ(1u, activityLog.size());
    EXPECT_EQ("error 137 returned from fn(): " + longText + "\n", activityLog[0]);
    // Each look-up also went to the server: the cut one, then the whole one.
    ASSERT_EQ(2u, serverLog.size());
    EXPECT_EQ(longText + "\n", serverLog[1]);
}

}  // namespace
