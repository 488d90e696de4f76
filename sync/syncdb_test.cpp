// The synchronisation against a real repository (the client library, made
// with vltadm) and simulated recovery catalogs (the SQL*Plus simulator):
// which objects are orphans, and how the driver ends on its exits.
#include "sync/syncdb.h"

#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "agent/agent_testutil.h"
#include "agent/pswdfile.h"
#include "agent/session.h"
#include "common/ut/trace.h"
#include "common/ut/traceclasses.h"
#include "sync/btree.h"
#include "sync/catquery.h"
#include "sync/consoleline.h"
#include "sync/getpicklist.h"
#include "sync/loadbtree.h"
#include "sync/syncdb_testutil.h"
#include "sync/tempfiles.h"
#include "testing/testutil.h"

namespace {

using zebotest::run;

// The session handle as it stood when the driver first read an answer, so
// that a test can check afterwards that this session was ended.
AgentContext* watchedContext = nullptr;
uint32_t handleSeen = 0;

struct Answers {
    std::string text;
    size_t pos = 0;
};

ssize_t readAnswers(void* cookie, char* buffer, size_t size) {
    Answers* a = static_cast<Answers*>(cookie);
    if (handleSeen == 0 && watchedContext != nullptr) handleSeen = watchedContext->rvkHandle;
    size_t n = std::min(size, a->text.size() - a->pos);
    memcpy(buffer, a->text.data() + a->pos, n);
    a->pos += n;
    return static_cast<ssize_t>(n);
}

class SyncServerTest : public ::testing::Test {
  protected:
    void SetUp() override {
        synctest::initMessages();
        ASSERT_EQ(0, agenttest::loadClientLibrary());
        mkdir(install.path("catalogs").c_str(), 0700);
        memset(&ctx, 0, sizeof ctx);
        strcpy(ctx.optValue[OPT_RVKI_DIR], install.path("").c_str());  // the library's key
        strcpy(ctx.optValue[OPT_RVKI_ORC_CONFIG], install.rvkOpt().c_str());
        strcpy(ctx.optValue[OPT_RVKI_LOG], install.path("").c_str());
        strcpy(ctx.optValue[OPT_ZEBO_NODE], agenttest::nodeName());
        strcpy(ctx.optValue[OPT_ZEBO_FS], "/koruorc");
        strcpy(ctx.optValue[OPT_ZEBO_PSWDPATH], install.path("").c_str());
        ASSERT_EQ(0, psDoRvkSetUp(&ctx));
        ASSERT_EQ(0, pszeboUpdatePswd(agenttest::nodePassword(), &ctx));
        oldInput = zeboSetConsoleInput(nullptr);
        watchedContext = &ctx;
        handleSeen = 0;
    }

    void TearDown() override {
        zeboSetConsoleInput(oldInput);
        if (answerStream != nullptr) fclose(answerStream);
        watchedContext = nullptr;
        gRvkApiObjP->drvkCleanUp(RvkApiStatusObjP, 1);
    }

    // Objects of NODE1: "hl ll YYYY-MM-DD HH:MM:SS" lines.
    void objects(const std::vector<std::string>& lines) {
        std::string input;
        for (const std::string& l : lines) {
            std::string hl = l.substr(0, l.find(' '));
            std::string rest = l.substr(hl.size() + 1);
            std::string ll = rest.substr(0, rest.find(' '));
            input += "/koruorc\t" + hl + "\t" + ll + "\t" + rest.substr(ll.size() + 1) + "\t4096\n";
        }
        install.adm("load NODE1", input);
    }
    // A catalog with one user and its pieces: "handle YYYY-MM-DD HH:MM:SS".
    void catalog(const std::string& connect, const std::string& user, const std::string& pw,
                 const std::vector<std::string>& pieces) {
        ASSERT_EQ(0, run("sqlplus --sim-create " + connect + " " + user + " " + pw).status);
        std::string input;
        for (const std::string& p : pieces) {
            size_t blank = p.find(' ');
            input += p.substr(0, blank) + "\t" + p.substr(blank + 1) + "\n";
        }
        ASSERT_EQ(0, run("sqlplus --sim-load " + connect, input).status);
    }
    void answer(const std::string& text) {
        answers.text = text;
        answers.pos = 0;
        cookie_io_functions_t io = {readAnswers, nullptr, nullptr, nullptr};
        answerStream = fopencookie(&answers, "r", io);
        zeboSetConsoleInput(answerStream);
    }
    // Runs the driver; its screen output goes to `shown`.
    int16_t sync() {
        ZeboCmdOptions options = {};
        testing::internal::CaptureStdout();
        int16_t rc = zeboSyncVltToRman(&ctx, &options);
        shown = testing::internal::GetCapturedStdout();
        return rc;
    }
    size_t count(const std::string& text) { return zebotest::occurrences(shown, text); }
    bool sessionEnded() {
        rvkSessInfo info;
        memset(&info, 0, sizeof info);
        info.stVersion = RVK_SESSINFO_VERSION;
        return handleSeen != 0 && ctx.rvkHandle == 0 &&
               gRvkApiObjP->drvkQuerySessInfo(RvkApiStatusObjP, handleSeen, &info) ==
                   RVK_RC_INVALID_HANDLE;
    }

    agenttest::Install install;
    // The simulator's catalogs; zeboerror.log goes to the agent folder.
    agenttest::EnvSetting env{{"SQLPLUS_SIM_DIR", install.path("catalogs")},
                              {"ZEBO_AGENT_DIR", install.agentDir()}};
    AgentContext ctx;
    Answers answers;
    FILE* answerStream = nullptr;
    FILE* oldInput = nullptr;
    std::string shown;
};

TEST_F(SyncServerTest, OrphansAreTheObjectsNoNamedCatalogListsWithinTheDates) {
    objects({"/db1 /c-1 2024-02-01 10:00:00", "/db1 /c-2 2024-03-01 10:00:00",
             "/db1 /C-3 2024-02-02 10:00:00", "/db1 /c-5 2024-01-15 10:00:00",
             "/db1 /c-6 2024-01-09 23:59:59", "/db1 /c-7 2024-01-10 00:00:00",
             "/db2 /c-8 2024-07-01 10:00:00", "/db1 /c-9 2024-05-01 10:00:00"});
    catalog("prod", "rman", "pw-a",
            {"c-1 2024-02-01 10:00:00", "c-3 2024-02-02 10:00:00", "c-5 2024-01-09 12:00:00"});
    catalog("test", "rman2", "pw-b", {"c-2 2024-03-01 10:00:00", "c-9 2024-07-01 00:00:01"});
    nlDateTime from = {2024, 1, 10, 0, 0, 0};
    nlDateTime to = {2024, 6, 30, 0, 0, 0};

    // At ORCLEVEL2 the files are kept and the objects examined are listed.
    setenv("TMPDIR", install.path("").c_str(), 1);
    TR_ORCLEVEL2 = 1;
    ASSERT_EQ(0, zeboSession(&ctx));
    BTree* index = utNewTree();
    CatalogConnection conns[2] = {{"rman", "pw-a", "prod"}, {"rman2", "pw-b", "test"}};
    for (int i = 0; i < 2; ++i) {
        std::string script = install.path("SQLI" + std::to_string(i) + ".sql");
        std::string spool = install.path("SQLO_" + std::to_string(i + 1) + ".out");
        ASSERT_EQ(0, zeboQueryCatalog(&conns[i], script.c_str(), spool.c_str(), &from, &to));
        ASSERT_EQ(0, utLoadBTree(spool.c_str(), index));
    }
    SyncList syncList;
    int16_t rc = utGetPickList(&from, &to, &ctx, &syncList, index);
    TR_ORCLEVEL2 = 0;
    unsetenv("TMPDIR");
    ASSERT_EQ(0, rc);
    utDeleteTree(index);

    zebotest::RunResult listing = run("cat '" + install.path("") + "'/VLTO*");
    std::vector<std::string> listed = zebotest::lines(listing.out);
    std::sort(listed.begin(), listed.end());
    EXPECT_EQ((std::vector<std::string>{"C-3", "c-1", "c-2", "c-5", "c-7", "c-9"}), listed);

    std::vector<std::string> names;
    for (SyncList::Node* n = syncList.head(); n != nullptr; n = n->pNext) {
        names.push_back(n->element.name);
        EXPECT_STREQ("NODE1", n->element.id);
        EXPECT_EQ(0u, n->element.picked);
        EXPECT_NE(0u, n->element.objIdHi | n->element.objIdLo);
        EXPECT_EQ(4096u, n->element.sizeLo);
    }
    std::sort(names.begin(), names.end());
    EXPECT_EQ((std::vector<std::string>{"/koruorc/db1/C-3", "/koruorc/db1/c-5", "/koruorc/db1/c-7",
                                        "/koruorc/db1/c-9"}),
              names);
    SyncList::Node* c3 = syncList.head();
    while (c3 != nullptr && strcmp(c3->element.name, "/koruorc/db1/C-3") != 0) c3 = c3->pNext;
    ASSERT_NE(nullptr, c3);
    EXPECT_EQ(2024, c3->element.insYear);
    EXPECT_EQ(2, c3->element.insMonth);
    EXPECT_EQ(2, c3->element.insDay);
    EXPECT_EQ(10, c3->element.insHour);
}

TEST_F(SyncServerTest, DriverEndsTheSessionWhenTheCatalogCannotBeRead) {
    catalog("prod", "rman", "pw-a", {"c-1 2024-02-01 10:00:00"});
    answer("rman\nwrong\nprod\n\n\n");
    EXPECT_EQ(-1, sync());
    EXPECT_EQ(1u, count("QEV2533E"));
    EXPECT_TRUE(sessionEnded());
}

TEST_F(SyncServerTest, EmptyAnswersEndTheRunAndTraceTheExitAroundTheSessionEnd) {
    // Three empty user names: the session ends before the exit is traced;
    // three empty passwords: after it.
    for (const char* input : {"\n\n\n", "rman\n\n\n\n"}) {
        SCOPED_TRACE(input);
        const bool noUser = input[0] == '\n';
        TraceToFile trace({&TR_ORCLEVEL0, &TR_API});
        handleSeen = 0;
        answer(input);
        EXPECT_EQ(-1, sync());
        std::string text = trace.finish();
        fclose(answerStream);
        answerStream = nullptr;
        EXPECT_TRUE(sessionEnded());
        if (noUser) {
            EXPECT_EQ(3u, count("QEV2623E"));
            EXPECT_EQ(0u, count("password"));
        }
        size_t ended = text.find("Exit DRvkApi::drvkTerminate()");
        size_t exit = text.find(" entered 3 times\n");
        ASSERT_NE(std::string::npos, ended) << text;
        ASSERT_NE(std::string::npos, exit) << text;
        EXPECT_EQ(noUser, ended < exit) << text;
    }
}

TEST_F(SyncServerTest, NoTemporaryNameEndsTheRun) {
    utTempName = [](const char*) -> char* { return nullptr; };
    answer("rman\npw-a\nprod\n\n\n");
    int16_t rc = sync();
    utTempName = utDefaultTempName;
    EXPECT_EQ(2531, rc);
    EXPECT_EQ(2u, count("QEV2531E"));
    EXPECT_TRUE(sessionEnded());
}

TEST_F(SyncServerTest, DriverAsksAgainAndEndsWithoutOrphans) {
    objects({"/db1 /c-1 2024-02-01 10:00:00", "/db1 /c-0 1999-02-01 10:00:00"});
    catalog("prod", "rman", "pw-a", {"c-1 2024-02-01 10:00:00"});
    // Two empty user names, a date that does not parse, a range the wrong
    // way round, then a relative from-date and today.
    answer("\n\nrman\npw-a\nprod\n13/45/2024\n06/30/2024\n01/01/2024\n+3650\n\n");
    EXPECT_EQ(0, sync());
    EXPECT_EQ(2u, count("QEV2623E"));
    EXPECT_EQ(1u, count("QEV2525E"));
    EXPECT_EQ(1u, count("QEV2529E"));
    EXPECT_EQ(3u, count("Start date of the check [01/01/1990]"));
    EXPECT_EQ(1u, count("does not list"));
    EXPECT_TRUE(sessionEnded());
}

}  // namespace
