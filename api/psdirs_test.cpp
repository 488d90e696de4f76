#include "api/psdirs.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>

#include "api/api_testutil.h"
#include "zebo_config.h"

namespace {

class PsDirsTest : public ::testing::Test {
  protected:
    EnvGuard env_{"RVKI_DIR", "RVKI_LOG", "RVKI_CONFIG"};
    char buf_[1280];
};

TEST_F(PsDirsTest, DefaultsComeFromTheInstallDirectories) {
    EXPECT_EQ(0, psGetAgentDir(buf_, sizeof buf_));
    EXPECT_STREQ(ZEBO_AGENT_DIR, buf_);
    EXPECT_EQ(0, psGetAgentConfig(buf_, sizeof buf_));
    EXPECT_EQ(std::string(ZEBO_AGENT_DIR) + "/zebo.opt", buf_);
    EXPECT_EQ(0, psGetKORUApiDir(buf_, sizeof buf_));
    EXPECT_STREQ(ZEBO_API_DIR, buf_);
    EXPECT_EQ(0, psGetKORUApiLog(buf_, sizeof buf_));
    EXPECT_STREQ(ZEBO_AGENT_DIR, buf_);
    // No "/" between the agent directory and the file name.
    EXPECT_EQ(0, psGetKORUApiConfig(buf_, sizeof buf_));
    EXPECT_EQ(std::string(ZEBO_AGENT_DIR) + "rvk.opt", buf_);
}

TEST_F(PsDirsTest, VariablesGetTheirSlashOnlyWhereItBelongs) {
    struct Case {
        const char* variable;
        const char* value;
        int (*get)(char*, size_t);
        const char* expected;
    } cases[] = {
        {"RVKI_DIR", "/api/dir/", psGetKORUApiDir, "/api/dir/"},
        {"RVKI_DIR", "/api/dir", psGetKORUApiDir, "/api/dir/"},
        {"RVKI_LOG", "/logs", psGetKORUApiLog, "/logs/"},
        {"RVKI_CONFIG", "/etc/conf/", psGetKORUApiConfig, "/etc/conf/"},
    };
    for (const Case& c : cases) {
        setenv(c.variable, c.value, 1);
        EXPECT_EQ(0, c.get(buf_, sizeof buf_));
        EXPECT_STREQ(c.expected, buf_) << c.variable << "=" << c.value;
    }
}

TEST_F(PsDirsTest, ResultMustFitWithItsTerminator) {
    // "/abcdefgh" is 9 characters: with the added "/" and the NUL it needs 11.
    setenv("RVKI_DIR", "/abcdefgh", 1);
    EXPECT_EQ(0, psGetKORUApiDir(buf_, 11));
    EXPECT_STREQ("/abcdefgh/", buf_);
    EXPECT_EQ(1702, psGetKORUApiDir(buf_, 10));
    EXPECT_EQ(1702, psGetKORUApiDir(buf_, 9));  // length equals size
    EXPECT_STREQ("", buf_);
    setenv("RVKI_DIR", "/abcdefg/", 1);
    EXPECT_EQ(0, psGetKORUApiDir(buf_, 10));
    EXPECT_EQ(1702, psGetKORUApiDir(buf_, 9));

    size_t agent = sizeof(ZEBO_AGENT_DIR) - 1;
    EXPECT_EQ(1702, psGetAgentDir(buf_, agent));
    EXPECT_EQ(1702, psGetKORUApiConfig(buf_, agent + 7));
    EXPECT_EQ(0, psGetKORUApiConfig(buf_, agent + 8));
    EXPECT_EQ(1702, psGetAgentConfig(buf_, agent + 9));
}

}  // namespace
