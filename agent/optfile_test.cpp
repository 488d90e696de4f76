#include "agent/optfile.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "agent/agent_testutil.h"
#include "agent/agentenv.h"
#include "testing/testutil.h"

namespace {

using agenttest::EnvSetting;
using zebotest::readFile;
using zebotest::writeFile;

class OptFileTest : public ::testing::Test {
  protected:
    OptFileTest()
        : env_({{"ZEBO_AGENT_DIR", dir_.path()}, {"ZEBO_OPTFILE", dir_.file("zebo.opt")}}) {
        agenttest::openMessages();
    }

    int16_t readOptions(const std::string& text) {
        writeFile(dir_.file("zebo.opt"), text);
        return zeboReadOptions(&context_);
    }
    const char* slot(int index) const { return context_.optValue[index]; }
    // The fallback error log that option errors go to.
    std::string log() const { return readFile(dir_.file("zeboerror.log")); }

    zebotest::TempDir dir_;
    EnvSetting env_;
    AgentContext context_;
};

TEST_F(OptFileTest, CommentsAndBlankLinesLeaveTheDefaults) {
    context_.rvkHandle = 77;  // cleared with the rest of the context
    ASSERT_EQ(0, readOptions("* comment\n\n   \t\n   * indented comment\n"));
    // The log and password folders default to the agent directory.
    EXPECT_EQ(dir_.path(), slot(OPT_RVKI_ORC_DIR));
    EXPECT_STREQ(slot(OPT_RVKI_ORC_DIR), slot(OPT_RVKI_LOG));
    EXPECT_STREQ(slot(OPT_RVKI_ORC_DIR), slot(OPT_ZEBO_PSWDPATH));
    EXPECT_EQ(1, context_.nodeFromApi);
    EXPECT_EQ(0u, context_.rvkHandle);
    EXPECT_EQ("", log());
}

// How a line is read (pieces of 512 characters, comments, keywords in any
// case, quotes and outer blanks, the test flags as written) is the option
// file fuzz target's invariant; here what the reader does after the parse.
TEST_F(OptFileTest, FileSystemNamesAreMadeAbsolute) {
    for (const char* fs : {"\\given", "given", "/given"}) {
        ASSERT_EQ(0, readOptions(std::string("ZEBO_FS ") + fs + "\n"));
        EXPECT_STREQ("/given", slot(OPT_ZEBO_FS)) << fs;
    }
    // With an owner named the node no longer comes from the library.
    ASSERT_EQ(0, readOptions("ZEBO_OWNER someone\n"));
    EXPECT_EQ(0, context_.nodeFromApi);
}

TEST_F(OptFileTest, FirstBadLineEndsTheParseWithItsMessage) {
    const std::string path = dir_.file("zebo.opt");
    EXPECT_EQ(2534, readOptions("ZEBO_NODE n1\nZEBO_BOGUS x\nZEBO_OWNER o\n"));
    EXPECT_STREQ("n1", slot(OPT_ZEBO_NODE));
    EXPECT_STREQ("", slot(OPT_ZEBO_OWNER));
    std::string text = log();
    EXPECT_NE(std::string::npos, text.find("TID<" + std::to_string(getpid()) + ">  ==>  QEV2603E"))
        << text;
    EXPECT_NE(std::string::npos, text.find("ZEBO_BOGUS")) << text;
    EXPECT_NE(std::string::npos, text.find(path)) << text;

    for (const char* noValue : {"ZEBO_NODE\n", "ZEBO_NODE   \n", "ZEBO_NODE \"\"\"\n"}) {
        SCOPED_TRACE(noValue);
        size_t before = zebotest::lines(log()).size();
        EXPECT_EQ(2534, readOptions(noValue));
        std::vector<std::string> lines = zebotest::lines(log());
        ASSERT_EQ(before + 1, lines.size());
        EXPECT_NE(std::string::npos, lines.back().find("QEV2616E")) << lines.back();
        EXPECT_NE(std::string::npos, lines.back().find("ZEBO_NODE")) << lines.back();
    }
}

TEST_F(OptFileTest, OptionFileIsFoundThroughTheVariableOrTheAgentDirectory) {
    writeFile(dir_.file("quoted.opt"), "ZEBO_NODE q\n");
    FILE* file = nullptr;
    char path[ZEBO_PATH_SIZE];
    int lines = -1;
    for (const std::string& value :
         {"'" + dir_.file("quoted.opt") + "'", "\"" + dir_.file("quoted.opt") + "\""}) {
        EnvSetting quoted({{"ZEBO_OPTFILE", value}});
        ASSERT_EQ(0, zeboOpenOptFile(&file, path, &lines)) << value;
        EXPECT_EQ(dir_.file("quoted.opt"), path);
        EXPECT_EQ(0, lines);
        fclose(file);
    }
    {
        // A lone quote is no pair of quotes: it names a file of its own.
        EnvSetting lone({{"ZEBO_OPTFILE", "'"}});
        EXPECT_EQ(2534, zeboOpenOptFile(&file, path, &lines));
        EXPECT_STREQ("'", path);
        EXPECT_EQ(nullptr, file);
    }
    {
        // A directory cannot be read as an option file: no run on defaults.
        EnvSetting folder({{"ZEBO_OPTFILE", dir_.path()}});
        EXPECT_EQ(2534, zeboOpenOptFile(&file, path, &lines));
        EXPECT_EQ(nullptr, file);
        EXPECT_NE(std::string::npos, log().find("QEV2615E The option file " + dir_.path() + " "))
            << log();
    }
    unsetenv("ZEBO_OPTFILE");
    EXPECT_EQ(2534, zeboOpenOptFile(&file, path, &lines));
    EXPECT_EQ(dir_.file("zebo.opt"), path);
    EXPECT_NE(std::string::npos, log().find("QEV2615E")) << log();
    EXPECT_NE(std::string::npos, log().find(dir_.file("zebo.opt"))) << log();
}

TEST_F(OptFileTest, SingleKeyLookupTakesTheFirstMatchingLine) {
    writeFile(dir_.file("zebo.opt"),
              "* RVKI_LOG /comment\nrvki_log  \"/some dir\" \nRVKI_LOG /second\nZEBO_NODE\n"
              "ZEBO_OWNER \nZEBO_FS  \"\"\n");
    FILE* file = fopen(dir_.file("zebo.opt").c_str(), "r");
    ASSERT_NE(nullptr, file);
    char value[ZEBO_OPT_VALUE_SIZE];
    EXPECT_EQ(0, zeboGetOptValue(file, "RVKI_LOG", value, sizeof value));
    EXPECT_STREQ("/some dir", value);
    EXPECT_EQ(-1, zeboGetOptValue(file, "ZEBO_NODE", value, sizeof value));
    // A delimiter with nothing after it is no value; quotes alone clean to
    // an empty value that the lookup still returns.
    EXPECT_EQ(-1, zeboGetOptValue(file, "ZEBO_OWNER", value, sizeof value));
    EXPECT_EQ(-1, zeboGetOptValue(file, "ZEBO_MGMT_CLASS_2", value, sizeof value));
    EXPECT_EQ(0, zeboGetOptValue(file, "ZEBO_FS", value, sizeof value));
    EXPECT_STREQ("", value);
    // The file is rewound for every lookup.
    EXPECT_EQ(0, zeboGetOptValue(file, "RVKI_LOG", value, sizeof value));
    fclose(file);
}

TEST(PsGetEnvTest, TakesOnlyValuesThatFitWithTheirTerminator) {
    EnvSetting env({{"ZEBO_TEST_VALUE", "abcd"}, {"ZEBO_TEST_EMPTY", ""}});
    char buffer[8] = "junk";
    EXPECT_EQ(1, psGetEnv("ZEBO_TEST_VALUE", buffer, 5));
    EXPECT_STREQ("abcd", buffer);
    EXPECT_EQ(0, psGetEnv("ZEBO_TEST_VALUE", buffer, 4));
    EXPECT_STREQ("", buffer);
    EXPECT_EQ(0, psGetEnv("ZEBO_TEST_EMPTY", buffer, sizeof buffer));
    EXPECT_EQ(0, psGetEnv("ZEBO_TEST_UNSET_NAME", buffer, sizeof buffer));
    EXPECT_EQ(0, psGetEnv("", buffer, sizeof buffer));
    EXPECT_EQ(0, psGetEnv(nullptr, buffer, sizeof buffer));
    EXPECT_EQ(0, psGetEnv("ZEBO_TEST_VALUE", nullptr, 8));
    EXPECT_EQ(0, psGetEnv("ZEBO_TEST_VALUE", buffer, 0));
}

}  // namespace
