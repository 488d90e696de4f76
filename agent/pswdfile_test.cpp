#include "agent/pswdfile.h"

#include <gtest/gtest.h>
#include <string.h>
#include <sys/stat.h>

#include <string>

#include "agent/agent_testutil.h"
#include "testing/testutil.h"

namespace {

using agenttest::EnvSetting;
using agenttest::setSlot;
using zebotest::readFile;
using zebotest::writeFile;

// The password file through the real client library's key and cipher.
class PswdFileTest : public ::testing::Test {
  protected:
    PswdFileTest()
        : env_({{"ZEBO_AGENT_DIR", dir_.file("agent")}, {"ZEBO_OPTFILE", dir_.file("zebo.opt")}}) {
        agenttest::openMessages();
        EXPECT_EQ(0, agenttest::loadClientLibrary());
        mkdir(dir_.file("agent").c_str(), 0755);
        writeFile(dir_.file("zebo.opt"), "RVKI_LOG " + dir_.path() + "\n");
        memset(&context_, 0, sizeof context_);
        setSlot(&context_, OPT_ZEBO_NODE, "NODE1");
        setSlot(&context_, OPT_ZEBO_PSWDPATH, dir_.file("pw"));
        mkdir(dir_.file("api").c_str(), 0755);
        installApi(dir_.file("api"));
    }
    ~PswdFileTest() override { gRvkApiObjP->drvkCleanUp(RvkApiStatusObjP, RVK_MULTITHREAD); }
    void installApi(const std::string& apiDir) {
        ASSERT_EQ(0, agenttest::setUpApi(apiDir, dir_.path()));
    }
    std::string readBack() {
        char back[ZEBO_PSWD_BUFFER_SIZE];
        memset(back, '?', sizeof back);
        EXPECT_EQ(0, psReadPswd(back, &context_));
        return std::string(back, strnlen(back, sizeof back));
    }
    std::string fileName() {
        char dir[ZEBO_PSWD_DIR_SIZE], path[ZEBO_PSWD_PATH_SIZE];
        pszeboGetFileName(dir, path, &context_);
        return path;
    }

    zebotest::TempDir dir_;
    EnvSetting env_;
    AgentContext context_;
};

TEST_F(PswdFileTest, PasswordsRoundTripThroughTheLibraryCipher) {
    for (std::string password :
         std::vector<std::string>{"twelve-chars", "eight-ch", "", "x", std::string(64, 'p')}) {
        SCOPED_TRACE("password of " + std::to_string(password.size()));
        ASSERT_EQ(0, pszeboUpdatePswd(password.c_str(), &context_));
        std::string file = readFile(dir_.file("pw/ZEBO.NODE1"));
        size_t records = (password.size() + 7) / 8;
        ASSERT_EQ(39 + 9 * records, file.size());
        EXPECT_EQ("Agent for Oracle Backup - Password file", file.substr(0, 39));
        for (size_t r = 0; r < records; ++r) {
            size_t piece = std::min<size_t>(8, password.size() - 8 * r);
            EXPECT_EQ(static_cast<char>('0' + piece), file[39 + 9 * r]);
            // Nothing of the password stands in the file as it is.
            EXPECT_NE(password.substr(8 * r, piece), file.substr(39 + 9 * r + 1, piece));
        }
        struct stat status;
        ASSERT_EQ(0, stat(dir_.file("pw/ZEBO.NODE1").c_str(), &status));
        EXPECT_EQ(0644u, status.st_mode & 0777);

        EXPECT_EQ(password, readBack());
    }
    // The key is made from the node: another node cannot read the file.
    ASSERT_EQ(0, pszeboUpdatePswd("twelve-chars", &context_));
    std::string file = readFile(dir_.file("pw/ZEBO.NODE1"));
    setSlot(&context_, OPT_ZEBO_NODE, "NODE2");
    ASSERT_EQ(0, pszeboUpdatePswd("twelve-chars", &context_));
    EXPECT_NE(file.substr(39), readFile(dir_.file("pw/ZEBO.NODE2")).substr(39));
}

TEST_F(PswdFileTest, FileNameTakesTheFirstDirectoryGiven) {
    setSlot(&context_, OPT_ZEBO_PSWDPATH, "/keys/");
    setSlot(&context_, OPT_RVKI_ORC_DIR, "/orcdir");
    EXPECT_EQ("/keys/ZEBO.NODE1", fileName());
    setSlot(&context_, OPT_ZEBO_PSWDPATH, "/keys");
    EXPECT_EQ("/keys/ZEBO.NODE1", fileName());
    setSlot(&context_, OPT_ZEBO_PSWDPATH, "");
    EXPECT_EQ("/orcdir/ZEBO.NODE1", fileName());
    setSlot(&context_, OPT_RVKI_ORC_DIR, "");
    setSlot(&context_, OPT_ZEBO_NODE, "");
    EXPECT_EQ(dir_.file("agent/ZEBO."), fileName());
}

TEST_F(PswdFileTest, DirectoryIsMadeWhenMissingAndFailuresKeepTheirCodes) {
    ASSERT_EQ(0, pszeboUpdatePswd("secret", &context_));
    struct stat status;
    ASSERT_EQ(0, stat(dir_.file("pw").c_str(), &status));
    EXPECT_EQ(0700u, status.st_mode & 0777);

    setSlot(&context_, OPT_ZEBO_PSWDPATH, dir_.file("no/such"));
    EXPECT_EQ(167, pszeboUpdatePswd("secret", &context_));
    writeFile(dir_.file("plainfile"), "x");
    setSlot(&context_, OPT_ZEBO_PSWDPATH, dir_.file("plainfile"));
    EXPECT_EQ(2521, pszeboUpdatePswd("secret", &context_));
    // The password file's name is taken by a directory.
    setSlot(&context_, OPT_ZEBO_PSWDPATH, dir_.path());
    mkdir(dir_.file("ZEBO.NODE1").c_str(), 0755);
    EXPECT_EQ(-1, pszeboUpdatePswd("secret", &context_));
}

TEST_F(PswdFileTest, MissingOrUnusableFileGives168WithMessage2519) {
    for (bool asDirectory : {false, true}) {
        SCOPED_TRACE(asDirectory ? "directory" : "missing");
        mkdir(dir_.file("pw").c_str(), 0700);
        if (asDirectory) mkdir(dir_.file("pw/ZEBO.NODE1").c_str(), 0755);
        context_.errorText[0] = '\0';
        char password[ZEBO_PSWD_BUFFER_SIZE] = "stale";
        EXPECT_EQ(168, psReadPswd(password, &context_));
        EXPECT_STREQ("", password);
        std::string text = context_.errorText;
        EXPECT_EQ(0u, text.find("QEV2519E")) << text;
        EXPECT_NE(std::string::npos, text.find("NODE1")) << text;
        std::vector<std::string> log = zebotest::lines(readFile(dir_.file("zeboerror.log")));
        ASSERT_FALSE(log.empty());
        EXPECT_NE(std::string::npos, log.back().find("==> " + text)) << log.back();
    }
}

TEST_F(PswdFileTest, DamagedLayoutIsRecognisedButStillRead) {
    ASSERT_EQ(0, pszeboUpdatePswd("abcdefgh1234", &context_));
    const std::string good = readFile(dir_.file("pw/ZEBO.NODE1"));
    ASSERT_EQ(57u, good.size());
    char path[ZEBO_PSWD_PATH_SIZE];
    EXPECT_FALSE(psPswdFileDamaged(path, &context_));
    EXPECT_EQ(dir_.file("pw/ZEBO.NODE1"), path);
    struct Case {
        std::string file;
        bool damaged;
    } const cases[] = {
        {good.substr(0, 39), false},  // an empty password
        {good.substr(0, 48), false},  // "abcdefgh"
        {good.substr(0, 52), true},   // cut inside a record: "abcdefgh" and a piece
        {good.substr(0, 30), true},   // cut inside the header
        {"", true},                   // emptied
        {good.substr(0, 39) + "9" + good.substr(40), true},
        {good.substr(0, 39) + "0" + good.substr(40), true},
        {good.substr(0, 39) + "4" + good.substr(40), true},  // short record before the last
        {good + good.substr(39) + good.substr(39) + good.substr(39) + good.substr(39), true},
    };
    for (const Case& c : cases) {
        writeFile(dir_.file("pw/ZEBO.NODE1"), c.file);
        EXPECT_EQ(c.damaged, psPswdFileDamaged(path, &context_)) << c.file.size() << " bytes";
        // The read still trusts the file; a record cut short still gives
        // its whole count of characters.
        std::string back = readBack();
        if (c.file.size() == 52) {
            EXPECT_EQ("abcdefgh", back.substr(0, 8));
            EXPECT_LE(back.size(), 12u);
        }
    }
    unlink(dir_.file("pw/ZEBO.NODE1").c_str());
    EXPECT_FALSE(psPswdFileDamaged(path, &context_)) << "a missing file is reported elsewhere";
}

TEST_F(PswdFileTest, SymlinkAtThePathIsReplacedOnWriteAndRefusedOnRead) {
    mkdir(dir_.file("pw").c_str(), 0700);
    writeFile(dir_.file("victim"), "precious\n", 0600);
    ASSERT_EQ(0, symlink(dir_.file("victim").c_str(), dir_.file("pw/ZEBO.NODE1").c_str()));
    // Reading through the link is refused; the target keeps its mode.
    char password[ZEBO_PSWD_BUFFER_SIZE];
    EXPECT_EQ(168, psReadPswd(password, &context_));
    struct stat status;
    ASSERT_EQ(0, stat(dir_.file("victim").c_str(), &status));
    EXPECT_EQ(0600u, status.st_mode & 0777);

    // Writing replaces the link by a file of its own.
    ASSERT_EQ(0, pszeboUpdatePswd("secret-pw", &context_));
    EXPECT_EQ("precious\n", readFile(dir_.file("victim")));
    ASSERT_EQ(0, stat(dir_.file("victim").c_str(), &status));
    EXPECT_EQ(0600u, status.st_mode & 0777);
    ASSERT_EQ(0, lstat(dir_.file("pw/ZEBO.NODE1").c_str(), &status));
    EXPECT_TRUE(S_ISREG(status.st_mode));
    EXPECT_EQ(0644u, status.st_mode & 0777);
    EXPECT_EQ("secret-pw", readBack());
    // Nothing but the password file is left in the directory.
    EXPECT_EQ("ZEBO.NODE1\n", zebotest::run("ls -A " + dir_.file("pw")).out);
}

TEST_F(PswdFileTest, ReadingRestoresTheModeThroughTheFile) {
    ASSERT_EQ(0, pszeboUpdatePswd("secret-pw", &context_));
    ASSERT_EQ(0, chmod(dir_.file("pw/ZEBO.NODE1").c_str(), 0600));
    EXPECT_EQ("secret-pw", readBack());
    struct stat status;
    ASSERT_EQ(0, stat(dir_.file("pw/ZEBO.NODE1").c_str(), &status));
    EXPECT_EQ(0644u, status.st_mode & 0777);
}

TEST_F(PswdFileTest, CopiedFileGivesNothingUnderAnotherInstallation) {
    ASSERT_EQ(0, pszeboUpdatePswd("twelve-chars", &context_));
    std::string copy = readFile(dir_.file("pw/ZEBO.NODE1"));

    // The same file under another installation of the library.
    mkdir(dir_.file("other").c_str(), 0755);
    installApi(dir_.file("other"));
    EXPECT_NE("twelve-chars", readBack());
    ASSERT_EQ(0, pszeboUpdatePswd("twelve-chars", &context_));
    EXPECT_NE(copy.substr(39), readFile(dir_.file("pw/ZEBO.NODE1")).substr(39));

    // Without its installation key the library gives no key at all, and the
    // file written then holds nothing of the password.
    installApi(dir_.file("no-such-api"));
    ASSERT_EQ(0, pszeboUpdatePswd("twelve-chars", &context_));
    std::string file = readFile(dir_.file("pw/ZEBO.NODE1"));
    EXPECT_EQ(std::string(8, '\0'), file.substr(40, 8));
    EXPECT_EQ(std::string(8, '\0'), file.substr(49, 8));

    installApi(dir_.file("api"));
    writeFile(dir_.file("pw/ZEBO.NODE1"), copy);
    EXPECT_EQ("twelve-chars", readBack());
}

}  // namespace
