// Tests of the deletion's failures against the real client library and a
// repository made by the admin tool: what stays in the list and on the
// server when the server refuses a call. (Whole runs of zebosync cover the
// transactions of a successful deletion: deletefiles_run_test.cpp.)
#include "sync/deletefiles.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <sstream>

#include "api/repo_testutil.h"
#include "sync/consoleline.h"
#include "sync/picklist_testutil.h"
#include "sync/pkmarks.h"
#include "sync/syncdb_testutil.h"
#include "sync/syncrun_testutil.h"

namespace {

class DeleteFilesTest : public RepositoryTest {
  protected:
    void SetUp() override {
        RepositoryTest::SetUp();
        if (HasFatalFailure()) return;
        synctest::initMessages();
        std::string objects;
        for (int n = 1; n <= 6; ++n)
            objects += "/fs\t/hl\t/obj" + std::to_string(n) + "\t2024-05-0" + std::to_string(n) +
                       " 01:02:03\t" + std::to_string(n * 100) + "\n";
        admin("load ORANODE", objects);
        admin("set maxobjpertxn 2");
        ASSERT_EQ(0, api_.Logon(&status_, &handle_));
        memset(&context_, 0, sizeof context_);
        context_.rvkHandle = handle_;
        context_.maxObjPerTxn = 2;
        for (const ServerObject& object : serverObjects()) {
            OrphanRecord record;
            memset(&record, 0, sizeof record);
            snprintf(record.name, sizeof record.name, "%s", object.name.c_str());
            record.objIdHi = static_cast<uint32_t>(object.id >> 32);
            record.objIdLo = static_cast<uint32_t>(object.id);
            list_.addTail(record);
        }
        ASSERT_EQ(6u, list_.getCount());
    }

    void TearDown() override {
        if (input_) {
            zeboSetConsoleInput(nullptr);
            fclose(input_);
        }
        api_.Logoff(&status_, handle_);
        RepositoryTest::TearDown();
    }

    struct ServerObject {
        unsigned long long id;
        std::string name;
    };

    // The node's objects as the admin tool lists them.
    std::vector<ServerObject> serverObjects() {
        zebotest::RunResult r =
            zebotest::run("vltadm -c '" + dir_.file("rvk.opt") + "' list ORANODE");
        EXPECT_EQ(0, r.status) << r.err;
        std::vector<ServerObject> objects;
        for (const std::string& line : zebotest::lines(r.out)) {
            std::istringstream fields(line);
            std::string id, fs, hl, ll;
            std::getline(fields, id, '\t');
            std::getline(fields, fs, '\t');
            std::getline(fields, hl, '\t');
            std::getline(fields, ll, '\t');
            objects.push_back({strtoull(id.c_str(), nullptr, 10), fs + hl + ll});
        }
        return objects;
    }

    // The numbers n of the objects "/fs/hl/obj<n>" left on the server.
    std::string onServer() {
        std::string text;
        for (const ServerObject& object : serverObjects())
            text += (text.empty() ? "" : " ") + object.name.substr(strlen("/fs/hl/obj"));
        return text;
    }

    // Runs the deletion with the answer given to the question; returns its
    // code and leaves the transaction calls in `calls_` as B, D, E letters.
    int16_t deleteWith(const char* answer) {
        if (input_) fclose(input_);
        input_ = tmpfile();
        fputs(answer, input_);
        rewind(input_);
        zeboSetConsoleInput(input_);
        TraceToFile trace({&TR_ORCLEVEL0, &TR_ORCLEVEL2});
        int16_t rc = utDeleteFiles(&list_, &context_);
        calls_ = syncrun::transactionCalls(trace.finish());
        return rc;
    }

    DRvkApiDL api_{"ORANODE", "secret", "", nullptr};
    uint32_t handle_ = 0;
    AgentContext context_;
    SyncList list_;
    FILE* input_ = nullptr;
    std::string calls_;
};

TEST_F(DeleteFilesTest, FailedDeletionAbortsItsTransaction) {
    // The third picked entry names no object: its deletion fails.
    context_.maxObjPerTxn = 10;
    admin("set maxobjpertxn 10");
    pktest::mark(&list_, {1, 2, 3, 4, 5});
    gotoListElement(&list_, 3)->element.objIdLo += 1000;
    EXPECT_EQ(RVK_RC_OBJ_NOT_FOUND, deleteWith("y\n"));
    EXPECT_EQ("BDDDE", calls_);
    // The first two left the list although the server kept them.
    EXPECT_EQ("3 4 5 6", pktest::remaining(&list_));
    EXPECT_EQ("3 4 5", pktest::marked(&list_));
    EXPECT_EQ("1 2 3 4 5 6", onServer());
}

TEST_F(DeleteFilesTest, ServerRefusalsEndTheRun) {
    // The server allows fewer objects than the session was told: the third
    // deletion of the transaction is refused and everything is aborted.
    context_.maxObjPerTxn = 3;
    pktest::mark(&list_, {1, 2, 3, 4});
    EXPECT_EQ(RVK_RC_TXN_LIMIT, deleteWith("y\n"));
    EXPECT_EQ("BDDDE", calls_);
    EXPECT_EQ("3 4 5 6", pktest::remaining(&list_));
    EXPECT_EQ("1 2 3 4 5 6", onServer());

    // A transaction cannot begin on a session that has none.
    context_.rvkHandle = handle_ + 1000;
    EXPECT_EQ(RVK_RC_INVALID_HANDLE, deleteWith("y\n"));
    EXPECT_EQ("B", calls_);
    EXPECT_EQ("3 4 5 6", pktest::remaining(&list_));
}

}  // namespace
