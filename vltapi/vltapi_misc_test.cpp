// Message texts, events, fault injection and loading the library by name.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <set>

#include "rvkapi.h"
#include "vltapi/vltapi_testenv.h"

using namespace vltest;

namespace {

// Every code the header defines.
// clang-format off
const int16_t kCodes[] = {
    RVK_RC_OK, RVK_RC_NO_MATCH, RVK_RC_PASSWD_EXPIRED, RVK_RC_NO_MEMORY, RVK_RC_NULL_POINTER,
    RVK_RC_BAD_STVERSION, RVK_RC_INVALID_ARGUMENT, RVK_RC_STRING_TOO_LONG, RVK_RC_INVALID_HANDLE,
    RVK_RC_NOT_SET_UP, RVK_RC_WRONG_STATE, RVK_RC_OPTFILE_UNREADABLE, RVK_RC_OPTION_INVALID,
    RVK_RC_NO_REPOSITORY, RVK_RC_NO_NODE_NAME, RVK_RC_NO_PASSWORD, RVK_RC_FINISHED,
    RVK_RC_PASSWORD_INVALID, RVK_RC_TXN_LIMIT, RVK_RC_OBJ_NOT_FOUND, RVK_RC_DELETE_NOT_ALLOWED,
    RVK_RC_NOT_SUPPORTED, RVK_RC_FS_NOT_REGISTERED, RVK_RC_REPOSITORY_ERROR,
    RVK_RC_REPOSITORY_VERSION, RVK_RC_SERVER_BUSY, RVK_RC_BUFFER_TOO_SMALL,
    RVK_RC_WILDCARD_NOT_ALLOWED, RVK_RC_NAME_EXISTS, RVK_RC_CRYPTO_FAILURE,
    RVK_RC_PASSWORD_STORE_ERROR, RVK_RC_TOO_MANY_SESSIONS, RVK_RC_AUTH_FAILURE, RVK_RC_UNKNOWN_RC,
    RVK_RC_NO_STORED_PASSWORD, RVK_RC_FS_ALREADY_REGISTERED, RVK_RC_MORE_DATA,
    RVK_RC_CHECK_REASON_CODE, RVK_RC_COMM_FAILURE};
// clang-format on

TEST(Messages, EveryCodeHasItsOwnText) {
    std::set<std::string> texts;
    for (int16_t rc : kCodes) {
        char buf[RVK_MSG_MAX];
        memset(buf, 'x', sizeof buf);
        ASSERT_EQ(rvkRCMsg(0, rc, buf), RVK_RC_OK) << rc;
        std::string t = buf;
        EXPECT_EQ(t.compare(0, 3, "RVK"), 0) << t;
        EXPECT_GT(t.size(), 20u) << t;
        texts.insert(t.substr(9));
    }
    EXPECT_EQ(texts.size(), sizeof kCodes / sizeof kCodes[0]);
    EXPECT_EQ(rcText(137).find("RVK0137E"), 0u);
    EXPECT_EQ(rcText(RVK_RC_COMM_FAILURE).find("RVK0050E"), 0u);
}

TEST(Messages, UnknownCodesAndShortBuffers) {
    char buf[RVK_MSG_MAX];
    EXPECT_EQ(rvkRCMsg(0, 9999, buf), RVK_RC_UNKNOWN_RC);
    EXPECT_NE(std::string(buf).find("9999"), std::string::npos);
    EXPECT_EQ(rvkRCMsg(0, 0, nullptr), RVK_RC_NULL_POINTER);

    char small[10];
    rvkMsgBuffer m;
    memset(&m, 0, sizeof m);
    m.stVersion = RVK_MSGBUFFER_VERSION;
    m.buffer = small;
    m.bufferSize = sizeof small;
    ASSERT_EQ(rvkRCMsgEx(RVK_RC_AUTH_FAILURE, &m), RVK_RC_OK);
    EXPECT_EQ(strlen(small), 9u);
    EXPECT_EQ(m.msgLength, rcText(RVK_RC_AUTH_FAILURE).size());
    m.stVersion = 2;
    EXPECT_EQ(rvkRCMsgEx(RVK_RC_AUTH_FAILURE, &m), RVK_RC_BAD_STVERSION);
}

class Events : public ::testing::Test {
  protected:
    void TearDown() override { rvkCleanUp(RVK_MULTITHREAD); }
    Repo repo;
};

TEST_F(Events, GoToTheActivityLogAfterTheTransaction) {
    ASSERT_EQ(setUp(repo.optFile()), RVK_RC_OK);
    uint32_t h = 0;
    ASSERT_EQ(logOn(&h, "node1", "pw-one"), RVK_RC_OK);
    repo.load("node1", "/fs\t/h\t/a\t2024-01-01 00:00:00\t1\n");
    rvkLogEventIn in;
    memset(&in, 0, sizeof in);
    in.stVersion = RVK_LOGEVENTIN_VERSION;
    in.severity = RVK_SEV_ERROR;
    strcpy(in.appMsgId, "MSG");
    in.logType = RVK_LOG_BOTH;
    in.message = const_cast<char*>("first event\n");
    rvkLogEventOut out;
    memset(&out, 0, sizeof out);
    out.stVersion = RVK_LOGEVENTOUT_VERSION;
    ASSERT_EQ(rvkLogEventEx(h, &in, &out), RVK_RC_OK);
    EXPECT_GE(out.serverDate.year, 2024);

    uint64_t id = query(h, "*", "*", "*").objects.at(0).id;
    ASSERT_EQ(rvkBeginTxn(h), RVK_RC_OK);
    ASSERT_EQ(rvkDeleteObj(h, RVK_DEL_BACKUP_ID, delInfo(id)), RVK_RC_OK);
    in.message = const_cast<char*>("second event");
    ASSERT_EQ(rvkLogEventEx(h, &in, nullptr), RVK_RC_OK);
    std::string log = repo.adm("actlog").out;
    EXPECT_NE(log.find("NODE1\tMSG\tfirst event"), std::string::npos) << log;
    EXPECT_EQ(log.find("second event"), std::string::npos);
    uint16_t reason = 0;
    ASSERT_EQ(rvkEndTxn(h, RVK_VOTE_ABORT, &reason), RVK_RC_OK);
    log = repo.adm("actlog").out;
    EXPECT_NE(log.find("second event"), std::string::npos);
    EXPECT_EQ(log.find("Deleted backup object"), std::string::npos);  // aborted
    EXPECT_NE(zebotest::readFile(repo.path("rvkerror.log")).find("NODE1: first event"),
              std::string::npos);

    in.severity = 9;
    EXPECT_EQ(rvkLogEventEx(h, &in, nullptr), RVK_RC_INVALID_ARGUMENT);
}

std::string selfPath() {
    char buf[4096];
    ssize_t n = readlink("/proc/self/exe", buf, sizeof buf - 1);
    return n > 0 ? std::string(buf, static_cast<size_t>(n)) : std::string();
}

// Runs only as the child process of Faults.InjectedCallsDoNothing, which
// sets RVK_FAULTS before the library reads it.
TEST(FaultsChild, Run) {
    const char* opt = getenv("VLTAPI_TEST_FAULT_OPTFILE");
    if (!opt) GTEST_SKIP() << "runs only as a child of Faults.InjectedCallsDoNothing";
    ASSERT_EQ(setUp(opt), RVK_RC_OK);
    uint32_t h = 0;
    EXPECT_EQ(logOn(&h, "node1", "pw-one"), RVK_RC_COMM_FAILURE);
    EXPECT_EQ(h, 0u);
    EXPECT_EQ(logOn(&h, "node1", "pw-one"), RVK_RC_COMM_FAILURE);
    ASSERT_EQ(logOn(&h, "node1", "pw-one"), RVK_RC_OK);
    uint16_t reason = 0;
    EXPECT_EQ(rvkBeginTxn(h), RVK_RC_OK);
    EXPECT_EQ(rvkEndTxn(h, RVK_VOTE_ABORT, &reason), RVK_RC_OK);
    EXPECT_EQ(rvkBeginTxn(h), RVK_RC_REPOSITORY_ERROR);
    EXPECT_EQ(rvkEndTxn(h, RVK_VOTE_ABORT, &reason), RVK_RC_WRONG_STATE);  // nothing was begun
    EXPECT_EQ(rvkBeginTxn(h), RVK_RC_OK);
    EXPECT_EQ(rvkEndTxn(h, RVK_VOTE_ABORT, &reason), RVK_RC_OK);
    // A refused commit: answered with its reason, and the transaction is over.
    EXPECT_EQ(rvkBeginTxn(h), RVK_RC_OK);
    EXPECT_EQ(rvkEndTxn(h, RVK_VOTE_COMMIT, &reason), RVK_RC_CHECK_REASON_CODE);
    EXPECT_EQ(reason, RVK_RC_SERVER_BUSY);
    EXPECT_EQ(rvkEndTxn(h, RVK_VOTE_ABORT, &reason), RVK_RC_WRONG_STATE);
    EXPECT_EQ(rvkBeginTxn(h), RVK_RC_OK);
    rvkCleanUp(RVK_MULTITHREAD);
}

TEST(Faults, InjectedCallsDoNothing) {
    Repo repo;
    auto r = zebotest::run("VLTAPI_TEST_FAULT_OPTFILE='" + repo.optFile() +
                           "' RVK_FAULTS='rvkInitEx@1-2=-50, rvkBeginTxn@2=128,bogus@1,"
                           "rvkEndTxn@4=2302:130,rvkEndTxn@9=2302:x' '" +
                           selfPath() + "' --gtest_filter=FaultsChild.Run");
    EXPECT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_NE(r.out.find("[  PASSED  ] 1 test"), std::string::npos) << r.out;
    EXPECT_NE(r.err.find("ignoring malformed entry 'bogus@1'"), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("ignoring malformed entry 'rvkEndTxn@9=2302:x'"), std::string::npos);
}

TEST(Loading, ByBareNameFromAProgramWithoutTheDependencies) {
    std::string probe = zebotest::testBinDir() + "/vltapi_dlopen_probe";
    auto full = zebotest::run("LD_LIBRARY_PATH='" + zebotest::libDir() + "' '" + probe + "'");
    EXPECT_EQ(full.status, 0) << full.out;
    EXPECT_NE(full.out.find("found 43"), std::string::npos) << full.out;
    EXPECT_NE(full.out.find("version 5.5."), std::string::npos) << full.out;
    std::string missingDir = zebotest::libDir() + "/../testlib/missing";
    auto missing = zebotest::run("LD_LIBRARY_PATH='" + missingDir + "' '" + probe + "'");
    EXPECT_EQ(missing.status, 3) << missing.out;
    EXPECT_EQ(missing.out.substr(0, missing.out.find("version")),
              "missing rvkUpdateObj\nfound 42\n");
}

}  // namespace
