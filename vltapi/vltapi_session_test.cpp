// Environment set-up, log-on, passwords and session information, through
// the public header against real repositories.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include "rvkapi.h"
#include "vltapi/vltapi_testenv.h"

using namespace vltest;

namespace {

class Session : public ::testing::Test {
  protected:
    void TearDown() override {
        rvkCleanUp(RVK_MULTITHREAD);
        unsetenv("RVKI_CONFIG");
        unsetenv("RVKI_DIR");
    }
    Repo repo;
};

TEST_F(Session, LogOnAndSessionInformation) {
    ASSERT_EQ(setUp(repo.optFile()), RVK_RC_OK);
    uint32_t h = 0;
    ASSERT_EQ(logOn(&h, "node1", "pw-one", "oracle"), RVK_RC_OK);
    EXPECT_NE(h, 0u);
    auto info = record<rvkSessInfo>(RVK_SESSINFO_VERSION);
    ASSERT_EQ(rvkQuerySessInfo(h, &info), RVK_RC_OK);
    EXPECT_STREQ(info.serverName, "TESTSRV");
    EXPECT_STREQ(info.id, "NODE1");
    EXPECT_STREQ(info.owner, "oracle");
    EXPECT_STREQ(info.nodeType, "ZEBO Linux86");
    EXPECT_EQ(info.fsDelim, '/');
    EXPECT_EQ(info.hlDelim, '/');
    EXPECT_EQ(info.maxObjPerTxn, 256u);
    EXPECT_EQ(info.backDel, 1);
    EXPECT_STREQ(info.domainName, "STANDARD");
    EXPECT_STREQ(info.dfltMCName, "STANDARD");
    EXPECT_EQ(info.backRetention, 30);
    EXPECT_STREQ(info.confFile, repo.optFile().c_str());
    EXPECT_GE(info.serverVer * 10000 + info.serverRel * 1000 + info.serverLev * 100, 55000);

    // The maximum follows the server's setting.
    ASSERT_EQ(repo.adm("set maxobjpertxn 7").status, 0);
    ASSERT_EQ(rvkQuerySessInfo(h, &info), RVK_RC_OK);
    EXPECT_EQ(info.maxObjPerTxn, 7u);

    auto so = record<rvkSessOptions>(RVK_SESSOPTIONS_VERSION);
    ASSERT_EQ(rvkQuerySessOptions(h, &so), RVK_RC_OK);
    EXPECT_STREQ(so.nodeName, "NODE1");
    EXPECT_EQ(so.passwordAccess, RVK_PASSWD_PROMPT);
    EXPECT_STREQ(so.serverAddress, repo.repository().c_str());

    EXPECT_EQ(rvkTerminate(h), RVK_RC_OK);
    EXPECT_EQ(rvkTerminate(h), RVK_RC_INVALID_HANDLE);
    EXPECT_EQ(rvkQuerySessInfo(h, &info), RVK_RC_INVALID_HANDLE);
}

TEST_F(Session, LogOnFailures) {
    uint32_t h = 99;
    EXPECT_EQ(logOn(&h, "node1", "pw-one"), RVK_RC_NOT_SET_UP);
    EXPECT_EQ(h, 0u);
    ASSERT_EQ(setUp(repo.optFile()), RVK_RC_OK);
    EXPECT_EQ(logOn(&h, "node1", "pw-two"), RVK_RC_AUTH_FAILURE);
    EXPECT_EQ(h, 0u);
    EXPECT_EQ(logOn(&h, "nobody", "pw-one"), RVK_RC_AUTH_FAILURE);
    // Node names are not case-sensitive, passwords are.
    EXPECT_EQ(logOn(&h, "NoDe1", "PW-ONE"), RVK_RC_AUTH_FAILURE);
    ASSERT_EQ(logOn(&h, "NoDe1", "pw-one"), RVK_RC_OK);
    EXPECT_EQ(logOn(&h, nullptr, "pw-one"), RVK_RC_OK);  // NODENAME node1
    EXPECT_EQ(logOn(&h, "node1", nullptr), RVK_RC_NO_PASSWORD);
}

TEST_F(Session, UnusableRepositories) {
    // A repository that cannot be reached is a communication failure,
    // described in the client error log next to the options; a foreign one
    // is no repository. A database server checks a node's password before
    // it says anything about the database, and a foreign database has no
    // such node: that log-on is refused.
    std::string missing, foreign;
    int16_t foreignRc = RVK_RC_REPOSITORY_VERSION;
    if (pgMode()) {
        missing = "postgresql://vltadmin@/doesnotexist?host=/doesnotexist";
        foreign = repo.other("postgres");
        foreignRc = RVK_RC_AUTH_FAILURE;
    } else {
        missing = repo.other("doesnotexist.db");
        foreign = repo.other("junk.db");
        zebotest::writeFile(foreign, std::string(8192, 'x'));
    }
    const struct {
        std::string repository;
        int16_t rc;
    } cases[] = {{missing, RVK_RC_COMM_FAILURE}, {foreign, foreignRc}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.repository);
        std::string opt = repo.path("other.opt");
        zebotest::writeFile(opt, "REPOSITORY " + c.repository + "\n");
        ASSERT_EQ(setUp(opt), RVK_RC_OK);
        uint32_t h = 0;
        EXPECT_EQ(logOn(&h, "node1", "pw-one"), c.rc);
    }
    EXPECT_NE(zebotest::readFile(repo.path("rvkerror.log")).find("doesnotexist"),
              std::string::npos);
}

TEST_F(Session, BadOptionsNameTheLine) {
    std::string opt = repo.path("bad.opt");
    zebotest::writeFile(opt, "REPOSITORY repo.db\nPASSWORDACCESS SOMETIMES\n");
    ASSERT_EQ(setUp(opt), RVK_RC_OK);
    uint32_t h = 0;
    EXPECT_EQ(logOn(&h, "node1", "pw-one"), RVK_RC_OPTION_INVALID);
    EXPECT_NE(zebotest::readFile(repo.path("rvkerror.log")).find("line 2"), std::string::npos);
    // The option string of a log-on is checked the same way.
    ASSERT_EQ(setUp(repo.optFile()), RVK_RC_OK);
    EXPECT_EQ(logOn(&h, "node1", "pw-one", nullptr, "NODENAME node2"), RVK_RC_OPTION_INVALID);
    EXPECT_EQ(logOn(&h, "node1", "pw-one", nullptr, "-ASNODE=node2"), RVK_RC_NOT_SUPPORTED);
    EXPECT_EQ(logOn(&h, nullptr, "pw-two", nullptr, "-NODENAME=node2"), RVK_RC_OK);
}

TEST_F(Session, OptionFileFromEnvironment) {
    auto env = record<rvkEnvSetUp>(RVK_ENVSETUP_VERSION);
    // RVKI_DIR/rvk.opt when nothing else names one.
    setenv("RVKI_DIR", repo.path("").c_str(), 1);
    ASSERT_EQ(rvkSetUp(RVK_MULTITHREAD, &env), RVK_RC_OK);
    auto co = record<rvkCliOptions>(RVK_CLIOPTIONS_VERSION);
    ASSERT_EQ(rvkQueryCliOptions(&co), RVK_RC_OK);
    EXPECT_STREQ(co.serverName, "TESTSRV");
    EXPECT_STREQ(co.nodeName, "NODE1");
    // RVKI_CONFIG wins over RVKI_DIR.
    std::string other = repo.path("other.opt");
    zebotest::writeFile(other, "REPOSITORY repo.db\nSERVERNAME ELSEWHERE\n");
    setenv("RVKI_CONFIG", other.c_str(), 1);
    ASSERT_EQ(rvkSetUp(RVK_MULTITHREAD, nullptr), RVK_RC_OK);
    ASSERT_EQ(rvkQueryCliOptions(&co), RVK_RC_OK);
    EXPECT_STREQ(co.serverName, "ELSEWHERE");
    EXPECT_STREQ(co.optFile, other.c_str());
    // A missing option file.
    setenv("RVKI_CONFIG", repo.path("none.opt").c_str(), 1);
    ASSERT_EQ(rvkSetUp(RVK_MULTITHREAD, nullptr), RVK_RC_OK);
    EXPECT_EQ(rvkQueryCliOptions(&co), RVK_RC_OPTFILE_UNREADABLE);
}

TEST_F(Session, GenerateUsesTheStoredPassword) {
    Repo gen("PASSWORDACCESS GENERATE\n");
    ASSERT_EQ(gen.adm("node passwd node1", "kept-secret\n").status, 0);
    struct stat st;
    ASSERT_EQ(stat(gen.path("rvkpw.NODE1").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);
    ASSERT_EQ(setUp(gen.optFile()), RVK_RC_OK);
    uint32_t h = 0;
    EXPECT_EQ(logOn(&h, nullptr, nullptr), RVK_RC_OK);
    auto co = record<rvkCliOptions>(RVK_CLIOPTIONS_VERSION);
    ASSERT_EQ(rvkQueryCliOptions(&co), RVK_RC_OK);
    EXPECT_EQ(co.passwordAccess, RVK_PASSWD_GENERATE);

    // A password file others can read is refused, a missing one reported.
    chmod(gen.path("rvkpw.NODE1").c_str(), 0644);
    EXPECT_EQ(logOn(&h, nullptr, nullptr), RVK_RC_PASSWORD_STORE_ERROR);
    unlink(gen.path("rvkpw.NODE1").c_str());
    EXPECT_EQ(logOn(&h, nullptr, nullptr), RVK_RC_NO_STORED_PASSWORD);
}

TEST_F(Session, ExpiredPasswordMustBeChanged) {
    ASSERT_EQ(repo.adm("node expire node1").status, 0);
    ASSERT_EQ(setUp(repo.optFile()), RVK_RC_OK);
    uint32_t h = 0;
    ASSERT_EQ(logOn(&h, "node1", "pw-one"), RVK_RC_PASSWD_EXPIRED);
    ASSERT_NE(h, 0u);
    EXPECT_EQ(rvkBeginTxn(h), RVK_RC_PASSWD_EXPIRED);
    EXPECT_EQ(rvkChangePW(h, const_cast<char*>("wrong"), const_cast<char*>("pw-new")),
              RVK_RC_AUTH_FAILURE);
    EXPECT_EQ(rvkChangePW(h, const_cast<char*>("pw-one"), const_cast<char*>("pw-one")),
              RVK_RC_PASSWORD_INVALID);
    ASSERT_EQ(rvkChangePW(h, const_cast<char*>("pw-one"), const_cast<char*>("pw-new")), RVK_RC_OK);
    EXPECT_EQ(rvkBeginTxn(h), RVK_RC_OK);
    uint32_t h2 = 0;
    EXPECT_EQ(logOn(&h2, "node1", "pw-one"), RVK_RC_AUTH_FAILURE);
    EXPECT_EQ(logOn(&h2, "node1", "pw-new"), RVK_RC_OK);
}

TEST_F(Session, RecordVersionsAndOlderLogOn) {
    ASSERT_EQ(setUp(repo.optFile()), RVK_RC_OK);
    auto in = record<rvkInitExIn>(3);
    auto out = record<rvkInitExOut>(RVK_INITEXOUT_VERSION);
    uint32_t h = 0;
    EXPECT_EQ(rvkInitEx(&h, &in, &out), RVK_RC_BAD_STVERSION);
    EXPECT_EQ(rvkInitEx(nullptr, &in, &out), RVK_RC_NULL_POINTER);
    auto env = record<rvkEnvSetUp>(3);
    EXPECT_EQ(rvkSetUp(RVK_MULTITHREAD, &env), RVK_RC_BAD_STVERSION);

    // The older log-on and version queries.
    auto v = record<rvkApiVersion>(RVK_APIVERSION_VERSION);
    rvkQueryApiVersion(&v);
    EXPECT_EQ(v.version, RVK_API_VERSION);
    auto vx = record<rvkApiVersionEx>(0);  // a zero version is answered too
    rvkQueryApiVersionEx(&vx);
    EXPECT_GE(vx.version * 10000 + vx.release * 1000 + vx.level * 100, 55000);
    EXPECT_EQ(rvkInit(&h, &v, const_cast<char*>("node2"), nullptr, const_cast<char*>("pw-two"),
                      const_cast<char*>("test"), nullptr, nullptr),
              RVK_RC_OK);
    auto info = record<rvkSessInfo>(2);
    EXPECT_EQ(rvkQuerySessInfo(h, &info), RVK_RC_BAD_STVERSION);
    info.stVersion = RVK_SESSINFO_VERSION;
    ASSERT_EQ(rvkQuerySessInfo(h, &info), RVK_RC_OK);
    EXPECT_STREQ(info.id, "NODE2");
}

TEST_F(Session, CleanUpEndsEverySession) {
    ASSERT_EQ(setUp(repo.optFile()), RVK_RC_OK);
    uint32_t a = 0, b = 0;
    ASSERT_EQ(logOn(&a, "node1", "pw-one"), RVK_RC_OK);
    ASSERT_EQ(logOn(&b, "node2", "pw-two"), RVK_RC_OK);
    EXPECT_NE(a, b);
    ASSERT_EQ(rvkCleanUp(RVK_MULTITHREAD), RVK_RC_OK);
    EXPECT_EQ(rvkTerminate(a), RVK_RC_INVALID_HANDLE);
    EXPECT_EQ(rvkTerminate(b), RVK_RC_INVALID_HANDLE);
}

}  // namespace
